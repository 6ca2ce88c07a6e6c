// The 15 significant decimal digits that the host prints a double with (printf's %.14E),
// correctly rounded from the double's exact binary value, ties to even.
//
// Amounts of a fiscal month are printed by the million; the general conversion of the standard
// library (std::to_chars with a precision) takes over a hundred nanoseconds a number. Most
// amounts need only one multiplication by an exact power of ten and a rounding whose direction
// the multiplication's error cannot change; the others (ties, magnitudes outside 1e-8 to 1e15,
// products too close to a half) go through std::to_chars.
#pragma once

#include "host/export.hpp"

namespace nrw {

inline constexpr int kSignificantDigits = 15;

struct NRW_API SignificantDigits {
  char digits[kSignificantDigits];  // '0' to '9'; the first is not '0' unless the value is zero
  int exponent;                     // the first digit's power of ten (0 for zero)
};

// `magnitude` must be finite and not negative.
NRW_API SignificantDigits SignificantDigitsOf(double magnitude);
// The same through std::to_chars alone: what the fast way must agree with.
NRW_API SignificantDigits SignificantDigitsByToChars(double magnitude);

}  // namespace nrw
