// The per-line work of the report: formatting an amount, parsing a filter, one printed section
// through the engine and the text renderer, and the whole listing per tax line (the module's
// Imprimir on a generated month, with nothing rendered and with text).
#include <benchmark/benchmark.h>
#include <dlfcn.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>

#include "host/library.hpp"
#include "host/renderers.hpp"
#include "host/report.hpp"
#include "host/sql.hpp"
#include "host/sysutils.hpp"
#include "runtime/filter_parser.hpp"
#include "schema/demo_generator.hpp"

namespace {

void BM_FormatFloat(benchmark::State& state) {
  double value = 1234567.891;
  for (auto _ : state) {
    benchmark::DoNotOptimize(FormatFloat("#,##0.00", value));
    value += 0.37;
  }
}
BENCHMARK(BM_FormatFloat);

// The text of a real column's value, as a group key or a sheet cell takes it.
void BM_FloatToStr(benchmark::State& state) {
  double value = 1234567.891;
  std::string text;
  for (auto _ : state) {
    text.clear();
    AppendFloatToStr(value, text);
    benchmark::DoNotOptimize(text.data());
    value += 0.37;
  }
}
BENCHMARK(BM_FloatToStr);

void BM_ParseFilter(benchmark::State& state) {
  const std::vector<TFieldDef> fields = {{"VALORPIS", TFieldType::Float},
                                         {"VALORCOFINS", TFieldType::Float},
                                         {"BASEPISCOFINS", TFieldType::Float},
                                         {"ESPECIENF", TFieldType::String}};
  for (auto _ : state) {
    benchmark::DoNotOptimize(
        nrw::ParseFilter("(VALORPIS <> 0) or (VALORCOFINS <> 0) or (BASEPISCOFINS <> 0) and "
                         "Upper(ESPECIENF) = 'NFE'",
                         fields));
  }
}
BENCHMARK(BM_ParseFilter);

// A document line: twelve fields set by name, the section printed and drawn as text.
void BM_PrintedLine(benchmark::State& state) {
  TReportLayout layout;
  TLayoutSection band = TLayoutSection::Of(1, {});
  layout.AddSection(band);
  std::vector<std::string> names = {"RDataLctoFis",   "RChaveLctoFis", "RNumeroNF", "RSerieNF",
                                    "REspecieNF",     "RCodigoCFOP",   "RTipo",     "RAliquota",
                                    "RValorContabil", "RBaseCalculo",  "RValor",    "ROutras"};
  TLayoutSection line = TLayoutSection::Of(13, names);
  line.height = 4;
  for (size_t i = 0; i < names.size(); ++i) {
    line.field_items.push_back(
        {names[i], 5.0 + 22.0 * static_cast<double>(i), 0, 21, TLayoutAlign::Right, false});
  }
  layout.AddSection(line);
  auto engine = std::make_unique<TnrwReport>();
  engine->SetLayout(layout);
  std::ostringstream out;
  auto renderer = CreateRenderer("text", out, engine->Layout());
  engine->AddSink(renderer.get());
  int64_t n = 0;
  for (auto _ : state) {
    for (const std::string& name : names) {
      engine->RepParam(name, FormatFloat("#,##0.00", static_cast<double>(n) * 1.37));
    }
    engine->RepPrintSection(13);
    if (++n % 4096 == 0) {
      out.str("");
    }
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_PrintedLine);

// The text renderer alone: a section of twelve fields drawn as a line, one of them with an
// accent when the argument is 1 (as a fifth of a month's lines have one somewhere).
void BM_TextLine(benchmark::State& state) {
  const bool accent = state.range(0) == 1;
  TReportLayout layout;
  std::vector<TPrintedField> fields;
  TLayoutSection line = TLayoutSection::Of(13, {});
  line.height = 4;
  for (int i = 0; i < 12; ++i) {
    const std::string name = "F" + std::to_string(i);
    line.fields.push_back(name);
    line.field_items.push_back({name, 5.0 + 22.0 * i, 0, 21,
                                i % 2 == 0 ? TLayoutAlign::Right : TLayoutAlign::Left, false});
    fields.push_back({name, i == 3 ? (accent ? "Observação" : "Observacao")
                                   : FormatFloat("#,##0.00", 1234.5 * i)});
  }
  line.rules.push_back({0, 270, 0});
  layout.AddSection(line);
  std::ostringstream out;
  auto renderer = CreateRenderer("text", out, layout);
  int64_t n = 0;
  for (auto _ : state) {
    renderer->PrintSection(1, 13, fields);
    if (++n % 4096 == 0) {
      out.str("");
    }
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_TextLine)->Arg(0)->Arg(1);

// A section sink that draws nothing.
class NullSink : public TSectionSink {
 public:
  void PrintSection(int32_t, int32_t, const std::vector<TPrintedField>&) override {}
};

// The whole report of one establishment's generated month, per tax line.
void BM_ListingPerTaxLine(benchmark::State& state) {
  const bool text = state.range(0) == 1;
  const std::string file = (std::filesystem::temp_directory_path() /
                            ("nrw-bench-listing-" + std::to_string(getpid()) + ".db"))
                               .string();
  std::filesystem::remove(file);
  {
    auto db = OpenConnection(file, true);
    nrw::schema::DemoOptions options;
    options.documents = 40'000;
    options.companies = 1;
    options.establishments = 1;
    nrw::schema::CreateDemoDatabase(*db, options);
  }
  Nutildb::SetConexaoPadrao(OpenConnection(file, false));
  int64_t lines = 0;
  {
    auto count = Nutildb::ExecutarSQL(
        "select (select count(*) from LCTOFISENTIMPOSTO) + (select count(*) from "
        "LCTOFISSAIIMPOSTO) N",
        {}, true, true, -1, "", nullptr, true);
    lines = count->GetInteger(0);
    delete count;
  }
  const HMODULE module = SafeLoadLibrary(NRW_MODULE_PATH, 0);
  auto imprimir =
      reinterpret_cast<void (*)(int32_t)>(dlsym(reinterpret_cast<void*>(module), "Imprimir"));
  const TReportLayout layout = LoadLayoutFile(NRW_LAYOUT_PATH);
  for (auto _ : state) {
    auto engine = std::make_unique<TnrwReport>();
    engine->SetLayout(layout);
    for (const auto& [name, value] :
         std::vector<std::pair<const char*, const char*>>{{"pDataInicial", "01/01/2026"},
                                                          {"pDataFinal", "31/01/2026"},
                                                          {"pTipoMovimento", "12"},
                                                          {"pTipoImposto", "1;2;10;11;12;13;15"},
                                                          {"pListarOutrasInfo", "1"},
                                                          {"pTotalizar", "4"}}) {
      engine->RepParam(name, value);
    }
    engine->Estabelecimentos()->Append();
    engine->Estabelecimentos()->SetValue(0, 1);
    engine->Estabelecimentos()->SetValue(1, 1);
    engine->Estabelecimentos()->Post();
    std::ofstream devnull("/dev/null");
    NullSink null_sink;
    std::unique_ptr<TSectionSink> renderer =
        text ? CreateRenderer("text", devnull, engine->Layout()) : nullptr;
    engine->AddSink(text ? renderer.get() : &null_sink);
    imprimir(ReportAddressAsInt32(engine.get()));
    engine->EndReport();
  }
  state.SetItemsProcessed(state.iterations() * lines);
  state.counters["tax_lines"] = static_cast<double>(lines);
  Nutildb::SetConexaoPadrao(nullptr);
  FreeLibrary(module);
  std::filesystem::remove(file);
}
BENCHMARK(BM_ListingPerTaxLine)
    ->ArgName("text")
    ->Arg(0)
    ->Arg(1)
    ->Unit(benchmark::kMillisecond)
    ->Iterations(3);

}  // namespace
