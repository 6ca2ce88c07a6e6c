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

}  // namespace

std::string IsoDateTime(TDateTime value) {
  if (value == std::trunc(value)) {
    return FormatDateTime("yyyy-mm-dd", value);
  }
  return FormatDateTime("yyyy-mm-dd hh:nn:ss", value);
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
