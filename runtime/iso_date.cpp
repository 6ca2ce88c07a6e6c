#include "runtime/iso_date.hpp"

#include <charconv>
#include <cmath>

namespace {

bool ReadNumber(std::string_view text, size_t pos, size_t width, int& value) {
  if (pos + width > text.size()) {
    return false;
  }
  const auto result = std::from_chars(text.data() + pos, text.data() + pos + width, value);
  return result.ec == std::errc() && result.ptr == text.data() + pos + width;
}

// Writes `value` (0-99) as two digits.
char* TwoDigits(char* out, int value) {
  out[0] = static_cast<char>('0' + value / 10);
  out[1] = static_cast<char>('0' + value % 10);
  return out + 2;
}

}  // namespace

// Written digit by digit: a load binds one per row.
std::string IsoDateTime(TDateTime value) {
  const bool date_only = value == std::trunc(value);
  const TDateParts p = DecodeDateTime(value);
  if (p.year < 0 || p.year > 9999) {
    return FormatDateTime(date_only ? "yyyy-mm-dd" : "yyyy-mm-dd hh:nn:ss", value);
  }
  char text[19];
  char* out = TwoDigits(TwoDigits(text, p.year / 100), p.year % 100);
  *out++ = '-';
  out = TwoDigits(out, p.month);
  *out++ = '-';
  out = TwoDigits(out, p.day);
  if (!date_only) {
    *out++ = ' ';
    out = TwoDigits(out, p.hour);
    *out++ = ':';
    out = TwoDigits(out, p.minute);
    *out++ = ':';
    out = TwoDigits(out, p.second);
  }
  return std::string(text, out);
}

std::optional<TDateTime> ParseIsoDateTime(std::string_view text) {
  int year = 0, month = 0, day = 0;
  if (text.size() < 10 || text[4] != '-' || text[7] != '-' || !ReadNumber(text, 0, 4, year) ||
      !ReadNumber(text, 5, 2, month) || !ReadNumber(text, 8, 2, day)) {
    return std::nullopt;
  }
  const auto date = TryEncodeDate(year, month, day);
  if (!date || text.size() == 10) {
    return date;
  }
  int hour = 0, minute = 0, second = 0;
  if ((text[10] != ' ' && text[10] != 'T') || !ReadNumber(text, 11, 2, hour) || text[13] != ':' ||
      !ReadNumber(text, 14, 2, minute)) {
    return std::nullopt;
  }
  if (text.size() >= 19 && (text[16] != ':' || !ReadNumber(text, 17, 2, second))) {
    return std::nullopt;
  }
  if (hour > 23 || minute > 59 || second > 59) {
    return std::nullopt;
  }
  return *date + EncodeTime(hour, minute, second);
}
