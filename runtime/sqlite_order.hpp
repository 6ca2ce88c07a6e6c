// Values as SQLite orders them in an index, compared here without asking SQLite: a cursor that
// steps forward tells from them whether the row it looks for lies ahead.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/export.hpp"
#include "host/variant.hpp"

namespace nrw {

// Nulls, then numbers (integers and reals by value), then texts by their bytes (the binary
// collation). Dates and blobs are left to SQLite (Unknown).
struct OrderedValue {
  enum class Class { Null, Number, Text, Unknown };
  Class cls = Class::Unknown;
  bool integer = false;
  int64_t i = 0;
  double d = 0;
  std::string_view text;  // the statement's or the variant's, while it stands
};

// Column `column` of the row `st` stands on.
OrderedValue ColumnValue(sqlite3_stmt* st, int column);
// A key value as it is bound to a statement (see BindSqliteValues); dates are left to SQLite.
inline OrderedValue KeyValue(const Variant& value) {
  OrderedValue v;
  switch (value.GetKind()) {
    case Variant::Kind::Null:
      v.cls = OrderedValue::Class::Null;
      break;
    case Variant::Kind::Integer:
    case Variant::Kind::Boolean:
      v.cls = OrderedValue::Class::Number;
      v.integer = true;
      v.i = value.AsInteger();
      break;
    case Variant::Kind::Float:
      v.cls = OrderedValue::Class::Number;
      v.d = value.AsFloat();
      break;
    case Variant::Kind::String:
      v.cls = OrderedValue::Class::Text;
      v.text = value.StringRef();
      break;
    case Variant::Kind::DateTime:
      break;
  }
  return v;
}
// -1, 0 or 1, or nothing when either value is not ordered here.
std::optional<int> CompareValues(const OrderedValue& a, const OrderedValue& b);
// The same for two key values as they are bound: two numbers of one kind (reals, integers) are
// compared here, the others through CompareValues. A cursor compares the key of each row it
// steps to, mostly a number against a number.
inline std::optional<int> CompareKeyValues(const Variant& a, const Variant& b) {
  const Variant::Kind kind = a.GetKind();
  if (kind == b.GetKind()) {
    if (kind == Variant::Kind::Float) {
      const double x = a.AsFloat(), y = b.AsFloat();
      return (x > y) - (x < y);
    }
    if (kind == Variant::Kind::Integer) {
      const int64_t x = a.AsInteger(), y = b.AsInteger();
      return (x > y) - (x < y);
    }
  }
  return CompareValues(KeyValue(a), KeyValue(b));
}
// Lexicographic order over `n` places, place i ordered by compare(i): the first place that is
// not equal decides, and one not ordered here (nothing) ends the comparison with nothing.
// Inlined into its callers, as the loops it replaced were: a call per comparison of keys
// costs 0.2 % of a listing's instructions.
template <class Compare>
[[gnu::always_inline]] inline std::optional<int> CompareInTurn(size_t n, Compare compare) {
  for (size_t i = 0; i < n; ++i) {
    const std::optional<int> c = compare(i);
    if (!c || *c != 0) {
      return c;
    }
  }
  return 0;
}
// Lexicographic order of two keys by their first `n` values (CompareKeyValues in turn).
inline std::optional<int> CompareKeyPrefix(const std::vector<Variant>& a,
                                           const std::vector<Variant>& b, size_t n) {
  return CompareInTurn(n, [&](size_t i) { return CompareKeyValues(a[i], b[i]); });
}

// A column's ordered value kept after its statement steps on (its text copied, in a buffer
// that is reused by the next value held).
class NRW_API HeldValue {
 public:
  void Hold(sqlite3_stmt* st, int column);
  OrderedValue View() const;

 private:
  OrderedValue value_;
  std::string text_;
};

}  // namespace nrw
