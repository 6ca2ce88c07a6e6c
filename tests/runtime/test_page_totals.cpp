#include <gtest/gtest.h>

#include "host/page_totals.hpp"

namespace {

void Page(TPageCountSink& sink, int32_t page, const std::string& number) {
  sink.BeginPage(page);
  if (!number.empty()) {
    sink.PrintHeader(page, {{"Empresa", "1 - A"}, {"Pagina", number}}, 12, 8);
  }
  sink.PrintSection(page, 13, {});
  sink.EndPage(page);
}

TEST(PageTotals, EachNumberingRunEndsAtItsLastPage) {
  TPageCountSink sink;
  // Three pages of one establishment, two of the next, one of a third.
  for (const auto& [page, number] : std::vector<std::pair<int32_t, std::string>>{
           {1, "1"}, {2, "2"}, {3, "3"}, {4, "1"}, {5, "2"}, {6, "1"}}) {
    Page(sink, page, number);
  }
  const TPageTotals& totals = sink.Totals();
  EXPECT_EQ(totals.pages, 6);
  EXPECT_EQ(totals.run_last, (std::vector<int32_t>{3, 2, 1}));
  EXPECT_EQ(totals.page_run, (std::vector<int32_t>{0, 0, 0, 1, 1, 2}));
  EXPECT_EQ(totals.RunTotal(2), 3);
  EXPECT_EQ(totals.RunTotal(6), 1);
  EXPECT_EQ(totals.RunTotal(0), 0);
  EXPECT_EQ(totals.RunTotal(7), 0);
}

TEST(PageTotals, NumberingThatRunsOnAndPagesWithoutAHeader) {
  TPageCountSink sink;
  Page(sink, 1, "5");  // a first page number other than 1
  Page(sink, 2, "6");
  Page(sink, 3, "");  // no header: its count is unknown
  Page(sink, 4, "1");
  const TPageTotals& totals = sink.Totals();
  EXPECT_EQ(totals.pages, 4);
  EXPECT_EQ(totals.run_last, (std::vector<int32_t>{6, 1}));
  EXPECT_EQ(totals.RunTotal(1), 6);
  EXPECT_EQ(totals.RunTotal(2), 6);
  EXPECT_EQ(totals.RunTotal(3), 0) << "no header on that page";
  EXPECT_EQ(totals.RunTotal(4), 1);
}

// The counts complete a header: the page's run total after its number, the report's pages after
// its sheet; a page no run counts keeps its number and loses its sheet.
TEST(PageTotals, CompleteHeaderAddsTheCountsOfTheRun) {
  TPageCountSink sink;
  for (const auto& [page, number] :
       std::vector<std::pair<int32_t, std::string>>{{1, "1"}, {2, "2"}, {3, "1"}, {4, ""}}) {
    Page(sink, page, number);
  }
  const TPageTotals& totals = sink.Totals();
  std::vector<TPrintedField> fields{{"Empresa", "1 - A"}, {"Pagina", "2"}, {"Folha", "2"}};
  totals.CompleteHeader(2, fields);
  EXPECT_EQ(fields, (std::vector<TPrintedField>{
                        {"Empresa", "1 - A"}, {"Pagina", "2 de 2"}, {"Folha", "2 de 4"}}));
  fields = {{"Pagina", "7"}, {"Folha", "4"}, {"Emissao", "x"}};
  totals.CompleteHeader(4, fields);
  EXPECT_EQ(fields, (std::vector<TPrintedField>{{"Pagina", "7"}, {"Emissao", "x"}}));
  fields = {{"Pagina", "1"}};
  TPageTotals{}.CompleteHeader(1, fields);
  EXPECT_EQ(fields, (std::vector<TPrintedField>{{"Pagina", "1"}})) << "nothing counted";
}

}  // namespace
