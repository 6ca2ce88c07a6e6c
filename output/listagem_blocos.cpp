// The blocks printed under a document: its products with their PIS and COFINS, and the
// other-information block in two columns.
#include <algorithm>
#include <array>
#include <string_view>

#include "host/sql.hpp"
#include "output/listagem_conferencia.hpp"

namespace nfis {
namespace {

constexpr int32_t kSecaoOutrasInfo = 16, kSecaoProduto = 17, kSecaoLegenda = 19;
const char* const kSemClassificacao = "0000.00.00";
// The ordering prefix ("01-", "02-", "05-") that other-information lines drop when printed.
constexpr size_t kPrefixoOrdem = 3;
constexpr size_t kLimiteTextoComAliquota = 40;

// Characters (not bytes) of a UTF-8 text, from `first` on, at most `count` of them.
std::string_view Caracteres(std::string_view text, size_t first, size_t count) {
  size_t index = 0, begin = text.size(), end = text.size();
  for (size_t i = 0; i <= text.size(); ++i) {
    if (i == text.size() || (static_cast<unsigned char>(text[i]) & 0xC0) != 0x80) {
      if (index == first) {
        begin = i;
      }
      if (count != std::string::npos && index == first + count) {
        end = i;
        break;
      }
      ++index;
    }
  }
  return begin >= text.size() ? std::string_view() : text.substr(begin, end - begin);
}

// The first three ';'-separated parts of a line (text, rate, value); missing parts are empty.
std::array<std::string_view, 3> Partes(std::string_view linha) {
  std::array<std::string_view, 3> partes;
  size_t start = 0;
  for (std::string_view& parte : partes) {
    if (start > linha.size()) {
      break;
    }
    const size_t pos = std::min(linha.find(';', start), linha.size());
    parte = linha.substr(start, pos - start);
    start = pos + 1;
  }
  return partes;
}

}  // namespace

void TListagemConferencia::ImprimirProdutos() {
  TnClientDataSet* itens = r_.curLctoProduto;
  if (!r_.FExibirDadosProduto || itens == nullptr || itens->IsEmpty()) {
    return;
  }
  // The document's items by sequence: a range of the key and sequence index (the same rows, in
  // the same order, as a filter on the key under a sequence index, without a filter per
  // document).
  itens->SetIndexFieldNames("CHAVELCTOFIS;SEQ");
  chave_produtos_.assign({Variant(ChaveAtual)});
  itens->SetRange(chave_produtos_, chave_produtos_);
  itens->First();
  TDataSet* pc = r_.cdsPisCofins;
  pc_ = {pc->FieldIndex("CHAVELCTOFIS"), pc->FieldIndex("CODIGOPRODUTO"), pc->FieldIndex("SEQ"),
         pc->FieldIndex("VALORPIS"), pc->FieldIndex("VALORCOFINS")};
  Campo("pSeq", "Seq");
  Campo("pProduto", "Produto");
  Campo("pClassificacao", "Classificação Fiscal");
  Campo("pQtde", "Qtde");
  Campo("pValUnit", "Valor Unit.");
  Campo("pValTotal", "Valor Total");
  Campo("pVlrPis", "Valor PIS");
  Campo("pVlrCofins", "Valor COFINS");
  Imprimir(kSecaoProduto);
  if (itens->IsEmpty()) {
    Imprimir(kSecaoLegenda);
  }
  for (; !itens->Eof(); itens->Next()) {
    ImprimirProduto();
  }
  itens->CancelRange();
  r_.cdsPisCofins->SetFiltered(false);
}

void TListagemConferencia::ImprimirProduto() {
  TnClientDataSet* itens = r_.curLctoProduto;
  Campo("pClassificacao", "");
  Campo("pSeq", itens->GetString(r_.ixLCP_Seq));
  const auto produto = static_cast<int32_t>(itens->GetInteger(r_.ixLCP_CodigoProduto));
  // A product missing from the cursor keeps the description printed last.
  if (r_.BuscarChave(r_.curProduto, {produto})) {
    texto_.clear();
    r_.curProduto->AppendString(r_.ixPRO_DescrProduto, texto_);
    Campo("pProduto", texto_);
    texto_.clear();
    r_.curProduto->AppendString(r_.ixPRO_CodigoNCM, texto_);
    if (!r_.curProduto->IsNull(r_.ixPRO_CodigoNCM) && texto_ != kSemClassificacao) {
      Campo("pClassificacao", texto_);
    }
  }
  CampoValor("pQtde", itens->GetFloat(r_.ixLCP_Quantidade));
  CampoValor("pValUnit", itens->GetFloat(r_.ixLCP_ValorUnitario));
  CampoValor("pValTotal", itens->GetFloat(r_.ixLCP_ValorTotal));
  double pis = 0, cofins = 0;
  const int64_t seq = itens->GetInteger(r_.ixLCP_Seq);
  TDataSet* pc = r_.cdsPisCofins;
  if (r_.LocalizarChave(pc, {ChaveAtual, produto, Variant(seq)})) {
    do {
      pis += pc->GetFloat(pc_.valor_pis);
      cofins += pc->GetFloat(pc_.valor_cofins);
      pc->Next();
    } while (!pc->Eof() && pc->GetFloat(pc_.chave) == ChaveAtual &&
             static_cast<int32_t>(pc->GetInteger(pc_.produto)) == produto &&
             pc->GetInteger(pc_.seq) == seq);
  }
  CampoValor("pVlrPis", pis);
  CampoValor("pVlrCofins", cofins);
  Imprimir(kSecaoProduto);
}

// The document's line of a totals cursor (products, freight), as "TEXT QUANTITY);0;VALUE;".
void TListagemConferencia::AdicionarTotalOutrasInfo(TnClientDataSet* totais, const char* texto,
                                                    int32_t quantidade, int32_t valor) {
  if (!r_.BuscarChave(totais, {ChaveAtual})) {
    return;
  }
  std::string& linha = ListaOutrasInfo.Novo();
  linha = texto;
  totais->AppendString(quantidade, linha);
  linha += ");0;";
  totais->AppendString(valor, linha);
  linha += ';';
}

void TListagemConferencia::ImprimirOutrasInfo() {
  if (r_.FListarOutrasInfo) {
    AdicionarTotalOutrasInfo(r_.curTotalProduto, "01-Valor Total Produtos/Serviços (Qdte ",
                             r_.ixTPR_QtdeTotal, r_.ixTPR_ValorTotal);
    AdicionarTotalOutrasInfo(r_.curTotalFrete, "02-Valor Total Conhecimento Frete (Qdte NFs ",
                             r_.ixTFR_QtdeNotas, r_.ixTFR_ValorTotal);
  }
  // Sorted, duplicates kept: products, freight, operations, then the value-added exclusion.
  ListaOutrasInfo.OrdenarEstavel(
      [](const std::string& a, const std::string& b) { return CompareUpperCase(a, b) < 0; });
  int contador = 0;
  for (size_t i = 0; i < ListaOutrasInfo.size(); ++i) {
    bool direita = contador % 2 == 1;
    if (!PodeImprimir(kSecaoOutrasInfo)) {
      Campo("RTexto", FloatToStr(ChaveAtual) + "  Continuação...");
      Campo("RValor", "");
      direita = true;
      ++contador;
    }
    const bool ultima = i + 1 == ListaOutrasInfo.size();
    ImprimirLinhaOutrasInfo(ListaOutrasInfo[i], direita, ultima || contador % 2 == 1 || direita);
    ++contador;
  }
}

void TListagemConferencia::ImprimirLinhaOutrasInfo(const std::string& linha, bool direita,
                                                   bool imprimir) {
  Campo("RTexto2", "");
  Campo("RValor2", "");
  const auto partes = Partes(linha);
  const double aliquota = StrToFloatDef(partes[1], 0);
  const double valor = StrToFloatDef(partes[2], 0);
  // The first three characters (the ordering prefix) are dropped, from every line; a line with
  // a rate keeps 40 characters of its text and shows the rate after them.
  std::string_view texto = Caracteres(partes[0], kPrefixoOrdem, std::string::npos);
  if (aliquota != 0) {
    texto = Caracteres(texto, 0, kLimiteTextoComAliquota);
  }
  texto_.assign(texto);
  if (aliquota != 0) {
    texto_ += " (";
    texto_ += FormatFloat("#0.##", aliquota);
    texto_ += "%)";
  }
  Campo(direita ? "RTexto2" : "RTexto", texto_);
  CampoValor(direita ? "RValor2" : "RValor", valor);
  if (imprimir) {
    Imprimir(kSecaoOutrasInfo);
  }
}

}  // namespace nfis
