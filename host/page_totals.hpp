// Page counts known before drawing, for "Página n de N": a pagination pass prints the whole
// report to a sink that keeps nothing but the page numbers its headers show (and to a recording
// on disk, see recorded_sections.hpp); the output is drawn once the counts are known. Only one
// number per page is kept in memory, never the document.
#pragma once

#include <cstdint>
#include <vector>

#include "host/export.hpp"
#include "host/section_sink.hpp"

struct NRW_API TPageTotals {
  // For every page (index: engine page - 1), its numbering run (an establishment's pages when
  // numbering restarts for each establishment); -1 for a page without a numbered header.
  std::vector<int32_t> page_run;
  // For every run, the number its last page shows.
  std::vector<int32_t> run_last;
  int32_t pages = 0;  // the report's page count; 0: not counted
  // The counts are being made by this very run: headers leave " de N" to CompleteHeader.
  bool pending = false;

  // N for engine page `page` (0 when unknown).
  int32_t RunTotal(int32_t page) const;
  // Completes a page header's numbers: "Pagina" n -> "n de N", "Folha" k -> "k de K" (the whole
  // report's pages); a "Folha" is dropped from a page that no run counts.
  void CompleteHeader(int32_t page, std::vector<TPrintedField>& fields) const;
};

// The pagination pass's sink: prints nothing.
class NRW_API TPageCountSink : public TSectionSink {
 public:
  void BeginPage(int32_t page) override;
  void PrintHeader(int32_t page, const std::vector<TPrintedField>& fields, int32_t title_size,
                   int32_t text_size) override;
  void PrintSection(int32_t, int32_t, const std::vector<TPrintedField>&) override {}
  // It reads no section's values.
  bool TakesNumbers() const override { return true; }
  bool TakesValues() const override { return true; }
  const TPageTotals& Totals() const { return totals_; }

 private:
  TPageTotals totals_;
  int32_t last_number_ = 0;
};
