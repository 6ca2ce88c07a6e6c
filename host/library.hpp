// Loading and freeing shared libraries, over dlopen/dlclose.
#pragma once

#include <cstdint>
#include <string>

#include "host/export.hpp"

using HMODULE = uintptr_t;

// Error mode of the host platform that suppresses the "file not found" dialog (0x8000). There
// are no such dialogs here; the argument is accepted and has no effect.
constexpr uint32_t SEM_NOOPENFILEERRORBOX = 0x8000;

// Loads a library by name or path; 0 when it cannot be loaded (no error is raised).
NRW_API HMODULE SafeLoadLibrary(const std::string& name, uint32_t error_mode);
NRW_API bool FreeLibrary(HMODULE handle);
// The reason the last SafeLoadLibrary failed, as the system loader gave it.
NRW_API std::string LastLibraryError();
