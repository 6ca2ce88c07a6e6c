#include <gtest/gtest.h>

#include <memory>

#include "host/report.hpp"

namespace {

TReportLayout LayoutWith(
    const std::vector<std::pair<int32_t, std::vector<std::string>>>& sections) {
  TReportLayout layout;
  for (const auto& [number, fields] : sections) {
    layout.AddSection(TLayoutSection::Of(number, fields));
  }
  return layout;
}

// Prints sections 9 and 11 after every band 1, as a report module's handler does.
struct HeaderPrinter {
  TnrwReport* report = nullptr;
  std::vector<int32_t> seen;
  void AfterSection(TObject*, int32_t section) {
    seen.push_back(section);
    if (section == 1) {
      report->RepPrintSection(9);
      report->RepPrintSection(11);
    }
  }
};

class EngineTest : public ::testing::Test {
 protected:
  void SetUp() override {
    report = std::make_unique<TnrwReport>();
    report->SetLayout(LayoutWith({{1, {}}, {9, {}}, {11, {}}, {13, {"RNumeroNF", "RValor"}}}));
    report->AddSink(&sink);
  }
  std::unique_ptr<TnrwReport> report;
  TRecordingSink sink;
};

TEST_F(EngineTest, ParametersAndFieldsShareOneCaseInsensitiveStore) {
  report->RepParam("pDataInicial", "01/01/2026");
  EXPECT_EQ(report->RepParam("PDATAINICIAL"), "01/01/2026");
  EXPECT_EQ(report->RepParam("absent"), "");
  EXPECT_FALSE(report->HasRepParam("absent"));
}

TEST_F(EngineTest, NamesFoldAccentedLettersAsAnsiUpperCaseDoes) {
  report->RepParam("RDescrição", "x");
  EXPECT_EQ(report->RepParam("RDESCRIÇÃO"), "x");
  EXPECT_EQ(report->RepParam("rdescrição"), "x");
  EXPECT_FALSE(report->HasRepParam("RDescricao")) << "an accented letter is not its plain letter";
}

// Names are remembered by the address of their text; a buffer that now reads another name, or
// the same name in other letters' case, still reaches the right value.
TEST_F(EngineTest, ANameBufferReusedForAnotherNameSetsThatName) {
  std::string name = "RValorA";
  for (int round = 0; round < 3; ++round) {
    name.back() = 'A';
    report->RepParam(name, "a" + std::to_string(round));
    name.back() = 'B';
    report->RepParam(name, "b" + std::to_string(round));
    name = "rvalora";
    report->RepParam(name, "lower" + std::to_string(round));
    name = "RValorA";
  }
  EXPECT_EQ(report->RepParam("RVALORA"), "lower2");
  EXPECT_EQ(report->RepParam("RVALORB"), "b2");
}

TEST_F(EngineTest, ALayoutFieldThatWasNeverSetIsNotAParameter) {
  report->RepPrintSection(13);
  EXPECT_FALSE(report->HasRepParam("RValor")) << "printing a section sets none of its fields";
  EXPECT_EQ(report->RepParam("RValor", "3,00"), "3,00") << "setting returns the stored text";
  EXPECT_TRUE(report->HasRepParam("rvalor"));
}

TEST_F(EngineTest, ANewLayoutPrintsItsOwnFields) {
  report->RepParam("RValor", "1,00");
  report->RepParam("ROutro", "z");
  report->RepPrintSection(13);
  TReportLayout layout;
  layout.AddSection(TLayoutSection::Of(1, {}));
  layout.AddSection(TLayoutSection::Of(13, {"ROutro"}));
  report->SetLayout(layout);
  report->RepPrintSection(13);
  const auto& last = sink.Entries().back();
  ASSERT_EQ(last.fields.size(), 1u);
  EXPECT_EQ(last.Field("ROutro"), "z");
}

TEST_F(EngineTest, FirstPrintOpensAPageWithBandOne) {
  EXPECT_TRUE(report->CSLIsPageEnd());
  report->RepParam("RNumeroNF", "123");
  report->RepPrintSection(13);
  EXPECT_EQ(sink.Sections(), (std::vector<int32_t>{1, 13}));
  EXPECT_FALSE(report->CSLIsPageEnd());
  EXPECT_EQ(sink.Entries()[1].page, 1);
  EXPECT_EQ(sink.Entries()[1].Field("RNumeroNF"), "123");
  EXPECT_EQ(sink.Entries()[1].Field("RValor"), "");
}

TEST_F(EngineTest, FieldValuesAreTakenAtPrintTime) {
  report->RepParam("RValor", "1,00");
  report->RepPrintSection(13);
  report->RepParam("RValor", "2,00");
  report->RepPrintSection(13);
  EXPECT_EQ(sink.Entries()[1].Field("RValor"), "1,00");
  EXPECT_EQ(sink.Entries()[2].Field("RValor"), "2,00");
}

// A sink that takes numbers still to be formatted.
class NumberTakingSink : public TRecordingSink {
 public:
  bool TakesNumbers() const override { return true; }
};

// A value set as a number is formatted where it is read: by a read by name, by the engine for
// a sink that takes no numbers, by the sink itself for one that does.
TEST_F(EngineTest, ANumberIsFormattedWhereItIsRead) {
  NumberTakingSink taker;
  report->AddSink(&taker);
  report->RepParam("RNumeroNF", "7");
  report->RepParamNumber("RValor", "#,##0.00", 1234.5);
  report->RepPrintSection(13);
  EXPECT_EQ(sink.Entries()[1].Field("RValor"), "1.234,50");
  EXPECT_FALSE(sink.Entries()[1].fields[1].HasNumber());
  const TPrintedField& taken = taker.Entries()[1].fields[1];
  EXPECT_EQ(taken.name, "RValor");
  EXPECT_EQ(taken.pattern, "#,##0.00");
  EXPECT_EQ(taken.number, 1234.5);
  EXPECT_EQ(taken.Text(), "1.234,50");
  EXPECT_EQ(report->RepParamText("rvalor"), "1.234,50");
  EXPECT_EQ(report->RepParam("RVALOR"), "1.234,50");

  report->RepParam("RValor", "x");
  report->RepPrintSection(13);
  EXPECT_FALSE(taker.Entries().back().fields[1].HasNumber()) << "text set after the number";
  EXPECT_EQ(taker.Entries().back().Field("RValor"), "x");
  report->RepParamNumber("RValor", "", 2.5);
  EXPECT_EQ(report->RepParam("RValor"), "2,5") << "no pattern: the general format, at once";
  report->RemoveSink(&taker);
}

// Keeps each section given as its values: the id and names, and every value as its text or as
// "pattern:number".
class ValueTakingSink : public TSectionSink {
 public:
  struct Taken {
    int32_t section;
    uint64_t names_id;
    std::vector<std::string> names;
    std::vector<std::string> values;
  };
  std::vector<Taken> taken;
  void PrintSection(int32_t, int32_t, const std::vector<TPrintedField>&) override {
    ADD_FAILURE() << "a sink that takes values is given printed fields";
  }
  bool TakesValues() const override { return true; }
  void PrintValues(int32_t, int32_t section, const TSectionValues& values) override {
    Taken entry{section, values.names_id, values.names, {}};
    for (const TFieldValue* value : values.values) {
      entry.values.push_back(
          value->HasNumber() ? value->pattern + ":" + std::to_string(value->number) : value->value);
    }
    taken.push_back(std::move(entry));
  }
};

// A sink that takes values gets the layout's names with one id per section and layout, and the
// values as set (numbers not formatted); a sink beside it that takes printed fields gets them.
TEST_F(EngineTest, ASinkThatTakesValuesGetsThemWithTheirNamesId) {
  ValueTakingSink values;
  report->AddSink(&values);
  report->RepParam("RNumeroNF", "7");
  report->RepParamNumber("RValor", "#,##0.00", 2.5);
  report->RepPrintSection(13);
  report->RepParam("RNumeroNF", "8");
  report->RepPrintSection(13);
  ASSERT_EQ(values.taken.size(), 3u);  // band 1, then 13 twice
  const ValueTakingSink::Taken first = values.taken[1];
  const ValueTakingSink::Taken second = values.taken[2];
  EXPECT_EQ(first.names, (std::vector<std::string>{"RNumeroNF", "RValor"}));
  EXPECT_EQ(first.values, (std::vector<std::string>{"7", "#,##0.00:2.500000"}));
  EXPECT_EQ(second.values, (std::vector<std::string>{"8", "#,##0.00:2.500000"}));
  EXPECT_NE(first.names_id, 0u);
  EXPECT_EQ(second.names_id, first.names_id);
  EXPECT_NE(values.taken[0].names_id, first.names_id) << "another section, another list";
  EXPECT_EQ(sink.Entries().back().Field("RValor"), "2,50");
  EXPECT_EQ(sink.Entries().back().Field("RNumeroNF"), "8");

  report->SetLayout(LayoutWith({{1, {}}, {13, {"RValor"}}}));
  report->RepPrintSection(13);
  EXPECT_EQ(values.taken.back().names, (std::vector<std::string>{"RValor"}));
  EXPECT_NE(values.taken.back().names_id, first.names_id) << "a new layout, new ids";
  TnrwReport other;
  other.SetLayout(LayoutWith({{1, {}}, {13, {"RNumeroNF", "RValor"}}}));
  other.AddSink(&values);
  other.RepPrintSection(13);
  EXPECT_NE(values.taken.back().names_id, first.names_id) << "ids are not shared by engines";
  report->RemoveSink(&values);
}

// A place is the named value itself: what is set through it is what the name reads and prints.
TEST_F(EngineTest, AValueSetThroughItsPlaceIsTheNamedValue) {
  TnrwReport::Slot* valor = report->Place("rvalor");
  EXPECT_FALSE(report->HasRepParam("RValor")) << "finding a place sets nothing";
  EXPECT_EQ(report->Place("RVALOR"), valor) << "one place per name";
  report->RepParam(valor, "1,00");
  EXPECT_EQ(report->RepParam("RValor"), "1,00");
  report->RepPrintSection(13);
  EXPECT_EQ(sink.Entries().back().Field("RValor"), "1,00");
  report->RepParamNumber(valor, "#,##0.00", 2);
  report->RepPrintSection(13);
  EXPECT_EQ(sink.Entries().back().Field("RValor"), "2,00");
  report->RepParam("RValor", "3,00");
  report->RepParam(report->Place("RNumeroNF"), "9");
  report->RepPrintSection(13);
  EXPECT_EQ(sink.Entries().back().Field("RValor"), "3,00");
  EXPECT_EQ(sink.Entries().back().Field("RNumeroNF"), "9");
}

TEST_F(EngineTest, PageEndMakesTheNextPrintOpenANewPage) {
  report->RepPrintSection(13);
  report->SetCSLIsPageEnd(true);
  report->RepPrintSection(13);
  EXPECT_EQ(sink.Sections(), (std::vector<int32_t>{1, 13, 1, 13}));
  EXPECT_EQ(sink.Entries()[3].page, 2);
  EXPECT_EQ(report->PageNumber(), 2);
}

TEST_F(EngineTest, AfterSectionEventFiresForEverySectionIncludingBandOne) {
  HeaderPrinter printer{report.get(), {}};
  report->SetAfterSection(MakeSectionEvent<HeaderPrinter, &HeaderPrinter::AfterSection>(&printer));
  report->RepPrintSection(13);
  EXPECT_EQ(sink.Sections(), (std::vector<int32_t>{1, 9, 11, 13}));
  EXPECT_EQ(printer.seen, (std::vector<int32_t>{1, 9, 11, 13}));
  report->SetAfterSection({});
  EXPECT_FALSE(report->AfterSection().Assigned());
}

TEST_F(EngineTest, SectionsTheLayoutLacks) {
  EXPECT_TRUE(report->DelphiCanPrintSection(13));
  EXPECT_FALSE(report->DelphiCanPrintSection(15));
  report->RepPrintSection(15);
  EXPECT_TRUE(sink.Entries().empty());
  EXPECT_TRUE(report->CSLIsPageEnd());
}

TEST_F(EngineTest, EstablishmentTableHasCompanyAndEstablishment) {
  TnClientDataSetMem* estab = report->Estabelecimentos();
  ASSERT_NE(estab->FindField("CODIGOEMPRESA"), nullptr);
  ASSERT_NE(estab->FindField("CODIGOESTAB"), nullptr);
  EXPECT_TRUE(estab->IsEmpty());
}

TEST_F(EngineTest, ShowProgressReachesTheView) {
  TRecordingProgressView view;
  report->DMPower()->SetView(&view);
  report->CSLShowProgress(1, 4);
  ASSERT_EQ(view.engine_progress.size(), 1u);
  EXPECT_EQ(view.engine_progress[0], std::make_pair(1, 4));
}

}  // namespace
