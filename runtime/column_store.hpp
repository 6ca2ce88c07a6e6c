// Column-oriented row storage behind the in-memory data sets. Tuned for a million rows of a
// dozen fields: one typed vector per column (no per-cell variant), rows named by 32-bit ids that
// never move, so an index is a vector of ids and a delete is a tombstone.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/data_set.hpp"

namespace nrw {

using RowId = uint32_t;

class ColumnStore {
 public:
  explicit ColumnStore(std::vector<TFieldDef> defs);

  const std::vector<TFieldDef>& Defs() const { return defs_; }
  size_t RowCount() const { return nulls_.empty() ? 0 : nulls_[0].size(); }
  RowId AddRow();
  void Clear();
  void Reserve(size_t rows);

  bool IsNull(RowId row, int field) const { return nulls_[field][row] != 0; }
  int64_t Integer(RowId row, int field) const;
  double Float(RowId row, int field) const;
  std::string String(RowId row, int field) const;
  Variant Value(RowId row, int field) const;
  void Set(RowId row, int field, const Variant& value);
  // Copies one cell of another store with the same column types.
  void CopyCell(RowId row, int field, const ColumnStore& source, RowId source_row);

  // A numeric column's value as a sort key (exact for integers within +-2^53).
  bool IsNumeric(int field) const;
  double SortKey(RowId row, int field) const {
    return IsFloatColumn(field) ? floats_[field][row] : static_cast<double>(integers_[field][row]);
  }
  // True when every integer of the column converts to a double without loss.
  bool SortKeysExact(int field) const;

  // Three-way comparisons for ordering and key search; null sorts before every value.
  int Compare(RowId a, RowId b, int field) const;
  int CompareToValue(RowId row, int field, const Variant& value) const;

 private:
  bool IsFloatColumn(int field) const {
    return defs_[field].type == TFieldType::Float || defs_[field].type == TFieldType::DateTime;
  }
  const std::string& StringRef(RowId row, int field) const { return strings_[field][row]; }

  std::vector<TFieldDef> defs_;
  // One of the three is used per column, by its type; the others stay empty.
  std::vector<std::vector<int64_t>> integers_;
  std::vector<std::vector<double>> floats_;
  std::vector<std::vector<std::string>> strings_;
  std::vector<std::vector<uint8_t>> nulls_;
};

}  // namespace nrw
