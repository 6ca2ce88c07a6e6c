#include "host/data_module.hpp"

#include <map>

#include "host/exception.hpp"
#include "host/sysutils.hpp"

namespace {

std::map<std::string, TDataModuleFactory>& Registry() {
  static std::map<std::string, TDataModuleFactory> registry;
  return registry;
}

}  // namespace

TnpqParamItem& TnpqPowerParam::Add(const std::string& name, TFieldType type) {
  items_.push_back(std::make_unique<TnpqParamItem>(name, type));
  return *items_.back();
}

TnpqParamItem* TnpqPowerParam::FindParam(const std::string& name) {
  for (const auto& item : items_) {
    if (SameText(item->Name(), name)) {
      return item.get();
    }
  }
  return nullptr;
}

TnpqParamItem* TnpqPowerParam::Param(const std::string& name) {
  if (TnpqParamItem* item = FindParam(name)) {
    return item;
  }
  throw Exception(owner_name_ + ": parameter '" + name + "' not found");
}

const TnpqParamItem* TnpqPowerParam::Param(const std::string& name) const {
  return const_cast<TnpqPowerParam*>(this)->Param(name);
}

TnDMPowerParam::TnDMPowerParam(TComponent* owner) : TComponent(owner) {}
TnDMPowerParam::~TnDMPowerParam() = default;

void RegistrarClasseDM(const std::string& class_name, TDataModuleFactory factory) {
  Registry()[AnsiUpperCase(class_name)] = std::move(factory);
}

TComponent* CriarDMNovo(const std::string& class_name, const TDMAction& action) {
  const auto it = Registry().find(AnsiUpperCase(class_name));
  if (it == Registry().end()) {
    throw Exception("data module class '" + class_name + "' is not registered");
  }
  std::unique_ptr<TComponent> module(it->second());
  if (action) {
    action(module.get());
  }
  return module.release();
}
