// The schema files compiled into the program (see CMakeLists.txt).
#pragma once

namespace nrw::schema {

extern const char* const kSqliteTables;
extern const char* const kSqliteIndexes;
extern const char* const kPostgresTables;
extern const char* const kPostgresIndexes;
extern const char* const kCfopCsv;
extern const char* const kMunicipiosCsv;
extern const char* const kOperacoesFiscaisCsv;

}  // namespace nrw::schema
