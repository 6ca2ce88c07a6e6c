#include <gtest/gtest.h>

#include <memory>

#include "host/base_dll.hpp"
#include "host/exception.hpp"
#include "host/report.hpp"
#include "module/module_entry.hpp"
#include "report/resumo_conf_lcto_fis.hpp"

namespace nfis {
namespace {

int created = 0;
int destroyed = 0;

// A report class whose run always fails, to watch the instance's lifetime.
class FailingRun : public TnrwBaseDll {
 public:
  FailingRun() { ++created; }
  ~FailingRun() override { ++destroyed; }
  void ImprimirInterno() override { throw Exception("run failed"); }
};

std::string MessageOf(const ModuleEntry& module, int32_t address) {
  try {
    module.Imprimir(address);
  } catch (const Exception& e) {
    return e.what();
  }
  return "";
}

TEST(ModuleEntry, ClassDllIsNullBeforeTheLoadBlock) {
  ModuleEntry fresh;
  EXPECT_EQ(fresh.ClassDll(), nullptr);
  fresh.Load(TnFisORResumoConfLctoFis::ClassType());
  EXPECT_EQ(fresh.ClassDll(), TnFisORResumoConfLctoFis::ClassType());
  EXPECT_STREQ(fresh.ClassDll()->ClassName(), "TnFisORResumoConfLctoFis");
}

TEST(ModuleEntry, MissingTextServicesLibraryIsNormal) {
  ModuleEntry fresh;
  fresh.Load(TnFisORResumoConfLctoFis::ClassType());
  EXPECT_EQ(fresh.TextServicesHandle(), 0u);
  fresh.Unload();
  EXPECT_NE(fresh.ClassDll(), nullptr) << "unload does not clear the class reference";
}

TEST(ModuleEntry, AddressMessages) {
  ModuleEntry fresh;
  fresh.Load(TnFisORResumoConfLctoFis::ClassType());
  EXPECT_EQ(MessageOf(fresh, 0), "Erro: Endereço: 00000000 nao é de relatório.");
  EXPECT_EQ(MessageOf(fresh, -1), "Erro: Endereço: FFFFFFFF nao é de relatório.");
  EXPECT_EQ(MessageOf(fresh, 4660), "Erro: Endereço: 00001234 nao é de relatório.");
  EXPECT_EQ(MessageOf(fresh, INT32_MIN), "Erro: Endereço: 80000000 nao é de relatório.");
}

TEST(ModuleEntry, AddressIsCheckedBeforeTheClassReference) {
  ModuleEntry fresh;
  EXPECT_EQ(MessageOf(fresh, 0), "Erro: Endereço: 00000000 nao é de relatório.");
  auto engine = std::make_unique<TnrwReport>();
  EXPECT_EQ(MessageOf(fresh, ReportAddressAsInt32(engine.get())), "FClassDll está nil.");
}

TEST(ModuleEntry, AnEngineThatWasFreedIsNoLongerAccepted) {
  ModuleEntry fresh;
  fresh.Load(TnFisORResumoConfLctoFis::ClassType());
  auto engine = std::make_unique<TnrwReport>();
  const int32_t address = ReportAddressAsInt32(engine.get());
  EXPECT_EQ(MessageOf(fresh, address), "");
  engine.reset();
  EXPECT_EQ(
      MessageOf(fresh, address),
      "Erro: Endereço: " + IntToHex(static_cast<uint32_t>(address), 8) + " nao é de relatório.");
}

TEST(ModuleEntry, ExceptionInTheRunFreesTheInstanceExactlyOnce) {
  static const TnrwClassOf<FailingRun> kFailing("FailingRun");
  ModuleEntry fresh;
  fresh.Load(&kFailing);
  auto engine = std::make_unique<TnrwReport>();
  created = destroyed = 0;
  EXPECT_EQ(MessageOf(fresh, ReportAddressAsInt32(engine.get())), "run failed");
  EXPECT_EQ(created, 1);
  EXPECT_EQ(destroyed, 1);
}

}  // namespace
}  // namespace nfis
