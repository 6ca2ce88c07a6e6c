// Subtotals of a run of lines of one tax type inside a document, and the run totals per fiscal
// operation of complementary ICMS lines.
#include "output/listagem_conferencia.hpp"

namespace nfis {
namespace {
constexpr int32_t kSecaoDocumento = 13;
}

void TListagemConferencia::ImprimirTotalTipo(int32_t ATipo) {
  const int grupo = GrupoDe(ATipo);
  if (grupo < 0) {
    return;
  }
  // A run of a single line prints no subtotal.
  if (Subtotais[grupo].Contador > 1) {
    ImprimirLinhaTotal(Subtotais[grupo]);
  }
  r_.IniciarTotal(Subtotais[grupo]);
}

void TListagemConferencia::ImprimirLinhaTotal(TRecTotal ATotal) {
  for (const char* campo : {"RDataLctoFis", "RDataEmissao", "RChaveLctoFis", "RNumeroNF",
                            "RSerieNF", "REspecieNF", "RPessoa", "RUF", "RAliquota", "RModelo"}) {
    Campo(campo, "");
  }
  Campo("RCodigoCFOP", "Total ");
  Campo("RTipo", "");
  CampoValor("RValorContabil", ATotal.ValorContabil);
  CampoValor("RBaseCalculo", ATotal.BaseImposto);
  CampoValor("RValor", ATotal.ValorImposto);
  CampoValor("RIsentas", ATotal.IsentasImposto);
  CampoValor("ROutras", ATotal.OutrasImposto);
  Imprimir(kSecaoDocumento);
}

int32_t TListagemConferencia::IndiceTotalOperacao(int32_t ACodigo) {
  for (size_t i = 0; i < TotaisOperacao.size(); ++i) {
    if (TotaisOperacao[i].CodigoOperacao == static_cast<double>(ACodigo)) {
      return static_cast<int32_t>(i);
    }
  }
  TotaisOperacao.emplace_back();
  r_.IniciarTotal(TotaisOperacao.back());
  TotaisOperacao.back().CodigoOperacao = ACodigo;
  return static_cast<int32_t>(TotaisOperacao.size() - 1);
}

}  // namespace nfis
