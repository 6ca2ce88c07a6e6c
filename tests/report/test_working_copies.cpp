// Working copies, operation control and the PIS/COFINS merge, in both storage modes, on tables
// built here: in memory, or in a SQLite file whose name holds "temp" as the provider's do.
#include <gtest/gtest.h>

#include <filesystem>
#include <memory>

#include "host/fiscal_provider.hpp"
#include "host/sqlite_table.hpp"
#include "report/resumo_conf_lcto_fis.hpp"
#include "runtime/sqlite_connection.hpp"
#include "tests/runtime/data_set_kinds.hpp"

namespace nfis::testing {
namespace {

using nrw::testing::ScratchDir;

const std::vector<TFieldDef> kTaxFields = {{"CHAVELCTOFIS", TFieldType::Float},
                                           {"CODIGOCFOP", TFieldType::Integer},
                                           {"TIPOIMPOSTO", TFieldType::Integer},
                                           {"VALORIMPOSTO", TFieldType::Float},
                                           {"CODIGOOPERACAOFIS", TFieldType::Integer}};
const std::vector<TFieldDef> kPisFields = {
    {"CHAVELCTOFIS", TFieldType::Float},    {"SEQ", TFieldType::Integer},
    {"CODIGOPRODUTO", TFieldType::Integer}, {"ORIGEM", TFieldType::String},
    {"CODIGOCFOP", TFieldType::Integer},    {"VALORCONTABIL", TFieldType::Float},
    {"BASEPISCOFINS", TFieldType::Float},   {"ALIQPIS", TFieldType::Float},
    {"VALORPIS", TFieldType::Float},        {"ALIQCOFINS", TFieldType::Float},
    {"VALORCOFINS", TFieldType::Float}};

class WorkingCopies : public ::testing::TestWithParam<bool> {
 protected:
  void SetUp() override {
    engine = std::make_unique<TnrwReport>();
    r.reset(static_cast<TnFisORResumoConfLctoFis*>(
        TnFisORResumoConfLctoFis::ClassType()->Create(engine.get())));
    auto* provider = new TnFisDPListarLctoFisTotal();
    provider->SetUsarSQLite(GetParam());
    r->ADM = provider;
  }
  void TearDown() override {
    Nutildb::DestruirSQL(r->cdsPis);
    Nutildb::DestruirSQL(r->cdsCofins);
    tables.clear();
    delete r->ADM;
    r->ADM = nullptr;
  }
  // A provider-like table with these rows, in the storage mode of the test.
  TDataSet* Table(const std::string& name, const std::vector<TFieldDef>& fields,
                  const std::vector<std::vector<Variant>>& rows, const std::string& file = "") {
    std::unique_ptr<TDataSet> table;
    if (!GetParam()) {
      auto memory = std::make_unique<TnClientDataSetMem>(nullptr, fields);
      for (const auto& row : rows) {
        memory->Append();
        for (size_t i = 0; i < row.size(); ++i) {
          memory->SetValue(static_cast<int>(i), row[i]);
        }
        memory->Post();
      }
      table = std::move(memory);
    } else {
      const std::string path = scratch.File(file.empty() ? "nrw-temp-" + name + ".db" : file);
      auto connection = OpenConnection(path, true);
      std::vector<std::string> columns;
      for (const TFieldDef& field : fields) {
        columns.push_back(field.name);
      }
      connection->ExecuteScript(nrw::SqliteCreateTable(name, fields));
      auto writer = connection->BulkInsert(name, columns);
      for (const auto& row : rows) {
        writer->Add(row);
      }
      writer->Finish();
      auto sqlite = std::make_unique<TnFDTableSQLite>();
      sqlite->Connection()->Params().SetDatabase(path);
      sqlite->SetTableName(name);
      sqlite->Open();
      table = std::move(sqlite);
    }
    tables.push_back(std::move(table));
    return tables.back().get();
  }
  std::vector<std::string> Rows(TDataSet* t) {
    std::vector<std::string> rows;
    for (t->First(); !t->Eof(); t->Next()) {
      std::string row;
      for (int f = 0; f < t->FieldCount(); ++f) {
        row += (f ? "|" : "") + (t->IsNull(f) ? std::string("-") : t->GetString(f));
      }
      rows.push_back(row);
    }
    return rows;
  }

  ScratchDir scratch;
  std::unique_ptr<TnrwReport> engine;
  std::unique_ptr<TnFisORResumoConfLctoFis> r;
  std::vector<std::unique_ptr<TDataSet>> tables;
};

TEST_P(WorkingCopies, DoubledSubstitutionLinesAreRemoved) {
  TDataSet* imposto = Table("cdsImposto", kTaxFields,
                            {{1.0, 1403, 13, 7.2, 11403},
                             {1.0, 1403, 13, 7.2, 11407},  // doubled: removed
                             {1.0, 1403, 1, 7.2, Variant()},
                             {2.0, 1403, 13, 3.0, 11403},
                             {2.0, 1403, 13, 3.01, 11407},  // another amount: kept
                             {3.0, 5405, 13, 5.0, 11403},
                             {3.0, 5405, 13, 5.0, 11403},
                             {3.0, 5405, 13, 5.0, 11407},  // two 11403 rows remove two ...
                             {3.0, 5405, 13, 5.0, 11407},
                             {4.0, 5405, 13, 5.0, 11407}});  // ... but only of their own entry
  imposto->SetIndexFieldNames("CHAVELCTOFIS");
  r->ControleOpFis(imposto);
  EXPECT_EQ(imposto->IndexFieldNames(), "CHAVELCTOFIS") << "the index is restored";
  imposto->SetIndexFieldNames("CHAVELCTOFIS;CODIGOOPERACAOFIS");
  EXPECT_EQ(Rows(imposto),
            (std::vector<std::string>{"1|1403|1|7,2|-", "1|1403|13|7,2|11403", "2|1403|13|3|11403",
                                      "2|1403|13|3,01|11407", "3|5405|13|5|11403",
                                      "3|5405|13|5|11403", "4|5405|13|5|11407"}));
}

TEST_P(WorkingCopies, NothingToControlLeavesTheIndexAlone) {
  TDataSet* imposto = Table("cdsImposto", kTaxFields,
                            {{1.0, 5102, 1, 7.2, Variant()}, {1.0, 5405, 13, 1.0, 13001}});
  imposto->SetIndexFieldNames("TIPOIMPOSTO");
  imposto->First();
  imposto->Next();
  r->ControleOpFis(imposto);
  EXPECT_EQ(imposto->IndexFieldNames(), "TIPOIMPOSTO");
  EXPECT_EQ(imposto->RecordCount(), 2);
  EXPECT_EQ(imposto->GetInteger(2), 13) << "the cursor was not moved";
}

TEST_P(WorkingCopies, CloneIsIndependentAndNamedByItsSuffix) {
  TDataSet* source =
      Table("cdsImposto", kTaxFields, {{1.0, 5102, 1, 7.2, Variant()}}, "ab-temp-cd-temp.db");
  source->SetIndexFieldNames("CHAVELCTOFIS");
  std::unique_ptr<TDataSet> copy(r->ClonarDataSet(source, "imp"));
  EXPECT_EQ(copy->RecordCount(), 1);
  copy->First();
  copy->Delete();
  EXPECT_EQ(source->RecordCount(), 1);
  if (GetParam()) {
    EXPECT_TRUE(std::filesystem::exists(scratch.File("ab-temp_imp-cd-temp_imp.db")))
        << "every \"temp\" of the name is replaced";
    EXPECT_EQ(copy->IndexFieldNames(), "CHAVELCTOFIS");
  }
}

TEST_P(WorkingCopies, KeySearchAndRanges) {
  TDataSet* t = Table("cdsPis", kTaxFields,
                      {{1.0, 5102, 1, 1.0, 0}, {2.0, 5102, 1, 2.0, 0}, {2.0, 6102, 1, 3.0, 0}});
  t->SetIndexFieldNames("CHAVELCTOFIS;CODIGOCFOP");
  EXPECT_TRUE(r->LocalizarChave(t, {2.0, 6102}));
  EXPECT_DOUBLE_EQ(t->GetFloat(3), 3.0);
  r->DefinirFaixa(t, {2.0}, {2.0});
  EXPECT_EQ(t->RecordCount(), 2);
  r->CancelarFaixa(t);
  EXPECT_EQ(t->RecordCount(), 3);
}

TEST_P(WorkingCopies, PisAndCofinsTablesTakeRowsWithRateAndBase) {
  r->cdsPisCofins =
      Table("cdsPisCofins", kPisFields,
            {{1.0, 1, 8, "0", 5102, 60.0, 60.0, 1.65, 0.99, 7.6, 4.56},  // both
             {1.0, 2, 9, "1", 5102, 50.0, 50.0, 0.0, 1.0, 0.0, 0.0},     // amount, no rate
             {2.0, 1, 8, "0", 5102, 10.0, 0.0, 1.65, 0.0, 7.6, 0.0},     // filtered out
             {3.0, 1, 8, "0", 6102, 40.0, 0.0, 1.65, 0.0, 7.6, 2.0},     // no base
             {4.0, 1, 7, "2", 6102, 30.0, 30.0, 0.0, 0.0, 3.0, 0.9}},
            "");  // COFINS only
  r->cdsPisCofins->SetIndexFieldNames("CHAVELCTOFIS");
  r->AdicionarPISCOFINS();
  EXPECT_EQ(Rows(r->cdsPis), (std::vector<std::string>{"1|-|8|0|5102|60|60|1,65|0,99|-|-"}));
  EXPECT_EQ(Rows(r->cdsCofins), (std::vector<std::string>{"1|-|8|0|5102|60|60|-|-|7,6|4,56",
                                                          "4|-|7|2|6102|30|30|-|-|3|0,9"}));
  EXPECT_EQ(r->cdsPisCofins->Filter(),
            "(VALORPIS <> 0) or (VALORCOFINS <> 0) or (BASEPISCOFINS <> 0)");
  EXPECT_TRUE(r->cdsPisCofins->Filtered()) << "the filter stays on";
  EXPECT_EQ(r->cdsPisCofins->RecordCount(), 4);
  EXPECT_EQ(r->FixPC_ChaveLctoFis, 0);
  EXPECT_EQ(r->FixPC_ValorPIS, 8);
  EXPECT_EQ(r->FixPC_AliqCOFINS, 9);
  EXPECT_EQ(r->FixPC_BasePisCofins, 6);
}

TEST_P(WorkingCopies, EmptyItemValuesAreCopiedAsTextOrZeroInTheWalksOrder) {
  r->cdsPisCofins =
      Table("cdsPisCofins", kPisFields,
            {{5.0, 2, 3, "1", 5102, 20.0, 20.0, 1.65, 0.33, 0.0, 0.0},
             {5.0, 1, Variant(), Variant(), 5102, Variant(), 10.0, 1.65, 0.17, 0.0, 0.0},
             {4.0, 1, 3, "1", 5102, 8.0, 8.0, 1.65, 0.13, 0.0, 0.0}});
  r->cdsPisCofins->SetIndexFieldNames("CHAVELCTOFIS");
  r->AdicionarPISCOFINS();
  // An empty product code is copied as its text, which empties the number field again; an
  // empty origin stays an empty text and an empty amount becomes 0.
  EXPECT_EQ(Rows(r->cdsPis), (std::vector<std::string>{"4|-|3|1|5102|8|8|1,65|0,13|-|-",
                                                       "5|-|3|1|5102|20|20|1,65|0,33|-|-",
                                                       "5|-|-||5102|0|10|1,65|0,17|-|-"}));
  EXPECT_TRUE(r->cdsCofins->IsEmpty());
}

TEST_P(WorkingCopies, EmptyItemsGiveEmptyTables) {
  r->cdsPisCofins = Table("cdsPisCofins", kPisFields, {});
  r->AdicionarPISCOFINS();
  EXPECT_TRUE(r->cdsPis->IsEmpty());
  EXPECT_TRUE(r->cdsCofins->IsEmpty());
  EXPECT_EQ(r->FixPC_ValorCOFINS, 10);
}

INSTANTIATE_TEST_SUITE_P(Storage, WorkingCopies, ::testing::Values(false, true),
                         [](const auto& info) { return info.param ? "SQLite" : "Memory"; });

}  // namespace
}  // namespace nfis::testing
