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

// The columns each tax's table takes from the item rows: the shared ones with the tax's own
// amount and rate. A value that is there is copied as it is stored (the same text, number or
// double); an empty one goes as its text or as 0, not as empty.
std::vector<TAppendColumn> Colunas(const char* valor, const char* aliquota) {
  const Variant texto(std::string{}), numero(0.0);
  return {{"Origem", texto},     {"ChaveLctoFis", numero},  {"CodigoProduto", texto},
          {"CodigoCFOP", texto}, {"ValorContabil", numero}, {valor, numero},
          {aliquota, numero},    {"BasePisCofins", numero}};
}

// A row goes to a tax's table when the tax's rate and the base are both non-zero.
std::string Condicao(const char* aliquota) {
  return "(" + std::string(aliquota) + " <> 0) and (BASEPISCOFINS <> 0)";
}

// Copies the filtered items, in their order, into both tables in one pass over them with the
// tables' own bulk append: in SQLite storage one statement per table, the two at once; in
// memory one walk of the items. `como` gives a table as the class that appends.
template <class Tabela, class Conversao>
void CopiarComo(Conversao como, TDataSet* itens, TDataSet* pis, TDataSet* cofins) {
  Tabela::AppendFromEach(
      *como(itens), {{como(pis), Colunas("ValorPIS", "AliqPIS"), Condicao("AliqPIS")},
                     {como(cofins), Colunas("ValorCOFINS", "AliqCOFINS"), Condicao("AliqCOFINS")}});
}

void Copiar(bool sqlite, TDataSet* itens, TDataSet* pis, TDataSet* cofins) {
  if (sqlite) {
    CopiarComo<TnFDTableSQLite>(Nutildb::FDTSQLite, itens, pis, cofins);
  } else {
    CopiarComo<TMemoryDataSet>(Nutildb::CDSM, itens, pis, cofins);
  }
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

  Copiar(UsarSQLite(), cdsPisCofins, cdsPis, cdsCofins);

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
