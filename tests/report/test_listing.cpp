// The printed report: the listing's and the totalization's rules, read from whole runs on the
// hand-built books, and golden traces of whole reports.
#include <gtest/gtest.h>

#include <algorithm>

#include "report/resumo_conf_lcto_fis.hpp"
#include "tests/report/run_harness.hpp"

namespace nfis::testing {
namespace {

using nrw::testing::Backend;

class Listing : public ::testing::Test {
 protected:
  void SetUp() override {
    run = ReportRun::Open(Backend::SQLite);
    run->SetDefaults();
    run->AddListingCases();
  }
  void AllOptions() {
    for (const char* option : {"pListarTotalImposto", "pListarOutrasInfo", "pExibirDadosPessoa",
                               "pExibirDadosProduto", "pExibirDadosNatureza", "pLinhaHorizontal"}) {
      run->Set(option, "1");
    }
    run->Set("pTotalizar", "4");
  }
  std::vector<std::string> Lines(int32_t section) { return TraceOf(run->Sink(), section); }
  // The lines printed between the first line of document `key` and the next document's.
  std::vector<std::string> Document(int key) {
    std::vector<std::string> lines;
    bool inside = false;
    for (const auto& e : run->Sink().Entries()) {
      const std::string k = e.Field("RChaveLctoFis");
      if (e.section == 13 && !k.empty()) {
        inside = k == std::to_string(key);
      }
      if (inside && e.section != 1 && e.section != kHeaderSection) {
        std::string line = std::to_string(e.section);
        for (const auto& f : e.fields) {
          if (!f.value.empty()) {
            line += " " + f.name + "=" + f.value;
          }
        }
        lines.push_back(line);
      }
    }
    return lines;
  }
  static bool Has(const std::vector<std::string>& lines, const std::string& part) {
    return std::any_of(lines.begin(), lines.end(),
                       [&](const std::string& l) { return l.find(part) != std::string::npos; });
  }
  std::unique_ptr<ReportRun> run;
};

TEST_F(Listing, DocumentColumnsOnTheFirstLineOnly) {
  ASSERT_EQ(run->Print(), "");
  const auto doc = Document(11);
  ASSERT_GE(doc.size(), 2u);
  EXPECT_EQ(doc[0].substr(0, 61), "13 RDataLctoFis=15/01 RDataEmissao=14/01 RChaveLctoFis=11 RNu");
  EXPECT_EQ(doc[1],
            "13 RUF=PR RModelo=55 RCodigoCFOP=1.102 RTipo=ICMS RAliquota=18 RValorContabil=20,00 "
            "RBaseCalculo=20,00 RValor=3,60 RIsentas=0,00 ROutras=0,00")
      << "no date, key, number, series, species or counterparty; the model stays";
}

TEST_F(Listing, SeriesNumbersAndIpiColumns) {
  run->Set("pTipoMovimento", "2");
  ASSERT_EQ(run->Print(), "");
  EXPECT_TRUE(Has(Document(2), "RNumeroNF=200-205")) << "exits show the number range";
  run->Sink().Clear();
  run->Set("pTipoMovimento", "1");
  ASSERT_EQ(run->Print(), "");
  EXPECT_TRUE(Has(Document(3), "RNumeroNF=300 RSerieNF=A/1"));
  EXPECT_TRUE(Has(Document(1), "13 RModelo=55 RCodigoCFOP=1.102 RTipo=IPI RValorContabil"))
      << "IPI lines have no state and no rate";
}

TEST_F(Listing, SubtotalsOfRunsOfOneTaxType) {
  ASSERT_EQ(run->Print(), "");
  // Without the option only the run that ends the table prints a subtotal, and since no break
  // cleared it before, it holds every ICMS line of the listing (530,00).
  EXPECT_FALSE(Has(Document(11), "RCodigoCFOP=Total "));
  EXPECT_TRUE(Has(Document(15),
                  "13 RCodigoCFOP=Total  RValorContabil=530,00 RBaseCalculo=510,00 RValor=80,50"));
  run->Sink().Clear();
  run->Set("pListarTotalImposto", "1");
  ASSERT_EQ(run->Print(), "");
  EXPECT_TRUE(Has(Document(11),
                  "13 RCodigoCFOP=Total  RValorContabil=30,00 RBaseCalculo=30,00 RValor=5,40"));
  const auto single = Document(3);
  EXPECT_FALSE(Has(single, "RCodigoCFOP=Total ")) << "a single line prints no subtotal";
}

// Amounts above a million drop their thousands separators in document rows (the listing hands
// them to the engine as numbers, formatted on the way out) and keep them in total rows.
TEST_F(Listing, DocumentRowsAboveAMillionDropTheirGrouping) {
  run->Connection().ExecuteScript(
      "update LCTOFISENTIMPOSTO set VALORCONTABIL = 1500000 where CHAVELCTOFISENT = 11 and SEQ = "
      "1");
  ASSERT_EQ(run->Print(), "");
  EXPECT_TRUE(Has(Document(11), "RTipo=ICMS RAliquota=18 RValorContabil=1500000,00"));
  EXPECT_TRUE(Has(Document(15), "13 RCodigoCFOP=Total  RValorContabil=1500520,00"));
  EXPECT_TRUE(Has(Lines(14), "RTipo=ICMS RValorContabil=1.500.520,00"));
}

TEST_F(Listing, DocumentOfOnlySubstitutionLinesIsSkipped) {
  AllOptions();
  ASSERT_EQ(run->Print(), "");
  EXPECT_TRUE(Document(13).empty());
  EXPECT_FALSE(Has(Lines(14), "RValor=1,44"));
}

TEST_F(Listing, PisCofinsGroupsWithTheRunningDifference) {
  run->Set("pListarTotalImposto", "1");
  ASSERT_EQ(run->Print(), "");
  const auto doc = Document(11);
  EXPECT_TRUE(
      Has(doc,
          "13 RCodigoCFOP=1.102 RTipo=PIS RAliquota=1,65 RValorContabil=150,00 RBaseCalculo=130,00 "
          "RValor=2,15 RIsentas=0,00 ROutras=40,00"))
      << "100/80 then 50/50: others 20 + 20";
  EXPECT_TRUE(Has(doc, "13 RCodigoCFOP=2.102 RTipo=PIS RAliquota=1,65 RValorContabil=10,00"));
  EXPECT_TRUE(Has(doc,
                  "13 RCodigoCFOP=Total  RAliquota=1,65 RValorContabil=160,00 RBaseCalculo=140,00 "
                  "RValor=2,32 RIsentas=0,00 ROutras=0,00"))
      << "two groups: a subtotal, with the last group's rate";
  EXPECT_FALSE(Has(Document(1),
                   "RTipo=PIS RAliquota=1,65 RValorContabil=100,50 RBaseCalculo=100,50 RValor=1,66 "
                   "RIsentas=0,00 ROutras=0,00\n13 RCodigoCFOP=Total"))
      << "one group: no subtotal";
}

// A PIS group is a run of items whose CFOP text followed by the rate text is the same: a new
// rate starts a group, and CFOP 1102 at 11.65 and CFOP 11021 at 1.65 ("110211.65" both) share
// one, shown with the last item's rate.
TEST_F(Listing, PisGroupsFollowTheTextsOfCfopAndRate) {
  run->Connection().ExecuteScript(
      "insert into LCTOFISENTPRODUTO values (1, 1, 15, '2026-01-17', 2, 1, '0', 1102, 1, 10, 10, "
      "10, 10, 0.65, 0.07, 7.6, 0.76);"
      "insert into LCTOFISENTPRODUTO values (1, 1, 15, '2026-01-17', 3, 1, '0', 1102, 1, 20, 20, "
      "20, 20, 11.65, 2.33, 7.6, 1.52);"
      "insert into LCTOFISENTPRODUTO values (1, 1, 15, '2026-01-17', 4, 1, '0', 11021, 1, 35, 35, "
      "35, 35, 1.65, 0.58, 7.6, 2.66);");
  for (const bool sqlite_storage : {false, true}) {
    run->Sink().Clear();
    ASSERT_EQ(run->Print(sqlite_storage), "");
    std::vector<std::string> pis;
    for (const std::string& line : Document(15)) {
      if (line.rfind("13 ", 0) == 0 && line.find("RTipo=PIS ") != std::string::npos) {
        pis.push_back(line);
      }
    }
    EXPECT_EQ(pis, (std::vector<std::string>{
                       "13 RCodigoCFOP=1.102 RTipo=PIS RAliquota=0,65 RValorContabil=10,00 "
                       "RBaseCalculo=10,00 RValor=0,07 RIsentas=0,00 ROutras=0,00",
                       "13 RCodigoCFOP=1.102 RTipo=PIS RAliquota=1,65 RValorContabil=50,00 "
                       "RBaseCalculo=50,00 RValor=0,83 RIsentas=0,00 ROutras=0,00",
                       "13 RCodigoCFOP=11021 RTipo=PIS RAliquota=1,65 RValorContabil=55,00 "
                       "RBaseCalculo=55,00 RValor=2,91 RIsentas=0,00 ROutras=0,00"}))
        << (sqlite_storage ? "SQLite storage" : "in-memory storage");
  }
}

TEST_F(Listing, CounterpartyTextRepeatsWhenTheCounterpartyIsUnknown) {
  run->Set("pExibirDadosPessoa", "1");
  ASSERT_EQ(run->Print(), "");
  const std::string cliente =
      "12 RTexto=Cliente: Cliente C  |  98765432000198  |  RJ  |  Rio de Janeiro  |  222222222";
  EXPECT_TRUE(Has(Document(4), cliente));
  EXPECT_TRUE(Has(Document(11), cliente))
      << "counterparty 99 is not registered: the text of document 4 again";
  EXPECT_TRUE(Has(Document(3), "12 RTexto=Cliente: Produtor B (produtor rural)") == false);
  EXPECT_TRUE(Has(Document(3), "Produtor B  |  12345678909  |  MG  |  Belo Horizonte  |  PR-555"))
      << "a rural producer shows the producer registration";
}

TEST_F(Listing, PrintModelOneShowsCodeAndName) {
  run->Set("ReportFor", "1");
  ASSERT_EQ(run->Print(), "");
  EXPECT_TRUE(Has(Document(4), "RPessoa=30 Cliente C"));
  EXPECT_TRUE(Has(Document(11), "RPessoa=99 ")) << "an unknown counterparty keeps the bare code";
}

TEST_F(Listing, NaturesOncePerDocument) {
  run->Set("pExibirDadosNatureza", "1");
  ASSERT_EQ(run->Print(), "");
  const auto natures = Lines(18);
  EXPECT_EQ(std::count(natures.begin(), natures.end(),
                       "p1 18 RNatureza=Natureza: 1.102 - Compra para comercialização"),
            4)
      << "documents 1, 3, 11 and 15 each list 1.102 once";
  EXPECT_TRUE(Has(Document(2),
                  "18 RNatureza=Natureza: 6.102 - Venda de mercadoria adquirida de terceiros, para "
                  "outro estado"));
}

TEST_F(Listing, ProductsWithTheirPisAndCofins) {
  run->Set("pExibirDadosProduto", "1");
  run->Set("pTipoMovimento", "1");  // the product loaders read entries only for movement 1
  ASSERT_EQ(run->Print(), "");
  const auto doc = Document(11);
  EXPECT_TRUE(
      Has(doc,
          "17 pSeq=Seq pProduto=Produto pClassificacao=Classificação Fiscal pQtde=Qtde "
          "pValUnit=Valor Unit. pValTotal=Valor Total pVlrPis=Valor PIS pVlrCofins=Valor COFINS"));
  EXPECT_TRUE(
      Has(doc,
          "17 pSeq=1 pProduto=Produto pQtde=1,00 pValUnit=100,00 pValTotal=100,00 pVlrPis=1,32 "
          "pVlrCofins=6,08"))
      << "product 3 is not registered: the description printed last stays";
  EXPECT_TRUE(Has(doc, "17 pSeq=2 pProduto=Feijão 1 kg pQtde=5,00"))
      << "NCM 0000.00.00 leaves the class empty";
  EXPECT_TRUE(Has(Document(1), "17 pSeq=1 pProduto=Arroz 5 kg pClassificacao=1006.30.21"));
  EXPECT_FALSE(Has(Document(1), "pSeq=991")) << "adjustment items are not listed";
}

TEST_F(Listing, OtherInformationInTwoColumns) {
  run->Set("pListarOutrasInfo", "1");
  ASSERT_EQ(run->Print(), "");
  // Movement 12: product totals and freight come from the exits.
  EXPECT_EQ(TraceOf(run->Sink(), 16).size(), 3u);
  EXPECT_TRUE(Has(Document(2),
                  "16 RTexto=Valor Total Produtos/Serviços (Qdte 10) RValor=300,00 "
                  "RTexto2=Valor Total Conhecimento Frete (Qdte NFs 1) RValor2=300,00"));
  run->Sink().Clear();
  run->Set("pTipoMovimento", "1");
  ASSERT_EQ(run->Print(), "");
  const auto doc = Document(11);
  const std::vector<std::string> block(doc.end() - 3, doc.end() - 1);
  EXPECT_EQ(block, (std::vector<std::string>{
                       "16 RTexto=Valor Total Produtos/Serviços (Qdte 7) RValor=160,00 "
                       "RTexto2=Diferencial de alíquota - material de us (6%) RValor2=1,80",
                       "16 RTexto=lusão do Valor Adicional RValor=2,00"}))
      << "three lines: two side by side, the third alone on the left (its first letters dropped)";
}

// The product totals' query begins as soon as the establishment's data are read; a run with
// nothing to list waits for it and drops it, and the runs after it read their own totals.
TEST_F(Listing, ProductTotalsOfARunWithNothingToListAreDropped) {
  run->Set("pListarOutrasInfo", "1");
  const std::string totals =
      "16 RTexto=Valor Total Produtos/Serviços (Qdte 10) RValor=300,00 "
      "RTexto2=Valor Total Conhecimento Frete (Qdte NFs 1) RValor2=300,00";
  for (const char* first_species : {"XYZ", ""}) {  // before the totals' cursor exists, and after
    run->Sink().Clear();
    run->Set("pEspecie", first_species);
    ASSERT_EQ(run->Print(), "");
    run->Sink().Clear();
    run->Set("pEspecie", "XYZ");
    ASSERT_EQ(run->Print(), "");
    EXPECT_TRUE(Lines(16).empty());
    run->Sink().Clear();
    run->Set("pEspecie", "");
    ASSERT_EQ(run->Print(), "");
    EXPECT_TRUE(Has(Document(2), totals)) << first_species;
  }
}

TEST_F(Listing, OperationTotalsAndTheTotalsBlock) {
  ASSERT_EQ(run->Print(), "");
  const auto totals = Lines(14);
  EXPECT_EQ(std::count_if(totals.begin(), totals.end(),
                          [](const std::string& l) {
                            return l.find("RTexto=12001  Diferencial") != std::string::npos;
                          }),
            1)
      << "operation 12001 of documents 1 and 11 gives one row";
  EXPECT_TRUE(Has(totals,
                  "p1 14 RTexto=12001  Diferencial de alíquota - material de uso e consumo "
                  "RTipo=Complementar RValor=3,00"));
  EXPECT_TRUE(Has(totals, "p1 14 RTipo=Subst. Trib. RValor=7,20"));
  EXPECT_TRUE(Has(totals, "p1 14 RTipo=Vr Adicional RValorContabil=70,00"));
  EXPECT_EQ(Lines(19).back(), "p1 19 CTexto=Total Tipo");
}

TEST_F(Listing, KeyRangeAndSpecies) {
  run->Set("pChaveInicial", "2");
  run->Set("pChaveFinal", "4");
  ASSERT_EQ(run->Print(), "");
  EXPECT_TRUE(Document(1).empty());
  EXPECT_FALSE(Document(4).empty());
  EXPECT_TRUE(Document(11).empty());
  run->Sink().Clear();
  run->Set("pChaveInicial", "");
  run->Set("pChaveFinal", "");
  run->Set("pEspecie", "nf");
  ASSERT_EQ(run->Print(), "");
  EXPECT_FALSE(Document(3).empty());
  EXPECT_TRUE(Document(1).empty());
}

TEST_F(Listing, NothingToListPrintsNothing) {
  run->Set("pEspecie", "XYZ");
  ASSERT_EQ(run->Print(), "");
  EXPECT_TRUE(Lines(13).empty());
  EXPECT_TRUE(Lines(19).empty()) << "not even the totals caption";
}

TEST_F(Listing, SummaryByCfop) {
  run->Set("pTotalizar", "4");
  ASSERT_EQ(run->Print(), "");
  const auto totals = Lines(14);
  EXPECT_TRUE(Has(
      totals, " 14 RTexto=1.102  Compra para comercialização RTipo=ICMS RValorContabil=230,00"));
  EXPECT_TRUE(Has(totals, " 14 RTexto=1.102  Compra para comercialização RTipo=IPI"))
      << "same CFOP, other tax type: another line";
  EXPECT_NE(Lines(19).back().find(" 19 CTexto=Total Natureza"), std::string::npos);
}

TEST_F(Listing, SummaryByDay) {
  run->Set("pTotalizar", "7");
  ASSERT_EQ(run->Print(), "");
  EXPECT_TRUE(Has(Lines(14), "14 RTexto=01/01/2026 RTipo=ICMS RValorContabil=300,00"));
  EXPECT_TRUE(Has(Lines(14), "14 RTexto=20/01/2026 RTipo=ISS"));
}

TEST_F(Listing, HeadingsAfterEveryPageBand) {
  // Without the marker section 15 the totals start a page of their own.
  run->Engine().SetLayout(ReportLayout({15}));
  ASSERT_EQ(run->Print(), "");
  std::vector<std::string> openings;
  const auto& entries = run->Sink().Entries();
  for (size_t i = 0; i + 3 < entries.size(); ++i) {
    if (entries[i].section == 1) {
      openings.push_back(std::to_string(entries[i + 1].section) + "," +
                         std::to_string(entries[i + 2].section) + "," +
                         std::to_string(entries[i + 3].section));
    }
  }
  ASSERT_GE(openings.size(), 2u);
  EXPECT_EQ(openings.front(), "0,9,11") << "the listing's column headings";
  EXPECT_EQ(openings.back(), "0,10,11") << "the totals' column headings";
}

// Counts the queries that reach the host's connection.
class CountingConnection : public TSQLConnection {
 public:
  explicit CountingConnection(std::unique_ptr<TSQLConnection> inner) : inner_(std::move(inner)) {}
  TSQLDialect Dialect() const override { return inner_->Dialect(); }
  std::string Description() const override { return inner_->Description(); }
  void Query(const std::string& sql, const TVariantArray& params, TSQLRowSink& sink) override {
    queries.push_back(sql);
    inner_->Query(sql, params, sink);
  }
  int64_t Execute(const std::string& sql, const TVariantArray& params) override {
    return inner_->Execute(sql, params);
  }
  void ExecuteScript(const std::string& sql) override { inner_->ExecuteScript(sql); }
  std::unique_ptr<TSQLBulkWriter> BulkInsert(const std::string& table,
                                             const std::vector<std::string>& columns) override {
    return inner_->BulkInsert(table, columns);
  }
  void BeginTransaction() override { inner_->BeginTransaction(); }
  void Commit() override { inner_->Commit(); }
  void Rollback() override { inner_->Rollback(); }
  bool InTransaction() const override { return inner_->InTransaction(); }
  std::vector<std::string> queries;

 private:
  std::unique_ptr<TSQLConnection> inner_;
};

TEST_F(Listing, MunicipalityQueryRunsOnlyWhenTheMunicipalityChanges) {
  auto counting = std::make_unique<CountingConnection>(OpenConnection(run->Target(), false));
  CountingConnection* connection = counting.get();
  Nutildb::SetConexaoPadrao(std::move(counting));
  run->Set("pTipoMovimento", "1");  // documents 1 (SP), 3 (MG), 11 (unknown), 15 (MG)
  ASSERT_EQ(run->Print(), "");
  const auto lookups =
      std::count_if(connection->queries.begin(), connection->queries.end(),
                    [](const std::string& q) { return q.rfind("select nomemunic", 0) == 0; });
  EXPECT_EQ(lookups, 2)
      << "documents 3 and 15 share Belo Horizonte; document 11 has no counterparty";
}

TEST(DemoMonth, SameReportInBothStorageModesAndOnBothDatabases) {
  std::string first;
  for (Backend backend : {Backend::SQLite, Backend::PostgreSQL}) {
    for (bool sqlite_storage : {false, true}) {
      auto run = ReportRun::OpenDemo(backend, 600);
      if (run == nullptr) {
        continue;
      }
      for (const auto& [name, value] :
           std::vector<std::pair<std::string, std::string>>{{"pDataInicial", "01/01/2026"},
                                                            {"pDataFinal", "31/01/2026"},
                                                            {"pTipoMovimento", "12"},
                                                            {"pTipoImposto", "1;2;10;11;12;13;15"},
                                                            {"pListarTotalImposto", "1"},
                                                            {"pListarOutrasInfo", "1"},
                                                            {"pExibirDadosPessoa", "1"},
                                                            {"pExibirDadosNatureza", "1"},
                                                            {"pTotalizar", "4"}}) {
        run->Set(name, value);
      }
      for (int company = 1; company <= 2; ++company) {
        for (int estab = 1; estab <= 2; ++estab) {
          run->AddEstab(company, estab);
        }
      }
      ASSERT_EQ(run->Print(sqlite_storage), "");
      const std::string trace = Trace(run->Sink());
      if (first.empty()) {
        first = trace;
        EXPECT_GT(TraceOf(run->Sink(), 13).size(), 600u);
        int first_pages = 0;
        for (const auto& e : run->Sink().Entries()) {
          first_pages += e.section == kHeaderSection && e.Field("Pagina") == "1" ? 1 : 0;
        }
        EXPECT_EQ(first_pages, 4) << "each establishment starts on its own page 1";
        EXPECT_GT(TraceOf(run->Sink(), kHeaderSection).size(), 8u) << "pages break by height";
      } else {
        EXPECT_TRUE(trace == first)
            << nrw::testing::BackendName(backend) << (sqlite_storage ? " sqlite" : " memory");
      }
    }
  }
}

// Golden traces of whole reports, the same in both storage modes and on both databases.
struct GoldenCase {
  const char* name;
  std::vector<std::pair<std::string, std::string>> params;
  std::vector<int32_t> without;
};

class GoldenReports : public ::testing::TestWithParam<GoldenCase> {};

TEST_P(GoldenReports, SameTraceEverywhere) {
  std::string first;
  for (Backend backend : {Backend::SQLite, Backend::PostgreSQL}) {
    for (bool sqlite_storage : {false, true}) {
      auto run = ReportRun::Open(backend);
      if (run == nullptr) {
        continue;  // PostgreSQL not available: SQLite alone is compared
      }
      run->SetDefaults();
      run->AddListingCases();
      for (const auto& [name, value] : GetParam().params) {
        run->Set(name, value);
      }
      // The layouts without sections are the test layout files.
      const std::string file = GetParam().without.empty()       ? ""
                               : GetParam().without.size() == 2 ? "without_15_16.json"
                                                                : "without_11_12_19.json";
      run->Engine().SetLayout(file.empty() ? ReportLayout()
                                           : LoadLayoutFile(std::string(NRW_SOURCE_DIR) +
                                                            "/tests/data/layouts/" + file));
      ASSERT_EQ(run->Print(sqlite_storage), "");
      const std::string trace = Trace(run->Sink());
      if (first.empty()) {
        first = trace;
        ExpectGolden(GetParam().name, trace);
      } else {
        EXPECT_EQ(trace, first) << nrw::testing::BackendName(backend)
                                << (sqlite_storage ? " sqlite" : " memory");
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Reports, GoldenReports,
                         ::testing::Values(GoldenCase{"all_options",
                                                      {{"pListarTotalImposto", "1"},
                                                       {"pListarOutrasInfo", "1"},
                                                       {"pExibirDadosPessoa", "1"},
                                                       {"pExibirDadosProduto", "1"},
                                                       {"pExibirDadosNatureza", "1"},
                                                       {"pLinhaHorizontal", "1"},
                                                       {"pTotalizar", "4"}},
                                                      {}},
                                           GoldenCase{"day_summary_model_1",
                                                      {{"pTotalizar", "7"},
                                                       {"ReportFor", "1"},
                                                       {"pOrdenacao", "5"},
                                                       {"pListarOutrasInfo", "1"}},
                                                      {}},
                                           GoldenCase{
                                               "without_15_and_16",
                                               {{"pListarOutrasInfo", "1"}, {"pTotalizar", "4"}},
                                               {15, 16}},
                                           GoldenCase{"without_11_12_19",
                                                      {{"pLinhaHorizontal", "1"},
                                                       {"pExibirDadosPessoa", "1"},
                                                       {"pExibirDadosProduto", "1"}},
                                                      {11, 12, 19}}),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace nfis::testing
