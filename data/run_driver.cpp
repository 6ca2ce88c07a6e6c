// ImprimirInterno: the whole run of one report request. Parameters are read and checked, the
// page header and the data provider are created once, and each establishment of the base's
// establishment table is read by the provider and printed. The final block releases everything
// the run created, also when an exception is on its way to the host.
#include <memory>

#include "host/data_module.hpp"
#include "host/exception.hpp"
#include "host/fiscal_provider.hpp"
#include "host/progress.hpp"
#include "host/report_header.hpp"
#include "host/sql.hpp"
#include "report/resumo_conf_lcto_fis.hpp"
#include "report/tipo_imposto.hpp"

namespace nfis {
namespace {

const char* const kClasseProvedor = "TnFisDPListarLctoFisTotal";
// The header printer's arguments in our host: nothing hidden, 8-point fonts, no company yet,
// pages numbered from 1 for each establishment, the report's own title, with the emission time.
const TVariantArray kTamanhosFonte = {Variant(8), Variant(8)};
constexpr int32_t kSemEmpresa = -1, kPaginaInicial = 1, kNumeracaoPorEstab = 1;
constexpr int32_t kTotalizarResumoCFOP = 4;

// The index of the tax lines and the provider's extra field, by the listing's ordering.
struct Ordenacao {
  const char* indice;  // nullptr: the provider's order
  const char* campo_adicional;
};

Ordenacao OrdenacaoDe(int32_t ordenacao) {
  switch (ordenacao) {
    case 1:
      return {"DATALCTOFIS;CHAVELCTOFIS;TIPOIMPOSTO", "0"};
    case 2:
      return {"CHAVELCTOFIS;TIPOIMPOSTO", "0"};
    case 3:
      return {"NumeroNF;CHAVELCTOFIS;TipoImposto", "1"};
    case 4:
      return {"DATALCTOFIS;NumeroNF;CHAVELCTOFIS;TipoImposto", "1"};
    case 5:
      return {"DATALCTOFIS;NomePessoa;CHAVELCTOFIS;TipoImposto", "2"};
    default:
      return {nullptr, "0"};
  }
}

}  // namespace

TnFisDPListarLctoFisTotal* TnFisORResumoConfLctoFis::Provedor() const {
  return CheckedCast<TnFisDPListarLctoFisTotal>(ADM);
}

bool TnFisORResumoConfLctoFis::UsarSQLite() const {
  return Provedor()->UsarSQLite();
}

void TnFisORResumoConfLctoFis::ImprimirInterno() {
  // No establishment selected: nothing is shown, validated, created or printed.
  if (EstabDataSet()->IsEmpty()) {
    return;
  }
  TnFraProgresso* progresso = GetDMPower()->GetProgresso();
  GetDMPower()->SetProgressoVisivel(TnProgressoVisivel::Completo);
  progresso->SetEhCircular(true);
  progresso->IncProgressoTotal("Iniciar Parametros", 0);
  // A validation failure leaves from here, before anything is created; the progress display
  // stays as it is.
  IniciarParametros();

  FCabecalho =
      new TnCabecalhoRelatorio(Report(), false, false, false, false, false, kTamanhosFonte,
                               kSemEmpresa, kPaginaInicial, kNumeracaoPorEstab, "", "", true);
  Report()->SetAfterSection(
      MakeSectionEvent<TnFisORResumoConfLctoFis, &TnFisORResumoConfLctoFis::DoAfterSection>(this));
  int32_t contador = 0;
  const int32_t total = EstabDataSet()->RecordCount();
  cdsImposto = cdsDocFiscal = cdsPisCofins = nullptr;
  cdsNatureza = cdsTotal = nullptr;
  curProduto = curOperacaoFis = curTotalProduto = curTotalFrete = curLctoProduto = nullptr;
  ADM = nullptr;
  try {
    progresso->IncProgressoTotal("Preparar TnFisDPListarLctoFisTotal", 0);
    std::unique_ptr<TComponent> criado(CriarDMNovo(kClasseProvedor, nullptr));
    ADM = CheckedCast<TnDMPowerParam>(criado.get());
    criado.release();
    PassarParametrosProvedor();
    TDataSet* estab = EstabDataSet();
    const int32_t ixEmpresa = estab->FieldIndex("CODIGOEMPRESA");
    const int32_t ixEstab = estab->FieldIndex("CODIGOESTAB");
    FOldCodigoEmpresa = -1;
    progresso->IncProgressoTotal("Preparado TnFisDPListarLctoFisTotal", 0);
    for (estab->First(); !estab->Eof(); estab->Next()) {
      ImprimirEstabelecimento(static_cast<int32_t>(estab->GetInteger(ixEmpresa)),
                              static_cast<int32_t>(estab->GetInteger(ixEstab)));
      Report()->CSLShowProgress(++contador, total);
    }
    progresso->IncProgressoTotal("Concluido", 0);
  } catch (...) {
    FinalizarExecucao();
    throw;
  }
  FinalizarExecucao();
}

void TnFisORResumoConfLctoFis::PassarParametrosProvedor() {
  TnpqPowerParam* p = ADM->Params();
  p->Param("pDataInicial")->SetAsDate(FDataInicial);
  p->Param("pDataFinal")->SetAsDate(FDataFinal);
  // Deliberate pairings: the summary kind is "pTotalizar"'s text, counterparty data follows
  // "pExibirDadosPessoa", and "pArquivoMagOrdemProd"'s number decides the normal purpose.
  p->Param("pTipoTotal")->SetAsString(RepParam("pTotalizar"));
  p->Param("pListarICMS")->SetAsString(VerificarImposto(kTipoICMS));
  p->Param("pListarISS")->SetAsString(VerificarImposto(kTipoISS));
  p->Param("pListarIPI")->SetAsString(VerificarImposto(kTipoIPI));
  p->Param("pListarPISCOFINS")->SetAsString(VerificarImposto(kTipoPIS));
  p->Param("pListarFunRural")->SetAsString(VerificarImposto(kTipoFunRural));
  p->Param("pListarComplementar")->SetAsString(VerificarImposto(kTipoComplementar));
  p->Param("pListarSubTribut")->SetAsString(VerificarImposto(kTipoSubstTrib));
  p->Param("pSaida")->SetAsInteger(VerificarOpcao(2));
  p->Param("pEntrada")->SetAsInteger(VerificarOpcao(1));
  p->Param("pCodigoPessoa")->SetAsString(RepParam("pCodigoPessoa"));
  p->Param("pCodigoCFOP")->SetAsString(RepParam("pCodigoCFOP"));
  p->Param("pListarHistorico")->SetAsString("1");
  p->Param("pListarDadosPessoa")->SetAsString(RepParam("pExibirDadosPessoa"));
  p->Param("pNaoUsaFinalidadeNormal")
      ->SetAsInteger(StrToIntDef(RepParam("pArquivoMagOrdemProd"), 0));
  p->Param("pEspecie")->SetAsString(FEspecie);
  p->Param("pTipoPeriodo")->SetAsInteger(FTipoPeriodo);
  // The hours go as the user's raw minute texts.
  p->Param("pHoraInicial")->SetAsVariant(Variant(RepParam("pHoraInicial")));
  p->Param("pHoraFinal")->SetAsVariant(Variant(RepParam("pHoraFinal")));
  p->Param("pCodigoUsuario")->SetAsString(RepParam("pCodigoUsuario"));
  p->Param("pCampoAdicional")->SetValue(Variant(OrdenacaoDe(FOrdenacao).campo_adicional));
}

void TnFisORResumoConfLctoFis::ImprimirEstabelecimento(int32_t empresa, int32_t estab) {
  TnFraProgresso* progresso = GetDMPower()->GetProgresso();
  FCodigoEmpresa = empresa;
  FCodigoEstab = estab;
  FCabecalho->SetCodigoEstab(std::to_string(FCodigoEstab));
  FCabecalho->Executar(FCodigoEmpresa);
  ADM->Params()->Param("pCodigoEmpresa")->SetValue(Variant(std::to_string(FCodigoEmpresa)));
  ADM->Params()->Param("pCodigoEstab")->SetValue(Variant(std::to_string(FCodigoEstab)));
  progresso->IncProgressoTotal(
      "Executar TnFisDPListarLctoFisTotal Empresa: " + std::to_string(FCodigoEmpresa) +
          " Filial: " + std::to_string(FCodigoEstab),
      0);
  ADM->Executar();
  // The product totals are read on a connection of their own while the working tables and the
  // listing's order are made; a query not taken (nothing to list) is waited for and dropped
  // here, and one under way when the run fails, in the final block.
  if (FListarOutrasInfo) {
    FTotalProdutoEmCurso = IniciarTotalProduto();
  }
  progresso->IncProgressoTotal("Processar dados", 0);
  VincularTabelas();
  progresso->IncProgressoTotal("Imprimir Conferencia", 0);
  ImprimirConferencia();
  FTotalProdutoEmCurso.reset();
  if (FListarResumoCFOP || FListarResumoDia) {
    cdsTotal = Nutildb::CDSM(ADM->FindComponent("cdsTotal"));
    if ((FListarResumoCFOP || FExibirDadosNatureza) &&
        StrToInt(RepParam("pTotalizar")) == kTotalizarResumoCFOP) {
      cdsTotal->SetIndexFieldNames("CODIGOCFOP");
    } else if (FListarResumoDia) {
      cdsTotal->SetIndexFieldNames("DATALCTOFIS");
    }
    progresso->IncProgressoTotal("Imprimir Totalizacao", 0);
    ImprimirTotalizacao();
  }
  if ((!cdsImposto->IsEmpty() && cdsDocFiscal->IsEmpty()) || !Report()->CSLIsPageEnd()) {
    Report()->SetCSLIsPageEnd(true);
  }
  FOldCodigoEmpresa = FCodigoEmpresa;
}

// Takes the provider's tables for this establishment and orders them.
void TnFisORResumoConfLctoFis::VincularTabelas() {
  TnFisDPListarLctoFisTotal* provedor = Provedor();
  cdsImposto = provedor->Imposto();
  if (const char* indice = OrdenacaoDe(FOrdenacao).indice) {
    provedor->AtualizarIndice(cdsImposto, indice);
  }
  cdsDocFiscal = provedor->DocFiscal();
  provedor->AtualizarIndice(cdsDocFiscal, "CHAVELCTOFIS");
  cdsPisCofins = provedor->PisCofins();
  provedor->AtualizarIndice(cdsPisCofins, "CHAVELCTOFIS");
  AdicionarPISCOFINS();
  cdsPessoa = Nutildb::CDSM(ADM->FindComponent("cdsPessoa"));
  cdsPessoa->SetIndexFieldNames("CODIGOPESSOA");
  if (FListarResumoCFOP || FExibirDadosNatureza || FListarResumoDia) {
    cdsNatureza = Nutildb::CDSM(ADM->FindComponent("cdsCFOP"));
    cdsNatureza->SetIndexFieldNames("CODIGOCFOP");
  }
}

// The run's final block: hide the progress, free the header and the provider (with its tables),
// release the cursors, clear the engine's event. Nothing here may raise over the run's own error.
void TnFisORResumoConfLctoFis::FinalizarExecucao() noexcept {
  // A product totals' query still under way refreshes its cursor: it ends before the cursor is
  // freed.
  FTotalProdutoEmCurso.reset();
  GetDMPower()->SetProgressoVisivel(TnProgressoVisivel::Oculto);
  delete FCabecalho;
  FCabecalho = nullptr;
  delete ADM;
  ADM = nullptr;
  Nutildb::DestruirSQL(curProduto);
  Nutildb::DestruirSQL(curOperacaoFis);
  Nutildb::DestruirSQL(curTotalProduto);
  Nutildb::DestruirSQL(curTotalFrete);
  Nutildb::DestruirSQL(curLctoProduto);
  // The listing frees these when it ends; a run that fails before that leaves them here.
  Nutildb::DestruirSQL(cdsPis);
  Nutildb::DestruirSQL(cdsCofins);
  Nutildb::DestruirSQL(curMunicipio);
  Report()->SetAfterSection(TSectionEvent{});
}

}  // namespace nfis
