// Queries read on threads of their own: the database's work (stepping the statement, copying
// and converting its values) runs beside the caller's work on the rows before (storing them),
// in batches of rows that are reused, so that no row is allocated once the first batches exist.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "host/data_set.hpp"
#include "host/export.hpp"
#include "host/sql.hpp"

namespace nrw {

// A query and what becomes of its rows: each row, converted to the types of `fields`, goes to
// `handle`; `done`, when set, runs after the last one.
struct PipedQuery {
  std::string sql;
  TVariantArray params;
  std::vector<TFieldDef> fields;
  std::function<void(std::vector<Variant>&)> handle;
  std::function<void()> done;
  // Further statements with the same columns, whose rows are merged with the first's: each of
  // them, the first included, sorted by its first `merge_keys` columns (numbers), each read on
  // a connection of its own (part k on the lane's part_connections[k]), all at once. `handle`
  // gets the rows of all in that order, an earlier statement's first among equal keys.
  struct Part {
    std::string sql;
    TVariantArray params;
  };
  std::vector<Part> more;
  size_t merge_keys = 0;
};

// Queries run one after the other on one connection, which the lane's thread alone uses until
// PipeQueries returns; a query's further statements run on `part_connections`, as many as the
// lane's query with the most of them.
struct QueryLane {
  TSQLConnection* connection = nullptr;
  std::vector<TSQLConnection*> part_connections;
  std::vector<PipedQuery> queries;
};

// Runs the lanes at once, each from a thread of its own. The calling thread hands the rows to
// their handlers as they arrive, a lane's in its order (a query's rows, its `done`, then the
// next query's rows); handlers therefore never run at the same time. An error of a query or of
// a handler ends every lane and is raised here; the queries' remaining rows are not read.
NRW_API void PipeQueries(std::vector<QueryLane>& lanes);

// One query on one lane.
NRW_API void PipeQuery(TSQLConnection& connection, const std::string& sql,
                       const TVariantArray& params, const std::vector<TFieldDef>& fields,
                       const std::function<void(std::vector<Variant>&)>& handle);

}  // namespace nrw
