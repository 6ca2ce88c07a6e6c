// The sections of a report layout as the engine core sees them: each numbered section with the
// names of the fields it shows. The layout file reader fills it.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "host/export.hpp"

struct NRW_API TLayoutSection {
  int32_t number = 0;
  std::vector<std::string> fields;
};

class NRW_API TReportLayout {
 public:
  void AddSection(TLayoutSection section);
  bool HasSection(int32_t number) const { return sections_.count(number) != 0; }
  // The section, or null when the layout lacks it.
  const TLayoutSection* Section(int32_t number) const;
  std::vector<int32_t> SectionNumbers() const;

 private:
  std::map<int32_t, TLayoutSection> sections_;
};
