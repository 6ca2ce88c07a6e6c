// A value of the host's dynamic kinds: null, integer, float, string, boolean, date-time. Used for
// parameter values, key searches, SQL parameters and field values read by name.
#pragma once

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

#include "host/export.hpp"
#include "host/sysutils.hpp"

enum class TFieldType { Integer, Float, String, DateTime, Boolean };

NRW_API const char* FieldTypeName(TFieldType type);

class NRW_API Variant {
 public:
  enum class Kind { Null, Integer, Float, String, Boolean, DateTime };

  Variant() = default;
  // Defined out of line: GCC 12 warns falsely (-Wmaybe-uninitialized) about the inlined
  // std::variant moves of temporaries in initializer lists.
  Variant(const Variant& other);
  Variant(Variant&& other) noexcept;
  Variant& operator=(const Variant& other);
  Variant& operator=(Variant&& other) noexcept;
  ~Variant();
  Variant(int value) : value_(int64_t{value}) {}
  Variant(int64_t value) : value_(value) {}
  Variant(double value) : value_(value) {}
  Variant(bool value) : value_(value) {}
  Variant(const char* value) : value_(std::string(value)) {}
  Variant(std::string value) : value_(std::move(value)) {}
  static Variant FromDateTime(TDateTime value);
  static Variant Null() { return Variant(); }

  Kind GetKind() const { return static_cast<Kind>(value_.index()); }
  bool IsNull() const { return value_.index() == 0; }
  bool IsNumeric() const;

  // Conversions follow the host's rules: numbers from strings by the locale (EConvertError when
  // the text is not a number), null reads as 0, "" or false.
  int64_t AsInteger() const {
    const int64_t* held = std::get_if<int64_t>(&value_);
    return held != nullptr ? *held : ConvertToInteger();
  }
  double AsFloat() const {
    const double* held = std::get_if<double>(&value_);
    return held != nullptr ? *held : ConvertToFloat();
  }
  std::string AsString() const;
  // The text of a String variant, without a copy (only for Kind::String).
  const std::string& StringRef() const { return std::get<std::string>(value_); }
  // Makes this a String variant holding `text`, reusing the text it already holds (a row
  // buffer read again and again allocates only when a text outgrows the one before).
  void AssignString(std::string_view text);
  // Makes this a Float or an Integer variant; a number over one of its own kind is only
  // overwritten.
  void AssignFloat(double value) {
    if (auto* held = std::get_if<double>(&value_)) {
      *held = value;
    } else {
      value_.emplace<double>(value);
    }
  }
  void AssignInteger(int64_t value) {
    if (auto* held = std::get_if<int64_t>(&value_)) {
      *held = value;
    } else {
      value_.emplace<int64_t>(value);
    }
  }
  bool AsBoolean() const;
  TDateTime AsDateTime() const;

  bool operator==(const Variant& other) const = default;

 private:
  // AsInteger and AsFloat of the other kinds.
  int64_t ConvertToInteger() const;
  double ConvertToFloat() const;

  struct DateTimeValue {
    double days;
    bool operator==(const DateTimeValue&) const = default;
  };
  std::variant<std::monostate, int64_t, double, std::string, bool, DateTimeValue> value_;
};

using TVariantArray = std::vector<Variant>;

// Whether writing `value` to a field of `type` empties the field: null does, and so does an
// empty text for any type but String, as a field's text assignment does.
inline bool EmptiesField(const Variant& value, TFieldType type) {
  return value.IsNull() || (type != TFieldType::String &&
                            value.GetKind() == Variant::Kind::String && value.StringRef().empty());
}

// The kind of a value that a field of `type` holds when it is not null.
constexpr Variant::Kind KindOfField(TFieldType type) {
  switch (type) {
    case TFieldType::Integer:
      return Variant::Kind::Integer;
    case TFieldType::Float:
      return Variant::Kind::Float;
    case TFieldType::String:
      return Variant::Kind::String;
    case TFieldType::DateTime:
      return Variant::Kind::DateTime;
    case TFieldType::Boolean:
      return Variant::Kind::Boolean;
  }
  return Variant::Kind::Null;
}

// The value converted to the kind a field of `type` holds (null when it empties the field).
NRW_API Variant VarAsType(const Variant& value, TFieldType type);

// Formats a double as the host's FloatToStr: up to 15 significant digits, locale decimal separator.
NRW_API std::string FloatToStr(double value);
// FloatToStr's text, appended to `out`.
NRW_API void AppendFloatToStr(double value, std::string& out);
// Date-time as text: the short date, followed by " hh:nn:ss" when there is a time of day.
NRW_API std::string DateTimeToStr(TDateTime value);
