// One behaviour suite for every kind of data set: in-memory table, SQLite table, query cursor.
#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <tuple>

#include <memory>

#include "host/exception.hpp"
#include "host/memory_data_set.hpp"
#include "host/progress.hpp"
#include "host/sql.hpp"
#include "host/sqlite_table.hpp"
#include "tests/runtime/data_set_kinds.hpp"

namespace nrw::testing {
namespace {

const std::vector<TFieldDef> kTaxFields = {{"CHAVELCTOFIS", TFieldType::Float},
                                           {"TIPOIMPOSTO", TFieldType::Integer},
                                           {"CODIGOOPERACAOFIS", TFieldType::Integer},
                                           {"VALORIMPOSTO", TFieldType::Float},
                                           {"ESPECIENF", TFieldType::String}};

// Key, tax type, operation, amount, species.
const std::vector<std::vector<Variant>> kTaxRows = {{30.0, 1, 0, 10.0, "NFE"},
                                                    {10.0, 13, 11403, 5.0, "NF"},
                                                    {20.0, 1, 0, 7.0, "NFE"},
                                                    {10.0, 13, 11407, 5.0, "NF"},
                                                    {10.0, 1, 0, 3.0, "NF"}};

class DataSetBehaviour : public ::testing::TestWithParam<DataSetKind> {
 protected:
  void SetUp() override { table = factory.Make(GetParam(), "cdsImposto", kTaxFields, kTaxRows); }

  void Add(double key, int tipo, int op, double valor, const char* especie) {
    table->Append();
    table->SetValue(0, key);
    table->SetValue(1, tipo);
    table->SetValue(2, op);
    table->SetValue(3, valor);
    table->SetValue(4, especie);
    table->Post();
  }
  std::vector<double> Keys() {
    std::vector<double> keys;
    for (table->First(); !table->Eof(); table->Next()) {
      keys.push_back(table->GetFloat(0));
    }
    return keys;
  }

  ScratchDir scratch;
  DataSetFactory factory{scratch};
  std::unique_ptr<TDataSet> table;
};

TEST_P(DataSetBehaviour, NaturalOrderAndCount) {
  EXPECT_EQ(table->RecordCount(), 5);
  EXPECT_EQ(Keys(), (std::vector<double>{30, 10, 20, 10, 10}));
}

TEST_P(DataSetBehaviour, FieldsHaveTheirTypesAndPositions) {
  ASSERT_EQ(table->FieldCount(), 5);
  EXPECT_EQ(table->Fields(1)->DataType(), TFieldType::Integer);
  EXPECT_EQ(table->Fields(3)->DataType(), TFieldType::Float);
  EXPECT_EQ(table->Fields(4)->DataType(), TFieldType::String);
  table->First();
  EXPECT_EQ(table->FieldByName("ESPECIENF")->AsString(), "NFE");
  EXPECT_EQ(table->FieldByName("TipoImposto")->AsInteger(), 1);
}

TEST_P(DataSetBehaviour, FieldLookupIgnoresCase) {
  EXPECT_EQ(table->FieldByName("ChaveLctoFis")->Index(), 0);
  EXPECT_EQ(table->FieldIndex("valorimposto"), 3);
  EXPECT_EQ(table->FindField("nope"), nullptr);
  try {
    table->FieldByName("NOPE");
    FAIL();
  } catch (const Exception& e) {
    EXPECT_STREQ(e.what(), "cdsImposto: Field 'NOPE' not found");
  }
}

TEST_P(DataSetBehaviour, IndexOrdersByFieldsThenInsertion) {
  table->SetIndexFieldNames("ChaveLctoFis;TipoImposto");
  EXPECT_EQ(table->IndexFieldNames(), "ChaveLctoFis;TipoImposto");
  EXPECT_EQ(Keys(), (std::vector<double>{10, 10, 10, 20, 30}));
  table->First();
  EXPECT_EQ(table->GetInteger(1), 1);
  table->Next();
  EXPECT_EQ(table->GetInteger(2), 11403) << "equal keys keep their insertion order";
}

// An index that extends the current one (rows already in order by the leading field), and rows
// that arrive as two ascending runs (entries then exits, each by key).
TEST_P(DataSetBehaviour, IndexOrdersRowsInOrderByTheLeadingFieldAndRowsInTwoRuns) {
  table->SetIndexFieldNames("CHAVELCTOFIS");
  table->SetIndexFieldNames("CHAVELCTOFIS;VALORIMPOSTO;CODIGOOPERACAOFIS");
  std::vector<std::pair<double, int64_t>> rows;
  for (table->First(); !table->Eof(); table->Next()) {
    rows.emplace_back(table->GetFloat(0), table->GetInteger(2));
  }
  const std::vector<std::pair<double, int64_t>> by_amount = {
      {10, 0}, {10, 11403}, {10, 11407}, {20, 0}, {30, 0}};
  EXPECT_EQ(rows, by_amount);

  auto runs = factory.Make(GetParam(), "cdsRuns", kTaxFields, {});
  for (const double key : {1.0, 4.0, 6.0, 9.0, 2.0, 3.0, 5.0, 9.0, 10.0}) {
    runs->Append();
    runs->SetValue(0, key);
    runs->SetValue(1, static_cast<int>(key) % 3);
    runs->Post();
  }
  runs->SetIndexFieldNames("CHAVELCTOFIS;TIPOIMPOSTO");
  std::vector<double> keys;
  for (runs->First(); !runs->Eof(); runs->Next()) {
    keys.push_back(runs->GetFloat(0));
  }
  EXPECT_EQ(keys, (std::vector<double>{1, 2, 3, 4, 5, 6, 9, 9, 10}));
}

TEST_P(DataSetBehaviour, CopyValueCopiesEveryKindOfCellIncludingAnEmptyOne) {
  table->Append();
  table->SetValue(0, 40.0);  // the other fields stay empty
  table->Post();
  auto copy = factory.Make(GetParam(), "cdsCopia", kTaxFields, {});
  for (table->First(); !table->Eof(); table->Next()) {
    copy->Append();
    for (int f = 0; f < table->FieldCount(); ++f) {
      copy->CopyValue(f, *table);
    }
    copy->Post();
  }
  table->First();
  for (copy->First(); !copy->Eof(); copy->Next(), table->Next()) {
    for (int f = 0; f < table->FieldCount(); ++f) {
      EXPECT_EQ(copy->GetValue(f), table->GetValue(f)) << "field " << f;
      EXPECT_EQ(copy->IsNull(f), table->IsNull(f)) << "field " << f;
    }
    if (table->GetFloat(0) == 40.0) {
      EXPECT_TRUE(copy->IsNull(4)) << "an empty text stays empty";
    }
  }
  EXPECT_TRUE(table->Eof());
  EXPECT_THROW(copy->CopyValue(0, *table), Exception) << "not in edit or insert mode";
}

TEST_P(DataSetBehaviour, AppendStringAddsWhatGetStringReturnsForEveryKindOfCell) {
  table->Append();
  table->SetValue(0, 40.5);  // the other fields stay empty
  table->SetValue(1, -7);
  table->Post();
  table->Append();
  table->SetValue(0, 41.0);
  table->SetValue(4, "Nota fiscal de serviço eletrônica, série única");
  table->Post();
  int rows = 0;
  for (table->First(); !table->Eof(); table->Next(), ++rows) {
    for (int f = 0; f < table->FieldCount(); ++f) {
      std::string out = "before|";
      table->AppendString(f, out);
      EXPECT_EQ(out, "before|" + table->GetString(f)) << "row " << rows << " field " << f;
    }
  }
  EXPECT_EQ(rows, 7);
}

TEST_P(DataSetBehaviour, RowsPostedAfterTheOthersUnderAnIndexNeedNoMergeAndKeepTheirOrder) {
  table->SetIndexFieldNames("CHAVELCTOFIS");
  table->First();
  Add(40.0, 1, 0, 1.0, "A");  // after every key: appended as they are
  Add(50.0, 1, 0, 1.0, "B");
  Add(30.0, 2, 0, 1.0, "C");  // equal to the last key there: after it
  EXPECT_EQ(Keys(), (std::vector<double>{10, 10, 10, 20, 30, 30, 40, 50}));
  table->FindKey({30.0});
  table->Next();
  EXPECT_EQ(table->GetInteger(1), 2) << "the posted 30 comes after the 30 that was there";
  Add(15.0, 1, 0, 1.0, "D");  // among them: merged
  Add(60.0, 1, 0, 1.0, "E");
  EXPECT_EQ(Keys(), (std::vector<double>{10, 10, 10, 15, 20, 30, 30, 40, 50, 60}));
}

TEST_P(DataSetBehaviour, UnknownIndexFieldRaises) {
  EXPECT_THROW(table->SetIndexFieldNames("CHAVELCTOFIS;NOPE"), Exception);
}

TEST_P(DataSetBehaviour, NextPastTheEndStaysOnTheLastRow) {
  table->SetIndexFieldNames("CHAVELCTOFIS");
  table->First();
  for (int i = 0; i < 4; ++i) {
    table->Next();
  }
  EXPECT_FALSE(table->Eof());
  table->Next();
  EXPECT_TRUE(table->Eof());
  EXPECT_EQ(table->GetFloat(0), 30.0);
}

TEST_P(DataSetBehaviour, FindKeyOnMultiFieldKey) {
  table->SetIndexFieldNames("CHAVELCTOFIS;TIPOIMPOSTO;VALORIMPOSTO;CODIGOOPERACAOFIS");
  ASSERT_TRUE(table->FindKey({10.0, 13, 5.0, 11407}));
  EXPECT_EQ(table->GetInteger(2), 11407);
  ASSERT_TRUE(table->FindKey({20.0}));
  EXPECT_EQ(table->GetFloat(3), 7.0);
  EXPECT_FALSE(table->FindKey({10.0, 13, 5.01, 11407}));
  EXPECT_EQ(table->GetFloat(3), 7.0) << "an unsuccessful search leaves the cursor";
}

TEST_P(DataSetBehaviour, RepeatedSearchesOfOneShapeKeepTheirCursor) {
  // The same search with other values, many times over: a failed one leaves the row found
  // last, and navigation goes on from it.
  table->SetIndexFieldNames("CHAVELCTOFIS;CODIGOOPERACAOFIS");
  for (int round = 0; round < 3; ++round) {
    ASSERT_TRUE(table->FindKey({10.0, 11403}));
    EXPECT_FALSE(table->FindKey({10.0, 99}));
    EXPECT_FALSE(table->FindKey({15.0, 0}));
    EXPECT_EQ(table->GetInteger(2), 11403);
    table->Next();
    EXPECT_EQ(table->GetInteger(2), 11407);
    table->SetRange({20.0}, {20.0});
    EXPECT_EQ(table->GetFloat(0), 20.0);
    table->CancelRange();
  }
}

TEST_P(DataSetBehaviour, NavigationGoesOnFromAFoundKey) {
  table->SetIndexFieldNames("CHAVELCTOFIS;CODIGOOPERACAOFIS");
  ASSERT_TRUE(table->FindKey({10.0, 11403}));
  table->Next();
  EXPECT_EQ(table->GetInteger(2), 11407);
  table->Next();
  EXPECT_EQ(table->GetFloat(0), 20.0);
}

TEST_P(DataSetBehaviour, FindKeyAcceptsIntegersForFloatFields) {
  table->SetIndexFieldNames("CHAVELCTOFIS");
  EXPECT_TRUE(table->FindKey({20}));
}

TEST_P(DataSetBehaviour, FindKeyWithoutIndexRaises) {
  EXPECT_THROW(table->FindKey({10.0}), Exception);
}

TEST_P(DataSetBehaviour, RangeIncludesBothEnds) {
  table->SetIndexFieldNames("TIPOIMPOSTO;CODIGOOPERACAOFIS");
  table->SetRange({13, 11403}, {13, 11403});
  EXPECT_EQ(table->RecordCount(), 1);
  EXPECT_EQ(table->GetInteger(2), 11403);
  table->SetRange({1}, {13});
  EXPECT_EQ(table->RecordCount(), 5);
  table->SetRange({2}, {12});
  EXPECT_TRUE(table->IsEmpty());
  EXPECT_TRUE(table->Eof());
  table->CancelRange();
  EXPECT_EQ(table->RecordCount(), 5);
}

// The same key searched again after rows were added before it, added to it, or moved to it by
// an edit: each search sees the table as it is.
TEST_P(DataSetBehaviour, TheSameKeySearchedAgainSeesTheRowsChangedSince) {
  table->SetIndexFieldNames("CHAVELCTOFIS");
  ASSERT_TRUE(table->FindKey({10.0}));
  table->SetRange({10.0}, {10.0});
  EXPECT_EQ(table->RecordCount(), 3);
  table->CancelRange();
  Add(5.0, 1, 0, 1.0, "NF");
  Add(10.0, 2, 0, 2.0, "NF");
  ASSERT_TRUE(table->FindKey({10.0}));
  EXPECT_EQ(table->GetFloat(0), 10.0);
  table->SetRange({10.0}, {10.0});
  EXPECT_EQ(table->RecordCount(), 4);
  table->CancelRange();
  ASSERT_TRUE(table->FindKey({20.0}));
  table->Edit();
  table->SetValue(0, 10.0);
  table->Post();
  EXPECT_FALSE(table->FindKey({20.0}));
  table->SetRange({10.0}, {10.0});
  EXPECT_EQ(table->RecordCount(), 5);
  table->CancelRange();
  EXPECT_EQ(Keys(), (std::vector<double>{5, 10, 10, 10, 10, 10, 30}));
}

TEST_P(DataSetBehaviour, FindKeyStaysInsideTheRange) {
  table->SetIndexFieldNames("CHAVELCTOFIS");
  table->SetRange({20.0}, {30.0});
  EXPECT_FALSE(table->FindKey({10.0}));
  EXPECT_TRUE(table->FindKey({30.0}));
}

TEST_P(DataSetBehaviour, DeleteUnderIndexAndRange) {
  table->SetIndexFieldNames("CHAVELCTOFIS;CODIGOOPERACAOFIS");
  table->SetRange({10.0}, {10.0});
  EXPECT_EQ(table->RecordCount(), 3);
  ASSERT_TRUE(table->FindKey({10.0, 11403}));
  table->Delete();
  EXPECT_EQ(table->RecordCount(), 2);
  EXPECT_EQ(table->GetInteger(2), 11407) << "delete moves to the next row";
  table->CancelRange();
  EXPECT_EQ(Keys(), (std::vector<double>{10, 10, 20, 30}));
}

TEST_P(DataSetBehaviour, DeleteTheLastRowMovesBack) {
  table->SetIndexFieldNames("CHAVELCTOFIS");
  ASSERT_TRUE(table->FindKey({30.0}));
  table->Delete();
  EXPECT_TRUE(table->Eof());
  EXPECT_EQ(table->GetFloat(0), 20.0);
}

TEST_P(DataSetBehaviour, DeletingEveryRowLeavesAnEmptyTable) {
  table->First();
  while (!table->IsEmpty()) {
    table->Delete();
  }
  EXPECT_TRUE(table->Eof());
  EXPECT_EQ(table->RecordCount(), 0);
  EXPECT_TRUE(table->IsNull(0));
  EXPECT_THROW(table->Delete(), Exception);
}

TEST_P(DataSetBehaviour, ManyDeletesUnderARange) {
  std::vector<std::vector<Variant>> rows;
  for (int i = 0; i < 1000; ++i) {
    rows.push_back({i % 10});
  }
  auto big = factory.Make(GetParam(), "big", {{"K", TFieldType::Integer}}, rows);
  big->SetIndexFieldNames("K");
  big->SetRange({3}, {7});
  EXPECT_EQ(big->RecordCount(), 500);
  big->First();
  int deleted = 0;
  while (!big->Eof() && big->GetInteger(0) <= 5) {
    big->Delete();
    ++deleted;
  }
  EXPECT_EQ(deleted, 300);
  EXPECT_EQ(big->RecordCount(), 200);
  EXPECT_EQ(big->GetInteger(0), 6);
  big->CancelRange();
  EXPECT_EQ(big->RecordCount(), 700);
}

TEST_P(DataSetBehaviour, AppendUnderAnIndexKeepsTheOrder) {
  table->SetIndexFieldNames("CHAVELCTOFIS");
  Add(15, 2, 0, 1.0, "NFS");
  EXPECT_EQ(table->GetFloat(0), 15.0) << "the cursor stays on the posted row";
  EXPECT_EQ(table->RecordCount(), 6);
  EXPECT_EQ(Keys(), (std::vector<double>{10, 10, 10, 15, 20, 30}));
}

TEST_P(DataSetBehaviour, NextAfterAppendGoesOnInIndexOrder) {
  table->SetIndexFieldNames("CHAVELCTOFIS");
  Add(15, 2, 0, 1.0, "NFS");
  table->Next();
  EXPECT_EQ(table->GetFloat(0), 20.0);
}

TEST_P(DataSetBehaviour, EditOfAnIndexedFieldReorders) {
  table->SetIndexFieldNames("CHAVELCTOFIS");
  ASSERT_TRUE(table->FindKey({30.0}));
  table->Edit();
  table->SetValue(0, 5.0);
  table->Post();
  EXPECT_EQ(Keys(), (std::vector<double>{5, 10, 10, 10, 20}));
}

TEST_P(DataSetBehaviour, CancelRestoresAnEditedRow) {
  table->First();
  table->Edit();
  table->SetValue(3, 99.0);
  table->Cancel();
  EXPECT_EQ(table->GetFloat(3), 10.0);
  table->First();
  EXPECT_EQ(table->GetFloat(3), 10.0);
}

TEST_P(DataSetBehaviour, WritingOutsideEditRaises) {
  table->First();
  EXPECT_THROW(table->SetValue(3, 1.0), Exception);
}

TEST_P(DataSetBehaviour, NullValues) {
  table->Append();
  table->SetValue(0, 99.0);
  table->Post();
  EXPECT_TRUE(table->IsNull(3));
  EXPECT_EQ(table->GetFloat(3), 0.0);
  EXPECT_EQ(table->GetString(4), "");
  table->SetIndexFieldNames("CHAVELCTOFIS");
  ASSERT_TRUE(table->FindKey({99.0}));
  EXPECT_TRUE(table->FieldByName("ESPECIENF")->Value().IsNull());
}

TEST_P(DataSetBehaviour, FilterNarrowsTheVisibleRows) {
  table->SetFilter("(VALORIMPOSTO <> 5) and Upper(ESPECIENF) = 'NFE'");
  table->SetFiltered(true);
  EXPECT_EQ(table->RecordCount(), 2);
  EXPECT_EQ(Keys(), (std::vector<double>{30, 20}));
  table->SetFiltered(false);
  EXPECT_EQ(table->RecordCount(), 5);
}

TEST_P(DataSetBehaviour, FilterAndRangeCombine) {
  table->SetIndexFieldNames("CHAVELCTOFIS");
  table->SetRange({10.0}, {10.0});
  table->SetFilter("TIPOIMPOSTO = 13");
  table->SetFiltered(true);
  EXPECT_EQ(table->RecordCount(), 2);
  ASSERT_TRUE(table->FindKey({10.0}));
  EXPECT_EQ(table->GetInteger(1), 13);
}

TEST_P(DataSetBehaviour, FilterOrAndNot) {
  table->SetFilter("not (TIPOIMPOSTO = 13) or CHAVELCTOFIS >= 30");
  table->SetFiltered(true);
  EXPECT_EQ(Keys(), (std::vector<double>{30, 20, 10}));
}

TEST_P(DataSetBehaviour, NullsInFiltersFollowThreeValuedLogic) {
  table->Append();
  table->SetValue(0, 99.0);
  table->Post();
  table->SetFilter("not (VALORIMPOSTO = 5)");
  table->SetFiltered(true);
  EXPECT_EQ(Keys(), (std::vector<double>{30, 20, 10})) << "the row without an amount is not shown";
  table->SetFilter("VALORIMPOSTO = 5 or CHAVELCTOFIS = 99");
  EXPECT_EQ(Keys(), (std::vector<double>{10, 10, 99}));
}

TEST_P(DataSetBehaviour, EqualityFiltersFollowIndexRangeAndChanges) {
  table->SetIndexFieldNames("VALORIMPOSTO");
  table->SetFilter("CHAVELCTOFIS = 10 and TIPOIMPOSTO = 13");
  table->SetFiltered(true);
  EXPECT_EQ(table->RecordCount(), 2);
  table->First();
  EXPECT_EQ(table->GetInteger(2), 11403);
  table->Next();
  EXPECT_EQ(table->GetInteger(2), 11407);
  table->Delete();
  EXPECT_EQ(table->RecordCount(), 1);
  Add(10, 13, 12001, 1.0, "NF");
  EXPECT_EQ(Keys(), (std::vector<double>{10, 10})) << "the row added later is found";
  table->First();
  EXPECT_EQ(table->GetInteger(2), 12001) << "ordered by amount: 1.0 before 5.0";
  table->SetFilter("CHAVELCTOFIS = 20");
  EXPECT_EQ(Keys(), (std::vector<double>{20}));
  table->SetFilter("CHAVELCTOFIS = 99");
  EXPECT_TRUE(table->IsEmpty());
  table->SetFilter("ESPECIENF = 'NFE'");
  table->SetRange({7.0}, {7.0});
  EXPECT_EQ(Keys(), (std::vector<double>{20}));
}

TEST_P(DataSetBehaviour, MalformedFilterRaises) {
  table->SetFilter("TIPOIMPOSTO = ");
  EXPECT_THROW(table->SetFiltered(true), Exception);
}

TEST_P(DataSetBehaviour, EmptyTableNavigation) {
  auto empty = factory.Make(GetParam(), "empty", {{"K", TFieldType::Integer}}, {});
  empty->SetIndexFieldNames("K");
  empty->First();
  EXPECT_TRUE(empty->Eof());
  EXPECT_TRUE(empty->IsEmpty());
  EXPECT_FALSE(empty->FindKey({1}));
  empty->SetRange({1}, {2});
  EXPECT_TRUE(empty->Eof());
  EXPECT_THROW(empty->Delete(), Exception);
}

// IsEmpty, asked before any count, answers as the count does: under ranges and filters, after
// the last visible row is deleted and after a row is added to the range.
TEST_P(DataSetBehaviour, IsEmptyAnswersAsTheCountDoes) {
  EXPECT_FALSE(table->IsEmpty());
  table->SetIndexFieldNames("TIPOIMPOSTO;CODIGOOPERACAOFIS");
  table->SetRange({13, 11404}, {13, 11406});
  EXPECT_TRUE(table->IsEmpty());
  EXPECT_TRUE(table->Eof());
  table->SetRange({13, 11403}, {13, 11403});
  EXPECT_FALSE(table->IsEmpty());
  table->First();
  EXPECT_EQ(table->GetInteger(2), 11403);
  table->Delete();
  EXPECT_TRUE(table->IsEmpty());
  EXPECT_EQ(table->RecordCount(), 0);
  Add(40, 13, 11403, 1.0, "NF");
  EXPECT_FALSE(table->IsEmpty());
  table->CancelRange();
  table->SetFilter("ESPECIENF = 'X'");
  table->SetFiltered(true);
  EXPECT_TRUE(table->IsEmpty());
  table->SetFilter("ESPECIENF = 'NF'");
  EXPECT_FALSE(table->IsEmpty());
  EXPECT_EQ(table->RecordCount(), 3);
  table->SetFiltered(false);
  EXPECT_FALSE(table->IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Kinds, DataSetBehaviour,
                         ::testing::Values(DataSetKind::Memory, DataSetKind::SqliteTable,
                                           DataSetKind::QueryCursor),
                         [](const auto& info) { return KindName(info.param); });

// In-memory specifics.
TEST(MemoryDataSet, CloneIsIndependent) {
  TnClientDataSetMem table(nullptr, kTaxFields);
  for (const auto& row : kTaxRows) {
    table.Append();
    for (size_t i = 0; i < row.size(); ++i) {
      table.SetValue(static_cast<int>(i), row[i]);
    }
    table.Post();
  }
  table.SetIndexFieldNames("CHAVELCTOFIS");
  table.SetRange({10.0}, {10.0});
  std::unique_ptr<TnClientDataSetMem> copy(Nutildb::CloneCDS(&table));
  EXPECT_EQ(copy->IndexFieldNames(), "CHAVELCTOFIS");
  EXPECT_EQ(copy->RecordCount(), 5) << "the clone has every row, not the range";
  copy->EmptyDataSet();
  EXPECT_TRUE(copy->IsEmpty());
  EXPECT_EQ(table.RecordCount(), 3);
  EXPECT_EQ(copy->FieldCount(), table.FieldCount());
}

// Integers 0..n-1 in a scrambled order, under field K, with V = 10 * K.
std::unique_ptr<TnClientDataSetMem> Scrambled(int n) {
  auto table = std::make_unique<TnClientDataSetMem>(
      nullptr, std::vector<TFieldDef>{{"K", TFieldType::Integer}, {"V", TFieldType::Float}});
  for (int i = 0; i < n; ++i) {
    const int k = (i * 7919) % n;
    table->Append();
    table->SetValue(0, Variant(k));
    table->SetValue(1, Variant(10.0 * k));
    table->Post();
  }
  return table;
}

std::vector<int64_t> Keys(TDataSet& table) {
  std::vector<int64_t> keys;
  for (table.First(); !table.Eof(); table.Next()) {
    keys.push_back(table.GetInteger(0));
  }
  return keys;
}

TEST(MemoryDataSet, CloneKeepsTheIndexOrderAfterDeletes) {
  for (const int deletes : {3, 60}) {  // few deleted rows (copied whole), many (compacted)
    auto table = Scrambled(100);
    table->SetIndexFieldNames("K");
    for (int i = 0; i < deletes; ++i) {
      ASSERT_TRUE(table->FindKey({Variant((3 * i) % 100)}));
      table->Delete();
    }
    std::unique_ptr<TnClientDataSetMem> copy(Nutildb::CloneCDS(table.get()));
    EXPECT_EQ(Keys(*copy), Keys(*table)) << deletes << " deleted";
    EXPECT_FALSE(copy->FindKey({Variant(0)}));
    ASSERT_TRUE(copy->FindKey({Variant(98)}));
    EXPECT_EQ(copy->GetFloat(1), 980.0);
    // The copy takes new rows in its index order, and the source does not see them.
    copy->Append();
    copy->SetValue(0, Variant(0));
    copy->Post();
    EXPECT_EQ(Keys(*copy).front(), 0);
    EXPECT_FALSE(table->FindKey({Variant(0)}));
  }
}

TEST(MemoryDataSet, IndexSortsNullsFirstThenByEachField) {
  TnClientDataSetMem table(
      nullptr, {{"A", TFieldType::Float}, {"B", TFieldType::Integer}, {"C", TFieldType::String}});
  const std::vector<std::vector<Variant>> rows = {
      {Variant(2.0), Variant(1), Variant("b")}, {Variant(), Variant(5), Variant("z")},
      {Variant(2.0), Variant(1), Variant("a")}, {Variant(-1.5), Variant(), Variant("c")},
      {Variant(2.0), Variant(0), Variant("d")}, {Variant(-1.5), Variant(3), Variant("e")}};
  for (const auto& row : rows) {
    table.Append();
    for (size_t i = 0; i < row.size(); ++i) {
      table.SetValue(static_cast<int>(i), row[i]);
    }
    table.Post();
  }
  table.SetIndexFieldNames("A;B;C");
  std::string order;
  for (table.First(); !table.Eof(); table.Next()) {
    order += table.GetString(2);
  }
  EXPECT_EQ(order, "zcedab");
}

// A tax type and an operation code take a handful of values over a million rows: such an index
// is ordered by placing rows rather than by comparing them. Either way the order is by the
// fields (empty first), then by insertion, deleted rows left out; past the handful the rows are
// compared, to the same order.
TEST(MemoryDataSet, AnIndexOfFewDistinctKeysOrdersByTheFieldsThenByInsertion) {
  for (const int distinct : {1, 3, 40, 200}) {
    TnClientDataSetMem table(
        nullptr,
        {{"TIPO", TFieldType::Integer}, {"OPER", TFieldType::Float}, {"ID", TFieldType::Integer}});
    struct Row {
      std::optional<int> tipo;
      std::optional<double> oper;
      int id;
    };
    std::vector<Row> rows;
    uint32_t seed = 12345;
    const auto next = [&seed] { return seed = seed * 1103515245 + 12345, (seed >> 8); };
    for (int id = 0; id < 3000; ++id) {
      Row row{std::nullopt, std::nullopt, id};
      if (next() % 10 != 0) {
        row.tipo = static_cast<int>(next() % static_cast<uint32_t>(distinct));
      }
      if (next() % 7 != 0) {
        row.oper = 11400.0 + static_cast<double>(next() % 3);
      }
      table.Append();
      table.SetValue(0, row.tipo ? Variant(*row.tipo) : Variant());
      table.SetValue(1, row.oper ? Variant(*row.oper) : Variant());
      table.SetValue(2, id);
      table.Post();
      rows.push_back(row);
    }
    for (table.First(); !table.Eof();) {
      if (table.GetInteger(2) % 5 == 0) {
        table.Delete();
      } else {
        table.Next();
      }
    }
    std::erase_if(rows, [](const Row& row) { return row.id % 5 == 0; });
    std::stable_sort(rows.begin(), rows.end(), [](const Row& a, const Row& b) {
      return std::tie(a.tipo, a.oper) < std::tie(b.tipo, b.oper);  // nullopt first
    });
    for (const char* index : {"TIPO;OPER", "TIPO"}) {
      if (std::string(index) == "TIPO") {
        std::stable_sort(rows.begin(), rows.end(),
                         [](const Row& a, const Row& b) { return a.id < b.id; });
        std::stable_sort(rows.begin(), rows.end(),
                         [](const Row& a, const Row& b) { return a.tipo < b.tipo; });
      }
      table.SetIndexFieldNames(index);
      std::vector<int64_t> ids;
      for (table.First(); !table.Eof(); table.Next()) {
        ids.push_back(table.GetInteger(2));
      }
      std::vector<int64_t> expected;
      for (const Row& row : rows) {
        expected.push_back(row.id);
      }
      EXPECT_EQ(ids, expected) << distinct << " types, index " << index;
    }
  }
}

// A provider's rows come in key order, and the report's indexes extend that key: only the rows
// of one key are put in order then. The order is the same as a full sort's (empty keys first,
// ties by insertion), and the searches that follow find the rows by the new order, also when
// rows came in between, unmerged, after a search under the old index.
TEST(MemoryDataSet, RowsInOrderOfTheFirstIndexFieldSortOnlyWithinEachKey) {
  struct Row {
    std::optional<double> key;
    std::string cfop;
    double rate;
    int id;
  };
  TnClientDataSetMem table(nullptr, {{"KEY", TFieldType::Float},
                                     {"CFOP", TFieldType::String},
                                     {"RATE", TFieldType::Float},
                                     {"ID", TFieldType::Integer}});
  std::vector<Row> rows;
  const auto add = [&](std::optional<double> key, const std::string& cfop, double rate) {
    const Row row{key, cfop, rate, static_cast<int>(rows.size())};
    table.AppendRecord(
        {key ? Variant(*key) : Variant(), Variant(cfop), Variant(rate), Variant(row.id)});
    rows.push_back(row);
  };
  for (int i = 0; i < 3; ++i) {
    add(std::nullopt, i == 1 ? "5102" : "6102", 4.0 - i);  // empty keys go first
  }
  for (int key = 1; key <= 400; ++key) {
    const int lines = key % 4;  // keys of none, one, two and three rows
    for (int line = 0; line < lines; ++line) {
      add(key * 1.5, line % 2 == 0 ? "6102" : "5102", static_cast<double>((key + line) % 3));
    }
  }
  const auto ids = [&table] {
    std::vector<int64_t> found;
    for (table.First(); !table.Eof(); table.Next()) {
      found.push_back(table.GetInteger(3));
    }
    return found;
  };
  const auto expected = [&](auto rest) {
    std::vector<Row> sorted = rows;
    std::stable_sort(sorted.begin(), sorted.end(), [&](const Row& a, const Row& b) {
      return a.key != b.key ? a.key < b.key : rest(a) < rest(b);
    });
    std::vector<int64_t> found;
    for (const Row& row : sorted) {
      found.push_back(row.id);
    }
    return found;
  };
  const auto by_cfop_rate = [](const Row& r) { return std::tie(r.cfop, r.rate); };
  const auto by_rate = [](const Row& r) { return std::make_tuple(r.rate); };

  table.SetIndexFieldNames("KEY;CFOP;RATE");
  EXPECT_EQ(ids(), expected(by_cfop_rate));
  ASSERT_TRUE(table.FindKey({Variant(9.0)}));  // key 6: two rows, by CFOP 5102 first
  EXPECT_EQ(table.GetString(1), "5102");

  // The first row deleted, rows appended, then a new index: every row after the deleted one
  // moves up a place, and the searches find by the new places and order.
  table.First();
  const int64_t deleted = table.GetInteger(3);
  table.Delete();
  std::erase_if(rows, [&](const Row& row) { return row.id == deleted; });
  add(700.0, "6102", 1);
  add(700.0, "5102", 2);
  table.SetIndexFieldNames("KEY;RATE");
  EXPECT_EQ(ids(), expected(by_rate));
  ASSERT_TRUE(table.FindKey({Variant(9.0)}));
  EXPECT_EQ(table.GetString(1), "6102");  // key 6's rates: 0 (6102), then 1 (5102)
  ASSERT_TRUE(table.FindKey({Variant(700.0)}));
  EXPECT_EQ(table.GetString(1), "6102");
  EXPECT_FALSE(table.FindKey({Variant(6.0)}));  // key 4 has no rows

  // An empty key after the others: the rows are not in key order, and are sorted whole.
  add(std::nullopt, "1102", 9);
  table.SetIndexFieldNames("KEY;CFOP;RATE");
  EXPECT_EQ(ids(), expected(by_cfop_rate));
  ASSERT_TRUE(table.FindKey({Variant()}));
  EXPECT_EQ(table.GetString(1), "1102");
}

TEST(MemoryDataSet, IntegersBeyondTheDoublesPrecisionSortExactly) {
  TnClientDataSetMem table(nullptr, {{"K", TFieldType::Integer}});
  const int64_t big = (int64_t{1} << 60) + 1;
  for (const int64_t k : {big, big - 1, int64_t{5}, big - 2}) {
    table.Append();
    table.SetValue(0, Variant(k));
    table.Post();
  }
  table.SetIndexFieldNames("K");
  EXPECT_EQ(Keys(table), (std::vector<int64_t>{5, big - 2, big - 1, big}));
}

TEST(MemoryDataSet, KeySearchesAgreeWithAScanInAnyOrder) {
  // Keys with repeats and nulls; searches in increasing, decreasing and scattered order, by the
  // first field alone and by both, each checked against a count over every row.
  TnClientDataSetMem table(nullptr, {{"A", TFieldType::Float}, {"B", TFieldType::Integer}});
  std::vector<std::pair<std::optional<double>, int>> rows;
  for (int i = 0; i < 3000; ++i) {
    const std::optional<double> a =
        i % 97 == 0 ? std::nullopt : std::optional<double>((i * 7919) % 400 / 2.0);
    rows.emplace_back(a, i % 5);
    table.Append();
    table.SetValue(0, a ? Variant(*a) : Variant());
    table.SetValue(1, Variant(i % 5));
    table.Post();
  }
  table.SetIndexFieldNames("A;B");
  auto count = [&](std::optional<double> a, std::optional<int> b) {
    return std::count_if(rows.begin(), rows.end(), [&](const auto& row) {
      return row.first == a && (!b || row.second == *b);
    });
  };
  std::vector<double> probes;
  for (int k = -2; k < 404; ++k) {
    probes.push_back(k / 2.0);  // increasing, with values between and beyond the keys
  }
  for (int k = 403; k >= -2; k -= 3) {
    probes.push_back(k / 2.0);  // decreasing
  }
  for (int k = 0; k < 300; ++k) {
    probes.push_back((k * 131) % 410 / 2.0 - 1);  // scattered
  }
  for (const double a : probes) {
    const auto expected = count(a, std::nullopt);
    EXPECT_EQ(table.FindKey({a}), expected > 0) << a;
    if (expected > 0) {
      EXPECT_EQ(table.GetFloat(0), a);
      int smallest = 5;
      for (const auto& row : rows) {
        if (row.first == a) {
          smallest = std::min(smallest, row.second);
        }
      }
      EXPECT_EQ(table.GetInteger(1), smallest) << "the first row of the key, in index order";
    }
    EXPECT_EQ(table.FindKey({a, 3}), count(a, 3) > 0) << a;
    table.SetRange({a}, {a});
    EXPECT_EQ(table.RecordCount(), expected) << a;
    table.SetRange({a, 1}, {a, 2});
    EXPECT_EQ(table.RecordCount(), count(a, 1) + count(a, 2)) << a;
    table.CancelRange();
  }
  table.SetRange({Variant()}, {Variant()});
  EXPECT_EQ(table.RecordCount(), count(std::nullopt, std::nullopt)) << "null keys come first";
}

TEST(MemoryDataSet, AppendRecordAddsOneWholeRowOrNone) {
  TnClientDataSetMem table(nullptr, {{"K", TFieldType::Float},
                                     {"N", TFieldType::Integer},
                                     {"S", TFieldType::String},
                                     {"D", TFieldType::DateTime}});
  table.SetIndexFieldNames("K");
  table.AppendRecord({Variant(2.0), Variant(7), Variant("b"), Variant::FromDateTime(46023)});
  table.AppendRecord({Variant(1), Variant("8"), Variant(), Variant()});
  EXPECT_EQ(table.RecordCount(), 2);
  table.First();
  EXPECT_EQ(table.GetFloat(0), 1.0) << "the index takes the new rows in";
  EXPECT_EQ(table.GetInteger(1), 8) << "values are converted to the field's type";
  EXPECT_TRUE(table.IsNull(2));
  table.Next();
  EXPECT_EQ(table.GetString(2), "b");
  EXPECT_EQ(table.GetFloat(3), 46023.0);
  EXPECT_THROW(table.AppendRecord({Variant(3.0), Variant("x"), Variant("c"), Variant()}),
               Exception);
  EXPECT_THROW(table.AppendRecord({Variant(3.0)}), Exception);
  EXPECT_EQ(table.RecordCount(), 2) << "a bad record adds nothing";
  table.SetReadOnly(true);
  EXPECT_THROW(table.AppendRecord({Variant(4.0), Variant(1), Variant(), Variant()}), Exception);
}

// A look-up cursor refilled in one step reads as one emptied and filled row by row: the index
// orders the rows (ties by insertion), the filter and range still apply, an empty text empties
// a number, and a value that cannot be set keeps the rows before it.
TEST(MemoryDataSet, ReplaceRowsReadsAsEmptyingAndAppendingEachRow) {
  const std::vector<TFieldDef> fields = {
      {"K", TFieldType::Integer}, {"S", TFieldType::String}, {"F", TFieldType::Float}};
  const std::vector<std::vector<Variant>> rows = {{Variant(3), Variant("c"), Variant(1.5)},
                                                  {Variant(1), Variant("a"), Variant("")},
                                                  {Variant(3), Variant("b"), Variant(2)},
                                                  {Variant(), Variant("n"), Variant(0.25)},
                                                  {Variant(2), Variant("d"), Variant("7")}};
  TnClientDataSet refilled(nullptr, fields), appended(nullptr, fields);
  for (TnClientDataSet* table : {&refilled, &appended}) {
    table->SetIndexFieldNames("K");
    table->AppendRecord({Variant(9), Variant("old"), Variant(0.0)});
    table->SetFilter("S <> 'a'");
    table->SetFiltered(true);
    table->SetRange({Variant(1)}, {Variant(3)});
  }
  refilled.ReplaceRows(rows);
  appended.EmptyDataSet();
  for (const std::vector<Variant>& row : rows) {
    appended.Append();
    for (size_t f = 0; f < row.size(); ++f) {
      appended.SetValue(static_cast<int>(f), row[f]);
    }
    appended.Post();
  }
  const auto read = [](TnClientDataSet& table) {
    std::string text;
    for (table.First(); !table.Eof(); table.Next()) {
      text += table.GetString(0) + table.GetString(1) + (table.IsNull(2) ? "-" : "+") +
              table.GetString(2) + ";";
    }
    return text + std::to_string(table.RecordCount());
  };
  EXPECT_EQ(read(refilled), "2d+7;3c+1,5;3b+2;3");
  EXPECT_EQ(read(refilled), read(appended));
  for (TnClientDataSet* table : {&refilled, &appended}) {
    table->CancelRange();
    table->SetFiltered(false);
  }
  EXPECT_EQ(read(refilled), "n+0,25;1a-;2d+7;3c+1,5;3b+2;5");
  EXPECT_EQ(read(refilled), read(appended));
  ASSERT_TRUE(refilled.FindKey({Variant(3)}));
  EXPECT_EQ(refilled.GetString(1), "c");

  EXPECT_THROW(refilled.ReplaceRows({{Variant(5), Variant("e"), Variant(1.0)},
                                     {Variant("x"), Variant("f"), Variant(2.0)},
                                     {Variant(4), Variant("g"), Variant(3.0)}}),
               Exception);
  EXPECT_EQ(read(refilled), "5e+1;1") << "the rows before the bad value stay";
  EXPECT_THROW(refilled.ReplaceRows({{Variant(6)}}), Exception);
  EXPECT_EQ(read(refilled), "5e+1;1") << "a record of the wrong size changes nothing";
  refilled.SetReadOnly(true);
  EXPECT_THROW(refilled.ReplaceRows({}), Exception);
}

TEST(MemoryDataSet, RowsAppendedUnderAnIndexReadInIndexOrder) {
  // Appends wait to be merged into the index until a read; reads in between see them.
  TnClientDataSetMem table(nullptr, {{"K", TFieldType::Integer}});
  table.SetIndexFieldNames("K");
  for (int i = 0; i < 500; ++i) {
    if (i % 2 == 0) {
      table.AppendRecord({Variant((i * 7919) % 500)});
    } else {
      table.Append();
      table.SetValue(0, Variant((i * 7919) % 500));
      table.Post();
    }
    if (i == 250) {
      ASSERT_TRUE(table.FindKey({Variant((250 * 7919) % 500)}));
    }
  }
  std::vector<int64_t> expected(500);
  for (int i = 0; i < 500; ++i) {
    expected[i] = i;
  }
  EXPECT_EQ(Keys(table), expected);
}

TEST(MemoryDataSet, ReadOnlyRefusesEdits) {
  TnClientDataSet cursor(nullptr, {{"K", TFieldType::Integer}});
  cursor.SetReadOnly(true);
  EXPECT_THROW(cursor.Append(), Exception);
}

TEST(MemoryDataSet, ViewsCheckTheKind) {
  TnClientDataSetMem table;
  EXPECT_EQ(Nutildb::CDSM(&table), &table);
  TnDM not_a_table;
  EXPECT_THROW(Nutildb::CDSM(&not_a_table), EInvalidCast);
  EXPECT_THROW(Nutildb::FDTSQLite(&table), EInvalidCast);
}

}  // namespace
}  // namespace nrw::testing
