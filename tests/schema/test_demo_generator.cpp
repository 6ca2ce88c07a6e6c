#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

#include "host/exception.hpp"
#include "schema/demo_generator.hpp"
#include "tests/runtime/backends.hpp"
#include "tests/schema/table_digest.hpp"

namespace nrw::testing {
namespace {

const std::vector<std::pair<std::string, std::string>> kFiscalTables = {
    {"LCTOFISENT", "CHAVELCTOFISENT"},
    {"LCTOFISSAI", "CHAVELCTOFISSAI"},
    {"LCTOFISENTIMPOSTO", "CHAVELCTOFISENT, SEQ"},
    {"LCTOFISSAIIMPOSTO", "CHAVELCTOFISSAI, SEQ"},
    {"LCTOFISENTPRODUTO", "CHAVELCTOFISENT, SEQ"},
    {"LCTOFISSAIPRODUTO", "CHAVELCTOFISSAI, SEQ"},
    {"LCTOFISSAICONFRETE", "CHAVELCTOFISSAI, SEQ"},
    {"PESSOA", "CODIGOPESSOA"},
    {"PRODUTO", "CODIGOEMPRESA, CODIGOPRODUTO"},
    {"ESTAB", "CODIGOEMPRESA, CODIGOESTAB"}};

schema::DemoOptions SmallMonth(uint64_t seed) {
  schema::DemoOptions options;
  options.documents = 2000;
  options.seed = seed;
  options.reference_dir = "";  // the shipped subset, the same everywhere
  return options;
}

class DemoGenerator : public ::testing::Test {
 protected:
  void SetUp() override {
    db = TestDatabase::Open(Backend::SQLite, scratch);
    counts = schema::CreateDemoDatabase(db->Connection(), SmallMonth(3));
  }
  int64_t Count(const std::string& sql) {
    std::unique_ptr<TnClientDataSet> cursor(
        Nutildb::ExecutarSQL(sql, {}, true, true, -1, "", &db->Connection(), true));
    return cursor->GetInteger(0);
  }
  ScratchDir scratch;
  std::unique_ptr<TestDatabase> db;
  schema::DemoCounts counts;
};

TEST_F(DemoGenerator, WritesTheMonthOfEveryEstablishment) {
  EXPECT_EQ(counts.documents, 2000);
  EXPECT_EQ(Count("select count(*) from LCTOFISENT") + Count("select count(*) from LCTOFISSAI"),
            2000);
  EXPECT_EQ(Count("select count(*) from ESTAB"), 4);
  EXPECT_EQ(Count("select count(distinct CODIGOEMPRESA * 10 + CODIGOESTAB) from LCTOFISSAI"), 4);
  EXPECT_EQ(Count("select count(*) from LCTOFISENT where DATALCTOFIS not between '2026-01-01' and "
                  "'2026-01-31'"),
            0);
  EXPECT_EQ(counts.tax_lines, Count("select count(*) from LCTOFISENTIMPOSTO") +
                                  Count("select count(*) from LCTOFISSAIIMPOSTO"));
}

TEST_F(DemoGenerator, KeysComeFromOneSequence) {
  EXPECT_EQ(Count("select count(*) from LCTOFISENT E join LCTOFISSAI S on S.CHAVELCTOFISSAI = "
                  "E.CHAVELCTOFISENT"),
            0);
  EXPECT_EQ(Count("select max(CHAVELCTOFISENT) from LCTOFISENT") > 0, true);
}

TEST_F(DemoGenerator, IcmsRatesReductionsAndExemptions) {
  for (int rate : {4, 7, 12, 17, 18}) {
    EXPECT_GT(
        Count("select count(*) from LCTOFISSAIIMPOSTO where TIPOIMPOSTO = 1 and ALIQIMPOSTO = " +
              std::to_string(rate)) +
            Count("select count(*) from LCTOFISENTIMPOSTO where TIPOIMPOSTO = 1 and "
                  "ALIQIMPOSTO = " +
                  std::to_string(rate)),
        0)
        << rate;
  }
  EXPECT_GT(
      Count("select count(*) from LCTOFISSAIIMPOSTO where TIPOIMPOSTO = 1 and OUTRASIMPOSTO > 0"),
      0);
  EXPECT_GT(
      Count("select count(*) from LCTOFISSAIIMPOSTO where TIPOIMPOSTO = 1 and ISENTASIMPOSTO > 0 "
            "and ALIQIMPOSTO = 0"),
      0);
  EXPECT_GT(Count("select count(*) from LCTOFISSAIIMPOSTO where VALOREXVALORADICIONAL > 0"), 0);
}

TEST_F(DemoGenerator, EveryTaxTypeAppears) {
  for (int type : {1, 2, 10, 11, 12, 13}) {
    EXPECT_GT(
        Count("select count(*) from LCTOFISENTIMPOSTO where TIPOIMPOSTO = " + std::to_string(type)),
        0)
        << type;
  }
  EXPECT_EQ(
      Count("select count(*) from LCTOFISENTIMPOSTO I join LCTOFISENT L on L.CHAVELCTOFISENT = "
            "I.CHAVELCTOFISENT join PESSOA P on P.CODIGOPESSOA = L.CODIGOPESSOA where "
            "I.TIPOIMPOSTO = 11 and P.PRODUTRURAL <> 1"),
      0)
      << "FunRural only on purchases from rural producers";
  EXPECT_EQ(Count("select count(*) from LCTOFISSAIIMPOSTO where TIPOIMPOSTO = 11"), 0);
  EXPECT_EQ(Count("select count(*) from LCTOFISENTIMPOSTO where TIPOIMPOSTO in (12, 13) and "
                  "CODIGOOPERACAOFIS is null"),
            0);
}

TEST_F(DemoGenerator, DoubledSubstitutionPairs) {
  const std::string pairs =
      "select count(*) from LCTOFISENTIMPOSTO A join LCTOFISENTIMPOSTO B on B.CHAVELCTOFISENT = "
      "A.CHAVELCTOFISENT and B.CODIGOCFOP = A.CODIGOCFOP and B.TIPOIMPOSTO = 13 and "
      "B.CODIGOOPERACAOFIS = 11407 where A.TIPOIMPOSTO = 13 and A.CODIGOOPERACAOFIS = 11403";
  EXPECT_GT(Count(pairs + " and B.VALORIMPOSTO = A.VALORIMPOSTO"), 0);
  EXPECT_GT(Count(pairs + " and B.VALORIMPOSTO <> A.VALORIMPOSTO"), 0);
}

TEST_F(DemoGenerator, PisCofinsItemsAndAdjustments) {
  EXPECT_GT(
      Count("select count(*) from LCTOFISSAIPRODUTO where ALIQPIS = 1.65 and ALIQCOFINS = 7.6"), 0);
  EXPECT_GT(Count("select count(*) from LCTOFISSAIPRODUTO where ALIQPIS = 0.65 and ALIQCOFINS = 3"),
            0);
  EXPECT_GT(Count("select count(*) from LCTOFISSAIPRODUTO where ALIQPIS = 0 and ALIQCOFINS = 0"),
            0);
  EXPECT_GT(Count("select count(*) from LCTOFISSAIPRODUTO where BASEPISCOFINS = 0"), 0);
  EXPECT_GT(Count("select count(*) from LCTOFISSAIPRODUTO where SEQ >= 991"), 0);
  EXPECT_GT(Count("select count(*) from LCTOFISSAICONFRETE"), 0);
}

TEST_F(DemoGenerator, DocumentsAndCounterparties) {
  for (const char* species : {"NF", "NFE", "CTE", "NFS"}) {
    EXPECT_GT(
        Count(std::string("select count(*) from LCTOFISENT where ESPECIENF = '") + species + "'"),
        0)
        << species;
  }
  EXPECT_GT(Count("select count(*) from LCTOFISSAI where SUBSERIENF is not null"), 0);
  EXPECT_GT(Count("select count(*) from LCTOFISSAI where COMPLHIST is not null"), 0);
  EXPECT_GT(Count("select count(*) from LCTOFISSAI where NUMERONFFINAL > NUMERONF"), 0);
  EXPECT_GT(Count("select count(*) from PESSOA where PRODUTRURAL = 1"), 0);
  EXPECT_GT(Count("select count(*) from PESSOA P where not exists (select 1 from municipio M where "
                  "M.codigomunic = P.CODIGOMUNIC)"),
            0);
  EXPECT_GT(Count("select count(distinct CODIGOMUNIC) from PESSOA"), 5);
  EXPECT_GT(Count("select count(*) from PRODUTO where CODIGONCM = '0000.00.00'"), 0);
}

TEST_F(DemoGenerator, TaxLinesAddUpToTheDocumentValueByCfop) {
  // The ICMS and ISS lines of a document carry its whole value, as its items do.
  EXPECT_EQ(
      Count("select count(*) from (select I.CHAVELCTOFISSAI, sum(I.VALORCONTABIL) V from "
            "LCTOFISSAIIMPOSTO I where I.TIPOIMPOSTO in (1, 2) group by I.CHAVELCTOFISSAI) T join "
            "(select CHAVELCTOFISSAI, sum(VALORTOTAL) V from LCTOFISSAIPRODUTO where SEQ < 991 "
            "group by CHAVELCTOFISSAI) P on P.CHAVELCTOFISSAI = T.CHAVELCTOFISSAI where "
            "abs(P.V - T.V) > 0.001"),
      0);
}

TEST_F(DemoGenerator, SameSeedSameBooksOtherSeedOtherBooks) {
  auto again = TestDatabase::Open(Backend::SQLite, scratch);
  schema::CreateDemoDatabase(again->Connection(), SmallMonth(3));
  auto other = TestDatabase::Open(Backend::SQLite, scratch);
  schema::CreateDemoDatabase(other->Connection(), SmallMonth(4));
  for (const auto& [table, key] : kFiscalTables) {
    EXPECT_EQ(DigestTable(db->Connection(), table, key),
              DigestTable(again->Connection(), table, key))
        << table;
  }
  EXPECT_NE(DigestTable(db->Connection(), "LCTOFISSAIIMPOSTO", "CHAVELCTOFISSAI, SEQ"),
            DigestTable(other->Connection(), "LCTOFISSAIIMPOSTO", "CHAVELCTOFISSAI, SEQ"));
}

TEST_F(DemoGenerator, PostgresGetsTheSameRows) {
  auto postgres = TestDatabase::Open(Backend::PostgreSQL, scratch);
  if (postgres == nullptr) {
    GTEST_SKIP() << TestDatabase::SkipReason(Backend::PostgreSQL);
  }
  schema::CreateDemoDatabase(postgres->Connection(), SmallMonth(3));
  for (const auto& [table, key] : kFiscalTables) {
    EXPECT_EQ(DigestTable(db->Connection(), table, key),
              DigestTable(postgres->Connection(), table, key))
        << table;
  }
}

TEST(DemoGeneratorOptions, BadOptionsAreRefusedAndNothingIsKept) {
  ScratchDir scratch;
  auto db = TestDatabase::Open(Backend::SQLite, scratch);
  schema::DemoOptions options = SmallMonth(1);
  options.month = 13;
  EXPECT_THROW(schema::CreateDemoDatabase(db->Connection(), options), Exception);
  std::unique_ptr<TnClientDataSet> tables(Nutildb::ExecutarSQL(
      "select count(*) from sqlite_master", {}, true, true, -1, "", &db->Connection(), true));
  EXPECT_EQ(tables->GetInteger(0), 0) << "the transaction was rolled back";
}

TEST(DemoDbCommand, FailedRunLeavesNoFile) {
  ScratchDir scratch;
  const std::string target = scratch.File("missing-folder/demo.db");
  const std::string command =
      std::string(NRW_BIN_DIR) + "/nrw-report demo-db " + target + " --docs 10 --quiet 2>/dev/null";
  EXPECT_NE(std::system(command.c_str()), 0);
  EXPECT_FALSE(std::filesystem::exists(target));
  const std::string good = scratch.File("demo.db");
  EXPECT_EQ(
      std::system((std::string(NRW_BIN_DIR) + "/nrw-report demo-db " + good + " --docs 10 --quiet")
                      .c_str()),
      0);
  EXPECT_TRUE(std::filesystem::exists(good));
  for (const auto& entry : std::filesystem::directory_iterator(scratch.File(""))) {
    EXPECT_EQ(entry.path().filename().string().find(".partial"), std::string::npos);
  }
}

}  // namespace
}  // namespace nrw::testing
