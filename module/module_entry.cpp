#include "module/module_entry.hpp"

#include <memory>

#include "host/exception.hpp"
#include "host/report.hpp"
#include "host/sysutils.hpp"

namespace nfis {
namespace {

const char* const kTextServicesLibrary = "Msctf.dll";
constexpr int kAddressHexDigits = 8;

}  // namespace

void ModuleEntry::Load(const TnrwBaseDllClass* report_class) {
  if (text_services_ == 0) {
    text_services_ = SafeLoadLibrary(kTextServicesLibrary, SEM_NOOPENFILEERRORBOX);
  }
  FClassDll = report_class;
}

void ModuleEntry::Unload() {
  if (text_services_ != 0) {
    FreeLibrary(text_services_);
    text_services_ = 0;
  }
}

void ModuleEntry::Imprimir(int32_t AReport) const {
  // The argument is sign-extended, never zero-extended: an address above 2 GiB that the host
  // truncated arrives negative and becomes an address with its upper half all ones.
  const auto address = static_cast<uintptr_t>(static_cast<intptr_t>(AReport));
  if (!IsReportEngine(address)) {
    throw Exception(
        "Erro: Endereço: " + IntToHex(static_cast<uint32_t>(AReport), kAddressHexDigits) +
        " nao é de relatório.");
  }
  if (FClassDll == nullptr) {
    throw Exception("FClassDll está nil.");
  }
  std::unique_ptr<TnrwBaseDll> report(FClassDll->Create(reinterpret_cast<TnrwReport*>(address)));
  report->ImprimirInterno();
}

ModuleEntry& Module() {
  static ModuleEntry module;
  return module;
}

}  // namespace nfis
