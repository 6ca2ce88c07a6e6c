#include <gtest/gtest.h>

#include <memory>

#include "host/base_dll.hpp"
#include "host/exception.hpp"

namespace {

int created_by_derived = 0;

class PlainReport : public TnrwBaseDll {};

class CustomReport : public TnrwBaseDll {
 public:
  void Create(TnrwReport* report) override {
    TnrwBaseDll::Create(report);
    ++created_by_derived;
  }
};

class FailingReport : public TnrwBaseDll {
 public:
  void Create(TnrwReport*) override { throw Exception("constructor failed"); }
};

TEST(BaseDll, ClassReferenceDecidesWhichCreateRuns) {
  auto report = std::make_unique<TnrwReport>();
  const TnrwClassOf<CustomReport> custom("CustomReport");
  const TnrwBaseDllClass& reference = custom;
  created_by_derived = 0;
  std::unique_ptr<TnrwBaseDll> instance(reference.Create(report.get()));
  EXPECT_EQ(created_by_derived, 1);
  EXPECT_EQ(instance->Report(), report.get());
  EXPECT_STREQ(reference.ClassName(), "CustomReport");
}

TEST(BaseDll, CreateThatRaisesFreesTheInstance) {
  auto report = std::make_unique<TnrwReport>();
  const TnrwClassOf<FailingReport> failing("FailingReport");
  const int64_t before = TnrwBaseDll::LiveInstances();
  EXPECT_THROW(failing.Create(report.get()), Exception);
  EXPECT_EQ(TnrwBaseDll::LiveInstances(), before);
}

TEST(BaseDll, RepParamReadsAndWritesTheEngineStore) {
  auto report = std::make_unique<TnrwReport>();
  const TnrwClassOf<PlainReport> plain("PlainReport");
  std::unique_ptr<TnrwBaseDll> instance(plain.Create(report.get()));
  instance->RepParam("pTipoImposto", ";1;");
  EXPECT_EQ(report->RepParam("pTipoImposto"), ";1;");
  EXPECT_EQ(instance->RepParam("pTipoImposto"), ";1;");
  EXPECT_EQ(instance->GetDMPower(), report->DMPower());
  EXPECT_EQ(instance->EstabDataSet(), report->Estabelecimentos());
  EXPECT_EQ(instance->Versao(), "");
  EXPECT_TRUE(instance->CriarListaSectionsParaZebrar().empty());
}

}  // namespace
