#include "host/variant.hpp"

#include <cmath>
#include <cstdlib>
#include <string>

#include "host/exception.hpp"
#include "host/format_settings.hpp"
#include "runtime/significant_digits.hpp"

const char* FieldTypeName(TFieldType type) {
  switch (type) {
    case TFieldType::Integer:
      return "Integer";
    case TFieldType::Float:
      return "Float";
    case TFieldType::String:
      return "String";
    case TFieldType::DateTime:
      return "DateTime";
    case TFieldType::Boolean:
      return "Boolean";
  }
  return "Unknown";
}

Variant::Variant(const Variant& other) = default;
Variant::Variant(Variant&& other) noexcept = default;
// Rows are copied value by value as they go from thread to thread: a number over a number and a
// text over a text (whose buffer is kept) are plain stores, without the general visit.
Variant& Variant::operator=(const Variant& other) {
  if (const auto* d = std::get_if<double>(&other.value_)) {
    AssignFloat(*d);
  } else if (const auto* i = std::get_if<int64_t>(&other.value_)) {
    AssignInteger(*i);
  } else if (const auto* s = std::get_if<std::string>(&other.value_)) {
    AssignString(*s);
  } else {
    value_ = other.value_;
  }
  return *this;
}
Variant& Variant::operator=(Variant&& other) noexcept = default;
Variant::~Variant() = default;

Variant Variant::FromDateTime(TDateTime value) {
  Variant v;
  v.value_ = DateTimeValue{value};
  return v;
}

void Variant::AssignString(std::string_view text) {
  if (auto* held = std::get_if<std::string>(&value_)) {
    held->assign(text);
  } else {
    value_.emplace<std::string>(text);
  }
}

bool Variant::IsNumeric() const {
  const Kind kind = GetKind();
  return kind == Kind::Integer || kind == Kind::Float || kind == Kind::DateTime ||
         kind == Kind::Boolean;
}

int64_t Variant::ConvertToInteger() const {
  switch (GetKind()) {
    case Kind::Null:
      return 0;
    case Kind::Integer:
      return std::get<int64_t>(value_);
    case Kind::Float:
      return static_cast<int64_t>(std::nearbyint(std::get<double>(value_)));
    case Kind::DateTime:
      return static_cast<int64_t>(std::nearbyint(std::get<DateTimeValue>(value_).days));
    case Kind::Boolean:
      return std::get<bool>(value_) ? 1 : 0;
    case Kind::String:
      break;
  }
  return StrToInt(std::get<std::string>(value_));
}

double Variant::ConvertToFloat() const {
  switch (GetKind()) {
    case Kind::Null:
      return 0.0;
    case Kind::Integer:
      return static_cast<double>(std::get<int64_t>(value_));
    case Kind::Float:
      return std::get<double>(value_);
    case Kind::DateTime:
      return std::get<DateTimeValue>(value_).days;
    case Kind::Boolean:
      return std::get<bool>(value_) ? 1.0 : 0.0;
    case Kind::String:
      break;
  }
  const std::string& text = std::get<std::string>(value_);
  if (auto value = TryStrToFloat(text)) {
    return *value;
  }
  throw EConvertError("'" + text + "' is not a valid floating point value");
}

std::string Variant::AsString() const {
  switch (GetKind()) {
    case Kind::Null:
      return "";
    case Kind::Integer:
      return std::to_string(std::get<int64_t>(value_));
    case Kind::Float:
      return FloatToStr(std::get<double>(value_));
    case Kind::DateTime:
      return DateTimeToStr(std::get<DateTimeValue>(value_).days);
    case Kind::Boolean:
      return std::get<bool>(value_) ? "True" : "False";
    case Kind::String:
      break;
  }
  return std::get<std::string>(value_);
}

bool Variant::AsBoolean() const {
  switch (GetKind()) {
    case Kind::Null:
      return false;
    case Kind::Boolean:
      return std::get<bool>(value_);
    case Kind::String: {
      const std::string& text = std::get<std::string>(value_);
      if (SameText(text, "true")) {
        return true;
      }
      if (SameText(text, "false")) {
        return false;
      }
      break;
    }
    default:
      break;
  }
  return AsFloat() != 0.0;
}

TDateTime Variant::AsDateTime() const {
  if (GetKind() != Kind::String) {
    return AsFloat();
  }
  const std::string& text = std::get<std::string>(value_);
  if (auto value = TryStrToDate(text)) {
    return *value;
  }
  throw EConvertError("'" + text + "' is not a valid date");
}

void AppendFloatToStr(double value, std::string& out) {
  if (std::isnan(value)) {
    out += "NAN";
    return;
  }
  if (std::isinf(value)) {
    out += value < 0 ? "-INF" : "INF";
    return;
  }
  // The shorter of fixed and scientific notation with 15 significant digits (printf's %.15G):
  // fixed while the first digit's power of ten is from -4 to 14, trailing zeros dropped.
  if (std::signbit(value)) {
    out += '-';
  }
  const nrw::SignificantDigits significant = nrw::SignificantDigitsOf(std::fabs(value));
  const char* digits = significant.digits;
  const int exponent = significant.exponent;
  int count = nrw::kSignificantDigits;
  while (count > 1 && digits[count - 1] == '0') {
    --count;
  }
  const char separator = FormatSettings().DecimalSeparator;
  const bool fixed = exponent >= -4 && exponent < nrw::kSignificantDigits;
  if (!fixed) {
    // 1.5E+15 is written 1,5E15 and 1E-05 is written 1E-5, as the host writes exponents.
    out += digits[0];
    if (count > 1) {
      out += separator;
      out.append(digits + 1, static_cast<size_t>(count - 1));
    }
    out += exponent < 0 ? "E-" : "E";
    out += std::to_string(std::abs(exponent));
  } else if (exponent < 0) {
    out += '0';
    out += separator;
    out.append(static_cast<size_t>(-exponent - 1), '0');
    out.append(digits, static_cast<size_t>(count));
  } else {
    const int whole = exponent + 1;
    out.append(digits, static_cast<size_t>(whole));
    if (count > whole) {
      out += separator;
      out.append(digits + whole, static_cast<size_t>(count - whole));
    }
  }
}

std::string FloatToStr(double value) {
  std::string text;
  AppendFloatToStr(value, text);
  return text;
}

std::string DateTimeToStr(TDateTime value) {
  std::string text = FormatDateTime(FormatSettings().ShortDateFormat, value);
  if (value != std::trunc(value)) {
    text += FormatDateTime(" hh:nn:ss", value);
  }
  return text;
}

Variant VarAsType(const Variant& value, TFieldType type) {
  if (EmptiesField(value, type)) {
    return Variant();
  }
  switch (type) {
    case TFieldType::Integer:
      return Variant(value.AsInteger());
    case TFieldType::Float:
      return Variant(value.AsFloat());
    case TFieldType::DateTime:
      return Variant::FromDateTime(value.AsDateTime());
    case TFieldType::Boolean:
      return Variant(value.AsBoolean());
    case TFieldType::String:
      break;
  }
  return Variant(value.AsString());
}
