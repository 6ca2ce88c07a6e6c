#include "runtime/background_load.hpp"

#include "host/exception.hpp"
#include "runtime/sqlite_connection.hpp"

namespace nrw {

// Four batches waiting keep the thread busy without holding many rows in memory.
BackgroundLoad::BackgroundLoad(TSQLConnection& connection)
    : connection_(connection), worker_("nrw-load", 4, [this](Batch& batch) { Write(batch); }) {}

BackgroundLoad::~BackgroundLoad() = default;

void BackgroundLoad::Begin(const std::string& name, const std::vector<TFieldDef>& fields) {
  batch_.steps.push_back({Step::Kind::Begin, batch_.definitions.size()});
  batch_.definitions.push_back({name, fields});
}

void BackgroundLoad::Take(std::vector<Variant>& row) {
  // Vectors are exchanged only between rows of one width (a refill may give the table another
  // column): the caller gets back a buffer of the width it gave.
  if (batch_.used == batch_.rows.size()) {
    batch_.rows.push_back(row);
  } else if (batch_.rows[batch_.used].size() == row.size()) {
    batch_.rows[batch_.used].swap(row);
  } else {
    batch_.rows[batch_.used] = row;  // reuses the slot's buffers
  }
  batch_.steps.push_back({Step::Kind::Row, batch_.used++});
  if (batch_.used == kBatchRows) {
    HandOver();
  }
}

void BackgroundLoad::End() {
  batch_.steps.push_back({Step::Kind::End, 0});
}

void BackgroundLoad::Wait() {
  HandOver();
  worker_.Drain();
}

void BackgroundLoad::Discard() {
  worker_.Reset();
  batch_.steps.clear();
  batch_.definitions.clear();
  batch_.used = 0;
  writer_.reset();
}

void BackgroundLoad::HandOver() {
  if (batch_.steps.empty()) {
    return;
  }
  worker_.HandOver(std::move(batch_));
  batch_ = worker_.Take();
}

void BackgroundLoad::Write(Batch& batch) {
  for (const Step& step : batch.steps) {
    switch (step.kind) {
      case Step::Kind::Begin: {
        const Definition& definition = batch.definitions[step.index];
        std::vector<std::string> columns;
        for (const TFieldDef& field : definition.fields) {
          columns.push_back(field.name);
        }
        connection_.ExecuteScript("drop table if exists " + definition.name + "; " +
                                  SqliteCreateTable(definition.name, definition.fields));
        writer_ = connection_.BulkInsert(definition.name, columns);
        break;
      }
      case Step::Kind::Row:
        writer_->Take(batch.rows[step.index]);
        break;
      case Step::Kind::End:
        writer_->Finish();
        writer_.reset();
        break;
    }
  }
  batch.steps.clear();
  batch.definitions.clear();
  batch.used = 0;
}

}  // namespace nrw
