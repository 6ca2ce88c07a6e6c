#include "tests/report/run_harness.hpp"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include <gtest/gtest.h>

#include "host/fiscal_provider.hpp"
#include "module/module_entry.hpp"
#include "report/resumo_conf_lcto_fis.hpp"
#include "schema/demo_generator.hpp"
#include "tests/runtime/fiscal_fixture.hpp"

namespace nfis::testing {

TReportLayout ReportLayout(const std::vector<int32_t>& without) {
  TReportLayout layout =
      LoadLayoutFile(std::string(NRW_SOURCE_DIR) + "/layouts/ResumoConfLctoFis.json");
  for (int32_t number : without) {
    layout.RemoveSection(number);
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
  return OpenWith(backend, [](TSQLConnection& c) { nrw::testing::BuildFiscalFixture(c); });
}

std::unique_ptr<ReportRun> ReportRun::OpenDemo(nrw::testing::Backend backend, int64_t documents) {
  return OpenWith(backend, [documents](TSQLConnection& c) {
    nrw::schema::DemoOptions options;
    options.documents = documents;
    options.seed = 5;
    nrw::schema::CreateDemoDatabase(c, options);
  });
}

std::unique_ptr<ReportRun> ReportRun::OpenWith(nrw::testing::Backend backend,
                                               const std::function<void(TSQLConnection&)>& build) {
  std::unique_ptr<ReportRun> run(new ReportRun);
  run->db_ = nrw::testing::TestDatabase::Open(backend, run->scratch_);
  if (run->db_ == nullptr) {
    return nullptr;
  }
  build(run->db_->Connection());
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

void ReportRun::AddListingCases() {
  TSQLConnection& c = db_->Connection();
  // Key 11: counterparty 99 is not registered; product 3 is not registered; two ICMS lines of
  // one group; complementary ICMS of operation 12001; PIS/COFINS in two groups, the first of two
  // items (100/80 and 50/50). Key 13: only a substitution line. Key 15, the last document: a run
  // of two ICMS lines. Key 1 gains a line of operation 12001 as well.
  c.ExecuteScript(
      "insert into LCTOFISENT values (1, 1, 11, '2026-01-15', '2026-01-15 10:00:00', '2026-01-14', "
      "110, "
      "110, '1', null, 'NFE', 99, 'PR', null, '55', 1, 1);"
      "insert into LCTOFISENT values (1, 1, 13, '2026-01-16', '2026-01-16 10:00:00', '2026-01-16', "
      "130, "
      "130, '1', null, 'NFE', 10, 'SP', null, '55', 1, 1);"
      "insert into LCTOFISENT values (1, 1, 15, '2026-01-17', '2026-01-17 10:00:00', '2026-01-17', "
      "150, "
      "150, '1', null, 'NFE', 20, 'MG', 'segunda via', '55', 1, 1);"
      "insert into LCTOFISENTIMPOSTO values (1, 1, 11, 1, 1, 1102, 18, 10, 10, 1.8, 0, 0, 0, null);"
      "insert into LCTOFISENTIMPOSTO values (1, 1, 11, 2, 1, 1102, 18, 20, 20, 3.6, 0, 0, 2, null);"
      "insert into LCTOFISENTIMPOSTO values (1, 1, 11, 3, 12, 2556, 6, 30, 30, 1.8, 0, 0, 0, "
      "12001);"
      "insert into LCTOFISENTIMPOSTO values (1, 1, 13, 1, 13, 1403, 18, 20, 28, 1.44, 0, 0, 0, "
      "13001);"
      "insert into LCTOFISENTIMPOSTO values (1, 1, 15, 1, 1, 1102, 12, 40, 40, 4.8, 0, 0, 0, null);"
      "insert into LCTOFISENTIMPOSTO values (1, 1, 15, 2, 1, 1102, 7, 10, 10, 0.7, 0, 0, 0, null);"
      "insert into LCTOFISENTIMPOSTO values (1, 1, 1, 8, 12, 1102, 6, 100, 100, 1.2, 0, 0, 0, "
      "12001);"
      "insert into LCTOFISENTPRODUTO values (1, 1, 11, '2026-01-15', 1, 3, '0', 1102, 1, 100, 100, "
      "100, "
      "80, 1.65, 1.32, 7.6, 6.08);"
      "insert into LCTOFISENTPRODUTO values (1, 1, 11, '2026-01-15', 2, 2, '0', 1102, 5, 10, 50, "
      "50, 50, "
      "1.65, 0.83, 7.6, 3.8);"
      "insert into LCTOFISENTPRODUTO values (1, 1, 11, '2026-01-15', 3, 2, '0', 2102, 1, 10, 10, "
      "10, 10, "
      "1.65, 0.17, 7.6, 0.76);"
      "insert into LCTOFISENTPRODUTO values (1, 1, 13, '2026-01-16', 1, 1, '0', 1403, 1, 20, 20, "
      "20, 20, "
      "1.65, 0.33, 7.6, 1.52);"
      "insert into LCTOFISENTPRODUTO values (1, 1, 15, '2026-01-17', 1, 1, '0', 1102, 2, 25, 50, "
      "50, 50, "
      "1.65, 0.83, 7.6, 3.8);");
}

void ExpectGolden(const std::string& name, const std::string& trace) {
  const std::string path = std::string(NRW_SOURCE_DIR) + "/tests/golden/" + name + ".trace";
  if (const char* update = std::getenv("NRW_UPDATE_GOLDEN");
      update != nullptr && std::string(update) == "1") {
    std::ofstream(path, std::ios::binary) << trace;
    return;
  }
  std::ifstream in(path, std::ios::binary);
  ASSERT_TRUE(in.good()) << "no golden file " << path << " (NRW_UPDATE_GOLDEN=1 writes it)";
  std::ostringstream expected;
  expected << in.rdbuf();
  EXPECT_EQ(trace, expected.str()) << "golden " << name;
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
