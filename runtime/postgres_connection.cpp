#include "runtime/postgres_connection.hpp"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cstring>
#include <exception>
#include <memory>
#include <optional>
#include <vector>

#include "host/exception.hpp"
#include "host/sysutils.hpp"
#include "runtime/iso_date.hpp"
#include "runtime/plain_decimal.hpp"
#include "runtime/repeated_dates.hpp"
#include "runtime/sql_placeholders.hpp"

namespace nrw {
namespace {

// Type OIDs of the server's built-in types (pg_type.dat).
constexpr Oid kBoolOid = 16, kInt8Oid = 20, kInt2Oid = 21, kInt4Oid = 23;
constexpr Oid kFloat4Oid = 700, kFloat8Oid = 701, kNumericOid = 1700;
constexpr Oid kDateOid = 1082, kTimestampOid = 1114, kTimestampTzOid = 1184;

struct ResultCloser {
  void operator()(PGresult* result) const { PQclear(result); }
};
using Result = std::unique_ptr<PGresult, ResultCloser>;

TFieldType FieldTypeOfOid(Oid oid) {
  switch (oid) {
    case kBoolOid:
      return TFieldType::Boolean;
    case kInt8Oid:
    case kInt2Oid:
    case kInt4Oid:
      return TFieldType::Integer;
    case kFloat4Oid:
    case kFloat8Oid:
    case kNumericOid:
      return TFieldType::Float;
    case kDateOid:
    case kTimestampOid:
    case kTimestampTzOid:
      return TFieldType::DateTime;
    default:
      return TFieldType::String;
  }
}

Variant ParseValue(const char* text, int length, TFieldType type, const std::string& column) {
  const char* end = text + length;
  switch (type) {
    case TFieldType::Integer: {
      int64_t value = 0;
      if (std::from_chars(text, end, value).ec == std::errc()) {
        return Variant(value);
      }
      break;
    }
    case TFieldType::Float: {
      double value = 0;
      if (ReadPlainDecimal(std::string_view(text, static_cast<size_t>(length)), value) ||
          std::from_chars(text, end, value).ec == std::errc()) {
        return Variant(value);
      }
      break;
    }
    case TFieldType::Boolean:
      return Variant(length > 0 && text[0] == 't');
    case TFieldType::DateTime:
      if (const auto value = ParseIsoDateTime(std::string_view(text, length))) {
        return Variant::FromDateTime(*value);
      }
      break;
    case TFieldType::String:
      return Variant(std::string(text, static_cast<size_t>(length)));
  }
  throw Exception("column " + column + ": cannot read '" + std::string(text, length) + "'");
}

// Calls `at(i)` for the position of every tab in `text`, in order. Eight bytes are tested at a
// time: XOR with eight tabs zeroes the tabs' bytes, and the zero-byte test marks the high bit
// of each such byte (of those bytes alone, without borrows from their neighbours).
template <class At>
void ForEachTab(std::string_view text, At&& at) {
  size_t i = 0;
  if constexpr (std::endian::native == std::endian::little) {
    constexpr uint64_t kLow7 = 0x7F7F7F7F7F7F7F7FULL, kTabs = 0x0909090909090909ULL;
    for (; i + 8 <= text.size(); i += 8) {
      uint64_t word = 0;
      std::memcpy(&word, text.data() + i, 8);
      const uint64_t x = word ^ kTabs;
      for (uint64_t zeros = ~(((x & kLow7) + kLow7) | x | kLow7); zeros != 0; zeros &= zeros - 1) {
        at(i + static_cast<size_t>(std::countr_zero(zeros)) / 8);
      }
    }
  }
  for (; i < text.size(); ++i) {
    if (text[i] == '\t') {
      at(i);
    }
  }
}

// Reads the rows of COPY's text form: fields separated by tabs, \N for null, and backslash
// escapes for the backslash and the control characters. Each field is read as the single-row
// results read it, so both give the same values.
class CopyRowReader {
 public:
  explicit CopyRowReader(const std::vector<TSQLColumn>& columns)
      : columns_(columns), row_(columns.size()) {}

  const std::vector<Variant>& Read(std::string_view line) {
    if (!line.empty() && line.back() == '\n') {
      line.remove_suffix(1);
    }
    // A tab byte always ends a field (a tab in a value comes escaped), so the fields are found
    // by their tabs alone; a field is unescaped only when the line has a backslash and the
    // field holds one.
    const bool escapes = line.find('\\') != std::string_view::npos;
    size_t column = 0, start = 0;
    const auto field = [&](size_t end) {
      if (column == columns_.size()) {
        throw Exception("COPY sent more than " + std::to_string(columns_.size()) + " columns");
      }
      const std::string_view text = line.substr(start, end - start);
      Field(column++, text, escapes && text.find('\\') != std::string_view::npos);
      start = end + 1;
    };
    ForEachTab(line, field);
    field(line.size());
    if (column != columns_.size()) {
      throw Exception("COPY sent " + std::to_string(column) + " columns of " +
                      std::to_string(columns_.size()));
    }
    return row_;
  }

 private:
  void Field(size_t i, std::string_view text, bool escaped) {
    if (text == "\\N") {
      row_[i] = Variant();
      return;
    }
    if (escaped) {
      Unescape(text);
      text = unescaped_;
    }
    const auto parse = [&] {
      return ParseValue(text.data(), static_cast<int>(text.size()), columns_[i].type,
                        columns_[i].name);
    };
    switch (columns_[i].type) {
      case TFieldType::String:
        row_[i].AssignString(text);  // into the text the row's slot already holds
        break;
      case TFieldType::DateTime:
        row_[i] = dates_.Read(i, text, parse);
        break;
      default:
        row_[i] = parse();
    }
  }
  void Unescape(std::string_view text) {
    unescaped_.clear();
    for (size_t i = 0; i < text.size(); ++i) {
      unescaped_ += text[i] == '\\' && i + 1 < text.size() ? Unescaped(text[++i]) : text[i];
    }
  }
  // The server escapes the backslash and six control characters; a backslash before anything
  // else stands for that character.
  static char Unescaped(char c) {
    switch (c) {
      case 'b':
        return '\b';
      case 'f':
        return '\f';
      case 'n':
        return '\n';
      case 'r':
        return '\r';
      case 't':
        return '\t';
      case 'v':
        return '\v';
      default:
        return c;
    }
  }

  const std::vector<TSQLColumn>& columns_;
  std::vector<Variant> row_;
  std::string unescaped_;
  RepeatedDates dates_;
};

std::string CopyEscape(const std::string& text) {
  std::string out;
  out.reserve(text.size());
  for (char c : text) {
    switch (c) {
      case '\\':
        out += "\\\\";
        break;
      case '\t':
        out += "\\t";
        break;
      case '\n':
        out += "\\n";
        break;
      case '\r':
        out += "\\r";
        break;
      default:
        out += c;
    }
  }
  return out;
}

}  // namespace

std::optional<std::string> PostgresText(const Variant& value) {
  switch (value.GetKind()) {
    case Variant::Kind::Null:
      return std::nullopt;
    case Variant::Kind::Boolean:
      return value.AsBoolean() ? "true" : "false";
    case Variant::Kind::Integer:
      return std::to_string(value.AsInteger());
    case Variant::Kind::Float:
      return Nutil::ValorParaSQL(value, TFieldType::Float);
    case Variant::Kind::DateTime:
      return IsoDateTime(value.AsDateTime());
    case Variant::Kind::String:
      break;
  }
  return value.AsString();
}

// The connection target as a URL without its password, for messages. The password may also
// come from PGPASSWORD, a password file or a service file, which libpq reads by itself.
std::string RedactedTarget(const std::string& url) {
  char* error = nullptr;
  PQconninfoOption* options = PQconninfoParse(url.c_str(), &error);
  if (options == nullptr) {
    PQfreemem(error);
    return "postgresql://(an unreadable address)";
  }
  std::string user, host, port, dbname, service;
  for (PQconninfoOption* o = options; o->keyword != nullptr; ++o) {
    const std::string keyword = o->keyword;
    const std::string value = o->val != nullptr ? o->val : "";
    if (keyword == "user")
      user = value;
    if (keyword == "host")
      host = value;
    if (keyword == "port")
      port = value;
    if (keyword == "dbname")
      dbname = value;
    if (keyword == "service")
      service = value;
  }
  PQconninfoFree(options);
  std::string target = "postgresql://" + (user.empty() ? "" : user + "@") + host +
                       (port.empty() ? "" : ":" + port) + "/" + dbname;
  return service.empty() ? target : target + "?service=" + service;
}

PostgresConnection::PostgresConnection(const std::string& url)
    : url_(url), conn_(PQconnectdb(url.c_str())) {
  if (conn_ == nullptr || PQstatus(conn_) != CONNECTION_OK) {
    const std::string message = conn_ != nullptr ? Trim(PQerrorMessage(conn_)) : "out of memory";
    PQfinish(conn_);
    conn_ = nullptr;
    throw Exception("cannot connect to PostgreSQL at " + RedactedTarget(url) + ": " + message);
  }
  PQsetClientEncoding(conn_, "UTF8");
  // Server notices ("drop cascades to ...") are not the user's business.
  PQsetNoticeProcessor(
      conn_, [](void*, const char*) {}, nullptr);
  ExecuteScript("set datestyle to ISO, DMY");
  // A month's queries join hundreds of thousands of documents with their lines by hashing.
  // With the server's stock working memory (4 MB) each hash spills to temporary files in
  // batches: the items' query of a million-line month took 2.3 s against 2.0 s in memory. The
  // session asks for at least 32 MB; a server or a connection that gives more keeps it.
  ExecuteScript(
      "select set_config('work_mem', '32MB', false) "
      "where pg_size_bytes(current_setting('work_mem')) < 32 * 1024 * 1024");
}

PostgresConnection::~PostgresConnection() {
  PQfinish(conn_);
}

bool PostgresConnection::InTransaction() const {
  return PQtransactionStatus(conn_) != PQTRANS_IDLE;
}

std::unique_ptr<TSQLConnection> PostgresConnection::Reopen() const {
  if (InTransaction()) {
    return nullptr;
  }
  return std::make_unique<PostgresConnection>(url_);
}

std::string PostgresConnection::Description() const {
  return std::string("postgresql://") + PQhost(conn_) + ":" + PQport(conn_) + "/" + PQdb(conn_);
}

// One line for the user: libpq's first line and its DETAIL line, without the statement excerpt
// and caret; when the server went away, which server.
void PostgresConnection::ThrowSqlError(const std::string& message) const {
  std::string text;
  size_t start = 0;
  while (start < message.size()) {
    const size_t end = std::min(message.find('\n', start), message.size());
    const std::string line = Trim(message.substr(start, end - start));
    if (start == 0 || line.rfind("DETAIL:", 0) == 0) {
      text += (text.empty() ? "" : " ") + line;
    }
    start = end + 1;
  }
  if (PQstatus(conn_) == CONNECTION_BAD) {
    throw Exception("lost the connection to PostgreSQL at " + Description() + ": " + text);
  }
  throw Exception("SQL error: " + text);
}

void PostgresConnection::Send(const std::string& sql, const TVariantArray& params) {
  const SqlPlaceholders rewritten = RewritePlaceholders(sql, PlaceholderStyle::Dollar);
  if (rewritten.names.size() > params.size()) {
    throw Exception("SQL parameter :" + rewritten.names[params.size()] + " (number " +
                    std::to_string(params.size() + 1) + ") has no value");
  }
  std::vector<std::optional<std::string>> texts;
  std::vector<const char*> values;
  const size_t count = rewritten.names.size();
  texts.reserve(count);
  for (size_t i = 0; i < count; ++i) {
    texts.push_back(PostgresText(params[i]));
  }
  for (const auto& text : texts) {
    values.push_back(text ? text->c_str() : nullptr);
  }
  if (PQsendQueryParams(conn_, rewritten.text.c_str(), static_cast<int>(count), nullptr,
                        values.data(), nullptr, nullptr, 0) == 0) {
    ThrowSqlError(PQerrorMessage(conn_));
  }
}

void PostgresConnection::Query(const std::string& sql, const TVariantArray& params,
                               TSQLRowSink& sink) {
  Send(sql, params);
  PQsetSingleRowMode(conn_);
  std::vector<TSQLColumn> columns;
  std::vector<Variant> row;
  std::string error;
  std::exception_ptr failure;  // a failure of the sink; the connection is drained first
  bool described = false;
  while (PGresult* raw = PQgetResult(conn_)) {
    Result result(raw);
    const ExecStatusType status = PQresultStatus(raw);
    if (status != PGRES_SINGLE_TUPLE && status != PGRES_TUPLES_OK) {
      error = Trim(PQresultErrorMessage(raw));
    }
    if (!error.empty() || failure) {
      continue;
    }
    try {
      if (!described) {
        for (int i = 0; i < PQnfields(raw); ++i) {
          columns.push_back({PQfname(raw, i), FieldTypeOfOid(PQftype(raw, i))});
        }
        sink.Columns(columns);
        row.resize(columns.size());
        described = true;
      }
      for (int r = 0; r < PQntuples(raw); ++r) {
        for (size_t i = 0; i < columns.size(); ++i) {
          const int c = static_cast<int>(i);
          row[i] = PQgetisnull(raw, r, c)
                       ? Variant()
                       : ParseValue(PQgetvalue(raw, r, c), PQgetlength(raw, r, c), columns[i].type,
                                    columns[i].name);
        }
        sink.Row(row);
      }
    } catch (...) {
      failure = std::current_exception();
    }
  }
  if (!error.empty()) {
    ThrowSqlError(error);
  }
  if (failure) {
    std::rethrow_exception(failure);
  }
}

std::vector<TSQLColumn> PostgresConnection::Describe(const std::string& sql) {
  Result prepared(PQprepare(conn_, "", sql.c_str(), 0, nullptr));
  if (PQresultStatus(prepared.get()) != PGRES_COMMAND_OK) {
    ThrowSqlError(PQresultErrorMessage(prepared.get()));
  }
  Result described(PQdescribePrepared(conn_, ""));
  if (PQresultStatus(described.get()) != PGRES_COMMAND_OK) {
    ThrowSqlError(PQresultErrorMessage(described.get()));
  }
  std::vector<TSQLColumn> columns;
  for (int i = 0; i < PQnfields(described.get()); ++i) {
    columns.push_back({PQfname(described.get(), i), FieldTypeOfOid(PQftype(described.get(), i))});
  }
  return columns;
}

void PostgresConnection::BulkQuery(const std::string& sql, const TVariantArray& params,
                                   TSQLRowSink& sink) {
  if (!FirstWordIs(sql, "select")) {
    Query(sql, params, sink);
    return;
  }
  std::vector<std::string> literals;
  literals.reserve(params.size());
  for (const Variant& value : params) {
    // The text a parameter would have been sent as, quoted: an untyped literal, which the
    // server types from its context as it types a parameter.
    const std::optional<std::string> text = PostgresText(value);
    literals.push_back(text ? Nutil::ValorParaSQL(Variant(*text), TFieldType::String) : "null");
  }
  std::string text = InlinePlaceholders(sql, literals);
  // COPY takes the query in parentheses: without a closing ";", and on lines of its own, so that
  // a comment on its last line cannot hide the parenthesis.
  text.erase(text.find_last_not_of(" \t\r\n;") + 1);
  const std::vector<TSQLColumn> columns = Describe(text);
  if (columns.empty()) {  // SELECT ... INTO makes a table, which COPY does not do
    Query(sql, params, sink);
    return;
  }
  sink.Columns(columns);
  Result started(PQexec(conn_, ("copy (\n" + text + "\n) to stdout").c_str()));
  if (PQresultStatus(started.get()) != PGRES_COPY_OUT) {
    ThrowSqlError(PQresultErrorMessage(started.get()));
  }
  CopyRowReader reader(columns);
  std::exception_ptr failure;  // a failure of the sink; the rows are drained first
  char* line = nullptr;
  int length = 0;
  while ((length = PQgetCopyData(conn_, &line, 0)) > 0) {
    const std::unique_ptr<char, decltype(&PQfreemem)> owned(line, &PQfreemem);
    if (failure) {
      continue;
    }
    try {
      sink.Row(reader.Read(std::string_view(line, static_cast<size_t>(length))));
    } catch (...) {
      failure = std::current_exception();
    }
  }
  std::string error = length == -2 ? Trim(PQerrorMessage(conn_)) : std::string();
  while (PGresult* raw = PQgetResult(conn_)) {
    Result result(raw);
    if (PQresultStatus(raw) != PGRES_COMMAND_OK && error.empty()) {
      error = Trim(PQresultErrorMessage(raw));
    }
  }
  if (!error.empty()) {
    ThrowSqlError(error);
  }
  if (failure) {
    std::rethrow_exception(failure);
  }
}

int64_t PostgresConnection::Execute(const std::string& sql, const TVariantArray& params) {
  ForgetLookups();
  Send(sql, params);
  int64_t changed = 0;
  std::string error;
  while (PGresult* raw = PQgetResult(conn_)) {
    Result result(raw);
    const ExecStatusType status = PQresultStatus(raw);
    if (status == PGRES_COMMAND_OK || status == PGRES_TUPLES_OK) {
      changed = std::atoll(PQcmdTuples(raw));
    } else {
      error = Trim(PQresultErrorMessage(raw));
    }
  }
  if (!error.empty()) {
    ThrowSqlError(error);
  }
  return changed;
}

void PostgresConnection::ExecuteScript(const std::string& sql) {
  ForgetLookups();
  Result result(PQexec(conn_, sql.c_str()));
  const ExecStatusType status = PQresultStatus(result.get());
  if (status != PGRES_COMMAND_OK && status != PGRES_TUPLES_OK) {
    ThrowSqlError(PQresultErrorMessage(result.get()));
  }
}

void PostgresConnection::BeginTransaction() {
  ExecuteScript("begin");
}
void PostgresConnection::Commit() {
  ExecuteScript("commit");
}
void PostgresConnection::Rollback() {
  ExecuteScript("rollback");
}

namespace {

// COPY ... FROM STDIN in text format, sent in chunks.
class PostgresBulkWriter : public TSQLBulkWriter {
 public:
  PostgresBulkWriter(PGconn* conn, const std::string& table,
                     const std::vector<std::string>& columns)
      : conn_(conn), table_(table) {
    std::string sql = "copy " + table + " (";
    for (size_t i = 0; i < columns.size(); ++i) {
      sql += (i > 0 ? ", " : "") + columns[i];
    }
    sql += ") from stdin";
    Result result(PQexec(conn_, sql.c_str()));
    if (PQresultStatus(result.get()) != PGRES_COPY_IN) {
      throw Exception("cannot load table " + table + ": " +
                      Trim(PQresultErrorMessage(result.get())));
    }
  }
  ~PostgresBulkWriter() override {
    if (!finished_) {
      PQputCopyEnd(conn_, "abandoned");
      while (PGresult* raw = PQgetResult(conn_)) {
        PQclear(raw);
      }
    }
  }

  void Add(const std::vector<Variant>& row) override {
    for (size_t i = 0; i < row.size(); ++i) {
      if (i > 0) {
        buffer_ += '\t';
      }
      const auto text = PostgresText(row[i]);
      buffer_ += text ? CopyEscape(*text) : "\\N";
    }
    buffer_ += '\n';
    if (buffer_.size() > kChunk) {
      Flush();
    }
  }

  void Finish() override {
    Flush();
    finished_ = true;
    if (PQputCopyEnd(conn_, nullptr) != 1) {
      throw Exception("cannot load table " + table_ + ": " + Trim(PQerrorMessage(conn_)));
    }
    std::string error;
    while (PGresult* raw = PQgetResult(conn_)) {
      if (PQresultStatus(raw) != PGRES_COMMAND_OK) {
        error = Trim(PQresultErrorMessage(raw));
      }
      PQclear(raw);
    }
    if (!error.empty()) {
      throw Exception("cannot load table " + table_ + ": " + error);
    }
  }

 private:
  static constexpr size_t kChunk = 1 << 20;
  void Flush() {
    if (!buffer_.empty() &&
        PQputCopyData(conn_, buffer_.data(), static_cast<int>(buffer_.size())) != 1) {
      throw Exception("cannot load table " + table_ + ": " + Trim(PQerrorMessage(conn_)));
    }
    buffer_.clear();
  }

  PGconn* conn_;
  std::string table_;
  std::string buffer_;
  bool finished_ = false;
};

}  // namespace

std::unique_ptr<TSQLBulkWriter> PostgresConnection::BulkInsert(
    const std::string& table, const std::vector<std::string>& columns) {
  ForgetLookups();
  return std::make_unique<PostgresBulkWriter>(conn_, table, columns);
}

}  // namespace nrw
