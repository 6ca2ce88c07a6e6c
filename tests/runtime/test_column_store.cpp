#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "host/exception.hpp"
#include "runtime/column_store.hpp"

namespace nrw {
namespace {

TEST(ChunkedVector, GrowsPastManyChunksWithoutLosingValues) {
  ChunkedVector<int64_t> values;
  const size_t n = 3 * ChunkedVector<int64_t>::kChunk + 5;
  for (size_t i = 0; i < n; ++i) {
    values.PushBack(static_cast<int64_t>(i * 3));
  }
  ASSERT_EQ(values.Size(), n);
  for (size_t i = 0; i < n; i += 997) {
    EXPECT_EQ(values[i], static_cast<int64_t>(i * 3));
  }
  EXPECT_EQ(values[n - 1], static_cast<int64_t>((n - 1) * 3));
}

TEST(ChunkedVector, CopiesShareUntilOneWrites) {
  ChunkedVector<double> original;
  for (int i = 0; i < 20000; ++i) {  // a first chunk and part of a second
    original.PushBack(i);
  }
  ChunkedVector<double> copy = original;
  copy.Mutable(5) = -1;
  copy.Mutable(19999) = -2;
  copy.PushBack(7);
  original.PushBack(8);
  EXPECT_EQ(original[5], 5);
  EXPECT_EQ(original[19999], 19999);
  EXPECT_EQ(original[20000], 8);
  EXPECT_EQ(copy[5], -1);
  EXPECT_EQ(copy[19999], -2);
  EXPECT_EQ(copy[20000], 7);
}

TEST(ChunkedVector, ASmallFirstChunkSharedAndGrown) {
  ChunkedVector<int64_t> original;
  original.PushBack(1);
  ChunkedVector<int64_t> copy = original;
  for (int i = 0; i < 100; ++i) {
    copy.PushBack(i);  // the shared first chunk grows in the copy only
  }
  EXPECT_EQ(original.Size(), 1u);
  EXPECT_EQ(original[0], 1);
  EXPECT_EQ(copy[0], 1);
  EXPECT_EQ(copy[100], 99);
}

// A cleared vector keeps its unshared first chunk for the next rows; one it shares with a copy
// is let go, so the copy keeps its values.
TEST(ChunkedVector, ClearedAndFilledAgainBesideACopy) {
  ChunkedVector<int64_t> values;
  for (int i = 0; i < 40; ++i) {
    values.PushBack(i);
  }
  values.Clear();
  EXPECT_EQ(values.Size(), 0u);
  for (int i = 0; i < 50; ++i) {
    values.PushBack(100 + i);
  }
  EXPECT_EQ(values[0], 100);
  EXPECT_EQ(values[49], 149);
  const ChunkedVector<int64_t> copy = values;
  values.Clear();
  values.PushBack(-1);
  EXPECT_EQ(values[0], -1);
  EXPECT_EQ(copy.Size(), 50u);
  EXPECT_EQ(copy[0], 100) << "the copy's chunk was not written over";
  EXPECT_EQ(copy[49], 149);
}

TEST(TextArena, ClearedAndFilledAgainBesideACopy) {
  TextArena arena;
  arena.Add("first text");
  arena.Clear();
  const TextArena::Handle again = arena.Add("again");
  EXPECT_EQ(arena.Text(again), "again");
  const TextArena copy = arena;
  arena.Clear();
  const TextArena::Handle after = arena.Add("written after the copy");
  EXPECT_EQ(arena.Text(after), "written after the copy");
  EXPECT_EQ(copy.Text(again), "again") << "the copy's block was not written over";
}

TEST(TextArena, TextsKeepTheirBytesAcrossBlocksAndCopies) {
  TextArena arena;
  std::vector<TextArena::Handle> handles;
  std::vector<std::string> texts;
  for (int i = 0; i < 20000; ++i) {  // several 64 KiB blocks
    texts.push_back("text number " + std::to_string(i));
    handles.push_back(arena.Add(texts.back()));
  }
  const std::string large(200000, 'x');  // longer than a block
  const TextArena::Handle large_handle = arena.Add(large);
  TextArena copy = arena;
  const TextArena::Handle in_copy = copy.Add("only in the copy");
  const TextArena::Handle in_original = arena.Add("only in the original");
  for (size_t i = 0; i < texts.size(); i += 101) {
    EXPECT_EQ(arena.Text(handles[i]), texts[i]);
    EXPECT_EQ(copy.Text(handles[i]), texts[i]);
  }
  EXPECT_EQ(arena.Text(large_handle), large);
  EXPECT_EQ(copy.Text(in_copy), "only in the copy");
  EXPECT_EQ(arena.Text(in_original), "only in the original");
  EXPECT_EQ(arena.Text(arena.Add("")), "");
}

// Every position of a filled vector reads the value; writing one position, or adding past the
// end, leaves the others as they were.
TEST(ChunkedVector, AFilledVectorIsWrittenOnePositionAtATime) {
  const size_t n = 2 * ChunkedVector<double>::kChunk + 3;
  ChunkedVector<double> filled = ChunkedVector<double>::Filled(n, 2.5);
  ASSERT_EQ(filled.Size(), n);
  filled.Mutable(7) = -1;
  filled.Mutable(n - 1) = -2;
  filled.PushBack(9);
  for (size_t i = 0; i < n; ++i) {
    const double expected = i == 7 ? -1 : i == n - 1 ? -2 : 2.5;
    ASSERT_EQ(filled[i], expected) << i;
  }
  EXPECT_EQ(filled[n], 9);
  EXPECT_EQ(ChunkedVector<int64_t>::Filled(0, 1).Size(), 0u);
  ChunkedVector<uint8_t> few = ChunkedVector<uint8_t>::Filled(3, 1);
  few.Clear();
  few.PushBack(0);
  EXPECT_EQ(few.Size(), 1u);
  EXPECT_EQ(few[0], 0);
}

TEST(ColumnStore, CopiesAreIndependentAfterWrites) {
  ColumnStore store({{"N", TFieldType::Integer}, {"S", TFieldType::String}});
  for (int i = 0; i < 3; ++i) {
    const RowId row = store.AddRow();
    store.Set(row, 0, Variant(i));
    store.Set(row, 1, Variant("v" + std::to_string(i)));
  }
  ColumnStore copy = store;
  copy.Set(1, 1, Variant("changed"));
  copy.Set(2, 0, Variant());
  copy.Clear();
  EXPECT_EQ(copy.RowCount(), 0u);
  EXPECT_EQ(store.String(1, 1), "v1");
  EXPECT_FALSE(store.IsNull(2, 0));
  EXPECT_EQ(store.Integer(2, 0), 2);
}

TEST(ColumnStore, AFailedConversionLeavesTheCellAsItWas) {
  ColumnStore store({{"N", TFieldType::Integer}});
  const RowId row = store.AddRow();
  EXPECT_THROW(store.Set(row, 0, Variant("not a number")), Exception);
  EXPECT_TRUE(store.IsNull(row, 0));
}

// A store that shares another's rows reads the shared columns as the other does and the rest
// as null; writes on either side, and rows added to either, stay on that side.
TEST(ColumnStore, SharedRowsReadAsTheSourceAndAreWrittenApart) {
  const std::vector<TFieldDef> defs = {
      {"N", TFieldType::Integer}, {"R", TFieldType::Float}, {"S", TFieldType::String}};
  ColumnStore source(defs);
  constexpr int kRows = 40000;
  for (int i = 0; i < kRows; ++i) {
    const RowId row = source.AddRow();
    source.Set(row, 0, Variant(i));
    if (i % 3 != 0) {
      source.Set(row, 1, Variant(i / 8.0));
    }
    source.Set(row, 2, Variant("s" + std::to_string(i)));
  }
  ColumnStore shared(defs);
  shared.ShareRows(source, {1, 2});
  ASSERT_EQ(shared.RowCount(), source.RowCount());
  for (RowId row = 0; row < kRows; row += 7) {
    ASSERT_TRUE(shared.IsNull(row, 0)) << row;
    ASSERT_EQ(shared.Integer(row, 0), 0) << row;
    ASSERT_EQ(shared.IsNull(row, 1), source.IsNull(row, 1)) << row;
    ASSERT_EQ(shared.Float(row, 1), source.Float(row, 1)) << row;
    ASSERT_EQ(shared.String(row, 2), source.String(row, 2)) << row;
  }
  shared.Set(3, 1, Variant(-1.0));
  shared.Set(5, 2, Variant("only in the sharer"));
  shared.Set(6, 0, Variant(66));
  source.Set(9, 2, Variant("only in the source"));
  const RowId added = shared.AddRow();
  shared.Set(added, 2, Variant("added"));
  EXPECT_TRUE(source.IsNull(3, 1));
  EXPECT_EQ(source.String(5, 2), "s5");
  EXPECT_EQ(source.Integer(6, 0), 6);
  EXPECT_EQ(source.RowCount(), static_cast<size_t>(kRows));
  EXPECT_EQ(shared.Float(3, 1), -1.0);
  EXPECT_EQ(shared.String(5, 2), "only in the sharer");
  EXPECT_EQ(shared.Integer(6, 0), 66);
  EXPECT_TRUE(shared.IsNull(7, 0)) << "the other nulls stay";
  EXPECT_EQ(shared.String(9, 2), "s9");
  EXPECT_EQ(shared.String(added, 2), "added");
  EXPECT_TRUE(shared.IsNull(added, 1));

  ColumnStore full(defs);
  full.AddRow();
  EXPECT_THROW(full.ShareRows(source, {0}), Exception) << "a store that holds rows";
  ColumnStore other(
      {{"N", TFieldType::String}, {"R", TFieldType::Float}, {"S", TFieldType::String}});
  EXPECT_THROW(other.ShareRows(source, {0}), Exception) << "columns of other kinds";
}

// Long enough for the columns to be copied on two threads: every cell, null or not, of every
// kind of column lands where the order puts its row.
TEST(ColumnStore, APermutedCopyHoldsEachRowWhereTheOrderPutsIt) {
  ColumnStore store({{"N", TFieldType::Integer},
                     {"F", TFieldType::Float},
                     {"S", TFieldType::String},
                     {"D", TFieldType::DateTime},
                     {"T", TFieldType::String}});
  constexpr int kRows = 70000;
  for (int i = 0; i < kRows; ++i) {
    const RowId row = store.AddRow();
    if (i % 7 != 0) {
      store.Set(row, 0, Variant(i));
    }
    store.Set(row, 1, Variant(i / 4.0));
    if (i % 5 != 0) {
      store.Set(row, 2, Variant("s" + std::to_string(i)));
    }
    store.Set(row, 3, Variant(45000.0 + i));
    store.Set(row, 4, Variant(std::string(static_cast<size_t>(i % 40), 'x')));
  }
  std::vector<RowId> order(kRows);
  std::iota(order.begin(), order.end(), RowId{0});
  std::shuffle(order.begin(), order.end(), std::mt19937(21));
  order.resize(kRows - 100);  // a permutation of some of the rows
  const ColumnStore permuted = store.Permuted(order);
  ASSERT_EQ(permuted.RowCount(), order.size());
  for (size_t p = 0; p < order.size(); ++p) {
    const RowId row = order[p];
    for (int field = 0; field < 5; ++field) {
      ASSERT_EQ(permuted.IsNull(p, field), store.IsNull(row, field)) << p << " " << field;
      ASSERT_EQ(permuted.String(p, field), store.String(row, field)) << p << " " << field;
    }
  }
}

}  // namespace
}  // namespace nrw
