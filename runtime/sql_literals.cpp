// Literal rendering for SQL texts and filter texts, and small value helpers.
#include <charconv>
#include <cmath>
#include <string>

#include "host/exception.hpp"
#include "host/sql.hpp"
#include "host/sysutils.hpp"
#include "runtime/iso_date.hpp"

namespace {

std::string Quote(const std::string& text) {
  std::string out = "'";
  for (char c : text) {
    out += c;
    if (c == '\'') {
      out += '\'';
    }
  }
  return out + "'";
}

// The shortest decimal text that reads back as the same double, with a "." decimal point.
std::string RoundTripFloat(double value) {
  if (!std::isfinite(value)) {
    throw Exception("cannot render a non-finite number as a literal");
  }
  char buffer[64];
  const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
  std::string text(buffer, result.ptr);
  // No exponent form: both databases and the filter language read plain decimals.
  if (text.find('e') != std::string::npos) {
    const auto fixed =
        std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::fixed);
    text.assign(buffer, fixed.ptr);
  }
  return text;
}

}  // namespace

namespace Nutil {

std::string ValorParaSQL(const Variant& value, TFieldType type) {
  if (value.IsNull()) {
    return "NULL";
  }
  switch (type) {
    case TFieldType::String:
      return Quote(value.AsString());
    case TFieldType::DateTime: {
      // Dates use ISO text with "-" whatever the locale's separators.
      return Quote(IsoDateTime(value.AsDateTime()));
    }
    case TFieldType::Float:
      return RoundTripFloat(value.AsFloat());
    case TFieldType::Integer:
      return std::to_string(value.AsInteger());
    case TFieldType::Boolean:
      return value.AsBoolean() ? "1" : "0";
  }
  return Quote(value.AsString());
}

std::string ValorParaFiltro(const Variant& value, TFieldType type) {
  if (value.IsNull()) {
    return "''";
  }
  switch (type) {
    case TFieldType::String:
      return Quote(value.AsString());
    case TFieldType::Integer:
    case TFieldType::Boolean:
      return std::to_string(value.AsInteger());
    case TFieldType::Float:
    case TFieldType::DateTime:
      return RoundTripFloat(value.AsFloat());
  }
  return Quote(value.AsString());
}

std::vector<std::string> StrToStrArray(const std::string& text, char separator) {
  std::vector<std::string> items;
  size_t start = 0;
  while (start <= text.size()) {
    size_t end = text.find(separator, start);
    if (end == std::string::npos) {
      end = text.size();
    }
    std::string item = Trim(std::string_view(text).substr(start, end - start));
    if (!item.empty()) {
      items.push_back(std::move(item));
    }
    start = end + 1;
  }
  return items;
}

}  // namespace Nutil
