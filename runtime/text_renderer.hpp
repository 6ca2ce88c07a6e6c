// The text renderer: each printed section with a height becomes one line of characters.
#pragma once

#include <ostream>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "host/export.hpp"
#include "host/report_layout.hpp"
#include "host/section_sink.hpp"

namespace nrw {

// A character is 1.4 mm wide: the A4 landscape body (277 mm) is about 198 columns.
constexpr double kMillimetresPerColumn = 1.4;

// A line of characters, a byte a column: a character below 0x80 is its own byte, and any other
// is the byte 0x80 (which no character is) with the character kept aside by its column. Lines
// hold few such characters, so a line is made, copied and written in bytes whatever it holds.
class NRW_API TextLine {
 public:
  void Clear() {
    cells_.clear();
    wide_.clear();
  }
  // Writes `text` (UTF-8) at column `column` within `width` columns, aligned; a text longer
  // than the width is cut (counting characters, not bytes). Later texts overwrite earlier ones.
  void Place(int column, int width, TLayoutAlign align, std::string_view text);
  // The line in UTF-8 without its trailing blanks: its own bytes when every character is ASCII,
  // else made in `scratch`.
  std::string_view Utf8(std::string& scratch) const;

 private:
  static constexpr char kWide = static_cast<char>(0x80);
  // Where a text of `length` characters starts in a field, the line made long enough for it.
  int Start(int column, int width, TLayoutAlign align, int length);
  // Place for a text with characters that are not ASCII (or bytes that are not UTF-8).
  [[gnu::noinline]] void PlaceDecoded(int column, int width, TLayoutAlign align,
                                      std::string_view text);
  char32_t WideAt(size_t column) const;

  std::string cells_;
  std::vector<std::pair<size_t, char32_t>> wide_;  // column and character, in the order placed
};

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
  void Write(const TextLine& line);
  // Where a field goes on the line, in characters.
  struct FieldPlace {
    int column, width;
    TLayoutAlign align;
  };
  struct SectionText {
    TextLine background;             // the rules and static texts
    std::vector<FieldPlace> fields;  // by the section's field items
  };
  const SectionText& TextOf(const TLayoutSection& section);
  int Column(double mm) const { return static_cast<int>(mm / kMillimetresPerColumn + 0.5); }

  std::ostream& out_;
  const TReportLayout& layout_;
  int width_;
  std::unordered_map<int32_t, SectionText> sections_;
  TextLine line_;            // reused by every section
  std::string bytes_;        // the line written, in UTF-8 with its newline
  std::string header_text_;  // a header text with its label, reused by every page
};

}  // namespace nrw
