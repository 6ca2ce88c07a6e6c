// SQL access of the host: one connection to the company database (a SQLite file, the embedded
// default, or a PostgreSQL server), chosen by the host program, and the operations the module
// runs its queries with.
//
// Parameters are bound by position: the n-th ":name" of the text takes the n-th value,
// whatever its name. Values are always bound natively, never pasted into the text.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "host/export.hpp"
#include "host/memory_data_set.hpp"
#include "host/object.hpp"
#include "host/variant.hpp"

enum class TSQLDialect { SQLite, PostgreSQL };

// A column of a query result and the type its values are read as.
struct NRW_API TSQLColumn {
  std::string name;
  TFieldType type = TFieldType::String;
};

// Receives a query result row by row (so that a million rows stream, not pile up).
class NRW_API TSQLRowSink {
 public:
  virtual ~TSQLRowSink();
  virtual void Columns(const std::vector<TSQLColumn>& columns) = 0;
  // One row; `values` has one entry per column.
  virtual void Row(const std::vector<Variant>& values) = 0;
};

// Loads many rows into one table fast (prepared inserts of several rows each in SQLite, COPY in
// PostgreSQL). Rows may wait in the writer until Finish: a writer destroyed without it drops
// them, as a failed load should.
class NRW_API TSQLBulkWriter {
 public:
  virtual ~TSQLBulkWriter();
  virtual void Add(const std::vector<Variant>& row) = 0;
  // Add for a row whose vector the caller only reuses as a buffer: the writer may exchange its
  // values for others it no longer needs instead of copying them.
  virtual void Take(std::vector<Variant>& row) { Add(row); }
  // Sends what is buffered; the writer is unusable afterwards.
  virtual void Finish() = 0;
};

class NRW_API TSQLConnection : public TObject {
 public:
  TSQLConnection();
  ~TSQLConnection() override;
  virtual TSQLDialect Dialect() const = 0;
  // A description for messages: the file name or the server and database.
  virtual std::string Description() const = 0;
  // Runs a query with positional parameters, handing its rows to `sink`.
  virtual void Query(const std::string& sql, const TVariantArray& params, TSQLRowSink& sink) = 0;
  // The same for a query that may return many rows (a month's lines): the rows and their
  // values are those Query gives, but a server may send them in its bulk form (PostgreSQL's
  // COPY, at the price of two more round trips before the first row).
  virtual void BulkQuery(const std::string& sql, const TVariantArray& params, TSQLRowSink& sink) {
    Query(sql, params, sink);
  }
  // Runs a statement that returns no rows; the number of rows it changed.
  virtual int64_t Execute(const std::string& sql, const TVariantArray& params) = 0;
  // Runs several statements separated by ";" (DDL scripts); no parameters.
  virtual void ExecuteScript(const std::string& sql) = 0;
  // A writer for `columns` of `table`; values are given in the same order.
  virtual std::unique_ptr<TSQLBulkWriter> BulkInsert(const std::string& table,
                                                     const std::vector<std::string>& columns) = 0;
  virtual void BeginTransaction() = 0;
  virtual void Commit() = 0;
  virtual void Rollback() = 0;
  // Whether a transaction is open here (begun and not yet committed or rolled back).
  virtual bool InTransaction() const = 0;
  // Another connection to the same database, for reading beside this one on another thread;
  // null when there is none to be had: a database that lives in this connection only, or a
  // transaction open here whose rows another connection would not see.
  virtual std::unique_ptr<TSQLConnection> Reopen() const { return nullptr; }

  // Single-record look-ups (PegarRegistroSQL) are remembered per connection, keyed by their SQL
  // text, until the connection runs anything that may write: a report repeats the same few
  // thousand look-ups over a million lines. Another process's writes are not seen meanwhile,
  // as in a repeatable-read transaction.
  struct LookupMemo;
  LookupMemo& Lookups();
  // Forgets the remembered look-ups; every statement that may write calls it.
  void ForgetLookups();

 private:
  std::unique_ptr<LookupMemo> lookups_;
};

// Opens a connection: a PostgreSQL URL ("postgresql://..." or "postgres://...") or else the path
// of a SQLite file. Raises Exception naming what could not be opened. A SQLite file must exist
// unless `create` is set.
NRW_API std::unique_ptr<TSQLConnection> OpenConnection(const std::string& target, bool create);

namespace nrw {
// A PostgreSQL URL or connection string as a URL without its password, for messages (the
// password may as well come from PGPASSWORD, a password file or a service file).
NRW_API std::string RedactedTarget(const std::string& url);
}  // namespace nrw

namespace Nutildb {

// The host's connection, used when a call passes no connection. Set by the host program.
NRW_API void SetConexaoPadrao(std::unique_ptr<TSQLConnection> connection);
NRW_API TSQLConnection* ConexaoPadrao();

// Runs `sql` with `params` on `connection` (null: the host's) and returns a new open cursor that
// the caller owns. _AAbrir: open it now (false returns a cursor holding only the SQL);
// _ASomenteLeitura: the cursor refuses edits; _AMaxRegistros: keep at most this many rows (-1:
// all); _ANome: the cursor's component name; _ABuscarTodos: fetch every row now (always the case
// here: cursors are in memory).
NRW_API TnClientDataSet* ExecutarSQL(const std::string& sql, const TVariantArray& params,
                                     bool _AAbrir, bool _ASomenteLeitura, int32_t _AMaxRegistros,
                                     const std::string& _ANome, TSQLConnection* connection,
                                     bool _ABuscarTodos);
// Runs the cursor's SQL again with new values; the cursor keeps its index field list.
NRW_API void RefreshSQL(TnClientDataSet* cursor, const TVariantArray& params, bool _AManterIndice);

// ExecutarSQL (`cursor` null: a new read-only cursor of every row) or RefreshSQL (`cursor` given,
// with new values) run on a second connection to the cursor's database, on another thread,
// while the caller goes on; Wait gives the cursor, or raises what the query raised. Where the
// database offers no second connection (a database that lives in its connection only, or a
// transaction open there), the query runs at once, on that connection. The cursor keeps its own
// connection (null: the host's) for what comes after. Destroying the object waits for the query.
class NRW_API TBackgroundQuery {
 public:
  TBackgroundQuery(TnClientDataSet* cursor, const std::string& sql, const TVariantArray& params);
  ~TBackgroundQuery();
  TBackgroundQuery(const TBackgroundQuery&) = delete;
  TBackgroundQuery& operator=(const TBackgroundQuery&) = delete;

  // Waits for the query; the cursor, new or refreshed (a new one is the caller's from now on).
  TnClientDataSet* Wait();

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

// Frees a data set and nulls the reference.
template <class T>
void DestruirSQL(T*& data_set) {
  delete data_set;
  data_set = nullptr;
}

// Views a component as an in-memory table; EInvalidCast when it is not one.
NRW_API TnClientDataSetMem* CDSM(TObject* component);
// An independent copy with the same columns and rows (and index field list).
NRW_API TnClientDataSetMem* CloneCDS(TMemoryDataSet* source);

}  // namespace Nutildb

// The host's SQL data module.
class NRW_API TnDMSQLDataSet {
 public:
  // Runs `sql` into `cursor`, creating it when null; true when a row came back.
  static bool PegarRegistroSQL(TnClientDataSet*& cursor, const std::string& sql);
};

namespace Nutil {

// A literal valid in both databases: strings quoted with inner quotes doubled; date-times as
// 'YYYY-MM-DD' (no time of day) or 'YYYY-MM-DD HH:MM:SS'; floats with a "." and enough digits
// to read back the same double; integers in decimal; null as NULL.
NRW_API std::string ValorParaSQL(const Variant& value, TFieldType type);
// A literal of the data-set filter language: numbers with a "." (dates as their day count),
// strings quoted with inner quotes doubled.
NRW_API std::string ValorParaFiltro(const Variant& value, TFieldType type);
// Splits a text at `separator` ("a;b;c" gives a, b, c); blanks around items are removed and
// empty items dropped.
NRW_API std::vector<std::string> StrToStrArray(const std::string& text, char separator = ';');

}  // namespace Nutil

namespace Nutilarquivo {

// Copies a file; with `overwrite` an existing target is replaced. Raises Exception on failure.
NRW_API void CopyFile(const std::string& source, const std::string& target, bool overwrite);

}  // namespace Nutilarquivo
