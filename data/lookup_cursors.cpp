// Lookup cursors of products (per company) and fiscal operations (all), keyed for FindKey.
#include "host/sql.hpp"
#include "report/resumo_conf_lcto_fis.hpp"

namespace nfis {
namespace {

// The product text has two blanks before "where"; the texts are used as they stand.
const char* const kSqlProduto =
    "select CODIGOPRODUTO, DESCRPRODUTO, CODIGONCM from PRODUTO  where CODIGOEMPRESA = "
    ":CodigoEmpresa";
const char* const kSqlOperacaoFis = "select CODIGOOPERACAOFIS, DESCROPERACAOFIS from OPERACAOFIS";

}  // namespace

void TnFisORResumoConfLctoFis::CarregarCurProduto() {
  const TVariantArray valores = {Variant(FCodigoEmpresa)};
  if (curProduto == nullptr) {
    curProduto = Nutildb::ExecutarSQL(kSqlProduto, valores, true, true, -1, "", nullptr, true);
    curProduto->SetIndexFieldNames("CODIGOPRODUTO");
  } else {
    Nutildb::RefreshSQL(curProduto, valores, true);
  }
  ixPRO_DescrProduto = curProduto->FieldIndex("DESCRPRODUTO");
  ixPRO_CodigoNCM = curProduto->FieldIndex("CODIGONCM");
}

void TnFisORResumoConfLctoFis::CarregarCurOperacaoFis() {
  // The operations do not depend on the company: an existing cursor is kept as it is.
  if (curOperacaoFis == nullptr) {
    curOperacaoFis = Nutildb::ExecutarSQL(kSqlOperacaoFis, {}, true, false, -1, "", nullptr, true);
    curOperacaoFis->SetIndexFieldNames("CODIGOOPERACAOFIS");
  }
  ixOPE_DescrOperacaoFis = curOperacaoFis->FieldIndex("DESCROPERACAOFIS");
}

}  // namespace nfis
