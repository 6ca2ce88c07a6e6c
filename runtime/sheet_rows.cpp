// The spreadsheet sink: printed sections in, sheet rows out.
#include <algorithm>
#include <charconv>
#include <map>
#include <optional>

#include "host/exception.hpp"
#include "host/report_position.hpp"
#include "host/sheet_export.hpp"
#include "host/sysutils.hpp"
#include "runtime/sheet_writer.hpp"

namespace nrw {

std::optional<double> PrintedNumber(const std::string& text) {
  std::string plain;
  plain.reserve(text.size());
  for (const char c : text) {
    if (c == ',') {
      plain += '.';
    } else if (c != '.') {
      plain += c;
    }
  }
  double value = 0;
  const char* end = plain.data() + plain.size();
  const auto [ptr, error] = std::from_chars(plain.data(), end, value);
  if (plain.empty() || error != std::errc() || ptr != end) {
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

SheetCell TextCell(const std::string& text) {
  SheetCell cell;
  if (!text.empty()) {
    cell.kind = SheetCell::Kind::Text;
    cell.text = text;
  }
  return cell;
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
    const TSheetRowRule* rule = RuleFor(section, fields);
    if (rule == nullptr) {
      return;
    }
    const std::string& block = position_.Block();
    const bool listing =
        block.empty() || std::find(mapping_.listing_blocks.begin(), mapping_.listing_blocks.end(),
                                   block) != mapping_.listing_blocks.end();
    if (rule->document_line && !PrintedField(fields, mapping_.document_key).empty()) {
      std::fill(carried_.begin(), carried_.end(), std::string());
    }
    cells_[0] = TextCell(position_.Company());
    cells_[1] = TextCell(position_.Establishment());
    cells_[2] = TextCell(block);
    cells_[3] = TextCell(rule->kind);
    for (size_t i = 0; i < mapping_.columns.size(); ++i) {
      const TSheetColumn& column = mapping_.columns[i];
      std::string value = PrintedField(fields, column.field);
      if (rule->document_line && column.document) {
        if (value.empty()) {
          value = carried_[i];
        } else {
          carried_[i] = value;
        }
      }
      cells_[kLeadColumns.size() + i] = Cell(column.type, value);
    }
    writer_->Row(listing ? SheetPart::Listing : SheetPart::Summary, cells_);
  }

  void Finish() override { writer_->Finish(); }

 private:
  const TSheetRowRule* RuleFor(int32_t section, const std::vector<TPrintedField>& fields) const {
    for (const TSheetRowRule& rule : mapping_.rows) {
      if (rule.section == section &&
          (rule.prefix.empty() || PrintedField(fields, rule.field).rfind(rule.prefix, 0) == 0)) {
        return &rule;
      }
    }
    return nullptr;
  }

  SheetCell Cell(TSheetValue type, const std::string& text) const {
    SheetCell cell = TextCell(text);
    if (text.empty() || type == TSheetValue::Text) {
      return cell;
    }
    if (type == TSheetValue::TextOrDate) {
      const auto date = text.size() == 10 ? TryStrToDate(text) : std::nullopt;
      if (date) {
        cell.kind = SheetCell::Kind::Date;
        cell.number = *date;
      }
      return cell;
    }
    if (type != TSheetValue::DayMonth) {
      if (const auto number = PrintedNumber(text)) {
        cell.kind = SheetCell::Kind::Number;
        cell.number = *number;
      }
      return cell;
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
    return cell;
  }

  const TSheetMapping mapping_;
  TReportPosition position_;
  std::unique_ptr<SheetWriter> writer_;
  std::vector<TSheetColumn> columns_;
  std::vector<SheetCell> cells_;
  std::vector<std::string> carried_;
  std::optional<TDateTime> period_end_;
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
