// A report layout: the page, the fonts, and the numbered sections with their static texts, named
// fields and rules. The engine core needs only the section numbers and field names; renderers
// use the geometry (millimetres from the section's top left corner).
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "host/export.hpp"

enum class TLayoutAlign { Left, Center, Right };

struct NRW_API TLayoutItem {
  std::string name;  // field name, or the static text itself
  double x = 0, y = 0, width = 0;
  TLayoutAlign align = TLayoutAlign::Left;
  bool bold = false;
};

struct NRW_API TLayoutRule {
  double x1 = 0, x2 = 0, y = 0;
};

struct NRW_API TLayoutSection {
  // A section with named fields and no geometry (for engines built in code).
  static TLayoutSection Of(int32_t number, std::vector<std::string> fields) {
    TLayoutSection section;
    section.number = number;
    section.fields = std::move(fields);
    return section;
  }

  int32_t number = 0;
  std::vector<std::string> fields;  // the names of `field_items`, in order
  double height = 0;                // millimetres
  std::vector<TLayoutItem> field_items;
  std::vector<TLayoutItem> texts;
  std::vector<TLayoutRule> rules;
};

struct NRW_API TLayoutPage {
  double width = 297, height = 210;  // millimetres (A4 landscape)
  double margin_top = 10, margin_bottom = 10, margin_left = 10, margin_right = 10;
  double header_height = 16;  // the standard header block under band 1
  double BodyHeight() const { return height - margin_top - margin_bottom; }
  double BodyWidth() const { return width - margin_left - margin_right; }
};

// How a report's titled blocks (the totals by tax type, a summary) are recognised among its
// printed sections: the title section, carrying the title in a field, printed right before the
// section that opens the block (its column headings). Page furniture in between (band 1, the page
// header) does not break the pair. A zero title section: the report has no blocks.
struct NRW_API TLayoutBlocks {
  int32_t title_section = 0;
  std::string title_field;
  int32_t opening_section = 0;
};

class NRW_API TReportLayout {
 public:
  void AddSection(TLayoutSection section);
  bool HasSection(int32_t number) const { return sections_.count(number) != 0; }
  // The section, or null when the layout lacks it.
  const TLayoutSection* Section(int32_t number) const;
  std::vector<int32_t> SectionNumbers() const;
  void RemoveSection(int32_t number) { sections_.erase(number); }

  std::string title;
  TLayoutPage page;
  std::string font_family = "DejaVu Sans";
  double font_size = 7;  // points
  std::string accent_color = "#1F4E79";
  std::string stripe_color = "#EEF3F8";
  TLayoutBlocks blocks;

 private:
  std::map<int32_t, TLayoutSection> sections_;
};

// What a report needs of its layout: the sections it cannot do without, and the fields each
// section must hold when the layout has it. A layout may leave out any other section (printing
// it is then a no-op), but a section without one of its fields would drop a column silently.
struct NRW_API TLayoutContract {
  std::vector<int32_t> required_sections;
  std::map<int32_t, std::vector<std::string>> fields;
};

// Raises Exception "layout FILE: PROBLEM" for the first section the contract requires that the
// layout lacks, or the first field a section lacks.
NRW_API void CheckLayoutContract(const TReportLayout& layout, const TLayoutContract& contract,
                                 const std::string& file);

// Reads a layout file (JSON). Raises Exception "layout FILE: PROBLEM" for a file that cannot be
// read, is not JSON, or does not describe a layout (missing or mistyped members, a section
// number given twice, a field without a name).
NRW_API TReportLayout LoadLayoutFile(const std::string& path);
NRW_API TReportLayout ParseLayout(const std::string& json_text, const std::string& source);
