// In-memory tables of the host: TnClientDataSetMem (a working table the module fills and
// empties) and TnClientDataSet (the result cursor of a query). Both keep their rows in a column
// store; the index is a sorted vector of row ids, so:
//   - setting an index field list sorts once, O(n log n);
//   - FindKey and SetRange are binary searches, O(log n);
//   - Delete leaves a tombstone, amortised O(1) (tombstones are swept when they pass half);
//   - rows appended under an index are merged in on the next read, O(k log k + n);
//   - a filter is evaluated while navigating and never copies the table.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/data_set.hpp"

namespace nrw {
class ColumnStore;
}

class NRW_API TMemoryDataSet : public TDataSet {
 public:
  explicit TMemoryDataSet(TComponent* owner = nullptr);
  TMemoryDataSet(TComponent* owner, const std::vector<TFieldDef>& fields);
  ~TMemoryDataSet() override;

  // Replaces the structure (and drops every row) and opens the table.
  void CreateDataSet(const std::vector<TFieldDef>& fields);
  void EmptyDataSet();
  // EmptyDataSet, then Append, SetValue for every field and Post for each of `rows`, in one
  // step (a look-up cursor refilled with rows it has held before). The fields, index field list
  // and filter stay; the cursor goes to the first row. A value that cannot be set raises, and
  // the table keeps the rows before it.
  void ReplaceRows(const std::vector<std::vector<Variant>>& rows);
  // Copies every live row of `source` (ignoring its range and filter) with the same columns.
  void CopyFrom(const TMemoryDataSet& source);
  // Append, SetValue for every field and Post in one step (for loading many rows).
  void AppendRecord(const std::vector<Variant>& values);
  using TAppendTarget = TAppendTargetOf<TMemoryDataSet>;
  // Appends to each target the rows that the source shows (its range and filter, in its index
  // order) for which the target's condition holds: the same rows, values and order as appending
  // them one by one, without passing each row through the data sets. The source is walked once;
  // distinct targets of many rows are filled at the same time, each on a thread of its own (the
  // source is only read meanwhile). Each target's cursor goes to its first row. Returns the
  // number of rows appended to each. An empty target of the source's columns that takes most of
  // the source's rows, in the order of their ids, shares their storage (copied on write) instead
  // of copying it, and reads and changes just the same.
  static std::vector<int64_t> AppendFromEach(TMemoryDataSet& source,
                                             const std::vector<TAppendTarget>& targets);
  // Puts the rows in the order of `field_names` for good: a table without an index then reads
  // in that order (deleted rows are dropped; an index, if any, is built again).
  void SortRows(const std::string& field_names);
  void ReserveRows(size_t rows);
  // A read-only table refuses Append, Edit and Delete.
  bool ReadOnly() const { return read_only_; }
  void SetReadOnly(bool read_only) { read_only_ = read_only; }

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
  void CopyValue(int field, const TDataSet& source) override;

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
  struct Impl;
  void CheckActive() const;
  void CheckWritable() const;
  // The row that reads come from: false when the cursor has none.
  bool ReadRow(uint32_t& row) const;
  void CheckEditing() const;
  void CheckRecordSize(const std::vector<Variant>& values) const;
  uint32_t CurrentRow() const;
  [[noreturn]] void NoCurrentRecord() const;
  std::unique_ptr<Impl> impl_;
  bool read_only_ = false;
};

class NRW_API TnClientDataSetMem : public TMemoryDataSet {
 public:
  using TMemoryDataSet::TMemoryDataSet;
  ~TnClientDataSetMem() override;
};

class TSQLConnection;

// The result of a query: the rows in memory, the SQL and its connection kept so that the host
// can run it again with new values.
class NRW_API TnClientDataSet : public TMemoryDataSet {
 public:
  using TMemoryDataSet::TMemoryDataSet;
  ~TnClientDataSet() override;

  const std::string& SQL() const { return sql_; }
  void SetSQL(const std::string& sql) { sql_ = sql; }
  // The connection the query runs on; null for the host's.
  TSQLConnection* Connection() const { return connection_; }
  void SetConnection(TSQLConnection* connection) { connection_ = connection; }
  int32_t MaxRows() const { return max_rows_; }
  void SetMaxRows(int32_t rows) { max_rows_ = rows; }

 private:
  std::string sql_;
  TSQLConnection* connection_ = nullptr;
  int32_t max_rows_ = -1;
};
