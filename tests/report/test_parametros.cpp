#include "tests/report/report_fixture.hpp"

namespace nfis::testing {
namespace {

using Parametros = ReportFixture;

TEST_F(Parametros, ConvertsEveryParameter) {
  SetParams({{"pDataInicial", "01/01/2026"},
             {"pDataFinal", "31/01/2026"},
             {"pHoraInicial", "480"},
             {"pHoraFinal", "1080"},
             {"pTipoPeriodo", "2"},
             {"pTipoMovimento", "12"},
             {"pTipoImposto", "1;2;10"},
             {"pTotalizar", "4"},
             {"pListarTotalImposto", "1"},
             {"pListarOutrasInfo", "1"},
             {"pExibirDadosPessoa", "1"},
             {"pExibirDadosProduto", "1"},
             {"pExibirDadosNatureza", "1"},
             {"pLinhaHorizontal", "1"},
             {"pArquivoMagOrdemProd", "1"},
             {"pOrdenacao", "3"},
             {"ReportFor", "1"},
             {"pChaveInicial", "100"},
             {"pChaveFinal", "200"},
             {"pEspecie", "  nfe "}});
  ASSERT_EQ(ValidationMessage(), "");
  const TnFisORResumoConfLctoFis& r = *object;
  EXPECT_EQ(r.FDataInicial, EncodeDate(2026, 1, 1));
  EXPECT_EQ(r.FDataFinal, EncodeDate(2026, 1, 31));
  EXPECT_DOUBLE_EQ(r.FHoraInicial, 1.0 / 3.0);
  EXPECT_DOUBLE_EQ(r.FHoraFinal, 0.75);
  EXPECT_EQ(r.FTipoPeriodo, 2);
  EXPECT_EQ(r.FTipoMovimento, 12);
  EXPECT_TRUE(r.FListarResumoCFOP);
  EXPECT_FALSE(r.FListarResumoDia);
  EXPECT_TRUE(r.FListarTotalImposto);
  EXPECT_TRUE(r.FListarOutrasInfo);
  EXPECT_TRUE(r.FExibirDadosPessoa);
  EXPECT_TRUE(r.FExibirDadosProduto);
  EXPECT_TRUE(r.FExibirDadosNatureza);
  EXPECT_TRUE(r.FLinhaHorizontal);
  EXPECT_TRUE(r.FArquivoMagOrdemProd);
  EXPECT_EQ(r.FOrdenacao, 3);
  EXPECT_EQ(r.FModeloImpressao, 1);
  EXPECT_EQ(r.FChaveInicial, 100.0);
  EXPECT_EQ(r.FChaveFinal, 200.0);
  EXPECT_EQ(r.FEspecie, "NFE");
  EXPECT_EQ(engine->RepParam("pTipoImposto"), ";1;2;10;");
}

TEST_F(Parametros, DefaultsForAbsentOrUnreadableTexts) {
  SetValidParams();
  SetParams({{"pOrdenacao", "x"},
             {"ReportFor", ""},
             {"pListarTotalImposto", "yes"},
             {"pHoraInicial", "abc"},
             {"pEspecie", "série"}});
  ASSERT_EQ(ValidationMessage(), "");
  EXPECT_EQ(object->FOrdenacao, 2);
  EXPECT_EQ(object->FModeloImpressao, 2);
  EXPECT_EQ(object->FTipoPeriodo, 1);
  EXPECT_FALSE(object->FListarTotalImposto);
  EXPECT_EQ(object->FHoraInicial, 0.0);
  EXPECT_EQ(object->FChaveInicial, 0.0);
  EXPECT_EQ(object->FEspecie, "SÉRIE");
}

TEST_F(Parametros, AYesOptionIsExactlyTheIntegerOne) {
  SetValidParams();
  SetParams({{"pLinhaHorizontal", "01"}, {"pExibirDadosProduto", "2"}});
  ASSERT_EQ(ValidationMessage(), "");
  EXPECT_TRUE(object->FLinhaHorizontal);
  EXPECT_FALSE(object->FExibirDadosProduto);
}

TEST_F(Parametros, UnreadableStartDateBecomesDayZeroAndPasses) {
  SetValidParams();
  SetParams({{"pDataInicial", "not a date"}});
  EXPECT_EQ(ValidationMessage(), "");
  EXPECT_EQ(object->FDataInicial, 0.0);
}

TEST_F(Parametros, StartDateAfterEndDate) {
  SetValidParams();
  SetParams({{"pDataInicial", "01/02/2026"}});
  EXPECT_EQ(ValidationMessage(), "Data inicial deve ser inferior a data final.");
}

TEST_F(Parametros, EqualDatesAreAccepted) {
  SetValidParams();
  SetParams({{"pDataFinal", "01/01/2026"}});
  EXPECT_EQ(ValidationMessage(), "");
}

TEST_F(Parametros, TimesAreNotComparedForPeriodKindOne) {
  SetValidParams();
  SetParams({{"pDataFinal", "01/01/2026"},
             {"pTipoPeriodo", "1"},
             {"pHoraInicial", "600"},
             {"pHoraFinal", "480"}});
  EXPECT_EQ(ValidationMessage(), "");
}

TEST_F(Parametros, StartTimeAfterEndTimeOnASingleDay) {
  SetValidParams();
  SetParams({{"pDataFinal", "01/01/2026"},
             {"pTipoPeriodo", "2"},
             {"pHoraInicial", "600"},
             {"pHoraFinal", "480"}});
  EXPECT_EQ(ValidationMessage(), "Hora inicial deve ser menor que hora final.");
}

TEST_F(Parametros, TimesOfALongerPeriodAreNotCompared) {
  SetValidParams();
  SetParams({{"pTipoPeriodo", "2"}, {"pHoraInicial", "600"}, {"pHoraFinal", "480"}});
  EXPECT_EQ(ValidationMessage(), "");
}

TEST_F(Parametros, EqualTimesAreAccepted) {
  SetValidParams();
  SetParams({{"pDataFinal", "01/01/2026"},
             {"pTipoPeriodo", "2"},
             {"pHoraInicial", "480"},
             {"pHoraFinal", "480"}});
  EXPECT_EQ(ValidationMessage(), "");
}

TEST_F(Parametros, FinalKeyZeroMeansNoLimit) {
  SetValidParams();
  SetParams({{"pChaveInicial", "500"}, {"pChaveFinal", "0"}});
  EXPECT_EQ(ValidationMessage(), "");
}

TEST_F(Parametros, StartKeyAfterFinalKey) {
  SetValidParams();
  SetParams({{"pChaveInicial", "500"}, {"pChaveFinal", "100"}});
  EXPECT_EQ(ValidationMessage(),
            "Número de lançamento inicial deve ser inferior ao número de lançamento final.");
}

TEST_F(Parametros, MovementTypeMustBeSet) {
  SetValidParams();
  SetParams({{"pTipoMovimento", ""}});
  EXPECT_EQ(ValidationMessage(), "Tipo do movimento não definido para este relatório.");
  SetParams({{"pTipoMovimento", "x"}});
  EXPECT_EQ(ValidationMessage(), "Tipo do movimento não definido para este relatório.");
}

TEST_F(Parametros, MovementTypeThreePassesButSelectsNothing) {
  SetValidParams();
  SetParams({{"pTipoMovimento", "3"}});
  EXPECT_EQ(ValidationMessage(), "");
  EXPECT_EQ(object->VerificarOpcao(1), 0);
  EXPECT_EQ(object->VerificarOpcao(2), 0);
}

TEST_F(Parametros, DateRuleComesBeforeTheOthers) {
  SetParams({{"pDataInicial", "02/01/2026"},
             {"pDataFinal", "01/01/2026"},
             {"pChaveInicial", "9"},
             {"pChaveFinal", "1"}});
  EXPECT_EQ(ValidationMessage(), "Data inicial deve ser inferior a data final.");
}

TEST_F(Parametros, IpiAloneFailsTheFirstTaxRule) {
  SetValidParams();
  SetParams({{"pTipoImposto", "10"}});
  EXPECT_EQ(ValidationMessage(),
            "Selecione ICMS, ISS ou FunRural para listar os demais tipos de impostos.");
  EXPECT_EQ(engine->RepParam("pTipoImposto"), ";10;");
}

TEST_F(Parametros, IssWithIpiFailsTheSecondTaxRule) {
  SetValidParams();
  SetParams({{"pTipoImposto", "2;10"}});
  EXPECT_EQ(ValidationMessage(),
            "Tipo de imposto ICMS deve ser selecionado junto com o tipo de imposto IPI");
}

TEST_F(Parametros, FunRuralAloneIsAccepted) {
  SetValidParams();
  SetParams({{"pTipoImposto", "11"}});
  EXPECT_EQ(ValidationMessage(), "");
}

TEST_F(Parametros, EmptyTaxListBecomesASingleSemicolon) {
  SetValidParams();
  SetParams({{"pTipoImposto", ""}});
  EXPECT_EQ(ValidationMessage(),
            "Selecione ICMS, ISS ou FunRural para listar os demais tipos de impostos.");
  EXPECT_EQ(engine->RepParam("pTipoImposto"), ";");
}

TEST_F(Parametros, TaxListNormalization) {
  SetValidParams();
  SetParams({{"pTipoImposto", ";1;"}});
  ASSERT_EQ(ValidationMessage(), "");
  EXPECT_EQ(engine->RepParam("pTipoImposto"), ";1;");
  SetParams({{"pTipoImposto", "1"}});
  ASSERT_EQ(ValidationMessage(), "");
  EXPECT_EQ(engine->RepParam("pTipoImposto"), ";1;");
  SetParams({{"pTipoImposto", "1;"}});
  ASSERT_EQ(ValidationMessage(), "");
  EXPECT_EQ(engine->RepParam("pTipoImposto"), ";1;");
}

TEST_F(Parametros, TotalizarSelectsOneSummary) {
  SetValidParams();
  SetParams({{"pTotalizar", "4"}});
  ASSERT_EQ(ValidationMessage(), "");
  EXPECT_TRUE(object->FListarResumoCFOP);
  EXPECT_FALSE(object->FListarResumoDia);
  SetParams({{"pTotalizar", "7"}});
  ASSERT_EQ(ValidationMessage(), "");
  EXPECT_FALSE(object->FListarResumoCFOP);
  EXPECT_TRUE(object->FListarResumoDia);
  SetParams({{"pTotalizar", "CFOP"}});
  ASSERT_EQ(ValidationMessage(), "");
  EXPECT_FALSE(object->FListarResumoCFOP);
  EXPECT_FALSE(object->FListarResumoDia);
}

TEST_F(Parametros, FieldsSetBeforeAFailingRuleKeepTheirValues) {
  SetValidParams();
  SetParams({{"pTipoMovimento", "0"}, {"pOrdenacao", "5"}});
  EXPECT_EQ(ValidationMessage(), "Tipo do movimento não definido para este relatório.");
  EXPECT_EQ(object->FOrdenacao, 5);
}

TEST_F(Parametros, VerificarOpcaoIsASubstringTest) {
  SetParams({{"pTipoMovimento", "12"}});
  EXPECT_EQ(object->VerificarOpcao(1), 1);
  EXPECT_EQ(object->VerificarOpcao(2), 1);
  SetParams({{"pTipoMovimento", "21"}});
  EXPECT_EQ(object->VerificarOpcao(1), 1);
  EXPECT_EQ(object->VerificarOpcao(2), 1);
  SetParams({{"pTipoMovimento", "2"}});
  EXPECT_EQ(object->VerificarOpcao(1), 0);
  EXPECT_EQ(object->VerificarOpcao(2), 1);
  SetParams({{"pTipoMovimento", "112"}});
  EXPECT_EQ(object->VerificarOpcao(11), 1) << "a two-digit code matches inside a longer number";
}

TEST_F(Parametros, VerificarImpostoNeedsTheDelimiters) {
  SetParams({{"pTipoImposto", ";11;12;"}});
  EXPECT_EQ(object->VerificarImposto(1), "0");
  EXPECT_EQ(object->VerificarImposto(11), "1");
  EXPECT_EQ(object->VerificarImposto(12), "1");
  SetParams({{"pTipoImposto", "1;2"}});
  EXPECT_EQ(object->VerificarImposto(1), "0") << "without normalization the first entry is missed";
  EXPECT_EQ(object->VerificarImposto(2), "0");
}

}  // namespace
}  // namespace nfis::testing
