// The demo month the end-to-end tests print: 120 documents of January 2026 (seed 3), two
// companies with two establishments each, in a SQLite file written once per test suite.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "tests/runtime/data_set_kinds.hpp"

namespace nrw::testing {

class DemoMonthTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite();
  static void TearDownTestSuite();
  static ScratchDir* scratch;
  static std::string database;
};

}  // namespace nrw::testing
