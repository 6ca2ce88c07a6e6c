// A digest of a table's rows in key order, written so that the same data gives the same digest
// on SQLite and on PostgreSQL (numbers in round-trip form, dates in ISO form).
#pragma once

#include <cstdint>
#include <string>

#include "host/sql.hpp"

namespace nrw::testing {

struct TableDigest {
  int64_t rows = 0;
  uint64_t hash = 0;
  bool operator==(const TableDigest&) const = default;
};

TableDigest DigestTable(TSQLConnection& connection, const std::string& table,
                        const std::string& order_by);

}  // namespace nrw::testing
