// Independent jobs run at the same time, each on a thread of its own, or one after the other.
#pragma once

#include <cstddef>
#include <exception>
#include <functional>
#include <vector>

namespace nrw {

// Runs work(0) to work(count - 1), at the same time on threads of their own when `together`
// (work(0) on the caller's), else one after the other. Returns once every one is done, with
// each one's failure.
std::vector<std::exception_ptr> RunEach(size_t count, bool together,
                                        const std::function<void(size_t)>& work);

// Raises the first failure of a RunEach, if any.
void RethrowFirst(const std::vector<std::exception_ptr>& errors);

}  // namespace nrw
