#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "host/exception.hpp"
#include "host/sql.hpp"

namespace Nutilarquivo {

void CopyFile(const std::string& source, const std::string& target, bool overwrite) {
  std::error_code error;
  const auto options = overwrite ? std::filesystem::copy_options::overwrite_existing
                                 : std::filesystem::copy_options::none;
  std::filesystem::copy_file(source, target, options, error);
  if (error) {
    throw Exception("cannot copy '" + source + "' to '" + target + "': " + error.message());
  }
}

}  // namespace Nutilarquivo
