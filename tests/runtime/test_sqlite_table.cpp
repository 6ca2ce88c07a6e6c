// SQLite-table specifics: key searches and ranges that step forward over rows already read
// must land where a fresh search would, whatever came before them.
#include <gtest/gtest.h>

#include <random>

#include "host/memory_data_set.hpp"
#include "host/sql.hpp"
#include "host/sqlite_table.hpp"
#include "tests/runtime/data_set_kinds.hpp"

namespace nrw::testing {
namespace {

const std::vector<TFieldDef> kFields = {
    {"K", TFieldType::Float}, {"S", TFieldType::String}, {"V", TFieldType::Integer}};

// Keys with repeats, gaps and nulls; texts from a small set with nulls.
std::vector<std::vector<Variant>> Rows(int n, std::mt19937& random) {
  const char* const texts[] = {"A", "B", "b", "C", "AA"};
  std::vector<std::vector<Variant>> rows;
  for (int i = 0; i < n; ++i) {
    const Variant k = random() % 53 == 0 ? Variant() : Variant(double(random() % 400) / 2);
    const Variant s = random() % 31 == 0 ? Variant() : Variant(texts[random() % 5]);
    rows.push_back({k, s, Variant(i)});
  }
  return rows;
}

// The observable state of a data set: end of data and the current row.
std::string State(TDataSet& table) {
  if (table.Eof()) {
    return "eof";
  }
  std::string state;
  for (int i = 0; i < 3; ++i) {
    state += (table.IsNull(i) ? std::string("null") : table.GetString(i)) + "|";
  }
  return state;
}

// Runs the same random operations on an in-memory table and a SQLite table and compares every
// answer and the state after each operation. Searches mostly go forward by small steps, as a
// listing's look-ups do, with jumps back, writes and filters in between.
void AgreeUnderRandomOperations(uint32_t seed, const std::string& index) {
  std::mt19937 random(seed);
  ScratchDir scratch;
  DataSetFactory factory(scratch);
  const auto rows = Rows(1500, random);
  auto memory = factory.Make(DataSetKind::Memory, "T", kFields, rows);
  auto sqlite = factory.Make(DataSetKind::SqliteTable, "T", kFields, rows);
  TDataSet* both[] = {memory.get(), sqlite.get()};
  for (TDataSet* table : both) {
    table->SetIndexFieldNames(index);
  }
  const char* const texts[] = {"A", "AA", "B", "C", "b", "Z"};
  double cursor_key = 0;
  auto next_key = [&]() -> Variant {
    const int choice = random() % 20;
    if (choice == 0) {
      return Variant();
    }
    if (choice == 1) {
      cursor_key = double(random() % 420) / 2 - 5;  // a jump, back or ahead
    } else {
      cursor_key += double(random() % 4) / 2;
    }
    return Variant(cursor_key);
  };
  auto text = [&]() { return random() % 9 == 0 ? Variant() : Variant(texts[random() % 6]); };
  // A key for the index: the number first, or the text first.
  const bool text_first = index.front() == 'S';
  auto key_of = [&](bool pair) {
    const Variant k = next_key(), s = text();
    TVariantArray key = text_first ? TVariantArray{s, k} : TVariantArray{k, s};
    key.resize(pair ? 2 : 1);
    return key;
  };
  // Rows written while a range is on may fall outside it, where the kinds need not agree.
  bool range_on = false;
  for (int op = 0; op < 6000; ++op) {
    const int kind = random() % 100;
    std::string what;
    std::vector<std::string> answers;
    if (kind < 30) {
      const TVariantArray key = key_of(random() % 4 == 0);
      what = "FindKey " + key[0].AsString();
      for (TDataSet* table : both) {
        answers.push_back(table->FindKey(key) ? "found" : "not found");
      }
    } else if (kind < 45) {
      // One key, from one key to a later one, or pairs under one first value.
      const int shape = random() % 3;
      TVariantArray start = key_of(shape == 2), end = start;
      if (shape == 1) {
        end = key_of(false);
        if (!text_first && !end[0].IsNull()) {
          end[0] = start[0].IsNull() ? 0.0 : start[0].AsFloat() + double(random() % 6) / 2;
        }
      } else if (shape == 2) {
        end[1] = key_of(true)[1];
      }
      what = "SetRange " + start[0].AsString() + " " + end[0].AsString();
      range_on = true;
      for (TDataSet* table : both) {
        table->SetRange(start, end);
      }
    } else if (kind < 55) {
      what = "CancelRange";
      range_on = false;
      for (TDataSet* table : both) {
        table->CancelRange();
      }
    } else if (kind < 80) {
      what = "Next";
      const int steps = 1 + random() % 4;
      for (TDataSet* table : both) {
        for (int i = 0; i < steps; ++i) {
          table->Next();
        }
      }
    } else if (kind < 84) {
      what = "First";
      for (TDataSet* table : both) {
        table->First();
      }
    } else if (kind < 89) {
      what = "RecordCount";
      for (TDataSet* table : both) {
        answers.push_back(std::to_string(table->RecordCount()));
      }
    } else if (kind < 92 && !range_on) {
      what = "Edit";
      const Variant k = next_key();
      for (TDataSet* table : both) {
        if (!table->Eof()) {
          table->Edit();
          table->SetValue(0, k);
          table->Post();
        }
      }
    } else if (kind < 95) {
      what = "Delete";
      for (TDataSet* table : both) {
        if (!table->Eof()) {
          table->Delete();
        }
      }
    } else if (kind < 98 && !range_on) {
      what = "Append";
      const Variant k = next_key(), s = text();
      for (TDataSet* table : both) {
        table->Append();
        table->SetValue(0, k);
        table->SetValue(1, s);
        table->SetValue(2, Variant(101 + op % 800));  // seen through the filter too
        table->Post();
      }
    } else if (kind >= 98) {
      const bool on = random() % 2 == 0;
      what = on ? "filter on" : "filter off";
      for (TDataSet* table : both) {
        table->SetFilter("V < 1000 and V > 100");
        table->SetFiltered(on);
      }
    }
    if (!answers.empty()) {
      ASSERT_EQ(answers[0], answers[1]) << "operation " << op << ": " << what;
    }
    ASSERT_EQ(State(*memory), State(*sqlite)) << "operation " << op << ": " << what;
  }
}

TEST(SqliteTable, AgreesWithTheMemoryTableUnderRandomOperations) {
  for (uint32_t seed = 1; seed <= 4; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    AgreeUnderRandomOperations(seed, seed % 2 == 0 ? "K;S" : "K");
  }
}

TEST(SqliteTable, AgreesOnAnIndexOfTextThenNumber) {
  AgreeUnderRandomOperations(9, "S;K");
}

// A column that orders without regard to case: its ranges are held to their end by SQLite.
TEST(SqliteTable, ColumnsOfAnotherCollationAreBoundedBySqlite) {
  ScratchDir scratch;
  const std::string file = scratch.File("nocase.db");
  {
    auto connection = OpenConnection(file, true);
    connection->ExecuteScript(
        "create table T (S text collate nocase, V integer);"
        "insert into T values ('a', 1), ('B', 2), ('b', 3), ('C', 4), ('c', 5), ('d', 6);");
  }
  TnFDTableSQLite table;
  table.Connection()->Params().SetDatabase(file);
  table.SetTableName("T");
  table.SetIndexFieldNames("S");
  table.Open();
  auto values = [&] {
    std::vector<int64_t> seen;
    for (; !table.Eof(); table.Next()) {
      seen.push_back(table.GetInteger(1));
    }
    return seen;
  };
  ASSERT_TRUE(table.FindKey({"B"}));
  table.SetRange({"B"}, {"C"});
  EXPECT_EQ(values(), (std::vector<int64_t>{2, 3, 4, 5})) << "'c' equals 'C' in this order";
  table.CancelRange();
  ASSERT_TRUE(table.FindKey({"C"}));
  EXPECT_EQ(table.GetInteger(1), 4);
  table.SetRange({"C"}, {"C"});
  EXPECT_EQ(values(), (std::vector<int64_t>{4, 5}));
  table.CancelRange();
  ASSERT_TRUE(table.FindKey({"d"}));
  EXPECT_EQ(table.GetInteger(1), 6);
}

TEST(SqliteTable, TheWholeTablesCountOutlivesRangesAndFollowsWrites) {
  ScratchDir scratch;
  DataSetFactory factory(scratch);
  std::mt19937 random(5);
  auto table = factory.Make(DataSetKind::SqliteTable, "T", kFields, Rows(300, random));
  table->SetIndexFieldNames("K");
  EXPECT_EQ(table->RecordCount(), 300);
  table->SetRange({10.0}, {20.0});
  const int in_range = table->RecordCount();
  ASSERT_GT(in_range, 0);
  table->Delete();
  EXPECT_EQ(table->RecordCount(), in_range - 1);
  table->CancelRange();
  EXPECT_EQ(table->RecordCount(), 299) << "the delete inside the range counts for the table";
  table->Append();
  table->SetValue(0, 15.0);
  table->Post();
  table->SetRange({10.0}, {20.0});
  EXPECT_EQ(table->RecordCount(), in_range);
  table->CancelRange();
  EXPECT_EQ(table->RecordCount(), 300);
}

}  // namespace
}  // namespace nrw::testing
