// Whole runs of the report: NRW_DUMP_TRACE=1 prints the trace of a run with the options given
// in NRW_DUMP_PARAMS (NAME=VALUE;...), for reading a report while developing.
#include <gtest/gtest.h>

#include <cstdlib>

#include "host/sysutils.hpp"
#include "tests/report/run_harness.hpp"

namespace nfis::testing {
namespace {

TEST(ReportRun, PrintsTheMonth) {
  auto run = ReportRun::Open(nrw::testing::Backend::SQLite);
  run->SetDefaults();
  run->AddListingCases();
  if (const char* params = std::getenv("NRW_DUMP_PARAMS")) {
    std::string text = params, item;
    for (size_t start = 0; start <= text.size();) {
      size_t end = text.find(';', start);
      end = end == std::string::npos ? text.size() : end;
      item = text.substr(start, end - start);
      if (item.find('=') != std::string::npos) {
        run->Set(item.substr(0, item.find('=')), item.substr(item.find('=') + 1));
      }
      start = end + 1;
    }
  }
  EXPECT_EQ(run->Print(), "");
  EXPECT_FALSE(run->Sink().Entries().empty());
  if (std::getenv("NRW_DUMP_TRACE") != nullptr) {
    std::cout << Trace(run->Sink());
  }
}

}  // namespace
}  // namespace nfis::testing
