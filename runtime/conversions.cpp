// Text to number and date conversions of the host. Blanks around a text are ignored; anything
// else that is not part of the number or date makes the text unreadable.
#include <charconv>
#include <cmath>
#include <limits>
#include <string>

#include "host/exception.hpp"
#include "host/format_settings.hpp"
#include "host/sysutils.hpp"

namespace {

// Two-digit years in a typed date fall in 2000-2099: the books this report prints are recent.
constexpr int kTwoDigitYearBase = 2000;

bool ParseUnsigned(std::string_view text, int& value) {
  if (text.empty() || text.size() > 4) {
    return false;
  }
  const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
  return result.ec == std::errc() && result.ptr == text.data() + text.size();
}

}  // namespace

std::optional<int32_t> TryStrToInt(std::string_view text) {
  const std::string trimmed = Trim(text);
  std::string_view digits = trimmed;
  if (!digits.empty() && digits.front() == '+') {
    digits.remove_prefix(1);
  }
  if (digits.empty() || digits.front() == '+' ||
      (digits.front() == '-' && (digits.size() == 1 || digits[1] == '-' || digits[1] == '+'))) {
    return std::nullopt;
  }
  int32_t value = 0;
  const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), value);
  if (result.ec != std::errc() || result.ptr != digits.data() + digits.size()) {
    return std::nullopt;
  }
  return value;
}

std::optional<double> TryStrToFloat(std::string_view text) {
  std::string normalized = Trim(text);
  const char decimal = FormatSettings().DecimalSeparator;
  for (char& c : normalized) {
    if (c == decimal) {
      c = '.';
    } else if (c == '.') {
      return std::nullopt;  // only the locale's decimal separator is a decimal point
    }
  }
  std::string_view digits = normalized;
  if (!digits.empty() && digits.front() == '+') {
    digits.remove_prefix(1);
  }
  if (digits.empty()) {
    return std::nullopt;
  }
  double value = 0;
  const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), value,
                                      std::chars_format::general);
  if (result.ec != std::errc() || result.ptr != digits.data() + digits.size() ||
      !std::isfinite(value)) {
    return std::nullopt;
  }
  return value;
}

std::optional<TDateTime> TryStrToDate(std::string_view text) {
  const TFormatSettings& fs = FormatSettings();
  const std::string trimmed = Trim(text);
  // The order of day, month and year comes from the short date format ("dd/mm/yyyy").
  std::string order;
  for (char c : fs.ShortDateFormat) {
    const char lower = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    if ((lower == 'd' || lower == 'm' || lower == 'y') && order.find(lower) == std::string::npos) {
      order += lower;
    }
  }
  if (order.size() != 3) {
    return std::nullopt;
  }
  int parts[3] = {0, 0, 0};
  size_t widths[3] = {0, 0, 0};
  size_t start = 0;
  for (int i = 0; i < 3; ++i) {
    const size_t end = i < 2 ? trimmed.find(fs.DateSeparator, start) : trimmed.size();
    if (end == std::string::npos ||
        !ParseUnsigned(std::string_view(trimmed).substr(start, end - start), parts[i])) {
      return std::nullopt;
    }
    widths[i] = end - start;
    start = end + 1;
  }
  int year = 0, month = 0, day = 0;
  for (int i = 0; i < 3; ++i) {
    (order[i] == 'd' ? day : order[i] == 'm' ? month : year) = parts[i];
  }
  const size_t year_width = widths[order.find('y')];
  if (year_width <= 2) {
    year += kTwoDigitYearBase;
  }
  return TryEncodeDate(year, month, day);
}

int32_t StrToIntDef(std::string_view text, int32_t default_value) {
  return TryStrToInt(text).value_or(default_value);
}

double StrToFloatDef(std::string_view text, double default_value) {
  return TryStrToFloat(text).value_or(default_value);
}

TDateTime StrToDateDef(std::string_view text, TDateTime default_value) {
  return TryStrToDate(text).value_or(default_value);
}

int32_t StrToInt(std::string_view text) {
  if (auto value = TryStrToInt(text)) {
    return *value;
  }
  throw EConvertError("'" + std::string(text) + "' is not a valid integer value");
}
