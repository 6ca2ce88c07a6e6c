// SortRuns gives std::sort's order for every shape of input: one run, two runs (a union of two
// ordered reads), the most runs it merges, one more (the fallback), equal values, and stability
// not being promised but a total order being respected.
#include "runtime/sort_runs.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <random>
#include <stdexcept>
#include <utility>
#include <vector>

namespace {

// `runs` ascending runs of `length` values each, the runs interleaving in value.
std::vector<int> Runs(size_t runs, size_t length) {
  std::vector<int> values;
  for (size_t r = 0; r < runs; ++r) {
    for (size_t i = 0; i < length; ++i) {
      values.push_back(static_cast<int>(i * runs + (runs - r)));
    }
  }
  return values;
}

void ExpectSortedLikeStdSort(std::vector<int> values) {
  std::vector<int> expected = values;
  std::sort(expected.begin(), expected.end());
  nrw::SortRuns(values.begin(), values.end(), std::less<int>());
  EXPECT_EQ(values, expected);
}

TEST(SortRuns, SortsEveryNumberOfRuns) {
  for (const size_t runs : {size_t{1}, size_t{2}, size_t{3}, size_t{7}, nrw::kMaxRuns,
                            nrw::kMaxRuns + 1, size_t{500}}) {
    SCOPED_TRACE(runs);
    ExpectSortedLikeStdSort(Runs(runs, 50));
  }
}

TEST(SortRuns, EmptyOneValueEqualValuesAndRandomInput) {
  ExpectSortedLikeStdSort({});
  ExpectSortedLikeStdSort({5});
  ExpectSortedLikeStdSort({3, 3, 3, 1, 1, 2, 2, 2});
  std::mt19937 random(7);
  std::vector<int> values(10000);
  for (int& v : values) {
    v = static_cast<int>(random() % 100);
  }
  ExpectSortedLikeStdSort(values);
}

TEST(SortRuns, KeepsTheTotalOrderOfItsComparison) {
  // Pairs ordered by key, then by their row number: two runs of equal keys.
  std::vector<std::pair<int, int>> rows = {{1, 0}, {2, 1}, {2, 2}, {1, 3}, {2, 4}, {3, 5}};
  nrw::SortRuns(rows.begin(), rows.end(), std::less<std::pair<int, int>>());
  const std::vector<std::pair<int, int>> expected = {{1, 0}, {1, 3}, {2, 1},
                                                     {2, 2}, {2, 4}, {3, 5}};
  EXPECT_EQ(rows, expected);
}

// Long inputs of many runs take the full sort, whose halves are sorted at once: the order is
// still std::sort's, for random values, for many equal ones and for a total order of pairs.
TEST(SortRuns, LongInputsOfManyRunsSortLikeStdSort) {
  std::mt19937 random(9);
  std::vector<int> values(3 * nrw::kRowsForASecondThread + 17);
  for (int& v : values) {
    v = static_cast<int>(random() % 1000003);
  }
  ExpectSortedLikeStdSort(values);
  for (int& v : values) {
    v = static_cast<int>(random() % 3);
  }
  ExpectSortedLikeStdSort(values);
  std::vector<std::pair<int, int>> rows;
  for (int i = 0; i < static_cast<int>(2 * nrw::kRowsForASecondThread); ++i) {
    rows.emplace_back(static_cast<int>(random() % 50), i);
  }
  std::vector<std::pair<int, int>> expected = rows;
  std::sort(expected.begin(), expected.end());
  nrw::SortRuns(rows.begin(), rows.end(), std::less<std::pair<int, int>>());
  EXPECT_EQ(rows, expected);
}

// A comparison that fails on a long input: the failure reaches the caller once both halves'
// sorts have stopped, whichever half it came from.
TEST(SortInHalves, AFailingComparisonIsRaisedToTheCallerFromEitherHalf) {
  std::mt19937 random(10);
  std::vector<int> values(2 * nrw::kRowsForASecondThread);
  for (int& v : values) {
    v = static_cast<int>(random() % 100000);
  }
  for (const int poisoned : {values.front(), values.back()}) {
    SCOPED_TRACE(poisoned);
    std::vector<int> copy = values;
    std::atomic<bool> failed{false};  // fails once, inside its half's sort
    const auto less = [poisoned, &failed](int a, int b) {
      if ((a == poisoned || b == poisoned) && !failed.exchange(true)) {
        throw std::runtime_error("cannot compare");
      }
      return a < b;
    };
    EXPECT_THROW(nrw::SortInHalves(copy.begin(), copy.end(), less), std::runtime_error);
  }
}

}  // namespace
