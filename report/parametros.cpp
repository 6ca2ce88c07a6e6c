// The report parameters: IniciarParametros converts the texts of the parameter screen into the
// report's fields once per run and rejects contradictory requests; VerificarOpcao and
// VerificarImposto answer from the raw texts which movements and taxes are selected.
#include <string>

#include "host/exception.hpp"
#include "host/sysutils.hpp"
#include "report/resumo_conf_lcto_fis.hpp"
#include "report/tipo_imposto.hpp"

namespace nfis {
namespace {

// The parameter screen's times are minutes since midnight; the fields hold fractions of a day.
constexpr double kMinutosPorDia = 1440.0;

constexpr int32_t kOrdenacaoPadrao = 2;
constexpr int32_t kModeloImpressaoPadrao = 2;
constexpr int32_t kTipoPeriodoPadrao = 1;
constexpr int32_t kTotalizarResumoCFOP = 4;
constexpr int32_t kTotalizarResumoDia = 7;

const char* const kMsgDataInicial = "Data inicial deve ser inferior a data final.";
const char* const kMsgHoraInicial = "Hora inicial deve ser menor que hora final.";
const char* const kMsgChaveInicial =
    "Número de lançamento inicial deve ser inferior ao número de lançamento final.";
const char* const kMsgTipoMovimento = "Tipo do movimento não definido para este relatório.";
const char* const kMsgSelecioneImposto =
    "Selecione ICMS, ISS ou FunRural para listar os demais tipos de impostos.";
const char* const kMsgIcmsComIpi =
    "Tipo de imposto ICMS deve ser selecionado junto com o tipo de imposto IPI";

}  // namespace

void TnFisORResumoConfLctoFis::IniciarParametros() {
  // A yes/no option is yes only for a text that reads as exactly the integer 1.
  auto opcao = [this](const char* name) { return StrToIntDef(RepParam(name), 0) == 1; };

  FDataInicial = StrToDateDef(RepParam("pDataInicial"), 0);
  FDataFinal = StrToDateDef(RepParam("pDataFinal"), 0);
  FListarTotalImposto = opcao("pListarTotalImposto");
  FListarResumoCFOP = StrToIntDef(RepParam("pTotalizar"), 0) == kTotalizarResumoCFOP;
  FListarResumoDia = StrToIntDef(RepParam("pTotalizar"), 0) == kTotalizarResumoDia;
  FTipoMovimento = StrToIntDef(RepParam("pTipoMovimento"), 0);
  FListarOutrasInfo = opcao("pListarOutrasInfo");
  FExibirDadosPessoa = opcao("pExibirDadosPessoa");
  FExibirDadosProduto = opcao("pExibirDadosProduto");
  FLinhaHorizontal = opcao("pLinhaHorizontal");
  FOrdenacao = StrToIntDef(RepParam("pOrdenacao"), kOrdenacaoPadrao);
  FModeloImpressao = StrToIntDef(RepParam("ReportFor"), kModeloImpressaoPadrao);
  FChaveInicial = StrToIntDef(RepParam("pChaveInicial"), 0);
  FChaveFinal = StrToIntDef(RepParam("pChaveFinal"), 0);
  FEspecie = AnsiUpperCase(Trim(RepParam("pEspecie")));
  FExibirDadosNatureza = opcao("pExibirDadosNatureza");
  FArquivoMagOrdemProd = opcao("pArquivoMagOrdemProd");
  FTipoPeriodo = StrToIntDef(RepParam("pTipoPeriodo"), kTipoPeriodoPadrao);
  FHoraInicial = StrToFloatDef(RepParam("pHoraInicial"), 0) / kMinutosPorDia;
  FHoraFinal = StrToFloatDef(RepParam("pHoraFinal"), 0) / kMinutosPorDia;

  if (FDataInicial > FDataFinal) {
    throw Exception(kMsgDataInicial);
  }
  // Times are compared only when the period is a single day.
  if (FTipoPeriodo != 1 && FDataInicial == FDataFinal && FHoraInicial > FHoraFinal) {
    throw Exception(kMsgHoraInicial);
  }
  // A final number of 0 means no upper limit.
  if (FChaveInicial > FChaveFinal && FChaveFinal > 0) {
    throw Exception(kMsgChaveInicial);
  }
  if (FTipoMovimento == 0) {
    throw Exception(kMsgTipoMovimento);
  }

  // The tax list gets a leading and a trailing ";" so that VerificarImposto can look for
  // ";code;" (an empty list becomes a single ";").
  if (const std::string tipos = RepParam("pTipoImposto"); tipos.empty() || tipos.back() != ';') {
    RepParam("pTipoImposto", tipos + ";");
  }
  if (std::string tipos = RepParam("pTipoImposto"); tipos.front() != ';') {
    RepParam("pTipoImposto", tipos.insert(0, 1, ';'));
  }

  if (VerificarImposto(kTipoICMS) == "0" && VerificarImposto(kTipoISS) == "0" &&
      VerificarImposto(kTipoFunRural) == "0") {
    throw Exception(kMsgSelecioneImposto);
  }
  if (VerificarImposto(kTipoIPI) == "1" && VerificarImposto(kTipoICMS) == "0") {
    throw Exception(kMsgIcmsComIpi);
  }
}

int32_t TnFisORResumoConfLctoFis::VerificarOpcao(int32_t _AOpcao) {
  // A plain substring test, not a list lookup: "12" selects both 1 and 2.
  return ContainsText(RepParam("pTipoMovimento"), std::to_string(_AOpcao)) ? 1 : 0;
}

std::string TnFisORResumoConfLctoFis::VerificarImposto(int32_t _ATipoImposto) {
  std::string tipo(1, ';');
  tipo.append(std::to_string(_ATipoImposto)).push_back(';');
  return RepParam("pTipoImposto").find(tipo) != std::string::npos ? "1" : "0";
}

}  // namespace nfis
