// The per-document product and freight figures of the listing: built once per report object,
// afterwards only run again with the new company and establishment (the literal parts of the
// first build, date-time and key bounds and species, stay in force).
#include "data/loader_sql.hpp"
#include "host/sql.hpp"
#include "report/resumo_conf_lcto_fis.hpp"

namespace nfis {
namespace {

// Runs `sql` into a new cursor, or refreshes the existing one; true when it was built now.
bool Carregar(TnClientDataSet*& cursor, const std::string& sql, const TVariantArray& valores,
              const char* indice) {
  if (cursor != nullptr) {
    Nutildb::RefreshSQL(cursor, valores, true);
    return false;
  }
  cursor = Nutildb::ExecutarSQL(sql, valores, true, true, -1, "", nullptr, true);
  cursor->SetIndexFieldNames(indice);
  return true;
}

}  // namespace

void TnFisORResumoConfLctoFis::CarregarTotalProduto() {
  ConcluirTotalProduto(*IniciarTotalProduto());
}

std::unique_ptr<Nutildb::TBackgroundQuery> TnFisORResumoConfLctoFis::IniciarTotalProduto() {
  const std::string sql = curTotalProduto == nullptr ? SqlTotalProduto(*this) : "";
  return std::make_unique<Nutildb::TBackgroundQuery>(curTotalProduto, sql,
                                                     ValoresCarregamento(*this));
}

// A cursor built now is ordered and its columns' positions kept; a refreshed one keeps both.
void TnFisORResumoConfLctoFis::ConcluirTotalProduto(Nutildb::TBackgroundQuery& AConsulta) {
  const bool novo = curTotalProduto == nullptr;
  curTotalProduto = AConsulta.Wait();
  if (novo) {
    curTotalProduto->SetIndexFieldNames("CHAVELCTOFIS");
    ixTPR_QtdeTotal = curTotalProduto->FieldIndex("QTDETOTAL");
    ixTPR_ValorTotal = curTotalProduto->FieldIndex("VALORTOTAL");
  }
}

void TnFisORResumoConfLctoFis::CarregarLctoProduto() {
  const std::string sql = curLctoProduto == nullptr ? SqlLctoProduto(*this) : "";
  if (Carregar(curLctoProduto, sql, ValoresCarregamento(*this), "CHAVELCTOFIS;CODIGOPRODUTO")) {
    ixLCP_ChaveLctoFis = curLctoProduto->FieldIndex("CHAVELCTOFIS");
    ixLCP_CodigoProduto = curLctoProduto->FieldIndex("CODIGOPRODUTO");
    ixLCP_Seq = curLctoProduto->FieldIndex("SEQ");
    ixLCP_Quantidade = curLctoProduto->FieldIndex("QUANTIDADE");
    ixLCP_ValorUnitario = curLctoProduto->FieldIndex("VALORUNITARIO");
    ixLCP_ValorTotal = curLctoProduto->FieldIndex("VALORTOTAL");
  }
}

void TnFisORResumoConfLctoFis::CarregarTotalFrete() {
  const std::string sql = curTotalFrete == nullptr ? SqlTotalFrete(*this) : "";
  if (Carregar(curTotalFrete, sql, ValoresCarregamento(*this), "CHAVELCTOFIS")) {
    ixTFR_QtdeNotas = curTotalFrete->FieldIndex("QTDENOTAS");
    ixTFR_ValorTotal = curTotalFrete->FieldIndex("VALORTOTAL");
  }
}

}  // namespace nfis
