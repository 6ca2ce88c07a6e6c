// OrderedWorker: work handed from the caller's thread to one thread of its own, run there in
// the order it was handed over. The caller fills an item, hands it over (waiting while `depth`
// items wait), and takes a fresh one, which is an item the worker has run and given back, so
// that its buffers are reused. The first exception the work raises is kept: no item runs after
// it, and the caller's next HandOver or Drain raises it.
#pragma once

#include <pthread.h>

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <exception>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace nrw {

template <typename Item>
class OrderedWorker {
 public:
  // `work` runs on the worker's thread, named `name` (at most 15 characters), and leaves the
  // item ready to be filled again.
  OrderedWorker(std::string name, size_t depth, std::function<void(Item&)> work)
      : name_(std::move(name)), depth_(depth), work_(std::move(work)) {
    thread_ = std::thread([this] { Loop(); });
  }
  // Stops the thread; items still waiting are dropped (a run that failed ends here).
  ~OrderedWorker() {
    {
      std::lock_guard lock(mutex_);
      stopping_ = true;
      changed_.notify_all();
    }
    thread_.join();
  }
  OrderedWorker(const OrderedWorker&) = delete;
  OrderedWorker& operator=(const OrderedWorker&) = delete;

  // An item to fill: one given back by the worker, else a new one.
  Item Take() {
    std::lock_guard lock(mutex_);
    if (spare_.empty()) {
      return Item();
    }
    Item item = std::move(spare_.back());
    spare_.pop_back();
    return item;
  }
  // Queues the item, waiting while `depth` items wait; raises the work's first failure.
  void HandOver(Item item) {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return waiting_.size() < depth_ || error_; });
    if (error_) {
      std::rethrow_exception(error_);
    }
    waiting_.push_back(std::move(item));
    changed_.notify_all();
  }
  // Waits until every item handed over has run; raises the work's first failure.
  void Drain() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return (waiting_.empty() && !running_) || error_; });
    if (error_) {
      std::rethrow_exception(error_);
    }
  }
  // Waits until the worker is idle and forgets what waits and the failure, if any.
  void Reset() {
    std::unique_lock lock(mutex_);
    waiting_.clear();
    changed_.wait(lock, [this] { return !running_; });
    error_ = nullptr;
  }

 private:
  void Loop() {
    pthread_setname_np(pthread_self(), name_.c_str());
    for (;;) {
      Item item;
      {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return (!waiting_.empty() && !error_) || stopping_; });
        if (stopping_) {
          return;
        }
        item = std::move(waiting_.front());
        waiting_.pop_front();
        running_ = true;
      }
      std::exception_ptr error;
      try {
        work_(item);
      } catch (...) {
        error = std::current_exception();
      }
      std::lock_guard lock(mutex_);
      running_ = false;
      if (error && !error_) {
        error_ = error;
      }
      spare_.push_back(std::move(item));
      changed_.notify_all();
    }
  }

  const std::string name_;
  const size_t depth_;
  const std::function<void(Item&)> work_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<Item> waiting_;
  std::vector<Item> spare_;
  bool running_ = false;
  bool stopping_ = false;
  std::exception_ptr error_;
  std::thread thread_;  // last: it starts once everything it uses is there
};

}  // namespace nrw
