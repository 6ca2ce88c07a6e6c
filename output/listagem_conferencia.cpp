// ImprimirConferencia: the body of the report. The tax lines drive the walk; each document
// prints its tax lines with subtotals, then its PIS and COFINS lines, natures, counterparty and
// observation texts, products, other information and a separator; the run totals per tax type
// close the listing.
#include "output/listagem_conferencia.hpp"

#include <algorithm>

#include "host/fiscal_provider.hpp"
#include "host/sql.hpp"
#include "report/tipo_imposto.hpp"

namespace nfis {
namespace {

constexpr int32_t kSecaoColunasTotais = 10, kSecaoRegua = 11, kSecaoNota = 12, kSecaoMarcador = 15;
constexpr int32_t kSecaoNatureza = 18, kSecaoLegenda = 19;
// The progress display advances one stage per turn with this step.
constexpr int32_t kPassoProgresso = 100;

}  // namespace

void TnFisORResumoConfLctoFis::ImprimirConferencia() {
  TListagemConferencia(*this).Executar();
}

TListagemConferencia::TListagemConferencia(TnFisORResumoConfLctoFis& relatorio)
    : r_(relatorio), engine_(*relatorio.Report()) {
  auto lugar = [this](const char* nome) { return engine_.Place(nome); };
  linha_ = {
      lugar("RTipo"),          lugar("RUF"),           lugar("RAliquota"), lugar("RCodigoCFOP"),
      lugar("RValorContabil"), lugar("RBaseCalculo"),  lugar("RValor"),    lugar("RIsentas"),
      lugar("ROutras"),        lugar("RChaveLctoFis"), lugar("RNumeroNF"), lugar("RSerieNF"),
      lugar("REspecieNF"),     lugar("RPessoa"),       lugar("RModelo"),   lugar("RDataLctoFis"),
      lugar("RDataEmissao")};
}

int TListagemConferencia::GrupoDe(int32_t tipo) {
  switch (tipo) {
    case kTipoICMS:
      return kICMS;
    case kTipoISS:
      return kISS;
    case kTipoIPI:
      return kIPI;
    case kTipoFunRural:
      return kFunRural;
    default:
      return -1;
  }
}

void TListagemConferencia::FimDePaginaSemMarcador() {
  if (!engine_.CSLIsPageEnd() && !PodeImprimir(kSecaoMarcador)) {
    engine_.SetCSLIsPageEnd(true);
  }
}

void TListagemConferencia::Executar() {
  bool preparado = false;
  try {
    preparado = Preparar();
    while (preparado && !r_.cdsImposto->Eof()) {
      TratarTurno();
    }
  } catch (...) {
    LiberarTabelas();
    r_.FTipoCabecalho = 2;
    throw;
  }
  // With nothing to list, nothing at all is printed, not even the totals caption.
  LiberarTabelas();
  if (!preparado) {
    return;
  }
  r_.FTipoCabecalho = 2;
  ImprimirTotaisTipo();
}

bool TListagemConferencia::Preparar() {
  Campo("RNatureza", "");
  TnFisDPListarLctoFisTotal* provedor = r_.Provedor();
  // Within the provider's order, a document's lines go by CFOP, then by rate.
  provedor->AtualizarIndice(r_.cdsImposto,
                            r_.cdsImposto->IndexFieldNames() + ";CodigoCFOP;AliqImposto");
  std::string filtro;
  if (r_.FChaveInicial > 0) {
    filtro =
        "CHAVELCTOFIS >= " + Nutil::ValorParaFiltro(Variant(r_.FChaveInicial), TFieldType::Float);
  }
  if (r_.FChaveFinal > 0) {
    filtro += std::string(r_.FChaveInicial > 0 ? " and" : "") + " CHAVELCTOFIS <= " +
              Nutil::ValorParaFiltro(Variant(r_.FChaveFinal), TFieldType::Float);
  }
  r_.cdsImposto->SetFilter("");
  r_.cdsImposto->SetFilter(filtro);
  r_.cdsImposto->SetFiltered(true);
  if (!r_.FEspecie.empty()) {
    r_.cdsDocFiscal->SetFilter("Upper(ESPECIENF) = " +
                               Nutil::ValorParaFiltro(Variant(r_.FEspecie), TFieldType::String));
    r_.cdsDocFiscal->SetFiltered(true);
  }
  if (r_.cdsImposto->IsEmpty() || r_.cdsDocFiscal->IsEmpty()) {
    return false;
  }
  if (r_.FExibirDadosProduto ||
      (r_.VerificarImposto(kTipoPIS) == "1" && r_.FOldCodigoEmpresa != r_.FCodigoEmpresa &&
       !r_.cdsPisCofins->IsEmpty())) {
    r_.CarregarCurProduto();
  }
  if (r_.FListarOutrasInfo) {
    r_.CarregarTotalFrete();
  }
  if (r_.FExibirDadosProduto) {
    r_.CarregarLctoProduto();
  }
  r_.FTipoCabecalho = 1;
  ResolverPosicoes();
  IniciarEstado();
  provedor->AtualizarIndice(r_.cdsPisCofins, "CHAVELCTOFIS;CODIGOPRODUTO;SEQ");
  provedor->AtualizarIndice(r_.cdsPis, "CHAVELCTOFIS;CODIGOCFOP;ALIQPIS");
  provedor->AtualizarIndice(r_.cdsCofins, "CHAVELCTOFIS;CODIGOCFOP;ALIQCOFINS");
  // The orders the walk reads, made together (the documents' too, searched from its first line).
  r_.CriarIndices({r_.cdsPis, r_.cdsCofins, r_.cdsImposto, r_.cdsDocFiscal});
  aliquota_pis_.emplace(r_.cdsPis, r_.FixPC_AliqPIS);
  aliquota_cofins_.emplace(r_.cdsCofins, r_.FixPC_AliqCOFINS);
  // The product totals, under way since the establishment's data were read, are taken last,
  // after the operation control and the orders.
  if (r_.FTotalProdutoEmCurso != nullptr) {
    r_.ConcluirTotalProduto(*r_.FTotalProdutoEmCurso);
    r_.FTotalProdutoEmCurso.reset();
  }
  r_.cdsImposto->First();
  return true;
}

void TListagemConferencia::ResolverPosicoes() {
  TDataSet* p = r_.cdsPessoa;
  pes_ = {p->FieldIndex("NOMEPESSOA"),  p->FieldIndex("INSCRFEDERAL"), p->FieldIndex("SIGLAESTADO"),
          p->FieldIndex("CODIGOMUNIC"), p->FieldIndex("INSCRESTAD"),   p->FieldIndex("PRODUTRURAL"),
          p->FieldIndex("INSCRPROD")};
  if (r_.FExibirDadosNatureza) {
    nat_descricao_ = r_.cdsNatureza->FieldIndex("DescrCFOP");
  }
  TDataSet* i = r_.cdsImposto;
  imp_ = {i->FieldIndex("CHAVELCTOFIS"),     i->FieldIndex("CODIGOCFOP"),
          i->FieldIndex("VALORCONTABIL"),    i->FieldIndex("BASEIMPOSTO"),
          i->FieldIndex("VALORIMPOSTO"),     i->FieldIndex("ISENTASIMPOSTO"),
          i->FieldIndex("OUTRASIMPOSTO"),    i->FieldIndex("TIPOIMPOSTO"),
          i->FieldIndex("ALIQIMPOSTO"),      i->FieldIndex("VALOREXVALORADICIONAL"),
          i->FieldIndex("CODIGOOPERACAOFIS")};
  TDataSet* d = r_.cdsDocFiscal;
  doc_ = {d->FieldIndex("DATALCTOFIS"),   d->FieldIndex("NUMERONF"),
          d->FieldIndex("NUMERONFFINAL"), d->FieldIndex("SERIENF"),
          d->FieldIndex("SUBSERIENF"),    d->FieldIndex("ESPECIENF"),
          d->FieldIndex("CODIGOPESSOA"),  d->FieldIndex("SIGLAESTADOORIGEM"),
          d->FieldIndex("COMPLHIST"),     d->FieldIndex("CODIGOTIPODCTOSINTEGRA"),
          d->FieldIndex("DATAEMISSAO")};
}

void TListagemConferencia::IniciarEstado() {
  for (TRecTotal& subtotal : Subtotais) {
    r_.IniciarTotal(subtotal);
  }
  r_.IniciarTotal(Total13);
  r_.IniciarTotal(Total15);
  r_.IniciarTotal(Total16);
  r_.IniciarTotal(TotalValorAdicional);
  for (TRecTotal& total : TotaisTipo) {
    r_.IniciarTotal(total);
  }
  r_.ControleOpFis(r_.cdsImposto);
  r_.IniciarTotal(TotalLinha);
  ChaveAtual = -1;
  TextoPessoa.clear();
  ListaNatureza.Limpar();
  ListaOutrasInfo.Limpar();
  r_.GetDMPower()->GetProgresso()->LimparExibirCountTotal();
}

// One turn of the walk: a tax line of types 1, 2, 10 or 11 with the lines of types 12 and 13
// that follow it, and the document's closing blocks when its last line has gone.
// The progress text names the table's record count; it is built again only when the count
// changes, not for every line.
const std::string& TListagemConferencia::TextoProgresso(int64_t registros) {
  if (registros != registros_progresso_ || texto_progresso_.empty()) {
    registros_progresso_ = registros;
    texto_progresso_ = "Imposto Total Reg: " + FormatFloat("#,##0", static_cast<double>(registros));
  }
  return texto_progresso_;
}

void TListagemConferencia::TratarTurno() {
  TDataSet* imposto = r_.cdsImposto;
  r_.GetDMPower()->GetProgresso()->IncProgressoTotal(TextoProgresso(imposto->RecordCount()),
                                                     kPassoProgresso);
  const bool documento = r_.LocalizarChave(r_.cdsDocFiscal, {imposto->GetFloat(imp_.chave)});
  if (!documento || GrupoDe(static_cast<int32_t>(imposto->GetInteger(imp_.tipo))) < 0) {
    imposto->Next();
    return;
  }
  ImprimirLinhaImposto();
  // Only what the document's last line of types 1, 2, 10, 11 adds reaches its block.
  ListaOutrasInfo.Limpar();
  if (imposto->GetFloat(imp_.exclusao) > 0) {
    r_.CalcularTotal(TotalValorAdicional, TotalLinha);
    std::string& linha = ListaOutrasInfo.Novo();
    linha = "Exclusão do Valor Adicional;0;";
    imposto->AppendString(imp_.exclusao, linha);
    linha += ';';
  }
  ChaveAtual = imposto->GetFloat(imp_.chave);
  TipoAtual = static_cast<int32_t>(imposto->GetInteger(imp_.tipo));
  imposto->Next();
  const bool mesmo_grupo = !imposto->Eof() && imposto->GetFloat(imp_.chave) == ChaveAtual &&
                           imposto->GetInteger(imp_.tipo) == TipoAtual;
  if (!mesmo_grupo) {
    if (r_.FListarTotalImposto && TipoAtual != 0) {
      ImprimirTotalTipo(TipoAtual);
    } else if (imposto->Eof()) {
      ImprimirTotalTipo(TipoAtual);
    }
  }
  ImprimirLinhasOperacao();
  if (imposto->Eof() || imposto->GetFloat(imp_.chave) != ChaveAtual) {
    ImprimirPisCofinsDocumento(r_.cdsPis, kTipoPIS);
    ImprimirPisCofinsDocumento(r_.cdsCofins, kTipoCOFINS);
  }
  if (!imposto->Eof() && imposto->GetFloat(imp_.chave) == ChaveAtual) {
    return;  // the document goes on
  }
  ImprimirBlocosDocumento();
}

// Lines of types 12 and 13 of the same document: other information and operation totals.
void TListagemConferencia::ImprimirLinhasOperacao() {
  TDataSet* imposto = r_.cdsImposto;
  while (!imposto->Eof() && imposto->GetFloat(imp_.chave) == ChaveAtual) {
    const int32_t tipo = static_cast<int32_t>(imposto->GetInteger(imp_.tipo));
    if (tipo != kTipoComplementar && tipo != kTipoSubstTrib) {
      break;
    }
    if (imposto->GetFloat(imp_.valor) > 0) {
      if (r_.curOperacaoFis == nullptr) {
        r_.CarregarCurOperacaoFis();
      }
      const auto codigo = static_cast<int32_t>(imposto->GetInteger(imp_.operacao));
      if (r_.BuscarChave(r_.curOperacaoFis, {codigo})) {
        std::string& linha = ListaOutrasInfo.Novo();
        linha = "05-";
        r_.curOperacaoFis->AppendString(r_.ixOPE_DescrOperacaoFis, linha);
        linha += ';';
        imposto->AppendString(imp_.aliquota, linha);
        linha += ';';
        imposto->AppendString(imp_.valor, linha);
        linha += ';';
        r_.IniciarTotal(TotalLinha);
        TotalLinha.ValorImposto = imposto->GetFloat(imp_.valor);
        r_.CalcularTotal(
            tipo == kTipoComplementar ? TotaisOperacao[IndiceTotalOperacao(codigo)] : Total13,
            TotalLinha);
      }
    }
    ChaveAtual = imposto->GetFloat(imp_.chave);
    imposto->Next();
  }
}

void TListagemConferencia::ImprimirBlocosDocumento() {
  ImprimirNaturezas();
  ImprimirTextos();
  ImprimirProdutos();
  ImprimirOutrasInfo();
  ImprimirSeparador();
}

void TListagemConferencia::ImprimirNaturezas() {
  if (!r_.FExibirDadosNatureza) {
    return;
  }
  for (const std::string& natureza : ListaNatureza) {
    Campo("RNatureza", natureza);
    Imprimir(kSecaoNatureza);
  }
  ListaNatureza.Limpar();
}

// The counterparty text is not cleared here: a later document whose counterparty is not found
// prints it again.
void TListagemConferencia::ImprimirTextos() {
  if (!TextoPessoa.empty()) {
    Campo("RTexto", TextoPessoa);
    Imprimir(kSecaoNota);
  }
  if (!TextoObservacao.empty()) {
    Campo("RTexto", TextoObservacao);
    Imprimir(kSecaoNota);
  }
}

void TListagemConferencia::ImprimirSeparador() {
  if (r_.FLinhaHorizontal && PodeImprimir(kSecaoRegua)) {
    Imprimir(kSecaoRegua);
  } else if (PodeImprimir(kSecaoLegenda)) {
    Imprimir(kSecaoLegenda);
  }
}

void TListagemConferencia::LiberarTabelas() {
  Nutildb::DestruirSQL(r_.curMunicipio);
  ListaOutrasInfo.Limpar();
  Nutildb::DestruirSQL(r_.cdsPis);
  Nutildb::DestruirSQL(r_.cdsCofins);
}

void TListagemConferencia::ImprimirTotaisTipo() {
  Campo("CTexto", "Total Tipo");
  if (!PodeImprimir(kSecaoMarcador) && !engine_.CSLIsPageEnd()) {
    engine_.SetCSLIsPageEnd(true);
  } else if (!engine_.CSLIsPageEnd()) {
    Imprimir(kSecaoLegenda);
    Imprimir(kSecaoColunasTotais);
  }
  r_.ImprimirTotal("", kTipoICMS, TotaisTipo[kICMS], false);
  r_.ImprimirTotal("", kTipoISS, TotaisTipo[kISS], false);
  r_.ImprimirTotal("", kTipoIPI, TotaisTipo[kIPI], false);
  r_.ImprimirTotal("", kTipoFunRural, TotaisTipo[kFunRural], false);
  for (const TRecTotal& total : TotaisOperacao) {
    std::string descricao = FloatToStr(total.CodigoOperacao);
    if (r_.curOperacaoFis != nullptr &&
        r_.BuscarChave(r_.curOperacaoFis, {static_cast<int32_t>(total.CodigoOperacao)})) {
      descricao += "  " + r_.curOperacaoFis->GetString(r_.ixOPE_DescrOperacaoFis);
    }
    r_.ImprimirTotal(descricao, kTipoComplementar, total, true);
  }
  r_.ImprimirTotal("", kTipoSubstTrib, Total13, true);
  r_.ImprimirTotal("", kTipoPIS, Total15, false);
  r_.ImprimirTotal("", kTipoCOFINS, Total16, false);
  r_.ImprimirTotal("", kTipoVrAdicional, TotalValorAdicional, false);
}

}  // namespace nfis
