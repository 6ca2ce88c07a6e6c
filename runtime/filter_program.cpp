#include "runtime/filter_program.hpp"

#include "host/sysutils.hpp"

namespace nrw {

std::unique_ptr<FilterProgram> FilterProgram::Compile(const std::string& text,
                                                      const std::vector<TFieldDef>& fields,
                                                      const ColumnStore& store) {
  return std::unique_ptr<FilterProgram>(new FilterProgram(ParseFilter(text, fields), store));
}

bool FilterProgram::Matches(RowId row) const {
  return Truth(*root_, row);
}

bool FilterProgram::Truth(const FilterNode& node, RowId row) const {
  switch (node.kind) {
    case FilterNode::Kind::And:
      return Truth(*node.left, row) && Truth(*node.right, row);
    case FilterNode::Kind::Or:
      return Truth(*node.left, row) || Truth(*node.right, row);
    case FilterNode::Kind::Not:
      return !Truth(*node.left, row);
    case FilterNode::Kind::Compare:
      return CompareValues(node.op, Evaluate(*node.left, row), Evaluate(*node.right, row));
    default: {
      const Variant value = Evaluate(node, row);
      return !value.IsNull() && value.AsBoolean();
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
    default:
      return Variant(Truth(node, row));
  }
}

}  // namespace nrw
