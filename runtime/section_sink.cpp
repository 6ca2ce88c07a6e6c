#include "host/section_sink.hpp"

#include "host/sysutils.hpp"

TSectionSink::~TSectionSink() = default;

std::string TFieldValue::Text() const {
  return HasNumber() ? FormatFloat(pattern, number) : value;
}

std::string TRecordingSink::Entry::Field(const std::string& name) const {
  for (const TPrintedField& field : fields) {
    if (field.name == name) {
      return field.value;
    }
  }
  return "";
}

void TRecordingSink::PrintSection(int32_t page, int32_t section,
                                  const std::vector<TPrintedField>& fields) {
  entries_.push_back({page, section, fields});
}

std::vector<int32_t> TRecordingSink::Sections() const {
  std::vector<int32_t> sections;
  sections.reserve(entries_.size());
  for (const Entry& entry : entries_) {
    sections.push_back(entry.section);
  }
  return sections;
}

void TRecordingSink::PrintHeader(int32_t page, const std::vector<TPrintedField>& fields, int32_t,
                                 int32_t) {
  entries_.push_back({page, kHeaderSection, fields});
}
