// The module's side of the layout contract: the after-section handler that opens every page
// with the standard header and the column headings, the blank line, and the host's striping and
// colour-change lists.
#include "host/report_header.hpp"
#include "host/sysutils.hpp"
#include "report/resumo_conf_lcto_fis.hpp"

namespace nfis {
namespace {

// "ReportFor" 2 is the output target on which striping is switched off.
constexpr int32_t kModeloSemZebra = 2;
const std::vector<int32_t> kSecoesListagem = {10, 11, 12, 13, 14, 16, 17, 18, 19};
constexpr int32_t kFaixaCabecalho = 1, kColunasListagem = 9, kColunasTotais = 10, kRegua = 11;
constexpr int32_t kLinhaNota = 12;

}  // namespace

// Band 1, the two column headings, the document lines and the total lines are the report itself;
// the rules, notes, markers, other information and legends may be left out of a layout. Products
// and natures print when asked for, so a layout must hold them too.
const TLayoutContract& TnFisORResumoConfLctoFis::ContratoLayout() {
  static const TLayoutContract kContrato = {
      {kFaixaCabecalho, kColunasListagem, kColunasTotais, 13, 14, 17, 18},
      {{kLinhaNota, {"RTexto"}},
       {13,
        {"RDataLctoFis", "RDataEmissao", "RChaveLctoFis", "RNumeroNF", "RSerieNF", "REspecieNF",
         "RPessoa", "RUF", "RModelo", "RCodigoCFOP", "RTipo", "RAliquota", "RValorContabil",
         "RBaseCalculo", "RValor", "RIsentas", "ROutras"}},
       {14, {"RTexto", "RTipo", "RValorContabil", "RBaseCalculo", "RValor", "RIsentas", "ROutras"}},
       {16, {"RTexto", "RValor", "RTexto2", "RValor2"}},
       {17,
        {"pSeq", "pProduto", "pClassificacao", "pQtde", "pValUnit", "pValTotal", "pVlrPis",
         "pVlrCofins"}},
       {18, {"RNatureza"}},
       {19, {"CTexto"}}}};
  return kContrato;
}

std::vector<int32_t> TnFisORResumoConfLctoFis::CriarListaSectionsParaZebrar() {
  if (StrToIntDef(RepParam("ReportFor"), kModeloSemZebra) == kModeloSemZebra) {
    return {};
  }
  return kSecoesListagem;
}

std::vector<int32_t> TnFisORResumoConfLctoFis::CriarListaSectionsTrocaCor() {
  return kSecoesListagem;
}

void TnFisORResumoConfLctoFis::DoAfterSection(TObject* /*Sender*/, int32_t Section) {
  if (Section != kFaixaCabecalho) {
    return;
  }
  FCabecalho->ImpressaoCabecalho();
  Report()->RepPrintSection(FTipoCabecalho == 1 ? kColunasListagem : kColunasTotais);
  Report()->RepPrintSection(kRegua);
}

void TnFisORResumoConfLctoFis::LinhaEmBranco() {
  if (Report()->DelphiCanPrintSection(kLinhaNota)) {
    RepParam("RTexto", "");
    Report()->RepPrintSection(kLinhaNota);
  }
}

}  // namespace nfis
