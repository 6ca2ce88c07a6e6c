#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

#include "host/base_dll.hpp"
#include "host/page_flow.hpp"
#include "host/report.hpp"

namespace {

struct FlowCase {
  double body, used, height;
  bool fits;
};

TEST(PageFlow, FitsTable) {
  const FlowCase cases[] = {{190, 0, 3.5, true},    {190, 186.5, 3.5, true}, {190, 187, 3.5, false},
                            {190, 190, 0, true},    {190, 0, 500, true},     {190, 10, 500, false},
                            {100, 96.5, 3.5, true}, {100, 96.51, 3.5, false}};
  for (const FlowCase& c : cases) {
    TPageFlow flow(c.body);
    flow.Place(c.used);
    EXPECT_EQ(flow.Fits(c.height), c.fits) << c.body << " " << c.used << " " << c.height;
  }
}

TEST(PageFlow, NewPageStartsEmpty) {
  TPageFlow flow(50);
  flow.Place(40);
  EXPECT_DOUBLE_EQ(flow.Left(), 10);
  flow.NewPage();
  EXPECT_EQ(flow.Used(), 0);
}

TReportLayout Tall() {
  TReportLayout layout;
  layout.page.height = 120;  // body 100 mm
  layout.page.header_height = 10;
  TLayoutSection band = TLayoutSection::Of(1, {});
  layout.AddSection(band);
  TLayoutSection row = TLayoutSection::Of(13, {"F"});
  row.height = 30;
  layout.AddSection(row);
  return layout;
}

struct HeaderOnBand {
  TnrwReport* report;
  void After(TObject*, int32_t section) {
    if (section == 1) {
      report->RepPrintHeader({}, 8, 8);
    }
  }
};

TEST(Pagination, ASectionThatDoesNotFitMovesToTheNextPage) {
  auto engine = std::make_unique<TnrwReport>();
  engine->SetLayout(Tall());
  TRecordingSink sink;
  engine->AddSink(&sink);
  HeaderOnBand header{engine.get()};
  engine->SetAfterSection(MakeSectionEvent<HeaderOnBand, &HeaderOnBand::After>(&header));
  for (int i = 0; i < 7; ++i) {
    engine->RepPrintSection(13);
  }
  std::vector<int32_t> pages;
  for (const auto& e : sink.Entries()) {
    if (e.section == 13) {
      pages.push_back(e.page);
    }
  }
  // 10 mm of header, then three 30 mm rows per 100 mm page.
  EXPECT_EQ(pages, (std::vector<int32_t>{1, 1, 1, 2, 2, 2, 3}));
  const std::vector<int32_t> sections = sink.Sections();
  EXPECT_EQ(std::count(sections.begin(), sections.end(), kHeaderSection), 3);
}

class Striped : public TnrwBaseDll {
 public:
  std::vector<int32_t> CriarListaSectionsParaZebrar() override { return {13}; }
  std::vector<int32_t> CriarListaSectionsTrocaCor() override { return {14}; }
};

struct StyleSink : TSectionSink {
  TSectionStyle next;
  std::vector<std::string> seen;
  void SetStyle(const TSectionStyle& style) override { next = style; }
  void PrintSection(int32_t, int32_t section, const std::vector<TPrintedField>&) override {
    seen.push_back(std::to_string(section) + (next.shaded ? "s" : "") + (next.accent ? "a" : ""));
  }
};

TEST(Striping, AlternatesStripedSectionsAndColoursTheOthers) {
  auto engine = std::make_unique<TnrwReport>();
  TReportLayout layout;
  for (int32_t n : {1, 12, 13, 14}) {
    layout.AddSection(TLayoutSection::Of(n, {}));
  }
  engine->SetLayout(layout);
  StyleSink sink;
  engine->AddSink(&sink);
  {
    const TnrwClassOf<Striped> striped("Striped");
    std::unique_ptr<TnrwBaseDll> module(striped.Create(engine.get()));
    for (int32_t n : {13, 13, 12, 13, 14}) {
      engine->RepPrintSection(n);
    }
  }
  EXPECT_EQ(sink.seen, (std::vector<std::string>{"1", "13", "13s", "12", "13", "14a"}));
  EXPECT_FALSE(engine->BeforeSection().Assigned()) << "the freed object no longer styles sections";
}

}  // namespace
