#include "runtime/filter_program.hpp"

#include "host/sysutils.hpp"

namespace nrw {

std::unique_ptr<FilterProgram> FilterProgram::Compile(const std::string& text,
                                                      const std::vector<TFieldDef>& fields,
                                                      const ColumnStore& store) {
  return std::unique_ptr<FilterProgram>(new FilterProgram(ParseFilter(text, fields), store));
}

namespace {

std::optional<FilterProgram::Equality> FindEquality(const FilterNode& node,
                                                    const ColumnStore& store) {
  if (node.kind == FilterNode::Kind::And) {
    if (auto left = FindEquality(*node.left, store)) {
      return left;
    }
    return FindEquality(*node.right, store);
  }
  if (node.kind != FilterNode::Kind::Compare || node.op != FilterNode::Op::Eq) {
    return std::nullopt;
  }
  const FilterNode* field = node.left.get();
  const FilterNode* literal = node.right.get();
  if (field->kind != FilterNode::Kind::Field) {
    std::swap(field, literal);
  }
  if (field->kind != FilterNode::Kind::Field || literal->kind != FilterNode::Kind::Literal ||
      literal->literal.IsNull()) {
    return std::nullopt;
  }
  // Only where the filter's comparison and the store's ordering agree.
  const bool text_field = store.Defs()[field->field].type == TFieldType::String;
  const bool text_literal = literal->literal.GetKind() == Variant::Kind::String;
  if (text_field != text_literal) {
    return std::nullopt;
  }
  return FilterProgram::Equality{field->field, literal->literal};
}

}  // namespace

std::optional<FilterProgram::Equality> FilterProgram::RequiredEquality() const {
  return FindEquality(*root_, store_);
}

// "field op literal" with a column of whole or real numbers and a number that is not null.
bool FilterProgram::IsNumberAgainstNumber(const FilterNode& node) const {
  if (node.left->kind != FilterNode::Kind::Field || node.right->kind != FilterNode::Kind::Literal) {
    return false;
  }
  const TFieldType type = store_.Defs()[node.left->field].type;
  const Variant::Kind literal = node.right->literal.GetKind();
  return (type == TFieldType::Integer || type == TFieldType::Float) &&
         (literal == Variant::Kind::Integer || literal == Variant::Kind::Float);
}

bool FilterProgram::Matches(RowId row) const {
  return Evaluate3(*root_, row) == Truth::True;
}

FilterProgram::Truth FilterProgram::Evaluate3(const FilterNode& node, RowId row) const {
  switch (node.kind) {
    case FilterNode::Kind::And: {
      const Truth left = Evaluate3(*node.left, row);
      if (left == Truth::False) {
        return Truth::False;
      }
      const Truth right = Evaluate3(*node.right, row);
      return right == Truth::False                         ? Truth::False
             : left == Truth::True && right == Truth::True ? Truth::True
                                                           : Truth::Unknown;
    }
    case FilterNode::Kind::Or: {
      const Truth left = Evaluate3(*node.left, row);
      if (left == Truth::True) {
        return Truth::True;
      }
      const Truth right = Evaluate3(*node.right, row);
      return right == Truth::True                            ? Truth::True
             : left == Truth::False && right == Truth::False ? Truth::False
                                                             : Truth::Unknown;
    }
    case FilterNode::Kind::Not: {
      const Truth inner = Evaluate3(*node.left, row);
      return inner == Truth::Unknown ? inner : inner == Truth::True ? Truth::False : Truth::True;
    }
    case FilterNode::Kind::Compare: {
      if (IsNumberAgainstNumber(node)) {
        // Compared as doubles, as two numbers always are, without a value made for the row.
        const int field = node.left->field;
        if (store_.IsNull(row, field)) {
          return Truth::Unknown;
        }
        const double a = store_.SortKey(row, field), b = node.right->literal.AsFloat();
        return OrderHolds(node.op, a < b ? -1 : (a > b ? 1 : 0)) ? Truth::True : Truth::False;
      }
      const Variant left = Evaluate(*node.left, row), right = Evaluate(*node.right, row);
      if (left.IsNull() || right.IsNull()) {
        return Truth::Unknown;
      }
      return CompareValues(node.op, left, right) ? Truth::True : Truth::False;
    }
    default: {
      const Variant value = Evaluate(node, row);
      return value.IsNull() ? Truth::Unknown : value.AsBoolean() ? Truth::True : Truth::False;
    }
  }
}

Variant FilterProgram::Evaluate(const FilterNode& node, RowId row) const {
  switch (node.kind) {
    case FilterNode::Kind::Field:
      return store_.Value(row, node.field);
    case FilterNode::Kind::Literal:
      return node.literal;
    case FilterNode::Kind::Upper: {
      const Variant inner = Evaluate(*node.left, row);
      return inner.IsNull() ? inner : Variant(AnsiUpperCase(inner.AsString()));
    }
    default: {
      const Truth truth = Evaluate3(node, row);
      return truth == Truth::Unknown ? Variant() : Variant(truth == Truth::True);
    }
  }
}

}  // namespace nrw
