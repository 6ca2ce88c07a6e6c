// The library's two exports, with C linkage, and its load and unload blocks.
#include <cstdint>

#include "host/export.hpp"
#include "module/module_entry.hpp"
#include "report/resumo_conf_lcto_fis.hpp"

extern "C" {

// Prints the report for the host's engine, passed as a 32-bit signed integer.
NRW_API void Imprimir(int32_t AReport) {
  nfis::Module().Imprimir(AReport);
}

// The report class (null until the load-time block has run).
NRW_API const TnrwBaseDllClass* ClassDll() {
  return nfis::Module().ClassDll();
}
}

namespace {

__attribute__((constructor)) void LoadModule() {
  nfis::Module().Load(nfis::TnFisORResumoConfLctoFis::ClassType());
}

__attribute__((destructor)) void UnloadModule() {
  nfis::Module().Unload();
}

}  // namespace
