// The text renderer: each printed section with a height becomes one line of characters.
#pragma once

#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <unordered_map>

#include "host/export.hpp"
#include "host/report_layout.hpp"
#include "host/section_sink.hpp"

namespace nrw {

// A character is 1.4 mm wide: the A4 landscape body (277 mm) is about 198 columns.
constexpr double kMillimetresPerColumn = 1.4;

// Writes `text` into `line` at column `column` within `width` columns, aligned; texts longer
// than the width are cut (counting UTF-8 characters, not bytes).
NRW_API void PlaceText(std::u32string& line, int column, int width, TLayoutAlign align,
                       std::string_view text);

// The value of a printed field by name ("" when the section has no such field).
std::string_view FieldValue(const std::vector<TPrintedField>& fields, std::string_view name);

class TextRenderer : public TSectionSink {
 public:
  TextRenderer(std::ostream& out, const TReportLayout& layout);
  void BeginPage(int32_t page) override;
  void PrintHeader(int32_t page, const std::vector<TPrintedField>& fields, int32_t,
                   int32_t) override;
  void PrintSection(int32_t page, int32_t section,
                    const std::vector<TPrintedField>& fields) override;
  void Finish() override { out_.flush(); }

 private:
  void Write(std::u32string_view line);
  void WriteBytes();
  // Where a field goes on the line, in characters.
  struct FieldPlace {
    int column, width;
    TLayoutAlign align;
  };
  struct SectionText {
    std::u32string background;         // the rules and static texts
    std::vector<FieldPlace> fields;    // by the section's field items
    std::optional<std::string> ascii;  // the background in bytes, when it is all ASCII
  };
  const SectionText& TextOf(const TLayoutSection& section);
  int Column(double mm) const { return static_cast<int>(mm / kMillimetresPerColumn + 0.5); }

  std::ostream& out_;
  const TReportLayout& layout_;
  int width_;
  std::unordered_map<int32_t, SectionText> sections_;
  std::u32string line_;      // reused by every section
  std::string bytes_;        // the line in UTF-8 (or made in it, when ASCII)
  std::string header_text_;  // a header text with its label, reused by every page
};

}  // namespace nrw
