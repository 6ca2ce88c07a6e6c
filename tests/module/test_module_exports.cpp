// Loads the built module with dlopen and calls its exports exactly as a host application does.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <memory>

#include "host/base_dll.hpp"
#include "host/exception.hpp"
#include "host/report.hpp"

namespace {

using ImprimirFn = void (*)(int32_t);
using ClassDllFn = const TnrwBaseDllClass* (*)();

class ModuleExports : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    handle = dlopen(NRW_MODULE_PATH, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(handle, nullptr) << dlerror();
    imprimir = reinterpret_cast<ImprimirFn>(dlsym(handle, "Imprimir"));
    class_dll = reinterpret_cast<ClassDllFn>(dlsym(handle, "ClassDll"));
  }
  static void TearDownTestSuite() {
    if (handle != nullptr) {
      dlclose(handle);
    }
  }
  std::string MessageOf(int32_t address) {
    try {
      imprimir(address);
    } catch (const Exception& e) {
      return e.what();
    }
    return "";
  }

  static void* handle;
  static ImprimirFn imprimir;
  static ClassDllFn class_dll;
};

void* ModuleExports::handle = nullptr;
ImprimirFn ModuleExports::imprimir = nullptr;
ClassDllFn ModuleExports::class_dll = nullptr;

TEST_F(ModuleExports, BothExportsAreFound) {
  ASSERT_NE(imprimir, nullptr);
  ASSERT_NE(class_dll, nullptr);
  ASSERT_NE(class_dll(), nullptr) << "the load-time block registered the class";
  EXPECT_STREQ(class_dll()->ClassName(), "TnFisORResumoConfLctoFis");
}

TEST_F(ModuleExports, ZeroAndMinusOneAreNotReports) {
  EXPECT_EQ(MessageOf(0), "Erro: Endereço: 00000000 nao é de relatório.");
  EXPECT_EQ(MessageOf(-1), "Erro: Endereço: FFFFFFFF nao é de relatório.");
}

TEST_F(ModuleExports, ARealEngineWithNoEstablishmentReturnsQuietly) {
  auto engine = std::make_unique<TnrwReport>();
  TRecordingProgressView view;
  engine->DMPower()->SetView(&view);
  const int64_t before = TnrwBaseDll::LiveInstances();
  EXPECT_EQ(MessageOf(ReportAddressAsInt32(engine.get())), "");
  EXPECT_TRUE(view.stages.empty());
  EXPECT_EQ(TnrwBaseDll::LiveInstances(), before);
}

TEST_F(ModuleExports, TheRunReachesTheReportClassAndItsMessageTheHost) {
  auto engine = std::make_unique<TnrwReport>();
  TRecordingProgressView view;
  engine->DMPower()->SetView(&view);
  TnClientDataSetMem* estab = engine->Estabelecimentos();
  estab->Append();
  estab->SetValue(0, 1);
  estab->SetValue(1, 1);
  estab->Post();
  engine->RepParam("pDataInicial", "01/01/2026");
  engine->RepParam("pDataFinal", "31/01/2026");
  engine->RepParam("pTipoImposto", "1");
  const int64_t before = TnrwBaseDll::LiveInstances();
  EXPECT_EQ(MessageOf(ReportAddressAsInt32(engine.get())),
            "Tipo do movimento não definido para este relatório.");
  EXPECT_EQ(view.stages, std::vector<std::string>{"Iniciar Parametros"});
  EXPECT_EQ(TnrwBaseDll::LiveInstances(), before) << "the report object is freed exactly once";
}

}  // namespace
