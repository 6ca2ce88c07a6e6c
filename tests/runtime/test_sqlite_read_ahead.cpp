// SqliteReadAhead: the rows of a query read on another thread, as they would be read here.
#include "runtime/sqlite_read_ahead.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>

#include "host/exception.hpp"
#include "host/sql.hpp"
#include "tests/runtime/data_set_kinds.hpp"

namespace nrw::testing {
namespace {

constexpr int kRows = 1000;  // several batches

// A file with table T (K integer, S text, D real) of kRows rows, K = i, S = "s<i>" (null for
// every tenth row), D = i / 4.
std::string File(const ScratchDir& scratch) {
  const std::string file = scratch.File("ahead.db");
  std::string script = "create table T (K integer, S text, D real); insert into T values ";
  for (int i = 0; i < kRows; ++i) {
    script += (i > 0 ? ", (" : "(") + std::to_string(i) + ", " +
              (i % 10 == 0 ? std::string("null") : "'s" + std::to_string(i) + "'") + ", " +
              std::to_string(i / 4.0) + ")";
  }
  OpenConnection(file, true)->ExecuteScript(script + ";");
  return file;
}

SqliteReadAhead::Shape TheShape() {
  return {{{"K", TFieldType::Integer}, {"S", TFieldType::String}, {"D", TFieldType::Float}},
          {1, 1, 0},
          {1, 0}};
}

const std::string kQuery = "select rowid, K, S, D from T where K >= ? order by S, K";

// The rows of kQuery from `from` on, as "K|S", read on this thread.
std::vector<std::string> ReadHere(const std::string& file, int from) {
  return PairTexts(*OpenConnection(file, false), kQuery, {Variant(from)}, 1);
}

std::string Text(const SqliteReadAhead::Row& row) {
  return row.values[0].AsString() + "|" +
         (row.values[1].IsNull() ? "null" : row.values[1].AsString());
}

// An index value not kept as SQLite stored it (a date, read from its text as a date) orders
// as SQLite stored it: by the text; one kept as stored orders from the row's value.
TEST(SqliteReadAhead, AKeyReadOtherwiseOrdersAsStored) {
  ScratchDir scratch;
  const std::string file = scratch.File("dates.db");
  OpenConnection(file, true)
      ->ExecuteScript(
          "create table T (K integer, W text); "
          "insert into T values (1, '2026-01-31'), (2, '2026-01-05'), (3, '2026-01-05');");
  const SqliteReadAhead::Shape shape{
      {{"K", TFieldType::Integer}, {"W", TFieldType::DateTime}}, {1, 1}, {1, 0}};
  SqliteReadAhead ahead(file);
  ahead.Start("select rowid, K, W from T order by W, K", {}, shape);
  std::vector<std::string> keys;
  while (const SqliteReadAhead::Row* row = ahead.Next()) {
    EXPECT_EQ(row->values[1].GetKind(), Variant::Kind::DateTime);
    const OrderedValue date = row->Key(0, shape.index);
    ASSERT_EQ(date.cls, OrderedValue::Class::Text);
    const OrderedValue key = row->Key(1, shape.index);
    ASSERT_EQ(key.cls, OrderedValue::Class::Number);
    keys.push_back(std::string(date.text) + "|" + std::to_string(key.i));
  }
  EXPECT_EQ(keys, (std::vector<std::string>{"2026-01-05|2", "2026-01-05|3", "2026-01-31|1"}));
}

TEST(SqliteReadAhead, GivesTheRowsOfTheQueryInItsOrder) {
  ScratchDir scratch;
  const std::string file = File(scratch);
  SqliteReadAhead ahead(file);
  const SqliteReadAhead::Shape shape = TheShape();
  ahead.Start(kQuery, {Variant(7)}, shape);
  std::vector<std::string> rows;
  std::string last_key;
  while (const SqliteReadAhead::Row* row = ahead.Next()) {
    rows.push_back(Text(*row));
    EXPECT_TRUE(row->values[2].IsNull()) << "D was not asked for";
    // The index field S as SQLite orders it: nulls first, then texts.
    const OrderedValue key = row->Key(0, shape.index);
    if (row->values[1].IsNull()) {
      EXPECT_EQ(key.cls, OrderedValue::Class::Null);
    } else {
      ASSERT_EQ(key.cls, OrderedValue::Class::Text);
      EXPECT_EQ(std::string(key.text), row->values[1].AsString());
    }
  }
  EXPECT_EQ(rows, ReadHere(file, 7));
  EXPECT_EQ(rows.size(), size_t(kRows - 7));
  EXPECT_EQ(ahead.Next(), nullptr) << "and again after the last";
}

// A caller slower than the reading: the reading fills every batch and waits for batches given
// back, several at a time, and every row still comes, in order, to the end.
TEST(SqliteReadAhead, ASlowCallerGetsEveryRow) {
  ScratchDir scratch;
  const std::string file = File(scratch);
  SqliteReadAhead ahead(file);
  ahead.Start(kQuery, {Variant(0)}, TheShape());
  std::vector<std::string> rows;
  while (const SqliteReadAhead::Row* row = ahead.Next()) {
    rows.push_back(Text(*row));
    if (rows.size() % 50 == 0) {
      std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
  }
  EXPECT_EQ(rows, ReadHere(file, 0));
}

TEST(SqliteReadAhead, StoppedMidwayItStartsAnewOnTheSameBuffers) {
  ScratchDir scratch;
  const std::string file = File(scratch);
  SqliteReadAhead ahead(file);
  for (int from : {0, 500, 990}) {
    ahead.Start(kQuery, {Variant(from)}, TheShape());
    for (int i = 0; i < 300; ++i) {
      if (ahead.Next() == nullptr) {
        break;
      }
    }
    EXPECT_TRUE(ahead.Reading());
  }
  ahead.Stop();
  EXPECT_FALSE(ahead.Reading());
  ahead.Start(kQuery, {Variant(400)}, TheShape());
  std::vector<std::string> rows;
  while (const SqliteReadAhead::Row* row = ahead.Next()) {
    rows.push_back(Text(*row));
  }
  EXPECT_EQ(rows, ReadHere(file, 400));
}

TEST(SqliteReadAhead, TheQuerysErrorIsRaisedWhereItsRowsWouldBe) {
  ScratchDir scratch;
  const std::string file = File(scratch);
  SqliteReadAhead ahead(file);
  ahead.Start("select rowid, K, S, D from Missing order by K", {}, TheShape());
  for (int call = 0; call < 2; ++call) {
    try {
      ahead.Next();
      FAIL() << "no error";
    } catch (const Exception& e) {
      EXPECT_NE(std::string(e.what()).find("no such table: Missing"), std::string::npos)
          << e.what();
    }
  }
  // A file that is gone.
  SqliteReadAhead nowhere(scratch.File("gone.db"));
  nowhere.Start(kQuery, {Variant(0)}, TheShape());
  EXPECT_THROW(nowhere.Next(), Exception);
}

}  // namespace
}  // namespace nrw::testing
