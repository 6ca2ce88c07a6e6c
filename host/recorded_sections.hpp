// The pagination pass's recording: every call the report's run makes on its sinks, written to a
// temporary file in blocks, and replayed into the output once the run has counted its pages, with
// each page header completed ("Página n de N"). The report is listed once and drawn once, from
// one read of the database; memory holds one block of calls.
#pragma once

#include <cstdio>
#include <string>

#include "host/block_sink.hpp"
#include "host/export.hpp"
#include "host/page_totals.hpp"
#include "host/progress.hpp"

class NRW_API TRecordedSections : public TBlockSink {
 public:
  // Creates the temporary file (removed by the destructor, or on an interrupting signal).
  TRecordedSections();
  ~TRecordedSections() override;

  // Replays the recorded calls, in order, into `target` (whose Finish ends the replay), each
  // page header completed with `totals`. A `progress` view shows the drawing as a stage of its
  // own, hidden again at the end.
  void Replay(TSectionSink& target, const TPageTotals& totals, TProgressView* progress = nullptr);

 protected:
  // Writes a block to the file.
  void HandOver(std::string& block) override;
  // Makes sure the file holds every block.
  void Finished() override;

 private:
  std::string path_;
  std::FILE* file_ = nullptr;
};
