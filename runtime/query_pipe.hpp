// A query read on a second thread: the database's own work (stepping the statement, copying and
// converting its values) runs beside the caller's work on the rows before (storing them), in
// batches of rows that are reused, so that no row is allocated once the first batches exist.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "host/data_set.hpp"
#include "host/export.hpp"
#include "host/sql.hpp"

namespace nrw {

// Runs `sql` on `connection` from a thread of its own and hands every row, converted to the
// types of `fields`, to `handle` on the calling thread, in the query's order. The connection is
// used by that thread alone until PipeQuery returns. An error of the query or of `handle` ends
// both sides and is raised here; after an error of `handle` the query's remaining rows are
// not read.
NRW_API void PipeQuery(TSQLConnection& connection, const std::string& sql,
                       const TVariantArray& params, const std::vector<TFieldDef>& fields,
                       const std::function<void(std::vector<Variant>&)>& handle);

}  // namespace nrw
