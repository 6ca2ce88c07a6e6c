#include "schema/csv.hpp"

#include <fstream>
#include <sstream>

#include "host/exception.hpp"

namespace nrw::schema {
namespace {

CsvRow SplitLine(const std::string& line) {
  CsvRow fields(1);
  bool quoted = false;
  for (size_t i = 0; i < line.size(); ++i) {
    const char c = line[i];
    if (quoted) {
      if (c == '"' && i + 1 < line.size() && line[i + 1] == '"') {
        fields.back() += '"';
        ++i;
      } else if (c == '"') {
        quoted = false;
      } else {
        fields.back() += c;
      }
    } else if (c == '"') {
      quoted = true;
    } else if (c == ';') {
      fields.emplace_back();
    } else {
      fields.back() += c;
    }
  }
  return fields;
}

}  // namespace

std::vector<CsvRow> ParseCsv(const std::string& text, const std::string& source) {
  std::istringstream in(text);
  std::string line;
  std::vector<CsvRow> rows;
  size_t columns = 0;
  for (int number = 1; std::getline(in, line); ++number) {
    if (!line.empty() && line.back() == '\r') {
      line.pop_back();
    }
    if (line.empty()) {
      continue;
    }
    CsvRow row = SplitLine(line);
    if (number == 1) {
      columns = row.size();
      continue;
    }
    if (row.size() != columns) {
      throw Exception(source + ", line " + std::to_string(number) + ": " +
                      std::to_string(row.size()) + " fields where the header has " +
                      std::to_string(columns));
    }
    rows.push_back(std::move(row));
  }
  return rows;
}

std::vector<CsvRow> ReadCsvFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    throw Exception("cannot read '" + path + "'");
  }
  std::ostringstream text;
  text << in.rdbuf();
  return ParseCsv(text.str(), path);
}

}  // namespace nrw::schema
