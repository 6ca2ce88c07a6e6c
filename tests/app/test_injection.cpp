// SQL injection through the report parameters, end to end: quotes, semicolons, comment markers
// and "' or 1=1 --" in the texts that reach the database (species, counterparty, CFOP and user
// lists) are values and nothing else. Each run either prints a report or refuses the parameter
// with a message; a canary table proves that no other statement ran.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "tests/app/program.hpp"
#include "tests/runtime/backends.hpp"

namespace nrw::testing {
namespace {

using Result = ProgramResult;

Result Program(const std::string& arguments) {
  return RunNrwReport(arguments);
}

std::string Quoted(const std::string& text) {
  return ShellQuoted(text);
}

class Rows : public TSQLRowSink {
 public:
  void Columns(const std::vector<TSQLColumn>&) override {}
  void Row(const std::vector<Variant>& values) override { rows.push_back(values); }
  std::vector<std::vector<Variant>> rows;
};

class Injection : public ::testing::TestWithParam<Backend> {};

TEST_P(Injection, ParameterTextsReachTheDatabaseOnlyAsValues) {
  ScratchDir scratch;
  auto db = TestDatabase::Open(GetParam(), scratch);
  if (!db) {
    GTEST_SKIP() << TestDatabase::SkipReason(GetParam());
  }
  ASSERT_EQ(
      Program("demo-db " + Quoted(db->Target()) + " --docs 60 --seed 5 --ref '' --quiet").status,
      0);
  // A new connection: demo-db puts a new SQLite file in place of the one the test opened.
  const auto connection = OpenConnection(db->Target(), false);
  TSQLConnection& c = *connection;
  c.ExecuteScript("create table canary (word varchar(20)); insert into canary values ('alive')");
  const std::vector<std::string> attacks = {
      "NFE' or 1=1 --",
      "x'; drop table canary; --",
      "1; drop table canary",
      "1) or (1=1",
      "1 /* comment */ , 2",
      "5102' --",
      "'; delete from canary; select '",
  };
  for (const char* parameter : {"pEspecie", "pCodigoPessoa", "pCodigoCFOP", "pCodigoUsuario"}) {
    for (const std::string& attack : attacks) {
      const Result r =
          Program("print --quiet --db " + Quoted(db->Target()) +
                  " --from 01/01/2026 --to 31/01/2026 --entries --exits --taxes icms --set " +
                  Quoted(std::string(parameter) + "=" + attack));
      // A list of codes that is not one is refused with a message; a species is a value.
      EXPECT_TRUE(r.status == 0 || (r.status == 1 && r.output.rfind("nrw-report: ", 0) == 0))
          << parameter << " = " << attack << ": " << r.output.substr(0, 300);
      EXPECT_EQ(r.output.find("syntax error"), std::string::npos) << parameter << " " << attack;
      Rows rows;
      c.Query("select word from canary", {}, rows);
      ASSERT_EQ(rows.rows.size(), 1u) << parameter << " = " << attack;
      EXPECT_EQ(rows.rows[0][0].AsString(), "alive");
    }
  }
  // A species that matches nothing prints nothing, rather than every document.
  const Result none = Program("print --quiet --db " + Quoted(db->Target()) +
                              " --from 01/01/2026 --to 31/01/2026 --entries --exits --taxes icms "
                              "--set " +
                              Quoted("pEspecie=NFE' or '1'='1"));
  EXPECT_EQ(none.status, 0) << none.output.substr(0, 300);
  EXPECT_EQ(none.output.find("\"section\":13"), std::string::npos)
      << "no document line for a species no document has";
}

INSTANTIATE_TEST_SUITE_P(Databases, Injection,
                         ::testing::Values(Backend::SQLite, Backend::PostgreSQL),
                         [](const auto& info) { return BackendName(info.param); });

}  // namespace
}  // namespace nrw::testing
