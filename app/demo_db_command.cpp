// nrw-report demo-db TARGET: writes the demo company database. A SQLite file is built beside
// the target and renamed into place, so a failed run leaves no half-written database.
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <iostream>
#include <memory>

#include "app/commands.hpp"
#include "host/exception.hpp"
#include "host/sql.hpp"
#include "host/sysutils.hpp"
#include "schema/demo_generator.hpp"

namespace nrw::app {
namespace {

struct DemoDbOptions {
  std::string target;
  schema::DemoOptions demo;
  bool quiet = false;
};

bool IsPostgres(const std::string& target) {
  return target.rfind("postgresql://", 0) == 0 || target.rfind("postgres://", 0) == 0;
}

schema::DemoCounts WriteSqlite(const DemoDbOptions& options) {
  namespace fs = std::filesystem;
  const std::string partial = options.target + ".partial-" + std::to_string(getpid());
  fs::remove(partial);
  try {
    schema::DemoCounts counts;
    {
      auto connection = OpenConnection(partial, true);
      counts = schema::CreateDemoDatabase(*connection, options.demo);
    }
    fs::rename(partial, options.target);
    return counts;
  } catch (...) {
    std::error_code ignored;
    fs::remove(partial, ignored);
    throw;
  }
}

int Run(const DemoDbOptions& options) {
  const auto start = std::chrono::steady_clock::now();
  schema::DemoCounts counts;
  if (IsPostgres(options.target)) {
    auto connection = OpenConnection(options.target, false);
    counts = schema::CreateDemoDatabase(*connection, options.demo);
  } else {
    counts = WriteSqlite(options);
  }
  const double seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  if (!options.quiet) {
    std::cout << "demo-db: " << FormatFloat("#,##0", static_cast<double>(counts.documents))
              << " documents, " << FormatFloat("#,##0", static_cast<double>(counts.tax_lines))
              << " tax lines, " << FormatFloat("#,##0", static_cast<double>(counts.product_rows))
              << " product items, "
              << FormatFloat("#,##0", static_cast<double>(counts.freight_rows))
              << " freight documents written to " << options.target << " in "
              << FormatFloat("#0.0", seconds) << " s ("
              << (counts.reference.national ? "national" : "shipped")
              << " reference tables: " << counts.reference.cfops << " CFOPs, "
              << counts.reference.municipalities << " municipalities)\n";
  }
  return 0;
}

}  // namespace

std::function<int()> AddDemoDbCommand(CLI::App& app) {
  auto options = std::make_shared<DemoDbOptions>();
  options->demo.reference_dir = schema::DefaultReferenceDir();
  CLI::App* command = app.add_subcommand("demo-db", "write the demo company database");
  command->add_option("target", options->target, "SQLite file or postgresql:// URL")->required();
  command->add_option("--docs", options->demo.documents, "documents in all")
      ->check(CLI::NonNegativeNumber)
      ->capture_default_str();
  command->add_option("--seed", options->demo.seed, "seed of the generator")->capture_default_str();
  command->add_option("--companies", options->demo.companies, "companies")
      ->check(CLI::PositiveNumber)
      ->capture_default_str();
  command->add_option("--estabs", options->demo.establishments, "establishments per company")
      ->check(CLI::PositiveNumber)
      ->capture_default_str();
  command->add_option("--year", options->demo.year, "year of the month")->capture_default_str();
  command->add_option("--month", options->demo.month, "month (1 to 12)")
      ->check(CLI::Range(1, 12))
      ->capture_default_str();
  command
      ->add_option("--ref", options->demo.reference_dir,
                   "folder with the national cfop.csv and municipios.csv (optional)")
      ->capture_default_str();
  command->add_flag("--quiet", options->quiet, "print nothing on success");
  return [options] { return Run(*options); };
}

}  // namespace nrw::app
