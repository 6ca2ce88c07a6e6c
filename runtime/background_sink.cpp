// TBackgroundSink: the calls of a section sink copied into blocks of bytes on the report's
// thread (runtime/section_calls) and replayed on a worker thread (see background_sink.hpp).
#include "host/background_sink.hpp"

#include <pthread.h>

#include <condition_variable>
#include <cstring>
#include <deque>
#include <exception>
#include <mutex>
#include <thread>

#include "runtime/section_calls.hpp"

namespace calls = nrw::section_calls;

struct TBackgroundSink::Impl {
  const size_t block_bytes;
  std::string current;  // the block being filled, on the report's thread

  std::mutex mutex;
  std::condition_variable changed;
  std::deque<std::string> full;    // handed over, oldest first
  std::vector<std::string> spare;  // replayed blocks, back for refilling
  bool stopping = false;           // the sink is destroyed without Finish
  bool finished = false;           // the worker has replayed Finish
  std::exception_ptr error;        // the first exception of the target
  std::thread worker;

  calls::Encoder encoder;    // on the report's thread
  calls::Replayer replayer;  // on the worker

  Impl(TSectionSink& target, size_t bytes) : block_bytes(bytes), replayer(target) {
    current.reserve(block_bytes);
    worker = std::thread([this] { Work(); });
  }

  void HandOverIfFull() {
    if (current.size() >= block_bytes) {
      HandOver();
    }
  }

  // Queues the current block, waiting while the worker is kBlocksInFlight blocks behind.
  void HandOver() {
    std::unique_lock lock(mutex);
    changed.wait(lock, [this] { return full.size() < kBlocksInFlight || error; });
    if (error) {
      std::rethrow_exception(error);
    }
    full.push_back(std::move(current));
    current.clear();
    if (!spare.empty()) {
      current = std::move(spare.back());
      spare.pop_back();
    }
    current.reserve(block_bytes);
    changed.notify_all();
  }

  void Work() {
    pthread_setname_np(pthread_self(), "nrw-output");
    for (;;) {
      std::string block;
      {
        std::unique_lock lock(mutex);
        changed.wait(lock, [this] { return !full.empty() || stopping; });
        if (stopping) {
          return;
        }
        block = std::move(full.front());
        full.pop_front();
      }
      const bool last = ReplayOrKeepError(block);
      std::lock_guard lock(mutex);
      block.clear();
      spare.push_back(std::move(block));
      finished = last;
      changed.notify_all();
      if (last) {
        return;
      }
    }
  }

  // True when the block ended with the Finish call (or the target failed: nothing more runs).
  bool ReplayOrKeepError(const std::string& block) {
    try {
      return replayer.Replay(block);
    } catch (...) {
      std::lock_guard lock(mutex);
      error = std::current_exception();
      return true;
    }
  }

  // Hands over the block ending with Finish and waits for the worker to replay it.
  void FinishAndWait() {
    HandOver();
    std::unique_lock lock(mutex);
    changed.wait(lock, [this] { return finished; });
    if (error) {
      std::rethrow_exception(error);
    }
  }

  ~Impl() {
    {
      std::lock_guard lock(mutex);
      stopping = true;
      changed.notify_all();
    }
    worker.join();
  }
};

TBackgroundSink::TBackgroundSink(TSectionSink& target, size_t block_bytes)
    : impl_(std::make_unique<Impl>(target, block_bytes)) {}

TBackgroundSink::~TBackgroundSink() = default;

void TBackgroundSink::SetStyle(const TSectionStyle& style) {
  impl_->encoder.Style(impl_->current, style);
}

void TBackgroundSink::BeginPage(int32_t page) {
  impl_->encoder.BeginPage(impl_->current, page);
}

void TBackgroundSink::PrintHeader(int32_t page, const std::vector<TPrintedField>& fields,
                                  int32_t title_size, int32_t text_size) {
  impl_->encoder.Header(impl_->current, page, fields, title_size, text_size);
  impl_->HandOverIfFull();
}

void TBackgroundSink::PrintSection(int32_t page, int32_t section,
                                   const std::vector<TPrintedField>& fields) {
  impl_->encoder.Section(impl_->current, page, section, fields);
  impl_->HandOverIfFull();
}

void TBackgroundSink::EndPage(int32_t page) {
  impl_->encoder.EndPage(impl_->current, page);
  impl_->HandOverIfFull();
}

void TBackgroundSink::Finish() {
  impl_->encoder.Finish(impl_->current);
  impl_->FinishAndWait();
}
