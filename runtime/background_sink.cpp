// TBackgroundSink: the calls of a section sink copied into blocks of bytes on the report's
// thread (runtime/section_calls) and replayed on a worker thread (see background_sink.hpp).
#include "host/background_sink.hpp"

#include <cstring>

#include "runtime/ordered_worker.hpp"
#include "runtime/section_calls.hpp"

namespace calls = nrw::section_calls;

struct TBackgroundSink::Impl {
  const size_t block_bytes;
  std::string current;       // the block being filled, on the report's thread
  calls::Encoder encoder;    // on the report's thread
  calls::Replayer replayer;  // on the worker
  nrw::OrderedWorker<std::string> worker;

  Impl(TSectionSink& target, size_t bytes)
      : block_bytes(bytes),
        replayer(target),
        worker("nrw-output", kBlocksInFlight, [this](std::string& block) {
          replayer.Replay(block);
          block.clear();
        }) {
    current.reserve(block_bytes);
  }

  void HandOverIfFull() {
    if (current.size() >= block_bytes) {
      HandOver();
    }
  }

  // Queues the current block (waiting while the worker is kBlocksInFlight blocks behind) and
  // goes on with a replayed one's buffer.
  void HandOver() {
    worker.HandOver(std::move(current));
    current = worker.Take();
    current.reserve(block_bytes);
  }

  // Hands over the block ending with Finish and waits for the worker to replay it.
  void FinishAndWait() {
    HandOver();
    worker.Drain();
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
