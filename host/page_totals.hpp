// Page counts known before drawing, for "Página n de N": a pagination pass prints the whole
// report to a sink that keeps nothing but the page numbers its headers show, and the drawing pass
// reads the counts from the engine. Only one number per page is kept, never the document.
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

  // N for engine page `page` (0 when unknown).
  int32_t RunTotal(int32_t page) const;
};

// The pagination pass's sink: prints nothing.
class NRW_API TPageCountSink : public TSectionSink {
 public:
  void BeginPage(int32_t page) override;
  void PrintHeader(int32_t page, const std::vector<TPrintedField>& fields, int32_t title_size,
                   int32_t text_size) override;
  void PrintSection(int32_t, int32_t, const std::vector<TPrintedField>&) override {}
  const TPageTotals& Totals() const { return totals_; }

 private:
  TPageTotals totals_;
  int32_t last_number_ = 0;
};
