// nrw-report: the host program of the fiscal-entries verification summary report.
#include <CLI/CLI.hpp>
#ifdef __GLIBC__
#include <malloc.h>
#endif
#include <csignal>
#include <exception>
#include <iostream>

#include "app/commands.hpp"
#include "host/temp_files.hpp"

namespace {

// A report builds and drops tables of a million rows in 128 KiB chunks: the allocator keeps
// them in its heap for reuse instead of mapping and unmapping each one (every fresh mapping
// costs a page fault per page touched). About 3 s less on a million-line month.
void KeepFreedMemoryForReuse() {
#ifdef __GLIBC__
  constexpr int kMapAbove = 4 << 20;       // allocations above 4 MiB are still mapped apart
  constexpr int kReturnAbove = 256 << 20;  // the heap returns free memory past 256 MiB
  mallopt(M_MMAP_THRESHOLD, kMapAbove);
  mallopt(M_TRIM_THRESHOLD, kReturnAbove);
#endif
}

}  // namespace

int main(int argc, char** argv) {
  KeepFreedMemoryForReuse();
  // An interrupted run leaves no partial output and no temporary database behind.
  RemoveTemporaryFilesOnSignal();
  // Past a file-size limit a write fails like one on a full disk, and is reported, instead of
  // the signal ending the run with a partial file behind.
  std::signal(SIGXFSZ, SIG_IGN);
  CLI::App app{"nrw-report: the fiscal-entries verification summary report"};
  app.require_subcommand(1);
  const auto print = nrw::app::AddPrintCommand(app);
  const auto demo_db = nrw::app::AddDemoDbCommand(app);
  const auto import_efd = nrw::app::AddImportEfdCommand(app);
  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp& e) {
    return app.exit(e);
  } catch (const CLI::CallForAllHelp& e) {
    return app.exit(e);
  } catch (const CLI::ParseError& e) {
    // A bad command line is an error like any other: one message, status 1.
    std::cerr << "nrw-report: " << e.what() << "\n";
    return 1;
  }
  try {
    if (app.got_subcommand("print")) {
      return print();
    }
    if (app.got_subcommand("import-efd")) {
      return import_efd();
    }
    return demo_db();
  } catch (const std::exception& e) {
    std::cerr << "nrw-report: " << e.what() << "\n";
    return 1;
  }
}
