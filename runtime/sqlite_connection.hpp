// The SQLite backend: one sqlite3 connection to a database file.
#pragma once

#include <sqlite3.h>

#include <string>
#include <vector>

#include "host/sql.hpp"
#include "runtime/repeated_dates.hpp"

namespace nrw {

// The field type that a SQLite declared column type reads as (SQLite's affinity rules, with
// DATE and TIMESTAMP columns read as date-times and BOOL as booleans); String for no type.
TFieldType FieldTypeOfDeclared(const char* declared);

// "create table NAME (...)" with a SQLite declared type per field that reads back as the same
// field type (INTEGER, REAL, TIMESTAMP, TEXT).
NRW_API std::string SqliteCreateTable(const std::string& table,
                                      const std::vector<TFieldDef>& fields);

// Reads column `i` of the current row of `statement` as a value of `type`.
Variant ReadSqliteValue(sqlite3_stmt* statement, int i, TFieldType type, const std::string& name);

// Reads result columns into reused row buffers, as ReadSqliteValue converts: a text into the
// text its slot held, numbers directly, and a date parsed only when its text differs from the
// one the same column had before (rows come by key, a day's together).
class SqliteColumnReader {
 public:
  // Returns whether `slot` holds the column's value as SQLite stored it (a real, an integer or
  // a text read as such, or a null), rather than converted to the field's type.
  bool Read(sqlite3_stmt* statement, int column, TFieldType type, const std::string& name,
            Variant& slot);

 private:
  RepeatedDates dates_;
};

// Binds positional values to a statement whose parameters are ?1, ?2, ... (texts copied).
void BindSqliteValues(sqlite3* db, sqlite3_stmt* statement, const TVariantArray& values);

class SqliteConnection : public TSQLConnection {
 public:
  SqliteConnection(const std::string& path, bool create);
  ~SqliteConnection() override;

  TSQLDialect Dialect() const override { return TSQLDialect::SQLite; }
  std::string Description() const override { return path_; }
  void Query(const std::string& sql, const TVariantArray& params, TSQLRowSink& sink) override;
  int64_t Execute(const std::string& sql, const TVariantArray& params) override;
  void ExecuteScript(const std::string& sql) override;
  std::unique_ptr<TSQLBulkWriter> BulkInsert(const std::string& table,
                                             const std::vector<std::string>& columns) override;
  void BeginTransaction() override;
  void Commit() override;
  void Rollback() override;
  bool InTransaction() const override;
  std::unique_ptr<TSQLConnection> Reopen() const override;

  sqlite3* Handle() const { return db_; }

 private:
  // Prepares `sql` (with its ":name" parameters rewritten) and binds `params`.
  sqlite3_stmt* Prepare(const std::string& sql, const TVariantArray& params);
  [[noreturn]] void Fail(const std::string& what) const;

  std::string path_;
  sqlite3* db_ = nullptr;
  bool rows_function_ = false;  // nrw_rows, the bulk writers' rows, is registered
};

// The URI that names the file `path` (its "%", "?" and "#" escaped), with `query` (URI
// parameters such as "mode=ro") when not empty.
std::string SqliteFileUri(const std::string& path, const std::string& query);

// Opens a SQLite database with the settings the host uses for every file it reads or writes.
// Statements on it may attach other files by URI.
sqlite3* OpenSqliteDatabase(const std::string& path, bool create);

// The URI that reads the file read-only and without taking its lock, beside the connection
// that holds it: that connection must not write to the file meanwhile.
std::string SqliteReaderUri(const std::string& path);
// Opens the file so (see SqliteReaderUri).
sqlite3* OpenSqliteReader(const std::string& path);

}  // namespace nrw
