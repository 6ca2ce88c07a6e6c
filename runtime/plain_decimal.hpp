// Reading the plain decimal form in which the server sends its numeric columns ("-1234.56").
#pragma once

#include <cstdint>
#include <string_view>

namespace nrw {

// Reads `text` when it is an optional minus, digits, and optionally a point and more digits,
// fifteen digits in all at most; false otherwise (the caller reads it another way). The digits
// make an integer below 2^53 and the point a power of ten up to 10^15, both exact doubles, so
// their quotient is rounded once, correctly: the value std::from_chars gives, without its
// general parse.
inline bool ReadPlainDecimal(std::string_view text, double& value) {
  static constexpr double kPowersOfTen[] = {1e0, 1e1, 1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                            1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};
  constexpr int kMaxDigits = 15;
  const bool negative = !text.empty() && text.front() == '-';
  if (negative) {
    text.remove_prefix(1);
  }
  uint64_t digits = 0;
  int count = 0, before_point = -1;  // the digits read before the point, once it is read
  for (const char c : text) {
    if (c == '.' && before_point < 0) {
      before_point = count;
      continue;
    }
    const auto digit = static_cast<unsigned>(c - '0');
    if (digit > 9 || count == kMaxDigits) {
      return false;
    }
    digits = digits * 10 + digit;
    ++count;
  }
  // A digit on each side of a point, and at least one without one.
  if (before_point == 0 || before_point == count || count == 0) {
    return false;
  }
  const int decimals = before_point < 0 ? 0 : count - before_point;
  const double magnitude = static_cast<double>(digits) / kPowersOfTen[decimals];
  value = negative ? -magnitude : magnitude;
  return true;
}

}  // namespace nrw
