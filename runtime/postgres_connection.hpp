// The PostgreSQL backend: one libpq connection. Parameters go as text with unknown types, so
// the server types them from their context (a date column compared with '2026-01-31' reads it
// as a date); results stream row by row in single-row mode, or as COPY for bulk reads.
#pragma once

#include <libpq-fe.h>

#include <string>
#include <vector>

#include "host/sql.hpp"

namespace nrw {

class PostgresConnection : public TSQLConnection {
 public:
  explicit PostgresConnection(const std::string& url);
  ~PostgresConnection() override;

  TSQLDialect Dialect() const override { return TSQLDialect::PostgreSQL; }
  std::string Description() const override;
  void Query(const std::string& sql, const TVariantArray& params, TSQLRowSink& sink) override;
  // A SELECT runs as COPY to the client: the rows stream in the server's text form, without
  // single-row mode's result object per row. Its columns come from describing the statement.
  void BulkQuery(const std::string& sql, const TVariantArray& params, TSQLRowSink& sink) override;
  int64_t Execute(const std::string& sql, const TVariantArray& params) override;
  void ExecuteScript(const std::string& sql) override;
  std::unique_ptr<TSQLBulkWriter> BulkInsert(const std::string& table,
                                             const std::vector<std::string>& columns) override;
  void BeginTransaction() override;
  void Commit() override;
  void Rollback() override;
  bool InTransaction() const override;
  std::unique_ptr<TSQLConnection> Reopen() const override;

  PGconn* Handle() const { return conn_; }

 private:
  [[noreturn]] void ThrowSqlError(const std::string& message) const;
  void Send(const std::string& sql, const TVariantArray& params);
  std::vector<TSQLColumn> Describe(const std::string& sql);

  std::string url_;
  PGconn* conn_ = nullptr;
};

// The PostgreSQL text form of a value (nullopt for null): numbers with ".", ISO date-times.
std::optional<std::string> PostgresText(const Variant& value);

}  // namespace nrw
