// PostgreSQL faults end to end: a password the server refuses, the password taken from libpq's
// own sources (PGPASSWORD, a password file, a service file) instead of the command line, and a
// server that stops in the middle of a run. The throwaway cluster trusts only the postgres role;
// the role these tests create must give its password.
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <future>
#include <thread>

#include "tests/app/program.hpp"
#include "tests/runtime/backends.hpp"

namespace nrw::testing {
namespace {

using Result = ProgramResult;

const char* const kPeriod = "print --quiet --from 01/01/2026 --to 31/01/2026 ";

// Nothing from the environment of the test run: no password unless the test gives one.
const std::string kNoPassword =
    "env -u PGPASSWORD -u PGSERVICE -u PGSERVICEFILE PGPASSFILE=/nonexistent";

class Rows : public TSQLRowSink {
 public:
  void Columns(const std::vector<TSQLColumn>&) override {}
  void Row(const std::vector<Variant>& values) override { rows.push_back(values); }
  std::vector<std::vector<Variant>> rows;
};

// "127.0.0.1:PORT" of a postgresql://user@host:port/db URL.
std::string HostAndPort(const std::string& url) {
  const size_t at = url.find('@') + 1;
  return url.substr(at, url.find('/', at) - at);
}

class PostgresPasswords : public ::testing::Test {
 protected:
  void SetUp() override {
    db = TestDatabase::Open(Backend::PostgreSQL, scratch);
    if (!db) {
      GTEST_SKIP() << TestDatabase::SkipReason(Backend::PostgreSQL);
    }
    ASSERT_EQ(RunNrwReport("demo-db " + ShellQuoted(db->Target()) +
                           " --docs 60 --seed 7 --ref '' --quiet")
                  .status,
              0);
    role = "nrw_ana_" + std::to_string(getpid());
    password = "Segredo-" + std::to_string(getpid() * 7 + 1);
    db->Connection().ExecuteScript("create role " + role + " login password '" + password +
                                   "'; grant usage on schema " + db->Schema() + " to " + role +
                                   "; grant select on all tables in schema " + db->Schema() +
                                   " to " + role);
    host_port = HostAndPort(std::getenv("NRW_TEST_PG_URL"));
  }
  void TearDown() override {
    if (db) {
      db->Connection().ExecuteScript("drop owned by " + role + "; drop role " + role);
    }
  }
  // The role's address, with `secret` as its password when not empty.
  std::string Url(const std::string& secret) const {
    return "postgresql://" + role + (secret.empty() ? "" : ":" + secret) + "@" + host_port +
           "/postgres?options=-csearch_path%3D" + db->Schema();
  }
  Result Report(const std::string& target, const std::string& environment) const {
    return RunNrwReport(
        std::string(kPeriod) + "--entries --exits --taxes icms,ipi,pis --db " + ShellQuoted(target),
        "SOURCE_DATE_EPOCH=1769940000 " + environment);
  }

  ScratchDir scratch;
  std::unique_ptr<TestDatabase> db;
  std::string role, password, host_port;
};

TEST_F(PostgresPasswords, AWrongPasswordIsRefusedAndNeverPrinted) {
  const std::string out = scratch.File("refused.pdf");
  const Result r =
      RunNrwReport(std::string(kPeriod) + "--entries --taxes icms --db " +
                       ShellQuoted(Url("Errada-7351")) + " --format pdf --output " + out,
                   kNoPassword);
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.output.rfind("nrw-report: cannot connect to PostgreSQL at postgresql://" + role +
                               "@" + host_port + "/postgres: ",
                           0),
            0u)
      << r.output;
  EXPECT_NE(r.output.find("password authentication failed"), std::string::npos) << r.output;
  EXPECT_EQ(r.output.find("Errada-7351"), std::string::npos) << "the password is never printed";
  EXPECT_EQ(r.output.find('\n'), r.output.size() - 1) << "one line";
  EXPECT_FALSE(std::filesystem::exists(out));
  // No password at all: libpq says so, and the run stops the same way.
  const Result none = Report(Url(""), kNoPassword);
  EXPECT_EQ(none.status, 1);
  EXPECT_NE(none.output.find("no password supplied"), std::string::npos) << none.output;
}

TEST_F(PostgresPasswords, ThePasswordComesFromLibpqsOwnSources) {
  const Result reference = Report(db->Target(), "");
  ASSERT_EQ(reference.status, 0) << reference.output.substr(0, 300);
  ASSERT_NE(reference.output.find("\"section\":13"), std::string::npos) << "a report with lines";
  // In the URL.
  EXPECT_EQ(Report(Url(password), kNoPassword).output, reference.output);
  // PGPASSWORD.
  EXPECT_EQ(Report(Url(""), kNoPassword + " PGPASSWORD=" + password).output, reference.output);
  // A password file (libpq reads it only when no one else may).
  const std::string passfile = scratch.File("pgpass");
  std::ofstream(passfile) << host_port << ":postgres:" << role << ":" << password << "\n";
  std::filesystem::permissions(
      passfile, std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
  EXPECT_EQ(Report(Url(""), kNoPassword + " PGPASSFILE=" + passfile).output, reference.output);
  // A service file: the whole address by name.
  const std::string services = scratch.File("pg_service.conf");
  const size_t colon = host_port.find(':');
  std::ofstream(services) << "[livros]\nhost=" << host_port.substr(0, colon)
                          << "\nport=" << host_port.substr(colon + 1)
                          << "\ndbname=postgres\nuser=" << role << "\npassword=" << password
                          << "\noptions=-csearch_path=" << db->Schema() << "\n";
  EXPECT_EQ(
      Report("postgresql://?service=livros", kNoPassword + " PGSERVICEFILE=" + services).output,
      reference.output);
}

// A server of the test's own, stopped while nrw-report waits for the exits it is reading.
TEST(PostgresServerStops, InTheMiddleOfARunNothingIsLeftBehind) {
  if (std::getenv("NRW_TEST_PG_URL") == nullptr) {
    GTEST_SKIP() << TestDatabase::SkipReason(Backend::PostgreSQL);
  }
  ScratchDir scratch;
  const std::string cluster = scratch.File("cluster");
  const std::string script = std::string(NRW_SOURCE_DIR) + "/scripts/pg-throwaway.sh";
  std::string url;
  if (FILE* pipe = popen(("bash " + script + " start " + cluster).c_str(), "r")) {
    char line[512] = {};
    if (fgets(line, sizeof line, pipe) != nullptr) {
      url = line;
    }
    pclose(pipe);
  }
  while (!url.empty() && (url.back() == '\n' || url.back() == '\r')) {
    url.pop_back();
  }
  ASSERT_FALSE(url.empty()) << "the test's own server did not start";
  ASSERT_EQ(
      RunNrwReport("demo-db " + ShellQuoted(url) + " --docs 200 --seed 9 --ref '' --quiet").status,
      0);
  auto holder = OpenConnection(url, false);
  holder->ExecuteScript("begin; lock table LCTOFISSAIIMPOSTO in access exclusive mode");
  const std::string tmp = scratch.File("tmp");
  std::filesystem::create_directories(tmp);
  const std::string out = scratch.File("month.pdf");
  auto run = std::async(std::launch::async, [&] {
    return RunNrwReport(std::string(kPeriod) +
                            "--entries --exits --taxes icms,ipi,pis --storage sqlite --db " +
                            ShellQuoted(url) + " --format pdf --output " + out,
                        "TMPDIR=" + tmp);
  });
  // Wait until the run is blocked on the locked table, then stop the server under it.
  auto monitor = OpenConnection(url, false);
  bool waiting = false;
  for (int i = 0; i < 600 && !waiting; ++i) {
    Rows rows;
    monitor->Query(
        "select count(*) from pg_stat_activity where wait_event_type = 'Lock' and pid <> "
        "pg_backend_pid()",
        {}, rows);
    waiting = rows.rows.at(0).at(0).AsInteger() > 0;
    if (!waiting) {
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
  }
  ASSERT_TRUE(waiting) << "nrw-report never reached the locked table";
  ASSERT_EQ(std::system(("bash " + script + " stop " + cluster).c_str()), 0);
  const Result r = run.get();
  EXPECT_EQ(r.status, 1) << r.output;
  EXPECT_EQ(r.output.rfind("nrw-report: ", 0), 0u) << r.output;
  EXPECT_EQ(r.output.rfind("nrw-report: lost the connection to PostgreSQL at postgresql://" +
                               HostAndPort(url) + "/postgres: ",
                           0),
            0u)
      << r.output;
  EXPECT_EQ(r.output.find('\n'), r.output.size() - 1) << "one line";
  EXPECT_FALSE(std::filesystem::exists(out));
  EXPECT_TRUE(std::filesystem::is_empty(tmp)) << "the provider's temporary databases are gone";
  for (const auto& entry : std::filesystem::directory_iterator(scratch.File(""))) {
    EXPECT_EQ(entry.path().filename().string().find(".partial-"), std::string::npos)
        << entry.path();
  }
}

}  // namespace
}  // namespace nrw::testing
