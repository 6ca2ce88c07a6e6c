// Document tax lines: each tax line of types 1, 2, 10 and 11 prints as one line of section 13;
// the first line of a document carries the document's columns, later lines have them blanked
// (all but the model, which every line of the document shows).
#include "host/fiscal_provider.hpp"
#include "host/sql.hpp"
#include "output/listagem_conferencia.hpp"
#include "report/tipo_imposto.hpp"

namespace nfis {
namespace {

constexpr int32_t kSecaoDocumento = 13;
constexpr int32_t kProdutorRural = 1;
const char* const kSeparador = "  |  ";

}  // namespace

void TListagemConferencia::ImprimirLinhaImposto() {
  TDataSet* i = r_.cdsImposto;
  TotalLinha.ValorContabil = i->GetFloat(imp_.contabil);
  TotalLinha.BaseImposto = i->GetFloat(imp_.base);
  TotalLinha.ValorImposto = i->GetFloat(imp_.valor);
  TotalLinha.IsentasImposto = i->GetFloat(imp_.isentas);
  TotalLinha.OutrasImposto = i->GetFloat(imp_.outras);
  const auto tipo = static_cast<int32_t>(i->GetInteger(imp_.tipo));
  if (tipo == kTipoICMS || tipo == kTipoISS) {
    TotalValorDocumento.ValorContabil += TotalLinha.ValorContabil;
    TotalValorDocumento.BaseImposto += TotalLinha.BaseImposto;
    TotalValorDocumento.ValorImposto += TotalLinha.ValorImposto;
    TotalValorDocumento.IsentasImposto += TotalLinha.IsentasImposto;
    TotalValorDocumento.OutrasImposto += TotalLinha.OutrasImposto;
  }
  Campo("RTipo", GetDescricaoImposto(tipo));
  const int grupo = GrupoDe(tipo);
  r_.CalcularTotal(Subtotais[grupo], TotalLinha);
  r_.CalcularTotal(TotaisTipo[grupo], TotalLinha);
  if (i->GetFloat(imp_.chave) != ChaveAtual) {
    PreencherDadosDocumento(i);
  } else {
    LimparDadosDocumento();
  }
  if (tipo == kTipoIPI) {
    Campo("RUF", "");
    Campo("RAliquota", "");
  } else {
    Campo("RUF", r_.cdsDocFiscal->GetString(doc_.uf));
    Campo("RAliquota", FormatFloat("#0.##", i->GetFloat(imp_.aliquota)));
  }
  const std::string cfop = i->GetString(imp_.cfop);
  Campo("RCodigoCFOP", FormatarCFOP(cfop));
  Campo("RValorContabil", r_.FormatValor(TotalLinha.ValorContabil));
  Campo("RBaseCalculo", r_.FormatValor(TotalLinha.BaseImposto));
  Campo("RValor", r_.FormatValor(TotalLinha.ValorImposto));
  Campo("RIsentas", r_.FormatValor(TotalLinha.IsentasImposto));
  Campo("ROutras", r_.FormatValor(TotalLinha.OutrasImposto));
  if (r_.FExibirDadosNatureza &&
      r_.BuscarChave(r_.cdsNatureza, {static_cast<int32_t>(i->GetInteger(imp_.cfop))})) {
    ListaNatureza.insert("Natureza: " + FormatarCFOP(cfop) + " - " +
                         r_.cdsNatureza->GetString(nat_descricao_));
  }
  FimDePaginaSemMarcador();
  Imprimir(kSecaoDocumento);
}

void TListagemConferencia::PreencherDadosDocumento(TDataSet* ADataSet) {
  TDataSet* d = r_.cdsDocFiscal;
  Campo("RChaveLctoFis", ADataSet->GetString(imp_.chave));
  TextoObservacao.clear();
  if (!d->GetString(doc_.historico).empty()) {
    TextoObservacao = "Observação: " + d->GetString(doc_.historico);
  }
  Campo("RNumeroNF", r_.FTipoMovimento == 2
                         ? d->GetString(doc_.numero) + "-" + d->GetString(doc_.numero_final)
                         : d->GetString(doc_.numero));
  const std::string subserie = d->GetString(doc_.subserie);
  Campo("RSerieNF",
        subserie.empty() ? d->GetString(doc_.serie) : d->GetString(doc_.serie) + "/" + subserie);
  Campo("REspecieNF", d->GetString(doc_.especie));
  const std::string pessoa = d->GetString(doc_.pessoa);
  Campo("RPessoa", pessoa);
  TDataSet* p = r_.cdsPessoa;
  if (r_.BuscarChave(p, {static_cast<int32_t>(d->GetInteger(doc_.pessoa))})) {
    LocalizarMunicipio();
    if (r_.FExibirDadosPessoa) {
      const std::string prefixo = r_.FTipoMovimento == 1 ? "Fornecedor: " : "Cliente: ";
      const std::string inscricao = p->GetInteger(pes_.rural) == kProdutorRural
                                        ? p->GetString(pes_.inscr_produtor)
                                        : p->GetString(pes_.inscr_estadual);
      const std::string municipio =
          municipio_encontrado_ ? r_.curMunicipio->GetString(0) + kSeparador : kSeparador;
      TextoPessoa = prefixo + p->GetString(pes_.nome) + kSeparador +
                    p->GetString(pes_.inscr_federal) + kSeparador + p->GetString(pes_.uf) +
                    kSeparador + municipio + inscricao;
    } else if (r_.FModeloImpressao == 1) {
      Campo("RPessoa", pessoa + " " + p->GetString(pes_.nome));
    }
  }
  Campo("RModelo", d->GetString(doc_.modelo));
  Campo("RDataLctoFis", FormatDateTime("dd/mm", d->GetFloat(doc_.data)));
  Campo("RDataEmissao", FormatDateTime("dd/mm", d->GetFloat(doc_.emissao)));
}

// The municipality cursor is a one-entry cache: the query runs when the counterparty's
// municipality differs from the one fetched last (whether or not counterparty data are shown).
void TListagemConferencia::LocalizarMunicipio() {
  TDataSet* p = r_.cdsPessoa;
  const Variant codigo =
      p->IsNull(pes_.municipio) ? Variant() : Variant(p->GetInteger(pes_.municipio));
  const Variant uf(p->GetString(pes_.uf));
  if (r_.curMunicipio != nullptr && r_.BuscarChave(r_.curMunicipio, {codigo, uf})) {
    return;
  }
  municipio_encontrado_ = TnDMSQLDataSet::PegarRegistroSQL(
      r_.curMunicipio,
      "select nomemunic, codigomunic, siglaestado from municipio where codigomunic = " +
          Nutil::ValorParaSQL(codigo, TFieldType::Integer) + " and siglaestado = " +
          Nutil::ValorParaSQL(uf, TFieldType::String) + " order by codigomunic, siglaestado ");
}

void TListagemConferencia::LimparDadosDocumento() {
  for (const char* campo : {"RDataLctoFis", "RDataEmissao", "RChaveLctoFis", "RNumeroNF",
                            "RSerieNF", "REspecieNF", "RPessoa"}) {
    Campo(campo, "");
  }
}

}  // namespace nfis
