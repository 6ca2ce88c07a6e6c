// The filter expression language of the host's data sets:
//   expr    := or
//   or      := and { "or" and }
//   and     := not { "and" not }
//   not     := "not" not | compare
//   compare := value [ ("=" | "<>" | "<" | "<=" | ">" | ">=") value ]
//   value   := field | number | 'string' | "Upper" "(" value ")" | "(" expr ")"
// Keywords and field names are case-insensitive; strings double an inner quote; numbers use "."
// as the decimal point. Errors raise Exception naming the 1-based position in the text.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/data_set.hpp"

namespace nrw {

struct FilterNode {
  enum class Kind { Field, Literal, Upper, Compare, And, Or, Not };
  enum class Op { Eq, Ne, Lt, Le, Gt, Ge };

  Kind kind = Kind::Literal;
  Op op = Op::Eq;
  int field = -1;   // Field
  Variant literal;  // Literal
  std::unique_ptr<FilterNode> left, right;
};

// Parses `text` against the field list; raises Exception for a syntax error or unknown field.
NRW_API std::unique_ptr<FilterNode> ParseFilter(const std::string& text,
                                                const std::vector<TFieldDef>& fields);

// The three-valued comparison used by every evaluator: false when either side is null.
NRW_API bool CompareValues(FilterNode::Op op, const Variant& left, const Variant& right);
// Whether `op` holds for a three-way comparison's result (-1, 0 or 1).
NRW_API bool OrderHolds(FilterNode::Op op, int three_way);

}  // namespace nrw
