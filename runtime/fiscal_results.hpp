// Where the fiscal data provider puts its three result tables: in-memory tables, or tables of a
// temporary SQLite file read back through TnFDTableSQLite. Both are filled row by row in the
// order the queries give, so both storage modes hold the same rows in the same order.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/data_set.hpp"
#include "host/memory_data_set.hpp"

namespace nrw {

enum class FiscalResult { Imposto, DocFiscal, PisCofins };
constexpr int kFiscalResultCount = 3;

// The columns of each result table (the tax lines gain NumeroNF or NomePessoa by extra field).
std::vector<TFieldDef> FiscalResultFields(FiscalResult result, int extra_field);
std::vector<TFieldDef> PessoaFields();
std::vector<TFieldDef> CfopFields();
std::vector<TFieldDef> TotalFields();
const char* FiscalResultName(FiscalResult result);

class FiscalStorage {
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
  // True when dropping rows after End, one by one through Table, costs less than having the
  // database filter them: in memory a deleted row is only marked.
  virtual bool DropsRowsCheaply() const { return false; }
  // One row, its values already of the columns' types. The caller reuses `row` only as a
  // buffer: the storage may exchange its values for others.
  virtual void Add(FiscalResult result, std::vector<Variant>& row) = 0;
  // Ends the table's refill, whose rows are then in the order of `key_fields`: a storage that
  // sorts puts them so, the others were given them so by the ordered queries.
  virtual void End(FiscalResult result, const std::string& key_fields) = 0;
  virtual TDataSet* Table(FiscalResult result) const = 0;
  virtual std::string File() const { return ""; }
};

// In-memory tables, components of `owner` named cdsImposto, cdsDocFiscal, cdsPisCofins.
std::unique_ptr<FiscalStorage> MakeMemoryStorage(TComponent* owner);
// SQLite tables in a new temporary file; the file and every working copy made from it (its name
// with "temp" replaced) are removed when the storage is destroyed.
std::unique_ptr<FiscalStorage> MakeSqliteStorage(TComponent* owner);

// The folder for temporary files: TMPDIR when set and free of "temp" in its path (working
// copies are named by replacing "temp"), else /tmp.
std::string TemporaryFolder();

}  // namespace nrw
