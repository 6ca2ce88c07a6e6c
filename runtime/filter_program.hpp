// A parsed filter bound to a column store: decides, row by row, whether a row is visible. Nulls
// follow SQL's three-valued logic, so a filter selects the same rows on a SQLite table.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "runtime/column_store.hpp"
#include "runtime/filter_parser.hpp"

namespace nrw {

class NRW_API FilterProgram {
 public:
  static std::unique_ptr<FilterProgram> Compile(const std::string& text,
                                                const std::vector<TFieldDef>& fields,
                                                const ColumnStore& store);
  bool Matches(RowId row) const;
  // An equality term "field = literal" that every visible row must satisfy (the whole filter,
  // or a term of its top-level "and" chain), with a literal of the field's kind; so the visible
  // rows can be looked up by value instead of scanned.
  struct Equality {
    int field = -1;
    Variant value;
  };
  std::optional<Equality> RequiredEquality() const;

 private:
  FilterProgram(std::unique_ptr<FilterNode> root, const ColumnStore& store)
      : root_(std::move(root)), store_(store) {}
  // Three-valued, as SQL: a comparison with null is unknown, and only true rows are visible.
  enum class Truth { False, True, Unknown };
  Truth Evaluate3(const FilterNode& node, RowId row) const;
  Variant Evaluate(const FilterNode& node, RowId row) const;
  bool IsNumberAgainstNumber(const FilterNode& node) const;

  std::unique_ptr<FilterNode> root_;
  const ColumnStore& store_;
};

}  // namespace nrw
