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

// The columns of a trailing "order by" made of plain column names ("a, T.b"), as an index field
// list; "" when the query has none or orders by anything else.
std::string OrderByKey(const std::string& sql, const TDataSet& cursor) {
  const std::string upper = AnsiUpperCase(sql);
  const size_t at = upper.rfind("ORDER BY ");
  if (at == std::string::npos) {
    return "";
  }
  std::string key;
  for (const std::string& item : Nutil::StrToStrArray(sql.substr(at + 9), ',')) {
    const std::string name =
        item.substr(item.find('.') == std::string::npos ? 0 : item.find('.') + 1);
    if (cursor.FindField(name) == nullptr) {
      return "";
    }
    key += (key.empty() ? "" : ";") + name;
  }
  return key;
}

// A cursor keeps the index field list it was given; without one, it is keyed by its query's
// "order by" columns, so that FindKey works on any ordered query.
void Fill(TnClientDataSet& cursor, const TVariantArray& params) {
  const std::string index = cursor.IndexFieldNames();
  CursorFiller filler(cursor, cursor.MaxRows());
  ConnectionOrDefault(cursor.Connection()).Query(cursor.SQL(), params, filler);
  cursor.SetIndexFieldNames(index.empty() ? OrderByKey(cursor.SQL(), cursor) : index);
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

TnClientDataSetMem* CDSM(TObject* component) {
  return CheckedCast<TnClientDataSetMem>(component);
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
