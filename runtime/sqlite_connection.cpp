#include "runtime/sqlite_connection.hpp"

#include <cstring>
#include <filesystem>
#include <memory>
#include <string_view>

#include "host/exception.hpp"
#include "host/sysutils.hpp"
#include "runtime/iso_date.hpp"
#include "runtime/sql_placeholders.hpp"

namespace nrw {
namespace {

// How long a statement waits for a lock held by another connection before failing.
constexpr int kBusyTimeoutMs = 2000;

bool Contains(const std::string& upper, const char* part) {
  return upper.find(part) != std::string::npos;
}

// upper() that knows the accented Latin letters, for filters translated to SQL.
void AnsiUpperFunction(sqlite3_context* context, int, sqlite3_value** args) {
  const unsigned char* text = sqlite3_value_text(args[0]);
  if (text == nullptr) {
    sqlite3_result_null(context);
    return;
  }
  const std::string upper = AnsiUpperCase(reinterpret_cast<const char*>(text));
  sqlite3_result_text(context, upper.c_str(), static_cast<int>(upper.size()), SQLITE_TRANSIENT);
}

struct StatementCloser {
  void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using Statement = std::unique_ptr<sqlite3_stmt, StatementCloser>;

// The type of a result column without a declared type (an expression): text stays text, numbers
// read as floats, so sums and counts compare alike on both databases.
TFieldType TypeOfExpression(sqlite3_stmt* statement, int i, bool has_row) {
  if (has_row && sqlite3_column_type(statement, i) == SQLITE_TEXT) {
    return TFieldType::String;
  }
  return TFieldType::Float;
}

}  // namespace

TFieldType FieldTypeOfDeclared(const char* declared) {
  if (declared == nullptr) {
    return TFieldType::String;
  }
  const std::string upper = AnsiUpperCase(declared);
  if (Contains(upper, "DATE") || Contains(upper, "TIME")) {
    return TFieldType::DateTime;
  }
  if (Contains(upper, "BOOL")) {
    return TFieldType::Boolean;
  }
  if (Contains(upper, "INT")) {
    return TFieldType::Integer;
  }
  if (Contains(upper, "CHAR") || Contains(upper, "CLOB") || Contains(upper, "TEXT")) {
    return TFieldType::String;
  }
  if (Contains(upper, "REAL") || Contains(upper, "FLOA") || Contains(upper, "DOUB") ||
      Contains(upper, "NUMERIC") || Contains(upper, "DECIMAL") || Contains(upper, "MONEY")) {
    return TFieldType::Float;
  }
  return TFieldType::String;
}

std::string SqliteCreateTable(const std::string& table, const std::vector<TFieldDef>& fields) {
  std::string ddl = "create table " + table + " (";
  for (size_t i = 0; i < fields.size(); ++i) {
    const TFieldType type = fields[i].type;
    const char* declared = type == TFieldType::Integer || type == TFieldType::Boolean ? "INTEGER"
                           : type == TFieldType::Float                                ? "REAL"
                           : type == TFieldType::DateTime                             ? "TIMESTAMP"
                                                                                      : "TEXT";
    ddl += (i > 0 ? ", " : "") + fields[i].name + " " + declared;
  }
  return ddl + ")";
}

Variant ReadSqliteValue(sqlite3_stmt* statement, int i, TFieldType type, const std::string& name) {
  const int storage = sqlite3_column_type(statement, i);
  if (storage == SQLITE_NULL) {
    return Variant();
  }
  switch (type) {
    case TFieldType::Integer:
      if (storage == SQLITE_INTEGER) {
        return Variant(static_cast<int64_t>(sqlite3_column_int64(statement, i)));
      }
      break;
    case TFieldType::Boolean:
      return Variant(sqlite3_column_int64(statement, i) != 0);
    case TFieldType::Float:
      if (storage != SQLITE_TEXT) {
        return Variant(sqlite3_column_double(statement, i));
      }
      break;
    case TFieldType::DateTime: {
      const char* text = reinterpret_cast<const char*>(sqlite3_column_text(statement, i));
      if (const auto value = ParseIsoDateTime(text)) {
        return Variant::FromDateTime(*value);
      }
      throw Exception("column " + name + ": '" + text + "' is not a date");
    }
    case TFieldType::String:
      break;
  }
  if (storage == SQLITE_FLOAT && type == TFieldType::Integer) {
    return Variant(sqlite3_column_double(statement, i));
  }
  const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement, i));
  return Variant(std::string(text, static_cast<size_t>(sqlite3_column_bytes(statement, i))));
}

bool SqliteColumnReader::Read(sqlite3_stmt* statement, int column, TFieldType type,
                              const std::string& name, Variant& slot) {
  // One call into the statement for the column's value, then questions to the value itself
  // (see OpenSqliteUri for why the value needs no mutex).
  sqlite3_value* value = sqlite3_column_value(statement, column);
  const int storage = sqlite3_value_type(value);
  if (storage == SQLITE_TEXT && (type == TFieldType::String || type == TFieldType::DateTime)) {
    const std::string_view text(reinterpret_cast<const char*>(sqlite3_value_text(value)),
                                static_cast<size_t>(sqlite3_value_bytes(value)));
    if (type == TFieldType::String) {
      slot.AssignString(text);
      return true;
    }
    slot = dates_.Read(static_cast<size_t>(column), text,
                       [&] { return ReadSqliteValue(statement, column, type, name); });
    return false;
  }
  if (storage == SQLITE_FLOAT && type == TFieldType::Float) {
    slot.AssignFloat(sqlite3_value_double(value));
    return true;
  }
  if (storage == SQLITE_INTEGER && type == TFieldType::Integer) {
    slot.AssignInteger(sqlite3_value_int64(value));
    return true;
  }
  slot = ReadSqliteValue(statement, column, type, name);
  return storage == SQLITE_NULL;
}

namespace {

// Binds one value to parameter `i` (from 1): booleans as integers, dates as their ISO text.
void BindSqliteValue(sqlite3* db, sqlite3_stmt* statement, int i, const Variant& value) {
  int rc = SQLITE_OK;
  switch (value.GetKind()) {
    case Variant::Kind::Null:
      rc = sqlite3_bind_null(statement, i);
      break;
    case Variant::Kind::Integer:
    case Variant::Kind::Boolean:
      rc = sqlite3_bind_int64(statement, i, value.AsInteger());
      break;
    case Variant::Kind::Float:
      rc = sqlite3_bind_double(statement, i, value.AsFloat());
      break;
    case Variant::Kind::DateTime: {
      const std::string text = IsoDateTime(value.AsDateTime());
      rc = sqlite3_bind_text(statement, i, text.c_str(), static_cast<int>(text.size()),
                             SQLITE_TRANSIENT);
      break;
    }
    case Variant::Kind::String: {
      const std::string& text = value.StringRef();
      rc = sqlite3_bind_text(statement, i, text.c_str(), static_cast<int>(text.size()),
                             SQLITE_TRANSIENT);
      break;
    }
  }
  if (rc != SQLITE_OK) {
    throw Exception(std::string("cannot bind an SQL parameter: ") + sqlite3_errmsg(db));
  }
}

}  // namespace

void BindSqliteValues(sqlite3* db, sqlite3_stmt* statement, const TVariantArray& values) {
  const int count = sqlite3_bind_parameter_count(statement);
  for (int i = 1; i <= count; ++i) {
    if (static_cast<size_t>(i) > values.size()) {
      throw Exception("SQL parameter " +
                      std::string(sqlite3_bind_parameter_name(statement, i)
                                      ? sqlite3_bind_parameter_name(statement, i)
                                      : "?") +
                      " (number " + std::to_string(i) + ") has no value");
    }
    BindSqliteValue(db, statement, i, values[i - 1]);
  }
}

std::string SqliteFileUri(const std::string& path, const std::string& query) {
  // An absolute path gets the empty authority, so that one starting "//" is not read as a host.
  std::string uri = path.starts_with('/') ? "file://" : "file:";
  for (char c : path) {
    switch (c) {
      case '%':
        uri += "%25";
        break;
      case '?':
        uri += "%3f";
        break;
      case '#':
        uri += "%23";
        break;
      default:
        uri += c;
    }
  }
  return query.empty() ? uri : uri + "?" + query;
}

namespace {

// Opens `uri` with `flags` and the host's settings; `path` names the file in messages.
// A connection is used by one thread at a time and has no mutex: the values of its statements'
// columns (sqlite3_column_value) are then as safe to read as the columns themselves, since
// there is no mutex that reading them could fail to hold.
sqlite3* OpenSqliteUri(const std::string& uri, int flags, const std::string& path) {
  sqlite3* db = nullptr;
  if (sqlite3_open_v2(uri.c_str(), &db, flags | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_URI, nullptr) !=
      SQLITE_OK) {
    const std::string message = db != nullptr ? sqlite3_errmsg(db) : "out of memory";
    sqlite3_close(db);
    throw Exception("cannot open database '" + path + "': " + message);
  }
  if (sqlite3_db_mutex(db) != nullptr) {
    sqlite3_close(db);
    throw Exception("cannot open database '" + path + "' without a mutex");
  }
  sqlite3_busy_timeout(db, kBusyTimeoutMs);
  sqlite3_create_function(db, "nrw_upper", 1, SQLITE_UTF8 | SQLITE_DETERMINISTIC, nullptr,
                          &AnsiUpperFunction, nullptr, nullptr);
  // A file that is not a database is found on the first read, so read now.
  char* error = nullptr;
  if (sqlite3_exec(db, "select count(*) from sqlite_master", nullptr, nullptr, &error) !=
      SQLITE_OK) {
    const std::string message = error != nullptr ? error : sqlite3_errmsg(db);
    sqlite3_free(error);
    sqlite3_close(db);
    throw Exception("cannot open database '" + path + "': " + message);
  }
  return db;
}

}  // namespace

sqlite3* OpenSqliteDatabase(const std::string& path, bool create) {
  if (!create && !std::filesystem::exists(path)) {
    throw Exception("database file '" + path + "' does not exist");
  }
  // A connection is used by one thread at a time: SQLite need not lock around each call. The
  // path is opened as a URI of its own, so that it is always a file name while the statements
  // may attach other files by URI (with options such as read-only).
  return OpenSqliteUri(SqliteFileUri(path, ""),
                       SQLITE_OPEN_READWRITE | (create ? SQLITE_OPEN_CREATE : 0), path);
}

std::string SqliteReaderUri(const std::string& path) {
  return SqliteFileUri(path, "mode=ro&nolock=1");
}

sqlite3* OpenSqliteReader(const std::string& path) {
  return OpenSqliteUri(SqliteReaderUri(path), SQLITE_OPEN_READONLY, path);
}

SqliteConnection::SqliteConnection(const std::string& path, bool create)
    : path_(path), db_(OpenSqliteDatabase(path, create)) {}

SqliteConnection::~SqliteConnection() {
  sqlite3_close_v2(db_);
}

bool SqliteConnection::InTransaction() const {
  return sqlite3_get_autocommit(db_) == 0;
}

std::unique_ptr<TSQLConnection> SqliteConnection::Reopen() const {
  const bool in_memory = path_.empty() || path_ == ":memory:";
  if (in_memory || InTransaction()) {
    return nullptr;
  }
  return std::make_unique<SqliteConnection>(path_, false);
}

void SqliteConnection::Fail(const std::string& what) const {
  throw Exception(what + ": " + sqlite3_errmsg(db_));
}

sqlite3_stmt* SqliteConnection::Prepare(const std::string& sql, const TVariantArray& params) {
  const SqlPlaceholders rewritten = RewritePlaceholders(sql, PlaceholderStyle::Question);
  if (rewritten.names.size() > params.size()) {
    throw Exception("SQL parameter :" + rewritten.names[params.size()] + " (number " +
                    std::to_string(params.size() + 1) + ") has no value");
  }
  sqlite3_stmt* statement = nullptr;
  if (sqlite3_prepare_v2(db_, rewritten.text.c_str(), -1, &statement, nullptr) != SQLITE_OK) {
    Fail("SQL error");
  }
  try {
    BindSqliteValues(db_, statement, params);
  } catch (...) {
    sqlite3_finalize(statement);
    throw;
  }
  return statement;
}

void SqliteConnection::Query(const std::string& sql, const TVariantArray& params,
                             TSQLRowSink& sink) {
  Statement statement(Prepare(sql, params));
  sqlite3_stmt* st = statement.get();
  int rc = sqlite3_step(st);
  if (rc != SQLITE_ROW && rc != SQLITE_DONE) {
    Fail("SQL error");
  }
  const int count = sqlite3_column_count(st);
  std::vector<TSQLColumn> columns(count);
  for (int i = 0; i < count; ++i) {
    columns[i].name = sqlite3_column_name(st, i);
    const char* declared = sqlite3_column_decltype(st, i);
    columns[i].type = declared != nullptr ? FieldTypeOfDeclared(declared)
                                          : TypeOfExpression(st, i, rc == SQLITE_ROW);
  }
  sink.Columns(columns);
  std::vector<Variant> row(count);
  SqliteColumnReader reader;
  while (rc == SQLITE_ROW) {
    for (int i = 0; i < count; ++i) {
      reader.Read(st, i, columns[i].type, columns[i].name, row[i]);
    }
    sink.Row(row);
    rc = sqlite3_step(st);
  }
  if (rc != SQLITE_DONE) {
    Fail("SQL error");
  }
}

int64_t SqliteConnection::Execute(const std::string& sql, const TVariantArray& params) {
  ForgetLookups();
  Statement statement(Prepare(sql, params));
  int rc = sqlite3_step(statement.get());
  while (rc == SQLITE_ROW) {
    rc = sqlite3_step(statement.get());
  }
  if (rc != SQLITE_DONE) {
    Fail("SQL error");
  }
  return sqlite3_changes64(db_);
}

void SqliteConnection::ExecuteScript(const std::string& sql) {
  ForgetLookups();
  char* error = nullptr;
  if (sqlite3_exec(db_, sql.c_str(), nullptr, nullptr, &error) != SQLITE_OK) {
    const std::string message = error != nullptr ? error : sqlite3_errmsg(db_);
    sqlite3_free(error);
    throw Exception("SQL error: " + message);
  }
}

void SqliteConnection::BeginTransaction() {
  ExecuteScript("begin");
}
void SqliteConnection::Commit() {
  ExecuteScript("commit");
}
void SqliteConnection::Rollback() {
  ExecuteScript("rollback");
}

namespace {

// The rows waiting in a bulk writer, as SQLite reads them through the table-valued function
// nrw_rows(pointer): "insert into T (...) select c0, c1, ... from nrw_rows(?)" inserts them all
// in one step, each value handed to SQLite where it lies instead of bound one by one.
struct WaitingRows {
  const std::vector<std::vector<Variant>>* rows = nullptr;
  size_t count = 0;
  // A date's text by its row and column (row * columns + column): rows come by key, a day's
  // together, so the text is mostly the one made before.
  struct DateText {
    bool made = false;
    TDateTime value = 0;
    std::string text;
  };
  std::vector<DateText> dates;
  size_t columns = 0;

  const std::string& DateAt(size_t row, size_t column, TDateTime value) {
    DateText& date = dates[row * columns + column];
    if (!date.made || date.value != value) {
      date.text = IsoDateTime(value);
      date.value = value;
      date.made = true;
    }
    return date.text;
  }
};

namespace rows_function {

constexpr int kColumns = 64;  // c0 .. c63, then the hidden argument
constexpr const char* kPointerType = "nrw_rows";

struct Cursor : sqlite3_vtab_cursor {
  WaitingRows* source = nullptr;
  size_t row = 0;
};

int Connect(sqlite3* db, void*, int, const char* const*, sqlite3_vtab** table, char**) {
  std::string schema = "create table x(";
  for (int i = 0; i < kColumns; ++i) {
    schema += "c" + std::to_string(i) + ", ";
  }
  schema += "source hidden)";
  const int rc = sqlite3_declare_vtab(db, schema.c_str());
  if (rc == SQLITE_OK) {
    *table = new sqlite3_vtab{};
  }
  return rc;
}
int Disconnect(sqlite3_vtab* table) {
  delete table;
  return SQLITE_OK;
}
// Only as nrw_rows(?): the argument is the equality on the hidden column.
int BestIndex(sqlite3_vtab*, sqlite3_index_info* info) {
  for (int i = 0; i < info->nConstraint; ++i) {
    const auto& constraint = info->aConstraint[i];
    if (constraint.iColumn == kColumns && constraint.op == SQLITE_INDEX_CONSTRAINT_EQ) {
      if (!constraint.usable) {
        return SQLITE_CONSTRAINT;
      }
      info->aConstraintUsage[i].argvIndex = 1;
      info->aConstraintUsage[i].omit = 1;
      info->estimatedCost = 1;
      return SQLITE_OK;
    }
  }
  return SQLITE_CONSTRAINT;
}
int Open(sqlite3_vtab*, sqlite3_vtab_cursor** cursor) {
  *cursor = new Cursor{};
  return SQLITE_OK;
}
int Close(sqlite3_vtab_cursor* cursor) {
  delete static_cast<Cursor*>(cursor);
  return SQLITE_OK;
}
int Filter(sqlite3_vtab_cursor* base, int, const char*, int argc, sqlite3_value** argv) {
  auto* cursor = static_cast<Cursor*>(base);
  cursor->source =
      argc > 0 ? static_cast<WaitingRows*>(sqlite3_value_pointer(argv[0], kPointerType)) : nullptr;
  cursor->row = 0;
  return SQLITE_OK;
}
int Next(sqlite3_vtab_cursor* cursor) {
  ++static_cast<Cursor*>(cursor)->row;
  return SQLITE_OK;
}
int Eof(sqlite3_vtab_cursor* base) {
  const auto* cursor = static_cast<Cursor*>(base);
  return cursor->source == nullptr || cursor->row >= cursor->source->count;
}
// A value goes as BindSqliteValue binds it (texts and dates are not copied: they stand until
// the rows are inserted).
int Column(sqlite3_vtab_cursor* base, sqlite3_context* context, int column) {
  const auto* cursor = static_cast<Cursor*>(base);
  WaitingRows& source = *cursor->source;
  const auto at = static_cast<size_t>(column);
  if (column >= kColumns || at >= source.columns) {
    sqlite3_result_null(context);
    return SQLITE_OK;
  }
  const Variant& value = (*source.rows)[cursor->row][at];
  switch (value.GetKind()) {
    case Variant::Kind::Null:
      sqlite3_result_null(context);
      break;
    case Variant::Kind::Integer:
    case Variant::Kind::Boolean:
      sqlite3_result_int64(context, value.AsInteger());
      break;
    case Variant::Kind::Float:
      sqlite3_result_double(context, value.AsFloat());
      break;
    case Variant::Kind::DateTime: {
      const std::string& text = source.DateAt(cursor->row, at, value.AsDateTime());
      sqlite3_result_text(context, text.data(), static_cast<int>(text.size()), SQLITE_STATIC);
      break;
    }
    case Variant::Kind::String: {
      const std::string& text = value.StringRef();
      sqlite3_result_text(context, text.data(), static_cast<int>(text.size()), SQLITE_STATIC);
      break;
    }
  }
  return SQLITE_OK;
}
int Rowid(sqlite3_vtab_cursor* cursor, sqlite3_int64* rowid) {
  *rowid = static_cast<sqlite3_int64>(static_cast<Cursor*>(cursor)->row);
  return SQLITE_OK;
}

// Eponymous only (no xCreate): it exists on every connection it is registered with.
sqlite3_module MakeModule() {
  sqlite3_module module{};
  module.xConnect = Connect;
  module.xBestIndex = BestIndex;
  module.xDisconnect = Disconnect;
  module.xOpen = Open;
  module.xClose = Close;
  module.xFilter = Filter;
  module.xNext = Next;
  module.xEof = Eof;
  module.xColumn = Column;
  module.xRowid = Rowid;
  return module;
}
const sqlite3_module kModule = MakeModule();

}  // namespace rows_function

// Rows are inserted kRowsPerInsert at a time by one statement that reads them through
// nrw_rows; they wait in buffers of their own. Finish inserts the rest.
class SqliteBulkWriter : public TSQLBulkWriter {
 public:
  SqliteBulkWriter(sqlite3* db, const std::string& table, const std::vector<std::string>& columns)
      : db_(db), table_(table), columns_(columns.size()) {
    if (columns_ > static_cast<size_t>(rows_function::kColumns)) {
      throw Exception("cannot load table " + table + ": more than " +
                      std::to_string(rows_function::kColumns) + " columns");
    }
    std::string sql = "insert into " + table + " (";
    std::string select;
    for (size_t i = 0; i < columns.size(); ++i) {
      sql += (i > 0 ? ", " : "") + columns[i];
      select += (i > 0 ? ", c" : "c") + std::to_string(i);
    }
    sql += ") select " + select + " from nrw_rows(?)";
    if (sqlite3_prepare_v2(db_, sql.c_str(), -1, &insert_, nullptr) != SQLITE_OK) {
      throw Exception("cannot load table " + table_ + ": " + sqlite3_errmsg(db_));
    }
    waiting_.rows = &rows_;
    waiting_.columns = columns_;
    waiting_.dates.resize(kRowsPerInsert * columns_);
    if (sqlite3_bind_pointer(insert_, 1, &waiting_, rows_function::kPointerType, nullptr) !=
        SQLITE_OK) {
      sqlite3_finalize(insert_);
      throw Exception("cannot load table " + table_ + ": " + sqlite3_errmsg(db_));
    }
  }
  ~SqliteBulkWriter() override { sqlite3_finalize(insert_); }

  void Add(const std::vector<Variant>& row) override {
    if (row.size() < columns_) {
      throw Exception("cannot load table " + table_ + ": a row of " + std::to_string(row.size()) +
                      " values for " + std::to_string(columns_) + " columns");
    }
    if (waiting_.count == rows_.size()) {
      rows_.push_back(row);
    } else {
      rows_[waiting_.count] = row;  // reuses the buffer's texts
    }
    Queued();
  }
  void Take(std::vector<Variant>& row) override {
    if (waiting_.count == rows_.size() || row.size() < columns_) {
      Add(row);
      return;
    }
    rows_[waiting_.count].swap(row);  // the caller gets a buffer of the same width back
    Queued();
  }
  void Finish() override { Insert(); }

 private:
  static constexpr size_t kRowsPerInsert = 256;

  // A row was added to the waiting ones: a full set is inserted.
  void Queued() {
    if (++waiting_.count == kRowsPerInsert) {
      Insert();
    }
  }
  void Insert() {
    if (waiting_.count == 0) {
      return;
    }
    const int rc = sqlite3_step(insert_);
    sqlite3_reset(insert_);
    waiting_.count = 0;
    if (rc != SQLITE_DONE) {
      throw Exception("cannot load table " + table_ + ": " + sqlite3_errmsg(db_));
    }
  }

  sqlite3* db_;
  std::string table_;
  size_t columns_;
  sqlite3_stmt* insert_ = nullptr;
  std::vector<std::vector<Variant>> rows_;  // the first waiting_.count wait to be inserted
  WaitingRows waiting_;
};

}  // namespace

std::unique_ptr<TSQLBulkWriter> SqliteConnection::BulkInsert(
    const std::string& table, const std::vector<std::string>& columns) {
  ForgetLookups();
  if (!rows_function_) {
    if (sqlite3_create_module_v2(db_, "nrw_rows", &rows_function::kModule, nullptr, nullptr) !=
        SQLITE_OK) {
      Fail("cannot load table " + table);
    }
    rows_function_ = true;
  }
  return std::make_unique<SqliteBulkWriter>(db_, table, columns);
}

}  // namespace nrw
