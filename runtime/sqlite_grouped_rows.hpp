// SqliteGroupedRows: the rows of a statement that reads a table in row id order, handed out in
// the order of an index whose first field the rows already follow (a table told its row order,
// SetRowOrder). Each run of rows with one value of that field is read whole and sorted by the
// index's other fields, then by row id, as SQLite would order them in the index: the index
// itself, a sort of the whole table, is never made.
#pragma once

#include <cstddef>
#include <vector>

#include "runtime/sqlite_read_ahead.hpp"

namespace nrw {

class NRW_API SqliteGroupedRows {
 public:
  using Row = SqliteReadAhead::Row;
  using Shape = SqliteReadAhead::Shape;

  // Reads `st` (not owned, in row id order; its first column the row id, column i + 1 field
  // i) with `shape`, which must outlive the reading.
  void Start(sqlite3_stmt* st, const Shape* shape);
  // Steps to the next row in index order: SQLITE_ROW, SQLITE_DONE, or SQLite's error.
  int Step();
  // Passes, unconverted, the rows whose first field is below `lead`, from the rest of the run
  // in hand on (the caller knows that run is below it), at most `limit` rows read: SQLITE_ROW
  // when a row not below it was reached (Step goes to its run), SQLITE_DONE past the last row,
  // kLimit when `limit` rows were passed, or SQLite's error.
  static constexpr int kLimit = -1;
  int SkipBelow(const OrderedValue& lead, size_t limit);
  // The row Step went to; it stands until the next Step or Start, and may be taken apart
  // (swapped out) by the caller.
  Row& Current() { return rows_[order_[next_ - 1]]; }
  const Row& Current() const { return rows_[order_[next_ - 1]]; }

 private:
  // Reads the next run of one first-field value and sorts it: SQLITE_ROW, or what ended it.
  int ReadRun();
  int StepStatement();

  sqlite3_stmt* st_ = nullptr;
  const Shape* shape_ = nullptr;
  SqliteColumnReader reader_;
  std::vector<Row> rows_;       // the run, then (at `size_`) the first row of the next one
  std::vector<size_t> order_;   // the run's rows in index order
  size_t size_ = 0, next_ = 0;  // rows in the run; the next of `order_` to hand out
  bool ahead_ = false;          // rows_[size_] holds the next run's first row
  bool done_ = false;           // the statement has no more rows
};

}  // namespace nrw
