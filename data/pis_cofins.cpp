// AdicionarPISCOFINS: splits the provider's PIS/COFINS item rows into a PIS table and a COFINS
// table. The filter admits a row with any amount or base, but a row is copied only when the tax's
// rate and the base are both non-zero (the amount itself is not consulted): a row with an amount
// and no rate is in neither table.
#include "host/memory_data_set.hpp"
#include "host/sql.hpp"
#include "host/sqlite_table.hpp"
#include "report/resumo_conf_lcto_fis.hpp"

namespace nfis {
namespace {

const char* const kFiltroPisCofins =
    "(VALORPIS <> 0) or (VALORCOFINS <> 0) or (BASEPISCOFINS <> 0)";

// Column positions of the item rows, looked up once (the working tables share them).
struct ColunasPisCofins {
  int32_t origem, chave, produto, cfop, contabil, pis, aliq_pis, base, cofins, aliq_cofins;
  explicit ColunasPisCofins(TDataSet* ds)
      : origem(ds->FieldIndex("Origem")),
        chave(ds->FieldIndex("ChaveLctoFis")),
        produto(ds->FieldIndex("CodigoProduto")),
        cfop(ds->FieldIndex("CodigoCFOP")),
        contabil(ds->FieldIndex("ValorContabil")),
        pis(ds->FieldIndex("ValorPIS")),
        aliq_pis(ds->FieldIndex("AliqPIS")),
        base(ds->FieldIndex("BasePisCofins")),
        cofins(ds->FieldIndex("ValorCOFINS")),
        aliq_cofins(ds->FieldIndex("AliqCOFINS")) {}
};

// Copies one item row: text columns as text, the others as doubles; `valor` and `aliquota` are
// the tax's own amount and rate columns. A value that is there is copied as it is stored (the
// same text, number or double); an empty one goes as its text or as 0, not as empty.
void Copiar(TDataSet* origem, TDataSet* destino, const ColunasPisCofins& c, int32_t valor,
            int32_t aliquota) {
  auto texto = [&](int32_t campo) {
    if (origem->IsNull(campo)) {
      destino->SetValue(campo, Variant(origem->GetString(campo)));
    } else {
      destino->CopyValue(campo, *origem);
    }
  };
  auto numero = [&](int32_t campo) {
    if (origem->IsNull(campo)) {
      destino->SetValue(campo, Variant(origem->GetFloat(campo)));
    } else {
      destino->CopyValue(campo, *origem);
    }
  };
  destino->Append();
  texto(c.origem);
  numero(c.chave);
  texto(c.produto);
  texto(c.cfop);
  numero(c.contabil);
  numero(valor);
  numero(aliquota);
  numero(c.base);
  destino->Post();
}

// Walks the filtered items from where the cursor stands (on the first visible row once the
// filter is on) and copies each row with a rate and a base into the tax's table. The rate is
// tested first; with a zero rate the base is not read.
void CopiarLinhaALinha(TDataSet* itens, TDataSet* pis, TDataSet* cofins) {
  const ColunasPisCofins c(itens);
  const int32_t ixBase = itens->FieldIndex("BASEPISCOFINS");
  auto temAliquotaEBase = [&](int32_t aliquota) {
    return itens->GetFloat(aliquota) != 0 && itens->GetFloat(ixBase) != 0;
  };
  for (; !itens->Eof(); itens->Next()) {
    if (temAliquotaEBase(c.aliq_pis)) {
      Copiar(itens, pis, c, c.pis, c.aliq_pis);
    }
    if (temAliquotaEBase(c.aliq_cofins)) {
      Copiar(itens, cofins, c, c.cofins, c.aliq_cofins);
    }
  }
}

// The same copy in SQLite storage, made by SQLite with one statement per table, the two
// tables at once: the rows the filtered walk would take, in its order, with the same values
// (an empty text column as its text, an empty number as 0).
void CopiarNoSQLite(TDataSet* itens, TDataSet* pis, TDataSet* cofins) {
  const Variant texto(std::string{}), numero(0.0);
  auto copia = [&](TDataSet* destino, const char* valor, const char* aliquota) {
    return TnFDTableSQLite::TAppendTarget{
        Nutildb::FDTSQLite(destino),
        {{"Origem", texto},
         {"ChaveLctoFis", numero},
         {"CodigoProduto", texto},
         {"CodigoCFOP", texto},
         {"ValorContabil", numero},
         {valor, numero},
         {aliquota, numero},
         {"BasePisCofins", numero}},
        "(" + std::string(aliquota) + " <> 0) and (BASEPISCOFINS <> 0)"};
  };
  TnFDTableSQLite::AppendFromEach(
      *Nutildb::FDTSQLite(itens),
      {copia(pis, "ValorPIS", "AliqPIS"), copia(cofins, "ValorCOFINS", "AliqCOFINS")});
}

}  // namespace

void TnFisORResumoConfLctoFis::AdicionarPISCOFINS() {
  auto esvaziar = [this](TDataSet* ds) {
    if (UsarSQLite()) {
      Nutildb::FDTSQLite(ds)->EmptyDataSet();
    } else {
      Nutildb::CDSM(ds)->EmptyDataSet();
    }
  };
  cdsPisCofins->SetFilter(kFiltroPisCofins);
  cdsPisCofins->SetFiltered(true);
  cdsPis = ClonarDataSet(cdsPisCofins, "Pis");
  esvaziar(cdsPis);
  cdsCofins = ClonarDataSet(cdsPisCofins, "Cofins");
  esvaziar(cdsCofins);

  if (UsarSQLite()) {
    CopiarNoSQLite(cdsPisCofins, cdsPis, cdsCofins);
  } else {
    CopiarLinhaALinha(cdsPisCofins, cdsPis, cdsCofins);
  }

  FixPC_Origem = cdsPis->FieldIndex("Origem");
  FixPC_ChaveLctoFis = cdsPis->FieldIndex("ChaveLctoFis");
  FixPC_CodigoProduto = cdsPis->FieldIndex("CodigoProduto");
  FixPC_CodigoCFOP = cdsPis->FieldIndex("CodigoCFOP");
  FixPC_ValorContabil = cdsPis->FieldIndex("ValorContabil");
  FixPC_ValorPIS = cdsPis->FieldIndex("ValorPIS");
  FixPC_AliqPIS = cdsPis->FieldIndex("AliqPIS");
  FixPC_BasePisCofins = cdsPis->FieldIndex("BasePisCofins");
  FixPC_ValorCOFINS = cdsCofins->FieldIndex("ValorCOFINS");
  FixPC_AliqCOFINS = cdsCofins->FieldIndex("AliqCOFINS");
}

}  // namespace nfis
