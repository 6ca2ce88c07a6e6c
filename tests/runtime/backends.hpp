// The databases a test runs on: SQLite always, PostgreSQL when the test run started a cluster
// (NRW_TEST_PG_URL). Each test gets an empty database: a new SQLite file, or a new PostgreSQL
// schema dropped afterwards.
#pragma once

#include <memory>
#include <string>

#include "host/sql.hpp"
#include "tests/runtime/data_set_kinds.hpp"

namespace nrw::testing {

enum class Backend { SQLite, PostgreSQL };

std::string BackendName(Backend backend);

class TestDatabase {
 public:
  // Skips the running test (GTEST_SKIP in the caller) when this returns null.
  static std::unique_ptr<TestDatabase> Open(Backend backend, const ScratchDir& scratch);
  ~TestDatabase();

  TSQLConnection& Connection() { return *connection_; }
  // What the host program would take as --db for this database.
  const std::string& Target() const { return target_; }
  // The PostgreSQL schema the test works in (empty on SQLite).
  const std::string& Schema() const { return schema_; }
  static std::string SkipReason(Backend backend);

 private:
  std::unique_ptr<TSQLConnection> connection_;
  std::string target_;
  std::string schema_;
};

}  // namespace nrw::testing
