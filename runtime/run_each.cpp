#include "runtime/run_each.hpp"

#include <thread>

namespace nrw {

std::vector<std::exception_ptr> RunEach(size_t count, bool together,
                                        const std::function<void(size_t)>& work) {
  std::vector<std::exception_ptr> errors(count);
  auto run = [&](size_t i) {
    try {
      work(i);
    } catch (...) {
      errors[i] = std::current_exception();
    }
  };
  if (!together) {
    for (size_t i = 0; i < count; ++i) {
      run(i);
    }
    return errors;
  }
  std::vector<std::thread> threads;
  for (size_t i = 1; i < count; ++i) {
    threads.emplace_back(run, i);
  }
  if (count > 0) {
    run(0);
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  return errors;
}

void RethrowFirst(const std::vector<std::exception_ptr>& errors) {
  for (const std::exception_ptr& error : errors) {
    if (error) {
      std::rethrow_exception(error);
    }
  }
}

}  // namespace nrw
