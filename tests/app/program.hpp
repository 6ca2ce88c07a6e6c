// Runs nrw-report as a user does, and other programs, for the end-to-end tests.
#pragma once

#include <string>

namespace nrw::testing {

struct ProgramResult {
  std::string output;  // standard output and standard error
  int status = 0;      // exit status; -1 when ended by a signal
};

// `nrw-report ARGUMENTS` through the shell, with `environment` ("NAME=value ...") before it.
ProgramResult RunNrwReport(const std::string& arguments, const std::string& environment = "");

// The standard output of a shell command.
std::string CommandOutput(const std::string& command);

// A member of a zip file (an xlsx workbook's sheet), through unzip.
std::string Unzipped(const std::string& zip, const std::string& member);

// Single quotes for the shell.
std::string ShellQuoted(const std::string& text);

}  // namespace nrw::testing
