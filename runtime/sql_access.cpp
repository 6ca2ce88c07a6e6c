// The host's SQL operations over its one connection: cursors filled from queries, refreshed
// with new values, and the connection the host program chose.
#include <algorithm>
#include <exception>
#include <future>
#include <memory>
#include <string_view>
#include <unordered_map>

#include "host/exception.hpp"
#include "host/sql.hpp"
#include "host/sysutils.hpp"
#include "runtime/postgres_connection.hpp"
#include "runtime/sql_placeholders.hpp"
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

  // A cursor that already has these columns is only emptied (look-ups refill one cursor over
  // and over).
  // Whether Columns only empties the cursor (it keeps its fields and index list).
  bool Fits(const std::vector<TSQLColumn>& columns) const {
    return cursor_.Active() && HasColumns(columns);
  }

  void Columns(const std::vector<TSQLColumn>& columns) override { Columns(columns, Fits(columns)); }
  // The same when the caller has asked Fits already.
  void Columns(const std::vector<TSQLColumn>& columns, bool fits) {
    if (fits) {
      cursor_.EmptyDataSet();
      return;
    }
    std::vector<TFieldDef> defs;
    defs.reserve(columns.size());
    for (const TSQLColumn& column : columns) {
      defs.push_back({column.name, column.type});
    }
    cursor_.CreateDataSet(defs);
  }

  // Whether all of `rows` rows go in.
  bool TakesAll(size_t rows) const {
    return max_rows_ < 0 || rows <= static_cast<size_t>(max_rows_);
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
  bool HasColumns(const std::vector<TSQLColumn>& columns) const {
    if (cursor_.FieldCount() != static_cast<int>(columns.size())) {
      return false;
    }
    for (size_t i = 0; i < columns.size(); ++i) {
      const TField* field = cursor_.Fields(static_cast<int>(i));
      if (field->FieldName() != columns[i].name || field->DataType() != columns[i].type) {
        return false;
      }
    }
    return true;
  }

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

// A read-only cursor made writable while it is filled, and read-only again afterwards, also
// when the query fails.
class Refilling {
 public:
  explicit Refilling(TnClientDataSet& cursor) : cursor_(cursor), read_only_(cursor.ReadOnly()) {
    cursor_.SetReadOnly(false);
  }
  ~Refilling() { cursor_.SetReadOnly(read_only_); }
  Refilling(const Refilling&) = delete;
  Refilling& operator=(const Refilling&) = delete;

 private:
  TnClientDataSet& cursor_;
  bool read_only_;
};

// A cursor keeps the index field list it was given; without one, it is keyed by its query's
// "order by" columns, so that FindKey works on any ordered query.
void FillOn(TSQLConnection& connection, TnClientDataSet& cursor, const TVariantArray& params) {
  const Refilling refilling(cursor);
  const std::string index = cursor.IndexFieldNames();
  CursorFiller filler(cursor, cursor.MaxRows());
  connection.BulkQuery(cursor.SQL(), params, filler);
  cursor.SetIndexFieldNames(index.empty() ? OrderByKey(cursor.SQL(), cursor) : index);
  cursor.First();
}

void Fill(TnClientDataSet& cursor, const TVariantArray& params) {
  FillOn(ConnectionOrDefault(cursor.Connection()), cursor, params);
}

// Keeps a query result: columns and rows.
class ResultKeeper : public TSQLRowSink {
 public:
  void Columns(const std::vector<TSQLColumn>& columns) override { columns_ = columns; }
  void Row(const std::vector<Variant>& values) override { rows_.push_back(values); }
  std::vector<TSQLColumn> columns_;
  std::vector<std::vector<Variant>> rows_;
};

// A query that only reads: one that starts with SELECT or WITH.
bool OnlyReads(const std::string& sql) {
  return nrw::FirstWordIs(sql, "select") || nrw::FirstWordIs(sql, "with");
}

}  // namespace

struct TSQLConnection::LookupMemo {
  // Look-ups return one row, or a handful: larger results are not remembered.
  static constexpr size_t kMaxRows = 16;
  // Past this many texts the memo starts over, so that it cannot grow without bound.
  static constexpr size_t kMaxEntries = 8192;

  struct Result {
    ResultKeeper rows;
    std::string order_key;
  };
  std::unordered_map<std::string, Result> results;
};

TSQLRowSink::~TSQLRowSink() = default;
TSQLBulkWriter::~TSQLBulkWriter() = default;
TSQLConnection::TSQLConnection() = default;
TSQLConnection::~TSQLConnection() = default;

TSQLConnection::LookupMemo& TSQLConnection::Lookups() {
  if (lookups_ == nullptr) {
    lookups_ = std::make_unique<LookupMemo>();
  }
  return *lookups_;
}

void TSQLConnection::ForgetLookups() {
  if (lookups_ != nullptr) {
    lookups_->results.clear();
  }
}

namespace {

// Fills a cursor from its query's remembered result, running the query only the first time.
void FillLookup(TnClientDataSet& cursor) {
  TSQLConnection& connection = ConnectionOrDefault(cursor.Connection());
  TSQLConnection::LookupMemo& memo = connection.Lookups();
  auto found = memo.results.find(cursor.SQL());
  TSQLConnection::LookupMemo::Result fresh;
  const TSQLConnection::LookupMemo::Result* result = &fresh;
  if (found != memo.results.end()) {
    result = &found->second;
  } else {
    connection.Query(cursor.SQL(), {}, fresh.rows);
  }
  CursorFiller filler(cursor, cursor.MaxRows());
  // A cursor made anew forgets its index list: it is copied then, and only then, so that a
  // refill of the same columns builds no string.
  const bool fits = filler.Fits(result->rows.columns_);
  const std::string kept_index = fits ? std::string() : cursor.IndexFieldNames();
  const std::string& index = fits ? cursor.IndexFieldNames() : kept_index;
  if (fits && filler.TakesAll(result->rows.rows_.size())) {
    cursor.ReplaceRows(result->rows.rows_);  // the same as the rows one by one, in one step
  } else {
    filler.Columns(result->rows.columns_, fits);
    for (const std::vector<Variant>& row : result->rows.rows_) {
      filler.Row(row);
    }
  }
  if (found == memo.results.end()) {
    fresh.order_key = OrderByKey(cursor.SQL(), cursor);
  }
  cursor.SetIndexFieldNames(index.empty() ? result->order_key : index);
  cursor.First();
  if (found != memo.results.end()) {
    return;
  }
  if (!OnlyReads(cursor.SQL())) {
    connection.ForgetLookups();
  } else if (fresh.rows.rows_.size() <= TSQLConnection::LookupMemo::kMaxRows) {
    if (memo.results.size() >= TSQLConnection::LookupMemo::kMaxEntries) {
      memo.results.clear();
    }
    memo.results.emplace(cursor.SQL(), std::move(fresh));
  }
}

}  // namespace

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
  Fill(*cursor, params);
}

struct TBackgroundQuery::Impl {
  std::unique_ptr<TnClientDataSet> made;  // a new cursor, until Wait hands it over
  TnClientDataSet* cursor = nullptr;
  std::unique_ptr<TSQLConnection> second;
  std::exception_ptr failure;  // of a query run at once
  std::future<void> running;   // declared after `second`, which it uses
};

TBackgroundQuery::TBackgroundQuery(TnClientDataSet* cursor, const std::string& sql,
                                   const TVariantArray& params)
    : impl_(std::make_unique<Impl>()) {
  Impl& q = *impl_;
  if (cursor == nullptr) {
    q.made = std::make_unique<TnClientDataSet>();
    q.made->SetSQL(sql);
    q.made->SetReadOnly(true);
    cursor = q.made.get();
  }
  q.cursor = cursor;
  TSQLConnection& connection = ConnectionOrDefault(cursor->Connection());
  if (!connection.InTransaction()) {
    try {
      q.second = connection.Reopen();
    } catch (const Exception&) {
      // Then the query runs at once, on the cursor's connection.
    }
  }
  if (q.second == nullptr) {
    try {
      Fill(*cursor, params);
    } catch (...) {
      q.failure = std::current_exception();
    }
    return;
  }
  q.running =
      std::async(std::launch::async, [&q, params] { FillOn(*q.second, *q.cursor, params); });
}

TBackgroundQuery::~TBackgroundQuery() {
  if (impl_->running.valid()) {
    impl_->running.wait();
  }
}

TnClientDataSet* TBackgroundQuery::Wait() {
  Impl& q = *impl_;
  if (q.running.valid()) {
    try {
      q.running.get();
    } catch (...) {
      q.failure = std::current_exception();
    }
  }
  if (q.failure) {
    std::rethrow_exception(q.failure);
  }
  return q.made != nullptr ? q.made.release() : q.cursor;
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
    cursor = Nutildb::ExecutarSQL(sql, {}, false, true, -1, "", nullptr, true);
  } else {
    cursor->SetSQL(sql);
  }
  {
    const Refilling refilling(*cursor);
    FillLookup(*cursor);
  }
  return !cursor->IsEmpty();
}
