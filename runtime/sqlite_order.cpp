// Values as SQLite orders them in an index (see sqlite_order.hpp).
#include "runtime/sqlite_order.hpp"

namespace nrw {

OrderedValue ColumnValue(sqlite3_stmt* st, int column) {
  OrderedValue v;
  sqlite3_value* value = sqlite3_column_value(st, column);  // see SqliteColumnReader::Read
  switch (sqlite3_value_type(value)) {
    case SQLITE_NULL:
      v.cls = OrderedValue::Class::Null;
      break;
    case SQLITE_INTEGER:
      v.cls = OrderedValue::Class::Number;
      v.integer = true;
      v.i = sqlite3_value_int64(value);
      break;
    case SQLITE_FLOAT:
      v.cls = OrderedValue::Class::Number;
      v.d = sqlite3_value_double(value);
      break;
    case SQLITE_TEXT: {
      const auto* text = reinterpret_cast<const char*>(sqlite3_value_text(value));
      v.cls = OrderedValue::Class::Text;
      v.text = std::string_view(text, static_cast<size_t>(sqlite3_value_bytes(value)));
      break;
    }
    default:
      break;
  }
  return v;
}

std::optional<int> CompareValues(const OrderedValue& a, const OrderedValue& b) {
  using Class = OrderedValue::Class;
  if (a.cls == Class::Unknown || b.cls == Class::Unknown) {
    return std::nullopt;
  }
  if (a.cls != b.cls) {
    return a.cls < b.cls ? -1 : 1;
  }
  if (a.cls == Class::Number) {
    if (a.integer == b.integer) {
      return a.integer ? (a.i > b.i) - (a.i < b.i) : (a.d > b.d) - (a.d < b.d);
    }
    // A long double holds every 64-bit integer exactly.
    const long double x = a.integer ? a.i : a.d, y = b.integer ? b.i : b.d;
    return (x > y) - (x < y);
  }
  if (a.cls == Class::Text) {
    const int c = a.text.compare(b.text);  // unsigned bytes, as memcmp
    return (c > 0) - (c < 0);
  }
  return 0;
}

void HeldValue::Hold(sqlite3_stmt* st, int column) {
  value_ = ColumnValue(st, column);
  if (value_.cls == OrderedValue::Class::Text) {
    text_.assign(value_.text);
  }
}

OrderedValue HeldValue::View() const {
  OrderedValue v = value_;
  if (v.cls == OrderedValue::Class::Text) {
    v.text = text_;
  }
  return v;
}

}  // namespace nrw
