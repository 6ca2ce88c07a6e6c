// BackgroundLoad: a table refilled through one SQL connection by a thread of its own
// ("nrw-load"). The caller's thread only puts each row into a batch; the thread creates the
// table and inserts the rows in the order they came, so the rows keep their order (and SQLite
// its row ids). Nothing else may use the connection from Begin until Wait returns.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/sql.hpp"
#include "runtime/ordered_worker.hpp"

namespace nrw {

class NRW_API BackgroundLoad {
 public:
  explicit BackgroundLoad(TSQLConnection& connection);
  ~BackgroundLoad();

  // Creates table `name` anew (dropping one of that name) with these columns.
  void Begin(const std::string& name, const std::vector<TFieldDef>& fields);
  // Appends a row (its values already of the columns' types) to the table. The caller reuses
  // `row` only as a buffer: its values may be exchanged for others that are no longer needed
  // instead of copied.
  void Take(std::vector<Variant>& row);
  // Ends the table's refill.
  void End();
  // Waits until everything handed over is written; raises the first failure.
  void Wait();
  // After a failure: waits for the thread, and forgets what waits and the table being filled.
  void Discard();

 private:
  struct Step {
    enum class Kind { Begin, Row, End } kind;
    size_t index;  // into the batch's rows (Row) or definitions (Begin)
  };
  struct Definition {
    std::string name;
    std::vector<TFieldDef> fields;
  };
  struct Batch {
    std::vector<Step> steps;
    std::vector<std::vector<Variant>> rows;  // the first `used` hold this batch's rows
    size_t used = 0;
    std::vector<Definition> definitions;
  };
  static constexpr size_t kBatchRows = 2048;

  void Write(Batch& batch);  // on the thread
  void HandOver();

  TSQLConnection& connection_;
  std::unique_ptr<TSQLBulkWriter> writer_;  // on the thread
  Batch batch_;                             // being filled
  OrderedWorker<Batch> worker_;
};

}  // namespace nrw
