// The product and freight loaders: SQL texts exactly as built from the fixed pieces, and each
// kind of text run on SQLite and PostgreSQL against the hand-built books.
#include <gtest/gtest.h>

#include <memory>

#include "data/loader_sql.hpp"
#include "report/resumo_conf_lcto_fis.hpp"
#include "tests/report/run_harness.hpp"

namespace nfis::testing {
namespace {

class LoaderSql : public ::testing::Test {
 protected:
  void SetUp() override {
    engine = std::make_unique<TnrwReport>();
    r.reset(static_cast<TnFisORResumoConfLctoFis*>(
        TnFisORResumoConfLctoFis::ClassType()->Create(engine.get())));
    r->FTipoMovimento = 1;
    r->FTipoPeriodo = 1;
    r->FDataInicial = EncodeDate(2026, 1, 1);
    r->FDataFinal = EncodeDate(2026, 1, 31);
  }
  std::unique_ptr<TnrwReport> engine;
  std::unique_ptr<TnFisORResumoConfLctoFis> r;
};

TEST_F(LoaderSql, TotalProdutoEntriesByDate) {
  EXPECT_EQ(
      SqlTotalProduto(*r),
      "select P.CHAVELCTOFISENT CHAVELCTOFIS ,cast(sum(P.QUANTIDADE) as numeric(15,6)) as "
      "QTDETOTAL "
      ",cast(sum(P.VALORTOTAL) as numeric(14,2)) as VALORTOTAL from LCTOFISENTPRODUTO P   where "
      "P.CODIGOEMPRESA = :CodigoEmpresa and P.CODIGOESTAB = :CodigoEstab and P.SEQ < 991 and "
      "P.DATALCTOFIS between :pDataInicial and :pDataFinal  group by P.CHAVELCTOFISENT ");
}

TEST_F(LoaderSql, TotalProdutoExitsByDateTimeWithBoundsAndSpecies) {
  r->FTipoMovimento = 2;
  r->FTipoPeriodo = 2;
  r->FHoraInicial = 0.5;
  r->FChaveInicial = 2;
  r->FChaveFinal = 4;
  r->FEspecie = "NFE";
  EXPECT_EQ(
      SqlTotalProduto(*r),
      "select P.CHAVELCTOFISSAI CHAVELCTOFIS ,cast(sum(P.QUANTIDADE) as numeric(15,6)) as "
      "QTDETOTAL "
      ",cast(sum(P.VALORTOTAL) as numeric(14,2)) as VALORTOTAL from LCTOFISSAIPRODUTO P  join "
      "LCTOFISSAI LF on LF.CODIGOEMPRESA = P.CODIGOEMPRESA and LF.CODIGOESTAB = P.CODIGOESTAB and "
      "LF.DATALCTOFIS = P.DATALCTOFIS and LF.CHAVELCTOFISSAI = P.CHAVELCTOFISSAI  join LCTOFISSAI "
      "L "
      "on L.CHAVELCTOFISSAI = P.CHAVELCTOFISSAI  and L.CODIGOEMPRESA = P.CODIGOEMPRESA and "
      "Upper(L.ESPECIENF) = 'NFE'  where LF.CODIGOEMPRESA = :pCodigoEmpresa and LF.CODIGOESTAB = "
      ":pCodigoEstab  and LF.DATAHORALCTOFIS between '2026-01-01 12:00:00' and '2026-01-31' and "
      "P.SEQ < 991  and P.CHAVELCTOFISSAI >= 2  and P.CHAVELCTOFISSAI <= 4  group by "
      "P.CHAVELCTOFISSAI ");
}

TEST_F(LoaderSql, LctoProdutoWithoutBoundsHasNoOrderBy) {
  EXPECT_EQ(
      SqlLctoProduto(*r),
      "select P.CHAVELCTOFISENT CHAVELCTOFIS ,P.CODIGOPRODUTO ,P.QUANTIDADE ,P.VALORUNITARIO "
      ",P.VALORTOTAL ,P.SEQ from LCTOFISENTPRODUTO P   where P.CODIGOEMPRESA = :pCodigoEmpresa "
      "and P.CODIGOESTAB = :pCodigoEstab and P.SEQ < 991 and P.DATALCTOFIS between :pDataInicial "
      "and :pDataFinal ");
  r->FChaveInicial = -5;
  r->FChaveFinal = 0;
  EXPECT_EQ(SqlLctoProduto(*r).find("order by"), std::string::npos);
}

TEST_F(LoaderSql, LctoProdutoBounds) {
  r->FChaveFinal = 7;
  const std::string only_final = SqlLctoProduto(*r);
  EXPECT_EQ(only_final.substr(only_final.size() - 43),
            " and P.CHAVELCTOFISENT <= 7  order by P.SEQ");
  r->FChaveInicial = 3;
  const std::string both = SqlLctoProduto(*r);
  EXPECT_EQ(both.substr(both.find(":pDataFinal ")),
            ":pDataFinal  and P.CHAVELCTOFISENT >= 3  and P.CHAVELCTOFISENT <= 7  order by P.SEQ");
  r->FChaveFinal = 0;
  const std::string only_start = SqlLctoProduto(*r);
  EXPECT_EQ(only_start.substr(only_start.find(":pDataFinal ")),
            ":pDataFinal  and P.CHAVELCTOFISENT >= 3  order by P.SEQ");
}

TEST_F(LoaderSql, LctoProdutoByDateTimeExtendsTheJoin) {
  r->FTipoMovimento = 2;
  r->FTipoPeriodo = 3;
  r->FEspecie = "NF";
  EXPECT_EQ(
      SqlLctoProduto(*r),
      "select P.CHAVELCTOFISSAI CHAVELCTOFIS ,P.CODIGOPRODUTO ,P.QUANTIDADE ,P.VALORUNITARIO "
      ",P.VALORTOTAL ,P.SEQ from LCTOFISSAIPRODUTO P  join LCTOFISSAI LF on LF.CODIGOEMPRESA = "
      "P.CODIGOEMPRESA and LF.CODIGOESTAB = P.CODIGOESTAB and LF.DATALCTOFIS = P.DATALCTOFIS and "
      "LF.CHAVELCTOFISSAI = P.CHAVELCTOFISSAI  join LCTOFISSAI L on L.CHAVELCTOFISSAI = "
      "P.CHAVELCTOFISSAI  and L.CODIGOEMPRESA = P.CODIGOEMPRESA and Upper(L.ESPECIENF) = 'NF'  and "
      "LF.CODIGOEMPRESA = :pCodigoEmpresa and LF.CODIGOESTAB = :pCodigoEstab  and "
      "LF.DATAHORALCTOFIS between '2026-01-01' and '2026-01-31' and P.SEQ < 991 ");
}

TEST_F(LoaderSql, TotalFreteAlwaysOnExits) {
  EXPECT_EQ(
      SqlTotalFrete(*r),
      "select F.CHAVELCTOFISSAI CHAVELCTOFIS ,count(F.SEQ) QTDENOTAS ,cast(sum(F.VALORTOTALNF) as "
      "numeric(14,2)) as VALORTOTAL from LCTOFISSAICONFRETE F   where F.CODIGOEMPRESA = "
      ":pCodigoEmpresa and F.CODIGOESTAB = :pCodigoEstab and F.DATALCTOFIS between :pDataInicial "
      "and "
      ":pDataFinal  group by F.CHAVELCTOFISSAI ");
  r->FTipoPeriodo = 2;
  r->FHoraFinal = 0.75;
  r->FChaveInicial = 1;
  r->FEspecie = "D'X";
  EXPECT_EQ(
      SqlTotalFrete(*r),
      "select F.CHAVELCTOFISSAI CHAVELCTOFIS ,count(F.SEQ) QTDENOTAS ,cast(sum(F.VALORTOTALNF) as "
      "numeric(14,2)) as VALORTOTAL from LCTOFISSAICONFRETE F  join LCTOFISSAI LF on "
      "LF.CODIGOEMPRESA "
      "= F.CODIGOEMPRESA and LF.CODIGOESTAB = F.CODIGOESTAB and LF.DATALCTOFIS = F.DATALCTOFIS and "
      "LF.CHAVELCTOFISSAI = F.CHAVELCTOFISSAI  join LCTOFISSAI L on L.CODIGOEMPRESA = "
      "F.CODIGOEMPRESA "
      "and L.CHAVELCTOFISSAI = F.CHAVELCTOFISSAI and Upper(L.ESPECIENF) = 'D''X' where "
      "LF.CODIGOEMPRESA = :pCodigoEmpresa and LF.CODIGOESTAB = :pCodigoEstab and "
      "LF.DATAHORALCTOFIS "
      "between '2026-01-01' and '2026-01-31 18:00:00' and F.CHAVELCTOFISSAI >= 1  group by "
      "F.CHAVELCTOFISSAI ");
}

TEST_F(LoaderSql, ValuesByPeriodKind) {
  r->FCodigoEmpresa = 1;
  r->FCodigoEstab = 2;
  EXPECT_EQ(ValoresCarregamento(*r).size(), 4u);
  r->FTipoPeriodo = 2;
  EXPECT_EQ(ValoresCarregamento(*r), (TVariantArray{Variant(1), Variant(2)}));
}

// Running the texts on both databases.
class Loaders : public ::testing::TestWithParam<nrw::testing::Backend> {
 protected:
  void SetUp() override {
    run = ReportRun::Open(GetParam());
    if (run == nullptr) {
      GTEST_SKIP() << nrw::testing::TestDatabase::SkipReason(GetParam());
    }
    r.reset(static_cast<TnFisORResumoConfLctoFis*>(
        TnFisORResumoConfLctoFis::ClassType()->Create(&run->Engine())));
    r->FCodigoEmpresa = 1;
    r->FCodigoEstab = 1;
    r->FTipoMovimento = 1;
    r->FTipoPeriodo = 1;
    r->FDataInicial = EncodeDate(2026, 1, 1);
    r->FDataFinal = EncodeDate(2026, 1, 31);
  }
  void TearDown() override {
    if (r) {
      Nutildb::DestruirSQL(r->curTotalProduto);
      Nutildb::DestruirSQL(r->curLctoProduto);
      Nutildb::DestruirSQL(r->curTotalFrete);
      Nutildb::DestruirSQL(r->curProduto);
      Nutildb::DestruirSQL(r->curOperacaoFis);
    }
  }
  std::unique_ptr<ReportRun> run;
  std::unique_ptr<TnFisORResumoConfLctoFis> r;
};

TEST_P(Loaders, ProductTotalsLeaveOutAdjustmentItems) {
  r->CarregarTotalProduto();
  TnClientDataSet* c = r->curTotalProduto;
  ASSERT_EQ(c->RecordCount(), 1);
  ASSERT_TRUE(c->FindKey({1.0}));
  EXPECT_DOUBLE_EQ(c->GetFloat(r->ixTPR_QtdeTotal), 6.0);
  EXPECT_DOUBLE_EQ(c->GetFloat(r->ixTPR_ValorTotal), 100.0);
}

TEST_P(Loaders, ProductItemsByKeyAndProduct) {
  r->CarregarLctoProduto();
  TnClientDataSet* c = r->curLctoProduto;
  EXPECT_EQ(c->IndexFieldNames(), "CHAVELCTOFIS;CODIGOPRODUTO");
  EXPECT_EQ(c->RecordCount(), 2);
  ASSERT_TRUE(c->FindKey({1.0, 2}));
  EXPECT_EQ(c->GetInteger(r->ixLCP_Seq), 2);
  EXPECT_DOUBLE_EQ(c->GetFloat(r->ixLCP_ValorUnitario), 10.0);
}

TEST_P(Loaders, FreightOfExits) {
  r->CarregarTotalFrete();
  TnClientDataSet* c = r->curTotalFrete;
  ASSERT_TRUE(c->FindKey({2.0}));
  EXPECT_EQ(c->GetString(r->ixTFR_QtdeNotas), "1");
  EXPECT_DOUBLE_EQ(c->GetFloat(r->ixTFR_ValorTotal), 300.0);
}

TEST_P(Loaders, ExitsByDateAndTimeWithSpecies) {
  r->FTipoMovimento = 2;
  r->FTipoPeriodo = 2;
  r->FHoraInicial = 450.0 / 1440;  // 07:30 on 01/01 includes key 2
  r->FHoraFinal = 0.5;
  r->FEspecie = "NFE";
  r->CarregarTotalProduto();
  ASSERT_TRUE(r->curTotalProduto->FindKey({2.0}));
  r->FHoraInicial = 451.0 / 1440;
  Nutildb::DestruirSQL(r->curTotalProduto);
  r->CarregarTotalProduto();
  EXPECT_TRUE(r->curTotalProduto->IsEmpty());
}

TEST_P(Loaders, RefreshKeepsTheFirstBuildsLiterals) {
  r->FTipoPeriodo = 2;
  r->FChaveFinal = 1;  // key 1 only, rendered into the first build
  r->CarregarLctoProduto();
  TnClientDataSet* first = r->curLctoProduto;
  EXPECT_EQ(first->RecordCount(), 2);
  r->FChaveFinal = 0;
  r->FCodigoEstab = 2;
  r->CarregarLctoProduto();
  EXPECT_EQ(r->curLctoProduto, first) << "built once, then refreshed";
  EXPECT_EQ(first->RecordCount(), 0) << "establishment 2 with the first build's key bound";
}

TEST_P(Loaders, ProductCursorRefreshedPerCompany) {
  r->CarregarCurProduto();
  TnClientDataSet* cursor = r->curProduto;
  EXPECT_EQ(cursor->RecordCount(), 2);
  ASSERT_TRUE(cursor->FindKey({2}));
  EXPECT_EQ(cursor->GetString(r->ixPRO_CodigoNCM), "0000.00.00");
  r->CarregarCurProduto();
  EXPECT_EQ(r->curProduto, cursor);
  r->FCodigoEmpresa = 2;
  r->CarregarCurProduto();
  EXPECT_EQ(r->curProduto, cursor);
  EXPECT_TRUE(cursor->IsEmpty()) << "company 2 has no products";
}

TEST_P(Loaders, OperationCursorIsLoadedOnce) {
  r->CarregarCurOperacaoFis();
  TnClientDataSet* cursor = r->curOperacaoFis;
  ASSERT_TRUE(cursor->FindKey({11403}));
  run->Connection().ExecuteScript("drop table OPERACAOFIS");
  EXPECT_NO_THROW(r->CarregarCurOperacaoFis()) << "the second call runs no SQL";
  EXPECT_EQ(r->curOperacaoFis, cursor);
  EXPECT_EQ(cursor->FieldIndex("DESCROPERACAOFIS"), r->ixOPE_DescrOperacaoFis);
}

INSTANTIATE_TEST_SUITE_P(Databases, Loaders,
                         ::testing::Values(nrw::testing::Backend::SQLite,
                                           nrw::testing::Backend::PostgreSQL),
                         [](const auto& info) { return nrw::testing::BackendName(info.param); });

}  // namespace
}  // namespace nfis::testing
