// nrw-report import-efd FILE... --db TARGET: loads EFD ICMS/IPI files into the company
// database (created with its schema when new). Each file is one transaction: a malformed file
// is reported with its line and leaves nothing, and the files before it stay imported.
#include <iostream>
#include <memory>

#include "app/commands.hpp"
#include "host/sql.hpp"
#include "host/sysutils.hpp"
#include "schema/company_schema.hpp"
#include "schema/efd_import.hpp"

namespace nrw::app {
namespace {

struct ImportOptions {
  std::vector<std::string> files;
  std::string database = "out/demo.db";
  std::string reference_dir;
  bool quiet = false;
};

std::string Count(int64_t value) {
  return FormatFloat("#,##0", static_cast<double>(value));
}

int Run(const ImportOptions& options) {
  auto db = OpenConnection(options.database, true);
  efd::EnsureCompanySchema(*db, options.reference_dir);
  for (const std::string& file : options.files) {
    const efd::ImportResult r = efd::ImportEfdFile(*db, file);
    if (!options.quiet) {
      std::cout << "import-efd: " << file << ": company " << r.company << ", establishment "
                << r.establishment << ": " << Count(r.documents) << " documents ("
                << Count(r.cancelled) << " cancelled or voided), " << Count(r.tax_lines)
                << " tax lines, " << Count(r.items) << " items";
      if (r.replaced > 0) {
        std::cout << "; " << Count(r.replaced) << " documents of an earlier import replaced";
      }
      std::cout << "\n";
    }
  }
  return 0;
}

}  // namespace

std::function<int()> AddImportEfdCommand(CLI::App& app) {
  auto options = std::make_shared<ImportOptions>();
  options->reference_dir = schema::DefaultReferenceDir();
  CLI::App* command =
      app.add_subcommand("import-efd", "load EFD ICMS/IPI files into the company database");
  command->add_option("files", options->files, "EFD ICMS/IPI files (Latin-1 text)")
      ->required()
      ->check(CLI::ExistingFile);
  command->add_option("--db", options->database, "SQLite file or postgresql:// URL")
      ->capture_default_str();
  command
      ->add_option("--ref", options->reference_dir,
                   "folder with the national cfop.csv and municipios.csv (new databases)")
      ->capture_default_str();
  command->add_flag("--quiet", options->quiet, "print nothing on success");
  return [options] { return Run(*options); };
}

}  // namespace nrw::app
