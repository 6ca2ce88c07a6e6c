// --format csv and xlsx end to end: the spreadsheet's amounts add up to the report's own total
// rows, the xlsx sheets hold the same rows as the CSV, as numbers and dates.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <fstream>
#include <map>
#include <sstream>

#include "tests/app/demo_month.hpp"
#include "tests/app/program.hpp"

namespace nrw::testing {
namespace {

using Row = std::vector<std::string>;

// RFC 4180 records with ';' between fields (quotes doubled inside quoted fields).
std::vector<Row> ParseCsv(const std::string& text) {
  std::vector<Row> rows(1);
  std::string field;
  bool quoted = false;
  size_t i = text.rfind("\xEF\xBB\xBF", 0) == 0 ? 3 : 0;
  for (; i < text.size(); ++i) {
    const char c = text[i];
    if (quoted) {
      if (c == '"' && i + 1 < text.size() && text[i + 1] == '"') {
        field += '"';
        ++i;
      } else if (c == '"') {
        quoted = false;
      } else {
        field += c;
      }
    } else if (c == '"') {
      quoted = true;
    } else if (c == ';') {
      rows.back().push_back(field);
      field.clear();
    } else if (c == '\r' && i + 1 < text.size() && text[i + 1] == '\n') {
      rows.back().push_back(field);
      field.clear();
      rows.emplace_back();
      ++i;
    } else {
      field += c;
    }
  }
  rows.pop_back();  // after the last line break
  return rows;
}

double Amount(const std::string& text) {
  std::string plain = text;
  for (char& c : plain) {
    c = c == ',' ? '.' : c;
  }
  return plain.empty() ? 0 : std::stod(plain);
}

std::string Read(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

// A sheet's cells: row number -> column letters -> (is a number, text or number as written).
struct Cell {
  bool number = false;
  std::string value;
};
using Sheet = std::map<int, std::map<std::string, Cell>>;

Sheet ReadSheet(const std::string& xml) {
  Sheet sheet;
  for (size_t at = xml.find("<c r=\""); at != std::string::npos; at = xml.find("<c r=\"", at + 1)) {
    const size_t ref_end = xml.find('"', at + 6);
    const std::string ref = xml.substr(at + 6, ref_end - at - 6);
    const size_t digits = ref.find_first_of("0123456789");
    const size_t end = xml.find("</c>", at);
    const std::string body = xml.substr(at, end - at);
    Cell cell;
    if (body.find("t=\"inlineStr\"") != std::string::npos) {
      const size_t t = body.find("<t");
      const size_t open = body.find('>', t) + 1;
      cell.value = body.substr(open, body.find("</t>", open) - open);
    } else {
      const size_t v = body.find("<v>") + 3;
      cell.number = true;
      cell.value = body.substr(v, body.find("</v>", v) - v);
    }
    sheet[std::stoi(ref.substr(digits))][ref.substr(0, digits)] = cell;
  }
  return sheet;
}

class SheetOutput : public DemoMonthTest {
 protected:
  static std::string Print(const std::string& format, const std::string& extra = "") {
    const std::string out = scratch->File("report." + format);
    const ProgramResult r = RunNrwReport(
        "print --quiet --from 01/01/2026 --to 31/01/2026 --entries --exits "
        "--taxes icms,iss,ipi,funrural,complementar,st,pis --summary cfop "
        "--set pListarTotalImposto=1 --db " +
        database + " --format " + format + " --output " + out + " " + extra);
    EXPECT_EQ(r.status, 0) << r.output;
    return out;
  }
};

TEST_F(SheetOutput, TheLinesAddUpToTheTotalsByTaxType) {
  const std::vector<Row> rows = ParseCsv(Read(Print("csv")));
  ASSERT_GT(rows.size(), 100u);
  std::map<std::string, size_t> at;
  for (size_t i = 0; i < rows[0].size(); ++i) {
    at[rows[0][i]] = i;
  }
  const std::vector<std::string> amounts = {"Valor Contábil", "Base de Cálculo", "Valor", "Isentas",
                                            "Outras"};
  // (company, establishment, tax) -> sums of the tax lines, of the totals, of the summary.
  std::map<std::vector<std::string>, std::vector<double>> lines, totals, summary;
  int establishments = 0;
  for (size_t r = 1; r < rows.size(); ++r) {
    const Row& row = rows[r];
    ASSERT_EQ(row.size(), rows[0].size()) << "row " << r;
    const std::string tax = row[at["Tipo"]].substr(0, row[at["Tipo"]].find('/'));
    const std::vector<std::string> key = {row[0], row[1], tax};
    const std::string& block = row[at["Bloco"]];
    auto& sums = row[at["Linha"]] == "Imposto" ? lines
                 : block == "Total Tipo"       ? totals
                 : block.empty()               ? lines  // a subtotal: counted apart below
                                               : summary;
    if (row[at["Linha"]] == "Subtotal") {
      continue;
    }
    sums[key].resize(amounts.size());
    for (size_t a = 0; a < amounts.size(); ++a) {
      sums[key][a] += Amount(row[at[amounts[a]]]);
    }
    establishments += row[at["Linha"]] == "Total" && block == "Total Tipo" && tax == "ICMS";
    if (row[at["Linha"]] == "Imposto") {
      EXPECT_FALSE(row[at["Data Lcto"]].empty()) << "the document's date on every line, row " << r;
      EXPECT_FALSE(row[at["Chave"]].empty()) << "row " << r;
    }
  }
  EXPECT_EQ(establishments, 4) << "two companies with two establishments each";
  int compared = 0;
  for (const auto& [key, sums] : lines) {
    for (const char* tax : {"ICMS", "ISS", "IPI", "FunRural", "PIS", "COFINS"}) {
      if (key[2] != tax) {
        continue;
      }
      ASSERT_TRUE(totals.count(key)) << key[0] << " " << key[1] << " " << tax;
      for (size_t a = 0; a < amounts.size(); ++a) {
        EXPECT_NEAR(sums[a], totals[key][a], 0.005) << key[1] << " " << tax << " " << amounts[a];
        if (key[2] != "PIS" && key[2] != "COFINS") {
          EXPECT_NEAR(summary[key][a], totals[key][a], 0.005)
              << "summary " << key[1] << " " << tax << " " << amounts[a];
        }
      }
      ++compared;
    }
  }
  EXPECT_GE(compared, 20);
}

TEST_F(SheetOutput, TheWorkbookHoldsTheCsvRowsAsNumbersAndDates) {
  if (std::system("command -v unzip > /dev/null") != 0) {
    GTEST_SKIP() << "unzip is not installed (scripts/install-deps.sh installs it)";
  }
  const std::vector<Row> csv = ParseCsv(Read(Print("csv")));
  const std::string xlsx = Print("xlsx");
  const Sheet listing = ReadSheet(Unzipped(xlsx, "xl/worksheets/sheet1.xml"));
  const Sheet resumo = ReadSheet(Unzipped(xlsx, "xl/worksheets/sheet2.xml"));
  EXPECT_NE(Unzipped(xlsx, "xl/workbook.xml").find("name=\"Resumo\""), std::string::npos);
  size_t summary_rows = 0;
  for (size_t r = 1; r < csv.size(); ++r) {
    summary_rows += csv[r][2] != "" && csv[r][2] != "Total Tipo";
  }
  EXPECT_EQ(listing.size() - 1 + resumo.size() - 1, csv.size() - 1);
  EXPECT_EQ(resumo.size() - 1, summary_rows);
  // Heading row, then each listing row as in the CSV: texts as texts, amounts as numbers,
  // dates as day serials that read back as the CSV's date.
  const std::string letters = "ABCDEFGHIJKLMNOPQRSTUV";
  ASSERT_EQ(csv[0].size(), letters.size());
  for (size_t c = 0; c < letters.size(); ++c) {
    EXPECT_EQ(listing.at(1).at(letters.substr(c, 1)).value, csv[0][c]);
  }
  int row = 1;
  for (size_t r = 1; r < csv.size(); ++r) {
    if (csv[r][2] != "" && csv[r][2] != "Total Tipo") {
      continue;
    }
    ++row;
    for (size_t c = 0; c < letters.size(); ++c) {
      const auto& cells = listing.at(row);
      const auto found = cells.find(letters.substr(c, 1));
      if (csv[r][c].empty()) {
        EXPECT_EQ(found, cells.end()) << "row " << row << " column " << csv[0][c];
        continue;
      }
      ASSERT_NE(found, cells.end()) << "row " << row << " column " << csv[0][c];
      const Cell& cell = found->second;
      if (csv[0][c] == "Data Lcto" || csv[0][c] == "Emissão") {
        ASSERT_TRUE(cell.number);
        // 46022 is 31/12/2025.
        const int serial = std::stoi(cell.value);
        EXPECT_EQ(csv[r][c].substr(6), serial > 46022 ? "2026" : "2025") << row;
      } else if (c >= 17 || csv[0][c] == "Chave" || csv[0][c] == "Alíquota") {
        ASSERT_TRUE(cell.number) << csv[0][c];
        EXPECT_NEAR(std::stod(cell.value), Amount(csv[r][c]), 1e-9) << row << " " << csv[0][c];
      } else {
        EXPECT_FALSE(cell.number) << csv[0][c];
      }
    }
  }
}

TEST_F(SheetOutput, StorageModesGiveTheSameRows) {
  const std::string memory = Read(Print("csv"));
  EXPECT_EQ(Read(Print("csv", "--storage sqlite")), memory);
}

TEST_F(SheetOutput, ASpreadsheetNeedsAnOutputFile) {
  const ProgramResult r =
      RunNrwReport("print --quiet --from 01/01/2026 --to 31/01/2026 --entries --taxes icms --db " +
                   database + " --format xlsx");
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.output, "nrw-report: --format xlsx needs --output FILE\n");
}

}  // namespace
}  // namespace nrw::testing
