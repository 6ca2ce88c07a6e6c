#include "runtime/column_store.hpp"

#include <algorithm>
#include <cmath>

namespace nrw {
namespace {

bool IsIntegerType(TFieldType type) {
  return type == TFieldType::Integer || type == TFieldType::Boolean;
}
bool IsFloatType(TFieldType type) {
  return type == TFieldType::Float || type == TFieldType::DateTime;
}
template <class T>
int ThreeWay(const T& a, const T& b) {
  return a < b ? -1 : (b < a ? 1 : 0);
}

}  // namespace

ColumnStore::ColumnStore(std::vector<TFieldDef> defs)
    : defs_(std::move(defs)),
      integers_(defs_.size()),
      floats_(defs_.size()),
      strings_(defs_.size()),
      nulls_(defs_.size()) {}

RowId ColumnStore::AddRow() {
  const RowId row = static_cast<RowId>(RowCount());
  for (size_t f = 0; f < defs_.size(); ++f) {
    nulls_[f].push_back(1);
    if (IsIntegerType(defs_[f].type)) {
      integers_[f].push_back(0);
    } else if (IsFloatType(defs_[f].type)) {
      floats_[f].push_back(0.0);
    } else {
      strings_[f].emplace_back();
    }
  }
  return row;
}

void ColumnStore::Clear() {
  for (size_t f = 0; f < defs_.size(); ++f) {
    integers_[f].clear();
    floats_[f].clear();
    strings_[f].clear();
    nulls_[f].clear();
  }
}

void ColumnStore::Reserve(size_t rows) {
  for (size_t f = 0; f < defs_.size(); ++f) {
    nulls_[f].reserve(rows);
    if (IsIntegerType(defs_[f].type)) {
      integers_[f].reserve(rows);
    } else if (IsFloatType(defs_[f].type)) {
      floats_[f].reserve(rows);
    } else {
      strings_[f].reserve(rows);
    }
  }
}

bool ColumnStore::IsNumeric(int field) const {
  return defs_[field].type != TFieldType::String;
}

bool ColumnStore::SortKeysExact(int field) const {
  constexpr int64_t kExact = int64_t{1} << 53;
  return IsFloatColumn(field) || std::all_of(integers_[field].begin(), integers_[field].end(),
                                             [](int64_t v) { return v >= -kExact && v <= kExact; });
}

int64_t ColumnStore::Integer(RowId row, int field) const {
  const TFieldType type = defs_[field].type;
  if (IsIntegerType(type)) {
    return integers_[field][row];
  }
  if (IsFloatType(type)) {
    return static_cast<int64_t>(std::llround(floats_[field][row]));
  }
  return IsNull(row, field) ? 0 : Variant(StringRef(row, field)).AsInteger();
}

double ColumnStore::Float(RowId row, int field) const {
  const TFieldType type = defs_[field].type;
  if (IsFloatType(type)) {
    return floats_[field][row];
  }
  if (IsIntegerType(type)) {
    return static_cast<double>(integers_[field][row]);
  }
  return IsNull(row, field) ? 0.0 : Variant(StringRef(row, field)).AsFloat();
}

std::string ColumnStore::String(RowId row, int field) const {
  if (defs_[field].type == TFieldType::String) {
    return StringRef(row, field);
  }
  if (IsNull(row, field)) {
    return std::string();
  }
  switch (defs_[field].type) {
    case TFieldType::Integer:
      return std::to_string(integers_[field][row]);
    case TFieldType::Float:
      return FloatToStr(floats_[field][row]);
    default:
      return Value(row, field).AsString();
  }
}

Variant ColumnStore::Value(RowId row, int field) const {
  if (IsNull(row, field)) {
    return Variant();
  }
  switch (defs_[field].type) {
    case TFieldType::Integer:
      return Variant(integers_[field][row]);
    case TFieldType::Boolean:
      return Variant(integers_[field][row] != 0);
    case TFieldType::Float:
      return Variant(floats_[field][row]);
    case TFieldType::DateTime:
      return Variant::FromDateTime(floats_[field][row]);
    case TFieldType::String:
      break;
  }
  return Variant(StringRef(row, field));
}

void ColumnStore::Set(RowId row, int field, const Variant& value) {
  nulls_[field][row] = value.IsNull() ? 1 : 0;
  const TFieldType type = defs_[field].type;
  if (IsIntegerType(type)) {
    integers_[field][row] = value.IsNull()                ? 0
                            : type == TFieldType::Boolean ? (value.AsBoolean() ? 1 : 0)
                                                          : value.AsInteger();
  } else if (IsFloatType(type)) {
    floats_[field][row] = value.IsNull()                 ? 0.0
                          : type == TFieldType::DateTime ? value.AsDateTime()
                                                         : value.AsFloat();
  } else {
    strings_[field][row] = value.IsNull() ? std::string() : value.AsString();
  }
}

void ColumnStore::CopyCell(RowId row, int field, const ColumnStore& source, RowId source_row) {
  nulls_[field][row] = source.nulls_[field][source_row];
  const TFieldType type = defs_[field].type;
  if (IsIntegerType(type)) {
    integers_[field][row] = source.integers_[field][source_row];
  } else if (IsFloatType(type)) {
    floats_[field][row] = source.floats_[field][source_row];
  } else {
    strings_[field][row] = source.strings_[field][source_row];
  }
}

int ColumnStore::Compare(RowId a, RowId b, int field) const {
  const bool null_a = IsNull(a, field);
  const bool null_b = IsNull(b, field);
  if (null_a || null_b) {
    return ThreeWay(!null_a, !null_b);
  }
  const TFieldType type = defs_[field].type;
  if (IsIntegerType(type)) {
    return ThreeWay(integers_[field][a], integers_[field][b]);
  }
  if (IsFloatType(type)) {
    return ThreeWay(floats_[field][a], floats_[field][b]);
  }
  return StringRef(a, field).compare(StringRef(b, field)) < 0   ? -1
         : StringRef(a, field).compare(StringRef(b, field)) > 0 ? 1
                                                                : 0;
}

int ColumnStore::CompareToValue(RowId row, int field, const Variant& value) const {
  const bool null_row = IsNull(row, field);
  if (null_row || value.IsNull()) {
    return ThreeWay(!null_row, !value.IsNull());
  }
  const TFieldType type = defs_[field].type;
  if (IsIntegerType(type) && value.GetKind() == Variant::Kind::Integer) {
    return ThreeWay(integers_[field][row], value.AsInteger());
  }
  if (IsNumeric(field)) {
    return ThreeWay(Float(row, field), value.AsFloat());
  }
  const int c = StringRef(row, field).compare(value.AsString());
  return c < 0 ? -1 : (c > 0 ? 1 : 0);
}

}  // namespace nrw
