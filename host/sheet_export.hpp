// Spreadsheet and CSV outputs: one row per printed line of the listing (document tax lines,
// subtotals, totals) with the document's columns repeated on every line of the document, so that
// a sheet can be filtered and pivoted; the lines of summary blocks go to a second sheet. The
// rows come from the printed sections themselves, so every amount is the one the PDF shows.
//
// Every row starts with the columns Empresa, Estabelecimento, Bloco (the block's title, empty in
// the listing) and Linha (the row's kind); the report's mapping gives the rest.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "host/export.hpp"
#include "host/report_layout.hpp"
#include "host/section_sink.hpp"

enum class TSheetValue {
  Text,
  Amount,      // "1.234,56" printed, a number in the sheet shown with two decimals
  Integer,     // "12" printed, a whole number in the sheet
  Rate,        // "1,65" printed, a number in the sheet as it is
  DayMonth,    // "dd/mm" printed, a date in the sheet (the year from the header's period)
  TextOrDate,  // a text, or a date when it is one ("dd/mm/yyyy": the day summary's days)
};

struct NRW_API TSheetColumn {
  std::string title;
  std::string field;
  TSheetValue type = TSheetValue::Text;
  double width = 10;      // characters
  bool document = false;  // repeated from the document's first line on its other lines
  bool summary = false;   // also a column of the summary sheet
};

// Which printed sections become rows, and of what kind: the first rule whose section matches,
// and whose field starts with the prefix when one is given.
struct NRW_API TSheetRowRule {
  int32_t section = 0;
  std::string kind;
  std::string field, prefix;
  bool document_line = false;  // a line of a document (the document columns carry over)
};

struct NRW_API TSheetMapping {
  std::string listing_sheet = "Listagem", summary_sheet = "Resumo";
  std::vector<std::string> listing_blocks;  // blocks whose rows stay on the listing sheet
  std::string document_key;                 // a field whose value starts another document
  std::vector<TSheetRowRule> rows;
  std::vector<TSheetColumn> columns;
};

// The most rows a sheet holds under its heading row.
constexpr int64_t kSheetRowLimit = 1048575;

struct NRW_API TSheetOptions {
  int64_t rows_per_sheet = kSheetRowLimit;
  // Told when the listing continues on another sheet.
  std::function<void(const std::string&)> notice;
};

// format "csv": written to `out` (UTF-8 with a byte-order mark, ';' between fields, decimal
// comma, dates dd/mm/yyyy, a heading line; summary rows after the listing's in print order).
// format "xlsx": written to the file `path` by libxlsxwriter in constant memory.
// Raises Exception for another format.
NRW_API std::unique_ptr<TSectionSink> CreateSheetRenderer(
    const std::string& format, std::ostream& out, const std::string& path,
    const TReportLayout& layout, const TSheetMapping& mapping, TSheetOptions options = {});
