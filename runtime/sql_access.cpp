// The host's SQL operations over its one connection: cursors filled from queries, refreshed
// with new values, and the connection the host program chose.
#include <memory>

#include "host/exception.hpp"
#include "host/sql.hpp"
#include "host/sysutils.hpp"
#include "runtime/postgres_connection.hpp"
#include "runtime/sqlite_connection.hpp"

namespace {

std::unique_ptr<TSQLConnection>& DefaultConnection() {
  static std::unique_ptr<TSQLConnection> connection;
  return connection;
}

bool IsPostgresUrl(const std::string& target) {
  return target.rfind("postgresql://", 0) == 0 || target.rfind("postgres://", 0) == 0;
}

// Fills an in-memory cursor from a query result, keeping at most `max_rows` rows (-1: all).
class CursorFiller : public TSQLRowSink {
 public:
  CursorFiller(TMemoryDataSet& cursor, int32_t max_rows) : cursor_(cursor), max_rows_(max_rows) {}

  void Columns(const std::vector<TSQLColumn>& columns) override {
    std::vector<TFieldDef> defs;
    defs.reserve(columns.size());
    for (const TSQLColumn& column : columns) {
      defs.push_back({column.name, column.type});
    }
    cursor_.CreateDataSet(defs);
  }

  void Row(const std::vector<Variant>& values) override {
    if (max_rows_ >= 0 && rows_ >= max_rows_) {
      return;
    }
    cursor_.Append();
    for (size_t i = 0; i < values.size(); ++i) {
      cursor_.SetValue(static_cast<int>(i), values[i]);
    }
    cursor_.Post();
    ++rows_;
  }

 private:
  TMemoryDataSet& cursor_;
  int32_t max_rows_;
  int64_t rows_ = 0;
};

TSQLConnection& ConnectionOrDefault(TSQLConnection* connection) {
  if (connection != nullptr) {
    return *connection;
  }
  if (TSQLConnection* host = Nutildb::ConexaoPadrao()) {
    return *host;
  }
  throw Exception("no database connection: the host has not connected to a company database");
}

void Fill(TnClientDataSet& cursor, const TVariantArray& params) {
  const std::string index = cursor.IndexFieldNames();
  CursorFiller filler(cursor, cursor.MaxRows());
  ConnectionOrDefault(cursor.Connection()).Query(cursor.SQL(), params, filler);
  cursor.SetIndexFieldNames(index);
  cursor.First();
}

}  // namespace

TSQLRowSink::~TSQLRowSink() = default;
TSQLBulkWriter::~TSQLBulkWriter() = default;
TSQLConnection::~TSQLConnection() = default;

std::unique_ptr<TSQLConnection> OpenConnection(const std::string& target, bool create) {
  if (IsPostgresUrl(target)) {
    return std::make_unique<nrw::PostgresConnection>(target);
  }
  return std::make_unique<nrw::SqliteConnection>(target, create);
}

namespace Nutildb {

void SetConexaoPadrao(std::unique_ptr<TSQLConnection> connection) {
  DefaultConnection() = std::move(connection);
}

TSQLConnection* ConexaoPadrao() {
  return DefaultConnection().get();
}

TnClientDataSet* ExecutarSQL(const std::string& sql, const TVariantArray& params, bool _AAbrir,
                             bool _ASomenteLeitura, int32_t _AMaxRegistros,
                             const std::string& _ANome, TSQLConnection* connection,
                             bool /*_ABuscarTodos*/) {
  auto cursor = std::make_unique<TnClientDataSet>();
  cursor->SetName(_ANome);
  cursor->SetSQL(sql);
  cursor->SetConnection(connection);
  cursor->SetMaxRows(_AMaxRegistros);
  if (_AAbrir) {
    Fill(*cursor, params);
  }
  cursor->SetReadOnly(_ASomenteLeitura);
  return cursor.release();
}

void RefreshSQL(TnClientDataSet* cursor, const TVariantArray& params, bool /*_AManterIndice*/) {
  if (cursor == nullptr) {
    throw Exception("RefreshSQL: no cursor");
  }
  const bool read_only = cursor->ReadOnly();
  cursor->SetReadOnly(false);
  Fill(*cursor, params);
  cursor->SetReadOnly(read_only);
}

TMemoryDataSet* CDSM(TObject* component) {
  return CheckedCast<TMemoryDataSet>(component);
}

TnClientDataSetMem* CloneCDS(TMemoryDataSet* source) {
  auto copy = std::make_unique<TnClientDataSetMem>();
  copy->CopyFrom(*source);
  return copy.release();
}

}  // namespace Nutildb

bool TnDMSQLDataSet::PegarRegistroSQL(TnClientDataSet*& cursor, const std::string& sql) {
  if (cursor == nullptr) {
    cursor = Nutildb::ExecutarSQL(sql, {}, true, true, -1, "", nullptr, true);
  } else {
    cursor->SetSQL(sql);
    Nutildb::RefreshSQL(cursor, {}, true);
  }
  return !cursor->IsEmpty();
}
