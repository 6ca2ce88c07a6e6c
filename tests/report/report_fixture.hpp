// A report object on a live engine, as Imprimir builds it, for tests of the module's routines.
#pragma once

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>

#include "host/report.hpp"
#include "report/resumo_conf_lcto_fis.hpp"

namespace nfis::testing {

class ReportFixture : public ::testing::Test {
 protected:
  void SetUp() override {
    engine = std::make_unique<TnrwReport>();
    engine->DMPower()->SetView(&progress);
    object.reset(static_cast<TnFisORResumoConfLctoFis*>(
        TnFisORResumoConfLctoFis::ClassType()->Create(engine.get())));
  }

  void SetParams(const std::map<std::string, std::string>& params) {
    for (const auto& [name, value] : params) {
      engine->RepParam(name, value);
    }
  }
  // A request that passes validation: January 2026, entries, ICMS.
  void SetValidParams() {
    SetParams({{"pDataInicial", "01/01/2026"},
               {"pDataFinal", "31/01/2026"},
               {"pTipoMovimento", "1"},
               {"pTipoImposto", "1"}});
  }
  void AddEstablishment(int company, int estab) {
    TnClientDataSetMem* table = engine->Estabelecimentos();
    table->Append();
    table->SetValue(0, company);
    table->SetValue(1, estab);
    table->Post();
  }
  // The message IniciarParametros raises, or "" when it accepts the parameters.
  std::string ValidationMessage() {
    try {
      object->IniciarParametros();
    } catch (const std::exception& e) {
      return e.what();
    }
    return "";
  }

  std::unique_ptr<TnrwReport> engine;
  TRecordingProgressView progress;
  std::unique_ptr<TnFisORResumoConfLctoFis> object;
};

}  // namespace nfis::testing
