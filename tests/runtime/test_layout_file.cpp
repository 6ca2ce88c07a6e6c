#include <gtest/gtest.h>

#include <map>

#include "host/exception.hpp"
#include "host/report_layout.hpp"

namespace {

const std::string kShipped = std::string(NRW_SOURCE_DIR) + "/layouts/ResumoConfLctoFis.json";

std::string ErrorOf(const std::string& json) {
  try {
    ParseLayout(json, "t.json");
  } catch (const Exception& e) {
    return e.what();
  }
  return "";
}

TEST(LayoutFile, ShippedLayoutReadsWithItsSectionsBlocksAndGeometry) {
  const TReportLayout layout = LoadLayoutFile(kShipped);
  EXPECT_EQ(layout.SectionNumbers(),
            (std::vector<int32_t>{1, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19}));
  // The fields each section holds are checked against the report's own contract in the report
  // tests (LayoutContract.*); here, the layout's reading and geometry.
  EXPECT_EQ(layout.Section(13)->fields.size(), 17u);
  EXPECT_EQ(layout.blocks.title_section, 19);
  EXPECT_EQ(layout.blocks.title_field, "CTexto");
  EXPECT_EQ(layout.blocks.opening_section, 10);
  EXPECT_EQ(layout.page.width, 297);
  EXPECT_EQ(layout.title, "Resumo de Conferência de Lançamentos Fiscais");
  // Amount columns are right-aligned and fit inside the page.
  for (const TLayoutItem& item : layout.Section(13)->field_items) {
    EXPECT_LE(item.x + item.width,
              layout.page.width - layout.page.margin_left - layout.page.margin_right)
        << item.name;
    if (item.name == "RValorContabil" || item.name == "ROutras") {
      EXPECT_EQ(item.align, TLayoutAlign::Right);
      EXPECT_GE(item.width, 20);
    }
  }
}

TEST(LayoutFile, ErrorsNameTheFileAndTheProblem) {
  EXPECT_EQ(ErrorOf("{").rfind("layout t.json: not valid JSON: ", 0), 0u);
  EXPECT_EQ(ErrorOf(R"({"sections": [{"number": 1, "height": 3e999}]})")
                .rfind("layout t.json: not valid JSON: ", 0),
            0u)
      << "a number out of range (found by the fuzzer)";
  EXPECT_EQ(ErrorOf("[]"), "layout t.json: the layout must be a JSON object");
  EXPECT_EQ(ErrorOf("{}"), "layout t.json: \"sections\" must be an array");
  EXPECT_EQ(ErrorOf(R"({"sections": [{"number": 13}, {"number": 13}]})"),
            "layout t.json: section 13 is given twice");
  EXPECT_EQ(ErrorOf(R"({"sections": [{"number": "x"}]})"),
            "layout t.json: section #1: \"number\" must be a whole number");
  EXPECT_EQ(ErrorOf(R"({"sections": [{"number": 13, "fields": [{"x": 1}]}]})"),
            "layout t.json: section 13 fields: an entry without \"name\"");
  EXPECT_EQ(ErrorOf(R"({"sections": [{"number": 13, "fields": [{"name": "A"}, {"name": "A"}]}]})"),
            "layout t.json: section 13: field \"A\" is given twice");
  EXPECT_EQ(ErrorOf(R"({"sections": [{"number": 13, "fields": [{"name": "A", "align": "top"}]}]})"),
            "layout t.json: section 13 fields: align must be left, center or right, not \"top\"");
  EXPECT_EQ(ErrorOf(R"({"page": {"size": "A3"}, "sections": []})"),
            "layout t.json: page: only size \"A4\" is known, not \"A3\"");
  EXPECT_EQ(ErrorOf(R"({"sections": [{"number": 1, "height": "big"}]})"),
            "layout t.json: section 1: \"height\" must be a number");
  try {
    LoadLayoutFile("/no/such/layout.json");
    FAIL();
  } catch (const Exception& e) {
    EXPECT_STREQ(e.what(), "layout /no/such/layout.json: cannot be read");
  }
}

TEST(LayoutFile, MinimalLayout) {
  const TReportLayout layout =
      ParseLayout(R"({"sections": [{"number": 5, "fields": [{"name": "F"}]}]})", "m");
  ASSERT_TRUE(layout.HasSection(5));
  EXPECT_EQ(layout.Section(5)->fields, std::vector<std::string>{"F"});
  EXPECT_EQ(layout.page.height, 210) << "A4 landscape by default";
}

}  // namespace
