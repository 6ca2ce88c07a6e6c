#include <gtest/gtest.h>

#include <memory>

#include "host/exception.hpp"
#include "host/memory_data_set.hpp"

namespace {

// A small tax-line table: key, tax type, operation, amount.
class MemoryDataSetTest : public ::testing::Test {
 protected:
  void SetUp() override {
    table.CreateDataSet({{"CHAVELCTOFIS", TFieldType::Float},
                         {"TIPOIMPOSTO", TFieldType::Integer},
                         {"CODIGOOPERACAOFIS", TFieldType::Integer},
                         {"VALORIMPOSTO", TFieldType::Float},
                         {"ESPECIENF", TFieldType::String}});
    table.SetName("cdsImposto");
    Add(30, 1, 0, 10.0, "NFE");
    Add(10, 13, 11403, 5.0, "NF");
    Add(20, 1, 0, 7.0, "NFE");
    Add(10, 13, 11407, 5.0, "NF");
    Add(10, 1, 0, 3.0, "NF");
  }
  void Add(double key, int tipo, int op, double valor, const char* especie) {
    table.Append();
    table.SetValue(0, key);
    table.SetValue(1, tipo);
    table.SetValue(2, op);
    table.SetValue(3, valor);
    table.SetValue(4, especie);
    table.Post();
  }
  std::vector<double> Keys() {
    std::vector<double> keys;
    for (table.First(); !table.Eof(); table.Next()) {
      keys.push_back(table.GetFloat(0));
    }
    return keys;
  }
  TnClientDataSetMem table;
};

TEST_F(MemoryDataSetTest, NaturalOrderAndCount) {
  EXPECT_EQ(table.RecordCount(), 5);
  EXPECT_EQ(Keys(), (std::vector<double>{30, 10, 20, 10, 10}));
}

TEST_F(MemoryDataSetTest, FieldLookupIgnoresCase) {
  EXPECT_EQ(table.FieldByName("ChaveLctoFis")->Index(), 0);
  EXPECT_EQ(table.FieldIndex("valorimposto"), 3);
  EXPECT_EQ(table.FindField("nope"), nullptr);
  try {
    table.FieldByName("NOPE");
    FAIL();
  } catch (const Exception& e) {
    EXPECT_STREQ(e.what(), "cdsImposto: Field 'NOPE' not found");
  }
}

TEST_F(MemoryDataSetTest, IndexOrdersByFieldsThenInsertion) {
  table.SetIndexFieldNames("ChaveLctoFis;TipoImposto");
  EXPECT_EQ(table.IndexFieldNames(), "ChaveLctoFis;TipoImposto");
  EXPECT_EQ(Keys(), (std::vector<double>{10, 10, 10, 20, 30}));
  table.First();
  EXPECT_EQ(table.GetInteger(1), 1);
}

TEST_F(MemoryDataSetTest, NextPastTheEndStaysOnTheLastRow) {
  table.SetIndexFieldNames("CHAVELCTOFIS");
  table.First();
  for (int i = 0; i < 4; ++i) {
    table.Next();
  }
  EXPECT_FALSE(table.Eof());
  table.Next();
  EXPECT_TRUE(table.Eof());
  EXPECT_EQ(table.GetFloat(0), 30.0);
}

TEST_F(MemoryDataSetTest, FindKeyOnMultiFieldKey) {
  table.SetIndexFieldNames("CHAVELCTOFIS;TIPOIMPOSTO;VALORIMPOSTO;CODIGOOPERACAOFIS");
  ASSERT_TRUE(table.FindKey({10.0, 13, 5.0, 11407}));
  EXPECT_EQ(table.GetInteger(2), 11407);
  ASSERT_TRUE(table.FindKey({20.0}));
  EXPECT_EQ(table.GetFloat(3), 7.0);
  EXPECT_FALSE(table.FindKey({10.0, 13, 5.01, 11407}));
  EXPECT_EQ(table.GetFloat(3), 7.0) << "an unsuccessful search leaves the cursor";
}

TEST_F(MemoryDataSetTest, FindKeyWithoutIndexRaises) {
  EXPECT_THROW(table.FindKey({10.0}), Exception);
}

TEST_F(MemoryDataSetTest, RangeIncludesBothEnds) {
  table.SetIndexFieldNames("TIPOIMPOSTO;CODIGOOPERACAOFIS");
  table.SetRange({13, 11403}, {13, 11403});
  EXPECT_EQ(table.RecordCount(), 1);
  EXPECT_EQ(table.GetInteger(2), 11403);
  table.SetRange({1}, {13});
  EXPECT_EQ(table.RecordCount(), 5);
  table.SetRange({2}, {12});
  EXPECT_TRUE(table.IsEmpty());
  EXPECT_TRUE(table.Eof());
  table.CancelRange();
  EXPECT_EQ(table.RecordCount(), 5);
}

TEST_F(MemoryDataSetTest, FindKeyStaysInsideTheRange) {
  table.SetIndexFieldNames("CHAVELCTOFIS");
  table.SetRange({20.0}, {30.0});
  EXPECT_FALSE(table.FindKey({10.0}));
  EXPECT_TRUE(table.FindKey({30.0}));
}

TEST_F(MemoryDataSetTest, DeleteUnderIndexAndRange) {
  table.SetIndexFieldNames("CHAVELCTOFIS;CODIGOOPERACAOFIS");
  table.SetRange({10.0}, {10.0});
  EXPECT_EQ(table.RecordCount(), 3);
  ASSERT_TRUE(table.FindKey({10.0, 11403}));
  table.Delete();
  EXPECT_EQ(table.RecordCount(), 2);
  EXPECT_EQ(table.GetInteger(2), 11407) << "delete moves to the next row";
  table.CancelRange();
  EXPECT_EQ(Keys(), (std::vector<double>{10, 10, 20, 30}));
}

TEST_F(MemoryDataSetTest, DeleteTheLastRowMovesBack) {
  table.SetIndexFieldNames("CHAVELCTOFIS");
  ASSERT_TRUE(table.FindKey({30.0}));
  table.Delete();
  EXPECT_TRUE(table.Eof());
  EXPECT_EQ(table.GetFloat(0), 20.0);
}

TEST_F(MemoryDataSetTest, DeletingEveryRowLeavesAnEmptyTable) {
  table.First();
  while (!table.IsEmpty()) {
    table.Delete();
  }
  EXPECT_TRUE(table.Eof());
  EXPECT_EQ(table.RecordCount(), 0);
  EXPECT_TRUE(table.IsNull(0));
}

TEST_F(MemoryDataSetTest, ManyDeletesSweepTombstones) {
  TnClientDataSetMem big(nullptr, {{"K", TFieldType::Integer}});
  for (int i = 0; i < 1000; ++i) {
    big.Append();
    big.SetValue(0, i % 10);
    big.Post();
  }
  big.SetIndexFieldNames("K");
  big.SetRange({3}, {7});
  EXPECT_EQ(big.RecordCount(), 500);
  big.First();
  int deleted = 0;
  while (!big.Eof() && big.GetInteger(0) <= 5) {
    big.Delete();
    ++deleted;
  }
  EXPECT_EQ(deleted, 300);
  EXPECT_EQ(big.RecordCount(), 200);
  EXPECT_EQ(big.GetInteger(0), 6);
  big.CancelRange();
  EXPECT_EQ(big.RecordCount(), 700);
}

TEST_F(MemoryDataSetTest, AppendUnderAnIndexKeepsTheOrder) {
  table.SetIndexFieldNames("CHAVELCTOFIS");
  Add(15, 2, 0, 1.0, "NFS");
  EXPECT_EQ(table.GetFloat(0), 15.0) << "the cursor stays on the posted row";
  EXPECT_EQ(Keys(), (std::vector<double>{10, 10, 10, 15, 20, 30}));
}

TEST_F(MemoryDataSetTest, EditOfAnIndexedFieldReorders) {
  table.SetIndexFieldNames("CHAVELCTOFIS");
  ASSERT_TRUE(table.FindKey({30.0}));
  table.Edit();
  table.SetValue(0, 5.0);
  table.Post();
  EXPECT_EQ(Keys(), (std::vector<double>{5, 10, 10, 10, 20}));
}

TEST_F(MemoryDataSetTest, CancelRestoresAnEditedRow) {
  table.First();
  table.Edit();
  table.SetValue(3, 99.0);
  table.Cancel();
  EXPECT_EQ(table.GetFloat(3), 10.0);
}

TEST_F(MemoryDataSetTest, WritingOutsideEditRaises) {
  table.First();
  EXPECT_THROW(table.SetValue(3, 1.0), Exception);
}

TEST_F(MemoryDataSetTest, NullValues) {
  table.Append();
  table.SetValue(0, 99.0);
  table.Post();
  EXPECT_TRUE(table.IsNull(3));
  EXPECT_EQ(table.GetFloat(3), 0.0);
  EXPECT_EQ(table.GetString(4), "");
  EXPECT_TRUE(table.FieldByName("ESPECIENF")->Value().IsNull());
}

TEST_F(MemoryDataSetTest, CloneIsIndependent) {
  table.SetIndexFieldNames("CHAVELCTOFIS");
  TnClientDataSetMem copy;
  copy.CopyFrom(table);
  EXPECT_EQ(copy.IndexFieldNames(), "CHAVELCTOFIS");
  EXPECT_EQ(copy.RecordCount(), 5);
  copy.EmptyDataSet();
  EXPECT_TRUE(copy.IsEmpty());
  EXPECT_EQ(table.RecordCount(), 5);
  EXPECT_EQ(copy.FieldCount(), table.FieldCount());
}

TEST_F(MemoryDataSetTest, FilterNarrowsWithoutCopying) {
  table.SetFilter("(VALORIMPOSTO <> 5) and Upper(ESPECIENF) = 'NFE'");
  table.SetFiltered(true);
  EXPECT_EQ(table.RecordCount(), 2);
  EXPECT_EQ(Keys(), (std::vector<double>{30, 20}));
  table.SetFiltered(false);
  EXPECT_EQ(table.RecordCount(), 5);
}

TEST_F(MemoryDataSetTest, FilterAndRangeCombine) {
  table.SetIndexFieldNames("CHAVELCTOFIS");
  table.SetRange({10.0}, {10.0});
  table.SetFilter("TIPOIMPOSTO = 13");
  table.SetFiltered(true);
  EXPECT_EQ(table.RecordCount(), 2);
  ASSERT_TRUE(table.FindKey({10.0}));
  EXPECT_EQ(table.GetInteger(1), 13);
}

TEST_F(MemoryDataSetTest, EmptyTableNavigation) {
  TnClientDataSetMem empty(nullptr, {{"K", TFieldType::Integer}});
  empty.SetIndexFieldNames("K");
  empty.First();
  EXPECT_TRUE(empty.Eof());
  EXPECT_TRUE(empty.IsEmpty());
  EXPECT_FALSE(empty.FindKey({1}));
  empty.SetRange({1}, {2});
  EXPECT_TRUE(empty.Eof());
  EXPECT_THROW(empty.Delete(), Exception);
}

}  // namespace
