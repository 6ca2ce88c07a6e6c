// TBackgroundSink: the calls of a section sink copied into blocks of bytes on the report's
// thread (runtime/section_calls) and replayed on a worker thread (see background_sink.hpp).
#include "host/background_sink.hpp"

#include "runtime/ordered_worker.hpp"
#include "runtime/section_calls.hpp"

namespace calls = nrw::section_calls;

struct TBackgroundSink::Impl {
  calls::Replayer replayer;  // on the worker
  nrw::OrderedWorker<std::string> worker;

  explicit Impl(TSectionSink& target)
      : replayer(target), worker("nrw-output", kBlocksInFlight, [this](std::string& block) {
          replayer.Replay(block);
          block.clear();
        }) {}
};

TBackgroundSink::TBackgroundSink(TSectionSink& target, size_t block_bytes)
    : TBlockSink(block_bytes), impl_(std::make_unique<Impl>(target)) {}

// The worker stops before the blocks it could still be replaying go.
TBackgroundSink::~TBackgroundSink() = default;

void TBackgroundSink::HandOver(std::string& block) {
  impl_->worker.HandOver(std::move(block));
  block = impl_->worker.Take();  // a replayed block's buffer, when there is one
}

void TBackgroundSink::Finished() {
  impl_->worker.Drain();
}
