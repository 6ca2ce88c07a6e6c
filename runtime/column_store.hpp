// Column-oriented row storage behind the in-memory data sets. Tuned for a million rows of a
// dozen fields: one typed column per field (no per-cell variant), rows named by 32-bit ids that
// never move, so an index is a vector of ids and a delete is a tombstone.
//
// Copies share their storage until one side writes (see chunked_column.hpp): a working copy of
// a million rows costs nothing until it is changed.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "host/data_set.hpp"
#include "runtime/chunked_column.hpp"

namespace nrw {

using RowId = uint32_t;

class NRW_API ColumnStore {
 public:
  explicit ColumnStore(std::vector<TFieldDef> defs);

  const std::vector<TFieldDef>& Defs() const { return defs_; }
  size_t RowCount() const { return rows_; }
  RowId AddRow();
  // Adds a row holding `values` (one per field, converted as Set converts them).
  RowId AddRow(const std::vector<Variant>& values);
  void Clear();
  void Reserve(size_t rows);

  // A null cell holds 0 (numbers) or the empty text, so that a read needs no null test.
  bool IsNull(RowId row, int field) const { return columns_[field].nulls[row] != 0; }
  // A number read as its column keeps it is inlined; other kinds are converted out of line.
  int64_t Integer(RowId row, int field) const {
    const Column& c = columns_[field];
    return c.kind == Kind::Integer ? c.integers[row] : ConvertedInteger(row, field);
  }
  double Float(RowId row, int field) const {
    const Column& c = columns_[field];
    return c.kind == Kind::Float ? c.floats[row] : ConvertedFloat(row, field);
  }
  std::string String(RowId row, int field) const;
  // Appends the text String returns, without building one for texts and whole numbers.
  void AppendString(RowId row, int field, std::string& out) const;
  Variant Value(RowId row, int field) const;
  void Set(RowId row, int field, const Variant& value);
  // Makes this empty store hold `source`'s rows, row for row (a store of the same columns):
  // the columns `fields` lists share their values with it until either side writes, and the
  // others are null.
  void ShareRows(const ColumnStore& source, const std::vector<int>& fields);
  // A store holding the rows `order` names, in that order (row i is order[i]).
  ColumnStore Permuted(const std::vector<RowId>& order) const;
  // Copies one cell of another store, from a column of the same type (by default the column of
  // the same position).
  void CopyCell(RowId row, int field, const ColumnStore& source, RowId source_row,
                int source_field);
  void CopyCell(RowId row, int field, const ColumnStore& source, RowId source_row) {
    CopyCell(row, field, source, source_row, field);
  }

  // A numeric column's value as a sort key (exact for integers within +-2^53).
  bool IsNumeric(int field) const;
  double SortKey(RowId row, int field) const {
    const Column& c = columns_[field];
    return c.kind == Kind::Float ? c.floats[row] : static_cast<double>(c.integers[row]);
  }
  // True when every integer of the column converts to a double without loss.
  bool SortKeysExact(int field) const;

  // Three-way comparisons for ordering and key search; null sorts before every value.
  int Compare(RowId a, RowId b, int field) const;
  int CompareToValue(RowId row, int field, const Variant& value) const;

 private:
  int64_t ConvertedInteger(RowId row, int field) const;
  double ConvertedFloat(RowId row, int field) const;
  enum class Kind { Integer, Float, Text };
  // One of the three value columns is used, by the field's type.
  struct Column {
    Kind kind = Kind::Text;
    ChunkedVector<int64_t> integers;
    ChunkedVector<double> floats;
    ChunkedVector<TextArena::Handle> texts;
    TextArena arena;
    ChunkedVector<uint8_t> nulls;
  };

  std::string_view TextAt(RowId row, int field) const {
    const Column& c = columns_[field];
    return c.arena.Text(c.texts[row]);
  }
  void SetText(Column& column, RowId row, std::string_view text);
  TextArena::Handle AddText(Column& column, std::string_view text);

  std::vector<TFieldDef> defs_;
  std::vector<Column> columns_;
  size_t rows_ = 0;
};

}  // namespace nrw
