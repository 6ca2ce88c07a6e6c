// Queries read on threads of their own: every row, in order, converted to the fields' types;
// lanes of queries at once on two connections; the query's error and the caller's error end
// every side; the connection serves the next query. Run on SQLite and on PostgreSQL.
#include "runtime/query_pipe.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <numeric>
#include <stdexcept>

#include "host/exception.hpp"
#include "tests/runtime/backends.hpp"

namespace nrw::testing {
namespace {

// Enough rows for many batches, numbered from 1, with a text that grows past short-string size.
const std::string kNumbers =
    "with recursive n(i) as (select 1 union all select i + 1 from n where i < :last) "
    "select i, 'linha ' || i || ' com um texto longo o bastante', i * 0.5 from n order by i";

class QueryPipe : public ::testing::TestWithParam<Backend> {
 protected:
  void SetUp() override {
    db = TestDatabase::Open(GetParam(), scratch);
    if (db == nullptr) {
      GTEST_SKIP() << TestDatabase::SkipReason(GetParam());
    }
  }
  const std::vector<TFieldDef> fields{
      {"I", TFieldType::Float}, {"S", TFieldType::String}, {"H", TFieldType::Float}};
  ScratchDir scratch;
  std::unique_ptr<TestDatabase> db;
};

TEST_P(QueryPipe, HandsEveryRowInOrderConvertedToTheFieldsTypes) {
  for (const int last : {1, 511, 512, 513, 20000}) {
    int64_t expected = 1;
    PipeQuery(db->Connection(), kNumbers, {Variant(last)}, fields, [&](std::vector<Variant>& row) {
      ASSERT_EQ(row.size(), 3u);
      EXPECT_EQ(row[0].GetKind(), Variant::Kind::Float);
      EXPECT_EQ(row[0].AsFloat(), static_cast<double>(expected));
      EXPECT_EQ(row[1].AsString(),
                "linha " + std::to_string(expected) + " com um texto longo o bastante");
      EXPECT_EQ(row[2].AsFloat(), expected * 0.5);
      ++expected;
    });
    EXPECT_EQ(expected, last + 1) << last << " rows";
  }
}

TEST_P(QueryPipe, TheQuerysErrorIsRaisedOnTheCallingThread) {
  int rows = 0;
  try {
    PipeQuery(db->Connection(), "select X from no_such_table", {}, fields,
              [&](std::vector<Variant>&) { ++rows; });
    FAIL() << "no error";
  } catch (const Exception& e) {
    EXPECT_NE(std::string(e.what()).find("no_such_table"), std::string::npos) << e.what();
  }
  EXPECT_EQ(rows, 0);
}

TEST_P(QueryPipe, TheCallersErrorStopsTheQueryAndLeavesTheConnectionUsable) {
  int rows = 0;
  EXPECT_THROW(PipeQuery(db->Connection(), kNumbers, {Variant(100000)}, fields,
                         [&](std::vector<Variant>&) {
                           if (++rows == 3000) {
                             throw std::runtime_error("disk full");
                           }
                         }),
               std::runtime_error);
  EXPECT_EQ(rows, 3000);
  int after = 0;
  PipeQuery(db->Connection(), kNumbers, {Variant(10)}, fields,
            [&](std::vector<Variant>&) { ++after; });
  EXPECT_EQ(after, 10);
}

// Two lanes: on the test's connection a long query, then a narrower one; on a second connection
// a third. Each query's rows arrive whole and in order, its `done` after its last row and before
// the next query's first, and no two handlers run at once.
TEST_P(QueryPipe, LanesRunAtOnceAndHandEachQuerysRowsInOrder) {
  auto second = db->Connection().Reopen();
  ASSERT_NE(second, nullptr);
  std::atomic<int> inside{0};
  std::vector<int64_t> seen[3];
  std::vector<std::string> events;
  auto query = [&](int q, const std::string& sql, int last, std::vector<TFieldDef> fields) {
    PipedQuery piped{sql, {Variant(last)}, std::move(fields), nullptr, nullptr, {}, 0};
    piped.handle = [&, q](std::vector<Variant>& row) {
      EXPECT_EQ(inside.fetch_add(1), 0) << "handlers at once";
      if (seen[q].empty()) {
        events.push_back("first " + std::to_string(q));
      }
      seen[q].push_back(static_cast<int64_t>(row[0].AsFloat()));
      inside.fetch_sub(1);
    };
    piped.done = [&, q] { events.push_back("done " + std::to_string(q)); };
    return piped;
  };
  const std::string narrow =
      "with recursive n(i) as (select 1 union all select i + 1 from n where i < :last) "
      "select i, i * 2 from n order by i";
  std::vector<QueryLane> lanes(2);
  lanes[0].connection = &db->Connection();
  lanes[0].queries.push_back(query(0, kNumbers, 20000, fields));
  lanes[0].queries.push_back(
      query(1, narrow, 700, {{"I", TFieldType::Integer}, {"D", TFieldType::Integer}}));
  lanes[1].connection = second.get();
  lanes[1].queries.push_back(query(2, kNumbers, 1500, fields));
  PipeQueries(lanes);
  for (const auto& [q, count] : {std::pair{0, 20000}, {1, 700}, {2, 1500}}) {
    std::vector<int64_t> expected(count);
    std::iota(expected.begin(), expected.end(), 1);
    EXPECT_EQ(seen[q], expected) << "query " << q;
  }
  const auto at = [&](const std::string& event) {
    return std::find(events.begin(), events.end(), event) - events.begin();
  };
  EXPECT_LT(at("done 0"), at("first 1")) << "a lane's queries follow one another";
  EXPECT_LT(at("first 2"), at("done 2"));
  EXPECT_EQ(events.size(), 6u);
}

TEST_P(QueryPipe, AnErrorInOneLaneEndsEveryLane) {
  auto second = db->Connection().Reopen();
  ASSERT_NE(second, nullptr);
  int rows = 0;
  std::vector<QueryLane> lanes(2);
  lanes[0].connection = &db->Connection();
  lanes[0].queries.push_back({kNumbers,
                              {Variant(200000)},
                              fields,
                              [&](std::vector<Variant>&) { ++rows; },
                              nullptr,
                              {},
                              0});
  lanes[1].connection = second.get();
  lanes[1].queries.push_back({"select X from no_such_table", {}, fields, nullptr, nullptr, {}, 0});
  try {
    PipeQueries(lanes);
    FAIL() << "no error";
  } catch (const Exception& e) {
    EXPECT_NE(std::string(e.what()).find("no_such_table"), std::string::npos) << e.what();
  }
  EXPECT_LT(rows, 200000) << "the other lane stopped early";
  int after = 0;
  PipeQuery(db->Connection(), kNumbers, {Variant(10)}, fields,
            [&](std::vector<Variant>&) { ++after; });
  EXPECT_EQ(after, 10);
}

// The multiples of `step` up to `last`, sorted, as (key, 1, tag): rows of one statement of a
// merged query.
std::string Multiples(int step, int last, const std::string& tag) {
  const std::string by = std::to_string(step), to = std::to_string(last);
  return "with recursive n(i) as (select " + by + " union all select i + " + by +
         " from n where i + " + by + " <= " + to + ") select i, 1, '" + tag +
         "' from n where i <= " + to + " order by 1, 2";
}

const std::vector<TFieldDef> kMergedFields{
    {"K", TFieldType::Float}, {"S", TFieldType::Integer}, {"T", TFieldType::String}};

// A query of three statements on three connections: the multiples of 2, of 3 and none. The
// rows come merged in key order over many batches, the first statement's before the second's
// where both have a key (the multiples of 6), and `done` once after the last.
TEST_P(QueryPipe, AMergedQuerysStatementsComeInKeyOrderTheEarlierFirstOnEqualKeys) {
  auto second = db->Connection().Reopen();
  auto third = db->Connection().Reopen();
  ASSERT_NE(second, nullptr);
  ASSERT_NE(third, nullptr);
  constexpr int kLast = 6000;
  std::vector<std::pair<int64_t, std::string>> seen;
  int done = 0;
  PipedQuery query{Multiples(2, kLast, "two"), {}, kMergedFields, nullptr, nullptr, {}, 2};
  query.more = {{Multiples(3, kLast, "three"), {}}, {Multiples(5, 4, "none"), {}}};
  query.handle = [&](std::vector<Variant>& row) {
    ASSERT_EQ(row.size(), 3u);
    EXPECT_EQ(row[1].AsInteger(), 1);
    seen.emplace_back(static_cast<int64_t>(row[0].AsFloat()), row[2].AsString());
  };
  query.done = [&] { ++done; };
  std::vector<QueryLane> lanes(1);
  lanes[0].connection = &db->Connection();
  lanes[0].part_connections = {second.get(), third.get()};
  lanes[0].queries.push_back(query);
  PipeQueries(lanes);
  std::vector<std::pair<int64_t, std::string>> expected;
  for (int64_t k = 1; k <= kLast; ++k) {
    if (k % 2 == 0) {
      expected.emplace_back(k, "two");
    }
    if (k % 3 == 0) {
      expected.emplace_back(k, "three");
    }
  }
  EXPECT_EQ(seen, expected);
  EXPECT_EQ(done, 1);
}

// A statement of a merged query that fails ends the query with its error, after the rows
// before it; the caller's own error stops every statement. The connections serve on.
TEST_P(QueryPipe, AMergedQueryEndsWithTheErrorOfAnyOfItsStatements) {
  auto second = db->Connection().Reopen();
  ASSERT_NE(second, nullptr);
  auto run = [&](const std::string& beside, const std::function<void()>& on_row) {
    PipedQuery query{Multiples(1, 100000, "one"), {}, kMergedFields, nullptr, nullptr, {}, 2};
    query.more = {{beside, {}}};
    query.handle = [&](std::vector<Variant>&) { on_row(); };
    std::vector<QueryLane> lanes(1);
    lanes[0].connection = &db->Connection();
    lanes[0].part_connections = {second.get()};
    lanes[0].queries.push_back(query);
    PipeQueries(lanes);
  };
  int rows = 0;
  try {
    run("select 1 K, 1 S, 'x' T from no_such_table", [&] { ++rows; });
    FAIL() << "no error";
  } catch (const Exception& e) {
    EXPECT_NE(std::string(e.what()).find("no_such_table"), std::string::npos) << e.what();
  }
  EXPECT_LT(rows, 100000);
  rows = 0;
  EXPECT_THROW(run(Multiples(7, 100000, "seven"),
                   [&] {
                     if (++rows == 3000) {
                       throw std::runtime_error("disk full");
                     }
                   }),
               std::runtime_error);
  EXPECT_EQ(rows, 3000);
  for (TSQLConnection* connection : {&db->Connection(), second.get()}) {
    int after = 0;
    PipeQuery(*connection, kNumbers, {Variant(10)}, fields,
              [&](std::vector<Variant>&) { ++after; });
    EXPECT_EQ(after, 10);
  }
}

// A second connection sees what the first committed; none is given inside a transaction.
TEST_P(QueryPipe, ReopenGivesAConnectionToTheSameDatabaseOutsideTransactions) {
  TSQLConnection& first = db->Connection();
  first.ExecuteScript("create table beside (i integer)");
  first.Execute("insert into beside values (7)", {});
  EXPECT_FALSE(first.InTransaction());
  auto second = first.Reopen();
  ASSERT_NE(second, nullptr);
  std::vector<int64_t> values;
  PipeQuery(*second, "select i from beside", {}, {{"I", TFieldType::Integer}},
            [&](std::vector<Variant>& row) { values.push_back(row[0].AsInteger()); });
  EXPECT_EQ(values, std::vector<int64_t>{7});
  first.BeginTransaction();
  EXPECT_TRUE(first.InTransaction());
  EXPECT_EQ(first.Reopen(), nullptr);
  first.Rollback();
  EXPECT_FALSE(first.InTransaction());
}

TEST(QueryPipeSqlite, ADatabaseInMemoryHasNoSecondConnection) {
  auto memory = OpenConnection(":memory:", true);
  EXPECT_EQ(memory->Reopen(), nullptr);
}

INSTANTIATE_TEST_SUITE_P(Databases, QueryPipe,
                         ::testing::Values(Backend::SQLite, Backend::PostgreSQL),
                         [](const auto& info) { return BackendName(info.param); });

}  // namespace
}  // namespace nrw::testing
