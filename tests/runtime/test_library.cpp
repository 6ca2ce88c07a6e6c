#include <gtest/gtest.h>

#include "host/library.hpp"

namespace {

TEST(Library, MissingLibraryGivesZeroWithoutError) {
  EXPECT_EQ(SafeLoadLibrary("Msctf.dll", SEM_NOOPENFILEERRORBOX), 0u);
  EXPECT_FALSE(LastLibraryError().empty());
  EXPECT_FALSE(FreeLibrary(0));
}

TEST(Library, LoadsAndFreesARealLibrary) {
  const HMODULE handle = SafeLoadLibrary(NRW_MODULE_PATH, SEM_NOOPENFILEERRORBOX);
  ASSERT_NE(handle, 0u);
  EXPECT_TRUE(FreeLibrary(handle));
}

}  // namespace
