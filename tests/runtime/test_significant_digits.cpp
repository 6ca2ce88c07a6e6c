// The 15 significant digits of the fast way against std::to_chars, and FloatToStr against
// printf's %.15G, over amounts, rates, ties, boundaries of a power of ten and random doubles.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <iomanip>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "host/format_settings.hpp"
#include "host/variant.hpp"
#include "runtime/significant_digits.hpp"

namespace {

std::string Text(const nrw::SignificantDigits& d) {
  return std::string(d.digits, nrw::kSignificantDigits) + "e" + std::to_string(d.exponent);
}

// The first value that disagrees stops the test.
::testing::AssertionResult Agrees(double magnitude) {
  const std::string fast = Text(nrw::SignificantDigitsOf(magnitude));
  const std::string general = Text(nrw::SignificantDigitsByToChars(magnitude));
  if (fast == general) {
    return ::testing::AssertionSuccess();
  }
  return ::testing::AssertionFailure()
         << std::hexfloat << magnitude << ": " << fast << " against " << general;
}

// printf's %.15G, with the host's exponent (no "+", no leading zeros) and decimal comma.
std::string PrintfG15(double value) {
  char buffer[64];
  std::snprintf(buffer, sizeof buffer, "%.15G", value);
  std::string text(buffer);
  if (const size_t e = text.find('E'); e != std::string::npos) {
    const bool negative = text[e + 1] == '-';
    std::string digits = text.substr(e + 2);
    digits.erase(0, std::min(digits.find_first_not_of('0'), digits.size() - 1));
    text = text.substr(0, e) + (negative ? "E-" : "E") + digits;
  }
  for (char& c : text) {
    if (c == '.') {
      c = ',';
    }
  }
  return text;
}

// Every amount of cents from 0,00 to 2.000,00, and around a few larger ones.
TEST(SignificantDigits, EveryAmountOfCentsAgreesWithToChars) {
  for (int64_t cents = 0; cents <= 200000; ++cents) {
    ASSERT_TRUE(Agrees(static_cast<double>(cents) / 100));
  }
  for (double base : {1e6, 123456789.0, 98765432101.0, 1e12, 9999999999999.0}) {
    for (int cents = -5000; cents <= 5000; ++cents) {
      ASSERT_TRUE(Agrees(base + cents / 100.0));
    }
  }
}

// Rates and sums the way the listing makes them: products and running sums of cents.
TEST(SignificantDigits, ProductsAndSumsAgreeWithToChars) {
  std::mt19937_64 random(20261124);
  std::uniform_int_distribution<int64_t> cents(0, 100000000);
  std::uniform_int_distribution<int> rate(0, 2500);
  double sum = 0;
  for (int i = 0; i < 300000; ++i) {
    const double amount = static_cast<double>(cents(random)) / 100;
    sum += amount;
    ASSERT_TRUE(Agrees(amount * rate(random) / 10000));
    ASSERT_TRUE(Agrees(sum));
    ASSERT_TRUE(Agrees(sum - amount * 0.0925));
  }
}

// The decimal half-way values whose double lies on either side of the half, exact binary ties
// (integers plus a half of 15 and 16 digits), and the neighbours of every power of ten.
TEST(SignificantDigits, TiesAndPowersOfTenAgreeWithToChars) {
  for (double value : {2.675, 1.005, 0.125, 0.5, 1.5, 2.5, 12345678901234.5, 12345678901235.5,
                       99999999999999.5, 999999999999999.5, 999999999999999.4, 0.3, 0.1 + 0.2,
                       9.999999999999995, 9.9999999999999953, 9.9999999999999947}) {
    ASSERT_TRUE(Agrees(value));
  }
  for (int64_t whole = 10000000000000; whole < 10000000000000 + 20000; whole += 7) {
    ASSERT_TRUE(Agrees(static_cast<double>(whole) + 0.5));
    ASSERT_TRUE(Agrees(static_cast<double>(whole * 10 + 3) + 0.5));
  }
  for (int power = -12; power <= 18; ++power) {
    double value = std::pow(10.0, power);
    for (int step = 0; step < 200; ++step) {
      value = std::nextafter(value, 0.0);
    }
    for (int step = 0; step < 400; ++step) {
      ASSERT_TRUE(Agrees(value));
      value = std::nextafter(value, INFINITY);
    }
  }
}

TEST(SignificantDigits, RandomDoublesOfEveryMagnitudeAgreeWithToChars) {
  std::mt19937_64 random(7041330);
  std::uniform_int_distribution<uint64_t> bits(0, 0x7fefffffffffffffull);  // finite, positive
  std::uniform_real_distribution<double> exponent(-10, 16);
  for (int i = 0; i < 300000; ++i) {
    ASSERT_TRUE(Agrees(std::bit_cast<double>(bits(random))));
    ASSERT_TRUE(Agrees(std::pow(10.0, exponent(random))));
  }
  for (double value : {0.0, 5e-324, 2.2250738585072014e-308, 1.7976931348623157e308}) {
    ASSERT_TRUE(Agrees(value));
  }
}

TEST(SignificantDigits, FloatToStrWritesWhatPrintfWritesWithFifteenDigits) {
  ASSERT_EQ(FormatSettings().DecimalSeparator, ',');
  std::mt19937_64 random(1063919);
  std::uniform_real_distribution<double> exponent(-12, 20);
  std::uniform_int_distribution<int64_t> cents(-100000000, 100000000);
  std::vector<double> values = {0.0,   -0.0,  1.0,    -1.0,  0.0001, 0.00001, 1e14,
                                1e15,  1e16,  123.45, -7e-5, 2.675,  1e-5,    99999999999999.5,
                                1e300, 1e-300};
  for (int i = 0; i < 100000; ++i) {
    values.push_back(std::pow(10.0, exponent(random)) * (i % 2 == 0 ? 1 : -1));
    values.push_back(static_cast<double>(cents(random)) / 100);
  }
  for (double value : values) {
    ASSERT_EQ(FloatToStr(value), PrintfG15(value)) << std::hexfloat << value;
  }
}

}  // namespace
