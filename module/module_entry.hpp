// The module's global state and its two entry points, kept in one object so that tests can
// build a fresh one (before its load-time block has run, say) beside the library's own.
#pragma once

#include <cstdint>

#include "host/base_dll.hpp"
#include "host/library.hpp"

namespace nfis {

class ModuleEntry {
 public:
  // Load-time block: the text-services unit pins "Msctf.dll" (a missing library is normal and
  // leaves the handle 0), then the main block registers the report class.
  void Load(const TnrwBaseDllClass* report_class);
  // Unload: the text-services unit frees its library; FClassDll is not cleared.
  void Unload();

  const TnrwBaseDllClass* ClassDll() const { return FClassDll; }
  HMODULE TextServicesHandle() const { return text_services_; }

  // Prints the report for the engine whose address the host passes as a 32-bit signed
  // integer. Raises the address message for anything that is not a live engine.
  void Imprimir(int32_t AReport) const;

 private:
  const TnrwBaseDllClass* FClassDll = nullptr;
  HMODULE text_services_ = 0;
};

// The library's own state, set up when the library is loaded.
ModuleEntry& Module();

}  // namespace nfis
