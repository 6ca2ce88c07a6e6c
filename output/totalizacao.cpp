// ImprimirTotalizacao: the summary block after the listing, per CFOP and tax type or per day and
// tax type. Each run of rows with the same description and tax type prints once, with the
// amounts of its first row (the table comes summed per key). Two precedences stand as the host's
// users know them: the CFOP caption wins over the day caption, the day ordering over the CFOP
// ordering.
#include "host/fiscal_provider.hpp"
#include "report/resumo_conf_lcto_fis.hpp"

namespace nfis {
namespace {

constexpr int32_t kSecaoColunasTotais = 10, kSecaoRegua = 11, kSecaoMarcador = 15,
                  kSecaoLegenda = 19;
constexpr int32_t kTotalizarResumoCFOP = 4;

}  // namespace

void TnFisORResumoConfLctoFis::ImprimirTotalizacao() {
  if (cdsTotal->IsEmpty()) {
    return;
  }
  int32_t ixCFOP = -1, ixDescricao = -1, ixData = -1;
  if (FListarResumoCFOP) {
    ixCFOP = cdsTotal->FieldIndex("CodigoCFOP");
    ixDescricao = cdsNatureza->FieldIndex("DescrCFOP");
    RepParam("CTexto", "Total Natureza");
  } else if (FListarResumoDia) {
    ixData = cdsTotal->FieldIndex("DataLctoFis");
    RepParam("CTexto", "Total Diário");
  }
  TnrwReport* engine = Report();
  if (!engine->CSLIsPageEnd() && !engine->DelphiCanPrintSection(kSecaoMarcador)) {
    engine->SetCSLIsPageEnd(true);
  } else if (!engine->CSLIsPageEnd()) {
    engine->RepPrintSection(kSecaoLegenda);
    engine->RepPrintSection(kSecaoColunasTotais);
    engine->RepPrintSection(kSecaoRegua);
  }
  const int32_t ixContabil = cdsTotal->FieldIndex("ValorContabil");
  const int32_t ixBase = cdsTotal->FieldIndex("BaseImposto");
  const int32_t ixValor = cdsTotal->FieldIndex("ValorImposto");
  const int32_t ixIsentas = cdsTotal->FieldIndex("IsentasImposto");
  const int32_t ixOutras = cdsTotal->FieldIndex("OutrasImposto");
  const int32_t ixTipo = cdsTotal->FieldIndex("TipoImposto");
  TRecTotal total;
  IniciarTotal(total);
  std::string descricao, ultimaChave;
  if (FListarResumoDia) {
    cdsTotal->SetIndexFieldNames("DATALCTOFIS;TIPOIMPOSTO");
  } else if (FExibirDadosNatureza || StrToInt(RepParam("pTotalizar")) == kTotalizarResumoCFOP) {
    cdsTotal->SetIndexFieldNames("CODIGOCFOP;TIPOIMPOSTO");
  }
  cdsTotal->First();
  while (!cdsTotal->Eof()) {
    const auto tipo = static_cast<int32_t>(cdsTotal->GetInteger(ixTipo));
    if (FListarResumoCFOP) {
      descricao = FormatarCFOP(cdsTotal->GetString(ixCFOP));
      if (cdsNatureza->FindKey({static_cast<int32_t>(cdsTotal->GetInteger(ixCFOP))})) {
        descricao += "  " + cdsNatureza->GetString(ixDescricao);
      }
    } else if (FListarResumoDia) {
      descricao = cdsTotal->GetString(ixData);
    }
    total.ValorContabil = cdsTotal->GetFloat(ixContabil);
    total.BaseImposto = cdsTotal->GetFloat(ixBase);
    total.ValorImposto = cdsTotal->GetFloat(ixValor);
    total.IsentasImposto = cdsTotal->GetFloat(ixIsentas);
    total.OutrasImposto = cdsTotal->GetFloat(ixOutras);
    cdsTotal->Next();
    const std::string chave = descricao + std::to_string(tipo);
    if (chave != ultimaChave) {
      ultimaChave = chave;
      ImprimirTotal(descricao, tipo, total, false);
    }
  }
}

}  // namespace nfis
