// The PDF as a reader leafs through it: the outline (each company, its establishments, and each
// establishment's totals and summary), the title and author, and "Página n de N" counted per
// establishment and over the whole report. Read back with pdfinfo and pdftotext, and from the
// PDF's own outline objects.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <regex>
#include <sstream>

#include "tests/app/demo_month.hpp"
#include "tests/app/program.hpp"

namespace nrw::testing {
namespace {

// A PDF string as UTF-8: (literal) with backslash escapes, or <FEFF...> UTF-16BE hex.
std::string PdfText(const std::string& token) {
  std::string out;
  if (token.rfind("<FEFF", 0) == 0) {
    for (size_t i = 5; i + 4 <= token.size() - 1; i += 4) {
      const auto unit = static_cast<char32_t>(std::stoul(token.substr(i, 4), nullptr, 16));
      if (unit < 0x80) {
        out += static_cast<char>(unit);
      } else if (unit < 0x800) {
        out += static_cast<char>(0xC0 | (unit >> 6));
        out += static_cast<char>(0x80 | (unit & 0x3F));
      } else {
        out += static_cast<char>(0xE0 | (unit >> 12));
        out += static_cast<char>(0x80 | ((unit >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (unit & 0x3F));
      }
    }
    return out;
  }
  for (size_t i = 1; i + 1 < token.size(); ++i) {
    if (token[i] == '\\') {
      ++i;
    }
    out += token[i];
  }
  return out;
}

// The outline as "parent title > title" paths, in the file's order of entries.
std::vector<std::string> OutlinePaths(const std::string& pdf) {
  const std::regex item(
      R"((\d+) 0 obj\s*<< /Title (\(.*?[^\\]\)|<[0-9A-F]+>)\s*/Parent (\d+) 0 R)");
  std::map<std::string, std::pair<std::string, std::string>> items;  // id -> title, parent
  std::vector<std::string> order;
  for (auto it = std::sregex_iterator(pdf.begin(), pdf.end(), item); it != std::sregex_iterator();
       ++it) {
    items[(*it)[1]] = {PdfText((*it)[2]), (*it)[3]};
    order.push_back((*it)[1]);
  }
  std::vector<std::string> paths;
  for (const std::string& id : order) {
    std::string path = items[id].first;
    for (std::string parent = items[id].second; items.count(parent) != 0;
         parent = items[parent].second) {
      path = items[parent].first + " > " + path;
    }
    paths.push_back(path);
  }
  return paths;
}

class PdfNavigation : public DemoMonthTest {
 protected:
  static ProgramResult Print(const std::string& options) {
    return RunNrwReport(
        "print --quiet --from 01/01/2026 --to 31/01/2026 --entries --exits "
        "--taxes icms,iss,ipi,pis --summary cfop --db " +
            database + " " + options,
        "SOURCE_DATE_EPOCH=1769940000");
  }
};

TEST_F(PdfNavigation, OutlineAndMetadata) {
  if (std::system("command -v pdfinfo > /dev/null") != 0) {
    GTEST_SKIP() << "pdfinfo is not installed (scripts/install-deps.sh installs poppler-utils)";
  }
  const std::string pdf = scratch->File("outline.pdf");
  ASSERT_EQ(Print("--format pdf --output " + pdf).status, 0);
  std::vector<std::string> expected;
  for (const char* company : {"1 - Comercial Exemplo Ltda", "2 - Indústria Modelo S.A."}) {
    expected.push_back(company);
    for (const char* estab : {"1 - Matriz", "2 - Filial 2"}) {
      const std::string path = std::string(company) + " > " + estab;
      expected.push_back(path);
      expected.push_back(path + " > Total Tipo");
      expected.push_back(path + " > Total Natureza");
    }
  }
  std::vector<std::string> paths = OutlinePaths(CommandOutput("cat '" + pdf + "'"));
  std::sort(paths.begin(), paths.end());
  std::sort(expected.begin(), expected.end());
  EXPECT_EQ(paths, expected);
  const std::string info = CommandOutput("pdfinfo '" + pdf + "'");
  EXPECT_NE(info.find("Title:           Resumo de Conferência de Lançamentos Fiscais\n"),
            std::string::npos)
      << info;
  EXPECT_NE(info.find("Author:          1 - Comercial Exemplo Ltda; 2 - Indústria Modelo S.A.\n"),
            std::string::npos)
      << info;
  EXPECT_NE(info.find("Subject:         Período: 01/01/2026 a 31/01/2026\n"), std::string::npos);
}

// Every page says "Página n de N" (n restarting for each establishment, N its page count) and
// "Folha k de K" (K the document's page count, as pdfinfo counts it).
TEST_F(PdfNavigation, PageNumbersOfATotal) {
  if (std::system("command -v pdftotext > /dev/null") != 0) {
    GTEST_SKIP() << "pdftotext is not installed (scripts/install-deps.sh installs poppler-utils)";
  }
  const std::string pdf = scratch->File("pages.pdf");
  ASSERT_EQ(Print("--format pdf --output " + pdf).status, 0);
  const std::string info = CommandOutput("pdfinfo '" + pdf + "'");
  const std::smatch pages_match = [&] {
    std::smatch m;
    std::regex_search(info, m, std::regex(R"(Pages:\s+(\d+))"));
    return m;
  }();
  ASSERT_FALSE(pages_match.empty());
  const int pages = std::stoi(pages_match[1]);
  ASSERT_GT(pages, 8);
  const std::string text = CommandOutput("pdftotext -layout '" + pdf + "' -");
  std::vector<std::string> sheets;
  std::stringstream split(text);
  for (std::string page; std::getline(split, page, '\f');) {
    sheets.push_back(page);
  }
  ASSERT_GE(sheets.size(), static_cast<size_t>(pages));
  const std::regex pagina(R"(Página: (\d+) de (\d+))"), folha(R"(Folha: (\d+) de (\d+))");
  int expected_n = 0, run_total = 0, runs = 0, run_sum = 0;
  for (int k = 1; k <= pages; ++k) {
    std::smatch p, f;
    ASSERT_TRUE(std::regex_search(sheets[k - 1], p, pagina)) << "page " << k;
    ASSERT_TRUE(std::regex_search(sheets[k - 1], f, folha)) << "page " << k;
    EXPECT_EQ(std::stoi(f[1]), k);
    EXPECT_EQ(std::stoi(f[2]), pages);
    const int n = std::stoi(p[1]), total = std::stoi(p[2]);
    if (n == 1) {
      EXPECT_EQ(expected_n, run_total) << "the run before page " << k << " ended at its N";
      ++runs;
      run_sum += total;
      run_total = total;
    } else {
      EXPECT_EQ(n, expected_n + 1) << "page " << k;
      EXPECT_EQ(total, run_total) << "page " << k;
    }
    expected_n = n;
  }
  EXPECT_EQ(expected_n, run_total);
  EXPECT_EQ(runs, 4) << "one numbering run per establishment";
  EXPECT_EQ(run_sum, pages);
}

TEST_F(PdfNavigation, ThePaginationPassIsAChoice) {
  // Text and the sections trace count pages only when asked; both storage modes agree.
  const ProgramResult plain = Print("--format text");
  ASSERT_EQ(plain.status, 0);
  EXPECT_EQ(std::regex_search(plain.output, std::regex("Página: 1 de ")), false);
  const ProgramResult counted = Print("--format text --page-total yes");
  EXPECT_TRUE(std::regex_search(counted.output, std::regex(R"(Página: 1 de \d+)")));
  EXPECT_TRUE(std::regex_search(counted.output, std::regex(R"(Folha: 1 de \d+)")));
  EXPECT_EQ(Print("--format text --page-total yes --storage sqlite").output, counted.output);
  const ProgramResult trace = Print("--format sections --page-total yes");
  EXPECT_NE(trace.output.find("\"Pagina\":\"1 de "), std::string::npos);
  EXPECT_NE(trace.output.find("\"Folha\":\"1 de "), std::string::npos);
  EXPECT_EQ(Print("--format text --page-total maybe").status, 1);
}

}  // namespace
}  // namespace nrw::testing
