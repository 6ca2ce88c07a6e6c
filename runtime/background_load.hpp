// BackgroundLoad: tables refilled through one SQL connection by a thread of its own
// ("nrw-load"). The caller's thread only puts each row into a batch; the thread creates the
// tables and inserts the rows in the order they came, so the rows keep their order (and SQLite
// its row ids). Nothing else may use the connection from the first Begin until Wait returns.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/sql.hpp"
#include "runtime/ordered_worker.hpp"

namespace nrw {

class NRW_API BackgroundLoad {
 public:
  // `tables` is how many tables may be refilled at the same time, numbered from 0.
  BackgroundLoad(TSQLConnection& connection, int tables);
  ~BackgroundLoad();

  // Creates table `name` anew (dropping one of that name) with these columns, as `table`.
  void Begin(int table, const std::string& name, const std::vector<TFieldDef>& fields);
  // Appends a row (its values already of the columns' types) to `table`. The caller reuses
  // `row` only as a buffer: its values may be exchanged for others that are no longer needed
  // instead of copied.
  void Take(int table, std::vector<Variant>& row);
  // Ends the refill of `table`.
  void End(int table);
  // Waits until everything handed over is written; raises the first failure.
  void Wait();
  // After a failure: waits for the thread, and forgets what waits and the tables being filled.
  void Discard();

 private:
  struct Step {
    enum class Kind { Begin, Row, End } kind;
    int table;
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
  std::vector<std::unique_ptr<TSQLBulkWriter>> writers_;  // on the thread
  Batch batch_;                                           // being filled
  OrderedWorker<Batch> worker_;
};

}  // namespace nrw
