// The spreadsheet sink on hand-made printed sections: which sections become rows, the document
// columns carried over its lines, the block a row belongs to, numbers and dates as values, CSV
// quoting, and an xlsx listing that continues on another sheet when one is full.
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <sstream>

#include "host/report_position.hpp"
#include "host/sheet_export.hpp"
#include "tests/app/program.hpp"
#include "tests/runtime/data_set_kinds.hpp"

namespace {

using Fields = std::vector<TPrintedField>;

TReportLayout BlockLayout() {
  TReportLayout layout;
  layout.blocks = {19, "CTexto", 10};
  return layout;
}

TSheetMapping Mapping() {
  TSheetMapping mapping;
  mapping.listing_sheet = "Linhas";
  mapping.summary_sheet = "Resumo";
  mapping.listing_blocks = {"Total Tipo"};
  mapping.document_key = "Chave";
  mapping.rows = {{13, "Subtotal", "CFOP", "Total", false},
                  {13, "Imposto", "", "", true},
                  {14, "Total", "", "", false}};
  mapping.columns = {{"Data", "Data", TSheetValue::DayMonth, 10, true, false},
                     {"Chave", "Chave", TSheetValue::Integer, 8, true, false},
                     {"Pessoa", "Pessoa", TSheetValue::Text, 20, true, false},
                     {"CFOP", "CFOP", TSheetValue::Text, 8, false, false},
                     {"Texto", "Texto", TSheetValue::TextOrDate, 20, false, true},
                     {"Valor", "Valor", TSheetValue::Amount, 12, false, true}};
  return mapping;
}

Fields Header(const std::string& estab) {
  return {{"Empresa", "1 - Comercial"},
          {"Estabelecimento", estab},
          {"Periodo", "01/01/2026 a 31/01/2026"},
          {"Pagina", "1"}};
}

Fields Line(const std::string& date, const std::string& key, const std::string& person,
            const std::string& cfop, const std::string& value) {
  return {{"Data", date}, {"Chave", key}, {"Pessoa", person}, {"CFOP", cfop}, {"Valor", value}};
}

// Prints a small report: two documents (the second issued in the year before the period), a
// subtotal, a legend with a stale title, the totals block, a summary block, another establishment.
void PrintReport(TSectionSink& sink) {
  sink.PrintHeader(1, Header("1 - Matriz"), 12, 8);
  sink.PrintSection(1, 9, {});
  sink.PrintSection(1, 13, Line("02/01", "7", "Ana; \"A\"", "5.102", "1.234,56"));
  sink.PrintSection(1, 13, Line("", "", "", "5.102", "-0,50"));
  sink.PrintSection(1, 19, {{"CTexto", "Total Tipo"}});  // a legend: no heading follows
  sink.PrintSection(1, 13, Line("31/12", "8", "Bia", "1.102", "10,00"));
  sink.PrintSection(1, 13, Line("", "", "", "Total ", "1.244,06"));
  sink.PrintSection(1, 19, {{"CTexto", "Total Tipo"}});
  sink.PrintSection(1, 10, {});
  sink.PrintSection(1, 14, {{"Texto", ""}, {"Valor", "1.244,06"}});
  sink.PrintSection(1, 19, {{"CTexto", "Total Natureza"}});
  sink.PrintHeader(2, Header("1 - Matriz"), 12, 8);  // a new page between title and headings
  sink.PrintSection(2, 10, {});
  sink.PrintSection(2, 14, {{"Texto", "5.102  Venda"}, {"Valor", "1.234,06"}});
  sink.PrintSection(2, 14, {{"Texto", "02/01/2026"}, {"Valor", "1.234,06"}});
  sink.PrintHeader(3, Header("2 - Filial"), 12, 8);
  sink.PrintSection(3, 13, Line("03/01", "9", "Caio", "5.102", "5,00"));
  sink.Finish();
}

TEST(SheetExport, CsvRowsCarryTheDocumentAndKeepEveryAmount) {
  std::ostringstream out;
  auto sink = CreateSheetRenderer("csv", out, "", BlockLayout(), Mapping());
  PrintReport(*sink);
  const std::string lead = "1 - Comercial;1 - Matriz;";
  EXPECT_EQ(out.str(),
            "\xEF\xBB\xBF"
            "Empresa;Estabelecimento;Bloco;Linha;Data;Chave;Pessoa;CFOP;Texto;Valor\r\n" +
                lead + ";Imposto;02/01/2026;7;\"Ana; \"\"A\"\"\";5.102;;1234,56\r\n" + lead +
                ";Imposto;02/01/2026;7;\"Ana; \"\"A\"\"\";5.102;;-0,5\r\n" + lead +
                ";Imposto;31/12/2025;8;Bia;1.102;;10\r\n" + lead +
                ";Subtotal;;;;Total ;;1244,06\r\n" + lead + "Total Tipo;Total;;;;;;1244,06\r\n" +
                lead + "Total Natureza;Total;;;;;5.102  Venda;1234,06\r\n" + lead +
                "Total Natureza;Total;;;;;02/01/2026;1234,06\r\n" +
                "1 - Comercial;2 - Filial;;Imposto;03/01/2026;9;Caio;5.102;;5\r\n");
}

TEST(SheetExport, BlocksOpenOnlyWhenTheirHeadingsFollowTheTitle) {
  TReportPosition position({19, "CTexto", 10});
  EXPECT_TRUE(position.OnHeader(Header("1 - Matriz")));
  EXPECT_FALSE(position.OnSection(19, {{"CTexto", "Total Tipo"}}));
  EXPECT_FALSE(position.OnSection(13, {}));
  EXPECT_FALSE(position.OnSection(10, {})) << "a legend then a line: no block";
  EXPECT_EQ(position.Block(), "");
  EXPECT_FALSE(position.OnSection(19, {{"CTexto", ""}}));
  EXPECT_FALSE(position.OnSection(10, {})) << "an empty title opens nothing";
  EXPECT_FALSE(position.OnSection(19, {{"CTexto", "Total Tipo"}}));
  EXPECT_FALSE(position.OnHeader(Header("1 - Matriz"))) << "same establishment, next page";
  EXPECT_FALSE(position.OnSection(1, {}));
  EXPECT_TRUE(position.OnSection(10, {}));
  EXPECT_EQ(position.Block(), "Total Tipo");
  EXPECT_TRUE(position.OnHeader(Header("2 - Filial")));
  EXPECT_EQ(position.Block(), "") << "another establishment starts with its listing";
  EXPECT_FALSE(position.CompanyChanged());
}

size_t Count(const std::string& text, const std::string& what) {
  size_t count = 0;
  for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) {
    ++count;
  }
  return count;
}

TEST(SheetExport, AFullSheetContinuesOnAnotherAndSaysSo) {
  if (std::system("command -v unzip > /dev/null") != 0) {
    GTEST_SKIP() << "unzip is not installed (scripts/install-deps.sh installs it)";
  }
  nrw::testing::ScratchDir scratch;
  const std::string path = scratch.File("report.xlsx");
  std::ostringstream unused;
  std::vector<std::string> notices;
  TSheetOptions options;
  options.rows_per_sheet = 2;
  options.notice = [&](const std::string& text) { notices.push_back(text); };
  auto sink = CreateSheetRenderer("xlsx", unused, path, BlockLayout(), Mapping(), options);
  PrintReport(*sink);
  // Six listing rows, two to a sheet; the summary's two rows on a sheet of their own, the day
  // as a date.
  const std::string workbook = nrw::testing::Unzipped(path, "xl/workbook.xml");
  EXPECT_NE(workbook.find("name=\"Linhas\""), std::string::npos) << workbook;
  EXPECT_NE(workbook.find("name=\"Linhas 2\""), std::string::npos);
  EXPECT_NE(workbook.find("name=\"Linhas 3\""), std::string::npos);
  EXPECT_NE(workbook.find("name=\"Resumo\""), std::string::npos);
  EXPECT_EQ(notices, (std::vector<std::string>{
                         "the sheet 'Linhas' is full (2 rows): the rows continue on the sheet "
                         "'Linhas 2'",
                         "the sheet 'Linhas 2' is full (2 rows): the rows continue on the sheet "
                         "'Linhas 3'"}));
  const std::string first = nrw::testing::Unzipped(path, "xl/worksheets/sheet1.xml");
  EXPECT_EQ(Count(first, "<row "), 3u) << "the heading and two rows";
  EXPECT_NE(first.find("<pane ySplit=\"1\""), std::string::npos) << "the heading row is frozen";
  EXPECT_NE(first.find("<autoFilter ref=\"A1:J3\""), std::string::npos) << first;
  // The amount is a number, the date a day serial (02/01/2026 = 46024), the key a number.
  EXPECT_NE(first.find("<v>1234.56</v>"), std::string::npos) << first;
  EXPECT_NE(first.find("<v>46024</v>"), std::string::npos);
  EXPECT_NE(first.find("<v>7</v>"), std::string::npos);
  const std::string resumo = nrw::testing::Unzipped(path, "xl/worksheets/sheet4.xml");
  EXPECT_EQ(Count(resumo, "<row "), 3u) << resumo;
  EXPECT_NE(resumo.find("<v>46024</v>"), std::string::npos) << "the day as a date: " << resumo;
}

}  // namespace
