// Independent jobs run at the same time, each on a thread of its own, or one after the other.
#pragma once

#include <cstddef>
#include <exception>
#include <functional>
#include <vector>

#include "host/export.hpp"

namespace nrw {

// A job over this many rows or values is worth splitting with a second thread (a sort's halves,
// a permuted copy's columns): below it the thread's start costs more than it saves.
constexpr size_t kRowsForASecondThread = size_t{1} << 16;

// Runs work(0) to work(count - 1), at the same time on threads of their own when `together`
// (work(0) on the caller's), else one after the other. Returns once every one is done, with
// each one's failure.
NRW_API std::vector<std::exception_ptr> RunEach(size_t count, bool together,
                                                const std::function<void(size_t)>& work);

// Raises the first failure of a RunEach, if any.
NRW_API void RethrowFirst(const std::vector<std::exception_ptr>& errors);

}  // namespace nrw
