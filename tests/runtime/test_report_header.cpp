// The standard page header on the hand-built books, on both databases.
#include <gtest/gtest.h>

#include <memory>

#include "host/report_header.hpp"
#include "tests/runtime/backends.hpp"
#include "tests/runtime/fiscal_fixture.hpp"

namespace nrw::testing {
namespace {

const TVariantArray kFontSizes = {Variant(8), Variant(8)};

class ReportHeader : public ::testing::TestWithParam<Backend> {
 protected:
  void SetUp() override {
    db = TestDatabase::Open(GetParam(), scratch);
    if (db == nullptr) {
      GTEST_SKIP() << TestDatabase::SkipReason(GetParam());
    }
    BuildFiscalFixture(db->Connection());
    engine = std::make_unique<TnrwReport>();
    TReportLayout layout;
    layout.AddSection(TLayoutSection::Of(1, {}));
    layout.AddSection(TLayoutSection::Of(13, {"RValor"}));
    engine->SetLayout(layout);
    engine->AddSink(&sink);
    engine->RepParam("pDataInicial", "1/1/2026");
    engine->RepParam("pDataFinal", "31/01/2026");
    engine->SetDataHoraEmissao(EncodeDate(2026, 2, 3) + EncodeTime(14, 5, 0));
  }
  // The run's arguments: five times false, [8, 8], -1, 1, 1, "", "", true.
  std::unique_ptr<TnCabecalhoRelatorio> RunHeader() {
    auto header = std::make_unique<TnCabecalhoRelatorio>(engine.get(), false, false, false, false,
                                                         false, kFontSizes, -1, 1, 1, "", "", true);
    header->SetConexao(&db->Connection());
    return header;
  }
  // Three pages, two of establishment 1 and one of establishment 2, a header on each: every
  // header as "Pagina/Folha@engine page".
  std::vector<std::string> ThreePagesOfTwoEstablishments() {
    auto header = RunHeader();
    header->SetCodigoEstab("1");
    header->Executar(1);
    struct Printer {
      TnCabecalhoRelatorio* header;
      void After(TObject*, int32_t section) {
        if (section == 1) {
          header->ImpressaoCabecalho();
        }
      }
    } printer{header.get()};
    engine->SetAfterSection(MakeSectionEvent<Printer, &Printer::After>(&printer));
    engine->RepPrintSection(13);
    engine->SetCSLIsPageEnd(true);
    engine->RepPrintSection(13);
    engine->SetCSLIsPageEnd(true);
    header->SetCodigoEstab("2");
    header->Executar(1);
    engine->RepPrintSection(13);
    std::vector<std::string> pages;
    for (const auto& entry : sink.Entries()) {
      if (entry.section == kHeaderSection) {
        pages.push_back(entry.Field("Pagina") + "/" + entry.Field("Folha") + "@" +
                        std::to_string(entry.page));
      }
    }
    return pages;
  }
  std::string Field(const std::vector<TPrintedField>& fields, const std::string& name) {
    for (const auto& f : fields) {
      if (f.name == name) {
        return f.value;
      }
    }
    return "<absent>";
  }

  ScratchDir scratch;
  std::unique_ptr<TestDatabase> db;
  std::unique_ptr<TnrwReport> engine;
  TRecordingSink sink;
};

TEST_P(ReportHeader, ReadsTheCompanyAndEstablishment) {
  auto header = RunHeader();
  header->SetCodigoEstab("2");
  header->Executar(1);
  const auto fields = header->Campos();
  EXPECT_EQ(Field(fields, "Empresa"), "1 - Comercial Teste Ltda");
  EXPECT_EQ(Field(fields, "Estabelecimento"), "2 - Filial Campinas");
  EXPECT_EQ(Field(fields, "CNPJ"), "11.222.333/0002-62");
  EXPECT_EQ(Field(fields, "InscricaoEstadual"), "244123456119");
  EXPECT_EQ(Field(fields, "Titulo"), "Resumo de Conferência de Lançamentos Fiscais");
  EXPECT_EQ(Field(fields, "Periodo"), "01/01/2026 a 31/01/2026");
  EXPECT_EQ(Field(fields, "Emissao"), "03/02/2026 14:05");
  EXPECT_EQ(Field(fields, "Subtitulo"), "<absent>");
  header->SetCodigoEstab("1");
  header->Executar(2);
  EXPECT_EQ(Field(header->Campos(), "Empresa"), "2 - Outra Empresa S.A.");
  EXPECT_EQ(Field(header->Campos(), "Estabelecimento"), "1 - Matriz");
}

TEST_P(ReportHeader, UnknownEstablishmentShowsItsCode) {
  auto header = RunHeader();
  header->SetCodigoEstab("9");
  header->Executar(1);
  EXPECT_EQ(Field(header->Campos(), "Estabelecimento"), "9 - ");
  EXPECT_EQ(Field(header->Campos(), "CNPJ"), "11.222.333/0001-81") << "the company's CNPJ";
}

TEST_P(ReportHeader, PagesNumberedPerEstablishment) {
  EXPECT_EQ(ThreePagesOfTwoEstablishments(), (std::vector<std::string>{"1/@1", "2/@2", "1/@3"}));
}

// While the run itself counts the pages, the header prints the page's number and, numbered per
// establishment, the report's sheet, and leaves their totals to the replay.
TEST_P(ReportHeader, PendingCountsLeaveTheTotalsToTheReplay) {
  engine->SetPageTotals(TPageTotals{{}, {}, 0, true});
  EXPECT_EQ(ThreePagesOfTwoEstablishments(), (std::vector<std::string>{"1/1@1", "2/2@2", "1/3@3"}));
}

// With the counts known before the run, the header prints them itself.
TEST_P(ReportHeader, CountedPagesShowTheirTotals) {
  engine->SetPageTotals(TPageTotals{{0, 0, 1}, {2, 1}, 3, false});
  EXPECT_EQ(ThreePagesOfTwoEstablishments(),
            (std::vector<std::string>{"1 de 2/1 de 3@1", "2 de 2/2 de 3@2", "1 de 1/3 de 3@3"}));
}

TEST_P(ReportHeader, ArgumentsHidePartsAndSetTheTitle) {
  TnCabecalhoRelatorio header(engine.get(), true, true, true, true, true, {Variant(12)}, 1, 5, 0,
                              "Meu título", "Sub", false);
  header.SetConexao(&db->Connection());
  header.Executar(1);
  const auto fields = header.Campos();
  ASSERT_EQ(fields.size(), 2u);
  EXPECT_EQ(Field(fields, "Titulo"), "Meu título");
  EXPECT_EQ(Field(fields, "Subtitulo"), "Sub");
  TnCabecalhoRelatorio numbered(engine.get(), true, true, true, false, true, {}, 1, 5, 0, "", "",
                                false);
  engine->RepPrintSection(13);
  EXPECT_EQ(Field(numbered.Campos(), "Pagina"), "5") << "the first page is numbered 5";
  engine->SetCSLIsPageEnd(true);
  engine->RepPrintSection(13);
  EXPECT_EQ(Field(numbered.Campos(), "Pagina"), "6");
}

TEST_P(ReportHeader, EngineTitleWhenNoneIsGiven) {
  engine->RepParam("TituloRelatorio", "Conferência");
  auto header = RunHeader();
  EXPECT_EQ(Field(header->Campos(), "Titulo"), "Conferência");
}

TEST_P(ReportHeader, FieldsWrittenIntoTheLastPagesAreTheFieldsOfANewList) {
  auto header = RunHeader();
  header->SetCodigoEstab("2");
  header->Executar(1);
  std::vector<TPrintedField> kept = {{"Velho", "um texto longo que sobra da página anterior"},
                                     {"A", ""},
                                     {"B", ""},
                                     {"C", ""},
                                     {"D", ""},
                                     {"E", ""},
                                     {"F", ""},
                                     {"G", ""},
                                     {"H", ""},
                                     {"I", ""},
                                     {"J", ""}};
  header->Campos(kept);
  const std::vector<TPrintedField> fresh = header->Campos();
  ASSERT_EQ(kept.size(), fresh.size()) << "the extra fields of the longer list are dropped";
  for (size_t i = 0; i < fresh.size(); ++i) {
    EXPECT_EQ(kept[i].name, fresh[i].name);
    EXPECT_EQ(kept[i].value, fresh[i].value) << fresh[i].name;
  }
  EXPECT_EQ(Field(kept, "Emissao"), "03/02/2026 14:05");
  // A later emission time (the clock of a run without a fixed time) shows on the next page.
  engine->SetDataHoraEmissao(EncodeDate(2026, 2, 3) + EncodeTime(14, 6, 0));
  header->Campos(kept);
  EXPECT_EQ(Field(kept, "Emissao"), "03/02/2026 14:06");
  engine->RepParam("pDataFinal", "15/01/2026");
  header->Campos(kept);
  EXPECT_EQ(Field(kept, "Periodo"), "01/01/2026 a 15/01/2026");
}

INSTANTIATE_TEST_SUITE_P(Databases, ReportHeader,
                         ::testing::Values(Backend::SQLite, Backend::PostgreSQL),
                         [](const auto& info) { return BackendName(info.param); });

TEST(FormatarInscricaoFederal, CnpjAndCpf) {
  EXPECT_EQ(FormatarInscricaoFederal("11222333000181"), "11.222.333/0001-81");
  EXPECT_EQ(FormatarInscricaoFederal("12345678909"), "123.456.789-09");
  EXPECT_EQ(FormatarInscricaoFederal("ISENTO"), "ISENTO");
  EXPECT_EQ(FormatarInscricaoFederal(""), "");
  EXPECT_EQ(FormatarInscricaoFederal("1122233300018"), "1122233300018") << "13 digits";
  std::string out = "CNPJ: ";
  AppendInscricaoFederal("11222333000181", out);
  EXPECT_EQ(out, "CNPJ: 11.222.333/0001-81");
}

}  // namespace
}  // namespace nrw::testing
