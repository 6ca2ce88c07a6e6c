// Host data modules: components created by class name (CriarDMNovo), and the parameter
// collection of a parameterised data module (TnDMPowerParam), such as the fiscal data provider.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "host/export.hpp"
#include "host/object.hpp"
#include "host/variant.hpp"

// One named parameter of a data module, with the type its value is kept as.
class NRW_API TnpqParamItem {
 public:
  TnpqParamItem(std::string name, TFieldType type) : name_(std::move(name)), type_(type) {}

  const std::string& Name() const { return name_; }
  TFieldType DataType() const { return type_; }
  bool IsNull() const { return value_.IsNull(); }

  void SetAsDate(TDateTime value) { value_ = Variant::FromDateTime(value); }
  void SetAsInteger(int32_t value) { value_ = Variant(value); }
  void SetAsString(const std::string& value) { value_ = Variant(value); }
  // Keeps the value as given (a variant holding a text stays a text).
  void SetAsVariant(const Variant& value) { value_ = value; }
  void SetValue(const Variant& value) { value_ = value; }
  void Clear() { value_ = Variant(); }

  TDateTime AsDate() const { return value_.AsDateTime(); }
  int32_t AsInteger() const { return static_cast<int32_t>(value_.AsInteger()); }
  double AsFloat() const { return value_.AsFloat(); }
  std::string AsString() const { return value_.AsString(); }
  const Variant& AsVariant() const { return value_; }

 private:
  std::string name_;
  TFieldType type_;
  Variant value_;
};

class NRW_API TnpqPowerParam {
 public:
  TnpqParamItem& Add(const std::string& name, TFieldType type);
  // The item of that name (case-insensitive); raises Exception for an unknown name.
  TnpqParamItem* Param(const std::string& name);
  const TnpqParamItem* Param(const std::string& name) const;
  TnpqParamItem* FindParam(const std::string& name);
  const std::vector<std::unique_ptr<TnpqParamItem>>& Items() const { return items_; }
  void SetOwnerName(std::string name) { owner_name_ = std::move(name); }

 private:
  std::vector<std::unique_ptr<TnpqParamItem>> items_;
  std::string owner_name_;
};

// A data module with parameters and one operation that runs it.
class NRW_API TnDMPowerParam : public TComponent {
 public:
  explicit TnDMPowerParam(TComponent* owner = nullptr);
  ~TnDMPowerParam() override;

  TnpqPowerParam* Params() { return &params_; }
  // Runs the data module for its current parameters and refills its results.
  virtual void Executar() = 0;

 private:
  TnpqPowerParam params_;
};

// What runs on a data module right after CriarDMNovo made it (may be null).
using TDMAction = std::function<void(TComponent*)>;
using TDataModuleFactory = std::function<TComponent*()>;

// Registers a data-module class under its name; a later registration of the name replaces it.
NRW_API void RegistrarClasseDM(const std::string& class_name, TDataModuleFactory factory);
// Creates a data module by class name (case-insensitive); the caller owns it. Raises Exception
// naming the class when no class of that name is registered.
NRW_API TComponent* CriarDMNovo(const std::string& class_name, const TDMAction& action);
