#include "host/library.hpp"

#include <dlfcn.h>

namespace {
// dlerror() text of the last failed load; the host reads it right after the failure.
thread_local std::string last_error;
}  // namespace

HMODULE SafeLoadLibrary(const std::string& name, uint32_t /*error_mode*/) {
  void* handle = dlopen(name.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (handle == nullptr) {
    const char* error = dlerror();
    last_error = error != nullptr ? error : "unknown error";
    return 0;
  }
  return reinterpret_cast<HMODULE>(handle);
}

bool FreeLibrary(HMODULE handle) {
  return handle != 0 && dlclose(reinterpret_cast<void*>(handle)) == 0;
}

std::string LastLibraryError() {
  return last_error;
}
