// Runs the report as the host does (Imprimir on a live engine) on the hand-built books, with the
// report's sections and fields, and renders what was printed as a readable trace.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "host/report.hpp"
#include "host/sql.hpp"
#include "tests/runtime/backends.hpp"

namespace nfis::testing {

// Sections 1 and 9 to 19 with the fields the module fills (without the ones listed in `without`).
TReportLayout ReportLayout(const std::vector<int32_t>& without = {});

// One line per printed section: "p<page> <section> Field=Value ..." (empty values left out).
std::string Trace(const TRecordingSink& sink);
// Only the lines of the given section.
std::vector<std::string> TraceOf(const TRecordingSink& sink, int32_t section);
// Compares a trace with tests/golden/<name>.trace; NRW_UPDATE_GOLDEN=1 rewrites the file.
void ExpectGolden(const std::string& name, const std::string& trace);

class ReportRun {
 public:
  // Opens a database of `backend` holding the hand-built books; null when it is not available.
  static std::unique_ptr<ReportRun> Open(nrw::testing::Backend backend);
  // The same with a generated demo month (2 companies, 2 establishments each) instead.
  static std::unique_ptr<ReportRun> OpenDemo(nrw::testing::Backend backend, int64_t documents);
  ~ReportRun();

  TnrwReport& Engine() { return *engine_; }
  TRecordingSink& Sink() { return sink_; }
  TRecordingProgressView& Progress() { return progress_; }
  TSQLConnection& Connection() { return db_->Connection(); }
  const std::string& Target() const { return db_->Target(); }

  // January 2026, entries and exits, every tax, company 1 establishment 1.
  void SetDefaults();
  // Documents for the listing's edge cases (keys 11, 13, 15 and an operation line on key 1).
  void AddListingCases();
  void Set(const std::string& name, const std::string& value) { engine_->RepParam(name, value); }
  void AddEstab(int company, int estab);
  // Runs Imprimir; "" on success, else the message that reached the host.
  std::string Print(bool sqlite_storage = false);

 private:
  ReportRun() = default;
  static std::unique_ptr<ReportRun> OpenWith(nrw::testing::Backend backend,
                                             const std::function<void(TSQLConnection&)>& build);
  nrw::testing::ScratchDir scratch_;
  std::unique_ptr<nrw::testing::TestDatabase> db_;
  std::unique_ptr<TnrwReport> engine_;
  TRecordingSink sink_;
  TRecordingProgressView progress_;
};

}  // namespace nfis::testing
