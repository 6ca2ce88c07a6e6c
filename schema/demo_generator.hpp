// The demo company database: a deterministic month of fiscal books for C companies with E
// establishments each, entries and exits, with every kind of line the report prints (ICMS at 4,
// 7, 12, 17 and 18 %, reductions and exempt amounts, IPI, ISS, FunRural from rural producers,
// complementary ICMS and tax substitution with fiscal operations including doubled 11403/11407
// pairs, PIS/COFINS items, adjustment items with SEQ 991 and above, freight documents).
#pragma once

#include <cstdint>
#include <string>

#include "host/sql.hpp"
#include "schema/company_schema.hpp"

namespace nrw::schema {

struct DemoOptions {
  int64_t documents = 3000;  // in all, spread evenly over the establishments
  uint64_t seed = 1;
  int companies = 2;
  int establishments = 2;  // per company
  int year = 2026;
  int month = 1;
  std::string reference_dir;  // the national tables, when present (see LoadReferenceData)
};

struct DemoCounts {
  int64_t documents = 0;
  int64_t tax_lines = 0;
  int64_t product_rows = 0;
  int64_t freight_rows = 0;
  int64_t people = 0;
  int64_t products = 0;
  ReferenceCounts reference;
};

// Creates the schema in an empty database and fills it, in one transaction.
DemoCounts CreateDemoDatabase(TSQLConnection& connection, const DemoOptions& options);

}  // namespace nrw::schema
