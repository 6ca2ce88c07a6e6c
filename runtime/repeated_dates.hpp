// The last date read in each column of a result, by its text: a month's rows repeat a few
// dates, so a column's date is parsed again only when its text changes.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "host/variant.hpp"

namespace nrw {

class RepeatedDates {
 public:
  // The value of `text` in `column`: the last one's when the text is the last one's, else
  // `parse()`'s, kept for the next row.
  template <class Parse>
  const Variant& Read(size_t column, std::string_view text, Parse parse) {
    if (last_.size() <= column) {
      last_.resize(column + 1);
    }
    Last& last = last_[column];
    if (last.value.IsNull() || text != last.text) {
      last.value = parse();
      last.text.assign(text);
    }
    return last.value;
  }

 private:
  struct Last {
    std::string text;
    Variant value;
  };
  std::vector<Last> last_;  // by column
};

}  // namespace nrw
