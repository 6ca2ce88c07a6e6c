#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <regex>
#include <sstream>

#include "host/exception.hpp"
#include "schema/company_schema.hpp"
#include "schema/csv.hpp"
#include "schema/embedded.hpp"
#include "tests/runtime/backends.hpp"

namespace nrw::testing {
namespace {

// Table name -> column names, read from a DDL text.
std::map<std::string, std::vector<std::string>> TablesOf(const std::string& ddl) {
  std::map<std::string, std::vector<std::string>> tables;
  const std::regex table(R"(CREATE TABLE (\w+) \(([^;]*)\);)");
  const std::regex column(R"(^\s+(\w+) )");
  for (std::sregex_iterator it(ddl.begin(), ddl.end(), table), end; it != end; ++it) {
    std::vector<std::string>& columns = tables[(*it)[1]];
    const std::string body = (*it)[2];
    std::istringstream lines(body);
    for (std::string line; std::getline(lines, line);) {
      std::smatch m;
      if (std::regex_search(line, m, column) && m[1] != "PRIMARY") {
        columns.push_back(m[1]);
      }
    }
  }
  return tables;
}

TEST(CompanySchema, BothDatabasesHaveTheSameTablesAndColumns) {
  const auto sqlite = TablesOf(schema::kSqliteTables);
  const auto postgres = TablesOf(schema::kPostgresTables);
  EXPECT_EQ(sqlite.size(), 14u);
  EXPECT_EQ(sqlite, postgres);
  EXPECT_EQ(sqlite.at("LCTOFISSAICONFRETE").size(), 8u);
  EXPECT_EQ(sqlite.at("municipio"),
            (std::vector<std::string>{"codigomunic", "siglaestado", "nomemunic"}));
}

TEST(Csv, ParsesQuotedFieldsAndChecksTheFieldCount) {
  const auto rows = schema::ParseCsv("a;b\r\n1;\"x;\"\"y\"\"\"\r\n\r\n2;z\n", "t.csv");
  ASSERT_EQ(rows.size(), 2u);
  EXPECT_EQ(rows[0][1], "x;\"y\"");
  try {
    schema::ParseCsv("a;b\n1;2;3\n", "t.csv");
    FAIL();
  } catch (const Exception& e) {
    EXPECT_STREQ(e.what(), "t.csv, line 2: 3 fields where the header has 2");
  }
}

class CompanySchemaOn : public ::testing::TestWithParam<Backend> {
 protected:
  void SetUp() override {
    db = TestDatabase::Open(GetParam(), scratch);
    if (db == nullptr) {
      GTEST_SKIP() << TestDatabase::SkipReason(GetParam());
    }
    schema::CreateTables(db->Connection());
    schema::CreateIndexes(db->Connection());
  }
  int64_t Count(const std::string& sql) {
    std::unique_ptr<TnClientDataSet> cursor(
        Nutildb::ExecutarSQL(sql, {}, true, true, -1, "", &db->Connection(), true));
    return cursor->GetInteger(0);
  }
  ScratchDir scratch;
  std::unique_ptr<TestDatabase> db;
};

TEST_P(CompanySchemaOn, ShippedReferenceDataWithoutTheNationalTables) {
  const auto counts = schema::LoadReferenceData(db->Connection(), scratch.File("no-such-dir"));
  EXPECT_FALSE(counts.national);
  EXPECT_EQ(counts.cfops, 21);
  EXPECT_EQ(counts.municipalities, 16);
  EXPECT_EQ(counts.operations, 5);
  EXPECT_EQ(
      Count("select count(*) from municipio where codigomunic = 3550308 and siglaestado = 'SP' "
            "and nomemunic = 'São Paulo'"),
      1);
}

TEST_P(CompanySchemaOn, NationalReferenceTablesWhenPresent) {
  const std::string dir = schema::DefaultReferenceDir();
  if (!std::filesystem::exists(dir + "/cfop.csv")) {
    GTEST_SKIP() << "the national reference tables are not at " << dir;
  }
  const auto counts = schema::LoadReferenceData(db->Connection(), dir);
  EXPECT_TRUE(counts.national);
  EXPECT_EQ(counts.cfops, 619);
  EXPECT_EQ(counts.municipalities, 5571);
  EXPECT_EQ(Count("select count(*) from CFOP where CODIGOCFOP in (5102, 1102, 5405, 6108, 5949)"),
            5);
  EXPECT_EQ(
      Count("select count(*) from municipio where nomemunic = 'Brasília' and siglaestado = 'DF'"),
      1);
}

TEST_P(CompanySchemaOn, EveryShippedCodeIsInTheNationalTables) {
  const std::string dir = schema::DefaultReferenceDir();
  if (!std::filesystem::exists(dir + "/cfop.csv")) {
    GTEST_SKIP() << "the national reference tables are not at " << dir;
  }
  schema::LoadReferenceData(db->Connection(), dir);
  for (const auto& row : schema::ParseCsv(schema::kCfopCsv, "cfop")) {
    EXPECT_EQ(Count("select count(*) from CFOP where CODIGOCFOP = " + row[0]), 1) << row[0];
  }
  for (const auto& row : schema::ParseCsv(schema::kMunicipiosCsv, "municipios")) {
    EXPECT_EQ(Count("select count(*) from municipio where codigomunic = " + row[0]), 1) << row[0];
  }
}

INSTANTIATE_TEST_SUITE_P(Databases, CompanySchemaOn,
                         ::testing::Values(Backend::SQLite, Backend::PostgreSQL),
                         [](const auto& info) { return BackendName(info.param); });

}  // namespace
}  // namespace nrw::testing
