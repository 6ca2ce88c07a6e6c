// The two stores of spreadsheet rows: CSV text and xlsx workbooks (libxlsxwriter, constant
// memory: each row goes to the sheet's temporary file as it comes, nothing is kept).
#include <xlsxwriter.h>

#include <charconv>

#include "host/exception.hpp"
#include "host/sysutils.hpp"
#include "runtime/fiscal_results.hpp"
#include "runtime/sheet_writer.hpp"

namespace nrw {
namespace {

// A number as the shortest text that reads back the same, with a decimal comma.
std::string DecimalComma(double value) {
  char buffer[32];
  const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
  std::string text(buffer, result.ptr);
  for (char& c : text) {
    c = c == '.' ? ',' : c;
  }
  return text;
}

class CsvWriter : public SheetWriter {
 public:
  explicit CsvWriter(std::ostream& out) : out_(out) {}

  void Start(const std::vector<TSheetColumn>& columns) override {
    out_ << "\xEF\xBB\xBF";  // the byte-order mark by which spreadsheets recognise UTF-8
    line_.clear();
    for (size_t i = 0; i < columns.size(); ++i) {
      Field(i, columns[i].title);
    }
    line_ += "\r\n";
    out_ << line_;
  }

  void Row(SheetPart, const std::vector<SheetCell>& cells) override {
    line_.clear();
    for (size_t i = 0; i < cells.size(); ++i) {
      const SheetCell& cell = cells[i];
      switch (cell.kind) {
        case SheetCell::Kind::Empty:
          Field(i, "");
          break;
        case SheetCell::Kind::Text:
          Field(i, cell.text);
          break;
        case SheetCell::Kind::Number:
          Field(i, DecimalComma(cell.number));
          break;
        case SheetCell::Kind::Date:
          Field(i, FormatDateTime("dd/mm/yyyy", cell.number));
          break;
      }
    }
    line_ += "\r\n";
    out_ << line_;
  }

  void Finish() override { out_.flush(); }

 private:
  // A field, quoted when it holds the separator, a quote or a line break.
  void Field(size_t index, const std::string& text) {
    if (index > 0) {
      line_ += ';';
    }
    if (text.find_first_of(";\"\r\n") == std::string::npos) {
      line_ += text;
      return;
    }
    line_ += '"';
    for (const char c : text) {
      line_ += c;
      if (c == '"') {
        line_ += '"';
      }
    }
    line_ += '"';
  }

  std::ostream& out_;
  std::string line_;
};

class XlsxWriter : public SheetWriter {
 public:
  XlsxWriter(const std::string& path, const TSheetMapping& mapping, const TSheetOptions& options)
      : mapping_(mapping), options_(options), tmpdir_(TemporaryFolder()) {
    lxw_workbook_options settings = {};
    settings.constant_memory = LXW_TRUE;
    settings.tmpdir = tmpdir_.data();
    settings.use_zip64 = LXW_TRUE;
    workbook_ = workbook_new_opt(path.c_str(), &settings);
    if (workbook_ == nullptr) {
      throw Exception("cannot write the spreadsheet '" + path + "'");
    }
    heading_ = workbook_add_format(workbook_);
    format_set_bold(heading_);
    date_ = workbook_add_format(workbook_);
    format_set_num_format(date_, "dd/mm/yyyy");
    amount_ = workbook_add_format(workbook_);
    format_set_num_format(amount_, "#,##0.00");
    integer_ = workbook_add_format(workbook_);
    format_set_num_format(integer_, "0");
  }

  ~XlsxWriter() override {
    if (workbook_ != nullptr) {
      // An unfinished run: the workbook's temporary files go; the output file is not committed.
      workbook_close(workbook_);
    }
  }

  void Start(const std::vector<TSheetColumn>& columns) override { columns_ = columns; }

  void Row(SheetPart part, const std::vector<SheetCell>& cells) override {
    Sheet& sheet = part == SheetPart::Listing ? listing_ : summary_;
    if (sheet.worksheet == nullptr || sheet.rows == options_.rows_per_sheet) {
      OpenSheet(sheet, part);
    }
    const lxw_row_t row = static_cast<lxw_row_t>(++sheet.rows);
    lxw_col_t column = 0;
    for (size_t i = 0; i < cells.size(); ++i) {
      if (part == SheetPart::Summary && !columns_[i].summary) {
        continue;
      }
      const SheetCell& cell = cells[i];
      switch (cell.kind) {
        case SheetCell::Kind::Empty:
          break;
        case SheetCell::Kind::Text:
          worksheet_write_string(sheet.worksheet, row, column, cell.text.c_str(), nullptr);
          break;
        case SheetCell::Kind::Number:
          worksheet_write_number(sheet.worksheet, row, column, cell.number,
                                 NumberFormat(columns_[i].type));
          break;
        case SheetCell::Kind::Date:
          worksheet_write_number(sheet.worksheet, row, column, cell.number, date_);
          break;
      }
      ++column;
    }
  }

  void Finish() override {
    CloseSheet(listing_);
    CloseSheet(summary_);
    lxw_workbook* workbook = workbook_;
    workbook_ = nullptr;
    const lxw_error error = workbook_close(workbook);
    if (error != LXW_NO_ERROR) {
      throw Exception(std::string("cannot write the spreadsheet: ") + lxw_strerror(error));
    }
  }

 private:
  struct Sheet {
    lxw_worksheet* worksheet = nullptr;
    int64_t rows = 0;  // rows under the heading
    lxw_col_t columns = 0;
    int number = 0;  // 1 for the first sheet of the part, 2 for its continuation, ...
  };

  void OpenSheet(Sheet& sheet, SheetPart part) {
    CloseSheet(sheet);
    const std::string& base =
        part == SheetPart::Listing ? mapping_.listing_sheet : mapping_.summary_sheet;
    const int number = sheet.number + 1;
    const std::string name = number == 1 ? base : base + " " + std::to_string(number);
    if (number > 1 && options_.notice) {
      options_.notice("the sheet '" +
                      (number == 2 ? base : base + " " + std::to_string(number - 1)) +
                      "' is full (" + std::to_string(options_.rows_per_sheet) +
                      " rows): the rows continue on the sheet '" + name + "'");
    }
    sheet = Sheet();
    sheet.number = number;
    sheet.worksheet = workbook_add_worksheet(workbook_, name.c_str());
    if (sheet.worksheet == nullptr) {
      throw Exception("cannot add the sheet '" + name + "' to the spreadsheet");
    }
    // Widths and headings first: a constant-memory sheet is written from the top down.
    for (const TSheetColumn& column : columns_) {
      if (part == SheetPart::Summary && !column.summary) {
        continue;
      }
      worksheet_set_column(sheet.worksheet, sheet.columns, sheet.columns, column.width, nullptr);
      worksheet_write_string(sheet.worksheet, 0, sheet.columns, column.title.c_str(), heading_);
      ++sheet.columns;
    }
    worksheet_freeze_panes(sheet.worksheet, 1, 0);
  }

  lxw_format* NumberFormat(TSheetValue type) const {
    switch (type) {
      case TSheetValue::Amount:
        return amount_;
      case TSheetValue::Integer:
        return integer_;
      default:
        return nullptr;  // the number as it is
    }
  }

  void CloseSheet(Sheet& sheet) {
    if (sheet.worksheet != nullptr && sheet.columns > 0) {
      worksheet_autofilter(sheet.worksheet, 0, 0, static_cast<lxw_row_t>(sheet.rows),
                           sheet.columns - 1);
    }
  }

  const TSheetMapping mapping_;
  TSheetOptions options_;
  std::string tmpdir_;
  lxw_workbook* workbook_ = nullptr;
  lxw_format *heading_ = nullptr, *date_ = nullptr, *amount_ = nullptr, *integer_ = nullptr;
  std::vector<TSheetColumn> columns_;
  Sheet listing_, summary_;
};

}  // namespace

std::unique_ptr<SheetWriter> MakeCsvWriter(std::ostream& out) {
  return std::make_unique<CsvWriter>(out);
}

std::unique_ptr<SheetWriter> MakeXlsxWriter(const std::string& path, const TSheetMapping& mapping,
                                            const TSheetOptions& options) {
  return std::make_unique<XlsxWriter>(path, mapping, options);
}

}  // namespace nrw
