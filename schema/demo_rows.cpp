#include "schema/demo_rows.hpp"

#include "host/exception.hpp"
#include "schema/company_schema.hpp"

namespace nrw::schema {

void DemoRows::Add(const std::string& table, std::vector<Variant> row) {
  RowColumns(table);  // a table without a column list is refused before any row is kept
  pending_[table].push_back(std::move(row));
  ++counts_[table];
  ++buffered_;
}

void DemoRows::Flush(bool force) {
  if (!force && buffered_ < kChunkRows) {
    return;
  }
  for (auto& [table, rows] : pending_) {
    if (rows.empty()) {
      continue;
    }
    WriteRows(connection_, table, rows);
    rows.clear();
  }
  buffered_ = 0;
}

int64_t DemoRows::Count(const std::string& table) const {
  const auto it = counts_.find(table);
  return it == counts_.end() ? 0 : it->second;
}

}  // namespace nrw::schema
