#include "host/page_totals.hpp"

#include "host/report_position.hpp"
#include "host/sysutils.hpp"

int32_t TPageTotals::RunTotal(int32_t page) const {
  if (page < 1 || static_cast<size_t>(page) > page_run.size() || page_run[page - 1] < 0) {
    return 0;
  }
  return run_last[static_cast<size_t>(page_run[page - 1])];
}

void TPageTotals::CompleteHeader(int32_t page, std::vector<TPrintedField>& fields) const {
  const int32_t total = RunTotal(page);
  for (auto field = fields.begin(); field != fields.end();) {
    if (field->name == "Folha" && total == 0) {
      field = fields.erase(field);
      continue;
    }
    if (total > 0 && (field->name == "Pagina" || field->name == "Folha")) {
      field->value += " de ";
      field->value += std::to_string(field->name == "Pagina" ? total : pages);
    }
    ++field;
  }
}

void TPageCountSink::BeginPage(int32_t page) {
  totals_.pages = page;
  totals_.page_run.resize(static_cast<size_t>(page), -1);
}

// O(1) per page: the page joins the current run, or a number that does not follow the last one
// starts another run (another establishment); the run's last number is its count.
void TPageCountSink::PrintHeader(int32_t page, const std::vector<TPrintedField>& fields, int32_t,
                                 int32_t) {
  const int32_t number = StrToIntDef(PrintedField(fields, "Pagina"), 0);
  const size_t index = static_cast<size_t>(page) - 1;
  if (page < 1 || number == 0 || index >= totals_.page_run.size()) {
    return;
  }
  if (totals_.run_last.empty() || number != last_number_ + 1) {
    totals_.run_last.push_back(number);
  }
  last_number_ = number;
  totals_.run_last.back() = number;
  totals_.page_run[index] = static_cast<int32_t>(totals_.run_last.size()) - 1;
}
