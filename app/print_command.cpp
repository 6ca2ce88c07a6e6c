// nrw-report print: loads the report module, prepares a report engine with the layout, the
// parameters and establishments of the command line, connects to the company database and calls
// the module's Imprimir with the engine's address as a 32-bit integer, exactly as the host
// application does; then writes the output.
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
#include "app/report_parameters.hpp"
#include "app/report_sheet.hpp"
#include "app/terminal_progress.hpp"
#include "host/background_sink.hpp"
#include "host/base_dll.hpp"
#include "host/exception.hpp"
#include "host/fiscal_provider.hpp"
#include "host/library.hpp"
#include "host/output_file.hpp"
#include "host/page_totals.hpp"
#include "host/recorded_sections.hpp"
#include "host/renderers.hpp"
#include "host/report.hpp"
#include "host/report_layout.hpp"
#include "host/sheet_export.hpp"
#include "host/sql.hpp"
#include "host/sysutils.hpp"

namespace nrw::app {
namespace {

const char* const kModuleName = "libnFisORResumoConfLctoFis.so";
constexpr size_t kProgressWidth = 80;

using ImprimirFn = void (*)(int32_t);
using ClassDllFn = const TnrwBaseDllClass* (*)();

// The program's installation folder: the parent of its bin/ folder.
std::string InstallRoot() {
  char buffer[PATH_MAX];
  const ssize_t length = readlink("/proc/self/exe", buffer, sizeof buffer - 1);
  if (length <= 0) {
    return ".";
  }
  const std::string exe(buffer, static_cast<size_t>(length));
  const std::string bin_dir = exe.substr(0, exe.find_last_of('/'));
  return bin_dir.substr(0, bin_dir.find_last_of('/'));
}

struct PrintOptions {
  std::string module_path = InstallRoot() + "/lib/" + kModuleName;
  std::string layout = InstallRoot() + "/share/nrw-report/layouts/ResumoConfLctoFis.json";
  std::string database = "out/demo.db";
  std::string storage = "memory";
  std::string format = "sections";
  std::string output;
  std::vector<std::string> sets;
  std::string params_file;
  std::vector<std::string> estabs;
  FriendlyOptions friendly;
  bool quiet = false;
  std::string page_total = "auto";  // "Página n de N": yes, no, or auto (for PDF only)
};

std::pair<std::string, std::string> Assignment(const std::string& text, const std::string& where) {
  const size_t equals = text.find('=');
  if (equals == std::string::npos || equals == 0) {
    throw Exception(where + ": expected NAME=VALUE, got '" + text + "'");
  }
  const std::string name = Trim(text.substr(0, equals));
  const ReportParameter* known = KnownParameter(name);
  if (known == nullptr) {
    throw Exception(where + ": unknown report parameter '" + name +
                    "' (nrw-report print --help lists them)");
  }
  const std::string value = text.substr(equals + 1);
  CheckParameterValue(*known, value, where);
  return {known->name, value};
}

// Friendly options first, then the parameter file, then --set: the raw texts win.
std::map<std::string, std::string> CollectParameters(const PrintOptions& options) {
  std::map<std::string, std::string> params = TranslateFriendly(options.friendly);
  if (!options.params_file.empty()) {
    std::ifstream in(options.params_file);
    if (!in) {
      throw Exception("cannot read the parameter file '" + options.params_file + "'");
    }
    std::string line;
    for (int number = 1; std::getline(in, line); ++number) {
      if (!Trim(line).empty() && Trim(line)[0] != '#') {
        const auto [name, value] =
            Assignment(line, options.params_file + ", line " + std::to_string(number));
        params[name] = value;
      }
    }
  }
  for (const std::string& set : options.sets) {
    const auto [name, value] = Assignment(set, "--set");
    params[name] = value;
  }
  return params;
}

std::vector<std::pair<int32_t, int32_t>> Establishments(const PrintOptions& options) {
  std::vector<std::pair<int32_t, int32_t>> list;
  for (const std::string& text : options.estabs) {
    const size_t colon = text.find(':');
    const auto company =
        colon == std::string::npos ? std::nullopt : TryStrToInt(text.substr(0, colon));
    const auto estab =
        colon == std::string::npos ? std::nullopt : TryStrToInt(text.substr(colon + 1));
    if (!company || !estab) {
      throw Exception("--estab: expected COMPANY:ESTAB, got '" + text + "'");
    }
    list.emplace_back(*company, *estab);
  }
  if (list.empty()) {
    // Every establishment of the company database, in company and establishment order.
    std::unique_ptr<TnClientDataSet> all(Nutildb::ExecutarSQL(
        "select CODIGOEMPRESA, CODIGOESTAB from ESTAB order by CODIGOEMPRESA, CODIGOESTAB", {},
        true, true, -1, "", nullptr, true));
    for (all->First(); !all->Eof(); all->Next()) {
      list.emplace_back(static_cast<int32_t>(all->GetInteger(0)),
                        static_cast<int32_t>(all->GetInteger(1)));
    }
  }
  return list;
}

// The module's two exports: the entry point, and the report class, whose layout contract a
// layout file is checked against before anything is read or written.
struct ReportModule {
  ImprimirFn imprimir = nullptr;
  const TLayoutContract* contract = nullptr;
};

ReportModule LoadModule(const std::string& path) {
  const HMODULE module = SafeLoadLibrary(path, SEM_NOOPENFILEERRORBOX);
  if (module == 0) {
    throw Exception("cannot load the report module '" + path + "': " + LastLibraryError());
  }
  void* handle = reinterpret_cast<void*>(module);
  ReportModule loaded;
  loaded.imprimir = reinterpret_cast<ImprimirFn>(dlsym(handle, "Imprimir"));
  if (loaded.imprimir == nullptr) {
    throw Exception("the module '" + path + "' has no Imprimir export");
  }
  if (auto class_dll = reinterpret_cast<ClassDllFn>(dlsym(handle, "ClassDll"))) {
    if (const TnrwBaseDllClass* report_class = class_dll()) {
      loaded.contract = report_class->LayoutContract();
    }
  }
  return loaded;
}

// What the passes of a run print from, read once: the layout (checked against the report's
// contract), the report parameters and the establishments.
struct RunInput {
  TReportLayout layout;
  std::map<std::string, std::string> parameters;
  std::vector<std::pair<int32_t, int32_t>> establishments;
};

RunInput ReadRunInput(const PrintOptions& options, const TLayoutContract* contract) {
  RunInput input;
  input.layout = LoadLayoutFile(options.layout);
  if (contract != nullptr) {
    CheckLayoutContract(input.layout, *contract, options.layout);
  }
  input.parameters = CollectParameters(options);
  input.establishments = Establishments(options);
  return input;
}

void PrepareEngine(TnrwReport& engine, const RunInput& input) {
  engine.SetLayout(input.layout);
  engine.RepParam("TituloRelatorio", engine.Layout().title);
  for (const auto& [name, value] : input.parameters) {
    engine.RepParam(name, value);
  }
  // A fixed emission time makes two runs of the same report print the same header.
  if (const char* epoch = std::getenv("SOURCE_DATE_EPOCH")) {
    if (const auto seconds = TryStrToInt(epoch)) {
      engine.SetDataHoraEmissao(UnixToDateTime(*seconds));
    }
  }
  TnClientDataSetMem* table = engine.Estabelecimentos();
  for (const auto& [company, estab] : input.establishments) {
    table->Append();
    table->SetValue(0, company);
    table->SetValue(1, estab);
    table->Post();
  }
}

std::unique_ptr<TSectionSink> CreateSink(const PrintOptions& options, TAtomicOutputFile* file,
                                         const TReportLayout& layout) {
  std::ostream& out = file != nullptr ? file->Stream() : std::cout;
  if (options.format == "csv" || options.format == "xlsx") {
    TSheetOptions sheet;
    sheet.notice = [](const std::string& text) { std::cerr << "nrw-report: " << text << "\n"; };
    return CreateSheetRenderer(options.format, out, file != nullptr ? file->TemporaryPath() : "",
                               layout, ReportSheetMapping(), sheet);
  }
  return CreateRenderer(options.format, out, layout);
}

bool WantsPageTotals(const PrintOptions& options) {
  if (options.page_total == "auto") {
    return options.format == "pdf";
  }
  return options.page_total == "yes";
}

int RunPrint(const PrintOptions& options) {
  if ((options.format == "pdf" || options.format == "xlsx") && options.output.empty()) {
    throw Exception("--format " + options.format + " needs --output FILE");
  }
  const ReportModule module = LoadModule(options.module_path);
  Nutildb::SetConexaoPadrao(OpenConnection(options.database, false));
  SetUsarSQLitePadrao(options.storage == "sqlite");
  std::unique_ptr<TerminalProgress> progress;
  if (!options.quiet && isatty(STDERR_FILENO)) {
    progress = std::make_unique<TerminalProgress>(std::cerr, TerminalProgress::SteadyClock(),
                                                  kProgressWidth);
  }
  // The output file first: a folder that cannot be written stops the run before any work.
  std::unique_ptr<TAtomicOutputFile> file;
  if (!options.output.empty()) {
    file = std::make_unique<TAtomicOutputFile>(options.output);
  }
  const RunInput input = ReadRunInput(options, module.contract);
  auto engine = std::make_unique<TnrwReport>();
  PrepareEngine(*engine, input);
  engine->DMPower()->SetView(progress.get());
  if (WantsPageTotals(options)) {
    // The pagination pass: the report runs once, to a sink that counts its pages and to a
    // recording on disk; the output is drawn from the recording with the counts.
    TPageTotals pending;
    pending.pending = true;
    engine->SetPageTotals(std::move(pending));
    TPageCountSink counter;
    TRecordedSections recording;
    engine->AddSink(&counter);
    engine->AddSink(&recording);
    module.imprimir(ReportAddressAsInt32(engine.get()));
    engine->EndReport();
    std::unique_ptr<TSectionSink> sink = CreateSink(options, file.get(), engine->Layout());
    recording.Replay(*sink, counter.Totals(), progress.get());
  } else {
    std::unique_ptr<TSectionSink> sink = CreateSink(options, file.get(), engine->Layout());
    // The output is drawn and written on a second thread while the report lists.
    TBackgroundSink background(*sink);
    engine->AddSink(&background);
    module.imprimir(ReportAddressAsInt32(engine.get()));
    engine->EndReport();
  }
  if (file) {
    file->Commit();
  }
  return 0;
}

}  // namespace

std::function<int()> AddPrintCommand(CLI::App& app) {
  auto o = std::make_shared<PrintOptions>();
  CLI::App* print = app.add_subcommand("print", "print the report for the given parameters");
  print->footer(ReportParametersHelp());
  print->add_option("--db", o->database, "company database: SQLite file or postgresql:// URL")
      ->capture_default_str();
  print->add_option("--set", o->sets,
                    "report parameter NAME=VALUE (repeatable; wins over the options below)");
  print->add_option("--params", o->params_file, "file of NAME=VALUE lines");
  print->add_option("--estab", o->estabs,
                    "establishment COMPANY:ESTAB (repeatable; default: every one in ESTAB)");
  print->add_option("--from", o->friendly.from, "first date (dd/mm/yyyy)");
  print->add_option("--to", o->friendly.to, "last date (dd/mm/yyyy)");
  print->add_option("--from-time", o->friendly.from_time,
                    "start time HH:MM (period by date and time)");
  print->add_option("--to-time", o->friendly.to_time, "end time HH:MM (period by date and time)");
  print->add_flag("--entries", o->friendly.entries, "list entries");
  print->add_flag("--exits", o->friendly.exits, "list exits");
  print->add_option("--taxes", o->friendly.taxes,
                    "taxes: icms,iss,ipi,funrural,complementar,st,pis");
  print->add_option("--summary", o->friendly.summary, "summary after the listing: cfop or day");
  print->add_option("--order", o->friendly.order, "order 1 to 5 (see pOrdenacao)")
      ->check(CLI::Range(1, 5));
  print->add_option("--species", o->friendly.species, "document species");
  print->add_option("--keys", o->friendly.keys, "entry key range FIRST-LAST");
  print
      ->add_option("--format", o->format,
                   "output: pdf, text, sections (one JSON object per printed section), csv or "
                   "xlsx (one row per printed line)")
      ->check(CLI::IsMember({"sections", "text", "pdf", "csv", "xlsx"}))
      ->capture_default_str();
  print->add_option("--output", o->output,
                    "output file (default: standard output for text, sections and csv)");
  print->add_option("--layout", o->layout, "layout file")->capture_default_str();
  print
      ->add_option("--storage", o->storage,
                   "where the data provider keeps its results: memory or sqlite")
      ->check(CLI::IsMember({"memory", "sqlite"}))
      ->capture_default_str();
  print->add_option("--module", o->module_path, "report module library (name or path)");
  print
      ->add_option("--page-total", o->page_total,
                   "\"Página n de N\" in the header, counted by a pagination pass over the "
                   "whole report before drawing: yes, no, or auto (for pdf)")
      ->check(CLI::IsMember({"auto", "yes", "no"}))
      ->capture_default_str();
  print->add_flag("--quiet", o->quiet, "no progress line");
  return [o] { return RunPrint(*o); };
}

}  // namespace nrw::app
