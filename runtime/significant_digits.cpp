#include "runtime/significant_digits.hpp"

#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>

namespace nrw {
namespace {

// Every power of ten up to 10^22 is exact in a double.
constexpr double kPowersOfTen[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                   1e8,  1e9,  1e10, 1e11, 1e12, 1e13, 1e14, 1e15,
                                   1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
constexpr int kLargestExactPower = 22;
// The integers of 15 digits.
constexpr double kLowest = 1e14, kPastHighest = 1e15;
// A product below 10^15 is within 1/16 of the exact one (half of its last bit, 2^-3 at most);
// a rounding further than this from a half cannot be turned by it.
constexpr double kSafeFromHalf = 0.1;

constexpr char kPairs[] =
    "00010203040506070809101112131415161718192021222324252627282930313233343536373839"
    "40414243444546474849505152535455565758596061626364656667686970717273747576777879"
    "8081828384858687888990919293949596979899";

// Writes `number` (below 10^(2 * pairs)) as 2 * pairs digits ending just before `end`.
void WritePairs(uint32_t number, int pairs, char* end) {
  for (int i = 0; i < pairs; ++i) {
    const uint32_t pair = number % 100;
    number /= 100;
    end -= 2;
    end[0] = kPairs[2 * pair];
    end[1] = kPairs[2 * pair + 1];
  }
}

// Writes `number` (below 10^15) as 15 digits: its first 7 and last 8 apart, so that the two
// chains of divisions run side by side.
void WriteDigits(uint64_t number, char* digits) {
  const auto high = static_cast<uint32_t>(number / 100000000);
  const auto low = static_cast<uint32_t>(number % 100000000);
  digits[0] = static_cast<char>('0' + high / 1000000);
  WritePairs(high % 1000000, 3, digits + 7);
  WritePairs(low, 4, digits + kSignificantDigits);
}

// The power of ten of the value's first digit, or one less: from its binary exponent, whose
// 2^(b-1) <= magnitude gives floor((b-1) log10 2) <= log10(magnitude). 78913 / 2^18 is log10 2
// closely enough for that floor over the exponents taken here; an estimate one too high would
// make a product below 10^14, which goes the general way.
int DecimalExponentAtMost(double magnitude) {
  const auto biased = static_cast<int>(std::bit_cast<uint64_t>(magnitude) >> 52 & 0x7ff);
  return ((biased - 1023) * 78913) >> 18;
}

}  // namespace

SignificantDigits SignificantDigitsByToChars(double magnitude) {
  // d.dddddddddddddde+XX
  char buffer[32];
  const auto written = std::to_chars(buffer, buffer + sizeof buffer, magnitude,
                                     std::chars_format::scientific, kSignificantDigits - 1);
  SignificantDigits result{};
  int count = 0;
  const char* p = buffer;
  for (; p < written.ptr && *p != 'e'; ++p) {
    if (*p != '.') {
      result.digits[count++] = *p;
    }
  }
  std::from_chars(p + 1 + (p[1] == '+' ? 1 : 0), written.ptr, result.exponent);
  return result;
}

SignificantDigits SignificantDigitsOf(double magnitude) {
  // Zero, subnormals and the far magnitudes go the general way.
  if (!(magnitude >= 1e-8 && magnitude < kPastHighest)) {
    return SignificantDigitsByToChars(magnitude);
  }
  int exponent = DecimalExponentAtMost(magnitude);
  int scale = kSignificantDigits - 1 - exponent;
  if (scale > kLargestExactPower) {
    return SignificantDigitsByToChars(magnitude);
  }
  double product = magnitude * kPowersOfTen[scale];
  if (product >= kPastHighest && scale > 0) {
    ++exponent;
    --scale;
    product = magnitude * kPowersOfTen[scale];
  }
  // The exponent's estimate keeps the product within the 15-digit integers; one that rounded up
  // to 10^15 goes the general way.
  if (product < kLowest || product >= kPastHighest) {
    return SignificantDigitsByToChars(magnitude);
  }
  auto number = static_cast<uint64_t>(product);                   // its floor, being positive
  const double fraction = product - static_cast<double>(number);  // exact below 2^53
  if (std::fabs(fraction - 0.5) < kSafeFromHalf) {
    return SignificantDigitsByToChars(magnitude);
  }
  number += fraction > 0.5 ? 1 : 0;
  if (number == static_cast<uint64_t>(kPastHighest)) {  // 999...9.7 rounds to 10^15
    number = static_cast<uint64_t>(kLowest);
    ++exponent;
  }
  SignificantDigits result;
  WriteDigits(number, result.digits);
  result.exponent = exponent;
  return result;
}

}  // namespace nrw
