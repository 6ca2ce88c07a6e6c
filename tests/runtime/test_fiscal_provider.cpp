// The fiscal data provider on the hand-built books, on both databases and both storage modes.
#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <mutex>
#include <numeric>

#include "host/exception.hpp"
#include "host/fiscal_provider.hpp"
#include "host/sqlite_table.hpp"
#include "runtime/fiscal_results.hpp"
#include "schema/company_schema.hpp"
#include "tests/runtime/backends.hpp"
#include "tests/runtime/fiscal_fixture.hpp"

namespace nrw::testing {
namespace {

struct ProviderCase {
  Backend backend;
  bool sqlite;
};

std::string CaseName(const ProviderCase& c) {
  return BackendName(c.backend) + (c.sqlite ? "_SqliteStorage" : "_MemoryStorage");
}

class FiscalProvider : public ::testing::TestWithParam<ProviderCase> {
 protected:
  void SetUp() override {
    db = TestDatabase::Open(GetParam().backend, scratch);
    if (db == nullptr) {
      GTEST_SKIP() << TestDatabase::SkipReason(GetParam().backend);
    }
    BuildFiscalFixture(db->Connection());
    provider = NewProvider(GetParam().sqlite);
  }

  std::unique_ptr<TnFisDPListarLctoFisTotal> NewProvider(bool sqlite) {
    auto p = std::make_unique<TnFisDPListarLctoFisTotal>();
    p->SetUsarSQLite(sqlite);
    p->SetConexao(&db->Connection());
    TnpqPowerParam& params = *p->Params();
    params.Param("pDataInicial")->SetAsDate(EncodeDate(2026, 1, 1));
    params.Param("pDataFinal")->SetAsDate(EncodeDate(2026, 1, 31));
    for (const char* name :
         {"pListarICMS", "pListarISS", "pListarIPI", "pListarPISCOFINS", "pListarFunRural",
          "pListarComplementar", "pListarSubTribut", "pListarHistorico", "pListarDadosPessoa"}) {
      params.Param(name)->SetAsString("1");
    }
    params.Param("pSaida")->SetAsInteger(1);
    params.Param("pEntrada")->SetAsInteger(1);
    params.Param("pTipoPeriodo")->SetAsInteger(1);
    params.Param("pNaoUsaFinalidadeNormal")->SetAsInteger(0);
    params.Param("pCampoAdicional")->SetValue("0");
    params.Param("pCodigoEmpresa")->SetValue("1");
    params.Param("pCodigoEstab")->SetValue("1");
    return p;
  }
  void Set(const char* name, const Variant& value) {
    provider->Params()->Param(name)->SetValue(value);
  }
  std::vector<double> Keys(TDataSet* table) {
    std::vector<double> keys;
    const int key = table->FieldIndex("CHAVELCTOFIS");
    for (table->First(); !table->Eof(); table->Next()) {
      keys.push_back(table->GetFloat(key));
    }
    return keys;
  }
  std::vector<int64_t> Column(TDataSet* table, const char* name) {
    std::vector<int64_t> values;
    const int field = table->FieldIndex(name);
    for (table->First(); !table->Eof(); table->Next()) {
      values.push_back(table->GetInteger(field));
    }
    return values;
  }
  TnClientDataSetMem* Named(const char* name) {
    return Nutildb::CDSM(provider->FindComponent(name));
  }
  std::vector<double> TaxKeys() {
    provider->Executar();
    return Keys(provider->Imposto());
  }

  ScratchDir scratch;
  std::unique_ptr<TestDatabase> db;
  std::unique_ptr<TnFisDPListarLctoFisTotal> provider;
};

TEST_P(FiscalProvider, AllTaxesOfTheMonthInKeyOrder) {
  EXPECT_EQ(TaxKeys(), (std::vector<double>{1, 1, 1, 2, 2, 3, 3, 4}));
  EXPECT_EQ(Column(provider->Imposto(), "TIPOIMPOSTO"),
            (std::vector<int64_t>{1, 10, 13, 1, 1, 1, 11, 2}));
  EXPECT_EQ(Keys(provider->DocFiscal()), (std::vector<double>{1, 2, 3, 4}));
  EXPECT_EQ(Column(Named("cdsPessoa"), "CODIGOPESSOA"), (std::vector<int64_t>{10, 20, 30}));
  EXPECT_GT(Named("cdsCFOP")->RecordCount(), 10);
}

TEST_P(FiscalProvider, TaxLineColumns) {
  provider->Executar();
  TDataSet* t = provider->Imposto();
  for (const char* name :
       {"CHAVELCTOFIS", "DATALCTOFIS", "CODIGOCFOP", "TIPOIMPOSTO", "ALIQIMPOSTO", "VALORCONTABIL",
        "BASEIMPOSTO", "VALORIMPOSTO", "ISENTASIMPOSTO", "OUTRASIMPOSTO", "VALOREXVALORADICIONAL",
        "CODIGOOPERACAOFIS"}) {
    EXPECT_NE(t->FindField(name), nullptr) << name;
  }
  EXPECT_EQ(t->FindField("NumeroNF"), nullptr);
  EXPECT_EQ(t->FindField("NomePessoa"), nullptr);
  t->First();
  EXPECT_EQ(t->FieldByName("DATALCTOFIS")->AsDateTime(), EncodeDate(2026, 1, 5));
  t->Next();
  t->Next();
  EXPECT_EQ(t->FieldByName("CODIGOOPERACAOFIS")->AsInteger(), 11403);
  EXPECT_DOUBLE_EQ(t->FieldByName("VALORIMPOSTO")->AsFloat(), 7.2);
}

TEST_P(FiscalProvider, EntriesOrExits) {
  Set("pSaida", 0);
  EXPECT_EQ(TaxKeys(), (std::vector<double>{1, 1, 1, 3, 3}));
  Set("pSaida", 1);
  Set("pEntrada", 0);
  EXPECT_EQ(TaxKeys(), (std::vector<double>{2, 2, 4}));
  EXPECT_EQ(Keys(provider->DocFiscal()), (std::vector<double>{2, 4}));
  Set("pSaida", 0);
  EXPECT_TRUE(TaxKeys().empty());
  EXPECT_TRUE(provider->DocFiscal()->IsEmpty());
}

TEST_P(FiscalProvider, TaxTypeSwitches) {
  for (const char* name :
       {"pListarISS", "pListarIPI", "pListarFunRural", "pListarComplementar", "pListarSubTribut"}) {
    Set(name, "0");
  }
  EXPECT_EQ(TaxKeys(), (std::vector<double>{1, 2, 2, 3}));
  EXPECT_EQ(Keys(provider->DocFiscal()), (std::vector<double>{1, 2, 3}))
      << "documents without lines are left out";
  Set("pListarICMS", "0");
  Set("pListarISS", "1");
  EXPECT_EQ(TaxKeys(), (std::vector<double>{4}));
}

TEST_P(FiscalProvider, PeriodByDateKeepsFirstAndLastDay) {
  Set("pDataInicial", Variant::FromDateTime(EncodeDate(2026, 1, 1)));
  Set("pDataFinal", Variant::FromDateTime(EncodeDate(2026, 1, 1)));
  EXPECT_EQ(TaxKeys(), (std::vector<double>{2, 2}));
  Set("pDataInicial", Variant::FromDateTime(EncodeDate(2026, 1, 31)));
  Set("pDataFinal", Variant::FromDateTime(EncodeDate(2026, 2, 28)));
  EXPECT_EQ(TaxKeys(), (std::vector<double>{3, 3, 5}));
}

TEST_P(FiscalProvider, PeriodByDateAndTimeUsesTheMinuteTexts) {
  Set("pTipoPeriodo", 2);
  Set("pHoraInicial", "480");  // 08:00 on the first day
  Set("pHoraFinal", "1080");   // 18:00 on the last day
  EXPECT_EQ(TaxKeys(), (std::vector<double>{1, 1, 1, 4}));
  Set("pHoraInicial", "450");  // 07:30, included
  Set("pHoraFinal", "1110");   // 18:30, included
  EXPECT_EQ(TaxKeys(), (std::vector<double>{1, 1, 1, 2, 2, 3, 3, 4}));
}

// A person is chosen once among the documents' people, whatever the documents it has: here
// supplier 10 with its entry (key 1) and an exit (key 8) in the period.
TEST_P(FiscalProvider, EachCounterpartyOnceThoughInEntriesAndExits) {
  const Variant null;
  schema::WriteRows(db->Connection(), "LCTOFISSAI",
                    {{1, 1, 8, Day(12), At(12, 9, 0), Day(12), 800, 800, "1", null, "NFE", 10, "SP",
                      null, "55", 1, 1}});
  schema::WriteRows(db->Connection(), "LCTOFISSAIIMPOSTO",
                    {{1, 1, 8, 1, 1, 5102, 18.0, 80.0, 80.0, 14.4, 0.0, 0.0, 0.0, null}});
  EXPECT_EQ(TaxKeys(), (std::vector<double>{1, 1, 1, 2, 2, 3, 3, 4, 8}));
  EXPECT_EQ(Column(Named("cdsPessoa"), "CODIGOPESSOA"), (std::vector<int64_t>{10, 20, 30}));
}

TEST_P(FiscalProvider, CounterpartyFilterTakesSemicolonsOrCommas) {
  Set("pCodigoPessoa", "10; 30");
  EXPECT_EQ(Keys((provider->Executar(), provider->DocFiscal())), (std::vector<double>{1, 2, 4}));
  Set("pCodigoPessoa", "20,30");
  EXPECT_EQ(Keys((provider->Executar(), provider->DocFiscal())), (std::vector<double>{2, 3, 4}));
  EXPECT_EQ(Column(Named("cdsPessoa"), "CODIGOPESSOA"), (std::vector<int64_t>{20, 30}));
}

TEST_P(FiscalProvider, MalformedCodeListIsRefused) {
  Set("pCodigoPessoa", "10;' or 1=1 --");
  try {
    provider->Executar();
    FAIL() << "no exception";
  } catch (const Exception& e) {
    EXPECT_STREQ(
        e.what(),
        "pCodigoPessoa: '' or 1=1 --' is not a code (give whole numbers separated by ; or ,)");
  }
}

TEST_P(FiscalProvider, CfopFilter) {
  Set("pCodigoCFOP", "5102");
  EXPECT_EQ(TaxKeys(), (std::vector<double>{2}));
  EXPECT_EQ(Keys(provider->DocFiscal()), (std::vector<double>{2}));
  EXPECT_EQ(Column(Named("cdsPessoa"), "CODIGOPESSOA"), (std::vector<int64_t>{30}))
      << "the counterparties of the period's documents without listed lines are left out";
}

TEST_P(FiscalProvider, SpeciesComparesInUpperCase) {
  Set("pEspecie", "nfs");
  EXPECT_EQ(TaxKeys(), (std::vector<double>{4}));
  Set("pEspecie", "' or 1=1 --");
  EXPECT_TRUE(TaxKeys().empty());
}

TEST_P(FiscalProvider, NaoUsaFinalidadeNormalLeavesOutNormalDocuments) {
  Set("pNaoUsaFinalidadeNormal", 1);
  EXPECT_EQ(TaxKeys(), (std::vector<double>{3, 3, 4}));
}

TEST_P(FiscalProvider, UserFilter) {
  Set("pCodigoUsuario", "2,3");
  EXPECT_EQ(TaxKeys(), (std::vector<double>{3, 3, 4}));
}

TEST_P(FiscalProvider, HistoryFillsTheObservation) {
  provider->Executar();
  provider->DocFiscal()->First();
  EXPECT_EQ(provider->DocFiscal()->FieldByName("COMPLHIST")->AsString(), "obs 1");
  Set("pListarHistorico", "0");
  provider->Executar();
  provider->DocFiscal()->First();
  EXPECT_TRUE(provider->DocFiscal()->FieldByName("COMPLHIST")->IsNull());
}

TEST_P(FiscalProvider, CounterpartyDataSwitchesTheRegistrations) {
  Set("pListarDadosPessoa", "0");
  provider->Executar();
  TnClientDataSetMem* people = Named("cdsPessoa");
  people->SetIndexFieldNames("CODIGOPESSOA");
  ASSERT_TRUE(people->FindKey({10}));
  EXPECT_EQ(people->FieldByName("NOMEPESSOA")->AsString(), "Fornecedor A");
  EXPECT_EQ(people->FieldByName("CODIGOMUNIC")->AsInteger(), 3550308);
  EXPECT_TRUE(people->FieldByName("INSCRFEDERAL")->IsNull());
  Set("pListarDadosPessoa", "1");
  provider->Executar();
  people = Named("cdsPessoa");
  people->SetIndexFieldNames("CODIGOPESSOA");
  ASSERT_TRUE(people->FindKey({20}));
  EXPECT_EQ(people->FieldByName("INSCRFEDERAL")->AsString(), "12345678909");
  EXPECT_EQ(people->FieldByName("INSCRPROD")->AsString(), "PR-555");
  EXPECT_EQ(people->FieldByName("PRODUTRURAL")->AsInteger(), 1);
}

TEST_P(FiscalProvider, ExtraFieldForOrdering) {
  Set("pCampoAdicional", "1");
  provider->Executar();
  EXPECT_EQ(Column(provider->Imposto(), "NumeroNF"),
            (std::vector<int64_t>{100, 100, 100, 200, 200, 300, 300, 400}));
  Set("pCampoAdicional", "2");
  provider->Executar();
  TDataSet* t = provider->Imposto();
  t->First();
  EXPECT_EQ(t->FieldByName("NomePessoa")->AsString(), "Fornecedor A");
}

TEST_P(FiscalProvider, PisCofinsItemsOfTheListedDocuments) {
  provider->Executar();
  EXPECT_EQ(Keys(provider->PisCofins()), (std::vector<double>{1, 1, 1, 2}));
  TDataSet* p = provider->PisCofins();
  p->First();
  EXPECT_DOUBLE_EQ(p->FieldByName("ValorPIS")->AsFloat(), 0.99);
  EXPECT_EQ(p->FieldByName("CodigoProduto")->AsString(), "1");
  Set("pListarPISCOFINS", "0");
  provider->Executar();
  EXPECT_TRUE(provider->PisCofins()->IsEmpty());
}

// The items are read beside the tax lines on a second connection, the database keeping those
// of listed documents; inside a transaction everything is read on the one connection, the
// provider keeping them. Either way the same items.
TEST_P(FiscalProvider, PisCofinsItemsFollowTheListedDocumentsOnOneOrTwoConnections) {
  for (const bool transaction : {false, true}) {
    SCOPED_TRACE(transaction ? "one connection" : "two connections");
    if (transaction) {
      db->Connection().BeginTransaction();
    }
    Set("pCodigoCFOP", "");
    provider->Executar();
    EXPECT_EQ(Keys(provider->PisCofins()), (std::vector<double>{1, 1, 1, 2}));
    Set("pCodigoCFOP", "5102");
    provider->Executar();
    EXPECT_EQ(Keys(provider->PisCofins()), (std::vector<double>{2}))
        << "document 1 has no line of that CFOP";
    Set("pCodigoCFOP", "");
    Set("pListarICMS", "0");
    provider->Executar();
    EXPECT_EQ(Keys(provider->PisCofins()), (std::vector<double>{1, 1, 1}))
        << "document 2 has only ICMS lines";
    Set("pListarICMS", "1");
    if (transaction) {
      db->Connection().Rollback();
    }
  }
}

// Items of four documents in key order (1, 2, 3, 4), read beside the tax lines: those of the
// documents without a listed tax line go, whether they lie alone between kept ones or side by
// side, first or last.
TEST_P(FiscalProvider, PisCofinsItemsOfUnlistedDocumentsGoWhereverTheyLie) {
  schema::WriteRows(
      db->Connection(), "LCTOFISENTPRODUTO",
      {{1, 1, 3, Day(31), 1, 1, "0", 1102, 1.0, 50.0, 50.0, 50.0, 50.0, 1.65, 0.83, 7.6, 3.8}});
  schema::WriteRows(
      db->Connection(), "LCTOFISSAIPRODUTO",
      {{1, 1, 4, Day(20), 1, 2, "0", 5933, 1.0, 300.0, 300.0, 300.0, 300.0, 0.65, 1.95, 3.0, 9.0},
       {1, 1, 4, Day(20), 2, 1, "0", 5933, 1.0, 10.0, 10.0, 10.0, 10.0, 0.65, 0.07, 3.0, 0.3}});
  provider->Executar();
  EXPECT_EQ(Keys(provider->PisCofins()), (std::vector<double>{1, 1, 1, 2, 3, 4, 4}));
  Set("pCodigoCFOP", "5102");  // document 2 alone: 1 goes before it, 3 and 4 together after it
  provider->Executar();
  EXPECT_EQ(Keys(provider->PisCofins()), (std::vector<double>{2}));
  Set("pCodigoCFOP", "1102");  // documents 1 and 3: 2 goes between them, 4 at the end
  provider->Executar();
  EXPECT_EQ(Keys(provider->PisCofins()), (std::vector<double>{1, 1, 1, 3}));
  Set("pCodigoCFOP", "5933");  // document 4: 1, 2 and 3 go together
  provider->Executar();
  EXPECT_EQ(Keys(provider->PisCofins()), (std::vector<double>{4, 4}));
}

// A connection to the test's database that gives at most `reopens` more connections in all,
// and notes the statements read through any of them.
class RationedConnection : public TSQLConnection {
 public:
  struct Shared {
    std::mutex mutex;
    std::vector<std::string> statements;
    int reopens = 0;
  };
  RationedConnection(TSQLConnection& inner, std::shared_ptr<Shared> shared,
                     std::unique_ptr<TSQLConnection> owned = nullptr)
      : owned_(std::move(owned)), inner_(inner), shared_(std::move(shared)) {}
  TSQLDialect Dialect() const override { return inner_.Dialect(); }
  std::string Description() const override { return inner_.Description(); }
  void Query(const std::string& sql, const TVariantArray& params, TSQLRowSink& sink) override {
    Note(sql);
    inner_.Query(sql, params, sink);
  }
  void BulkQuery(const std::string& sql, const TVariantArray& params, TSQLRowSink& sink) override {
    Note(sql);
    inner_.BulkQuery(sql, params, sink);
  }
  int64_t Execute(const std::string& sql, const TVariantArray& params) override {
    return inner_.Execute(sql, params);
  }
  void ExecuteScript(const std::string& sql) override { inner_.ExecuteScript(sql); }
  std::unique_ptr<TSQLBulkWriter> BulkInsert(const std::string& table,
                                             const std::vector<std::string>& columns) override {
    return inner_.BulkInsert(table, columns);
  }
  void BeginTransaction() override { inner_.BeginTransaction(); }
  void Commit() override { inner_.Commit(); }
  void Rollback() override { inner_.Rollback(); }
  bool InTransaction() const override { return inner_.InTransaction(); }
  std::unique_ptr<TSQLConnection> Reopen() const override {
    {
      std::lock_guard lock(shared_->mutex);
      if (shared_->reopens == 0) {
        return nullptr;
      }
      --shared_->reopens;
    }
    std::unique_ptr<TSQLConnection> other = inner_.Reopen();
    if (other == nullptr) {
      return nullptr;
    }
    TSQLConnection& reopened = *other;
    return std::make_unique<RationedConnection>(reopened, shared_, std::move(other));
  }

 private:
  void Note(const std::string& sql) {
    std::lock_guard lock(shared_->mutex);
    shared_->statements.push_back(sql);
  }
  std::unique_ptr<TSQLConnection> owned_;
  TSQLConnection& inner_;
  std::shared_ptr<Shared> shared_;
};

// SQLite results read the entries and the exits apart and merge them when the database gives
// three more connections (the items' lane and a second statement on each lane); with fewer,
// each query is one sorted union. The tables are the same either way.
TEST_P(FiscalProvider, SqliteResultsMergeTheDirectionsOnlyWithConnectionsEnough) {
  if (!GetParam().sqlite) {
    GTEST_SKIP() << "in-memory results sort their rows themselves";
  }
  for (const int reopens : {0, 1, 2, 3}) {
    SCOPED_TRACE(std::to_string(reopens) + " more connections");
    auto shared = std::make_shared<RationedConnection::Shared>();
    shared->reopens = reopens;
    RationedConnection connection(db->Connection(), shared);
    std::unique_ptr<TnFisDPListarLctoFisTotal> p = NewProvider(true);
    p->SetConexao(&connection);
    p->Executar();
    EXPECT_EQ(Keys(p->Imposto()), (std::vector<double>{1, 1, 1, 2, 2, 3, 3, 4}));
    EXPECT_EQ(Keys(p->DocFiscal()), (std::vector<double>{1, 2, 3, 4}));
    EXPECT_EQ(Keys(p->PisCofins()), (std::vector<double>{1, 1, 1, 2}));
    std::vector<std::string> tax_lines;
    for (const std::string& sql : shared->statements) {
      if (sql.find("IMPOSTO I join") != std::string::npos) {
        tax_lines.push_back(sql);
      }
    }
    const bool merged = reopens == 3;
    ASSERT_EQ(tax_lines.size(), merged ? 2U : 1U);
    for (const std::string& sql : tax_lines) {
      EXPECT_EQ(sql.find("union all") != std::string::npos, !merged) << sql;
      EXPECT_NE(sql.find("order by 1, 2"), std::string::npos) << sql;
    }
  }
}

TEST_P(FiscalProvider, TotalsPerCfopEqualTheTaxLines) {
  Set("pTipoTotal", "4");
  provider->Executar();
  TnClientDataSetMem* total = Named("cdsTotal");
  EXPECT_EQ(total->RecordCount(),
            7);  // (1102,1) (1102,10) (1102,11) (1403,13) (5102,1) (5933,2) (6102,1)
  for (const char* amount :
       {"VALORCONTABIL", "BASEIMPOSTO", "VALORIMPOSTO", "ISENTASIMPOSTO", "OUTRASIMPOSTO"}) {
    double lines = 0, totals = 0;
    TDataSet* t = provider->Imposto();
    for (t->First(); !t->Eof(); t->Next()) {
      lines += t->FieldByName(amount)->AsFloat();
    }
    for (total->First(); !total->Eof(); total->Next()) {
      totals += total->FieldByName(amount)->AsFloat();
    }
    EXPECT_NEAR(lines, totals, 1e-9) << amount;
  }
  total->SetIndexFieldNames("CODIGOCFOP;TIPOIMPOSTO");
  ASSERT_TRUE(total->FindKey({1102, 1}));
  EXPECT_DOUBLE_EQ(total->FieldByName("VALORCONTABIL")->AsFloat(), 150.0);
  EXPECT_DOUBLE_EQ(total->FieldByName("VALORIMPOSTO")->AsFloat(), 24.0);
}

TEST_P(FiscalProvider, TotalsPerDay) {
  Set("pTipoTotal", "7");
  provider->Executar();
  TnClientDataSetMem* total = Named("cdsTotal");
  EXPECT_EQ(total->RecordCount(),
            7);  // 01/01 ICMS; 05/01 ICMS, IPI, ST; 20/01 ISS; 31/01 ICMS, FunRural
  total->SetIndexFieldNames("DATALCTOFIS;TIPOIMPOSTO");
  ASSERT_TRUE(total->FindKey({Variant::FromDateTime(EncodeDate(2026, 1, 1)), 1}));
  EXPECT_DOUBLE_EQ(total->FieldByName("VALORCONTABIL")->AsFloat(), 300.0);
  EXPECT_EQ(total->FieldByName("DataLctoFis")->AsString(), "01/01/2026");
  Set("pTipoTotal", "");
  provider->Executar();
  EXPECT_TRUE(Named("cdsTotal")->IsEmpty());
}

TEST_P(FiscalProvider, EachExecutionRebuildsForTheEstablishment) {
  provider->Executar();
  Set("pCodigoEstab", "2");
  EXPECT_EQ(TaxKeys(), (std::vector<double>{7}));
  Set("pCodigoEmpresa", "2");
  Set("pCodigoEstab", "1");
  EXPECT_EQ(TaxKeys(), (std::vector<double>{6}));
  EXPECT_EQ(Column(Named("cdsPessoa"), "CODIGOPESSOA"), (std::vector<int64_t>{30}));
}

// A load stopped by a failure (in SQLite storage, on the load's thread) is forgotten: the
// next execution writes the tables afresh.
TEST_P(FiscalProvider, AnExecutionAfterAFailedOneGivesTheSameTables) {
  auto counts = [this] {
    return std::vector<int>{provider->Imposto()->RecordCount(),
                            provider->DocFiscal()->RecordCount(),
                            provider->PisCofins()->RecordCount()};
  };
  provider->Executar();
  const std::vector<int> first = counts();
  ASSERT_GT(first[2], 0);
  db->Connection().ExecuteScript("alter table LCTOFISENTPRODUTO rename to ASIDE");
  EXPECT_THROW(provider->Executar(), Exception);
  db->Connection().ExecuteScript("alter table ASIDE rename to LCTOFISENTPRODUTO");
  provider->Executar();
  EXPECT_EQ(counts(), first);
}

TEST_P(FiscalProvider, AtualizarIndiceOrdersEitherStorage) {
  provider->Executar();
  provider->AtualizarIndice(provider->Imposto(), "TIPOIMPOSTO;CHAVELCTOFIS");
  EXPECT_EQ(provider->Imposto()->IndexFieldNames(), "TIPOIMPOSTO;CHAVELCTOFIS");
  EXPECT_EQ(Column(provider->Imposto(), "TIPOIMPOSTO"),
            (std::vector<int64_t>{1, 1, 1, 1, 2, 10, 11, 13}));
  ASSERT_TRUE(provider->Imposto()->FindKey({13}));
  EXPECT_EQ(provider->Imposto()->FieldByName("CHAVELCTOFIS")->AsInteger(), 1);
}

TEST_P(FiscalProvider, UnknownParameterIsRefused) {
  EXPECT_THROW(provider->Params()->Param("pNoSuchParameter"), Exception);
}

INSTANTIATE_TEST_SUITE_P(Storage, FiscalProvider,
                         ::testing::Values(ProviderCase{Backend::SQLite, false},
                                           ProviderCase{Backend::SQLite, true},
                                           ProviderCase{Backend::PostgreSQL, false},
                                           ProviderCase{Backend::PostgreSQL, true}),
                         [](const auto& info) { return CaseName(info.param); });

// Both storage modes give the same rows in the same order.
TEST(FiscalProviderStorage, BothModesGiveTheSameTables) {
  ScratchDir scratch;
  auto db = TestDatabase::Open(Backend::SQLite, scratch);
  BuildFiscalFixture(db->Connection());
  auto dump = [&](bool sqlite) {
    TnFisDPListarLctoFisTotal p;
    p.SetUsarSQLite(sqlite);
    p.SetConexao(&db->Connection());
    p.Params()->Param("pDataInicial")->SetAsDate(EncodeDate(2026, 1, 1));
    p.Params()->Param("pDataFinal")->SetAsDate(EncodeDate(2026, 1, 31));
    for (const char* name : {"pListarICMS", "pListarISS", "pListarIPI", "pListarPISCOFINS",
                             "pListarFunRural", "pListarComplementar", "pListarSubTribut"}) {
      p.Params()->Param(name)->SetAsString("1");
    }
    p.Params()->Param("pEntrada")->SetAsInteger(1);
    p.Params()->Param("pSaida")->SetAsInteger(1);
    p.Params()->Param("pTipoPeriodo")->SetAsInteger(1);
    p.Params()->Param("pCodigoEmpresa")->SetValue("1");
    p.Params()->Param("pCodigoEstab")->SetValue("1");
    p.Executar();
    std::vector<std::string> rows;
    for (TDataSet* t : {p.Imposto(), p.DocFiscal(), p.PisCofins()}) {
      for (t->First(); !t->Eof(); t->Next()) {
        std::string row;
        for (int f = 0; f < t->FieldCount(); ++f) {
          row += t->Fields(f)->FieldName() + "=" + t->GetString(f) + ";";
        }
        rows.push_back(row);
      }
    }
    return rows;
  };
  const auto memory = dump(false);
  EXPECT_EQ(memory.size(), 16u);
  EXPECT_EQ(memory, dump(true));
}

// A provider in SQLite storage listing the ICMS lines of entries.
void EntriesIcmsInSqlite(TnFisDPListarLctoFisTotal& p, TSQLConnection& connection) {
  p.SetUsarSQLite(true);
  p.SetConexao(&connection);
  p.Params()->Param("pEntrada")->SetAsInteger(1);
  p.Params()->Param("pListarICMS")->SetAsString("1");
}

// The names of the tables in the SQLite file `path`.
std::vector<std::string> TablesIn(const std::string& path) {
  struct Names : TSQLRowSink {
    std::vector<std::string> names;
    void Columns(const std::vector<TSQLColumn>&) override {}
    void Row(const std::vector<Variant>& values) override { names.push_back(values[0].AsString()); }
  } sink;
  OpenConnection(path, false)
      ->Query("select name from sqlite_master where type = 'table'", {}, sink);
  return sink.names;
}

// Each result table has a temporary file of its own, so that a working copy of one (a copy of
// its file, named as the report names them) copies that table alone; the files and the copies
// go with the provider.
TEST(FiscalProviderStorage, EachTableHasATemporaryFileOfItsOwn) {
  ScratchDir scratch;
  auto db = TestDatabase::Open(Backend::SQLite, scratch);
  BuildFiscalFixture(db->Connection());
  std::vector<std::string> files, copies;
  {
    TnFisDPListarLctoFisTotal p;
    EntriesIcmsInSqlite(p, db->Connection());
    p.Executar();
    for (TDataSet* table : {p.Imposto(), p.DocFiscal(), p.PisCofins()}) {
      const std::string file = Nutildb::FDTSQLite(table)->Connection()->Params().Database();
      EXPECT_NE(std::filesystem::path(file).filename().string().find("temp"), std::string::npos);
      std::string copy = file;
      copy.replace(copy.find("temp"), 4, "temp_imp");
      Nutilarquivo::CopyFile(file, copy, true);
      EXPECT_EQ(TablesIn(copy), std::vector<std::string>{Nutildb::FDTSQLite(table)->TableName()})
          << copy;
      files.push_back(file);
      copies.push_back(copy);
    }
    EXPECT_EQ(p.ArquivoTemporario(), files[0]);
    EXPECT_NE(files[0], files[1]);
    EXPECT_NE(files[1], files[2]);
    EXPECT_NE(files[0], files[2]);
    EXPECT_THROW(p.SetUsarSQLite(false), Exception);
  }
  for (const std::string& file : files) {
    EXPECT_FALSE(std::filesystem::exists(file)) << file;
  }
  for (const std::string& copy : copies) {
    EXPECT_FALSE(std::filesystem::exists(copy)) << copy;
  }
}

TEST(FiscalProviderStorage, TemporaryFilesAreRemovedAfterAFailedExecution) {
  ScratchDir scratch;
  auto db = TestDatabase::Open(Backend::SQLite, scratch);
  BuildFiscalFixture(db->Connection());
  std::vector<std::string> files;
  try {
    TnFisDPListarLctoFisTotal p;
    EntriesIcmsInSqlite(p, db->Connection());
    p.Executar();
    for (TDataSet* table : {p.Imposto(), p.DocFiscal(), p.PisCofins()}) {
      files.push_back(Nutildb::FDTSQLite(table)->Connection()->Params().Database());
    }
    db->Connection().ExecuteScript("drop table LCTOFISENTPRODUTO");
    p.Executar();
    FAIL() << "no exception";
  } catch (const Exception& e) {
    EXPECT_NE(std::string(e.what()).find("LCTOFISENTPRODUTO"), std::string::npos) << e.what();
  }
  ASSERT_EQ(files.size(), 3U);
  for (const std::string& file : files) {
    EXPECT_FALSE(std::filesystem::exists(file)) << file;
  }
}

// SQLite storage drops rows by their places in the order they were added: ranges that begin
// and end the table, single rows, more ranges than one statement takes.
TEST(FiscalProviderStorage, SqliteDropsAddedRowsByTheirPlaces) {
  TComponent owner(nullptr);
  std::unique_ptr<FiscalStorage> storage = MakeSqliteStorage(&owner);
  storage->BeginRefill();
  for (const FiscalResult result :
       {FiscalResult::Imposto, FiscalResult::DocFiscal, FiscalResult::PisCofins}) {
    storage->Begin(result, FiscalResultFields(result, 0));
  }
  constexpr int kRows = 1000;
  std::vector<Variant> row;
  for (int place = 0; place < kRows; ++place) {
    row = {Variant(double(place)), Variant(1),    Variant(7),    Variant("0"),
           Variant(5102),          Variant(10.0), Variant(10.0), Variant(1.65),
           Variant(0.17),          Variant(7.6),  Variant(0.76)};
    storage->Add(FiscalResult::PisCofins, row);
  }
  storage->End(FiscalResult::Imposto, "CHAVELCTOFIS;SEQ");
  storage->End(FiscalResult::DocFiscal, "CHAVELCTOFIS");
  storage->End(FiscalResult::PisCofins, "CHAVELCTOFIS;SEQ");
  // Places 0-9 and 990-999, then every odd place between: 397 ranges.
  std::vector<AddedRows> dropped = {{0, 9}};
  for (int place = 11; place < 990; place += 2) {
    dropped.push_back({place, place});
  }
  dropped.push_back({990, kRows - 1});
  storage->DropAddedRows(FiscalResult::PisCofins, dropped);
  storage->EndRefill();
  std::vector<double> expected;
  for (int place = 10; place < 990; place += 2) {
    expected.push_back(place);
  }
  std::vector<double> kept;
  TDataSet* items = storage->Table(FiscalResult::PisCofins);
  for (items->First(); !items->Eof(); items->Next()) {
    kept.push_back(items->GetFloat(0));
  }
  EXPECT_EQ(kept, expected);

  std::unique_ptr<FiscalStorage> memory = MakeMemoryStorage(&owner);
  EXPECT_THROW(memory->DropAddedRows(FiscalResult::PisCofins, dropped), Exception);
}

TEST(FiscalProviderStorage, CreatedByClassName) {
  std::unique_ptr<TComponent> module(CriarDMNovo("TnFisDPListarLctoFisTotal", nullptr));
  EXPECT_NE(dynamic_cast<TnFisDPListarLctoFisTotal*>(module.get()), nullptr);
  EXPECT_NE(CheckedCast<TnDMPowerParam>(module.get()), nullptr);
  try {
    CriarDMNovo("TnNoSuchModule", nullptr);
    FAIL();
  } catch (const Exception& e) {
    EXPECT_STREQ(e.what(), "data module class 'TnNoSuchModule' is not registered");
  }
  bool acted = false;
  std::unique_ptr<TComponent> other(
      CriarDMNovo("tnfisdplistarlctofistotal", [&](TComponent*) { acted = true; }));
  EXPECT_TRUE(acted);
}

TEST(FormatarCFOP, FourDigitsGetADot) {
  EXPECT_EQ(FormatarCFOP("5102"), "5.102");
  EXPECT_EQ(FormatarCFOP("510"), "510");
  EXPECT_EQ(FormatarCFOP("Total "), "Total ");
  EXPECT_EQ(FormatarCFOP(""), "");
  EXPECT_EQ(FormatarCFOP("51020"), "51020");
}

}  // namespace
}  // namespace nrw::testing
