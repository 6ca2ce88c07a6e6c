#include "tests/runtime/data_set_kinds.hpp"

#include <unistd.h>

#include <cstdlib>
#include <stdexcept>

#include "host/memory_data_set.hpp"
#include "host/sqlite_table.hpp"
#include "runtime/sqlite_connection.hpp"

namespace nrw::testing {

std::string KindName(DataSetKind kind) {
  switch (kind) {
    case DataSetKind::Memory:
      return "Memory";
    case DataSetKind::SqliteTable:
      return "SqliteTable";
    case DataSetKind::QueryCursor:
      return "QueryCursor";
  }
  return "?";
}

// A new folder every time: a test process killed before its cleanup leaves its folder behind,
// and process ids come round again, so a name made of them alone may already be taken.
ScratchDir::ScratchDir() {
  std::string pattern = (std::filesystem::temp_directory_path() /
                         ("nrw-test-" + std::to_string(getpid()) + "-XXXXXX"))
                            .string();
  if (mkdtemp(pattern.data()) == nullptr) {
    throw std::runtime_error("cannot make a scratch folder like " + pattern);
  }
  path_ = pattern;
  // Readable by other accounts as a folder made by create_directories is: the throwaway
  // PostgreSQL server runs as its own user inside one.
  std::filesystem::permissions(
      path_, std::filesystem::perms::owner_all | std::filesystem::perms::group_read |
                 std::filesystem::perms::group_exec | std::filesystem::perms::others_read |
                 std::filesystem::perms::others_exec);
}

ScratchDir::~ScratchDir() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

void DataSetFactory::CreateSqliteTable(const std::string& file, const std::string& name,
                                       const std::vector<TFieldDef>& fields,
                                       const std::vector<std::vector<Variant>>& rows) {
  connection_ = OpenConnection(file, true);
  std::vector<std::string> columns;
  for (const TFieldDef& field : fields) {
    columns.push_back(field.name);
  }
  connection_->ExecuteScript(nrw::SqliteCreateTable(name, fields));
  auto writer = connection_->BulkInsert(name, columns);
  for (const auto& row : rows) {
    writer->Add(row);
  }
  writer->Finish();
}

std::unique_ptr<TDataSet> DataSetFactory::Make(DataSetKind kind, const std::string& name,
                                               const std::vector<TFieldDef>& fields,
                                               const std::vector<std::vector<Variant>>& rows) {
  if (kind == DataSetKind::Memory) {
    auto table = std::make_unique<TnClientDataSetMem>(nullptr, fields);
    for (const auto& row : rows) {
      table->Append();
      for (size_t i = 0; i < row.size(); ++i) {
        table->SetValue(static_cast<int>(i), row[i]);
      }
      table->Post();
    }
    table->SetName(name);
    table->First();
    return table;
  }
  const std::string file = scratch_.File("kind" + std::to_string(serial_++) + ".db");
  CreateSqliteTable(file, name, fields, rows);
  if (kind == DataSetKind::QueryCursor) {
    std::unique_ptr<TDataSet> cursor(
        Nutildb::ExecutarSQL("select * from " + name + " order by rowid", {}, true, false, -1, name,
                             connection_.get(), true));
    return cursor;
  }
  auto table = std::make_unique<TnFDTableSQLite>();
  table->SetName(name);
  table->Connection()->Params().SetDatabase(file);
  table->SetTableName(name);
  table->Open();
  return table;
}

std::vector<std::string> PairTexts(TSQLConnection& connection, const std::string& sql,
                                   const TVariantArray& params, size_t first) {
  struct Sink : TSQLRowSink {
    std::vector<std::string> rows;
    size_t first = 0;
    void Columns(const std::vector<TSQLColumn>&) override {}
    void Row(const std::vector<Variant>& row) override {
      const Variant& b = row[first + 1];
      rows.push_back(row[first].AsString() + "|" + (b.IsNull() ? "null" : b.AsString()));
    }
  } sink;
  sink.first = first;
  connection.Query(sql, params, sink);
  return sink.rows;
}

}  // namespace nrw::testing
