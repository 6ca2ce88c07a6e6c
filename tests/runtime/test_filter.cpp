#include <gtest/gtest.h>

#include "host/exception.hpp"
#include "runtime/filter_parser.hpp"

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
