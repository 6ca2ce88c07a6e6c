#include "tests/app/program.hpp"

#include "tests/app/demo_month.hpp"

#include <sys/wait.h>

#include <cstdio>

namespace nrw::testing {

namespace {

// Runs `command` and returns its exit status (-1 when ended by a signal), its output in `output`.
int Run(const std::string& command, std::string& output) {
  FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) {
    return -1;
  }
  char buffer[65536];
  size_t n;
  while ((n = fread(buffer, 1, sizeof buffer, pipe)) > 0) {
    output.append(buffer, n);
  }
  const int status = pclose(pipe);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace

ProgramResult RunNrwReport(const std::string& arguments, const std::string& environment) {
  ProgramResult result;
  result.status =
      Run(environment + " " + std::string(NRW_BIN_DIR) + "/nrw-report " + arguments + " 2>&1",
          result.output);
  return result;
}

std::string CommandOutput(const std::string& command) {
  std::string output;
  Run(command, output);
  return output;
}

std::string Unzipped(const std::string& zip, const std::string& member) {
  return CommandOutput("unzip -p " + ShellQuoted(zip) + " " + ShellQuoted(member));
}

std::string ShellQuoted(const std::string& text) {
  std::string out = "'";
  for (const char c : text) {
    out += c == '\'' ? std::string("'\\''") : std::string(1, c);
  }
  return out + "'";
}

}  // namespace nrw::testing

namespace nrw::testing {

ScratchDir* DemoMonthTest::scratch = nullptr;
std::string DemoMonthTest::database;

void DemoMonthTest::SetUpTestSuite() {
  scratch = new ScratchDir();
  database = scratch->File("demo.db");
  ASSERT_EQ(RunNrwReport("demo-db " + database + " --docs 120 --seed 3 --ref '' --quiet").status,
            0);
}

void DemoMonthTest::TearDownTestSuite() {
  delete scratch;
  scratch = nullptr;
}

}  // namespace nrw::testing
