// nrw-report: the host program of the fiscal-entries verification summary report.
#include <CLI/CLI.hpp>
#include <exception>
#include <iostream>

#include "app/commands.hpp"
#include "host/temp_files.hpp"

int main(int argc, char** argv) {
  // An interrupted run leaves no partial output and no temporary database behind.
  RemoveTemporaryFilesOnSignal();
  CLI::App app{"nrw-report: the fiscal-entries verification summary report"};
  app.require_subcommand(1);
  const auto print = nrw::app::AddPrintCommand(app);
  const auto demo_db = nrw::app::AddDemoDbCommand(app);
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
    return demo_db();
  } catch (const std::exception& e) {
    std::cerr << "nrw-report: " << e.what() << "\n";
    return 1;
  }
}
