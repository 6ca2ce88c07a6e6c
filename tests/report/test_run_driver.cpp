// The run driver: progress stages, provider parameters, orderings, summaries, establishments,
// and the final block when a provider run fails in the middle of the loop.
#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <memory>

#include "host/data_module.hpp"
#include "host/exception.hpp"
#include "host/fiscal_provider.hpp"
#include "report/resumo_conf_lcto_fis.hpp"
#include "tests/report/run_harness.hpp"

namespace nfis::testing {
namespace {

// What the provider saw, for the tests to read after the run freed it.
struct Observed {
  std::vector<std::map<std::string, std::string>> params;  // at each execution
  std::vector<int32_t> old_company;                        // FOldCodigoEmpresa at each execution
  std::string tax_index, tax_filter, total_index, temp_file;
  int fail_on = 0;        // execution that raises (0: none)
  int fail_after_on = 0;  // execution whose tables cannot be ordered (0: none)
  const TnFisORResumoConfLctoFis* report = nullptr;
};
Observed observed;

class RecordingProvider : public TnFisDPListarLctoFisTotal {
 public:
  void Executar() override {
    std::map<std::string, std::string> values;
    for (const auto& item : Params()->Items()) {
      values[item->Name()] = item->AsString();
    }
    observed.params.push_back(values);
    if (observed.report != nullptr) {
      observed.old_company.push_back(observed.report->FOldCodigoEmpresa);
    }
    if (static_cast<int>(observed.params.size()) == observed.fail_on) {
      throw Exception("provider failed");
    }
    TnFisDPListarLctoFisTotal::Executar();
    observed.temp_file = ArquivoTemporario();
    if (static_cast<int>(observed.params.size()) == observed.fail_after_on) {
      // The counterparties without columns: ordering them by their code fails.
      Nutildb::CDSM(FindComponent("cdsPessoa"))->CreateDataSet({});
    }
  }
  ~RecordingProvider() override {
    observed.tax_index = Imposto()->IndexFieldNames();
    observed.tax_filter = Imposto()->Filter();
    observed.total_index = Nutildb::CDSM(FindComponent("cdsTotal"))->IndexFieldNames();
  }
};

class RunDriver : public ::testing::Test {
 protected:
  void SetUp() override {
    observed = Observed{};
    RegistrarClasseDM(TnFisDPListarLctoFisTotal::kClassName,
                      [] { return new RecordingProvider(); });
    run = ReportRun::Open(nrw::testing::Backend::SQLite);
    run->SetDefaults();
  }
  void TearDown() override {
    RegistrarClasseDM(TnFisDPListarLctoFisTotal::kClassName,
                      [] { return new TnFisDPListarLctoFisTotal(); });
  }
  std::vector<std::string> Stages() const {
    std::vector<std::string> stages;
    for (const std::string& s : run->Progress().stages) {
      if (s.rfind("Imposto Total Reg: ", 0) != 0) {
        stages.push_back(s);
      }
    }
    return stages;
  }
  // The report, made as the engine makes it, for a test to look inside after the run.
  std::unique_ptr<TnFisORResumoConfLctoFis> NewReport() {
    return std::unique_ptr<TnFisORResumoConfLctoFis>(static_cast<TnFisORResumoConfLctoFis*>(
        TnFisORResumoConfLctoFis::ClassType()->Create(&run->Engine())));
  }
  // What the run raised ("" when it raised nothing).
  static std::string FailureOf(TnFisORResumoConfLctoFis& report) {
    try {
      report.ImprimirInterno();
    } catch (const Exception& e) {
      return e.what();
    }
    return "";
  }
  std::unique_ptr<ReportRun> run;
};

TEST_F(RunDriver, StagesInOrder) {
  run->Set("pTotalizar", "4");
  ASSERT_EQ(run->Print(), "");
  EXPECT_EQ(Stages(),
            (std::vector<std::string>{"Iniciar Parametros", "Preparar TnFisDPListarLctoFisTotal",
                                      "Preparado TnFisDPListarLctoFisTotal",
                                      "Executar TnFisDPListarLctoFisTotal Empresa: 1 Filial: 1",
                                      "Processar dados", "Imprimir Conferencia",
                                      "Imprimir Totalizacao", "Concluido"}));
  for (int32_t step : run->Progress().steps) {
    EXPECT_TRUE(step == 0 || step == 100);
  }
  EXPECT_EQ(
      run->Progress().visibility,
      (std::vector<TnProgressoVisivel>{TnProgressoVisivel::Completo, TnProgressoVisivel::Oculto}));
  EXPECT_EQ(run->Progress().engine_progress, (std::vector<std::pair<int32_t, int32_t>>{{1, 1}}));
  EXPECT_FALSE(run->Engine().AfterSection().Assigned()) << "the event is cleared at the end";
}

TEST_F(RunDriver, ProviderParametersWithTheirDeliberatePairings) {
  run->Set("pTotalizar", "7");
  run->Set("pExibirDadosPessoa", "1");
  run->Set("pArquivoMagOrdemProd", "1");
  run->Set("pHoraInicial", "480");
  run->Set("pHoraFinal", "1080,5");
  run->Set("pCodigoPessoa", "10;30");
  run->Set("pCodigoCFOP", "5102");
  run->Set("pCodigoUsuario", "1");
  run->Set("pEspecie", " nfe ");
  run->Set("pTipoMovimento", "2");
  run->Set("pTipoImposto", "1;13");
  ASSERT_EQ(run->Print(), "");
  ASSERT_EQ(observed.params.size(), 1u);
  auto& p = observed.params[0];
  EXPECT_EQ(p["pDataInicial"], "01/01/2026");
  EXPECT_EQ(p["pDataFinal"], "31/01/2026");
  EXPECT_EQ(p["pTipoTotal"], "7");
  EXPECT_EQ(p["pListarICMS"], "1");
  EXPECT_EQ(p["pListarISS"], "0");
  EXPECT_EQ(p["pListarIPI"], "0");
  EXPECT_EQ(p["pListarPISCOFINS"], "0");
  EXPECT_EQ(p["pListarFunRural"], "0");
  EXPECT_EQ(p["pListarComplementar"], "0");
  EXPECT_EQ(p["pListarSubTribut"], "1");
  EXPECT_EQ(p["pSaida"], "1");
  EXPECT_EQ(p["pEntrada"], "0");
  EXPECT_EQ(p["pCodigoPessoa"], "10;30");
  EXPECT_EQ(p["pCodigoCFOP"], "5102");
  EXPECT_EQ(p["pListarHistorico"], "1");
  EXPECT_EQ(p["pListarDadosPessoa"], "1");
  EXPECT_EQ(p["pNaoUsaFinalidadeNormal"], "1");
  EXPECT_EQ(p["pEspecie"], "NFE");
  EXPECT_EQ(p["pTipoPeriodo"], "1");
  EXPECT_EQ(p["pHoraInicial"], "480") << "the raw minute text";
  EXPECT_EQ(p["pHoraFinal"], "1080,5");
  EXPECT_EQ(p["pCodigoUsuario"], "1");
  EXPECT_EQ(p["pCampoAdicional"], "0");
  EXPECT_EQ(p["pCodigoEmpresa"], "1");
  EXPECT_EQ(p["pCodigoEstab"], "1");
}

TEST_F(RunDriver, OrderingsChooseTheIndexAndTheExtraField) {
  const std::map<std::string, std::pair<std::string, std::string>> cases = {
      {"1", {"DATALCTOFIS;CHAVELCTOFIS;TIPOIMPOSTO;CodigoCFOP;AliqImposto", "0"}},
      {"2", {"CHAVELCTOFIS;TIPOIMPOSTO;CodigoCFOP;AliqImposto", "0"}},
      {"3", {"NumeroNF;CHAVELCTOFIS;TipoImposto;CodigoCFOP;AliqImposto", "1"}},
      {"4", {"DATALCTOFIS;NumeroNF;CHAVELCTOFIS;TipoImposto;CodigoCFOP;AliqImposto", "1"}},
      {"5", {"DATALCTOFIS;NomePessoa;CHAVELCTOFIS;TipoImposto;CodigoCFOP;AliqImposto", "2"}},
      {"6", {";CodigoCFOP;AliqImposto", "0"}}};
  for (const auto& [ordering, expected] : cases) {
    observed = Observed{};
    run->Set("pOrdenacao", ordering);
    ASSERT_EQ(run->Print(), "") << ordering;
    EXPECT_EQ(observed.tax_index, expected.first) << ordering;
    EXPECT_EQ(observed.params[0]["pCampoAdicional"], expected.second) << ordering;
  }
}

TEST_F(RunDriver, SummaryTableOrdering) {
  run->Set("pTotalizar", "4");
  ASSERT_EQ(run->Print(), "");
  EXPECT_EQ(observed.total_index, "CODIGOCFOP;TIPOIMPOSTO");
  run->Set("pTotalizar", "7");
  ASSERT_EQ(run->Print(), "");
  EXPECT_EQ(observed.total_index, "DATALCTOFIS;TIPOIMPOSTO");
  run->Set("pTotalizar", "5");
  ASSERT_EQ(run->Print(), "");
  EXPECT_EQ(observed.total_index, "") << "no summary: the table is not touched";
  EXPECT_EQ(std::count(run->Progress().stages.begin(), run->Progress().stages.end(),
                       "Imprimir Totalizacao"),
            2);
}

TEST_F(RunDriver, KeyRangeFilterOfTheListing) {
  run->Set("pChaveFinal", "3");
  ASSERT_EQ(run->Print(), "");
  EXPECT_EQ(observed.tax_filter, " CHAVELCTOFIS <= 3");
  run->Set("pChaveInicial", "2");
  ASSERT_EQ(run->Print(), "");
  EXPECT_EQ(observed.tax_filter, "CHAVELCTOFIS >= 2 and CHAVELCTOFIS <= 3");
}

TEST_F(RunDriver, EstablishmentsInOrderWithTheOldCompany) {
  run->AddEstab(1, 2);
  run->AddEstab(2, 1);
  auto report = NewReport();
  observed.report = report.get();
  report->ImprimirInterno();
  EXPECT_EQ(observed.old_company, (std::vector<int32_t>{-1, 1, 1}));
  ASSERT_EQ(observed.params.size(), 3u);
  EXPECT_EQ(observed.params[1]["pCodigoEstab"], "2");
  EXPECT_EQ(observed.params[2]["pCodigoEmpresa"], "2");
  EXPECT_EQ(run->Progress().engine_progress,
            (std::vector<std::pair<int32_t, int32_t>>{{1, 3}, {2, 3}, {3, 3}}));
  EXPECT_EQ(report->FOldCodigoEmpresa, 2);
}

TEST_F(RunDriver, EachEstablishmentStartsOnANewPage) {
  run->AddEstab(1, 2);
  ASSERT_EQ(run->Print(), "");
  std::vector<std::string> headers;
  for (const auto& e : run->Sink().Entries()) {
    if (e.section == kHeaderSection) {
      headers.push_back(e.Field("Estabelecimento") + " p" + std::to_string(e.page) + " " +
                        e.Field("Pagina"));
    }
  }
  EXPECT_EQ(headers, (std::vector<std::string>{"1 - Matriz p1 1", "2 - Filial Campinas p2 1"}));
}

TEST_F(RunDriver, FailureInTheMiddleReleasesEverything) {
  run->AddEstab(1, 2);
  observed.fail_on = 2;
  SetUsarSQLitePadrao(true);
  auto report = NewReport();
  EXPECT_EQ(FailureOf(*report), "provider failed");
  SetUsarSQLitePadrao(false);
  EXPECT_EQ(run->Progress().visibility.back(), TnProgressoVisivel::Oculto);
  EXPECT_EQ(report->FCabecalho, nullptr);
  EXPECT_EQ(report->ADM, nullptr);
  EXPECT_EQ(report->curProduto, nullptr);
  EXPECT_EQ(report->cdsPis, nullptr);
  EXPECT_FALSE(run->Engine().AfterSection().Assigned());
  ASSERT_FALSE(observed.temp_file.empty());
  EXPECT_FALSE(std::filesystem::exists(observed.temp_file));
  EXPECT_NE(Trace(run->Sink()).find("1 - Matriz"), std::string::npos)
      << "the first establishment stays printed";
}

// A run that fails after the second establishment's data are read and its PIS and COFINS
// tables made, with its product totals' query refreshing the cursor of the first: the final
// block waits for the query before it frees the cursor, and frees the tables.
TEST_F(RunDriver, FailureWithTheProductTotalsUnderWayReleasesThem) {
  run->AddEstab(1, 2);
  run->Set("pListarOutrasInfo", "1");
  observed.fail_after_on = 2;
  auto report = NewReport();
  const std::string failure = FailureOf(*report);
  EXPECT_NE(failure.find("CODIGOPESSOA"), std::string::npos) << failure;
  EXPECT_EQ(report->FTotalProdutoEmCurso, nullptr);
  EXPECT_EQ(report->curTotalProduto, nullptr);
  EXPECT_EQ(report->cdsPis, nullptr) << "the working tables made before the failure are freed";
  EXPECT_EQ(report->cdsCofins, nullptr);
  EXPECT_NE(Trace(run->Sink()).find("Valor Total Produtos"), std::string::npos)
      << "the first establishment's totals were printed";
}

TEST_F(RunDriver, FailureReachesImprimirsCallerUnchanged) {
  observed.fail_on = 1;
  EXPECT_EQ(run->Print(), "provider failed");
  EXPECT_EQ(TnrwBaseDll::LiveInstances(), 0);
}

}  // namespace
}  // namespace nfis::testing
