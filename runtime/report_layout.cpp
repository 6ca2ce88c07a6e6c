#include "host/report_layout.hpp"

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
