// Files the process must not leave behind, even when it is interrupted: partial outputs, the
// data provider's temporary databases and their working copies. They are removed by their owners
// on the normal paths; a SIGINT, SIGTERM or SIGHUP removes whatever is still registered and ends
// the process with the signal's status.
#pragma once

#include <string>

#include "host/export.hpp"

NRW_API void RegisterTemporaryFile(const std::string& path);
NRW_API void UnregisterTemporaryFile(const std::string& path);
// Installs the handlers (once; the host program calls it at start).
NRW_API void RemoveTemporaryFilesOnSignal();
