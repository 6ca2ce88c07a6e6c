// SqliteGroupedRows (see sqlite_grouped_rows.hpp). A document's few rows make a run; sorting
// them is a handful of comparisons where the index would have sorted the whole table.
#include "runtime/sqlite_grouped_rows.hpp"

#include <algorithm>
#include <numeric>

#include "runtime/prefetch.hpp"

namespace nrw {
namespace {

// The order of two keys from their second field on (`index`: the index fields); values SQLite
// orders otherwise (blobs) count as equal, and the row ids decide.
bool Before(const SqliteGroupedRows::Row& a, const SqliteGroupedRows::Row& b,
            const std::vector<int>& index) {
  for (size_t i = 1; i < index.size(); ++i) {
    const std::optional<int> c = a.CompareKey(i, index, b);
    if (c && *c != 0) {
      return *c < 0;
    }
  }
  return a.rowid < b.rowid;
}

bool SameFirst(const SqliteGroupedRows::Row& a, const SqliteGroupedRows::Row& b,
               const std::vector<int>& index) {
  return a.CompareKey(0, index, b) == 0;
}

}  // namespace

void SqliteGroupedRows::Start(sqlite3_stmt* st, const Shape* shape) {
  st_ = st;
  shape_ = shape;
  reader_ = {};
  size_ = next_ = 0;
  order_.clear();
  ahead_ = done_ = false;
}

int SqliteGroupedRows::StepStatement() {
  if (size_ < rows_.size()) {
    // Read ahead, the row's buffer comes back from the caller, on the other core.
    PrefetchValues(rows_[size_].values, true);
  }
  const int rc = sqlite3_step(st_);
  if (rc == SQLITE_ROW) {
    if (rows_.size() == size_) {
      rows_.emplace_back();
    }
    SqliteReadAhead::ReadRow(st_, *shape_, reader_, rows_[size_]);
  } else if (rc == SQLITE_DONE) {
    done_ = true;
  }
  return rc;
}

int SqliteGroupedRows::ReadRun() {
  if (ahead_) {
    std::swap(rows_[0], rows_[size_]);
    ahead_ = false;
    size_ = 1;
  } else {
    size_ = 0;
    if (done_) {
      return SQLITE_DONE;
    }
    const int rc = StepStatement();
    if (rc != SQLITE_ROW) {
      return rc;
    }
    size_ = 1;
  }
  while (!done_) {
    const int rc = StepStatement();
    if (rc == SQLITE_DONE) {
      break;
    }
    if (rc != SQLITE_ROW) {
      return rc;
    }
    if (!SameFirst(rows_[size_], rows_[0], shape_->index)) {
      ahead_ = true;
      break;
    }
    ++size_;
  }
  order_.resize(size_);
  std::iota(order_.begin(), order_.end(), size_t{0});
  if (size_ > 1) {
    std::sort(order_.begin(), order_.end(),
              [this](size_t a, size_t b) { return Before(rows_[a], rows_[b], shape_->index); });
  }
  next_ = 0;
  return SQLITE_ROW;
}

int SqliteGroupedRows::SkipBelow(const OrderedValue& lead, size_t limit) {
  const auto below = [&lead](const OrderedValue& v) {
    return CompareValues(v, lead).value_or(0) < 0;
  };
  if (ahead_ && !below(rows_[size_].Key(0, shape_->index))) {
    next_ = size_;  // the next Step reads the run that row begins
    return SQLITE_ROW;
  }
  ahead_ = false;
  size_ = next_ = 0;
  const int column = shape_->index[0] + 1;
  for (size_t passed = 0; !done_; ++passed) {
    if (passed == limit) {
      return kLimit;
    }
    const int rc = sqlite3_step(st_);
    if (rc == SQLITE_DONE) {
      done_ = true;
    } else if (rc != SQLITE_ROW) {
      return rc;
    } else if (!below(ColumnValue(st_, column))) {
      if (rows_.empty()) {
        rows_.emplace_back();
      }
      SqliteReadAhead::ReadRow(st_, *shape_, reader_, rows_[0]);
      ahead_ = true;  // size_ is 0: the run begins with rows_[0]
      return SQLITE_ROW;
    }
  }
  return SQLITE_DONE;
}

int SqliteGroupedRows::Step() {
  if (next_ == size_) {
    const int rc = ReadRun();
    if (rc != SQLITE_ROW) {
      size_ = next_ = 0;
      return rc;
    }
  }
  ++next_;
  return SQLITE_ROW;
}

}  // namespace nrw
