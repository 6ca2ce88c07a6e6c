// PipeQuery: a reader thread fills batches of rows from the query; the calling thread hands
// them to the caller's function and gives the emptied batches back (see query_pipe.hpp).
#include "runtime/query_pipe.hpp"

#include <pthread.h>

#include <condition_variable>
#include <deque>
#include <exception>
#include <mutex>
#include <thread>

namespace nrw {
namespace {

// Rows in a batch, and batches that may wait for the calling thread: enough to keep both
// threads busy, little enough that a million-row query holds a few thousand rows at a time.
constexpr size_t kBatchRows = 512;
constexpr size_t kBatchesInFlight = 8;

struct Batch {
  std::vector<std::vector<Variant>> rows;
  size_t count = 0;
};

// Thrown on the reader thread to leave the query when the calling thread has stopped.
struct Abandoned {};

class Pipe : public TSQLRowSink {
 public:
  explicit Pipe(const std::vector<TFieldDef>& fields) : fields_(fields) { Refill(); }

  // --- the reader thread -----------------------------------------------------------------------
  void Columns(const std::vector<TSQLColumn>&) override {}
  void Row(const std::vector<Variant>& values) override {
    if (current_.count == current_.rows.size()) {
      current_.rows.emplace_back(fields_.size());
    }
    std::vector<Variant>& row = current_.rows[current_.count++];
    for (size_t i = 0; i < fields_.size(); ++i) {
      Convert(values.at(i), fields_[i].type, row[i]);
    }
    if (current_.count == kBatchRows) {
      HandOver();
    }
  }
  // The last rows, then the end (with the query's error, if any).
  void Close(std::exception_ptr error) {
    std::lock_guard lock(mutex_);
    if (current_.count > 0) {
      full_.push_back(std::move(current_));
    }
    error_ = error;
    closed_ = true;
    changed_.notify_all();
  }

  // --- the calling thread ----------------------------------------------------------------------
  // Hands the rows to `handle` until the reader closes; raises the reader's error.
  void Drain(const std::function<void(std::vector<Variant>&)>& handle) {
    for (;;) {
      Batch batch;
      {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return !full_.empty() || closed_; });
        if (full_.empty()) {
          if (error_) {
            std::rethrow_exception(error_);
          }
          return;
        }
        batch = std::move(full_.front());
        full_.pop_front();
        changed_.notify_all();
      }
      for (size_t i = 0; i < batch.count; ++i) {
        handle(batch.rows[i]);
      }
      batch.count = 0;
      std::lock_guard lock(mutex_);
      spare_.push_back(std::move(batch));
    }
  }
  // The calling thread stops early: the reader leaves at its next batch.
  void Abandon() {
    std::lock_guard lock(mutex_);
    abandoned_ = true;
    changed_.notify_all();
  }

 private:
  // A value of the field's type, into a row slot that keeps its text buffer.
  static void Convert(const Variant& value, TFieldType type, Variant& slot) {
    if (type == TFieldType::String && value.GetKind() == Variant::Kind::String) {
      slot = value;
    } else {
      slot = VarAsType(value, type);
    }
  }

  void HandOver() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return full_.size() < kBatchesInFlight || abandoned_; });
    if (abandoned_) {
      throw Abandoned{};
    }
    full_.push_back(std::move(current_));
    changed_.notify_all();
    Refill();
  }
  // The next batch to fill: an emptied one when there is one.
  void Refill() {
    if (spare_.empty()) {
      current_ = Batch{};
      current_.rows.reserve(kBatchRows);
    } else {
      current_ = std::move(spare_.back());
      spare_.pop_back();
    }
  }

  const std::vector<TFieldDef>& fields_;
  Batch current_;  // the reader's
  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<Batch> full_;
  std::vector<Batch> spare_;
  bool closed_ = false, abandoned_ = false;
  std::exception_ptr error_;
};

}  // namespace

void PipeQuery(TSQLConnection& connection, const std::string& sql, const TVariantArray& params,
               const std::vector<TFieldDef>& fields,
               const std::function<void(std::vector<Variant>&)>& handle) {
  Pipe pipe(fields);
  std::thread reader([&] {
    pthread_setname_np(pthread_self(), "nrw-query");
    std::exception_ptr error;
    try {
      connection.Query(sql, params, pipe);
    } catch (const Abandoned&) {
    } catch (...) {
      error = std::current_exception();
    }
    pipe.Close(error);
  });
  try {
    pipe.Drain(handle);
  } catch (...) {
    pipe.Abandon();
    reader.join();
    throw;
  }
  reader.join();
}

}  // namespace nrw
