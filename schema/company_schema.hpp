// Builds a company database: tables, indexes and reference data, on SQLite or PostgreSQL.
#pragma once

#include <string>
#include <vector>

#include "host/sql.hpp"

namespace nrw::schema {

void CreateTables(TSQLConnection& connection);

// The columns a row of a company table gives, in order, wherever rows are written in bulk (the
// demo database, imported EFD books, the tests' books). Raises Exception for a table without a
// list.
const std::vector<std::string>& RowColumns(const std::string& table);
// Writes the rows of `table` (values in RowColumns order) in one bulk write.
void WriteRows(TSQLConnection& connection, const std::string& table,
               const std::vector<std::vector<Variant>>& rows);
void CreateIndexes(TSQLConnection& connection);

// The folder of the national reference tables: NRW_REF_DIR when set, else ../shared/data/ref
// beside the source tree. It may not exist.
std::string DefaultReferenceDir();

struct ReferenceCounts {
  int64_t cfops = 0;
  int64_t municipalities = 0;
  int64_t operations = 0;
  bool national = false;  // the national tables were found and loaded
};

// Loads CFOP, municipio and OPERACAOFIS: the national CFOP table and IBGE municipality list from
// `reference_dir` when it holds them (cfop.csv, municipios.csv), else the project's subset.
ReferenceCounts LoadReferenceData(TSQLConnection& connection, const std::string& reference_dir);

}  // namespace nrw::schema
