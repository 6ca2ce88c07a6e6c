#include "host/report_layout.hpp"

#include <algorithm>

#include "host/exception.hpp"

void TReportLayout::AddSection(TLayoutSection section) {
  const int32_t number = section.number;
  sections_[number] = std::move(section);
}

const TLayoutSection* TReportLayout::Section(int32_t number) const {
  const auto it = sections_.find(number);
  return it == sections_.end() ? nullptr : &it->second;
}

std::vector<int32_t> TReportLayout::SectionNumbers() const {
  std::vector<int32_t> numbers;
  for (const auto& [number, section] : sections_) {
    numbers.push_back(number);
  }
  return numbers;
}

void CheckLayoutContract(const TReportLayout& layout, const TLayoutContract& contract,
                         const std::string& file) {
  for (const int32_t number : contract.required_sections) {
    if (!layout.HasSection(number)) {
      throw Exception("layout " + file + ": the report needs section " + std::to_string(number));
    }
  }
  for (const auto& [number, fields] : contract.fields) {
    const TLayoutSection* section = layout.Section(number);
    if (section == nullptr) {
      continue;
    }
    for (const std::string& field : fields) {
      if (std::find(section->fields.begin(), section->fields.end(), field) ==
          section->fields.end()) {
        throw Exception("layout " + file + ": section " + std::to_string(number) +
                        " lacks the field \"" + field + "\"");
      }
    }
  }
}
