// The SQLite table data set on 1,000,000 rows: index build, FindKey, SetRange, Delete,
// filtered navigation and a walk in index order, served by SQLite indexes.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <filesystem>
#include <memory>
#include <random>

#include "host/sql.hpp"
#include "host/sqlite_table.hpp"

namespace {

constexpr int kRows = 1'000'000;

// Removes the master file when the benchmark program ends.
struct FileRemover {
  std::string path;
  ~FileRemover() {
    std::error_code ignored;
    std::filesystem::remove(path, ignored);
  }
};

// A database file with table T of kRows rows, made once per process and copied per benchmark.
const std::string& MasterFile() {
  static const std::string path = [] {
    const std::string file =
        (std::filesystem::temp_directory_path() / ("nrw-bench-" + std::to_string(getpid()) + ".db"))
            .string();
    auto connection = OpenConnection(file, true);
    connection->ExecuteScript(
        "create table T (CHAVELCTOFIS REAL, TIPOIMPOSTO INTEGER, CODIGOCFOP INTEGER, VALORIMPOSTO "
        "REAL)");
    connection->BeginTransaction();
    auto writer =
        connection->BulkInsert("T", {"CHAVELCTOFIS", "TIPOIMPOSTO", "CODIGOCFOP", "VALORIMPOSTO"});
    std::mt19937 random(42);
    for (int i = 0; i < kRows; ++i) {
      writer->Add({static_cast<double>(random() % (kRows / 2)), random() % 3 == 0 ? 13 : 1, 5102,
                   static_cast<double>(random() % 100000) / 100.0});
    }
    writer->Finish();
    connection->Commit();
    return file;
  }();
  static const FileRemover remover{path};
  return path;
}

struct Table {
  std::string file;
  std::unique_ptr<TnFDTableSQLite> table;
  explicit Table(const std::string& name) {
    file = MasterFile() + "." + name;
    Nutilarquivo::CopyFile(MasterFile(), file, true);
    table = std::make_unique<TnFDTableSQLite>();
    table->Connection()->Params().SetDatabase(file);
    table->SetTableName("T");
    table->Open();
  }
  ~Table() {
    table.reset();
    std::filesystem::remove(file);
  }
};

void BM_SqliteIndexBuild(benchmark::State& state) {
  for (auto _ : state) {
    state.PauseTiming();
    Table t("index");
    state.ResumeTiming();
    t.table->SetIndexFieldNames("CHAVELCTOFIS;TIPOIMPOSTO");
  }
}
BENCHMARK(BM_SqliteIndexBuild)->Unit(benchmark::kMillisecond)->Iterations(2);

void BM_SqliteFindKey(benchmark::State& state) {
  Table t("find");
  t.table->SetIndexFieldNames("CHAVELCTOFIS;TIPOIMPOSTO");
  std::mt19937 random(7);
  for (auto _ : state) {
    benchmark::DoNotOptimize(t.table->FindKey({static_cast<double>(random() % (kRows / 2)), 1}));
  }
}
BENCHMARK(BM_SqliteFindKey)->Unit(benchmark::kMicrosecond);

void BM_SqliteSetRange(benchmark::State& state) {
  Table t("range");
  t.table->SetIndexFieldNames("CHAVELCTOFIS");
  std::mt19937 random(9);
  for (auto _ : state) {
    const double key = static_cast<double>(random() % (kRows / 2));
    t.table->SetRange({key}, {key});
  }
}
BENCHMARK(BM_SqliteSetRange)->Unit(benchmark::kMicrosecond);

void BM_SqliteDeleteUnderRange(benchmark::State& state) {
  for (auto _ : state) {
    state.PauseTiming();
    Table t("delete");
    t.table->SetIndexFieldNames("TIPOIMPOSTO;CHAVELCTOFIS");
    t.table->SetRange({13}, {13});
    state.ResumeTiming();
    int64_t deleted = 0;
    for (t.table->First(); !t.table->Eof() && deleted < 10000; ++deleted) {
      t.table->Delete();
    }
    state.counters["rows"] = static_cast<double>(deleted);
  }
}
BENCHMARK(BM_SqliteDeleteUnderRange)->Unit(benchmark::kMillisecond)->Iterations(2);

void BM_SqliteFilteredWalk(benchmark::State& state) {
  Table t("walk");
  t.table->SetFilter("(TIPOIMPOSTO <> 13) and (VALORIMPOSTO > 10)");
  t.table->SetFiltered(true);
  for (auto _ : state) {
    int64_t rows = 0;
    for (t.table->First(); !t.table->Eof(); t.table->Next()) {
      ++rows;
    }
    benchmark::DoNotOptimize(rows);
  }
}
BENCHMARK(BM_SqliteFilteredWalk)->Unit(benchmark::kMillisecond)->Iterations(1);

// A walk of every row in index order, reading three fields of each, as the listing walks its
// tax lines; the argument is the table's read-ahead count (0: the rows are read on the
// caller's thread).
void BM_SqliteIndexWalk(benchmark::State& state) {
  Table t("index-walk");
  t.table->SetIndexFieldNames("CHAVELCTOFIS");
  t.table->SetReadAheadAfter(static_cast<int>(state.range(0)));
  TnFDTableSQLite::MakeIndexes({t.table.get()});
  for (auto _ : state) {
    double sum = 0;
    for (t.table->First(); !t.table->Eof(); t.table->Next()) {
      sum += t.table->GetFloat(0) + t.table->GetFloat(3) + double(t.table->GetInteger(1));
    }
    benchmark::DoNotOptimize(sum);
  }
}
BENCHMARK(BM_SqliteIndexWalk)->Arg(0)->Arg(256)->Unit(benchmark::kMillisecond)->Iterations(2);

}  // namespace
