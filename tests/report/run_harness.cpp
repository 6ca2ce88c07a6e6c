#include "tests/report/run_harness.hpp"

#include <algorithm>
#include <sstream>

#include "host/fiscal_provider.hpp"
#include "module/module_entry.hpp"
#include "report/resumo_conf_lcto_fis.hpp"
#include "tests/runtime/fiscal_fixture.hpp"

namespace nfis::testing {

TReportLayout ReportLayout(const std::vector<int32_t>& without) {
  const std::vector<std::string> kTax = {"RCodigoCFOP",  "RTipo",  "RAliquota", "RValorContabil",
                                         "RBaseCalculo", "RValor", "RIsentas",  "ROutras"};
  std::vector<std::string> document = {"RDataLctoFis", "RDataEmissao", "RChaveLctoFis",
                                       "RNumeroNF",    "RSerieNF",     "REspecieNF",
                                       "RPessoa",      "RUF",          "RModelo"};
  document.insert(document.end(), kTax.begin(), kTax.end());
  const std::map<int32_t, std::vector<std::string>> sections = {
      {1, {}},
      {9, {}},
      {10, {}},
      {11, {}},
      {12, {"RTexto"}},
      {13, document},
      {14, {"RTexto", "RTipo", "RValorContabil", "RBaseCalculo", "RValor", "RIsentas", "ROutras"}},
      {15, {}},
      {16, {"RTexto", "RValor", "RTexto2", "RValor2"}},
      {17,
       {"pSeq", "pProduto", "pClassificacao", "pQtde", "pValUnit", "pValTotal", "pVlrPis",
        "pVlrCofins"}},
      {18, {"RNatureza"}},
      {19, {"CTexto"}}};
  TReportLayout layout;
  for (const auto& [number, fields] : sections) {
    if (std::find(without.begin(), without.end(), number) == without.end()) {
      layout.AddSection({number, fields});
    }
  }
  return layout;
}

namespace {
std::string Line(const TRecordingSink::Entry& e) {
  std::string line =
      "p" + std::to_string(e.page) + " " +
      (e.section == kHeaderSection ? std::string("header") : std::to_string(e.section));
  for (const TPrintedField& f : e.fields) {
    if (!f.value.empty()) {
      line += " " + f.name + "=" + f.value;
    }
  }
  return line;
}
}  // namespace

std::string Trace(const TRecordingSink& sink) {
  std::string trace;
  for (const auto& e : sink.Entries()) {
    trace += Line(e) + "\n";
  }
  return trace;
}

std::vector<std::string> TraceOf(const TRecordingSink& sink, int32_t section) {
  std::vector<std::string> lines;
  for (const auto& e : sink.Entries()) {
    if (e.section == section) {
      lines.push_back(Line(e));
    }
  }
  return lines;
}

std::unique_ptr<ReportRun> ReportRun::Open(nrw::testing::Backend backend) {
  std::unique_ptr<ReportRun> run(new ReportRun);
  run->db_ = nrw::testing::TestDatabase::Open(backend, run->scratch_);
  if (run->db_ == nullptr) {
    return nullptr;
  }
  nrw::testing::BuildFiscalFixture(run->db_->Connection());
  Nutildb::SetConexaoPadrao(OpenConnection(run->db_->Target(), false));
  run->engine_ = std::make_unique<TnrwReport>();
  run->engine_->SetLayout(ReportLayout());
  run->engine_->AddSink(&run->sink_);
  run->engine_->DMPower()->SetView(&run->progress_);
  run->engine_->SetDataHoraEmissao(EncodeDate(2026, 2, 1) + EncodeTime(10, 0, 0));
  return run;
}

ReportRun::~ReportRun() {
  Nutildb::SetConexaoPadrao(nullptr);
}

void ReportRun::SetDefaults() {
  Set("pDataInicial", "01/01/2026");
  Set("pDataFinal", "31/01/2026");
  Set("pTipoMovimento", "12");
  Set("pTipoImposto", "1;2;10;11;12;13;15");
  AddEstab(1, 1);
}

void ReportRun::AddEstab(int company, int estab) {
  TnClientDataSetMem* table = engine_->Estabelecimentos();
  table->Append();
  table->SetValue(0, company);
  table->SetValue(1, estab);
  table->Post();
}

std::string ReportRun::Print(bool sqlite_storage) {
  SetUsarSQLitePadrao(sqlite_storage);
  ModuleEntry module;
  module.Load(TnFisORResumoConfLctoFis::ClassType());
  std::string message;
  try {
    module.Imprimir(ReportAddressAsInt32(engine_.get()));
  } catch (const std::exception& e) {
    message = e.what();
  }
  SetUsarSQLitePadrao(false);
  return message;
}

}  // namespace nfis::testing
