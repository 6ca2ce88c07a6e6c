#include <gtest/gtest.h>

#include "host/format_settings.hpp"
#include "host/sysutils.hpp"

namespace {

TEST(FormatFloat, GroupsThousandsWithTwoDecimals) {
  EXPECT_EQ(FormatFloat("#,##0.00", 1234567.891), "1.234.567,89");
  EXPECT_EQ(FormatFloat("#,##0.00", 0), "0,00");
  EXPECT_EQ(FormatFloat("#,##0.00", 999.999), "1.000,00");
  EXPECT_EQ(FormatFloat("#,##0.00", 1000000.0), "1.000.000,00");
  EXPECT_EQ(FormatFloat("#,##0.00", -2500000.0), "-2.500.000,00");
}

TEST(FormatFloat, RoundsDecimalDigitsHalfAwayFromZero) {
  // 2.675 is 2.67499999... in binary; taken to 15 significant digits it is 2.675 and rounds up.
  EXPECT_EQ(FormatFloat("#,##0.00", 2.675), "2,68");
  EXPECT_EQ(FormatFloat("#,##0.00", -2.675), "-2,68");
  EXPECT_EQ(FormatFloat("#,##0.00", 0.125), "0,13");
  EXPECT_EQ(FormatFloat("#,##0.00", 1.005), "1,01");
  EXPECT_EQ(FormatFloat("#,##0", 2.5), "3");
  EXPECT_EQ(FormatFloat("#,##0", -2.5), "-3");
}

TEST(FormatFloat, ValueRoundingToZeroHasNoMinusSign) {
  EXPECT_EQ(FormatFloat("#,##0.00", -0.001), "0,00");
  EXPECT_EQ(FormatFloat("#,##0.00", -0.0), "0,00");
  EXPECT_EQ(FormatFloat("#0.##", -0.004), "0");
}

TEST(FormatFloat, PatternWithoutGrouping) {
  EXPECT_EQ(FormatFloat("###0.00", 1000000.01), "1000000,01");
  EXPECT_EQ(FormatFloat("###0.00", -1234.5), "-1234,50");
}

TEST(FormatFloat, OptionalDecimalsDropTrailingZeros) {
  EXPECT_EQ(FormatFloat("#0.##", 18), "18");
  EXPECT_EQ(FormatFloat("#0.##", 7.5), "7,5");
  EXPECT_EQ(FormatFloat("#0.##", 12.0), "12");
  EXPECT_EQ(FormatFloat("#0.##", 0), "0");
  EXPECT_EQ(FormatFloat("#0.##", 1.656), "1,66");
  EXPECT_EQ(FormatFloat("#0.##", 0.65), "0,65");
}

TEST(FormatFloat, IntegerPatternGroups) {
  EXPECT_EQ(FormatFloat("#,##0", 1234567), "1.234.567");
  EXPECT_EQ(FormatFloat("#,##0", 12), "12");
  EXPECT_EQ(FormatFloat("#,##0", 0), "0");
}

TEST(FormatFloat, LargeAndTinyValues) {
  EXPECT_EQ(FormatFloat("#,##0.00", 9999999999.99), "9.999.999.999,99");
  EXPECT_EQ(FormatFloat("#,##0.00", 0.004), "0,00");
  EXPECT_EQ(FormatFloat("#,##0.00", 0.005), "0,01");
}

TEST(FormatFloat, ExtremeMagnitudes) {
  EXPECT_EQ(FormatFloat("###0", 1e20), "100000000000000000000");
  EXPECT_EQ(FormatFloat("#,##0.00", 123456789012345678.0), "123.456.789.012.346.000,00")
      << "digits past the 15th are zeros";
  EXPECT_EQ(FormatFloat("###0", 1e308), "1" + std::string(308, '0'));
  EXPECT_EQ(FormatFloat("#,##0.00", 1e-300), "0,00");
  EXPECT_EQ(FormatFloat("0.000", 0.0005), "0,001");
  EXPECT_EQ(FormatFloat("0.000", 0.00049), "0,000");
  EXPECT_EQ(FormatFloat("#,##0.00", 99.995), "100,00") << "a carry through every digit";
  EXPECT_EQ(FormatFloat("0000.0", 7.25), "0007,3") << "integer zeros that the pattern asks for";
}

TEST(FormatFloat, PatternsAlternate) {
  // The parsed pattern is reused while it repeats; a change of pattern is noticed.
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(FormatFloat("#,##0.00", 1234.5), "1.234,50");
    EXPECT_EQ(FormatFloat("#0.##", 1234.5), "1234,5");
    EXPECT_EQ(FormatFloat("###0.00", 1234.5), "1234,50");
  }
}

TEST(FormatFloat, FollowsTheLocaleSeparators) {
  const TFormatSettings saved = FormatSettings();
  TFormatSettings us = saved;
  us.ThousandSeparator = ',';
  us.DecimalSeparator = '.';
  SetFormatSettings(us);
  EXPECT_EQ(FormatFloat("#,##0.00", 1234567.891), "1,234,567.89");
  SetFormatSettings(saved);
}

TEST(FormatFloat, ARememberedTextFollowsASeparatorChange) {
  const TFormatSettings saved = FormatSettings();
  EXPECT_EQ(FormatFloat("#,##0.00", 1234.5), "1.234,50");
  TFormatSettings us = saved;
  us.ThousandSeparator = ',';
  us.DecimalSeparator = '.';
  SetFormatSettings(us);
  EXPECT_EQ(FormatFloat("#,##0.00", 1234.5), "1,234.50");
  SetFormatSettings(saved);
  EXPECT_EQ(FormatFloat("#,##0.00", 1234.5), "1.234,50");
}

TEST(FormatFloat, ManyPatternsAndValuesInTurn) {
  // More patterns than are remembered at once, and values that share a remembered slot.
  const char* patterns[] = {"#,##0.00", "#0.##", "###0.00", "#,##0", "0.000", "#,##0.0"};
  for (int round = 0; round < 3; ++round) {
    for (const char* pattern : patterns) {
      for (int i = 0; i < 600; ++i) {
        const double value = i * 1.25 - 300;
        // The same picture spelled with a trailing ";" is another remembered pattern.
        EXPECT_EQ(FormatFloat(pattern, value), FormatFloat(std::string(pattern) + ";", value))
            << pattern << " " << value;
      }
    }
    EXPECT_EQ(FormatFloat("#,##0.00", -300), "-300,00");
    EXPECT_EQ(FormatFloat("#0.##", 448.75), "448,75");
    EXPECT_EQ(FormatFloat("0.000", 1.25), "1,250");
  }
}

TEST(FormatFloat, LiteralTextAroundTheNumber) {
  EXPECT_EQ(FormatFloat("\"R$ \"#,##0.00", 1500), "R$ 1.500,00");
  EXPECT_EQ(FormatFloat("#0.## %", 18), "18 %");
}

}  // namespace
