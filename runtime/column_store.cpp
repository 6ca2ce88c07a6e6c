#include "runtime/column_store.hpp"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>

#include "host/exception.hpp"
#include "runtime/run_each.hpp"

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

TextArena::Handle TextArena::Add(std::string_view text) {
  if (text.empty()) {
    return kEmpty;
  }
  // A text goes into the last block when it fits and no copy shares that block; a text longer
  // than a block gets a block of its own.
  const bool fits =
      !blocks_.empty() && used_ + text.size() <= kBlock && blocks_.back().use_count() == 1;
  if (!fits) {
    blocks_.push_back(std::make_shared_for_overwrite<char[]>(std::max(text.size(), kBlock)));
    used_ = 0;
  }
  std::memcpy(blocks_.back().get() + used_, text.data(), text.size());
  const Handle handle = (static_cast<Handle>(blocks_.size() - 1) << 40) |
                        (static_cast<Handle>(used_) << 24) | static_cast<Handle>(text.size());
  used_ = std::min(used_ + text.size(), kBlock);
  return handle;
}

ColumnStore::ColumnStore(std::vector<TFieldDef> defs) : defs_(std::move(defs)) {
  columns_.resize(defs_.size());
  for (size_t f = 0; f < defs_.size(); ++f) {
    columns_[f].kind = IsIntegerType(defs_[f].type) ? Kind::Integer
                       : IsFloatType(defs_[f].type) ? Kind::Float
                                                    : Kind::Text;
  }
}

RowId ColumnStore::AddRow() {
  const RowId row = static_cast<RowId>(rows_);
  for (Column& c : columns_) {
    c.nulls.PushBack(1);
    switch (c.kind) {
      case Kind::Integer:
        c.integers.PushBack(0);
        break;
      case Kind::Float:
        c.floats.PushBack(0.0);
        break;
      case Kind::Text:
        c.texts.PushBack(TextArena::kEmpty);
        break;
    }
  }
  ++rows_;
  return row;
}

RowId ColumnStore::AddRow(const std::vector<Variant>& values) {
  // The values are converted before any column grows, so that a bad value leaves no half row.
  constexpr size_t kOnStack = 32;
  int64_t integers_on_stack[kOnStack];
  double floats_on_stack[kOnStack];
  std::vector<int64_t> integers_on_heap;
  std::vector<double> floats_on_heap;
  int64_t* integers = integers_on_stack;
  double* floats = floats_on_stack;
  if (columns_.size() > kOnStack) {
    integers_on_heap.resize(columns_.size());
    floats_on_heap.resize(columns_.size());
    integers = integers_on_heap.data();
    floats = floats_on_heap.data();
  }
  for (size_t f = 0; f < columns_.size(); ++f) {
    integers[f] = 0;
    floats[f] = 0.0;
  }
  for (size_t f = 0; f < columns_.size(); ++f) {
    const Variant& value = values[f];
    if (value.IsNull()) {
      continue;
    }
    const TFieldType type = defs_[f].type;
    switch (columns_[f].kind) {
      case Kind::Integer:
        integers[f] = type == TFieldType::Boolean ? (value.AsBoolean() ? 1 : 0) : value.AsInteger();
        break;
      case Kind::Float:
        floats[f] = type == TFieldType::DateTime ? value.AsDateTime() : value.AsFloat();
        break;
      case Kind::Text:
        if (value.GetKind() == Variant::Kind::String &&
            value.StringRef().size() > TextArena::kMaxLength) {
          AddText(columns_[f], value.StringRef());  // raises
        }
        break;
    }
  }
  const RowId row = static_cast<RowId>(rows_);
  for (size_t f = 0; f < columns_.size(); ++f) {
    Column& c = columns_[f];
    const Variant& value = values[f];
    c.nulls.PushBack(value.IsNull() ? 1 : 0);
    switch (c.kind) {
      case Kind::Integer:
        c.integers.PushBack(integers[f]);
        break;
      case Kind::Float:
        c.floats.PushBack(floats[f]);
        break;
      case Kind::Text:
        if (value.IsNull()) {
          c.texts.PushBack(TextArena::kEmpty);
        } else if (value.GetKind() == Variant::Kind::String) {
          c.texts.PushBack(AddText(c, value.StringRef()));
        } else {
          c.texts.PushBack(AddText(c, value.AsString()));
        }
        break;
    }
  }
  ++rows_;
  return row;
}

void ColumnStore::Clear() {
  for (Column& c : columns_) {
    c.integers.Clear();
    c.floats.Clear();
    c.texts.Clear();
    c.arena.Clear();
    c.nulls.Clear();
  }
  rows_ = 0;
}

void ColumnStore::Reserve(size_t rows) {
  for (Column& c : columns_) {
    c.nulls.Reserve(rows);
    c.integers.Reserve(c.kind == Kind::Integer ? rows : 0);
    c.floats.Reserve(c.kind == Kind::Float ? rows : 0);
    c.texts.Reserve(c.kind == Kind::Text ? rows : 0);
  }
}

bool ColumnStore::IsNumeric(int field) const {
  return columns_[field].kind != Kind::Text;
}

bool ColumnStore::SortKeysExact(int field) const {
  constexpr int64_t kExact = int64_t{1} << 53;
  const Column& c = columns_[field];
  if (c.kind != Kind::Integer) {
    return true;
  }
  for (size_t row = 0; row < rows_; ++row) {
    if (c.integers[row] < -kExact || c.integers[row] > kExact) {
      return false;
    }
  }
  return true;
}

int64_t ColumnStore::ConvertedInteger(RowId row, int field) const {
  const Column& c = columns_[field];
  if (c.kind == Kind::Float) {
    return static_cast<int64_t>(std::llround(c.floats[row]));
  }
  return IsNull(row, field) ? 0 : Variant(String(row, field)).AsInteger();
}

double ColumnStore::ConvertedFloat(RowId row, int field) const {
  const Column& c = columns_[field];
  if (c.kind == Kind::Integer) {
    return static_cast<double>(c.integers[row]);
  }
  return IsNull(row, field) ? 0.0 : Variant(String(row, field)).AsFloat();
}

std::string ColumnStore::String(RowId row, int field) const {
  const Column& c = columns_[field];
  if (c.kind == Kind::Text) {
    return std::string(TextAt(row, field));
  }
  if (IsNull(row, field)) {
    return std::string();
  }
  switch (defs_[field].type) {
    case TFieldType::Integer:
      return std::to_string(c.integers[row]);
    case TFieldType::Float:
      return FloatToStr(c.floats[row]);
    default:
      return Value(row, field).AsString();
  }
}

void ColumnStore::AppendString(RowId row, int field, std::string& out) const {
  const Column& c = columns_[field];
  if (c.kind == Kind::Text) {
    out += TextAt(row, field);
  } else if (IsNull(row, field)) {
    return;
  } else if (defs_[field].type == TFieldType::Integer) {
    char digits[24];
    const auto end = std::to_chars(digits, digits + sizeof digits, c.integers[row]).ptr;
    out.append(digits, end);
  } else if (defs_[field].type == TFieldType::Float) {
    AppendFloatToStr(c.floats[row], out);
  } else {
    out += String(row, field);
  }
}

Variant ColumnStore::Value(RowId row, int field) const {
  if (IsNull(row, field)) {
    return Variant();
  }
  const Column& c = columns_[field];
  switch (defs_[field].type) {
    case TFieldType::Integer:
      return Variant(c.integers[row]);
    case TFieldType::Boolean:
      return Variant(c.integers[row] != 0);
    case TFieldType::Float:
      return Variant(c.floats[row]);
    case TFieldType::DateTime:
      return Variant::FromDateTime(c.floats[row]);
    case TFieldType::String:
      break;
  }
  return Variant(String(row, field));
}

TextArena::Handle ColumnStore::AddText(Column& column, std::string_view text) {
  if (text.size() > TextArena::kMaxLength) {
    throw Exception("field " + defs_[&column - columns_.data()].name + ": a text of " +
                    std::to_string(text.size()) + " bytes is longer than a field can hold");
  }
  return column.arena.Add(text);
}

void ColumnStore::SetText(Column& column, RowId row, std::string_view text) {
  column.texts.Mutable(row) = AddText(column, text);
}

void ColumnStore::Set(RowId row, int field, const Variant& value) {
  Column& c = columns_[field];
  const TFieldType type = defs_[field].type;
  if (!value.IsNull() && EmptiesField(value, type)) {
    Set(row, field, Variant());
    return;
  }
  switch (c.kind) {
    case Kind::Integer:
      c.integers.Mutable(row) = value.IsNull()                ? 0
                                : type == TFieldType::Boolean ? (value.AsBoolean() ? 1 : 0)
                                                              : value.AsInteger();
      break;
    case Kind::Float:
      c.floats.Mutable(row) = value.IsNull()                 ? 0.0
                              : type == TFieldType::DateTime ? value.AsDateTime()
                                                             : value.AsFloat();
      break;
    case Kind::Text:
      if (value.IsNull()) {
        c.texts.Mutable(row) = TextArena::kEmpty;
      } else if (value.GetKind() == Variant::Kind::String) {
        SetText(c, row, value.StringRef());
      } else {
        SetText(c, row, value.AsString());
      }
      break;
  }
  // Conversions above may throw: the null flag changes only once the value is stored.
  c.nulls.Mutable(row) = value.IsNull() ? 1 : 0;
}

void ColumnStore::ShareRows(const ColumnStore& source, const std::vector<int>& fields) {
  bool same_columns = rows_ == 0 && source.columns_.size() == columns_.size();
  for (size_t f = 0; same_columns && f < columns_.size(); ++f) {
    same_columns = source.columns_[f].kind == columns_[f].kind;
  }
  if (!same_columns) {
    throw Exception("rows can only be shared by an empty store of the same columns");
  }
  std::vector<bool> shared(columns_.size(), false);
  for (const int f : fields) {
    shared[static_cast<size_t>(f)] = true;
  }
  rows_ = source.rows_;
  for (size_t f = 0; f < columns_.size(); ++f) {
    Column& c = columns_[f];
    if (shared[f]) {
      c = source.columns_[f];
      continue;
    }
    Column nulls;
    nulls.kind = c.kind;
    nulls.nulls = ChunkedVector<uint8_t>::Filled(rows_, 1);
    switch (c.kind) {
      case Kind::Integer:
        nulls.integers = ChunkedVector<int64_t>::Filled(rows_, 0);
        break;
      case Kind::Float:
        nulls.floats = ChunkedVector<double>::Filled(rows_, 0.0);
        break;
      case Kind::Text:
        nulls.texts = ChunkedVector<TextArena::Handle>::Filled(rows_, TextArena::kEmpty);
        break;
    }
    c = std::move(nulls);
  }
}

ColumnStore ColumnStore::Permuted(const std::vector<RowId>& order) const {
  ColumnStore out(defs_);
  // Each column is copied on its own; for a long table the columns are shared between the
  // caller's thread and one more.
  auto copy = [&](size_t f) {
    const Column& from = columns_[f];
    Column& to = out.columns_[f];
    for (RowId row : order) {
      to.nulls.PushBack(from.nulls[row]);
    }
    switch (from.kind) {
      case Kind::Integer:
        for (RowId row : order) {
          to.integers.PushBack(from.integers[row]);
        }
        break;
      case Kind::Float:
        for (RowId row : order) {
          to.floats.PushBack(from.floats[row]);
        }
        break;
      case Kind::Text:
        for (RowId row : order) {
          to.texts.PushBack(to.arena.Add(from.arena.Text(from.texts[row])));
        }
        break;
    }
  };
  const size_t lanes = order.size() >= kRowsForASecondThread && columns_.size() > 1 ? 2 : 1;
  RethrowFirst(RunEach(lanes, lanes > 1, [&](size_t lane) {
    for (size_t f = lane; f < columns_.size(); f += lanes) {
      copy(f);
    }
  }));
  out.rows_ = order.size();
  return out;
}

void ColumnStore::CopyCell(RowId row, int field, const ColumnStore& source, RowId source_row,
                           int source_field) {
  Column& c = columns_[field];
  const Column& from = source.columns_[source_field];
  switch (c.kind) {
    case Kind::Integer:
      c.integers.Mutable(row) = from.integers[source_row];
      break;
    case Kind::Float:
      c.floats.Mutable(row) = from.floats[source_row];
      break;
    case Kind::Text:
      SetText(c, row, from.arena.Text(from.texts[source_row]));
      break;
  }
  c.nulls.Mutable(row) = from.nulls[source_row];
}

int ColumnStore::Compare(RowId a, RowId b, int field) const {
  const bool null_a = IsNull(a, field);
  const bool null_b = IsNull(b, field);
  if (null_a || null_b) {
    return ThreeWay(!null_a, !null_b);
  }
  const Column& c = columns_[field];
  switch (c.kind) {
    case Kind::Integer:
      return ThreeWay(c.integers[a], c.integers[b]);
    case Kind::Float:
      return ThreeWay(c.floats[a], c.floats[b]);
    case Kind::Text:
      break;
  }
  const int compared = TextAt(a, field).compare(TextAt(b, field));
  return compared < 0 ? -1 : (compared > 0 ? 1 : 0);
}

int ColumnStore::CompareToValue(RowId row, int field, const Variant& value) const {
  const bool null_row = IsNull(row, field);
  if (null_row || value.IsNull()) {
    return ThreeWay(!null_row, !value.IsNull());
  }
  const Column& c = columns_[field];
  if (c.kind == Kind::Integer && value.GetKind() == Variant::Kind::Integer) {
    return ThreeWay(c.integers[row], value.AsInteger());
  }
  if (IsNumeric(field)) {
    return ThreeWay(Float(row, field), value.AsFloat());
  }
  const int compared = value.GetKind() == Variant::Kind::String
                           ? TextAt(row, field).compare(value.StringRef())
                           : TextAt(row, field).compare(value.AsString());
  return compared < 0 ? -1 : (compared > 0 ? 1 : 0);
}

}  // namespace nrw
