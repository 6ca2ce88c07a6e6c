// TnFDTableSQLite: a table in a local SQLite database file, with the data-set behaviour of the
// in-memory tables, served by SQLite itself:
//   - an index field list orders the cursor by those fields (then by rowid) through a SQLite
//     index on them, made the first time a statement needs that order (a list replaced before
//     any read makes none); nothing is read into memory;
//   - a row is read with its index fields and the fields asked for so far; a field asked for
//     the first time is read by rowid, and with every row after; before an update or a delete
//     on the connection, the other cursors read their rows' remaining fields, so a row reads
//     as it was when the cursor came to it;
//   - FindKey and SetRange are indexed seeks, except that one going forward in index order a
//     few rows from where the cursor's statement stands steps the statement there (look-ups
//     that follow a listing's order cost a step, not a statement); RecordCount is a count(*)
//     kept until a change, the whole table's apart from the range's; IsEmpty answers from a
//     kept count, else stops at the first visible row;
//   - a filter is translated into the query's where clause, its literals bound as values;
//   - edits are written to the file; consecutive writes share one transaction, committed at
//     the next navigation (First, FindKey, SetRange, ...), at Close, or when the connection's
//     database name is read to hand the file to someone else.
#pragma once

#include <memory>
#include <string>

#include "host/data_set.hpp"
#include "host/export.hpp"
#include "host/sql.hpp"

class TnFDConnection;

class NRW_API TnFDConnectionParams {
 public:
  explicit TnFDConnectionParams(TnFDConnection& owner) : owner_(owner) {}
  // The database file. Reading it commits pending writes, so that the file on disk is whole.
  std::string Database() const;
  void SetDatabase(std::string path);

 private:
  TnFDConnection& owner_;
  std::string database_;
  friend class TnFDConnection;
};

class NRW_API TnFDConnection : public TComponent {
 public:
  explicit TnFDConnection(TComponent* owner = nullptr);
  ~TnFDConnection() override;

  TnFDConnectionParams& Params() { return params_; }
  // Opens (creating it when absent) the database file named by Params().Database().
  void Open();
  void Close();
  bool Connected() const;
  void CommitPending();
  // The open database as an SQL connection (DDL and bulk loads on the same handle the tables
  // read through, so that they never lock each other out). Raises when not connected.
  TSQLConnection& Sql();

  struct Impl;
  Impl& Internal() { return *impl_; }

 private:
  TnFDConnectionParams params_;
  std::unique_ptr<Impl> impl_;
};

class NRW_API TnFDTableSQLite : public TDataSet {
 public:
  explicit TnFDTableSQLite(TComponent* owner = nullptr);
  ~TnFDTableSQLite() override;

  // The table's connection: its own, unless SetConnection shares another (not owned).
  TnFDConnection* Connection() const { return connection_; }
  void SetConnection(TnFDConnection* connection);
  const std::string& TableName() const { return table_name_; }
  void SetTableName(std::string name) { table_name_ = std::move(name); }

  void Open() override;
  void Close() override;
  // Deletes every row of the table.
  void EmptyDataSet();

  // The columns that AppendFrom fills (host/data_set.hpp).
  using TAppendColumn = ::TAppendColumn;
  // Appends, in one statement run by SQLite, the rows that `source` shows (its range and filter,
  // in its index order) for which `condition` holds, a filter over the source's fields ("" for
  // every row). The listed columns are filled as TAppendColumn says and the others stay null:
  // the same rows, values and order as appending them one by one, without passing each row
  // through the data set. The source's pending writes are committed first; a source in
  // another file is read as it stands on disk, so it must not be written meanwhile (it is
  // read without taking its lock, which its own connection keeps). The cursor goes to the
  // first row. Returns the number of rows appended.
  int64_t AppendFrom(TnFDTableSQLite& source, const std::vector<TAppendColumn>& columns,
                     const std::string& condition);
  // One table that AppendFromEach fills, with its columns and condition as for AppendFrom.
  using TAppendTarget = TAppendTargetOf<TnFDTableSQLite>;
  // AppendFrom into several tables at the same time, each on a thread of its own, when each has
  // a connection and a file of its own (else one after the other); returns once every append
  // is done, raising the first failure. Returns the number of rows appended to each.
  static std::vector<int64_t> AppendFromEach(TnFDTableSQLite& source,
                                             const std::vector<TAppendTarget>& targets);
  // Makes what each table's index field list needs now, where it would be made when a read
  // first needs that order: the SQLite index, or the marks of an order served from the rows'
  // own (see SetRowOrder). Tables that each have a connection and a file of their own make
  // theirs at the same time, each on a thread; returns once all are made, raising the first
  // failure.
  static void MakeIndexes(const std::vector<TnFDTableSQLite*>& tables);

  // Tells the table that its rows, in the order they were written, are in the order of these
  // fields (";"-separated), as a load ordered by them writes them. Until the table is written
  // again otherwise than by deleting rows (a row posted or appended, or SQL run on its
  // connection): an append that reads it in an index whose numeric fields begin that list reads
  // it in row order, without making the index, and gives an empty target the order of the
  // fields it takes; and an index whose first field is the first of the list, a number, is
  // served without making the SQLite index, each run of one value of that field sorted as it
  // is read (unless the rows turn out not to be in that field's order).
  void SetRowOrder(std::string_view names);

  // A walk whose statement has stepped `rows` rows without a new one (256 unless set; 0 for
  // never) goes on with the rows read ahead on another thread, on a read-only connection of
  // its own to the file (a file that only this table's connection writes; not one in memory).
  // Every write through the connection stops the reading first.
  void SetReadAheadAfter(int rows);
  // Whether the rows of the walk now come from a reading ahead.
  bool ReadingAhead() const;

  void First() override;
  void Next() override;
  bool Eof() const override;
  int RecordCount() override;
  bool IsEmpty() override;

  bool IsNull(int field) const override;
  int64_t GetInteger(int field) const override;
  double GetFloat(int field) const override;
  std::string GetString(int field) const override;
  void AppendString(int field, std::string& out) const override;
  Variant GetValue(int field) const override;
  void SetValue(int field, const Variant& value) override;

  void Append() override;
  void Edit() override;
  void Post() override;
  void Cancel() override;
  void Delete() override;

  void SetIndexFieldNames(std::string_view names) override;
  bool FindKey(const TVariantArray& values) override;
  void SetRange(const TVariantArray& start, const TVariantArray& end) override;
  void CancelRange() override;

 protected:
  void FilterChanged() override;

 private:
  struct Cursor;
  struct AppendPlan;
  // AppendFrom in three steps: the statement made on the caller's thread, run on any thread
  // (it uses this table's connection only), and the cursor brought up to date.
  AppendPlan PlanAppend(TnFDTableSQLite& source, const std::vector<TAppendColumn>& columns,
                        const std::string& condition);
  static int64_t RunAppend(const AppendPlan& plan);
  void FinishAppend();
  const Variant& Current(int field) const;
  const Variant& CurrentAfterChecks(int field) const;
  void CheckOpen() const;

  TnFDConnection* connection_;
  std::string table_name_;
  std::unique_ptr<Cursor> cursor_;
};

namespace Nutildb {
// Views a data set as a SQLite table; EInvalidCast when it is not one.
NRW_API TnFDTableSQLite* FDTSQLite(TObject* component);
}  // namespace Nutildb
