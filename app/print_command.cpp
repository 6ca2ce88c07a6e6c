// nrw-report print: loads the report module, prepares a report engine with the parameters and
// establishments of the command line, and calls the module's Imprimir with the engine's address
// as a 32-bit integer, exactly as the host application does.
#include <dlfcn.h>
#include <unistd.h>

#include <climits>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "app/commands.hpp"
#include "app/terminal_progress.hpp"
#include "host/exception.hpp"
#include "host/fiscal_provider.hpp"
#include "host/library.hpp"
#include "host/output_file.hpp"
#include "host/renderers.hpp"
#include "host/report.hpp"
#include "host/report_layout.hpp"
#include "host/sql.hpp"
#include "host/sysutils.hpp"

namespace nrw::app {
namespace {

const char* const kModuleName = "libnFisORResumoConfLctoFis.so";

using ImprimirFn = void (*)(int32_t);

// The library folder beside the program's own bin/ folder.
std::string DefaultModulePath() {
  char buffer[PATH_MAX];
  const ssize_t length = readlink("/proc/self/exe", buffer, sizeof buffer - 1);
  if (length <= 0) {
    return kModuleName;
  }
  std::string exe(buffer, static_cast<size_t>(length));
  const std::string bin_dir = exe.substr(0, exe.find_last_of('/'));
  return bin_dir.substr(0, bin_dir.find_last_of('/')) + "/lib/" + kModuleName;
}

std::pair<std::string, std::string> SplitAssignment(const std::string& text) {
  const size_t equals = text.find('=');
  if (equals == std::string::npos || equals == 0) {
    throw Exception("expected NAME=VALUE, got '" + text + "'");
  }
  return {Trim(text.substr(0, equals)), text.substr(equals + 1)};
}

std::vector<std::pair<std::string, std::string>> ReadParamsFile(const std::string& path) {
  std::ifstream in(path);
  if (!in) {
    throw Exception("cannot read parameter file '" + path + "'");
  }
  std::vector<std::pair<std::string, std::string>> params;
  std::string line;
  while (std::getline(in, line)) {
    if (!Trim(line).empty() && Trim(line)[0] != '#') {
      params.push_back(SplitAssignment(line));
    }
  }
  return params;
}

std::pair<int32_t, int32_t> ParseEstab(const std::string& text) {
  const size_t colon = text.find(':');
  const auto company =
      colon == std::string::npos ? std::nullopt : TryStrToInt(text.substr(0, colon));
  const auto estab =
      colon == std::string::npos ? std::nullopt : TryStrToInt(text.substr(colon + 1));
  if (!company || !estab) {
    throw Exception("expected COMPANY:ESTAB, got '" + text + "'");
  }
  return {*company, *estab};
}

// The shipped layout, installed beside the program (share/nrw-report/layouts).
std::string DefaultLayoutPath() {
  const std::string module = DefaultModulePath();
  const std::string root = module.substr(0, module.rfind("/lib/"));
  return root + "/share/nrw-report/layouts/ResumoConfLctoFis.json";
}

struct PrintOptions {
  std::string module_path = DefaultModulePath();
  std::string layout = DefaultLayoutPath();
  std::string format = "sections";
  std::string output;
  std::string database = "out/demo.db";
  std::string storage = "memory";
  bool quiet = false;
  std::vector<std::string> sets;
  std::string params_file;
  std::vector<std::string> estabs;
};

int RunPrint(const PrintOptions& options) {
  const HMODULE module = SafeLoadLibrary(options.module_path, SEM_NOOPENFILEERRORBOX);
  if (module == 0) {
    throw Exception("cannot load the report module '" + options.module_path +
                    "': " + LastLibraryError());
  }
  auto imprimir = reinterpret_cast<ImprimirFn>(dlsym(reinterpret_cast<void*>(module), "Imprimir"));
  if (imprimir == nullptr) {
    throw Exception("the module '" + options.module_path + "' has no Imprimir export");
  }
  Nutildb::SetConexaoPadrao(OpenConnection(options.database, false));
  SetUsarSQLitePadrao(options.storage == "sqlite");
  auto engine = std::make_unique<TnrwReport>();
  // A fixed emission time makes two runs of the same report print the same header.
  if (const char* epoch = std::getenv("SOURCE_DATE_EPOCH")) {
    if (const auto seconds = TryStrToInt(epoch)) {
      engine->SetDataHoraEmissao(UnixToDateTime(*seconds));
    }
  }
  std::unique_ptr<TerminalProgress> progress;
  if (!options.quiet && isatty(STDERR_FILENO)) {
    progress = std::make_unique<TerminalProgress>(std::cerr, TerminalProgress::SteadyClock(), 80);
    engine->DMPower()->SetView(progress.get());
  }
  if (!options.params_file.empty()) {
    for (const auto& [name, value] : ReadParamsFile(options.params_file)) {
      engine->RepParam(name, value);
    }
  }
  for (const std::string& set : options.sets) {
    const auto [name, value] = SplitAssignment(set);
    engine->RepParam(name, value);
  }
  TnClientDataSetMem* estab = engine->Estabelecimentos();
  for (const std::string& text : options.estabs) {
    const auto [company, establishment] = ParseEstab(text);
    estab->Append();
    estab->SetValue(0, company);
    estab->SetValue(1, establishment);
    estab->Post();
  }
  engine->SetLayout(LoadLayoutFile(options.layout));
  engine->RepParam("TituloRelatorio", engine->Layout().title);
  std::unique_ptr<TAtomicOutputFile> file;
  if (!options.output.empty()) {
    file = std::make_unique<TAtomicOutputFile>(options.output);
  }
  if (options.format == "pdf" && !file) {
    throw Exception("--format pdf needs --output FILE");
  }
  std::unique_ptr<TSectionSink> sink =
      CreateRenderer(options.format, file ? file->Stream() : std::cout, engine->Layout());
  engine->AddSink(sink.get());
  imprimir(ReportAddressAsInt32(engine.get()));
  engine->EndReport();
  if (file) {
    file->Commit();
  }
  return 0;
}

}  // namespace

std::function<int()> AddPrintCommand(CLI::App& app) {
  auto options = std::make_shared<PrintOptions>();
  CLI::App* print = app.add_subcommand("print", "run the report module for the given parameters");
  print->add_option("--module", options->module_path, "report module library (name or path)");
  print->add_option("--set", options->sets, "report parameter NAME=VALUE (repeatable)");
  print->add_option("--params", options->params_file, "file of NAME=VALUE lines");
  print->add_option("--estab", options->estabs, "establishment COMPANY:ESTAB (repeatable)");
  print->add_option("--db", options->database, "company database: SQLite file or postgresql:// URL")
      ->capture_default_str();
  print->add_option("--storage", options->storage, "where the data provider keeps its results")
      ->check(CLI::IsMember({"memory", "sqlite"}))
      ->capture_default_str();
  print->add_flag("--quiet", options->quiet, "no progress line");
  print->add_option("--layout", options->layout, "layout file")->capture_default_str();
  print
      ->add_option("--format", options->format,
                   "output format: pdf, text, or sections (one JSON object per printed section)")
      ->check(CLI::IsMember({"sections", "text", "pdf"}))
      ->capture_default_str();
  print->add_option("--output", options->output, "output file (default: standard output)");
  return [options] { return RunPrint(*options); };
}

}  // namespace nrw::app
