// The PIS (or COFINS) lines of a document: one line per group of item rows with the same CFOP
// and rate, and a document subtotal. The others column adds, at every row, the running
// difference of the group (accounting minus base so far), not the row's own difference.
#include <string>

#include "host/fiscal_provider.hpp"
#include "output/listagem_conferencia.hpp"
#include "report/tipo_imposto.hpp"

namespace nfis {
namespace {
constexpr int32_t kSecaoDocumento = 13;
}  // namespace

void TListagemConferencia::ImprimirPisCofinsDocumento(TDataSet* ATabela, int32_t ATipo) {
  const bool pis = ATipo == kTipoPIS;
  const char* rotulo = pis ? "PIS" : "COFINS";
  const int32_t ixValor = pis ? r_.FixPC_ValorPIS : r_.FixPC_ValorCOFINS;
  const int32_t ixAliquota = pis ? r_.FixPC_AliqPIS : r_.FixPC_AliqCOFINS;
  TRecTotal& totalTipo = pis ? Total15 : Total16;
  TRecTotal subtotal;
  r_.IniciarTotal(subtotal);
  r_.IniciarTotal(TotalLinha);
  double contabil = 0, base = 0, valor = 0, outras = 0, aliquota = 0;
  int32_t linhas = 0;
  if (!r_.LocalizarChave(ATabela, {ChaveAtual})) {
    return;
  }
  r_.DefinirFaixa(ATabela, {ChaveAtual}, {ChaveAtual});
  // A row's group is the text of its CFOP followed by the text of its rate; each row's is read
  // once, as the next row of the one before.
  TTextoDeReal& textoAliquota = pis ? *aliquota_pis_ : *aliquota_cofins_;
  const auto lerGrupo = [&](std::string& cfopLido, std::string& grupo) {
    cfopLido.clear();
    ATabela->AppendString(r_.FixPC_CodigoCFOP, cfopLido);
    grupo.assign(cfopLido);
    textoAliquota.Anexar(grupo);
  };
  std::string cfop, chaveGrupo, cfopProximo, proxima;
  lerGrupo(cfop, chaveGrupo);
  while (!ATabela->Eof()) {
    const double contabilLinha = ATabela->GetFloat(r_.FixPC_ValorContabil);
    const double baseLinha = ATabela->GetFloat(r_.FixPC_BasePisCofins);
    TotalLinha.ValorContabil = contabilLinha;
    TotalLinha.BaseImposto = baseLinha;
    TotalLinha.IsentasImposto = 0;
    TotalLinha.OutrasImposto = contabilLinha - baseLinha;
    contabil += contabilLinha;
    base += baseLinha;
    outras += contabil - base;
    TotalLinha.ValorImposto = ATabela->GetFloat(ixValor);
    r_.CalcularTotal(totalTipo, TotalLinha);
    r_.CalcularTotal(subtotal, TotalLinha);
    valor += TotalLinha.ValorImposto;
    aliquota = ATabela->GetFloat(ixAliquota);
    ATabela->Next();
    // Texts, not numbers, are compared; at the end the row read is the last one again.
    lerGrupo(cfopProximo, proxima);
    const bool mesmoGrupo = proxima == chaveGrupo && !ATabela->Eof();
    if (mesmoGrupo) {
      cfop.swap(cfopProximo);
      continue;
    }
    LimparDadosDocumento();
    Campo(linha_.tipo, rotulo);
    Campo(linha_.cfop, FormatarCFOP(cfop));
    CampoValor(linha_.aliquota, aliquota);
    CampoValor(linha_.contabil, contabil);
    CampoValor(linha_.base, base);
    CampoValor(linha_.valor, valor);
    CampoValor(linha_.isentas, 0);
    CampoValor(linha_.outras, outras);
    FimDePaginaSemMarcador();
    Imprimir(kSecaoDocumento);
    ++linhas;
    contabil = base = valor = outras = 0;
    cfop.swap(cfopProximo);
    chaveGrupo.swap(proxima);
  }
  r_.CancelarFaixa(ATabela);
  if (r_.FListarTotalImposto && !ATabela->IsEmpty() && linhas > 1) {
    Campo(linha_.modelo, "");
    Campo(linha_.cfop, "Total ");
    Campo(linha_.tipo, "");
    CampoValor(linha_.contabil, subtotal.ValorContabil);
    CampoValor(linha_.base, subtotal.BaseImposto);
    CampoValor(linha_.valor, subtotal.ValorImposto);
    CampoValor(linha_.isentas, 0);
    CampoValor(linha_.outras, 0);
    // The rate keeps the last group's.
    Imprimir(kSecaoDocumento);
  }
}

}  // namespace nfis
