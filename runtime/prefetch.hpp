// Prefetches of a row's values: rows handed from one thread to another reach the other core's
// cache line by line, and a thread that waits on each line in turn spends more time waiting than
// working. A prefetch asks for the lines ahead of the work that uses them.
#pragma once

#include <cstddef>
#include <vector>

#include "host/variant.hpp"

namespace nrw {

// Asks for the cache lines of `values` (the Variants themselves, not the texts they point to),
// to be read (`write` false) or written.
inline void PrefetchValues(const std::vector<Variant>& values, bool write) {
  constexpr size_t kLine = 64;
  const char* begin = reinterpret_cast<const char*>(values.data());
  const char* end = begin + values.size() * sizeof(Variant);
  for (const char* line = begin; line < end; line += kLine) {
    if (write) {
      __builtin_prefetch(line, 1);
    } else {
      __builtin_prefetch(line, 0);
    }
  }
}

}  // namespace nrw
