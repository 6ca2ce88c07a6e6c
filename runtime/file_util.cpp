#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "host/exception.hpp"
#include "host/sql.hpp"
#include "host/temp_files.hpp"

namespace Nutilarquivo {

void CopyFile(const std::string& source, const std::string& target, bool overwrite) {
  // Copies of the provider's temporary databases are temporary too.
  if (std::filesystem::path(target).filename().string().rfind("nrw-temp", 0) == 0) {
    RegisterTemporaryFile(target);
    RegisterTemporaryFile(target + "-journal");
  }
  std::error_code error;
  const auto options = overwrite ? std::filesystem::copy_options::overwrite_existing
                                 : std::filesystem::copy_options::none;
  std::filesystem::copy_file(source, target, options, error);
  if (error) {
    throw Exception("cannot copy '" + source + "' to '" + target + "': " + error.message());
  }
}

}  // namespace Nutilarquivo
