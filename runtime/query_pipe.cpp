// PipeQueries: a reader thread per lane fills batches of rows from its queries; the calling
// thread hands them to the queries' functions and gives the emptied batches back (see
// query_pipe.hpp).
#include "runtime/query_pipe.hpp"

#include <pthread.h>

#include <condition_variable>
#include <deque>
#include <exception>
#include <memory>
#include <mutex>
#include <thread>

#include "runtime/sqlite_order.hpp"

namespace nrw {
namespace {

// Rows in a batch, and batches of a lane that may wait for the calling thread: enough to keep
// both sides busy, little enough that a million-row query holds a few thousand rows at a time.
constexpr size_t kBatchRows = 512;
constexpr size_t kBatchesInFlight = 8;

struct Batch {
  std::vector<std::vector<Variant>> rows;
  size_t count = 0;
  size_t query = 0;   // of the lane
  bool last = false;  // the query's last rows
};

// Thrown on a reader thread to leave its query when the calling thread has stopped.
struct Abandoned {};

// What the lanes and the calling thread share: one lock, and the signal of any change.
struct Hub {
  std::mutex mutex;
  std::condition_variable changed;
  bool abandoned = false;
};

// A value of the field's type, into a row slot that keeps its text buffer. A value already of
// the field's kind is copied as it is, as the conversion would give it back.
void Convert(const Variant& value, TFieldType type, Variant& slot) {
  if (value.GetKind() == KindOfField(type)) {
    slot = value;
  } else {
    slot = VarAsType(value, type);
  }
}

// Converts a statement's row into the next row of `batch` (a row reused from another query
// takes the width of these fields).
void ConvertInto(const std::vector<Variant>& values, const std::vector<TFieldDef>& fields,
                 Batch& batch) {
  if (batch.count == batch.rows.size()) {
    batch.rows.emplace_back(fields.size());
  }
  std::vector<Variant>& row = batch.rows[batch.count++];
  row.resize(fields.size());
  for (size_t i = 0; i < fields.size(); ++i) {
    Convert(values.at(i), fields[i].type, row[i]);
  }
}

// One statement of a merged query, read on a thread of its own ("nrw-part") into batches of
// converted rows that the lane's thread takes in turn.
class PartReader : public TSQLRowSink {
 public:
  PartReader(TSQLConnection& connection, const std::string& sql, const TVariantArray& params,
             const std::vector<TFieldDef>& fields)
      : connection_(connection), sql_(sql), params_(params), fields_(fields) {
    thread_ = std::thread([this] {
      pthread_setname_np(pthread_self(), "nrw-part");
      Read();
    });
  }
  ~PartReader() override {
    {
      std::lock_guard lock(mutex_);
      stopping_ = true;
      changed_.notify_all();
    }
    thread_.join();
  }
  PartReader(const PartReader&) = delete;
  PartReader& operator=(const PartReader&) = delete;

  // The next row, or null after the last; raises the statement's failure once the rows before
  // it were given. The row stands until the next call, and may be taken apart (swapped out).
  std::vector<Variant>* Next() {
    if (next_ < reading_.count) {
      return &reading_.rows[next_++];
    }
    std::unique_lock lock(mutex_);
    reading_.count = 0;
    spare_.push_back(std::move(reading_));
    changed_.wait(lock, [this] { return !full_.empty() || closed_; });
    if (full_.empty()) {
      reading_ = Batch{};
      if (error_) {
        std::rethrow_exception(error_);
      }
      return nullptr;
    }
    reading_ = std::move(full_.front());
    full_.pop_front();
    changed_.notify_all();
    next_ = 1;
    return &reading_.rows[0];
  }

  void Columns(const std::vector<TSQLColumn>&) override {}
  void Row(const std::vector<Variant>& values) override {
    ConvertInto(values, fields_, filling_);
    if (filling_.count == kBatchRows) {
      HandOver();
    }
  }

 private:
  static constexpr size_t kBatchesAhead = 4;

  void Read() {
    std::exception_ptr error;
    try {
      connection_.BulkQuery(sql_, params_, *this);
      if (filling_.count > 0) {
        HandOver();
      }
    } catch (const Abandoned&) {
    } catch (...) {
      error = std::current_exception();
    }
    std::lock_guard lock(mutex_);
    error_ = error;
    closed_ = true;
    changed_.notify_all();
  }
  void HandOver() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return full_.size() < kBatchesAhead || stopping_; });
    if (stopping_) {
      throw Abandoned{};
    }
    full_.push_back(std::move(filling_));
    changed_.notify_all();
    if (spare_.empty()) {
      filling_ = Batch{};
    } else {
      filling_ = std::move(spare_.back());
      spare_.pop_back();
    }
  }

  TSQLConnection& connection_;
  const std::string& sql_;
  const TVariantArray& params_;
  const std::vector<TFieldDef>& fields_;
  Batch filling_;  // the reader's
  Batch reading_;  // the lane's
  size_t next_ = 0;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<Batch> full_;
  std::vector<Batch> spare_;
  bool closed_ = false, stopping_ = false;
  std::exception_ptr error_;
  std::thread thread_;  // last: it starts once the rest is made
};

class Pipe : public TSQLRowSink {
 public:
  Pipe(Hub& hub, QueryLane& lane) : hub_(hub), lane_(lane) { Refill(); }

  // --- the reader thread -----------------------------------------------------------------------
  void Read() {
    std::exception_ptr error;
    try {
      for (size_t q = 0; q < lane_.queries.size(); ++q) {
        const PipedQuery& query = lane_.queries[q];
        fields_ = &query.fields;
        current_.query = q;
        if (query.more.empty()) {
          lane_.connection->BulkQuery(query.sql, query.params, *this);
        } else {
          ReadMerged(query);
        }
        current_.last = true;
        HandOver();
      }
    } catch (const Abandoned&) {
    } catch (...) {
      error = std::current_exception();
    }
    std::lock_guard lock(hub_.mutex);
    error_ = error;
    closed_ = true;
    hub_.changed.notify_all();
  }
  void Columns(const std::vector<TSQLColumn>&) override {}
  void Row(const std::vector<Variant>& values) override {
    ConvertInto(values, *fields_, current_);
    if (current_.count == kBatchRows) {
      HandOver();
    }
  }

  // --- the calling thread, under the hub's lock ------------------------------------------------
  bool Ready() const { return !full_.empty(); }
  bool Closed() const { return closed_ && full_.empty(); }
  std::exception_ptr Error() const { return error_; }
  Batch Take() {
    Batch batch = std::move(full_.front());
    full_.pop_front();
    return batch;
  }
  void GiveBack(Batch batch) {
    batch.count = 0;
    batch.last = false;
    spare_.push_back(std::move(batch));
  }
  const PipedQuery& Query(size_t q) const { return lane_.queries[q]; }

 private:
  // The query's statements read at once, their rows merged by key into the lane's batches (each
  // row taken from its statement's batch by an exchange, not copied).
  void ReadMerged(const PipedQuery& query) {
    std::vector<std::unique_ptr<PartReader>> parts;
    parts.push_back(
        std::make_unique<PartReader>(*lane_.connection, query.sql, query.params, query.fields));
    for (size_t k = 0; k < query.more.size(); ++k) {
      parts.push_back(std::make_unique<PartReader>(*lane_.part_connections.at(k), query.more[k].sql,
                                                   query.more[k].params, query.fields));
    }
    std::vector<std::vector<Variant>*> heads;
    for (const auto& part : parts) {
      heads.push_back(part->Next());
    }
    for (;;) {
      // The head with the lowest key, the earliest among equal ones (keys not ordered here
      // count as equal).
      size_t first = heads.size();
      for (size_t i = 0; i < heads.size(); ++i) {
        if (heads[i] != nullptr &&
            (first == heads.size() ||
             CompareKeyPrefix(*heads[i], *heads[first], query.merge_keys).value_or(0) < 0)) {
          first = i;
        }
      }
      if (first == heads.size()) {
        return;
      }
      if (current_.count == current_.rows.size()) {
        current_.rows.emplace_back();
      }
      current_.rows[current_.count++].swap(*heads[first]);
      if (current_.count == kBatchRows) {
        HandOver();
      }
      heads[first] = parts[first]->Next();
    }
  }

  void HandOver() {
    std::unique_lock lock(hub_.mutex);
    hub_.changed.wait(lock, [this] { return full_.size() < kBatchesInFlight || hub_.abandoned; });
    if (hub_.abandoned) {
      throw Abandoned{};
    }
    const size_t query = current_.query;
    full_.push_back(std::move(current_));
    hub_.changed.notify_all();
    Refill();
    current_.query = query;
  }
  // The next batch to fill: an emptied one when there is one (under the hub's lock).
  void Refill() {
    if (spare_.empty()) {
      current_ = Batch{};
      current_.rows.reserve(kBatchRows);
    } else {
      current_ = std::move(spare_.back());
      spare_.pop_back();
    }
  }

  Hub& hub_;
  QueryLane& lane_;
  const std::vector<TFieldDef>* fields_ = nullptr;
  Batch current_;  // the reader's
  std::deque<Batch> full_;
  std::vector<Batch> spare_;
  bool closed_ = false;
  std::exception_ptr error_;
};

// Hands the lanes' rows to their handlers until every lane is closed; raises the first error
// a lane reports.
void Drain(Hub& hub, std::vector<std::unique_ptr<Pipe>>& pipes) {
  size_t turn = 0;  // the lanes take turns when several have rows ready
  for (;;) {
    Pipe* from = nullptr;
    Batch batch;
    {
      std::unique_lock lock(hub.mutex);
      hub.changed.wait(lock, [&] {
        bool all_closed = true;
        for (const auto& pipe : pipes) {
          if (pipe->Ready() || pipe->Error()) {
            return true;
          }
          all_closed = all_closed && pipe->Closed();
        }
        return all_closed;
      });
      for (size_t i = 0; i < pipes.size() && from == nullptr; ++i) {
        Pipe& pipe = *pipes[(turn + i) % pipes.size()];
        if (pipe.Error()) {
          std::rethrow_exception(pipe.Error());
        }
        if (pipe.Ready()) {
          from = &pipe;
        }
      }
      if (from == nullptr) {
        return;
      }
      batch = from->Take();
      hub.changed.notify_all();
    }
    ++turn;
    const PipedQuery& query = from->Query(batch.query);
    for (size_t i = 0; i < batch.count; ++i) {
      query.handle(batch.rows[i]);
    }
    if (batch.last && query.done) {
      query.done();
    }
    std::lock_guard lock(hub.mutex);
    from->GiveBack(std::move(batch));
  }
}

}  // namespace

void PipeQueries(std::vector<QueryLane>& lanes) {
  Hub hub;
  std::vector<std::unique_ptr<Pipe>> pipes;
  for (QueryLane& lane : lanes) {
    pipes.push_back(std::make_unique<Pipe>(hub, lane));
  }
  std::vector<std::thread> readers;
  for (size_t i = 0; i < pipes.size(); ++i) {
    readers.emplace_back([&hub, pipe = pipes[i].get(), i] {
      const std::string name = i == 0 ? "nrw-query" : "nrw-query-" + std::to_string(i + 1);
      pthread_setname_np(pthread_self(), name.c_str());
      pipe->Read();
    });
  }
  auto join = [&] {
    for (std::thread& reader : readers) {
      reader.join();
    }
  };
  try {
    Drain(hub, pipes);
  } catch (...) {
    {
      std::lock_guard lock(hub.mutex);
      hub.abandoned = true;
      hub.changed.notify_all();
    }
    join();
    throw;
  }
  join();
}

void PipeQuery(TSQLConnection& connection, const std::string& sql, const TVariantArray& params,
               const std::vector<TFieldDef>& fields,
               const std::function<void(std::vector<Variant>&)>& handle) {
  std::vector<QueryLane> lanes(1);
  lanes[0].connection = &connection;
  lanes[0].queries.push_back({sql, params, fields, handle, nullptr, {}, 0});
  PipeQueries(lanes);
}

}  // namespace nrw
