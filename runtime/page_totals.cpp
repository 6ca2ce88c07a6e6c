#include "host/page_totals.hpp"

#include "host/report_position.hpp"
#include "host/sysutils.hpp"

int32_t TPageTotals::RunTotal(int32_t page) const {
  return page >= 1 && static_cast<size_t>(page) <= run_last.size() ? run_last[page - 1] : 0;
}

void TPageCountSink::BeginPage(int32_t page) {
  totals_.pages = page;
  totals_.run_last.resize(static_cast<size_t>(page), 0);
}

void TPageCountSink::PrintHeader(int32_t page, const std::vector<TPrintedField>& fields, int32_t,
                                 int32_t) {
  const int32_t number = StrToIntDef(PrintedField(fields, "Pagina"), 0);
  const size_t index = static_cast<size_t>(page) - 1;
  if (page < 1 || number == 0 || index >= totals_.run_last.size()) {
    return;
  }
  // A number that does not follow the last one starts another run (another establishment).
  if (number != last_number_ + 1) {
    run_start_ = index;
  }
  last_number_ = number;
  for (size_t i = run_start_; i <= index; ++i) {
    totals_.run_last[i] = number;
  }
}
