// Sorting that takes advantage of rows arriving as a few ascending runs: a union of entries and
// exits, each read in key order, is two runs. Up to kMaxRuns runs are merged in place, about
// n log(runs) comparisons where a full sort takes n log n; more runs fall back to a full sort,
// which for a long range sorts its two halves at once.
#pragma once

#include <algorithm>
#include <iterator>
#include <vector>

#include "runtime/run_each.hpp"

namespace nrw {

constexpr size_t kMaxRuns = 64;

// Sorts [begin, end) by `less`; a long range has its first half sorted on a second thread
// beside its second half, then the two merged: a table is usually sorted while the other core
// waits. A failure of `less` on either half is raised once both are done.
template <class It, class Less>
void SortInHalves(It begin, It end, Less less) {
  const auto count = static_cast<size_t>(std::distance(begin, end));
  if (count < kRowsForASecondThread) {
    std::sort(begin, end, less);
    return;
  }
  const It middle = std::next(begin, static_cast<std::ptrdiff_t>(count / 2));
  RethrowFirst(RunEach(2, true, [&](size_t half) {
    if (half == 0) {
      std::sort(begin, middle, less);
    } else {
      std::sort(middle, end, less);
    }
  }));
  std::inplace_merge(begin, middle, end, less);
}

// Sorts [begin, end) by the strict weak order `less`.
template <class It, class Less>
void SortRuns(It begin, It end, Less less) {
  std::vector<It> bounds{begin};  // where each run starts, then `end`
  for (It it = begin; it != end && std::next(it) != end; ++it) {
    if (less(*std::next(it), *it)) {
      if (bounds.size() == kMaxRuns) {
        SortInHalves(begin, end, less);
        return;
      }
      bounds.push_back(std::next(it));
    }
  }
  bounds.push_back(end);
  // Neighbouring runs merged pairwise until one is left.
  while (bounds.size() > 2) {
    std::vector<It> merged;
    size_t i = 0;
    for (; i + 2 < bounds.size(); i += 2) {
      std::inplace_merge(bounds[i], bounds[i + 1], bounds[i + 2], less);
      merged.push_back(bounds[i]);
    }
    for (; i < bounds.size(); ++i) {
      merged.push_back(bounds[i]);
    }
    bounds = std::move(merged);
  }
}

}  // namespace nrw
