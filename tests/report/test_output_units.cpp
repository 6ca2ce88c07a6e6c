// Output routines on a report object and an engine with the report's layout: the after-section
// handler, the blank line, the totals and the totalization's rules.
#include <gtest/gtest.h>

#include <memory>

#include "host/report_header.hpp"
#include "report/resumo_conf_lcto_fis.hpp"
#include "tests/report/run_harness.hpp"

namespace nfis::testing {
namespace {

class OutputUnits : public ::testing::Test {
 protected:
  void SetUp() override {
    engine = std::make_unique<TnrwReport>();
    engine->SetLayout(ReportLayout());
    engine->AddSink(&sink);
    r.reset(static_cast<TnFisORResumoConfLctoFis*>(
        TnFisORResumoConfLctoFis::ClassType()->Create(engine.get())));
    r->FCabecalho = new TnCabecalhoRelatorio(engine.get(), true, true, true, true, true, {}, -1, 1,
                                             1, "T", "", false);
    engine->SetAfterSection(
        MakeSectionEvent<TnFisORResumoConfLctoFis, &TnFisORResumoConfLctoFis::DoAfterSection>(
            r.get()));
  }
  void TearDown() override {
    delete r->FCabecalho;
    r->FCabecalho = nullptr;
  }
  std::vector<int32_t> Sections() const { return sink.Sections(); }

  std::unique_ptr<TnrwReport> engine;
  TRecordingSink sink;
  std::unique_ptr<TnFisORResumoConfLctoFis> r;
};

TEST_F(OutputUnits, PageOpensWithHeaderAndTheHeadingsOfTheCurrentKind) {
  r->FTipoCabecalho = 1;
  engine->RepPrintSection(12);
  EXPECT_EQ(Sections(), (std::vector<int32_t>{1, kHeaderSection, 9, 11, 12}));
  for (int32_t kind : {0, 2}) {
    sink.Clear();
    r->FTipoCabecalho = kind;
    engine->SetCSLIsPageEnd(true);
    engine->RepPrintSection(12);
    EXPECT_EQ(Sections(), (std::vector<int32_t>{1, kHeaderSection, 10, 11, 12})) << kind;
  }
}

TEST_F(OutputUnits, OtherSectionsTriggerNothing) {
  engine->SetCSLIsPageEnd(false);
  r->DoAfterSection(engine.get(), 13);
  r->DoAfterSection(engine.get(), 9);
  EXPECT_TRUE(sink.Entries().empty());
}

TEST_F(OutputUnits, BlankLine) {
  engine->SetCSLIsPageEnd(false);
  r->RepParam("RTexto", "x");
  r->LinhaEmBranco();
  ASSERT_EQ(sink.Entries().size(), 1u);
  EXPECT_EQ(sink.Entries()[0].Field("RTexto"), "");
  sink.Clear();
  engine->SetLayout(ReportLayout({12}));
  r->RepParam("RTexto", "kept");
  r->LinhaEmBranco();
  EXPECT_TRUE(sink.Entries().empty());
  EXPECT_EQ(r->RepParam("RTexto"), "kept");
}

TEST_F(OutputUnits, AddingCountsAdditionsNotRows) {
  TRecTotal sum, seven;
  seven.Contador = 7;
  seven.ValorImposto = 1.5;
  seven.CodigoOperacao = 12001;
  r->CalcularTotal(sum, seven);
  EXPECT_EQ(sum.Contador, 1);
  EXPECT_EQ(sum.ValorImposto, 1.5);
  EXPECT_EQ(sum.CodigoOperacao, 0) << "the operation code is not added";
  r->IniciarTotal(seven);
  EXPECT_EQ(seven.Contador, 0);
  EXPECT_EQ(seven.CodigoOperacao, 0);
}

TEST_F(OutputUnits, TotalsThatSumToZeroAreNotPrinted) {
  engine->SetCSLIsPageEnd(false);
  TRecTotal cancelled;
  cancelled.ValorContabil = 100;
  cancelled.OutrasImposto = -100;
  r->ImprimirTotal("x", 1, cancelled, false);
  EXPECT_TRUE(sink.Entries().empty());
  TRecTotal cent;
  cent.ValorImposto = 0.01;
  r->ImprimirTotal("", 1, cent, false);
  r->ImprimirTotal("", 13, cent, true);
  ASSERT_EQ(sink.Entries().size(), 2u);
  EXPECT_EQ(sink.Entries()[0].Field("RValor"), "0,01");
  EXPECT_EQ(sink.Entries()[0].Field("RValorContabil"), "0,00");
  EXPECT_EQ(sink.Entries()[0].Field("RTipo"), "ICMS");
  EXPECT_EQ(sink.Entries()[1].Field("RValorContabil"), "");
  EXPECT_EQ(sink.Entries()[1].Field("RTipo"), "Subst. Trib.");
}

TEST_F(OutputUnits, TotalRowsKeepTheirGroupingDocumentRowsDoNot) {
  EXPECT_EQ(r->FormatValor(1000000.0), "1.000.000,00");
  EXPECT_EQ(r->FormatValor(1000000.01), "1000000,01");
  EXPECT_EQ(r->FormatValor(1500000.0), "1500000,00");
  EXPECT_EQ(r->FormatValor(-2500000.0), "-2.500.000,00");
  engine->SetCSLIsPageEnd(false);
  TRecTotal big;
  big.ValorContabil = 2500000.0;
  r->ImprimirTotal("", 1, big, false);
  EXPECT_EQ(sink.Entries()[0].Field("RValorContabil"), "2.500.000,00");
}

// The totalization on a hand-filled summary table.
class Totalizacao : public OutputUnits {
 protected:
  void SetUp() override {
    OutputUnits::SetUp();
    total = std::make_unique<TnClientDataSetMem>(
        nullptr, std::vector<TFieldDef>{{"CODIGOCFOP", TFieldType::Integer},
                                        {"DATALCTOFIS", TFieldType::DateTime},
                                        {"TIPOIMPOSTO", TFieldType::Integer},
                                        {"VALORCONTABIL", TFieldType::Float},
                                        {"BASEIMPOSTO", TFieldType::Float},
                                        {"VALORIMPOSTO", TFieldType::Float},
                                        {"ISENTASIMPOSTO", TFieldType::Float},
                                        {"OUTRASIMPOSTO", TFieldType::Float}});
    natureza = std::make_unique<TnClientDataSetMem>(
        nullptr, std::vector<TFieldDef>{{"CODIGOCFOP", TFieldType::Integer},
                                        {"DESCRCFOP", TFieldType::String}});
    natureza->Append();
    natureza->SetValue(0, 5102);
    natureza->SetValue(1, "Venda");
    natureza->Post();
    natureza->SetIndexFieldNames("CODIGOCFOP");
    r->cdsTotal = total.get();
    r->cdsNatureza = natureza.get();
    engine->RepPrintSection(12);  // page 1 is open
    sink.Clear();
  }
  void Row(int cfop, int day, int tipo, double valor, double outras = 0) {
    total->Append();
    total->SetValue(0, cfop);
    total->SetValue(1, Variant::FromDateTime(EncodeDate(2026, 1, day)));
    total->SetValue(2, tipo);
    total->SetValue(3, valor);
    total->SetValue(7, outras);
    total->Post();
  }
  std::vector<std::string> Printed() { return TraceOf(sink, 14); }
  std::unique_ptr<TnClientDataSetMem> total, natureza;
};

TEST_F(Totalizacao, EmptySummaryPrintsNoHeading) {
  r->FListarResumoCFOP = true;
  r->ImprimirTotalizacao();
  EXPECT_TRUE(sink.Entries().empty());
}

TEST_F(Totalizacao, FirstRowOfARunAndOneLinePerType) {
  r->FListarResumoCFOP = true;
  r->RepParam("pTotalizar", "4");
  Row(5102, 1, 1, 10.0);
  Row(5102, 2, 1, 99.0);       // same CFOP and type: not printed, not added
  Row(5102, 3, 10, 5.0);       // another type: another line
  Row(6102, 4, 1, 7.0, -7.0);  // sums to zero: not printed
  Row(6102, 5, 1, 3.0);        // the key counts as printed: nothing
  r->ImprimirTotalizacao();
  EXPECT_EQ(Printed(),
            (std::vector<std::string>{
                "p1 14 RTexto=5.102  Venda RTipo=ICMS RValorContabil=10,00 RBaseCalculo=0,00 "
                "RValor=0,00 RIsentas=0,00 ROutras=0,00",
                "p1 14 RTexto=5.102  Venda RTipo=IPI RValorContabil=5,00 RBaseCalculo=0,00 "
                "RValor=0,00 RIsentas=0,00 ROutras=0,00"}));
  EXPECT_EQ(TraceOf(sink, 19), std::vector<std::string>{"p1 19 CTexto=Total Natureza"});
}

TEST_F(Totalizacao, ByDayDescribedByTheDate) {
  r->FListarResumoDia = true;
  Row(5102, 2, 1, 10.0);
  Row(6102, 1, 1, 4.0);
  r->ImprimirTotalizacao();
  EXPECT_EQ(Printed()[0].substr(0, 30), "p1 14 RTexto=01/01/2026 RTipo=");
  EXPECT_EQ(TraceOf(sink, 19), std::vector<std::string>{"p1 19 CTexto=Total Diário"});
}

TEST_F(Totalizacao, BothOptionsCfopCaptionDayOrder) {
  r->FListarResumoCFOP = true;
  r->FListarResumoDia = true;
  Row(6102, 1, 1, 4.0);
  Row(5102, 2, 1, 10.0);
  r->ImprimirTotalizacao();
  const auto printed = Printed();
  ASSERT_EQ(printed.size(), 2u);
  EXPECT_EQ(printed[0].substr(0, 22), "p1 14 RTexto=6.102 RTi")
      << "ordered by date, described by CFOP";
  EXPECT_EQ(TraceOf(sink, 19), std::vector<std::string>{"p1 19 CTexto=Total Natureza"});
}

TEST_F(Totalizacao, UnreadableTotalizarRaisesAConversionError) {
  r->FListarResumoCFOP = true;
  r->RepParam("pTotalizar", "x");
  Row(5102, 1, 1, 1.0);
  EXPECT_THROW(r->ImprimirTotalizacao(), EConvertError);
}

TEST_F(Totalizacao, HeadingFollowsThePageEndState) {
  r->FListarResumoDia = true;
  Row(5102, 1, 1, 1.0);
  engine->SetCSLIsPageEnd(true);
  r->ImprimirTotalizacao();
  EXPECT_TRUE(TraceOf(sink, 19).empty())
      << "a page end pending: no caption; the new page heads itself";
  sink.Clear();
  engine->SetLayout(ReportLayout({15}));
  engine->SetCSLIsPageEnd(false);
  r->ImprimirTotalizacao();
  EXPECT_TRUE(TraceOf(sink, 19).empty()) << "without the marker: a page end instead of the caption";
  EXPECT_EQ(sink.Entries()[0].section, 1);
}

}  // namespace
}  // namespace nfis::testing
