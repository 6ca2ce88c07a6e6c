// TnrwBaseDll: the base of every report module's report class, and TnrwBaseDllClass, the class
// reference through which a host (or a module's Imprimir) creates an instance.
//
// The host framework builds objects as its class references say: memory for the class the
// reference names is allocated, then the virtual `Create` runs on it. So the class stored in a
// reference decides which constructor runs, and a Create that raises frees the new instance
// before the exception goes on.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "host/export.hpp"
#include "host/memory_data_set.hpp"
#include "host/object.hpp"
#include "host/progress.hpp"
#include "host/report.hpp"
#include "host/report_layout.hpp"

class TnDMReport;
class TnpqParamItem;

class NRW_API TnrwBaseDll : public TComponent {
 public:
  TnrwBaseDll();
  ~TnrwBaseDll() override;

  // The virtual operations, in slot order.
  virtual std::string Versao();
  virtual std::vector<int32_t> CriarListaSectionsParaZebrar();
  virtual std::vector<int32_t> CriarListaSectionsTrocaCor();
  virtual void RepInterno(TnDMReport* report);
  virtual void Create(TnrwReport* report);
  virtual void ImprimirInterno();
  virtual void DoParamChange(TObject* sender, TnpqParamItem* item);
  virtual void DoParamEnter(TObject* sender, TnpqParamItem* item);
  virtual void DoParamExit(TObject* sender, TnpqParamItem* item);
  virtual void DoZebradoBeforeSection(TObject* sender, int32_t section);
  virtual void DepoisConfigurar(TObject* control);
  virtual void AntesConfigurar(TObject* control);

  std::string RepParam(std::string_view name) const;
  // Stores a named value and returns the stored text.
  const std::string& RepParam(std::string_view name, std::string_view value);
  TnDM* GetDMPower() const;
  TnrwReport* Report() const { return report_; }
  // The companies and establishments to print, one row each, in print order.
  TDataSet* EstabDataSet() const;

  // Number of instances alive in the process: lets tests prove an instance is freed once.
  static int64_t LiveInstances();

 private:
  void BeforeSection(TObject* sender, int32_t section) { DoZebradoBeforeSection(sender, section); }

  TnrwReport* report_ = nullptr;
  // The module's striped and recoloured sections, asked once when the object is created.
  std::vector<int32_t> zebra_, troca_cor_;
  std::map<int32_t, int64_t> stripe_count_;
};

class NRW_API TnrwBaseDllClass {
 public:
  virtual ~TnrwBaseDllClass();
  virtual const char* ClassName() const = 0;
  // Allocates an instance of the referenced class and runs its virtual Create.
  TnrwBaseDll* Create(TnrwReport* report) const;
  // What the class needs of its layout, for a host to check a layout file before a run; null
  // when the class states nothing.
  virtual const TLayoutContract* LayoutContract() const { return nullptr; }

 protected:
  virtual TnrwBaseDll* NewInstance() const = 0;
};

// The class reference of a concrete report class T.
template <class T>
class TnrwClassOf final : public TnrwBaseDllClass {
 public:
  explicit TnrwClassOf(const char* name, const TLayoutContract* contract = nullptr)
      : name_(name), contract_(contract) {}
  const char* ClassName() const override { return name_; }
  const TLayoutContract* LayoutContract() const override { return contract_; }

 protected:
  TnrwBaseDll* NewInstance() const override { return new T(); }

 private:
  const char* name_;
  const TLayoutContract* contract_;
};
