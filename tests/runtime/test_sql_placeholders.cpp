#include <gtest/gtest.h>

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
}  // namespace nrw
