#include "tests/app/program.hpp"

#include <sys/wait.h>

#include <cstdio>

namespace nrw::testing {

ProgramResult RunNrwReport(const std::string& arguments, const std::string& environment) {
  const std::string command =
      environment + " " + std::string(NRW_BIN_DIR) + "/nrw-report " + arguments + " 2>&1";
  ProgramResult result;
  if (FILE* pipe = popen(command.c_str(), "r")) {
    char buffer[4096];
    size_t n;
    while ((n = fread(buffer, 1, sizeof buffer, pipe)) > 0) {
      result.output.append(buffer, n);
    }
    const int status = pclose(pipe);
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }
  return result;
}

std::string ShellQuoted(const std::string& text) {
  std::string out = "'";
  for (const char c : text) {
    out += c == '\'' ? std::string("'\\''") : std::string(1, c);
  }
  return out + "'";
}

}  // namespace nrw::testing
