// TnFDTableSQLite: the data-set behaviour over a table of a SQLite file (see sqlite_table.hpp).
//
// The cursor is one statement "select rowid, <columns> from T where <range, filter, seek>
// order by <index fields>, rowid". Positioning on a row (after FindKey, or after a write) opens
// the statement again with a seek "(index fields, rowid) >= (the row's values)", which SQLite
// serves from the index; so every operation costs an index seek, never a scan.
#include "host/sqlite_table.hpp"

#include <sqlite3.h>

#include <optional>
#include <unordered_map>

#include "host/exception.hpp"
#include "host/sysutils.hpp"
#include "runtime/filter_parser.hpp"
#include "runtime/sqlite_connection.hpp"

namespace {

enum class Order { Ge, Le, Lt };

std::string QuoteIdentifier(const std::string& name) {
  std::string out = "\"";
  for (char c : name) {
    out += c;
    if (c == '"') {
      out += '"';
    }
  }
  return out + "\"";
}

// Lexicographic comparison of (columns) with (values), null ordered before every value, as a
// where-clause term. Row values let SQLite seek in the index; they cannot hold nulls, so a key
// with a null is spelled out term by term.
std::string Lexicographic(const std::vector<std::string>& columns, const TVariantArray& values,
                          Order order, TVariantArray& params) {
  bool has_null = false;
  for (const Variant& v : values) {
    has_null = has_null || v.IsNull();
  }
  const char* op = order == Order::Ge ? ">=" : order == Order::Le ? "<=" : "<";
  if (!has_null) {
    std::string left = "(", right = "(";
    for (size_t i = 0; i < columns.size(); ++i) {
      left += (i > 0 ? "," : "") + columns[i];
      right += i > 0 ? ",?" : "?";
      params.push_back(values[i]);
    }
    return left + ") " + op + " " + right + ")";
  }
  std::string term;
  for (size_t i = columns.size(); i-- > 0;) {
    const std::string& c = columns[i];
    const bool null = values[i].IsNull();
    std::string strict;  // c > v (Ge) or c < v (Le, Lt)
    if (order == Order::Ge) {
      strict = null ? c + " is not null" : c + " > ?";
    } else {
      strict = null ? "0" : "(" + c + " < ? or " + c + " is null)";
    }
    std::string inclusive;  // the last column: c >= v, c <= v, or c < v
    if (order == Order::Ge) {
      inclusive = null ? "1" : c + " >= ?";
    } else if (order == Order::Le) {
      inclusive = null ? c + " is null" : "(" + c + " <= ? or " + c + " is null)";
    } else {
      inclusive = strict;
    }
    term = term.empty() ? inclusive : "(" + strict + " or (" + c + " is ? and " + term + "))";
  }
  // Parameters in the order the text uses them: strict value, then the "is" value, per column.
  for (size_t i = 0; i < columns.size(); ++i) {
    const bool null = values[i].IsNull();
    if (i + 1 == columns.size()) {
      if (!null) {
        params.push_back(values[i]);
      }
    } else {
      if (!null) {
        params.push_back(values[i]);
      }
      params.push_back(values[i]);
    }
  }
  return term;
}

std::string FilterToSql(const nrw::FilterNode& node, const std::vector<std::string>& columns,
                        TVariantArray& params) {
  using Kind = nrw::FilterNode::Kind;
  switch (node.kind) {
    case Kind::Field:
      return columns[node.field];
    case Kind::Literal:
      params.push_back(node.literal);
      return "?";
    case Kind::Upper:
      return "nrw_upper(" + FilterToSql(*node.left, columns, params) + ")";
    case Kind::Not:
      return "(not " + FilterToSql(*node.left, columns, params) + ")";
    case Kind::And:
    case Kind::Or: {
      const std::string left = FilterToSql(*node.left, columns, params);
      return "(" + left + (node.kind == Kind::And ? " and " : " or ") +
             FilterToSql(*node.right, columns, params) + ")";
    }
    case Kind::Compare:
      break;
  }
  static const char* const kOps[] = {"=", "<>", "<", "<=", ">", ">="};
  const std::string left = FilterToSql(*node.left, columns, params);
  return "(" + left + " " + kOps[static_cast<int>(node.op)] + " " +
         FilterToSql(*node.right, columns, params) + ")";
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// Connection

struct TnFDConnection::Impl {
  std::unique_ptr<nrw::SqliteConnection> sql;
  sqlite3* db = nullptr;
  bool in_write = false;

  void Exec(const char* sql) {
    char* error = nullptr;
    if (sqlite3_exec(db, sql, nullptr, nullptr, &error) != SQLITE_OK) {
      const std::string message = error != nullptr ? error : sqlite3_errmsg(db);
      sqlite3_free(error);
      throw Exception(std::string("SQLite table: ") + message);
    }
  }
  void BeginWrite() {
    if (!in_write) {
      Exec("begin");
      in_write = true;
    }
  }
  void Commit() {
    if (in_write) {
      in_write = false;
      Exec("commit");
    }
  }
};

std::string TnFDConnectionParams::Database() const {
  owner_.CommitPending();
  return database_;
}

void TnFDConnectionParams::SetDatabase(std::string path) {
  database_ = std::move(path);
}

TnFDConnection::TnFDConnection(TComponent* owner)
    : TComponent(owner), params_(*this), impl_(std::make_unique<Impl>()) {}

TnFDConnection::~TnFDConnection() {
  try {
    Close();
  } catch (...) {
    // A commit that fails while the connection is freed has nowhere to go.
  }
}

void TnFDConnection::Open() {
  if (impl_->db != nullptr) {
    return;
  }
  impl_->sql = std::make_unique<nrw::SqliteConnection>(params_.database_, true);
  impl_->db = impl_->sql->Handle();
  // Scratch files of one report run, each used through this one connection: durability on
  // power loss is not needed, speed is. The journal stays in memory, and the file stays locked
  // by this connection between statements instead of being locked and unlocked for each.
  impl_->Exec("pragma synchronous = off");
  impl_->Exec("pragma journal_mode = memory");
  impl_->Exec("pragma locking_mode = exclusive");
}

void TnFDConnection::Close() {
  if (impl_->db == nullptr) {
    return;
  }
  CommitPending();
  impl_->sql.reset();
  impl_->db = nullptr;
}

TSQLConnection& TnFDConnection::Sql() {
  if (impl_->sql == nullptr) {
    throw Exception("SQLite connection to '" + params_.database_ + "' is not open");
  }
  CommitPending();
  return *impl_->sql;
}

bool TnFDConnection::Connected() const {
  return impl_->db != nullptr;
}

void TnFDConnection::CommitPending() {
  if (impl_->db != nullptr) {
    impl_->Commit();
  }
}

// ---------------------------------------------------------------------------------------------
// Cursor

struct TnFDTableSQLite::Cursor {
  TnFDConnection::Impl* conn = nullptr;
  std::string table;
  std::vector<TFieldDef> fields;
  std::vector<std::string> columns;  // quoted column names
  std::vector<int> index;
  bool has_range = false;
  TVariantArray range_start, range_end;
  std::string filter_sql;
  TVariantArray filter_params;

  std::string select_list;      // see SelectList()
  std::string ascending_order;  // see AscendingOrder()
  sqlite3_stmt* statement = nullptr;
  sqlite3_stmt* insert = nullptr;
  std::vector<Variant> row;
  int64_t rowid = 0;
  bool has_row = false;
  bool eof = true;
  bool reseek = false;  // `row` was just written: the statement is not on it
  std::optional<int> count;
  std::vector<Variant> edit;

  // Prepared statements not in use, by their text: a key search or range runs the same few
  // texts with new values, so each is prepared once and then only reset and bound again.
  std::unordered_map<std::string, std::vector<sqlite3_stmt*>> idle;
  size_t idle_count = 0;
  static constexpr size_t kMaxIdle = 64;

  ~Cursor() { Finalize(); }
  // Releases every statement (before the table closes, so that none holds the file).
  void Finalize() {
    Release(statement);
    Release(insert);
    statement = insert = nullptr;
    for (auto& [text, statements] : idle) {
      for (sqlite3_stmt* st : statements) {
        sqlite3_finalize(st);
      }
    }
    idle.clear();
    idle_count = 0;
  }
  // Gives a statement from Prepare back, reset, for the next use of its text.
  void Release(sqlite3_stmt* st) {
    if (st == nullptr) {
      return;
    }
    sqlite3_reset(st);
    sqlite3_clear_bindings(st);
    if (idle_count >= kMaxIdle) {
      sqlite3_finalize(st);
      return;
    }
    idle[sqlite3_sql(st)].push_back(st);
    ++idle_count;
  }
  sqlite3* Db() const { return conn->db; }
  [[noreturn]] void Fail(const std::string& what) const {
    throw Exception(table + ": " + what + ": " + sqlite3_errmsg(Db()));
  }

  std::vector<std::string> KeyColumns(size_t n) const {
    std::vector<std::string> keys;
    for (size_t i = 0; i < n && i < index.size(); ++i) {
      keys.push_back(columns[index[i]]);
    }
    return keys;
  }
  TVariantArray TypedKey(const TVariantArray& values) const {
    TVariantArray typed;
    for (size_t i = 0; i < values.size() && i < index.size(); ++i) {
      typed.push_back(VarAsType(values[i], fields[index[i]].type));
    }
    return typed;
  }
  // The range and filter terms of the where clause; their values go to `params` in text order.
  std::vector<std::string> Conditions(TVariantArray& params) const {
    std::vector<std::string> terms;
    if (has_range) {
      const TVariantArray start = TypedKey(range_start), end = TypedKey(range_end);
      terms.push_back(Lexicographic(KeyColumns(start.size()), start, Order::Ge, params));
      terms.push_back(Lexicographic(KeyColumns(end.size()), end, Order::Le, params));
    }
    if (!filter_sql.empty()) {
      terms.push_back(filter_sql);
      params.insert(params.end(), filter_params.begin(), filter_params.end());
    }
    return terms;
  }
  static std::string Where(const std::vector<std::string>& terms) {
    std::string where;
    for (const std::string& term : terms) {
      where += (where.empty() ? " where " : " and ") + term;
    }
    return where;
  }
  std::string OrderBy(bool descending) const {
    std::string order = " order by ";
    for (int field : index) {
      order += columns[field] + (descending ? " desc, " : ", ");
    }
    return order + (descending ? "rowid desc" : "rowid");
  }
  // "select rowid, <columns> from <table>", built once per table.
  const std::string& SelectList() {
    if (select_list.empty()) {
      select_list = "select rowid";
      for (const std::string& c : columns) {
        select_list += ", " + c;
      }
      select_list += " from " + QuoteIdentifier(table);
    }
    return select_list;
  }
  // The ascending order clause, built once per index.
  const std::string& AscendingOrder() {
    if (ascending_order.empty()) {
      ascending_order = OrderBy(false);
    }
    return ascending_order;
  }
  // Columns and values that name the current row in index order.
  void Position(std::vector<std::string>& keys, TVariantArray& values) const {
    keys = KeyColumns(index.size());
    keys.push_back("rowid");
    for (int field : index) {
      values.push_back(row[field]);
    }
    values.push_back(Variant(rowid));
  }

  // A statement for `sql` with `params` bound: an idle one of the same text, or a new one.
  sqlite3_stmt* Prepare(const std::string& sql, const TVariantArray& params) {
    sqlite3_stmt* st = nullptr;
    const auto found = idle.find(sql);
    if (found != idle.end() && !found->second.empty()) {
      st = found->second.back();
      found->second.pop_back();
      --idle_count;
    } else if (sqlite3_prepare_v2(Db(), sql.c_str(), -1, &st, nullptr) != SQLITE_OK) {
      Fail("cannot read");
    }
    try {
      nrw::BindSqliteValues(Db(), st, params);
    } catch (...) {
      Release(st);
      throw;
    }
    return st;
  }
  // Reads the row `st` stands on into `row` and `rowid`.
  void Load(sqlite3_stmt* st) {
    rowid = sqlite3_column_int64(st, 0);
    row.resize(fields.size());
    for (size_t i = 0; i < fields.size(); ++i) {
      row[i] = nrw::ReadSqliteValue(st, static_cast<int>(i) + 1, fields[i].type, fields[i].name);
    }
  }
  void Step() {
    const int rc = sqlite3_step(statement);
    if (rc == SQLITE_ROW) {
      Load(statement);
      has_row = true;
      eof = false;
    } else if (rc == SQLITE_DONE) {
      eof = true;
    } else {
      Fail("cannot read");
    }
  }
  // Opens the cursor at the first row, or at the first row from the current row on.
  void Open(bool from_current) {
    TVariantArray params;
    std::vector<std::string> terms = Conditions(params);
    if (from_current) {
      std::vector<std::string> keys;
      TVariantArray values;
      Position(keys, values);
      terms.push_back(Lexicographic(keys, values, Order::Ge, params));
    }
    const std::string sql = SelectList() + Where(terms) + AscendingOrder();
    Release(statement);
    statement = nullptr;
    statement = Prepare(sql, params);
    reseek = false;
    if (!from_current) {
      has_row = false;
    }
    Step();
    if (!from_current && eof) {
      has_row = false;
    }
  }
  // The row before the current one (after the current row was deleted), if any.
  bool LoadPrevious() {
    TVariantArray params;
    std::vector<std::string> terms = Conditions(params);
    std::vector<std::string> keys;
    TVariantArray values;
    Position(keys, values);
    terms.push_back(Lexicographic(keys, values, Order::Lt, params));
    const std::string sql = SelectList() + Where(terms) + OrderBy(true) + " limit 1";
    sqlite3_stmt* st = Prepare(sql, params);
    const int rc = sqlite3_step(st);
    if (rc == SQLITE_ROW) {
      Load(st);
    }
    Release(st);
    return rc == SQLITE_ROW;
  }
};

// ---------------------------------------------------------------------------------------------
// Table

TnFDTableSQLite::TnFDTableSQLite(TComponent* owner)
    : TDataSet(owner), connection_(new TnFDConnection(this)), cursor_(std::make_unique<Cursor>()) {}

TnFDTableSQLite::~TnFDTableSQLite() {
  try {
    Close();
  } catch (...) {
    // Nothing can be reported from a destructor; the connection rolls back what was pending.
  }
}

void TnFDTableSQLite::SetConnection(TnFDConnection* connection) {
  connection_ = connection;
}

void TnFDTableSQLite::CheckOpen() const {
  if (!Active()) {
    throw Exception(TableName() + ": Cannot perform this operation on a closed dataset");
  }
}

void TnFDTableSQLite::Open() {
  if (Active()) {
    return;
  }
  connection_->Open();
  Cursor& c = *cursor_;
  c.conn = &connection_->Internal();
  c.table = table_name_;
  c.fields.clear();
  c.columns.clear();
  c.select_list.clear();
  c.ascending_order.clear();
  sqlite3_stmt* info = c.Prepare("pragma table_info(" + QuoteIdentifier(table_name_) + ")", {});
  while (sqlite3_step(info) == SQLITE_ROW) {
    const std::string name = reinterpret_cast<const char*>(sqlite3_column_text(info, 1));
    const auto* declared = reinterpret_cast<const char*>(sqlite3_column_text(info, 2));
    c.fields.push_back({name, nrw::FieldTypeOfDeclared(declared)});
    c.columns.push_back(QuoteIdentifier(name));
  }
  c.Release(info);
  if (c.fields.empty()) {
    throw Exception("no such table: " + table_name_ + " in " + connection_->Params().Database());
  }
  DefineFields(c.fields);
  SetState(TDataSetState::Browse);
  const std::string index = IndexFieldNames();
  SetIndexFieldNames(index);
  FilterChanged();
}

void TnFDTableSQLite::Close() {
  if (!Active()) {
    return;
  }
  Post();
  cursor_->Finalize();
  cursor_->conn->Commit();
  cursor_->count.reset();
  cursor_->has_row = false;
  SetState(TDataSetState::Inactive);
}

void TnFDTableSQLite::EmptyDataSet() {
  CheckOpen();
  Cancel();
  Cursor& c = *cursor_;
  c.Release(c.statement);
  c.statement = nullptr;
  c.conn->BeginWrite();
  c.conn->Exec(("delete from " + QuoteIdentifier(table_name_)).c_str());
  c.count.reset();
  First();
}

void TnFDTableSQLite::First() {
  CheckOpen();
  Post();
  cursor_->conn->Commit();
  cursor_->Open(false);
}

void TnFDTableSQLite::Next() {
  CheckOpen();
  Post();
  Cursor& c = *cursor_;
  if (!c.has_row) {
    c.eof = true;
    return;
  }
  if (c.reseek) {
    c.Open(true);
  }
  if (!c.eof) {
    c.Step();
  }
}

bool TnFDTableSQLite::Eof() const {
  return !Active() || cursor_->eof;
}

int TnFDTableSQLite::RecordCount() {
  if (!Active()) {
    return 0;
  }
  Cursor& c = *cursor_;
  if (!c.count) {
    c.conn->Commit();
    TVariantArray params;
    const std::string sql = "select count(*) from " + QuoteIdentifier(table_name_) +
                            Cursor::Where(c.Conditions(params));
    sqlite3_stmt* st = c.Prepare(sql, params);
    if (sqlite3_step(st) != SQLITE_ROW) {
      c.Release(st);
      c.Fail("cannot count");
    }
    c.count = static_cast<int>(sqlite3_column_int64(st, 0));
    c.Release(st);
  }
  return *c.count;
}

const Variant& TnFDTableSQLite::Current(int field) const {
  static const Variant kNull;
  const Cursor& c = *cursor_;
  if (State() == TDataSetState::Insert || State() == TDataSetState::Edit) {
    return c.edit.at(field);
  }
  return c.has_row ? c.row.at(field) : kNull;
}

bool TnFDTableSQLite::IsNull(int field) const {
  return Current(field).IsNull();
}
int64_t TnFDTableSQLite::GetInteger(int field) const {
  return Current(field).AsInteger();
}
double TnFDTableSQLite::GetFloat(int field) const {
  return Current(field).AsFloat();
}
std::string TnFDTableSQLite::GetString(int field) const {
  return Current(field).AsString();
}
Variant TnFDTableSQLite::GetValue(int field) const {
  return Current(field);
}

void TnFDTableSQLite::SetValue(int field, const Variant& value) {
  if (State() != TDataSetState::Insert && State() != TDataSetState::Edit) {
    throw Exception(TableName() + ": Dataset not in edit or insert mode");
  }
  cursor_->edit.at(field) = VarAsType(value, cursor_->fields[field].type);
}

void TnFDTableSQLite::Append() {
  CheckOpen();
  Post();
  cursor_->edit.assign(cursor_->fields.size(), Variant());
  SetState(TDataSetState::Insert);
}

void TnFDTableSQLite::Edit() {
  CheckOpen();
  if (State() != TDataSetState::Browse) {
    return;
  }
  if (!cursor_->has_row) {
    throw Exception(TableName() + ": no current record");
  }
  cursor_->edit = cursor_->row;
  SetState(TDataSetState::Edit);
}

void TnFDTableSQLite::Post() {
  Cursor& c = *cursor_;
  if (State() == TDataSetState::Insert) {
    c.conn->BeginWrite();
    if (c.insert == nullptr) {
      std::string sql = "insert into " + QuoteIdentifier(table_name_) + " (";
      std::string marks;
      for (size_t i = 0; i < c.columns.size(); ++i) {
        sql += (i > 0 ? ", " : "") + c.columns[i];
        marks += i > 0 ? ", ?" : "?";
      }
      c.insert = c.Prepare(sql + ") values (" + marks + ")", TVariantArray(c.columns.size()));
    }
    sqlite3_reset(c.insert);
    nrw::BindSqliteValues(c.Db(), c.insert, c.edit);
    if (sqlite3_step(c.insert) != SQLITE_DONE) {
      c.Fail("cannot insert");
    }
    c.rowid = sqlite3_last_insert_rowid(c.Db());
  } else if (State() == TDataSetState::Edit) {
    c.conn->BeginWrite();
    std::string sql = "update " + QuoteIdentifier(table_name_) + " set ";
    for (size_t i = 0; i < c.columns.size(); ++i) {
      sql += (i > 0 ? ", " : "") + c.columns[i] + " = ?";
    }
    TVariantArray params = c.edit;
    params.push_back(Variant(c.rowid));
    sqlite3_stmt* st = c.Prepare(sql + " where rowid = ?", params);
    const int rc = sqlite3_step(st);
    c.Release(st);
    if (rc != SQLITE_DONE) {
      c.Fail("cannot update");
    }
  } else {
    return;
  }
  c.row = c.edit;
  c.has_row = true;
  c.eof = false;
  c.reseek = true;
  c.count.reset();
  SetState(TDataSetState::Browse);
}

void TnFDTableSQLite::Cancel() {
  if (State() == TDataSetState::Insert || State() == TDataSetState::Edit) {
    SetState(TDataSetState::Browse);
  }
}

void TnFDTableSQLite::Delete() {
  CheckOpen();
  Cancel();
  Cursor& c = *cursor_;
  if (!c.has_row) {
    throw Exception(TableName() + ": no current record");
  }
  c.conn->BeginWrite();
  sqlite3_stmt* st = c.Prepare("delete from " + QuoteIdentifier(table_name_) + " where rowid = ?",
                               {Variant(c.rowid)});
  const int rc = sqlite3_step(st);
  c.Release(st);
  if (rc != SQLITE_DONE) {
    c.Fail("cannot delete");
  }
  if (c.count) {
    --*c.count;
  }
  // Go on from where the deleted row stood: the next row, or else the one before it.
  const std::vector<Variant> deleted_row = c.row;
  const int64_t deleted_rowid = c.rowid;
  c.Open(true);
  if (c.eof) {
    c.row = deleted_row;
    c.rowid = deleted_rowid;
    c.has_row = c.LoadPrevious();
    c.eof = true;
  }
}

void TnFDTableSQLite::SetIndexFieldNames(const std::string& names) {
  StoreIndexFieldNames(names);
  if (!Active()) {
    return;
  }
  Post();
  Cursor& c = *cursor_;
  c.conn->Commit();
  c.index = ResolveFieldList(names);
  c.ascending_order.clear();
  if (!c.index.empty()) {
    std::string name = "nrw_" + table_name_;
    std::string list;
    for (int field : c.index) {
      name += "_" + c.fields[field].name;
      list += (list.empty() ? "" : ", ") + c.columns[field];
    }
    c.conn->Exec(("create index if not exists " + QuoteIdentifier(name) + " on " +
                  QuoteIdentifier(table_name_) + " (" + list + ")")
                     .c_str());
  }
  c.has_range = false;
  c.count.reset();
  c.Open(false);
}

bool TnFDTableSQLite::FindKey(const TVariantArray& values) {
  CheckOpen();
  Post();
  Cursor& c = *cursor_;
  if (c.index.empty()) {
    throw Exception(TableName() + ": FindKey needs an index field list");
  }
  c.conn->Commit();
  // One statement: the cursor opened at the first row whose key fields are not below the key;
  // when that row holds the key, it becomes the cursor, which goes on in index order from there.
  TVariantArray params;
  std::vector<std::string> terms = c.Conditions(params);
  const TVariantArray key = c.TypedKey(values);
  terms.push_back(Lexicographic(c.KeyColumns(key.size()), key, Order::Ge, params));
  sqlite3_stmt* st = c.Prepare(c.SelectList() + Cursor::Where(terms) + c.AscendingOrder(), params);
  const int rc = sqlite3_step(st);
  if (rc != SQLITE_ROW && rc != SQLITE_DONE) {
    c.Release(st);
    c.Fail("cannot read");
  }
  bool found = rc == SQLITE_ROW;
  for (size_t i = 0; found && i < key.size(); ++i) {
    const int field = c.index[i];
    found =
        nrw::ReadSqliteValue(st, field + 1, c.fields[field].type, c.fields[field].name) == key[i];
  }
  if (!found) {
    c.Release(st);
    return false;
  }
  c.Release(c.statement);
  c.statement = st;
  c.Load(st);
  c.has_row = true;
  c.eof = false;
  c.reseek = false;
  return true;
}

void TnFDTableSQLite::SetRange(const TVariantArray& start, const TVariantArray& end) {
  CheckOpen();
  Post();
  Cursor& c = *cursor_;
  if (c.index.empty()) {
    throw Exception(TableName() + ": SetRange needs an index field list");
  }
  c.conn->Commit();
  c.has_range = true;
  c.range_start = start;
  c.range_end = end;
  c.count.reset();
  c.Open(false);
}

void TnFDTableSQLite::CancelRange() {
  CheckOpen();
  cursor_->has_range = false;
  cursor_->count.reset();
  First();
}

void TnFDTableSQLite::FilterChanged() {
  Cursor& c = *cursor_;
  c.filter_sql.clear();
  c.filter_params.clear();
  c.count.reset();
  if (!Active()) {
    return;
  }
  if (Filtered() && !Filter().empty()) {
    const auto root = nrw::ParseFilter(Filter(), c.fields);
    c.filter_sql = FilterToSql(*root, c.columns, c.filter_params);
  }
  First();
}

namespace Nutildb {
TnFDTableSQLite* FDTSQLite(TObject* component) {
  return CheckedCast<TnFDTableSQLite>(component);
}
}  // namespace Nutildb
