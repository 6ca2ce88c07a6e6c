// Where the fiscal data provider puts its three result tables: in-memory tables, or tables of
// temporary SQLite files (one each) read back through TnFDTableSQLite. Both are filled row by
// row in the order the queries give, so both storage modes hold the same rows in the same order.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "host/data_set.hpp"
#include "host/export.hpp"
#include "host/memory_data_set.hpp"

namespace nrw {

enum class FiscalResult { Imposto, DocFiscal, PisCofins };
constexpr int kFiscalResultCount = 3;

// Rows of a result table by their places in the order they were added (from 0): first to
// last, both included.
struct AddedRows {
  int64_t first = 0, last = 0;
};

// The columns of each result table (the tax lines gain NumeroNF or NomePessoa by extra field).
NRW_API std::vector<TFieldDef> FiscalResultFields(FiscalResult result, int extra_field);
std::vector<TFieldDef> PessoaFields();
std::vector<TFieldDef> CfopFields();
std::vector<TFieldDef> TotalFields();
const char* FiscalResultName(FiscalResult result);

class NRW_API FiscalStorage {
 public:
  virtual ~FiscalStorage() = default;
  // Frames the refill of all three tables (SQLite: they are closed meanwhile). Within it the
  // tables may be filled at the same time, rows of one and of another coming in turns.
  virtual void BeginRefill() {}
  virtual void EndRefill() {}
  // Starts refilling a result table with these columns.
  virtual void Begin(FiscalResult result, const std::vector<TFieldDef>& fields) = 0;
  // True when the storage puts the rows in key order itself (End), so that the queries need
  // not sort: in memory a sort of row ids is cheaper than the database's sort of whole rows.
  virtual bool SortsRows() const { return false; }
  // Drops rows of a table whose refill has ended by their places among those added, before
  // EndRefill. Only a storage that keeps the rows in the order they came (SortsRows false) knows
  // those places; the others refuse.
  virtual void DropAddedRows(FiscalResult result, const std::vector<AddedRows>& rows);
  // One row, its values already of the columns' types. The caller reuses `row` only as a
  // buffer: the storage may exchange its values for others.
  virtual void Add(FiscalResult result, std::vector<Variant>& row) = 0;
  // Ends the table's refill, whose rows are then in the order of `key_fields`: a storage that
  // sorts puts them so, the others were given them so by the ordered queries.
  virtual void End(FiscalResult result, const std::string& key_fields) = 0;
  virtual TDataSet* Table(FiscalResult result) const = 0;
  // The tax lines' file, in a storage that keeps its tables in files.
  virtual std::string File() const { return ""; }
};

// In-memory tables, components of `owner` named cdsImposto, cdsDocFiscal, cdsPisCofins.
NRW_API std::unique_ptr<FiscalStorage> MakeMemoryStorage(TComponent* owner);
// SQLite tables, each in a new temporary file of its own; the files and every working copy made
// from them (their names with "temp" replaced) are removed when the storage is destroyed.
NRW_API std::unique_ptr<FiscalStorage> MakeSqliteStorage(TComponent* owner);

// The folder for temporary files: TMPDIR when set and free of "temp" in its path (working
// copies are named by replacing "temp"), else /tmp.
std::string TemporaryFolder();

}  // namespace nrw
