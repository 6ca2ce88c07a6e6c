// SQLite-table specifics: key searches and ranges that step forward over rows already read
// must land where a fresh search would, whatever came before them.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <random>

#include <sqlite3.h>

#include "host/memory_data_set.hpp"
#include "host/sql.hpp"
#include "host/sqlite_table.hpp"
#include "runtime/sqlite_connection.hpp"
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

// Every row's state, in the table's order.
std::vector<std::string> Walk(TDataSet& table) {
  std::vector<std::string> rows;
  for (table.First(); !table.Eof(); table.Next()) {
    rows.push_back(State(table));
  }
  return rows;
}

// A SQLite file in the scratch folder, made by `script`.
std::string ScriptedFile(const ScratchDir& scratch, const std::string& name,
                         const std::string& script) {
  const std::string file = scratch.File(name);
  OpenConnection(file, true)->ExecuteScript(script);
  return file;
}

// Opens `table` on table `name` of `file`, ordered by `index`.
void OpenOn(TnFDTableSQLite& table, const std::string& file, const std::string& name,
            const std::string& index = "") {
  table.Connection()->Params().SetDatabase(file);
  table.SetTableName(name);
  table.SetIndexFieldNames(index);
  table.Open();
}

std::vector<std::string> IndexesOf(TnFDTableSQLite& table);

// How the SQLite table of AgreeUnderRandomOperations is told the order of its rows.
enum class RowOrder {
  Unknown,    // random rows, no row order told
  Told,       // rows written in order of K (no nulls) and SetRowOrder("K"), then every write
  Deletions,  // the same, and deletions the only writes, which keep the order told
  Wrong,      // random rows (nulls and all) told to be in order of K, deletions the only writes
};

// Runs the same random operations on an in-memory table and a SQLite table and compares every
// answer and the state after each `check_every`-th operation (reading the state settles what a
// table may leave for later, so some operations must follow others unread). Searches mostly go
// forward by small steps, as a listing's look-ups do, with jumps back, writes and filters in
// between.
// With `read_ahead_after`, the SQLite table reads ahead after that many steps of a statement;
// returns the number of operations after which it was reading ahead. `indexes`, when given,
// gets the SQLite indexes made.
int AgreeUnderRandomOperations(uint32_t seed, const std::string& index, int check_every = 1,
                               int read_ahead_after = -1, RowOrder order = RowOrder::Unknown,
                               std::vector<std::string>* indexes = nullptr) {
  std::mt19937 random(seed);
  ScratchDir scratch;
  DataSetFactory factory(scratch);
  auto rows = Rows(1500, random);
  if (order == RowOrder::Told || order == RowOrder::Deletions) {
    for (auto& row : rows) {
      row[0] = row[0].IsNull() ? Variant(0.0) : row[0];
    }
    std::stable_sort(rows.begin(), rows.end(),
                     [](const auto& a, const auto& b) { return a[0].AsFloat() < b[0].AsFloat(); });
  }
  auto memory = factory.Make(DataSetKind::Memory, "T", kFields, rows);
  auto sqlite = factory.Make(DataSetKind::SqliteTable, "T", kFields, rows);
  TnFDTableSQLite& table = *Nutildb::FDTSQLite(sqlite.get());
  if (read_ahead_after >= 0) {
    table.SetReadAheadAfter(read_ahead_after);
  }
  if (order != RowOrder::Unknown) {
    table.SetRowOrder("K");
  }
  const bool writes = order == RowOrder::Unknown || order == RowOrder::Told;
  struct ReportIndexes {
    std::vector<std::string>* out;
    TnFDTableSQLite& table;
    ~ReportIndexes() {
      if (out != nullptr) {
        *out = IndexesOf(table);
      }
    }
  } report_indexes{indexes, table};
  int reading_ahead = 0;
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
    } else if (kind < 92 && !range_on && writes) {
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
    } else if (kind < 98 && !range_on && writes) {
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
      EXPECT_EQ(answers[0], answers[1]) << "operation " << op << ": " << what;
      if (answers[0] != answers[1]) {
        return reading_ahead;
      }
    }
    if (op % check_every == 0) {
      EXPECT_EQ(State(*memory), State(*sqlite)) << "operation " << op << ": " << what;
      if (State(*memory) != State(*sqlite)) {
        return reading_ahead;
      }
    }
    reading_ahead += table.ReadingAhead() ? 1 : 0;
  }
  return reading_ahead;
}

TEST(SqliteTable, AgreesWithTheMemoryTableUnderRandomOperations) {
  for (uint32_t seed = 1; seed <= 4; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    AgreeUnderRandomOperations(seed, seed % 2 == 0 ? "K;S" : "K");
  }
}

// The same with the rows read ahead after a few steps of each statement: the writes, searches
// and filters stop the readings, and the walks start new ones.
TEST(SqliteTable, AgreesWhenTheRowsAreReadAhead) {
  for (uint32_t seed = 1; seed <= 4; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const int reading_ahead =
        AgreeUnderRandomOperations(seed, seed % 2 == 0 ? "K;S" : "K", seed % 3 + 1, seed % 3 + 2);
    EXPECT_GT(reading_ahead, 1000) << "operations done while reading ahead";
  }
}

// Rows told to be in the order of the index's first field are served in the index's order
// without the SQLite index (each run of one first value sorted as it is read): every search,
// range, walk and deletion lands where the memory table's do, read ahead or not; a write that
// may break the order (an edit, an append) leaves them to the SQLite index, made then.
TEST(SqliteTable, AgreesWhenTheRowsAreInTheOrderOfTheFirstField) {
  for (uint32_t seed = 31; seed <= 36; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const std::string index = seed % 2 == 0 ? "K;S" : "K";
    std::vector<std::string> indexes;
    AgreeUnderRandomOperations(seed, index, seed % 3 + 1, seed % 4 == 1 ? -1 : seed % 3 + 2,
                               RowOrder::Deletions, &indexes);
    EXPECT_EQ(indexes, std::vector<std::string>{}) << "served without the SQLite index";
    AgreeUnderRandomOperations(seed, index, seed % 3 + 1, seed % 4 == 1 ? -1 : seed % 3 + 2,
                               RowOrder::Told, &indexes);
    EXPECT_EQ(indexes.size(), 1u) << "made once a write may have broken the order";
    // Told an order the rows do not have: the first reading of K finds it out.
    AgreeUnderRandomOperations(seed, index, seed % 3 + 1, seed % 4 == 1 ? -1 : seed % 3 + 2,
                               RowOrder::Wrong, &indexes);
    EXPECT_EQ(indexes.size(), 1u) << "rows out of the order told are served by the index";
  }
}

TEST(SqliteTable, AgreesWhenTheStateIsReadOnlyNowAndThen) {
  for (uint32_t seed = 21; seed <= 24; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    AgreeUnderRandomOperations(seed, seed % 2 == 0 ? "K;S" : "K", 3);
  }
}

TEST(SqliteTable, AgreesOnAnIndexOfTextThenNumber) {
  AgreeUnderRandomOperations(9, "S;K");
}

// A column that orders without regard to case: its ranges are held to their end by SQLite.
TEST(SqliteTable, ColumnsOfAnotherCollationAreBoundedBySqlite) {
  ScratchDir scratch;
  TnFDTableSQLite table;
  OpenOn(table,
         ScriptedFile(scratch, "nocase.db",
                      "create table T (S text collate nocase, V integer);"
                      "insert into T values ('a', 1), ('B', 2), ('b', 3), ('C', 4), ('c', 5), "
                      "('d', 6);"),
         "T", "S");
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

// Rows read one after another: texts and dates, repeated or not, read as they are stored.
TEST(SqliteTable, DatesAndTextsOfRowsReadInTurn) {
  ScratchDir scratch;
  TnFDTableSQLite table;
  OpenOn(table,
         ScriptedFile(
             scratch, "dates.db",
             "create table T (D timestamp, S text);"
             "insert into T values ('2026-01-01', 'a long text of a row'), ('2026-01-01', 'b'),"
             "  ('2026-01-02 10:00:00', null), (null, 'c'), ('2026-01-02 10:00:00', ''),"
             "  ('2026-01-02', 'd'), ('not a date', 'e');"),
         "T");
  std::vector<std::string> seen;
  try {
    for (table.First(); !table.Eof(); table.Next()) {
      seen.push_back(
          (table.IsNull(0) ? "null" : FormatDateTime("dd/mm/yyyy hh:nn", table.GetFloat(0))) + "|" +
          (table.IsNull(1) ? "null" : table.GetString(1)));
    }
    FAIL() << "the last date was read";
  } catch (const Exception& e) {
    EXPECT_STREQ(e.what(), "column D: 'not a date' is not a date");
  }
  EXPECT_EQ(seen, (std::vector<std::string>{"01/01/2026 00:00|a long text of a row",
                                            "01/01/2026 00:00|b", "02/01/2026 10:00|null", "null|c",
                                            "02/01/2026 10:00|", "02/01/2026 00:00|d"}));
}

// A row is read with the fields asked for so far; the others are read when first asked for,
// and before any write that could change the row, so that a row reads as it was when the
// cursor came to it.
TEST(SqliteTable, FieldsNotYetReadAreTheRowsAsItWasWhenReached) {
  ScratchDir scratch;
  TnFDTableSQLite reader, writer;
  OpenOn(reader,
         ScriptedFile(scratch, "lazy.db",
                      "create table T (K real, S text, V integer);"
                      "insert into T values (1, 'one', 10), (2, 'two', 20), (3, 'three', 30);"),
         "T", "K");
  writer.SetConnection(reader.Connection());
  writer.SetTableName("T");
  writer.SetIndexFieldNames("K");
  writer.Open();

  ASSERT_TRUE(reader.FindKey({2.0}));
  EXPECT_EQ(reader.GetString(1), "two");  // asked for the first time: read by row id
  reader.Next();
  EXPECT_DOUBLE_EQ(reader.GetFloat(0), 3.0);
  // V was never asked for. Another table of the connection changes the row, then deletes it.
  ASSERT_TRUE(writer.FindKey({3.0}));
  writer.Edit();
  writer.SetValue(2, Variant(99));
  writer.Post();
  EXPECT_EQ(reader.GetInteger(2), 30) << "the row as it was when the reader came to it";
  ASSERT_TRUE(reader.FindKey({2.0}));
  EXPECT_EQ(reader.GetString(1), "two");
  EXPECT_TRUE(writer.FindKey({2.0}));
  writer.Delete();
  EXPECT_EQ(reader.GetInteger(2), 20) << "read before the delete";
  // And through the connection's SQL.
  reader.First();
  EXPECT_DOUBLE_EQ(reader.GetFloat(0), 1.0);
  reader.Connection()->Sql().ExecuteScript("delete from T where K = 1");
  EXPECT_EQ(reader.GetString(1), "one");
  EXPECT_EQ(reader.GetInteger(2), 10);
  // A row deleted by its own cursor is not read again by a later write: the cursor moves on
  // when it is next read.
  ASSERT_TRUE(writer.FindKey({3.0}));
  writer.Delete();
  EXPECT_NO_THROW(reader.Connection()->Sql().ExecuteScript("update T set V = 0"));
  EXPECT_TRUE(writer.Eof());
}

// A file with table T of `rows` rows (K = i, S = "s<i mod 7>", V = i), in key order.
std::string NumberedFile(const ScratchDir& scratch, int rows) {
  std::string script = "create table T (K real, S text, V integer); insert into T values ";
  for (int i = 0; i < rows; ++i) {
    script += (i > 0 ? ", (" : "(") + std::to_string(i) + ", 's" + std::to_string(i % 7) + "', " +
              std::to_string(i) + ")";
  }
  return ScriptedFile(scratch, "numbered.db", script + ";");
}

// Rows read ahead are never older than the file: a write through the connection (another
// table's, or the connection's own SQL) stops the reading, and the walk reads on from its row.
TEST(SqliteTable, AWalkReadAheadReadsOnWhatWasWrittenMeanwhile) {
  ScratchDir scratch;
  TnFDTableSQLite reader, writer;
  OpenOn(reader, NumberedFile(scratch, 3000), "T", "K");
  reader.SetReadAheadAfter(10);
  writer.SetConnection(reader.Connection());
  writer.SetTableName("T");
  writer.SetIndexFieldNames("K");
  writer.Open();

  reader.First();
  for (int i = 0; i < 100; ++i, reader.Next()) {
    ASSERT_EQ(reader.GetInteger(2), i);
  }
  ASSERT_TRUE(reader.ReadingAhead());
  // Another table of the connection changes a row a little ahead.
  ASSERT_TRUE(writer.FindKey({105.0}));
  writer.Edit();
  writer.SetValue(2, Variant(-105));
  writer.Post();
  EXPECT_FALSE(reader.ReadingAhead());
  for (int i = 100; i < 400; ++i, reader.Next()) {
    ASSERT_EQ(reader.GetInteger(2), i == 105 ? -105 : i) << "row " << i;
  }
  ASSERT_TRUE(reader.ReadingAhead()) << "the walk read ahead again";
  // The connection's own SQL changes every row.
  reader.Connection()->Sql().ExecuteScript("update T set V = -V");
  EXPECT_FALSE(reader.ReadingAhead());
  EXPECT_EQ(reader.GetInteger(2), 400) << "the row as it was when the reader came to it";
  reader.Next();
  for (int i = 401; i < 3000; ++i, reader.Next()) {
    ASSERT_EQ(reader.GetInteger(2), -i) << "row " << i;
  }
  EXPECT_TRUE(reader.Eof());
}

// Reading ahead never fails a walk that reads on without it: when the reading's connection
// cannot open the file (here removed, while the table's own connection keeps it open), the walk
// goes on from its row on the table's connection.
TEST(SqliteTable, AWalkGoesOnWhenItsFileCannotBeOpenedAgain) {
  ScratchDir scratch;
  TnFDTableSQLite table;
  const std::string file = NumberedFile(scratch, 2000);
  OpenOn(table, file, "T", "K");
  table.SetReadAheadAfter(10);
  table.First();
  ASSERT_EQ(table.GetInteger(2), 0);
  std::filesystem::remove(file);
  int i = 0;
  for (; !table.Eof(); ++i, table.Next()) {
    ASSERT_EQ(table.GetInteger(2), i);
    ASSERT_EQ(table.GetString(1), "s" + std::to_string(i % 7)) << "a field first asked for";
  }
  EXPECT_EQ(i, 2000);
  EXPECT_FALSE(table.ReadingAhead());
}

// A field first asked for in the middle of a walk read ahead is read with the rows after.
TEST(SqliteTable, AWalkReadAheadReadsAFieldFirstAskedForMidway) {
  ScratchDir scratch;
  TnFDTableSQLite table;
  OpenOn(table, NumberedFile(scratch, 2000), "T", "K");
  table.SetReadAheadAfter(5);
  table.SetRange({Variant(100.0)}, {Variant(1500.0)});
  int i = 100;
  for (; i < 600; ++i, table.Next()) {
    ASSERT_DOUBLE_EQ(table.GetFloat(0), i);
  }
  ASSERT_TRUE(table.ReadingAhead());
  for (; i < 1600; ++i, table.Next()) {
    if (table.Eof()) {
      break;
    }
    ASSERT_EQ(table.GetString(1), "s" + std::to_string(i % 7)) << "row " << i;
    ASSERT_EQ(table.GetInteger(2), i);
  }
  EXPECT_EQ(i, 1501) << "the range's end is held on the rows read ahead";
  EXPECT_TRUE(table.Eof());
  // Ranges one after the other, as a listing's look-ups go: the jump from 1500 to 1600 takes
  // a new statement, whose rows are soon read ahead, and the ranges step on through them.
  int ranges_read_ahead = 0;
  for (int k = 1600; k < 1900; k += 3) {
    table.SetRange({Variant(double(k))}, {Variant(double(k + 1))});
    for (int j = k; j <= k + 1; ++j, table.Next()) {
      ASSERT_FALSE(table.Eof()) << "key " << j;
      ASSERT_EQ(table.GetInteger(2), j);
    }
    EXPECT_TRUE(table.Eof());
    ranges_read_ahead += table.ReadingAhead() ? 1 : 0;
  }
  EXPECT_EQ(ranges_read_ahead, 99);
}

// The names of the indexes in the table's database file, read on a connection of their own:
// SQL run on the table's connection would count as a write to its tables.
std::vector<std::string> IndexesOf(TnFDTableSQLite& table) {
  // Read-only and without the lock, which the table's connection keeps.
  const std::string uri = "file:" + table.Connection()->Params().Database() + "?mode=ro&nolock=1";
  sqlite3* db = nullptr;
  sqlite3_open_v2(uri.c_str(), &db, SQLITE_OPEN_READONLY | SQLITE_OPEN_URI, nullptr);
  sqlite3_stmt* st = nullptr;
  sqlite3_prepare_v2(db, "select name from sqlite_master where type = 'index' order by name", -1,
                     &st, nullptr);
  std::vector<std::string> names;
  while (sqlite3_step(st) == SQLITE_ROW) {
    names.emplace_back(reinterpret_cast<const char*>(sqlite3_column_text(st, 0)));
  }
  sqlite3_finalize(st);
  sqlite3_close(db);
  return names;
}

// A table "T" of `rows` random rows (SQLite unless told), in a scratch folder of its own.
struct ScratchTable {
  ScratchTable(int rows, unsigned seed, DataSetKind kind = DataSetKind::SqliteTable)
      : random(seed), made(factory.Make(kind, "T", kFields, Rows(rows, random))) {}
  TnFDTableSQLite& Table() { return *Nutildb::FDTSQLite(made.get()); }

  ScratchDir scratch;
  DataSetFactory factory{scratch};
  std::mt19937 random;
  std::unique_ptr<TDataSet> made;
};

// An index field list replaced before any read makes no SQLite index.
TEST(SqliteTable, AnIndexIsMadeWhenAReadFirstNeedsIt) {
  ScratchTable scratch_table(50, 3);
  TnFDTableSQLite& table = scratch_table.Table();
  table.SetIndexFieldNames("K");
  table.SetIndexFieldNames("S;K");
  EXPECT_TRUE(IndexesOf(table).empty());
  EXPECT_FALSE(table.Eof());
  EXPECT_EQ(IndexesOf(table), (std::vector<std::string>{"nrw_T_S_K"}));
  table.SetIndexFieldNames("V");
  EXPECT_TRUE(table.FindKey({Variant(7)}));
  EXPECT_EQ(table.GetInteger(2), 7);
  EXPECT_EQ(IndexesOf(table), (std::vector<std::string>{"nrw_T_S_K", "nrw_T_V"}));
}

// A range that IsEmpty finds empty costs no index: the first row read from a range does.
TEST(SqliteTable, ARangeFoundEmptyMakesNoIndex) {
  ScratchTable scratch_table(300, 15);
  TnFDTableSQLite& table = scratch_table.Table();
  table.SetIndexFieldNames("S;V");
  table.SetRange({"B", 1000}, {"B", 2000});
  EXPECT_TRUE(table.IsEmpty());
  EXPECT_TRUE(IndexesOf(table).empty());
  table.SetRange({"A"}, {"B"});
  EXPECT_FALSE(table.IsEmpty());
  EXPECT_TRUE(IndexesOf(table).empty());
  ASSERT_FALSE(table.Eof());
  EXPECT_EQ(IndexesOf(table), (std::vector<std::string>{"nrw_T_S_V"}));
  EXPECT_EQ(table.GetString(1), "A") << "the range's first row";
}

// A range that fixes every index field, the first since the index field list, is read in row
// id order without the index (equal keys are in row id order): a walk read ahead (a stretch
// long enough to be handed over), deletions along it and of its last row, and edits of a row
// that the walk goes on from give what the memory table gives. A second reading from its
// start, or another range, makes the index.
TEST(SqliteTable, ARangeThatFixesEveryIndexFieldIsReadByRowId) {
  std::mt19937 random(17);
  ScratchDir scratch;
  DataSetFactory factory(scratch);
  const auto rows = Rows(3000, random);
  auto memory = factory.Make(DataSetKind::Memory, "T", kFields, rows);
  auto sqlite = factory.Make(DataSetKind::SqliteTable, "T", kFields, rows);
  TnFDTableSQLite& table = *Nutildb::FDTSQLite(sqlite.get());
  table.SetReadAheadAfter(5);
  TDataSet* both[] = {memory.get(), sqlite.get()};
  std::vector<std::string> walked[2];
  for (int i = 0; i < 2; ++i) {
    both[i]->SetIndexFieldNames("S");
    both[i]->SetRange({"A"}, {"A"});
    const int count = both[i]->RecordCount();
    int n = 0;
    for (both[i]->First(); !both[i]->Eof(); ++n) {
      walked[i].push_back(State(*both[i]));
      if ((n < 60 && n % 3 == 1) || n == count - 1) {
        both[i]->Delete();  // the last row too: the cursor then stands on the one before
        continue;
      }
      if (n >= 60 && n % 50 == 0) {  // the walk then goes on from this row
        both[i]->Edit();
        both[i]->SetValue(2, Variant(-n));
        both[i]->Post();
      }
      both[i]->Next();
    }
    std::string before;
    for (int field = 0; field < 3; ++field) {
      before += (both[i]->IsNull(field) ? std::string("null") : both[i]->GetString(field)) + "|";
    }
    walked[i].push_back(before);
  }
  EXPECT_EQ(walked[0], walked[1]);
  ASSERT_GT(walked[0].size(), 300u);
  EXPECT_EQ(IndexesOf(table), std::vector<std::string>{}) << "read by row id";

  for (TDataSet* t : both) {
    t->First();
  }
  EXPECT_EQ(State(*memory), State(*sqlite));
  EXPECT_EQ(IndexesOf(table), std::vector<std::string>{"nrw_T_S"}) << "a second reading";
  for (TDataSet* t : both) {
    t->SetRange({"B"}, {"B"});
  }
  EXPECT_EQ(Walk(*memory), Walk(*sqlite));
}

TEST(SqliteTable, IndexesMadeAtOnceServeTheReadsThatFollow) {
  ScratchDir scratch;
  DataSetFactory factory(scratch);
  std::mt19937 random(4);
  const auto rows = Rows(300, random);
  auto first = factory.Make(DataSetKind::SqliteTable, "T", kFields, rows);
  auto second = factory.Make(DataSetKind::SqliteTable, "T", kFields, rows);
  auto memory = factory.Make(DataSetKind::Memory, "T", kFields, rows);
  TnFDTableSQLite& a = *Nutildb::FDTSQLite(first.get());
  TnFDTableSQLite& b = *Nutildb::FDTSQLite(second.get());
  a.SetIndexFieldNames("S;K");
  b.SetIndexFieldNames("V");
  TnFDTableSQLite::MakeIndexes({&a, &b});
  EXPECT_EQ(IndexesOf(a), (std::vector<std::string>{"nrw_T_S_K"}));
  EXPECT_EQ(IndexesOf(b), (std::vector<std::string>{"nrw_T_V"}));
  memory->SetIndexFieldNames("S;K");
  EXPECT_EQ(Walk(a), Walk(*memory));
  EXPECT_TRUE(b.FindKey({Variant(7)}));
  EXPECT_EQ(b.GetInteger(2), 7);
  // A failure of one table (its table is gone) is raised once the other's index is made.
  a.SetIndexFieldNames("V");
  b.SetIndexFieldNames("S");
  b.Connection()->Sql().ExecuteScript("drop table T");
  try {
    TnFDTableSQLite::MakeIndexes({&a, &b});
    FAIL() << "the missing table was not noticed";
  } catch (const Exception& e) {
    EXPECT_NE(std::string(e.what()).find("no such table"), std::string::npos) << e.what();
  }
  EXPECT_EQ(IndexesOf(a), (std::vector<std::string>{"nrw_T_S_K", "nrw_T_V"}));
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

// AppendFrom: what the source shows, walked in its order, is what gets appended.
class AppendFrom : public ::testing::Test {
 protected:
  void SetUp() override {
    std::mt19937 random(11);
    source = factory.Make(DataSetKind::SqliteTable, "S", kFields, Rows(400, random));
    target = factory.Make(DataSetKind::SqliteTable, "T", kFields, {});
  }
  TnFDTableSQLite& Source() { return *Nutildb::FDTSQLite(source.get()); }
  TnFDTableSQLite& Target() { return *Nutildb::FDTSQLite(target.get()); }
  // An in-memory table of the source's rows. The source is told that its rows are in the order
  // of V (Rows gives V its row number), and both are ordered by V and filtered by `filter`.
  std::unique_ptr<TDataSet> TwinInRowOrder(const std::string& filter) {
    std::mt19937 random(11);
    auto memory = factory.Make(DataSetKind::Memory, "S", kFields, Rows(400, random));
    Source().SetRowOrder("V;K");
    for (TDataSet* table : {source.get(), memory.get()}) {
      table->SetIndexFieldNames("V");
      table->SetFilter(filter);
      table->SetFiltered(true);
    }
    return memory;
  }
  ScratchDir scratch;
  DataSetFactory factory{scratch};
  std::unique_ptr<TDataSet> source, target;
};

TEST_F(AppendFrom, TakesTheRowsTheSourceShowsInItsOrder) {
  source->SetIndexFieldNames("S;K");
  source->SetRange({"A"}, {"B"});
  source->SetFilter("V >= 40");
  source->SetFiltered(true);
  // A row not yet committed, inside the range and the filter.
  source->Append();
  source->SetValue(0, Variant());
  source->SetValue(1, Variant("AA"));
  source->SetValue(2, Variant(1000));
  source->Post();
  // The rows expected: each shown row whose V is below 300, K null read as -1, S null as "".
  std::vector<std::string> expected;
  for (source->First(); !source->Eof(); source->Next()) {
    if (source->GetInteger(2) < 300 || source->GetInteger(2) == 1000) {
      expected.push_back((source->IsNull(0) ? "-1" : source->GetString(0)) + "|" +
                         source->GetString(1) + "|null|");
    }
  }
  ASSERT_GT(expected.size(), 20u);
  ASSERT_NE(std::find(expected.begin(), expected.end(), "-1|AA|null|"), expected.end());
  // Another row written after the walk, not yet committed either.
  source->Append();
  source->SetValue(1, Variant("B"));
  source->SetValue(2, Variant(1001));
  source->Post();
  expected.push_back("-1|B|null|");

  const int64_t appended = Target().AppendFrom(Source(), {{"K", Variant(-1.0)}, {"S", Variant("")}},
                                               "(V < 300) or (V >= 1000)");
  EXPECT_EQ(appended, static_cast<int64_t>(expected.size()));
  EXPECT_EQ(target->RecordCount(), static_cast<int>(expected.size()));
  EXPECT_FALSE(target->Eof()) << "the cursor stands on the first row";
  std::vector<std::string> got = Walk(*target);
  std::sort(got.begin(), got.end());
  std::sort(expected.begin(), expected.end());
  EXPECT_EQ(got, expected);
}

TEST_F(AppendFrom, KeepsTheWalksOrderForEqualKeys) {
  source->SetIndexFieldNames("S");
  std::vector<std::string> walked;
  for (source->First(); !source->Eof(); source->Next()) {
    walked.push_back((source->IsNull(0) ? "null" : source->GetString(0)) + "|" +
                     (source->IsNull(1) ? "null" : source->GetString(1)) + "|" +
                     source->GetString(2) + "|");
  }
  Target().AppendFrom(Source(), {{"K", Variant()}, {"S", Variant()}, {"V", Variant()}}, "");
  EXPECT_EQ(Walk(*target), walked) << "rows in the target's insertion order";
}

// A source whose rows were written in the order of its index's numbers (as the provider's
// ordered loads write them) is read in row order: the same rows in the same order, and no
// index made. Once written, or for texts, whose order a database may see otherwise, the index
// is made.
TEST_F(AppendFrom, ASourceInRowOrderIsReadWithoutMakingItsIndex) {
  auto memory = TwinInRowOrder("S = 'A'");
  for (TDataSet* table : {source.get(), memory.get()}) {
    table->SetRange({Variant(100)}, {Variant(300)});
  }
  const std::vector<TAppendColumn> columns = {{"K", Variant()}, {"S", Variant()}, {"V", Variant()}};
  const std::vector<std::string> expected = Walk(*memory);
  ASSERT_GT(expected.size(), 20u);
  EXPECT_EQ(Target().AppendFrom(Source(), columns, ""), static_cast<int64_t>(expected.size()));
  EXPECT_EQ(Walk(*target), expected);
  EXPECT_EQ(IndexesOf(Source()), std::vector<std::string>{}) << "read in row order";

  // A row posted out of order: the index is made and puts it in its place.
  for (TDataSet* table : {source.get(), memory.get()}) {
    table->Append();
    table->SetValue(1, Variant("A"));
    table->SetValue(2, Variant(150));
    table->Post();
  }
  auto second = factory.Make(DataSetKind::SqliteTable, "T", kFields, {});
  Nutildb::FDTSQLite(second.get())->AppendFrom(Source(), columns, "");
  EXPECT_EQ(Walk(*second), Walk(*memory));
  EXPECT_EQ(IndexesOf(Source()), std::vector<std::string>{"nrw_S_V"});

  // Texts are not trusted to be in SQLite's order.
  Source().SetIndexFieldNames("S");
  Source().SetRowOrder("S");
  auto third = factory.Make(DataSetKind::SqliteTable, "T", kFields, {});
  Nutildb::FDTSQLite(third.get())->AppendFrom(Source(), columns, "");
  EXPECT_EQ(IndexesOf(Source()), (std::vector<std::string>{"nrw_S_S", "nrw_S_V"}));
}

// An empty table appended from a source read in row order is told that order, as far as it
// takes the order's fields: an index beginning with them is then served without being made.
// A second append may break the order, and the index is made.
TEST_F(AppendFrom, AnEmptyTargetTakesTheSourcesRowOrder) {
  auto memory = TwinInRowOrder("S <> 'A'");
  const std::vector<TAppendColumn> columns = {{"S", Variant()}, {"V", Variant()}};
  auto copy = factory.Make(DataSetKind::Memory, "T", kFields, {});
  TMemoryDataSet::AppendFromEach(*Nutildb::CDSM(memory.get()),
                                 {{Nutildb::CDSM(copy.get()), columns, ""}});
  Target().AppendFrom(Source(), columns, "");
  for (TDataSet* table : {target.get(), copy.get()}) {
    table->SetIndexFieldNames("V;S");
  }
  EXPECT_EQ(Walk(*target), Walk(*copy));
  ASSERT_GT(Walk(*target).size(), 200u);
  EXPECT_EQ(IndexesOf(Target()), std::vector<std::string>{}) << "served in the row order";

  Target().AppendFrom(Source(), columns, "");
  TMemoryDataSet::AppendFromEach(*Nutildb::CDSM(memory.get()),
                                 {{Nutildb::CDSM(copy.get()), columns, ""}});
  EXPECT_EQ(Walk(*target), Walk(*copy));
  EXPECT_EQ(IndexesOf(Target()), std::vector<std::string>{"nrw_T_V_S"});
}

TEST_F(AppendFrom, AnEmptyTextGoesToANumberAsNull) {
  source->SetIndexFieldNames("K");
  source->SetRange({Variant()}, {Variant()});
  ASSERT_GT(source->RecordCount(), 0);
  Target().AppendFrom(Source(), {{"K", Variant("")}, {"S", Variant(0.0)}, {"V", Variant(7)}}, "");
  for (target->First(); !target->Eof(); target->Next()) {
    EXPECT_TRUE(target->IsNull(0));
    EXPECT_FALSE(target->IsNull(1));
  }
  EXPECT_EQ(target->RecordCount(), source->RecordCount());
}

TEST_F(AppendFrom, ATableOfTheSameConnection) {
  Target().Close();
  Target().SetConnection(Source().Connection());
  Target().Connection()->Sql().ExecuteScript(SqliteCreateTable("T", kFields));
  Target().Open();
  source->SetIndexFieldNames("K");
  source->SetRange({10.0}, {20.0});
  const int shown = source->RecordCount();
  EXPECT_EQ(Target().AppendFrom(Source(), {{"K", Variant()}}, ""), shown);
  EXPECT_EQ(target->RecordCount(), shown);
}

TEST_F(AppendFrom, ReadsASourceWhoseFileNameLooksLikeAUri) {
  const std::string file = ScriptedFile(
      scratch, "items?mode=memory#1%20.db",
      SqliteCreateTable("S", kFields) + "; insert into S values (1.5, 'A', 1), (2.5, 'B', 2)");
  TnFDTableSQLite odd;
  OpenOn(odd, file, "S");
  EXPECT_EQ(Target().AppendFrom(odd, {{"K", Variant()}, {"V", Variant()}}, ""), 2);
  EXPECT_TRUE(std::filesystem::exists(file)) << "the name is the file's, not a URI's";
}

TEST_F(AppendFrom, SeveralTargetsAtOnceGetWhatEachWouldAlone) {
  source->SetIndexFieldNames("S;K");
  auto second = factory.Make(DataSetKind::SqliteTable, "T", kFields, {});
  auto alone = factory.Make(DataSetKind::SqliteTable, "T", kFields, {});
  const std::vector<TnFDTableSQLite::TAppendColumn> columns = {
      {"K", Variant(-1.0)}, {"S", Variant("")}, {"V", Variant()}};
  Nutildb::FDTSQLite(alone.get())->AppendFrom(Source(), columns, "V < 200");
  TnFDTableSQLite::AppendFromEach(
      Source(), {{&Target(), columns, "V < 200"},
                 {Nutildb::FDTSQLite(second.get()), {{"V", Variant()}}, "V >= 200"}});
  EXPECT_EQ(Walk(*target), Walk(*alone));
  EXPECT_EQ(target->RecordCount(), 200);
  EXPECT_EQ(second->RecordCount(), 200);
  // A failure of one target (its table is gone) is raised once both are done.
  Nutildb::FDTSQLite(second.get())->Connection()->Sql().ExecuteScript("drop table T");
  try {
    TnFDTableSQLite::AppendFromEach(Source(), {{&Target(), columns, "V < 10"},
                                               {Nutildb::FDTSQLite(second.get()), columns, ""}});
    FAIL() << "the missing table was not noticed";
  } catch (const Exception& e) {
    EXPECT_NE(std::string(e.what()).find("no such table"), std::string::npos) << e.what();
  }
  EXPECT_EQ(target->RecordCount(), 210) << "the other target was filled";
}

// The in-memory table's bulk append gives what SQLite's gives: the same rows, values and order,
// for targets with and without an index.
TEST_F(AppendFrom, TheInMemoryAppendGivesTheSameRows) {
  std::mt19937 random(11);
  auto memory = factory.Make(DataSetKind::Memory, "S", kFields, Rows(400, random));
  for (TDataSet* table : {source.get(), memory.get()}) {
    table->SetIndexFieldNames("S;K");
    table->SetRange({"A"}, {"C"});
    table->SetFilter("V >= 40");
    table->SetFiltered(true);
  }
  auto second = factory.Make(DataSetKind::SqliteTable, "T", kFields, {});
  auto first_memory = factory.Make(DataSetKind::Memory, "T", kFields, {});
  auto second_memory = factory.Make(DataSetKind::Memory, "T", kFields, {});
  for (TDataSet* table : {second.get(), second_memory.get()}) {
    table->SetIndexFieldNames("V");
  }
  const std::vector<TAppendColumn> columns = {{"K", Variant("")}, {"S", Variant("")}};
  TnFDTableSQLite::AppendFromEach(
      Source(), {{&Target(), columns, "V < 300"},
                 {Nutildb::FDTSQLite(second.get()), {{"V", Variant()}, {"S", Variant()}}, ""}});
  const auto appended = TMemoryDataSet::AppendFromEach(
      *Nutildb::CDSM(memory.get()),
      {{Nutildb::CDSM(first_memory.get()), columns, "V < 300"},
       {Nutildb::CDSM(second_memory.get()), {{"V", Variant()}, {"S", Variant()}}, ""}});
  ASSERT_GT(appended[0], 20);
  EXPECT_EQ(appended[0], target->RecordCount());
  EXPECT_EQ(appended[1], second->RecordCount());
  EXPECT_FALSE(first_memory->Eof()) << "the cursor stands on the first row";
  EXPECT_EQ(Walk(*first_memory), Walk(*target));
  EXPECT_EQ(Walk(*second_memory), Walk(*second));
}

// Every scratch folder is new and empty, even beside folders that killed tests left behind.
TEST(ScratchFolders, EachIsANewEmptyFolder) {
  ScratchDir first, second;
  EXPECT_NE(first.File(""), second.File(""));
  std::ofstream(first.File("left.db")) << "left behind";
  for (int i = 0; i < 20; ++i) {
    ScratchDir next;
    ASSERT_TRUE(std::filesystem::is_empty(next.File(""))) << next.File("");
  }
  EXPECT_TRUE(std::filesystem::exists(first.File("left.db")));
}

TEST(MemoryAppendFrom, ColumnsAreMatchedByName) {
  ScratchDir scratch;
  DataSetFactory factory(scratch);
  std::mt19937 random(13);
  auto source = factory.Make(DataSetKind::Memory, "S", kFields, Rows(30, random));
  auto target = factory.Make(
      DataSetKind::Memory, "T",
      {{"V", TFieldType::Integer}, {"K", TFieldType::Float}, {"S", TFieldType::String}}, {});
  TMemoryDataSet::AppendFromEach(*Nutildb::CDSM(source.get()),
                                 {{Nutildb::CDSM(target.get()),
                                   {{"K", Variant(-1.0)}, {"S", Variant()}, {"V", Variant()}},
                                   ""}});
  ASSERT_EQ(target->RecordCount(), 30);
  for (source->First(), target->First(); !source->Eof(); source->Next(), target->Next()) {
    EXPECT_EQ(target->GetInteger(0), source->GetInteger(2));
    EXPECT_EQ(target->GetFloat(1), source->IsNull(0) ? -1.0 : source->GetFloat(0));
    EXPECT_EQ(target->IsNull(2), source->IsNull(1));
    EXPECT_EQ(target->GetString(2), source->GetString(1));
  }
}

// Enough rows for each target to be filled on a thread of its own: each gets what it would get
// alone; a table given twice is filled twice, one after the other.
TEST(MemoryAppendFrom, ManyRowsGiveEachTargetWhatItWouldGetAlone) {
  ScratchTable items(20000, 14, DataSetKind::Memory);
  DataSetFactory& factory = items.factory;
  TDataSet* source = items.made.get();
  source->SetIndexFieldNames("S;K");
  source->SetRange({"B"}, {"Z"});
  source->SetFilter("V >= 100");
  source->SetFiltered(true);
  TMemoryDataSet& from = *Nutildb::CDSM(source);
  const std::vector<TAppendColumn> low = {{"K", Variant(-1.0)}, {"S", Variant("")}};
  const std::vector<TAppendColumn> all = {{"V", Variant()}, {"S", Variant()}, {"K", Variant()}};
  auto make = [&](const char* index) {
    auto table = factory.Make(DataSetKind::Memory, "T", kFields, {});
    table->SetIndexFieldNames(index);
    return table;
  };
  auto first = make(""), second = make("V"), first_alone = make(""), second_alone = make("V");
  const auto appended = TMemoryDataSet::AppendFromEach(
      from,
      {{Nutildb::CDSM(first.get()), low, "V < 15000"}, {Nutildb::CDSM(second.get()), all, ""}});
  TMemoryDataSet::AppendFromEach(from, {{Nutildb::CDSM(first_alone.get()), low, "V < 15000"}});
  TMemoryDataSet::AppendFromEach(from, {{Nutildb::CDSM(second_alone.get()), all, ""}});
  ASSERT_GT(appended[0], 4096);
  EXPECT_GT(appended[1], appended[0]);
  EXPECT_EQ(appended[0], first->RecordCount());
  EXPECT_EQ(appended[1], second->RecordCount());
  EXPECT_EQ(Walk(*first), Walk(*first_alone));
  EXPECT_EQ(Walk(*second), Walk(*second_alone));

  auto twice = make("V");
  const auto doubled = TMemoryDataSet::AppendFromEach(
      from, {{Nutildb::CDSM(twice.get()), all, ""}, {Nutildb::CDSM(twice.get()), all, ""}});
  EXPECT_EQ(doubled[0], appended[1]);
  EXPECT_EQ(doubled[1], appended[1]);
  const std::vector<std::string> once = Walk(*second_alone);
  std::vector<std::string> expected = once;
  expected.insert(expected.end(), once.begin(), once.end());
  std::sort(expected.begin(), expected.end());
  std::vector<std::string> got = Walk(*twice);
  std::sort(got.begin(), got.end());
  EXPECT_EQ(got, expected);
}

// An empty table of the source's columns takes most of the source's rows, in the order of their
// ids (a provider's table in its key order), as they are stored; fewer rows, or rows in another
// order, are copied. Either way the table reads, sorts, breaks ties and changes as if each row
// had been appended by hand, and neither table sees the other's later changes.
TEST(MemoryAppendFrom, RowsTakenAsTheSourceStoresThemReadAsCopies) {
  struct Case {
    const char* source_index;
    int from_v;  // the condition: V >= from_v
  };
  for (const Case& c : {Case{"", 1000}, Case{"", 15000}, Case{"K", 1000}}) {
    SCOPED_TRACE(std::string("source index '") + c.source_index +
                 "', V >= " + std::to_string(c.from_v));
    ScratchTable items(20000, 17, DataSetKind::Memory);
    TDataSet* source = items.made.get();
    source->SetIndexFieldNames(c.source_index);
    const auto make = [&] {
      auto table = items.factory.Make(DataSetKind::Memory, "T", kFields, {});
      table->SetIndexFieldNames("S");
      return table;
    };
    auto target = make(), twin = make(), expected = make();
    const std::vector<std::string> source_rows = Walk(*source);
    for (source->First(); !source->Eof(); source->Next()) {
      if (source->GetInteger(2) >= c.from_v) {
        Nutildb::CDSM(expected.get())
            ->AppendRecord({source->IsNull(0) ? Variant(-1.0) : source->GetValue(0),
                            source->IsNull(1) ? Variant("") : source->GetValue(1), Variant()});
      }
    }
    // Two tables at once, each filled on a thread of its own.
    const std::vector<TAppendColumn> columns = {{"K", Variant(-1.0)}, {"S", Variant("")}};
    const std::string condition = "V >= " + std::to_string(c.from_v);
    const auto appended = TMemoryDataSet::AppendFromEach(
        *Nutildb::CDSM(source), {{Nutildb::CDSM(target.get()), columns, condition},
                                 {Nutildb::CDSM(twin.get()), columns, condition}});
    ASSERT_EQ(appended[0], expected->RecordCount());
    EXPECT_EQ(Walk(*target), Walk(*expected)) << "equal texts in the order of the source";
    EXPECT_EQ(Walk(*twin), Walk(*expected));
    for (const char* index : {"K", "", "S;K"}) {
      target->SetIndexFieldNames(index);
      expected->SetIndexFieldNames(index);
      EXPECT_EQ(Walk(*target), Walk(*expected)) << "index '" << index << "'";
    }

    // The same changes to both: an edit, a delete, a row appended.
    for (TDataSet* table : {target.get(), expected.get()}) {
      table->First();
      table->Next();
      table->Edit();
      table->SetValue(0, Variant(-7.5));
      table->SetValue(2, Variant(42));
      table->Post();
      table->Next();
      table->Delete();
      Nutildb::CDSM(table)->AppendRecord({Variant(0.5), Variant("AA"), Variant(43)});
    }
    EXPECT_EQ(target->RecordCount(), expected->RecordCount());
    EXPECT_EQ(Walk(*target), Walk(*expected));
    EXPECT_EQ(Walk(*source), source_rows) << "the source kept its rows";

    const std::vector<std::string> target_rows = Walk(*target);
    for (source->First(); !source->Eof(); source->Next()) {
      source->Edit();
      source->SetValue(1, Variant("changed"));
      source->Post();
    }
    EXPECT_EQ(Walk(*target), target_rows) << "the table kept its rows";
  }
}

// A table given twice takes the source's rows once as they are stored and then as copies.
TEST(MemoryAppendFrom, ATableGivenTwiceSharesTheRowsOnceAndCopiesThemOnce) {
  ScratchTable items(6000, 18, DataSetKind::Memory);
  TMemoryDataSet& from = *Nutildb::CDSM(items.made.get());
  const std::vector<TAppendColumn> all = {{"K", Variant()}, {"S", Variant()}, {"V", Variant()}};
  auto twice = items.factory.Make(DataSetKind::Memory, "T", kFields, {});
  twice->SetIndexFieldNames("V");
  const auto appended = TMemoryDataSet::AppendFromEach(
      from, {{Nutildb::CDSM(twice.get()), all, ""}, {Nutildb::CDSM(twice.get()), all, ""}});
  EXPECT_EQ(appended, (std::vector<int64_t>{6000, 6000}));
  std::vector<std::string> expected;
  for (const std::string& row : Walk(*items.made)) {
    expected.push_back(row);
    expected.push_back(row);
  }
  EXPECT_EQ(Walk(*twice), expected) << "each row twice, by V";
}

// Targets in the source's own order (the rows come sorted) that already hold rows and show a
// range: the new rows are merged among the old ones, and the range holds for them at once.
TEST(MemoryAppendFrom, RowsInTheTargetsOrderAreMergedWithItsRowsUnderItsRange) {
  ScratchTable items(20000, 15, DataSetKind::Memory);
  TDataSet* source = items.made.get();
  source->SetIndexFieldNames("S;K");
  TMemoryDataSet& from = *Nutildb::CDSM(source);
  const std::vector<TAppendColumn> all = {{"K", Variant()}, {"S", Variant()}, {"V", Variant()}};
  std::mt19937 random(16);
  const auto make = [&] {
    auto table = items.factory.Make(DataSetKind::Memory, "T", kFields, Rows(500, random));
    table->SetIndexFieldNames("S;K");
    return table;
  };
  auto low = make(), high = make();
  // The same rows, appended one at a time.
  const auto copy = [](TDataSet& from, TDataSet* to) {
    Nutildb::CDSM(to)->AppendRecord({from.GetValue(0), from.GetValue(1), from.GetValue(2)});
  };
  auto expected_low = items.factory.Make(DataSetKind::Memory, "T", kFields, {});
  auto expected_high = items.factory.Make(DataSetKind::Memory, "T", kFields, {});
  for (const auto& [table, expected] :
       {std::pair{low.get(), expected_low.get()}, std::pair{high.get(), expected_high.get()}}) {
    expected->SetIndexFieldNames("S;K");
    for (table->First(); !table->Eof(); table->Next()) {
      copy(*table, expected);
    }
    table->SetRange({"B"}, {"C"});
  }
  for (source->First(); !source->Eof(); source->Next()) {
    TDataSet* expected = source->GetInteger(2) < 10000 ? expected_low.get() : expected_high.get();
    copy(*source, expected);
  }
  for (TDataSet* expected : {expected_low.get(), expected_high.get()}) {
    expected->SetRange({"B"}, {"C"});
  }

  const auto appended =
      TMemoryDataSet::AppendFromEach(from, {{Nutildb::CDSM(low.get()), all, "V < 10000"},
                                            {Nutildb::CDSM(high.get()), all, "V >= 10000"}});
  ASSERT_GT(appended[0], 4096);
  ASSERT_GT(appended[1], 4096);
  EXPECT_EQ(low->RecordCount(), expected_low->RecordCount());
  EXPECT_EQ(Walk(*low), Walk(*expected_low));
  EXPECT_EQ(Walk(*high), Walk(*expected_high));
  low->CancelRange();
  EXPECT_EQ(low->RecordCount(), 500 + appended[0]);
}

TEST(MemoryAppendFrom, RefusesItselfAndFailsBeforeAnyRowIsAdded) {
  ScratchDir scratch;
  DataSetFactory factory(scratch);
  std::mt19937 random(12);
  auto source = factory.Make(DataSetKind::Memory, "S", kFields, Rows(50, random));
  auto target = factory.Make(DataSetKind::Memory, "T", kFields, {});
  TMemoryDataSet& from = *Nutildb::CDSM(source.get());
  TMemoryDataSet& to = *Nutildb::CDSM(target.get());
  EXPECT_THROW(TMemoryDataSet::AppendFromEach(from, {{&from, {{"K", Variant()}}, ""}}), Exception);
  auto other = factory.Make(DataSetKind::Memory, "T", kFields, {});
  EXPECT_THROW(TMemoryDataSet::AppendFromEach(
                   from, {{&to, {{"K", Variant()}}, ""},
                          {Nutildb::CDSM(other.get()), {{"V", Variant()}}, "NOSUCH > 1"}}),
               Exception);
  EXPECT_THROW(TMemoryDataSet::AppendFromEach(from, {{&to, {{"V", Variant("x")}}, ""}}),
               EConvertError);
  EXPECT_EQ(target->RecordCount(), 0);
  EXPECT_EQ(source->RecordCount(), 50);
}

TEST_F(AppendFrom, AFailedAppendLeavesBothTablesUsable) {
  EXPECT_THROW(Target().AppendFrom(Source(), {{"K", Variant()}}, "NOSUCHFIELD > 1"), Exception);
  EXPECT_THROW(Target().AppendFrom(Source(), {{"NOSUCHFIELD", Variant()}}, ""), Exception);
  EXPECT_EQ(Target().AppendFrom(Source(), {{"V", Variant()}}, "V < 10"), 10);
  EXPECT_EQ(source->RecordCount(), 400);
  source->Append();
  source->SetValue(2, Variant(5));
  source->Post();
  EXPECT_EQ(source->RecordCount(), 401) << "the source is still written through its connection";
}

}  // namespace
}  // namespace nrw::testing
