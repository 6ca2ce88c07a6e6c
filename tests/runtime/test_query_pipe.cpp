// A query read on a second thread: every row, in order, converted to the fields' types; the
// query's error and the caller's error end both sides; the connection serves the next query.
// Run on SQLite and on PostgreSQL.
#include "runtime/query_pipe.hpp"

#include <gtest/gtest.h>

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

INSTANTIATE_TEST_SUITE_P(Databases, QueryPipe,
                         ::testing::Values(Backend::SQLite, Backend::PostgreSQL),
                         [](const auto& info) { return BackendName(info.param); });

}  // namespace
}  // namespace nrw::testing
