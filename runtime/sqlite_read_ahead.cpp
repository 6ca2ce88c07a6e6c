// SqliteReadAhead (see sqlite_read_ahead.hpp): batches of rows handed from the reading thread
// to the caller and back, so that their buffers are reused.
#include "runtime/sqlite_read_ahead.hpp"

#include <pthread.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <deque>
#include <exception>
#include <mutex>
#include <thread>

#include "host/exception.hpp"
#include "runtime/prefetch.hpp"
#include "runtime/sqlite_grouped_rows.hpp"

namespace nrw {

namespace {

constexpr size_t kBatchRows = 128;
// Batches filled ahead of the caller's (the one it takes rows from is not counted).
constexpr size_t kBatchesAhead = 4;
// A reading that runs out of batches to fill waits until this many are given back, and fills
// them in one go instead of waking for each one (a wake-up per batch cost the million-line month
// 0.2-0.7 s of processor time). The caller never waits on it then: of the five batches the
// caller holds one and the reading none, so when the caller runs out three are given back.
constexpr size_t kWakeBatches = 2;

struct Batch {
  std::vector<SqliteReadAhead::Row> rows;
  size_t size = 0;
  bool last = false;  // the query has no row after these
};

// Closes the reading's connection and statement however the reading ends.
struct Reader {
  sqlite3* db = nullptr;
  sqlite3_stmt* st = nullptr;
  ~Reader() {
    sqlite3_finalize(st);
    sqlite3_close(db);
  }
};

}  // namespace

struct SqliteReadAhead::Impl {
  std::string path;
  Shape shape;
  std::thread thread;
  std::atomic<bool> stopping{false};

  std::mutex mutex;
  std::condition_variable changed;
  std::deque<Batch*> full;   // filled, in row order
  std::vector<Batch*> free;  // given back
  std::exception_ptr error;
  bool ended = false;  // the thread wrote its last batch or its error

  std::vector<std::unique_ptr<Batch>> batches;
  Batch* current = nullptr;  // the caller's
  size_t next = 0;           // the caller's next row in it
  bool past_last = false;

  // A batch to fill, when the caller gives one back (after running out, once kWakeBatches are
  // back); null once stopping.
  Batch* TakeFree() {
    std::unique_lock lock(mutex);
    if (free.empty()) {
      changed.wait(lock, [this] { return free.size() >= kWakeBatches || stopping.load(); });
    }
    if (stopping.load()) {
      return nullptr;
    }
    Batch* batch = free.back();
    free.pop_back();
    return batch;
  }
  void Hand(Batch* batch) {
    std::lock_guard lock(mutex);
    full.push_back(batch);
    changed.notify_all();
  }
  void End(std::exception_ptr failure) {
    std::lock_guard lock(mutex);
    error = std::move(failure);
    ended = true;
    changed.notify_all();
  }

  void Read(const std::string& sql, const TVariantArray& params) {
    pthread_setname_np(pthread_self(), "nrw-ahead");
    try {
      Reader r;
      // A connection for each reading: its page cache starts empty, so the pages that were
      // written since the last reading are read anew.
      r.db = OpenSqliteReader(path);
      if (sqlite3_prepare_v2(r.db, sql.c_str(), -1, &r.st, nullptr) != SQLITE_OK) {
        throw Exception("cannot read ahead in '" + path + "': " + sqlite3_errmsg(r.db));
      }
      BindSqliteValues(r.db, r.st, params);
      SqliteColumnReader columns;
      SqliteGroupedRows runs;
      if (shape.grouped) {
        runs.Start(r.st, &shape);
      }
      while (Batch* batch = TakeFree()) {
        batch->size = 0;
        batch->last = false;
        while (batch->size < kBatchRows && !batch->last) {
          if (!shape.grouped && batch->size < batch->rows.size()) {
            // The row's buffer was last read on the caller's core.
            PrefetchValues(batch->rows[batch->size].values, true);
          }
          const int rc = shape.grouped ? runs.Step() : sqlite3_step(r.st);
          if (rc == SQLITE_ROW) {
            if (batch->rows.size() == batch->size) {
              batch->rows.emplace_back();
            }
            Row& row = batch->rows[batch->size++];
            if (shape.grouped) {
              std::swap(row, runs.Current());
            } else {
              ReadRow(r.st, shape, columns, row);
            }
          } else if (rc == SQLITE_DONE) {
            batch->last = true;
          } else {
            throw Exception("cannot read ahead in '" + path + "': " + sqlite3_errmsg(r.db));
          }
        }
        Hand(batch);
        if (batch->last) {
          break;
        }
      }
      End(nullptr);
    } catch (...) {
      End(std::current_exception());
    }
  }

  void Stop() {
    if (thread.joinable()) {
      {
        std::lock_guard lock(mutex);
        stopping = true;
        changed.notify_all();
      }
      thread.join();
    }
    stopping = false;
    free.clear();
    for (auto& batch : batches) {
      free.push_back(batch.get());
    }
    full.clear();
    error = nullptr;
    ended = false;
    current = nullptr;
    next = 0;
    past_last = false;
  }

  // Takes the next batch for the caller; past the last when the reading ended without
  // another. The caller's batch is given back only once the next one is there, so that its
  // last row, the caller's latest, stands after the last batch and after a failure (four
  // batches are filled ahead meanwhile: the reading never waits for it).
  void NextBatch() {
    std::unique_lock lock(mutex);
    changed.wait(lock, [this] { return !full.empty() || ended; });
    if (full.empty()) {
      past_last = true;
      return;
    }
    if (current != nullptr) {
      free.push_back(current);
      if (free.size() >= kWakeBatches) {
        changed.notify_all();
      }
    }
    current = full.front();
    full.pop_front();
    next = 0;
  }
};

SqliteReadAhead::SqliteReadAhead(std::string path) : impl_(std::make_unique<Impl>()) {
  impl_->path = std::move(path);
  for (size_t i = 0; i < kBatchesAhead + 1; ++i) {
    impl_->batches.push_back(std::make_unique<Batch>());
  }
}

SqliteReadAhead::~SqliteReadAhead() {
  impl_->Stop();
}

void SqliteReadAhead::Start(const std::string& sql, const TVariantArray& params, Shape shape) {
  Impl& m = *impl_;
  m.Stop();
  m.shape = std::move(shape);
  m.thread = std::thread([&m, sql, params] { m.Read(sql, params); });
}

const SqliteReadAhead::Row* SqliteReadAhead::Next() {
  Impl& m = *impl_;
  for (;;) {
    if (m.current != nullptr && m.next < m.current->size) {
      const size_t at = m.next++;
      if (m.next < m.current->size) {
        // Read on the other core: asked for while the caller works on this row.
        PrefetchValues(m.current->rows[m.next].values, false);
      }
      return &m.current->rows[at];
    }
    if (m.current != nullptr && m.current->last) {
      m.past_last = true;
    }
    if (m.past_last) {
      // The thread may still be ending after its last batch.
      std::unique_lock lock(m.mutex);
      if (m.error) {
        std::rethrow_exception(m.error);
      }
      return nullptr;
    }
    m.NextBatch();
  }
}

void SqliteReadAhead::Stop() {
  impl_->Stop();
}

bool SqliteReadAhead::Reading() const {
  return impl_->thread.joinable();
}

const SqliteReadAhead::Shape& SqliteReadAhead::RowShape() const {
  return impl_->shape;
}

void SqliteReadAhead::ReadRow(sqlite3_stmt* st, const Shape& shape, SqliteColumnReader& reader,
                              Row& row) {
  row.rowid = sqlite3_column_int64(st, 0);
  row.values.resize(shape.fields.size());
  row.held = 0;
  // The index fields first: a value read as SQLite stored it orders from its place in the
  // values (Row::Key), another is held apart.
  for (size_t k = 0; k < shape.index.size(); ++k) {
    const auto i = static_cast<size_t>(shape.index[k]);
    const int column = static_cast<int>(i) + 1;
    if (shape.wanted[i] &&
        reader.Read(st, column, shape.fields[i].type, shape.fields[i].name, row.values[i]) &&
        k < 64) {
      continue;
    }
    if (row.key.size() < shape.index.size()) {
      row.key.resize(shape.index.size());
    }
    row.key[k].Hold(st, column);
    if (k < 64) {
      row.held |= uint64_t{1} << k;
    }
  }
  for (size_t i = 0; i < shape.fields.size(); ++i) {
    if (shape.wanted[i] && std::find(shape.index.begin(), shape.index.end(), static_cast<int>(i)) ==
                               shape.index.end()) {
      reader.Read(st, static_cast<int>(i) + 1, shape.fields[i].type, shape.fields[i].name,
                  row.values[i]);
    }
  }
}

}  // namespace nrw
