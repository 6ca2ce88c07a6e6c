// The ordered worker runs what it is handed in order, once, and keeps the first failure; the
// background load writes the rows of tables filled in turns in the order they came.
#include "runtime/background_load.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <string>
#include <vector>

#include "host/exception.hpp"
#include "runtime/ordered_worker.hpp"
#include "tests/runtime/data_set_kinds.hpp"

namespace nrw::testing {
namespace {

TEST(OrderedWorker, RunsItemsInOrderAndGivesThemBackForReuse) {
  std::vector<int> seen;  // only the worker writes, Drain orders the reads after
  OrderedWorker<std::vector<int>> worker("test-worker", 2, [&](std::vector<int>& item) {
    seen.insert(seen.end(), item.begin(), item.end());
    item.clear();
  });
  for (int i = 0; i < 100; ++i) {
    std::vector<int> item = worker.Take();
    item.assign({2 * i, 2 * i + 1});
    worker.HandOver(std::move(item));
  }
  worker.Drain();
  ASSERT_EQ(seen.size(), 200u);
  for (int i = 0; i < 200; ++i) {
    ASSERT_EQ(seen[static_cast<size_t>(i)], i);
  }
  EXPECT_GE(worker.Take().capacity(), 2u) << "a run item comes back with its buffer";
}

TEST(OrderedWorker, KeepsTheFirstFailureAndRunsNothingAfterIt) {
  std::atomic<int> ran{0};
  OrderedWorker<int> worker("test-worker", 8, [&](int& item) {
    if (item == 3) {
      throw std::runtime_error("item 3 failed");
    }
    ++ran;
  });
  for (int i = 0; i < 6; ++i) {
    try {
      worker.HandOver(i);
    } catch (const std::runtime_error&) {
      break;  // the failure may already be known
    }
  }
  EXPECT_THROW(worker.Drain(), std::runtime_error);
  EXPECT_EQ(ran.load(), 3) << "items 0-2 ran; none after the failure";
  worker.Reset();
  worker.HandOver(10);
  worker.Drain();
  EXPECT_EQ(ran.load(), 4) << "after Reset the worker runs again";
}

TEST(OrderedWorker, StopsWithItemsStillWaiting) {
  std::atomic<int> ran{0};
  {
    OrderedWorker<int> worker("test-worker", 100, [&](int&) { ++ran; });
    for (int i = 0; i < 50; ++i) {
      worker.HandOver(i);
    }
  }  // destroyed without Drain: must not hang
  EXPECT_LE(ran.load(), 50);
}

class BackgroundLoadTest : public ::testing::Test {
 protected:
  std::vector<std::string> Rows(TSQLConnection& from, const std::string& table) {
    return PairTexts(from, "select * from " + table + " order by rowid", {}, 0);
  }

  ScratchDir scratch;
  std::unique_ptr<TSQLConnection> connection = OpenConnection(scratch.File("load.db"), true);
  const std::vector<TFieldDef> fields = {{"N", TFieldType::Integer}, {"S", TFieldType::String}};
};

// Two tables, each in a file and loaded by a thread of its own, filled in turns: each keeps the
// order of its rows, over many batches, every row taken from one buffer whose values are
// exchanged.
TEST_F(BackgroundLoadTest, TablesFilledInTurnsKeepTheOrderOfTheirRows) {
  std::unique_ptr<TSQLConnection> beside = OpenConnection(scratch.File("beside.db"), true);
  BackgroundLoad load_a(*connection), load_b(*beside);
  connection->BeginTransaction();
  beside->BeginTransaction();
  load_a.Begin("A", fields);
  load_b.Begin("B", fields);
  std::vector<std::string> a, b;
  std::vector<Variant> buffer;
  for (int i = 0; i < 5000; ++i) {  // more than a batch
    const Variant text = i % 7 == 0 ? Variant() : Variant("t" + std::to_string(i));
    buffer.resize(2);
    buffer[0] = Variant(i);
    buffer[1] = text;
    (i % 3 == 0 ? load_b : load_a).Take(buffer);
    (i % 3 == 0 ? b : a)
        .push_back(std::to_string(i) + "|" + (text.IsNull() ? "null" : text.AsString()));
  }
  load_a.End();
  load_b.End();
  load_a.Wait();
  load_b.Wait();
  connection->Commit();
  beside->Commit();
  EXPECT_EQ(Rows(*connection, "A"), a);
  EXPECT_EQ(Rows(*beside, "B"), b);
}

TEST_F(BackgroundLoadTest, AFailureIsRaisedOnTheCallersThreadAndCanBeDiscarded) {
  BackgroundLoad load(*connection);
  connection->BeginTransaction();
  load.Begin("A", fields);
  std::vector<Variant> row = {Variant(1)};  // one value short
  load.Take(row);
  load.End();
  try {
    load.Wait();
    FAIL() << "the short row was written";
  } catch (const Exception& e) {
    EXPECT_STREQ(e.what(), "cannot load table A: a row of 1 values for 2 columns");
  }
  load.Discard();
  connection->Rollback();
  connection->BeginTransaction();
  load.Begin("A", fields);
  row = {Variant(2), Variant("x")};
  load.Take(row);
  load.End();
  load.Wait();
  connection->Commit();
  EXPECT_EQ(Rows(*connection, "A"), (std::vector<std::string>{"2|x"}));
}

}  // namespace
}  // namespace nrw::testing
