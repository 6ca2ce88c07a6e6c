// A parsed filter bound to a column store: decides, row by row, whether a row is visible. Nulls
// follow SQL's three-valued logic, so a filter selects the same rows on a SQLite table.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "runtime/column_store.hpp"
#include "runtime/filter_parser.hpp"

namespace nrw {

class FilterProgram {
 public:
  static std::unique_ptr<FilterProgram> Compile(const std::string& text,
                                                const std::vector<TFieldDef>& fields,
                                                const ColumnStore& store);
  bool Matches(RowId row) const;

 private:
  FilterProgram(std::unique_ptr<FilterNode> root, const ColumnStore& store)
      : root_(std::move(root)), store_(store) {}
  // Three-valued, as SQL: a comparison with null is unknown, and only true rows are visible.
  enum class Truth { False, True, Unknown };
  Truth Evaluate3(const FilterNode& node, RowId row) const;
  Variant Evaluate(const FilterNode& node, RowId row) const;

  std::unique_ptr<FilterNode> root_;
  const ColumnStore& store_;
};

}  // namespace nrw
