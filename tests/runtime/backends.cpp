#include "tests/runtime/backends.hpp"

#include <unistd.h>

#include <atomic>
#include <cstdlib>

namespace nrw::testing {

std::string BackendName(Backend backend) {
  return backend == Backend::SQLite ? "SQLite" : "PostgreSQL";
}

std::string TestDatabase::SkipReason(Backend backend) {
  if (backend == Backend::PostgreSQL && std::getenv("NRW_TEST_PG_URL") == nullptr) {
    return "PostgreSQL not available: NRW_TEST_PG_URL is not set (make test starts a cluster)";
  }
  return "";
}

std::unique_ptr<TestDatabase> TestDatabase::Open(Backend backend, const ScratchDir& scratch) {
  if (!SkipReason(backend).empty()) {
    return nullptr;
  }
  auto db = std::unique_ptr<TestDatabase>(new TestDatabase);
  static std::atomic<int> counter{0};
  const std::string id = std::to_string(getpid()) + "_" + std::to_string(counter++);
  if (backend == Backend::SQLite) {
    db->target_ = scratch.File("db" + id + ".db");
    db->connection_ = OpenConnection(db->target_, true);
    return db;
  }
  const std::string url = std::getenv("NRW_TEST_PG_URL");
  db->schema_ = "nrw_t" + id;
  auto admin = OpenConnection(url, false);
  admin->ExecuteScript("create schema " + db->schema_);
  // Every connection to this target works in the test's own schema.
  db->target_ = url + (url.find('?') == std::string::npos ? "?" : "&") +
                "options=-csearch_path%3D" + db->schema_;
  db->connection_ = OpenConnection(db->target_, false);
  return db;
}

TestDatabase::~TestDatabase() {
  if (!schema_.empty() && connection_ != nullptr) {
    try {
      connection_->ExecuteScript("drop schema " + schema_ + " cascade");
    } catch (...) {
      // The schema stays behind in a throwaway cluster; nothing to report from a destructor.
    }
  }
}

}  // namespace nrw::testing
