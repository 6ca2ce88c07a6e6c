// The spreadsheet sink: printed sections in, sheet rows out.
#include <algorithm>
#include <charconv>
#include <map>
#include <optional>
#include <string_view>
#include <unordered_map>

#include "host/exception.hpp"
#include "host/report_position.hpp"
#include "host/sheet_export.hpp"
#include "host/sysutils.hpp"
#include "runtime/sheet_writer.hpp"

namespace nrw {

std::optional<double> PrintedNumber(std::string_view text) {
  // The digits without the thousands dots, the decimal comma as a point, in a buffer on the
  // stack: a printed number is short.
  char plain[64] = {};
  size_t length = 0;
  for (const char c : text) {
    if (c == '.') {
      continue;
    }
    if (length == sizeof plain) {
      return std::nullopt;
    }
    plain[length++] = c == ',' ? '.' : c;
  }
  double value = 0;
  const auto [end, error] = std::from_chars(plain, plain + length, value);
  if (length == 0 || error != std::errc() || end != plain + length) {
    return std::nullopt;
  }
  return value;
}

namespace {

// The columns every row starts with.
const std::vector<TSheetColumn> kLeadColumns = {
    {"Empresa", "", TSheetValue::Text, 28, false, true},
    {"Estabelecimento", "", TSheetValue::Text, 22, false, true},
    {"Bloco", "", TSheetValue::Text, 14, false, true},
    {"Linha", "", TSheetValue::Text, 10, false, true}};

// A cell holding `text` as a text (empty: an empty cell); its buffer is reused row after row.
void SetText(SheetCell& cell, std::string_view text) {
  cell.kind = text.empty() ? SheetCell::Kind::Empty : SheetCell::Kind::Text;
  cell.text.assign(text);
}

class SheetRowBuilder : public TSectionSink {
 public:
  SheetRowBuilder(const TReportLayout& layout, const TSheetMapping& mapping,
                  std::unique_ptr<SheetWriter> writer)
      : mapping_(mapping), position_(layout.blocks), writer_(std::move(writer)) {
    columns_ = kLeadColumns;
    columns_.insert(columns_.end(), mapping_.columns.begin(), mapping_.columns.end());
    writer_->Start(columns_);
    cells_.resize(columns_.size());
    carried_.resize(mapping_.columns.size());
  }

  void PrintHeader(int32_t, const std::vector<TPrintedField>& fields, int32_t, int32_t) override {
    position_.OnHeader(fields);
    // The period's last day: "dd/mm/yyyy a dd/mm/yyyy".
    const std::string& period = position_.Period();
    period_end_ =
        period.size() >= 10 ? TryStrToDate(period.substr(period.size() - 10)) : std::nullopt;
  }

  void PrintSection(int32_t, int32_t section, const std::vector<TPrintedField>& fields) override {
    position_.OnSection(section, fields);
    const SectionFields& at = FieldsOf(section, fields);
    const TSheetRowRule* rule = RuleFor(section, at, fields);
    if (rule == nullptr) {
      return;
    }
    const std::string& block = position_.Block();
    const bool listing =
        block.empty() || std::find(mapping_.listing_blocks.begin(), mapping_.listing_blocks.end(),
                                   block) != mapping_.listing_blocks.end();
    if (rule->document_line && !Value(fields, at.document_key).empty()) {
      for (std::string& carried : carried_) {
        carried.clear();
      }
    }
    SetText(cells_[0], position_.Company());
    SetText(cells_[1], position_.Establishment());
    SetText(cells_[2], block);
    SetText(cells_[3], rule->kind);
    for (size_t i = 0; i < mapping_.columns.size(); ++i) {
      const TSheetColumn& column = mapping_.columns[i];
      std::string_view value = Value(fields, at.columns[i]);
      if (rule->document_line && column.document) {
        if (value.empty()) {
          value = carried_[i];
        } else {
          carried_[i].assign(value);
        }
      }
      Fill(cells_[kLeadColumns.size() + i], column.type, value);
    }
    writer_->Row(listing ? SheetPart::Listing : SheetPart::Summary, cells_);
  }

  void Finish() override { writer_->Finish(); }

 private:
  // Where the mapping's fields stand in a section's printed fields (-1: not in the section). A
  // section prints its fields in the layout's order every time, so positions are found once.
  struct SectionFields {
    size_t count = 0;
    std::vector<int> columns;  // by mapping column
    std::vector<int> rules;    // by row rule: its field
    int document_key = -1;
  };

  const SectionFields& FieldsOf(int32_t section, const std::vector<TPrintedField>& fields) {
    SectionFields& at = sections_[section];
    if (at.count == fields.size() && !at.columns.empty()) {
      return at;
    }
    const auto position = [&](const std::string& name) {
      for (size_t i = 0; i < fields.size(); ++i) {
        if (fields[i].name == name) {
          return static_cast<int>(i);
        }
      }
      return -1;
    };
    at.count = fields.size();
    at.columns.clear();
    for (const TSheetColumn& column : mapping_.columns) {
      at.columns.push_back(position(column.field));
    }
    at.rules.clear();
    for (const TSheetRowRule& rule : mapping_.rows) {
      at.rules.push_back(position(rule.field));
    }
    at.document_key = position(mapping_.document_key);
    return at;
  }

  static std::string_view Value(const std::vector<TPrintedField>& fields, int position) {
    return position < 0 ? std::string_view() : std::string_view(fields[position].value);
  }

  const TSheetRowRule* RuleFor(int32_t section, const SectionFields& at,
                               const std::vector<TPrintedField>& fields) const {
    for (size_t r = 0; r < mapping_.rows.size(); ++r) {
      const TSheetRowRule& rule = mapping_.rows[r];
      if (rule.section == section &&
          (rule.prefix.empty() || Value(fields, at.rules[r]).starts_with(rule.prefix))) {
        return &rule;
      }
    }
    return nullptr;
  }

  // The cell of a printed text as the column's type reads it; a text that is not of the type
  // stays a text.
  void Fill(SheetCell& cell, TSheetValue type, std::string_view text) const {
    SetText(cell, text);
    if (text.empty() || type == TSheetValue::Text) {
      return;
    }
    if (type == TSheetValue::TextOrDate) {
      if (const auto date = text.size() == 10 ? TryStrToDate(text) : std::nullopt) {
        cell.kind = SheetCell::Kind::Date;
        cell.number = *date;
      }
      return;
    }
    if (type != TSheetValue::DayMonth) {
      if (const auto number = PrintedNumber(text)) {
        cell.kind = SheetCell::Kind::Number;
        cell.number = *number;
      }
      return;
    }
    // dd/mm within the year before the period's end: an issue date may fall in the year before.
    const auto day = text.size() == 5 ? TryStrToInt(text.substr(0, 2)) : std::nullopt;
    const auto month = text.size() == 5 ? TryStrToInt(text.substr(3, 2)) : std::nullopt;
    if (day && month && period_end_) {
      const int year = DecodeDateTime(*period_end_).year;
      auto date = TryEncodeDate(year, *month, *day);
      if (date && *date > *period_end_) {
        date = TryEncodeDate(year - 1, *month, *day);
      }
      if (date) {
        cell.kind = SheetCell::Kind::Date;
        cell.number = *date;
      }
    }
  }

  const TSheetMapping mapping_;
  TReportPosition position_;
  std::unique_ptr<SheetWriter> writer_;
  std::vector<TSheetColumn> columns_;
  std::vector<SheetCell> cells_;
  std::vector<std::string> carried_;
  std::optional<TDateTime> period_end_;
  std::unordered_map<int32_t, SectionFields> sections_;
};

}  // namespace
}  // namespace nrw

std::unique_ptr<TSectionSink> CreateSheetRenderer(const std::string& format, std::ostream& out,
                                                  const std::string& path,
                                                  const TReportLayout& layout,
                                                  const TSheetMapping& mapping,
                                                  TSheetOptions options) {
  std::unique_ptr<nrw::SheetWriter> writer;
  if (format == "csv") {
    writer = nrw::MakeCsvWriter(out);
  } else if (format == "xlsx") {
    writer = nrw::MakeXlsxWriter(path, mapping, options);
  } else {
    throw Exception("unknown spreadsheet format '" + format + "' (csv or xlsx)");
  }
  return std::make_unique<nrw::SheetRowBuilder>(layout, mapping, std::move(writer));
}
