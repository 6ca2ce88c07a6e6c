// TBackgroundSink: the calls of a section sink copied into blocks of bytes on the report's
// thread and replayed on a worker thread (see background_sink.hpp).
//
// A call in a block: one byte naming it, then its numbers (4 bytes each, native order: the
// blocks never leave the process) and its texts (a 4-byte length and the bytes).
#include "host/background_sink.hpp"

#include <pthread.h>

#include <condition_variable>
#include <cstring>
#include <deque>
#include <exception>
#include <mutex>
#include <string_view>
#include <thread>
#include <unordered_map>

namespace {

enum class Call : uint8_t { kStyle, kBeginPage, kHeader, kSection, kEndPage, kFinish };

void PutNumber(std::string& block, int32_t value) {
  char bytes[sizeof value];
  std::memcpy(bytes, &value, sizeof value);
  block.append(bytes, sizeof value);
}

void PutText(std::string& block, std::string_view text) {
  PutNumber(block, static_cast<int32_t>(text.size()));
  block.append(text);
}

void PutFields(std::string& block, const std::vector<TPrintedField>& fields) {
  PutNumber(block, static_cast<int32_t>(fields.size()));
  for (const TPrintedField& field : fields) {
    PutText(block, field.name);
    PutText(block, field.value);
  }
}

// Reads the calls of one block in the order they were put.
class BlockReader {
 public:
  explicit BlockReader(std::string_view block) : rest_(block) {}
  bool AtEnd() const { return rest_.empty(); }
  Call NextCall() {
    const auto call = static_cast<Call>(rest_.front());
    rest_.remove_prefix(1);
    return call;
  }
  int32_t Number() {
    int32_t value;
    std::memcpy(&value, rest_.data(), sizeof value);
    rest_.remove_prefix(sizeof value);
    return value;
  }
  std::string_view Text() {
    const auto size = static_cast<size_t>(Number());
    const std::string_view text = rest_.substr(0, size);
    rest_.remove_prefix(size);
    return text;
  }
  // Into a list that keeps its strings' buffers from one section to the next.
  void Fields(std::vector<TPrintedField>& fields) {
    fields.resize(static_cast<size_t>(Number()));
    for (TPrintedField& field : fields) {
      field.name.assign(Text());
      field.value.assign(Text());
    }
  }

 private:
  std::string_view rest_;
};

}  // namespace

struct TBackgroundSink::Impl {
  TSectionSink& target;
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

  // The worker's decoding state: one field list per section number, reused.
  std::unordered_map<int32_t, std::vector<TPrintedField>> sections;
  std::vector<TPrintedField> header;

  Impl(TSectionSink& sink, size_t bytes) : target(sink), block_bytes(bytes) {
    current.reserve(block_bytes);
    worker = std::thread([this] { Work(); });
  }

  void Begin(Call call) { current.push_back(static_cast<char>(call)); }

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
      return Replay(block);
    } catch (...) {
      std::lock_guard lock(mutex);
      error = std::current_exception();
      return true;
    }
  }

  bool Replay(std::string_view block) {
    BlockReader in(block);
    while (!in.AtEnd()) {
      switch (in.NextCall()) {
        case Call::kStyle: {
          const int32_t bits = in.Number();
          target.SetStyle(TSectionStyle{(bits & 1) != 0, (bits & 2) != 0});
          break;
        }
        case Call::kBeginPage:
          target.BeginPage(in.Number());
          break;
        case Call::kHeader: {
          const int32_t page = in.Number(), title_size = in.Number(), text_size = in.Number();
          in.Fields(header);
          target.PrintHeader(page, header, title_size, text_size);
          break;
        }
        case Call::kSection: {
          const int32_t page = in.Number(), section = in.Number();
          std::vector<TPrintedField>& fields = sections[section];
          in.Fields(fields);
          target.PrintSection(page, section, fields);
          break;
        }
        case Call::kEndPage:
          target.EndPage(in.Number());
          break;
        case Call::kFinish:
          target.Finish();
          return true;
      }
    }
    return false;
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
  impl_->Begin(Call::kStyle);
  PutNumber(impl_->current, (style.shaded ? 1 : 0) | (style.accent ? 2 : 0));
}

void TBackgroundSink::BeginPage(int32_t page) {
  impl_->Begin(Call::kBeginPage);
  PutNumber(impl_->current, page);
}

void TBackgroundSink::PrintHeader(int32_t page, const std::vector<TPrintedField>& fields,
                                  int32_t title_size, int32_t text_size) {
  impl_->Begin(Call::kHeader);
  PutNumber(impl_->current, page);
  PutNumber(impl_->current, title_size);
  PutNumber(impl_->current, text_size);
  PutFields(impl_->current, fields);
  impl_->HandOverIfFull();
}

void TBackgroundSink::PrintSection(int32_t page, int32_t section,
                                   const std::vector<TPrintedField>& fields) {
  impl_->Begin(Call::kSection);
  PutNumber(impl_->current, page);
  PutNumber(impl_->current, section);
  PutFields(impl_->current, fields);
  impl_->HandOverIfFull();
}

void TBackgroundSink::EndPage(int32_t page) {
  impl_->Begin(Call::kEndPage);
  PutNumber(impl_->current, page);
  impl_->HandOverIfFull();
}

void TBackgroundSink::Finish() {
  impl_->Begin(Call::kFinish);
  impl_->FinishAndWait();
}
