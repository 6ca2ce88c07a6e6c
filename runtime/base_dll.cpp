#include "host/base_dll.hpp"

#include <algorithm>
#include <atomic>

namespace {
std::atomic<int64_t> live_instances{0};
}  // namespace

TnrwBaseDll::TnrwBaseDll() {
  ++live_instances;
}
TnrwBaseDll::~TnrwBaseDll() {
  // The engine outlives the report object: it must not call back into a freed object.
  if (report_ != nullptr && report_->BeforeSection().Data == this) {
    report_->SetBeforeSection({});
  }
  --live_instances;
}

int64_t TnrwBaseDll::LiveInstances() {
  return live_instances.load();
}

std::string TnrwBaseDll::Versao() {
  return "";
}
std::vector<int32_t> TnrwBaseDll::CriarListaSectionsParaZebrar() {
  return {};
}
std::vector<int32_t> TnrwBaseDll::CriarListaSectionsTrocaCor() {
  return {};
}
void TnrwBaseDll::RepInterno(TnDMReport*) {}
void TnrwBaseDll::Create(TnrwReport* report) {
  report_ = report;
  zebra_ = CriarListaSectionsParaZebrar();
  troca_cor_ = CriarListaSectionsTrocaCor();
  report_->SetBeforeSection(MakeSectionEvent<TnrwBaseDll, &TnrwBaseDll::BeforeSection>(this));
}
void TnrwBaseDll::ImprimirInterno() {}
void TnrwBaseDll::DoParamChange(TObject*, TnpqParamItem*) {}
void TnrwBaseDll::DoParamEnter(TObject*, TnpqParamItem*) {}
void TnrwBaseDll::DoParamExit(TObject*, TnpqParamItem*) {}
// Consecutive prints of a striped section alternate between the plain and the shaded
// background; recoloured sections print in the layout's accent colour.
void TnrwBaseDll::DoZebradoBeforeSection(TObject*, int32_t section) {
  TSectionStyle style;
  if (std::find(zebra_.begin(), zebra_.end(), section) != zebra_.end()) {
    style.shaded = stripe_count_[section]++ % 2 == 1;
  }
  style.accent = std::find(troca_cor_.begin(), troca_cor_.end(), section) != troca_cor_.end();
  report_->SetSectionStyle(style);
}
void TnrwBaseDll::DepoisConfigurar(TObject*) {}
void TnrwBaseDll::AntesConfigurar(TObject*) {}

std::string TnrwBaseDll::RepParam(std::string_view name) const {
  return report_->RepParam(name);
}

const std::string& TnrwBaseDll::RepParam(std::string_view name, std::string_view value) {
  return report_->RepParam(name, value);
}

TnDM* TnrwBaseDll::GetDMPower() const {
  return report_->DMPower();
}

TDataSet* TnrwBaseDll::EstabDataSet() const {
  return report_->Estabelecimentos();
}

TnrwBaseDllClass::~TnrwBaseDllClass() = default;

TnrwBaseDll* TnrwBaseDllClass::Create(TnrwReport* report) const {
  TnrwBaseDll* instance = NewInstance();
  try {
    instance->Create(report);
  } catch (...) {
    delete instance;
    throw;
  }
  return instance;
}
