// The pagination pass's recording: every call the report's run makes on its sinks, written to a
// temporary file in blocks, and replayed into the output once the run has counted its pages, with
// each page header completed ("Página n de N"). The report is listed once and drawn once, from
// one read of the database; memory holds one block of calls.
#pragma once

#include <cstdio>
#include <memory>
#include <string>

#include "host/export.hpp"
#include "host/page_totals.hpp"
#include "host/progress.hpp"
#include "host/section_sink.hpp"

namespace nrw::section_calls {
class Encoder;
}

class NRW_API TRecordedSections : public TSectionSink {
 public:
  // Creates the temporary file (removed by the destructor, or on an interrupting signal).
  TRecordedSections();
  ~TRecordedSections() override;
  TRecordedSections(const TRecordedSections&) = delete;
  TRecordedSections& operator=(const TRecordedSections&) = delete;

  void SetStyle(const TSectionStyle& style) override;
  void BeginPage(int32_t page) override;
  void PrintHeader(int32_t page, const std::vector<TPrintedField>& fields, int32_t title_size,
                   int32_t text_size) override;
  void PrintSection(int32_t page, int32_t section,
                    const std::vector<TPrintedField>& fields) override;
  void EndPage(int32_t page) override;
  // Records the end of the report and writes what is left.
  void Finish() override;

  // Replays the recorded calls, in order, into `target` (whose Finish ends the replay), each
  // page header completed with `totals`. A `progress` view shows the drawing as a stage of its
  // own, hidden again at the end.
  void Replay(TSectionSink& target, const TPageTotals& totals, TProgressView* progress = nullptr);

 private:
  void WriteIfFull();
  void Write();

  std::string path_;
  std::FILE* file_ = nullptr;
  std::string block_;
  std::unique_ptr<nrw::section_calls::Encoder> encoder_;
};
