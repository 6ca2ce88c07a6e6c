// Whole runs of the report on the hand-built books: a first look at the printed trace.
#include <gtest/gtest.h>

#include "tests/report/run_harness.hpp"

namespace nfis::testing {
namespace {

TEST(ReportRunSmoke, PrintsTheMonth) {
  auto run = ReportRun::Open(nrw::testing::Backend::SQLite);
  run->SetDefaults();
  EXPECT_EQ(run->Print(), "");
  std::cout << Trace(run->Sink());
}

}  // namespace
}  // namespace nfis::testing
