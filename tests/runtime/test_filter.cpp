#include <gtest/gtest.h>

#include "host/exception.hpp"
#include "runtime/column_store.hpp"
#include "runtime/filter_parser.hpp"
#include "runtime/filter_program.hpp"

namespace {

const std::vector<TFieldDef> kFields = {{"VALORPIS", TFieldType::Float},
                                        {"ESPECIENF", TFieldType::String},
                                        {"CHAVELCTOFIS", TFieldType::Float}};

std::string ErrorOf(const std::string& text) {
  try {
    nrw::ParseFilter(text, kFields);
  } catch (const Exception& e) {
    return e.what();
  }
  return "";
}

TEST(FilterParser, AndBindsTighterThanOr) {
  auto root = nrw::ParseFilter("VALORPIS = 1 or VALORPIS = 2 and ESPECIENF = 'NF'", kFields);
  ASSERT_EQ(root->kind, nrw::FilterNode::Kind::Or);
  EXPECT_EQ(root->right->kind, nrw::FilterNode::Kind::And);
}

TEST(FilterParser, NotAndParentheses) {
  auto root = nrw::ParseFilter("not (VALORPIS <> 0) and (ESPECIENF >= 'A')", kFields);
  ASSERT_EQ(root->kind, nrw::FilterNode::Kind::And);
  EXPECT_EQ(root->left->kind, nrw::FilterNode::Kind::Not);
  EXPECT_EQ(root->left->left->op, nrw::FilterNode::Op::Ne);
}

TEST(FilterParser, Literals) {
  auto number = nrw::ParseFilter("CHAVELCTOFIS >= 12345.5", kFields);
  EXPECT_DOUBLE_EQ(number->right->literal.AsFloat(), 12345.5);
  auto integer = nrw::ParseFilter("CHAVELCTOFIS <= 99", kFields);
  EXPECT_EQ(integer->right->literal.GetKind(), Variant::Kind::Integer);
  auto text = nrw::ParseFilter("Upper(ESPECIENF) = 'D''AGUA'", kFields);
  EXPECT_EQ(text->left->kind, nrw::FilterNode::Kind::Upper);
  EXPECT_EQ(text->right->literal.AsString(), "D'AGUA");
  auto keywords = nrw::ParseFilter("valorpis = 0 OR NOT valorpis < 1", kFields);
  EXPECT_EQ(keywords->kind, nrw::FilterNode::Kind::Or);
}

TEST(FilterParser, ErrorsNameThePosition) {
  EXPECT_EQ(ErrorOf("VALORPIS = "),
            "Invalid filter \"VALORPIS = \" at position 12: unexpected end of filter");
  EXPECT_EQ(ErrorOf("(VALORPIS = 1"),
            "Invalid filter \"(VALORPIS = 1\" at position 14: unexpected end of filter");
  EXPECT_EQ(ErrorOf("VALORPIS = 1)"),
            "Invalid filter \"VALORPIS = 1)\" at position 13: unexpected ')'");
  EXPECT_EQ(ErrorOf("NOPE = 1"), "Invalid filter \"NOPE = 1\" at position 1: unknown field 'NOPE'");
  EXPECT_EQ(ErrorOf("ESPECIENF = 'NF"),
            "Invalid filter \"ESPECIENF = 'NF\" at position 13: unterminated string");
  EXPECT_EQ(ErrorOf("VALORPIS ! 1"),
            "Invalid filter \"VALORPIS ! 1\" at position 10: unexpected character '!'");
  EXPECT_EQ(ErrorOf("VALORPIS = 1.2.3"),
            "Invalid filter \"VALORPIS = 1.2.3\" at position 12: malformed number '1.2.3'");
}

TEST(FilterCompare, NullNeverMatches) {
  EXPECT_FALSE(nrw::CompareValues(nrw::FilterNode::Op::Eq, Variant(), Variant(0)));
  EXPECT_FALSE(nrw::CompareValues(nrw::FilterNode::Op::Ne, Variant(), Variant(0)));
  EXPECT_TRUE(nrw::CompareValues(nrw::FilterNode::Op::Ne, Variant(0.5), Variant(0)));
  EXPECT_TRUE(nrw::CompareValues(nrw::FilterNode::Op::Lt, Variant("A"), Variant("B")));
}

}  // namespace

namespace {

// "FIELD op literal" is evaluated on the column's numbers directly; "literal op' FIELD" (the same
// comparison written the other way) goes through the general evaluation. Both agree on every
// row, the null ones included, and under "not".
TEST(FilterProgram, ANumberColumnAgainstANumberAgreesWithTheGeneralComparison) {
  const std::vector<TFieldDef> fields = {{"F", TFieldType::Float}, {"I", TFieldType::Integer}};
  nrw::ColumnStore store(fields);
  const std::vector<std::vector<Variant>> rows = {
      {Variant(0.0), Variant(int64_t{0})},       {Variant(-2.5), Variant(int64_t{-3})},
      {Variant(1.65), Variant(int64_t{7})},      {Variant(), Variant()},
      {Variant(7.0), Variant(int64_t{1} << 60)}, {Variant(1e15), Variant(int64_t{12345})}};
  for (const auto& row : rows) {
    store.AddRow(row);
  }
  const std::vector<std::pair<std::string, std::string>> ops = {
      {"=", "="}, {"<>", "<>"}, {"<", ">"}, {"<=", ">="}, {">", "<"}, {">=", "<="}};
  int fast_true = 0;
  for (const std::string field : {"F", "I"}) {
    for (const std::string literal : {"0", "7", "2.5", "1.65", "1152921504606846976"}) {
      for (const auto& [op, mirrored] : ops) {
        const std::string fast = field + " " + op + " " + literal;
        const std::string general = literal + " " + mirrored + " " + field;
        const auto a = nrw::FilterProgram::Compile(fast, fields, store);
        const auto b = nrw::FilterProgram::Compile(general, fields, store);
        const auto not_a = nrw::FilterProgram::Compile("not (" + fast + ")", fields, store);
        const auto not_b = nrw::FilterProgram::Compile("not (" + general + ")", fields, store);
        for (nrw::RowId r = 0; r < rows.size(); ++r) {
          EXPECT_EQ(a->Matches(r), b->Matches(r)) << fast << " on row " << r;
          EXPECT_EQ(not_a->Matches(r), not_b->Matches(r)) << fast << " on row " << r;
          fast_true += a->Matches(r) ? 1 : 0;
        }
        EXPECT_FALSE(a->Matches(3) || not_a->Matches(3)) << "a null is neither";
      }
    }
  }
  EXPECT_GT(fast_true, 50);
}

}  // namespace
