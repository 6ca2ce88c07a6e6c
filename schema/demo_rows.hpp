// Rows of the demo database, buffered per table and written in chunks (PostgreSQL takes one
// COPY at a time per connection, so tables are written one after the other per chunk).
#pragma once

#include <map>
#include <string>
#include <vector>

#include "host/sql.hpp"

namespace nrw::schema {

class DemoRows {
 public:
  explicit DemoRows(TSQLConnection& connection) : connection_(connection) {}

  void Add(const std::string& table, std::vector<Variant> row);
  // Writes what is buffered when it is past the chunk size (or always, with force).
  void Flush(bool force);
  int64_t Count(const std::string& table) const;

 private:
  static constexpr size_t kChunkRows = 50000;
  TSQLConnection& connection_;
  std::map<std::string, std::vector<std::vector<Variant>>> pending_;
  std::map<std::string, int64_t> counts_;
  size_t buffered_ = 0;
};

}  // namespace nrw::schema
