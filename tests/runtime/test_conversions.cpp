#include <gtest/gtest.h>

#include <bit>
#include <charconv>
#include <random>
#include <string>
#include <vector>

#include "host/exception.hpp"
#include "host/sysutils.hpp"
#include "runtime/plain_decimal.hpp"

namespace {

TEST(StrToIntDef, ReadsIntegersAndFallsBack) {
  EXPECT_EQ(StrToIntDef("12", 0), 12);
  EXPECT_EQ(StrToIntDef(" -7 ", 0), -7);
  EXPECT_EQ(StrToIntDef("+3", 0), 3);
  EXPECT_EQ(StrToIntDef("", 2), 2);
  EXPECT_EQ(StrToIntDef("abc", 2), 2);
  EXPECT_EQ(StrToIntDef("1.5", 2), 2);
  EXPECT_EQ(StrToIntDef("1 2", 2), 2);
  EXPECT_EQ(StrToIntDef("99999999999", 5), 5);
  EXPECT_EQ(StrToIntDef("--1", 5), 5);
}

TEST(StrToInt, RaisesConvertErrorWithTheText) {
  EXPECT_EQ(StrToInt("4"), 4);
  try {
    StrToInt("abc");
    FAIL() << "no exception";
  } catch (const EConvertError& e) {
    EXPECT_STREQ(e.what(), "'abc' is not a valid integer value");
  }
}

TEST(StrToFloatDef, UsesTheLocaleDecimalSeparator) {
  EXPECT_DOUBLE_EQ(StrToFloatDef("480", 0), 480.0);
  EXPECT_DOUBLE_EQ(StrToFloatDef("7,5", 0), 7.5);
  EXPECT_DOUBLE_EQ(StrToFloatDef("-0,25", 0), -0.25);
  EXPECT_DOUBLE_EQ(StrToFloatDef("7.5", 1), 1.0);
  EXPECT_DOUBLE_EQ(StrToFloatDef("", 1), 1.0);
  EXPECT_DOUBLE_EQ(StrToFloatDef("x", 1), 1.0);
  EXPECT_DOUBLE_EQ(StrToFloatDef("1,5E3", 0), 1500.0);
}

TEST(StrToDateDef, ShortDateFormatWithOneDigitDayAndMonth) {
  EXPECT_EQ(StrToDateDef("01/01/2026", -1), EncodeDate(2026, 1, 1));
  EXPECT_EQ(StrToDateDef("1/2/2026", -1), EncodeDate(2026, 2, 1));
  EXPECT_EQ(StrToDateDef(" 31/01/2026 ", -1), EncodeDate(2026, 1, 31));
  EXPECT_EQ(StrToDateDef("5/1/26", -1), EncodeDate(2026, 1, 5));
}

TEST(StrToDateDef, UnreadableDatesGiveTheDefault) {
  EXPECT_EQ(StrToDateDef("", 0), 0);
  EXPECT_EQ(StrToDateDef("abc", 0), 0);
  EXPECT_EQ(StrToDateDef("31/02/2026", 0), 0);
  EXPECT_EQ(StrToDateDef("2026-01-31", 0), 0);
  EXPECT_EQ(StrToDateDef("01/01", 0), 0);
  EXPECT_EQ(StrToDateDef("01/01/2026/1", 0), 0);
}

TEST(Text, TrimUpperAndCompare) {
  EXPECT_EQ(Trim("  nfe \t"), "nfe");
  EXPECT_EQ(AnsiUpperCase("nfe série ção"), "NFE SÉRIE ÇÃO");
  EXPECT_TRUE(SameText("ChaveLctoFis", "CHAVELCTOFIS"));
  EXPECT_FALSE(SameText("Chave", "ChaveX"));
  EXPECT_TRUE(ContainsText("12", "2"));
  EXPECT_FALSE(ContainsText("3", "1"));
}

// CompareUpperCase orders as the upper-cased copies would, for ASCII, accented letters, a lone
// lead byte at the end, and texts of which one begins the other.
TEST(Text, CompareUpperCaseOrdersAsTheUpperCasedCopies) {
  const std::vector<std::string> texts = {"",         "a",        "A",        "ab",
                                          "aB",       "b",        "çã",       "ÇÃ",
                                          "ção",      "cão",      "c",        "Z",
                                          "zz",       "\xC3",     "a\xC3",    "é",
                                          "÷",        "\xC3\xB7", "01-Valor", "01-valor total",
                                          "02-Frete", "Exclusão", "EXCLUSÃO"};
  for (const std::string& a : texts) {
    for (const std::string& b : texts) {
      const int expected = AnsiUpperCase(a).compare(AnsiUpperCase(b));
      const int actual = CompareUpperCase(a, b);
      EXPECT_EQ(actual < 0, expected < 0) << a << " / " << b;
      EXPECT_EQ(actual == 0, expected == 0) << a << " / " << b;
    }
  }
  EXPECT_EQ(AnsiUpperCase("a\xC3"), "A\xC3") << "a lead byte at the end stays";
  EXPECT_EQ(AnsiUpperCase("\xC3\xB7"), "\xC3\xB7") << "the division sign has no upper case";
}

TEST(Text, IntToHexPadsUpperCase) {
  EXPECT_EQ(IntToHex(4660, 8), "00001234");
  EXPECT_EQ(IntToHex(0xFFFFFFFFu, 8), "FFFFFFFF");
  EXPECT_EQ(IntToHex(0, 8), "00000000");
  EXPECT_EQ(IntToHex(0xABCu, 2), "ABC");
}

}  // namespace

// The numeric columns' text is read without from_chars when it is a plain decimal of up to
// fifteen digits, to the same double; anything else is left to from_chars.
TEST(ReadPlainDecimal, GivesWhatFromCharsGives) {
  std::mt19937_64 random(20261125);
  std::vector<std::string> texts = {"0",
                                    "-0",
                                    "0.00",
                                    "-0.00",
                                    "7",
                                    "12.5",
                                    "-1.65",
                                    "0.1",
                                    "999999999999999",
                                    "1.2",
                                    "0.3",
                                    "2.675",
                                    "1e5",
                                    "0.000000000000001",
                                    "-99999999999999.9",
                                    "123456789012.345"};
  for (int i = 0; i < 20000; ++i) {
    const int digits = 1 + static_cast<int>(random() % 15);
    std::string text;
    for (int d = 0; d < digits; ++d) {
      text += static_cast<char>('0' + random() % 10);
    }
    const int decimals = static_cast<int>(random() % (digits + 1));
    if (decimals > 0 && decimals < digits) {
      text.insert(text.size() - static_cast<size_t>(decimals), ".");
    }
    texts.push_back(random() % 2 == 0 ? text : "-" + text);
  }
  int read = 0;
  for (const std::string& text : texts) {
    double fast = 0, slow = 0;
    const bool plain = nrw::ReadPlainDecimal(text, fast);
    std::from_chars(text.data(), text.data() + text.size(), slow);
    if (plain) {
      ++read;
      EXPECT_EQ(std::bit_cast<uint64_t>(fast), std::bit_cast<uint64_t>(slow)) << text;
    }
  }
  EXPECT_GT(read, 19000) << "plain decimals are read";
  double unused = 0;
  for (const char* other : {"", "-", ".5", "5.", "1.2.3", "1e5", "12a", "+3", "1234567890123456",
                            "0.1234567890123456", "nan", " 1"}) {
    EXPECT_FALSE(nrw::ReadPlainDecimal(other, unused)) << other;
  }
}
