// Builds the same table as each kind of data set, so that one behaviour suite runs on all.
#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "host/data_set.hpp"
#include "host/sql.hpp"

namespace nrw::testing {

enum class DataSetKind { Memory, SqliteTable, QueryCursor };

std::string KindName(DataSetKind kind);

// A scratch folder removed when the object dies.
class ScratchDir {
 public:
  ScratchDir();
  ~ScratchDir();
  std::string File(const std::string& name) const { return (path_ / name).string(); }

 private:
  std::filesystem::path path_;
};

// Creates table `name` with `fields` and `rows` in the kind asked for. SQLite-backed kinds put
// their database in `scratch`; the query cursor reads "select * from name order by rowid".
class DataSetFactory {
 public:
  explicit DataSetFactory(const ScratchDir& scratch) : scratch_(scratch) {}
  std::unique_ptr<TDataSet> Make(DataSetKind kind, const std::string& name,
                                 const std::vector<TFieldDef>& fields,
                                 const std::vector<std::vector<Variant>>& rows);

 private:
  void CreateSqliteTable(const std::string& file, const std::string& name,
                         const std::vector<TFieldDef>& fields,
                         const std::vector<std::vector<Variant>>& rows);
  const ScratchDir& scratch_;
  std::unique_ptr<TSQLConnection> connection_;
  int serial_ = 0;
};

// The rows of `sql` as texts "a|b" of columns `first` and `first` + 1 ("null" for a null b).
std::vector<std::string> PairTexts(TSQLConnection& connection, const std::string& sql,
                                   const TVariantArray& params, size_t first);

}  // namespace nrw::testing
