// The fiscal data provider's queries. Each is fixed text with bound values, run once per
// establishment; entries and exits come from one "union all" ordered by the entry key, or from
// a statement each (keys are unique across entries and exits).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/variant.hpp"

namespace nrw {

// What one execution of the provider selects, read from its parameters.
struct FiscalFilter {
  int32_t company = 0;
  int32_t estab = 0;
  bool by_date_time = false;  // period kind other than 1: by entry date and time
  TDateTime from = 0, to = 0;
  bool entries = false, exits = false;
  std::vector<int32_t> tax_types;             // the tax types whose lines are listed
  bool pis_cofins = false;                    // load the PIS/COFINS item rows
  std::vector<int32_t> people, cfops, users;  // empty: all
  std::string species;                        // empty: all
  bool only_non_normal = false;               // leave out documents of normal purpose
  bool history = false;                       // fill the documents' observation (COMPLHIST)
  int extra_field = 0;                        // 1: NumeroNF, 2: NomePessoa on the tax lines
};

struct SqlText {
  std::string sql;
  TVariantArray params;
};

// How a query's rows come.
enum class QueryOrder {
  kAsStored,  // in the database's order: the caller sorts them
  kByKey,     // sorted by key (and sequence), entries and exits in one statement
  // One statement per direction listed (entries, exits), each sorted by key (and sequence),
  // for the caller to merge: a database reads one direction's rows in key order from its key's
  // index, where the union of both needed a sort of every row before the first came.
  kByKeyPerDirection,
};

// Each query is one statement, or with kByKeyPerDirection one per direction listed (at least
// one).
std::vector<SqlText> TaxLinesQuery(const FiscalFilter& filter, QueryOrder order);
std::vector<SqlText> DocumentsQuery(const FiscalFilter& filter, QueryOrder order);
// Every item of the period's documents: the caller keeps those of documents with listed tax
// lines.
std::vector<SqlText> PisCofinsQuery(const FiscalFilter& filter, QueryOrder order);
SqlText PeopleQuery(const FiscalFilter& filter);
SqlText CfopQuery();

// Reads a list of whole codes separated by ";" or ",", blanks allowed; raises Exception naming
// the parameter and the item that is not a code.
std::vector<int32_t> ParseCodeList(const std::string& parameter, const std::string& text);

}  // namespace nrw
