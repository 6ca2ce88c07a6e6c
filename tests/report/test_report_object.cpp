#include "tests/report/report_fixture.hpp"

namespace nfis::testing {
namespace {

using ReportObject = ReportFixture;

const std::vector<int32_t> kNineSections = {10, 11, 12, 13, 14, 16, 17, 18, 19};

TEST_F(ReportObject, VersionText) {
  EXPECT_EQ(object->Versao(), "[versao: 1.1.31.0]");
}

TEST_F(ReportObject, StartsWithEveryFieldCleared) {
  EXPECT_EQ(object->FCabecalho, nullptr);
  EXPECT_EQ(object->ADM, nullptr);
  EXPECT_EQ(object->cdsImposto, nullptr);
  EXPECT_EQ(object->curProduto, nullptr);
  EXPECT_EQ(object->FTipoMovimento, 0);
  EXPECT_EQ(object->FOldCodigoEmpresa, 0);
  EXPECT_EQ(object->ixTFR_QtdeNotas, 0);
  EXPECT_EQ(object->FixPC_AliqCOFINS, 0);
  EXPECT_FALSE(object->FListarOutrasInfo);
  EXPECT_EQ(object->FEspecie, "");
  EXPECT_EQ(object->Report(), engine.get());
}

TEST_F(ReportObject, StripeListIsEmptyForReportForTwoOrUnreadable) {
  SetParams({{"ReportFor", "2"}});
  EXPECT_TRUE(object->CriarListaSectionsParaZebrar().empty());
  SetParams({{"ReportFor", ""}});
  EXPECT_TRUE(object->CriarListaSectionsParaZebrar().empty());
  SetParams({{"ReportFor", "abc"}});
  EXPECT_TRUE(object->CriarListaSectionsParaZebrar().empty());
}

TEST_F(ReportObject, StripeListHasNineSectionsForOtherTargets) {
  SetParams({{"ReportFor", "1"}});
  EXPECT_EQ(object->CriarListaSectionsParaZebrar(), kNineSections);
  SetParams({{"ReportFor", "3"}});
  EXPECT_EQ(object->CriarListaSectionsParaZebrar(), kNineSections);
}

TEST_F(ReportObject, ColourListIsAlwaysTheNineSections) {
  for (const char* target : {"1", "2", "3", "", "abc"}) {
    SetParams({{"ReportFor", target}});
    EXPECT_EQ(object->CriarListaSectionsTrocaCor(), kNineSections) << target;
  }
}

TEST_F(ReportObject, NoEstablishmentMeansNothingShownNorValidated) {
  SetParams({{"pDataInicial", "02/01/2026"}, {"pDataFinal", "01/01/2026"}});
  EXPECT_NO_THROW(object->ImprimirInterno());
  EXPECT_TRUE(progress.stages.empty());
  EXPECT_TRUE(progress.visibility.empty());
  EXPECT_EQ(engine->RepParam("pTipoImposto"), "") << "parameters are not touched";
}

TEST_F(ReportObject, InvalidParametersStopTheRunWithTheProgressShown) {
  AddEstablishment(1, 1);
  SetParams({{"pDataInicial", "02/01/2026"}, {"pDataFinal", "01/01/2026"}});
  try {
    object->ImprimirInterno();
    FAIL() << "no exception";
  } catch (const Exception& e) {
    EXPECT_STREQ(e.what(), "Data inicial deve ser inferior a data final.");
  }
  EXPECT_EQ(progress.stages, std::vector<std::string>{"Iniciar Parametros"});
  EXPECT_EQ(progress.steps, std::vector<int32_t>{0});
  EXPECT_EQ(progress.visibility, std::vector<TnProgressoVisivel>{TnProgressoVisivel::Completo});
  EXPECT_EQ(progress.circular, std::vector<bool>{true});
  EXPECT_EQ(object->FCabecalho, nullptr);
  EXPECT_FALSE(engine->AfterSection().Assigned());
}

}  // namespace
}  // namespace nfis::testing

namespace nfis::testing {
namespace {

std::string ContractProblem(const std::string& file) {
  try {
    CheckLayoutContract(LoadLayoutFile(file),
                        *TnFisORResumoConfLctoFis::ClassType()->LayoutContract(), file);
  } catch (const Exception& e) {
    return e.what();
  }
  return "";
}

TEST(LayoutContract, TheShippedLayoutAndTheVariantsWithoutOptionalSectionsHoldIt) {
  const std::string root = std::string(NRW_SOURCE_DIR);
  EXPECT_EQ(ContractProblem(root + "/layouts/ResumoConfLctoFis.json"), "");
  EXPECT_EQ(ContractProblem(root + "/tests/data/layouts/without_15_16.json"), "");
  EXPECT_EQ(ContractProblem(root + "/tests/data/layouts/without_11_12_19.json"), "");
}

TEST(LayoutContract, ALayoutWithoutAFieldOrARequiredSectionIsRefused) {
  const TLayoutContract& contract = TnFisORResumoConfLctoFis::ContratoLayout();
  TReportLayout layout =
      LoadLayoutFile(std::string(NRW_SOURCE_DIR) + "/layouts/ResumoConfLctoFis.json");
  TLayoutSection tax_line = *layout.Section(13);
  std::erase(tax_line.fields, "RNumeroNF");
  layout.AddSection(tax_line);
  try {
    CheckLayoutContract(layout, contract, "x.json");
    FAIL() << "a tax line without the document number was accepted";
  } catch (const Exception& e) {
    EXPECT_STREQ(e.what(), "layout x.json: section 13 lacks the field \"RNumeroNF\"");
  }
  layout.RemoveSection(13);
  try {
    CheckLayoutContract(layout, contract, "x.json");
    FAIL() << "a layout without the document lines was accepted";
  } catch (const Exception& e) {
    EXPECT_STREQ(e.what(), "layout x.json: the report needs section 13");
  }
}

}  // namespace
}  // namespace nfis::testing
