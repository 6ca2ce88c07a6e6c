#include <gtest/gtest.h>

#include "host/exception.hpp"
#include "runtime/sql_placeholders.hpp"

namespace nrw {
namespace {

TEST(SqlPlaceholders, NumbersParametersByPosition) {
  const auto r = RewritePlaceholders(
      "select * from T where A = :CodigoEmpresa and B = :pCodigoEstab and C between :pDataInicial "
      "and :pDataFinal",
      PlaceholderStyle::Question);
  EXPECT_EQ(r.text, "select * from T where A = ?1 and B = ?2 and C between ?3 and ?4");
  EXPECT_EQ(r.names, (std::vector<std::string>{"CodigoEmpresa", "pCodigoEstab", "pDataInicial",
                                               "pDataFinal"}));
}

TEST(SqlPlaceholders, DollarStyleForPostgres) {
  const auto r = RewritePlaceholders("where a = :x and b = :x", PlaceholderStyle::Dollar);
  EXPECT_EQ(r.text, "where a = $1 and b = $2") << "a repeated name is a new position";
}

TEST(SqlPlaceholders, SkipsQuotedLiteralsAndIdentifiers) {
  const auto r = RewritePlaceholders("select ':no', 'it''s :no', \":no\" from T where a = :yes",
                                     PlaceholderStyle::Question);
  EXPECT_EQ(r.text, "select ':no', 'it''s :no', \":no\" from T where a = ?1");
  EXPECT_EQ(r.names, std::vector<std::string>{"yes"});
}

TEST(SqlPlaceholders, SkipsCastsAndComments) {
  const auto r =
      RewritePlaceholders("select a::numeric(14,2) -- :comment\nfrom T /* :block */ where b = :p",
                          PlaceholderStyle::Dollar);
  EXPECT_EQ(r.text, "select a::numeric(14,2) -- :comment\nfrom T /* :block */ where b = $1");
}

TEST(SqlPlaceholders, ColonWithoutANameIsText) {
  const auto r = RewritePlaceholders("select '10:30', a : b, :1", PlaceholderStyle::Question);
  EXPECT_EQ(r.text, "select '10:30', a : b, :1");
  EXPECT_TRUE(r.names.empty());
}

TEST(SqlPlaceholders, UnterminatedQuoteRunsToTheEnd) {
  const auto r = RewritePlaceholders("select 'abc :x", PlaceholderStyle::Question);
  EXPECT_EQ(r.text, "select 'abc :x");
}

}  // namespace
TEST(SqlPlaceholders, InliningPutsEachTextWhereItsParameterWas) {
  EXPECT_EQ(InlinePlaceholders("select ':a', a::text -- :b\nfrom T where a = :a and b = :a",
                               {"'x'", "null"}),
            "select ':a', a::text -- :b\nfrom T where a = 'x' and b = null");
  try {
    InlinePlaceholders("where a = :a and b = :b", {"1"});
    FAIL() << "a parameter without a text";
  } catch (const Exception& e) {
    EXPECT_STREQ(e.what(), "SQL parameter :b (number 2) has no value");
  }
}

TEST(SqlPlaceholders, FirstWordOfAStatement) {
  EXPECT_TRUE(FirstWordIs("  (SELECT 1) union select 2", "select"));
  EXPECT_TRUE(FirstWordIs("\n\tselect\n1", "select"));
  EXPECT_FALSE(FirstWordIs("selected", "select"));
  EXPECT_FALSE(FirstWordIs("select", "select")) << "a word alone is no statement";
  EXPECT_FALSE(FirstWordIs("with x as (select 1) select * from x", "select"));
  EXPECT_FALSE(FirstWordIs("", "select"));
}

}  // namespace nrw
