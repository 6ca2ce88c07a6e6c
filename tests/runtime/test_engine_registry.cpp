#include <gtest/gtest.h>

#include <cstdint>
#include <memory>

#include "host/report.hpp"

namespace {

class DerivedReport : public TnrwReport {
 public:
  int extra = 7;
};

TEST(EngineRegistry, EnginesLiveBelowTwoGigabytes) {
  auto report = std::make_unique<TnrwReport>();
  const auto address = reinterpret_cast<uintptr_t>(report.get());
  EXPECT_LT(address, uintptr_t{1} << 31);
  EXPECT_GT(ReportAddressAsInt32(report.get()), 0);
  const auto sign_extended =
      static_cast<uintptr_t>(static_cast<intptr_t>(ReportAddressAsInt32(report.get())));
  EXPECT_EQ(sign_extended, address);
}

TEST(EngineRegistry, OnlyLiveEnginesPassTheMembershipTest) {
  auto report = std::make_unique<TnrwReport>();
  const auto address = reinterpret_cast<uintptr_t>(report.get());
  EXPECT_TRUE(IsReportEngine(address));
  EXPECT_FALSE(IsReportEngine(0));
  EXPECT_FALSE(IsReportEngine(address + 8));
  EXPECT_FALSE(IsReportEngine(~uintptr_t{0}));
  int not_an_engine = 0;
  EXPECT_FALSE(IsReportEngine(reinterpret_cast<uintptr_t>(&not_an_engine)));
  report.reset();
  EXPECT_FALSE(IsReportEngine(address));
}

TEST(EngineRegistry, DescendantsAreEnginesToo) {
  auto report = std::make_unique<DerivedReport>();
  EXPECT_TRUE(IsReportEngine(reinterpret_cast<uintptr_t>(static_cast<TnrwReport*>(report.get()))));
  EXPECT_LT(reinterpret_cast<uintptr_t>(report.get()), uintptr_t{1} << 31);
  EXPECT_EQ(report->extra, 7);
}

}  // namespace
