// Reads the reference CSV files: UTF-8, ";" separated, a header line, LF or CRLF line ends, a
// field in double quotes when it holds ";" or a quote (an inner quote doubled).
#pragma once

#include <string>
#include <vector>

namespace nrw::schema {

using CsvRow = std::vector<std::string>;

// The rows after the header. Raises Exception naming `source` and the line of a row whose
// field count differs from the header's.
std::vector<CsvRow> ParseCsv(const std::string& text, const std::string& source);
std::vector<CsvRow> ReadCsvFile(const std::string& path);

}  // namespace nrw::schema
