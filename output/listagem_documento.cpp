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
  Campo(linha_.tipo, GetDescricaoImposto(tipo));
  const int grupo = GrupoDe(tipo);
  r_.CalcularTotal(Subtotais[grupo], TotalLinha);
  r_.CalcularTotal(TotaisTipo[grupo], TotalLinha);
  if (i->GetFloat(imp_.chave) != ChaveAtual) {
    PreencherDadosDocumento(i);
  } else {
    LimparDadosDocumento();
  }
  if (tipo == kTipoIPI) {
    Campo(linha_.uf, "");
    Campo(linha_.aliquota, "");
  } else {
    Campo(linha_.uf, r_.cdsDocFiscal->GetString(doc_.uf));
    CampoNumero(linha_.aliquota, "#0.##", i->GetFloat(imp_.aliquota));
  }
  const std::string cfop = FormatarCFOP(i->GetString(imp_.cfop));
  Campo(linha_.cfop, cfop);
  CampoValor(linha_.contabil, TotalLinha.ValorContabil);
  CampoValor(linha_.base, TotalLinha.BaseImposto);
  CampoValor(linha_.valor, TotalLinha.ValorImposto);
  CampoValor(linha_.isentas, TotalLinha.IsentasImposto);
  CampoValor(linha_.outras, TotalLinha.OutrasImposto);
  if (r_.FExibirDadosNatureza &&
      r_.BuscarChave(r_.cdsNatureza, {static_cast<int32_t>(i->GetInteger(imp_.cfop))})) {
    std::string& natureza = ListaNatureza.Novo();
    natureza = "Natureza: ";
    natureza += cfop;
    natureza += " - ";
    r_.cdsNatureza->AppendString(nat_descricao_, natureza);
    ListaNatureza.InserirOrdenadoSemRepetir();
  }
  FimDePaginaSemMarcador();
  Imprimir(kSecaoDocumento);
}

void TListagemConferencia::PreencherDadosDocumento(TDataSet* ADataSet) {
  TDataSet* d = r_.cdsDocFiscal;
  Campo(linha_.chave, ADataSet->GetString(imp_.chave));
  TextoObservacao = "Observação: ";
  const size_t sem_historico = TextoObservacao.size();
  d->AppendString(doc_.historico, TextoObservacao);
  if (TextoObservacao.size() == sem_historico) {
    TextoObservacao.clear();
  }
  texto_.clear();
  d->AppendString(doc_.numero, texto_);
  if (r_.FTipoMovimento == 2) {
    texto_ += '-';
    d->AppendString(doc_.numero_final, texto_);
  }
  Campo(linha_.numero, texto_);
  texto_.clear();
  d->AppendString(doc_.serie, texto_);
  const size_t sem_subserie = texto_.size();
  texto_ += '/';
  d->AppendString(doc_.subserie, texto_);
  if (texto_.size() == sem_subserie + 1) {
    texto_.resize(sem_subserie);
  }
  Campo(linha_.serie, texto_);
  texto_.clear();
  d->AppendString(doc_.especie, texto_);
  Campo(linha_.especie, texto_);
  const std::string pessoa = d->GetString(doc_.pessoa);
  Campo(linha_.pessoa, pessoa);
  TDataSet* p = r_.cdsPessoa;
  if (r_.BuscarChave(p, {static_cast<int32_t>(d->GetInteger(doc_.pessoa))})) {
    LocalizarMunicipio();
    if (r_.FExibirDadosPessoa) {
      TextoPessoa = r_.FTipoMovimento == 1 ? "Fornecedor: " : "Cliente: ";
      p->AppendString(pes_.nome, TextoPessoa);
      TextoPessoa += kSeparador;
      p->AppendString(pes_.inscr_federal, TextoPessoa);
      TextoPessoa += kSeparador;
      p->AppendString(pes_.uf, TextoPessoa);
      TextoPessoa += kSeparador;
      if (municipio_encontrado_) {
        r_.curMunicipio->AppendString(0, TextoPessoa);
      }
      TextoPessoa += kSeparador;
      p->AppendString(
          p->GetInteger(pes_.rural) == kProdutorRural ? pes_.inscr_produtor : pes_.inscr_estadual,
          TextoPessoa);
    } else if (r_.FModeloImpressao == 1) {
      texto_ = pessoa;
      texto_ += ' ';
      p->AppendString(pes_.nome, texto_);
      Campo(linha_.pessoa, texto_);
    }
  }
  Campo(linha_.modelo, d->GetString(doc_.modelo));
  Campo(linha_.data, FormatDateTime("dd/mm", d->GetFloat(doc_.data)));
  Campo(linha_.emissao, FormatDateTime("dd/mm", d->GetFloat(doc_.emissao)));
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
  sql_municipio_ = "select nomemunic, codigomunic, siglaestado from municipio where codigomunic = ";
  sql_municipio_ += Nutil::ValorParaSQL(codigo, TFieldType::Integer);
  sql_municipio_ += " and siglaestado = ";
  sql_municipio_ += Nutil::ValorParaSQL(uf, TFieldType::String);
  sql_municipio_ += " order by codigomunic, siglaestado ";
  municipio_encontrado_ = TnDMSQLDataSet::PegarRegistroSQL(r_.curMunicipio, sql_municipio_);
}

void TListagemConferencia::LimparDadosDocumento() {
  for (TnrwReport::Slot* campo : {linha_.data, linha_.emissao, linha_.chave, linha_.numero,
                                  linha_.serie, linha_.especie, linha_.pessoa}) {
    Campo(campo, "");
  }
}

}  // namespace nfis
