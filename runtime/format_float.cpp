// FormatFloat: picture-pattern number formatting with decimal (not binary) rounding.
//
// The value is first written to 15 significant digits, the precision the host has always
// printed with, and the rounding to the pattern's decimals is done on those decimal digits, half
// away from zero. So 2.675, stored in binary as 2.67499999..., prints 2,68 with two decimals,
// as an accountant expects.
#include <cmath>
#include <cstdio>
#include <string>

#include "host/format_settings.hpp"
#include "host/sysutils.hpp"
#include "host/variant.hpp"

namespace {

constexpr int kSignificantDigits = 15;

struct Picture {
  std::string prefix, suffix;
  int min_integer_digits = 0;
  int max_decimals = 0;
  int min_decimals = 0;
  bool grouping = false;
};

bool IsPlaceholder(char c) {
  return c == '0' || c == '#' || c == ',' || c == '.';
}

// Reads the first section of a pattern (text before an unquoted ";").
Picture ParsePicture(std::string_view pattern) {
  Picture picture;
  std::string body;
  bool in_body = false, after_body = false, in_decimals = false;
  char quote = 0;
  for (char c : pattern) {
    if (quote != 0) {
      if (c == quote) {
        quote = 0;
      } else {
        (after_body ? picture.suffix : picture.prefix) += c;
      }
      continue;
    }
    if (c == ';') {
      break;
    }
    if (c == '"' || c == '\'') {
      quote = c;
      after_body = in_body;
      continue;
    }
    if (IsPlaceholder(c) && !after_body) {
      in_body = true;
      if (c == '.') {
        in_decimals = true;
      } else if (c == ',') {
        picture.grouping = picture.grouping || !in_decimals;
      } else if (in_decimals) {
        ++picture.max_decimals;
        if (c == '0') {
          picture.min_decimals = picture.max_decimals;
        }
      } else if (c == '0') {
        ++picture.min_integer_digits;
      }
      continue;
    }
    if (in_body) {
      after_body = true;
    }
    (after_body ? picture.suffix : picture.prefix) += c;
  }
  return picture;
}

// round(|value| * 10^decimals) as a decimal digit string without leading zeros ("0" for zero).
std::string ScaledDigits(double magnitude, int decimals) {
  char buffer[64];
  std::snprintf(buffer, sizeof buffer, "%.*e", kSignificantDigits - 1, magnitude);
  std::string mantissa;
  int exponent = 0;
  for (const char* p = buffer; *p != '\0'; ++p) {
    if (*p == 'e') {
      exponent = std::atoi(p + 1);
      break;
    }
    if (*p != '.') {
      mantissa += *p;
    }
  }
  const int keep = exponent + 1 + decimals;
  if (keep < 0) {
    return "0";
  }
  std::string digits = mantissa.substr(0, std::min<size_t>(keep, mantissa.size()));
  digits.resize(static_cast<size_t>(keep), '0');
  if (keep < kSignificantDigits && mantissa[keep] >= '5') {
    int i = keep - 1;
    for (; i >= 0 && digits[i] == '9'; --i) {
      digits[i] = '0';
    }
    if (i < 0) {
      digits.insert(digits.begin(), '1');
    } else {
      ++digits[i];
    }
  }
  const size_t first = digits.find_first_not_of('0');
  return first == std::string::npos ? "0" : digits.substr(first);
}

std::string Group(const std::string& digits, char separator) {
  std::string out;
  const size_t n = digits.size();
  for (size_t i = 0; i < n; ++i) {
    if (i > 0 && (n - i) % 3 == 0) {
      out += separator;
    }
    out += digits[i];
  }
  return out;
}

}  // namespace

std::string FormatFloat(std::string_view pattern, double value) {
  if (pattern.empty()) {
    return FloatToStr(value);
  }
  if (std::isnan(value)) {
    return "NAN";
  }
  if (std::isinf(value)) {
    return value < 0 ? "-INF" : "INF";
  }
  const Picture picture = ParsePicture(pattern);
  const TFormatSettings& fs = FormatSettings();
  const std::string scaled = ScaledDigits(std::fabs(value), picture.max_decimals);
  const bool negative = value < 0 && scaled != "0";

  std::string padded = scaled;
  if (padded.size() <= static_cast<size_t>(picture.max_decimals)) {
    padded.insert(0, static_cast<size_t>(picture.max_decimals) + 1 - padded.size(), '0');
  }
  std::string integer = padded.substr(0, padded.size() - picture.max_decimals);
  std::string fraction = padded.substr(padded.size() - picture.max_decimals);
  while (fraction.size() > static_cast<size_t>(picture.min_decimals) && fraction.back() == '0') {
    fraction.pop_back();
  }
  integer.erase(0, std::min(integer.find_first_not_of('0'), integer.size()));
  if (integer.size() < static_cast<size_t>(picture.min_integer_digits)) {
    integer.insert(0, picture.min_integer_digits - integer.size(), '0');
  }
  if (picture.grouping) {
    integer = Group(integer, fs.ThousandSeparator);
  }
  std::string out = negative ? "-" : "";
  out += picture.prefix + integer;
  if (!fraction.empty()) {
    out += fs.DecimalSeparator + fraction;
  }
  return out + picture.suffix;
}
