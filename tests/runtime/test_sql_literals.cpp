#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "host/exception.hpp"
#include "host/sql.hpp"
#include "tests/runtime/data_set_kinds.hpp"

namespace {

TEST(ValorParaSQL, QuotesStringsDoublingQuotes) {
  EXPECT_EQ(Nutil::ValorParaSQL(Variant("NFE"), TFieldType::String), "'NFE'");
  EXPECT_EQ(Nutil::ValorParaSQL(Variant("' or 1=1 --"), TFieldType::String), "''' or 1=1 --'");
  EXPECT_EQ(Nutil::ValorParaSQL(Variant("SP"), TFieldType::String), "'SP'");
}

TEST(ValorParaSQL, DatesWithAndWithoutTime) {
  const double day = EncodeDate(2026, 1, 31);
  EXPECT_EQ(Nutil::ValorParaSQL(Variant::FromDateTime(day), TFieldType::DateTime), "'2026-01-31'");
  EXPECT_EQ(Nutil::ValorParaSQL(Variant(day + 0.5), TFieldType::DateTime), "'2026-01-31 12:00:00'");
  EXPECT_EQ(Nutil::ValorParaSQL(Variant(day + EncodeTime(23, 59, 0)), TFieldType::DateTime),
            "'2026-01-31 23:59:00'");
}

TEST(ValorParaSQL, NumbersAndNull) {
  EXPECT_EQ(Nutil::ValorParaSQL(Variant(1234.0), TFieldType::Float), "1234");
  EXPECT_EQ(Nutil::ValorParaSQL(Variant(0.1), TFieldType::Float), "0.1");
  EXPECT_EQ(Nutil::ValorParaSQL(Variant(1e20), TFieldType::Float), "100000000000000000000");
  EXPECT_EQ(Nutil::ValorParaSQL(Variant(-7), TFieldType::Integer), "-7");
  EXPECT_EQ(Nutil::ValorParaSQL(Variant(), TFieldType::String), "NULL");
  const double tricky = 0.1 + 0.2;
  EXPECT_EQ(std::stod(Nutil::ValorParaSQL(Variant(tricky), TFieldType::Float)), tricky);
}

TEST(ValorParaFiltro, FilterLiterals) {
  EXPECT_EQ(Nutil::ValorParaFiltro(Variant(12345.0), TFieldType::Float), "12345");
  EXPECT_EQ(Nutil::ValorParaFiltro(Variant("d'a"), TFieldType::String), "'d''a'");
  EXPECT_EQ(Nutil::ValorParaFiltro(Variant(5), TFieldType::Integer), "5");
}

TEST(StrToStrArray, SplitsAndTrims) {
  EXPECT_EQ(Nutil::StrToStrArray("5102; 6102;;5405 "),
            (std::vector<std::string>{"5102", "6102", "5405"}));
  EXPECT_EQ(Nutil::StrToStrArray("1,2", ','), (std::vector<std::string>{"1", "2"}));
  EXPECT_TRUE(Nutil::StrToStrArray("").empty());
}

TEST(CopyFile, CopiesAndOverwrites) {
  nrw::testing::ScratchDir dir;
  const std::string a = dir.File("a.txt"), b = dir.File("b.txt");
  std::ofstream(a) << "first";
  Nutilarquivo::CopyFile(a, b, true);
  std::ofstream(a) << "second";
  Nutilarquivo::CopyFile(a, b, true);
  std::ifstream in(b);
  std::string text;
  in >> text;
  EXPECT_EQ(text, "second");
  EXPECT_THROW(Nutilarquivo::CopyFile(a, b, false), Exception);
  EXPECT_THROW(Nutilarquivo::CopyFile(dir.File("missing"), b, true), Exception);
}

}  // namespace
