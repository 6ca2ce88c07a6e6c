#include <gtest/gtest.h>

#include <cmath>

#include "host/format_settings.hpp"
#include "host/sysutils.hpp"
#include "host/variant.hpp"
#include "runtime/iso_date.hpp"

namespace {

TEST(DateTime, DaysCountFrom18991230) {
  EXPECT_EQ(EncodeDate(1899, 12, 30), 0.0);
  EXPECT_EQ(EncodeDate(1900, 1, 1), 2.0);
  EXPECT_EQ(EncodeDate(2026, 1, 31), 46053.0);
  EXPECT_EQ(EncodeDate(2000, 2, 29), 36585.0);
}

TEST(DateTime, RejectsImpossibleDates) {
  EXPECT_FALSE(TryEncodeDate(2026, 2, 29).has_value());
  EXPECT_FALSE(TryEncodeDate(2026, 13, 1).has_value());
  EXPECT_FALSE(TryEncodeDate(2026, 4, 31).has_value());
  EXPECT_TRUE(TryEncodeDate(2024, 2, 29).has_value());
}

TEST(DateTime, DecodesDateAndTime) {
  const TDateParts p = DecodeDateTime(EncodeDate(2026, 1, 15) + EncodeTime(13, 45, 30));
  EXPECT_EQ(p.year, 2026);
  EXPECT_EQ(p.month, 1);
  EXPECT_EQ(p.day, 15);
  EXPECT_EQ(p.hour, 13);
  EXPECT_EQ(p.minute, 45);
  EXPECT_EQ(p.second, 30);
}

TEST(DateTime, TimeOfDayIsTheFraction) {
  EXPECT_DOUBLE_EQ(EncodeTime(8, 0, 0), 1.0 / 3.0);
  EXPECT_DOUBLE_EQ(EncodeTime(12, 0, 0), 0.5);
}

TEST(DateTime, UnixTime) {
  EXPECT_EQ(UnixToDateTime(0), EncodeDate(1970, 1, 1));
  EXPECT_DOUBLE_EQ(UnixToDateTime(1767225600 + 3600), EncodeDate(2026, 1, 1) + EncodeTime(1, 0, 0));
}

TEST(FormatDateTime, DayAndMonthWithTheLocaleSeparator) {
  EXPECT_EQ(FormatDateTime("dd/mm", EncodeDate(2026, 1, 2)), "02/01");
  EXPECT_EQ(FormatDateTime("d/m/yy", EncodeDate(2026, 3, 9)), "9/3/26");
  EXPECT_EQ(FormatDateTime("dd/mm/yyyy hh:nn:ss", EncodeDate(2026, 12, 31) + EncodeTime(23, 59, 1)),
            "31/12/2026 23:59:01");
  TFormatSettings dashed = FormatSettings();
  const TFormatSettings saved = dashed;
  dashed.DateSeparator = '-';
  SetFormatSettings(dashed);
  EXPECT_EQ(FormatDateTime("dd/mm", EncodeDate(2026, 1, 2)), "02-01");
  SetFormatSettings(saved);
}

TEST(FormatDateTime, MinutesAfterHourAndQuotedText) {
  EXPECT_EQ(FormatDateTime("hh:mm", EncodeTime(9, 5, 0)), "09:05");
  EXPECT_EQ(FormatDateTime("'dia' dd", EncodeDate(2026, 1, 7)), "dia 07");
}

TEST(DateTimeToStr, ShortDateAndTimeWhenPresent) {
  EXPECT_EQ(DateTimeToStr(EncodeDate(2026, 1, 5)), "05/01/2026");
  EXPECT_EQ(DateTimeToStr(EncodeDate(2026, 1, 5) + EncodeTime(8, 30, 0)), "05/01/2026 08:30:00");
}

}  // namespace

namespace {

// ISO texts are written digit by digit; they say what the general formatter says.
TEST(IsoDateTime, AgreesWithTheFormatter) {
  EXPECT_EQ(IsoDateTime(EncodeDate(2026, 1, 31)), "2026-01-31");
  EXPECT_EQ(IsoDateTime(EncodeDate(2026, 1, 31) + EncodeTime(9, 5, 7)), "2026-01-31 09:05:07");
  for (double value = -700000.0; value < 3000000.0; value += 997.123456) {
    const double day = std::trunc(value);
    ASSERT_EQ(IsoDateTime(day), FormatDateTime("yyyy-mm-dd", day)) << value;
    const char* pattern = value == day ? "yyyy-mm-dd" : "yyyy-mm-dd hh:nn:ss";
    ASSERT_EQ(IsoDateTime(value), FormatDateTime(pattern, value)) << value;
  }
  const double almost_midnight = EncodeDate(2026, 12, 31) + 0.9999999;
  EXPECT_EQ(IsoDateTime(almost_midnight), "2027-01-01 00:00:00") << "seconds round, as decoded";
}

}  // namespace
