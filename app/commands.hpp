// The subcommands of nrw-report. Each registers its options on the command line and runs.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>

namespace nrw::app {

// Adds the subcommand to `app`; returns what runs it (exit status).
std::function<int()> AddPrintCommand(CLI::App& app);
std::function<int()> AddDemoDbCommand(CLI::App& app);
std::function<int()> AddImportEfdCommand(CLI::App& app);

}  // namespace nrw::app
