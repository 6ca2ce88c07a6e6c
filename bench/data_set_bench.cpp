// Hot data-set operations on 1,000,000 rows: index build, FindKey, SetRange, Delete, filtered
// navigation and clone of the in-memory table.
#include <benchmark/benchmark.h>

#include <memory>
#include <random>

#include "host/memory_data_set.hpp"

namespace {

constexpr int kRows = 1'000'000;

std::unique_ptr<TnClientDataSetMem> MakeTable(int rows) {
  auto table = std::make_unique<TnClientDataSetMem>(
      nullptr, std::vector<TFieldDef>{{"CHAVELCTOFIS", TFieldType::Float},
                                      {"TIPOIMPOSTO", TFieldType::Integer},
                                      {"CODIGOCFOP", TFieldType::Integer},
                                      {"VALORIMPOSTO", TFieldType::Float}});
  table->ReserveRows(rows);
  std::mt19937 random(42);
  for (int i = 0; i < rows; ++i) {
    table->Append();
    table->SetValue(0, static_cast<double>(random() % (rows / 2)));
    table->SetValue(1, static_cast<int>(random() % 3 == 0 ? 13 : 1));
    table->SetValue(2, 5102);
    table->SetValue(3, (random() % 100000) / 100.0);
    table->Post();
  }
  return table;
}

void BM_IndexBuild(benchmark::State& state) {
  auto table = MakeTable(kRows);
  for (auto _ : state) {
    table->SetIndexFieldNames("CHAVELCTOFIS;TIPOIMPOSTO");
    state.PauseTiming();
    table->SetIndexFieldNames("");
    state.ResumeTiming();
  }
}
BENCHMARK(BM_IndexBuild)->Unit(benchmark::kMillisecond);

void BM_FindKey(benchmark::State& state) {
  auto table = MakeTable(kRows);
  table->SetIndexFieldNames("CHAVELCTOFIS;TIPOIMPOSTO");
  std::mt19937 random(7);
  for (auto _ : state) {
    benchmark::DoNotOptimize(table->FindKey({static_cast<double>(random() % (kRows / 2)), 1}));
  }
}
BENCHMARK(BM_FindKey);

void BM_SetRange(benchmark::State& state) {
  auto table = MakeTable(kRows);
  table->SetIndexFieldNames("CHAVELCTOFIS");
  std::mt19937 random(9);
  for (auto _ : state) {
    const double key = static_cast<double>(random() % (kRows / 2));
    table->SetRange({key}, {key});
  }
}
BENCHMARK(BM_SetRange);

// The listing's pattern: every document's lines, the documents in key order.
void BM_SetRangeInKeyOrder(benchmark::State& state) {
  auto table = MakeTable(kRows);
  table->SetIndexFieldNames("CHAVELCTOFIS");
  double key = 0;
  for (auto _ : state) {
    table->SetRange({key}, {key});
    key = key + 1 < kRows / 2 ? key + 1 : 0;
  }
}
BENCHMARK(BM_SetRangeInKeyOrder);

// A document's PIS rows as the listing takes them: found, taken as a range with the same key,
// walked, and the range cancelled; the documents in key order.
void BM_FindRangeWalkInKeyOrder(benchmark::State& state) {
  auto table = MakeTable(kRows);
  table->SetIndexFieldNames("CHAVELCTOFIS");
  double key = 0, sum = 0;
  for (auto _ : state) {
    if (table->FindKey({key})) {
      table->SetRange({key}, {key});
      for (; !table->Eof(); table->Next()) {
        sum += table->GetFloat(3);
      }
      table->CancelRange();
    }
    key = key + 1 < kRows / 2 ? key + 1 : 0;
  }
  benchmark::DoNotOptimize(sum);
}
BENCHMARK(BM_FindRangeWalkInKeyOrder);

void BM_DeleteUnderIndex(benchmark::State& state) {
  for (auto _ : state) {
    state.PauseTiming();
    auto table = MakeTable(kRows);
    table->SetIndexFieldNames("TIPOIMPOSTO;CHAVELCTOFIS");
    table->SetRange({13}, {13});
    state.ResumeTiming();
    table->First();
    while (!table->Eof()) {
      table->Delete();
    }
  }
}
BENCHMARK(BM_DeleteUnderIndex)->Unit(benchmark::kMillisecond)->Iterations(2);

// Rows appended to an indexed table (as the PIS and COFINS working tables are filled), then
// read in index order.
void BM_AppendUnderIndex(benchmark::State& state) {
  const int64_t rows = state.range(0);
  for (auto _ : state) {
    TnClientDataSetMem table(nullptr, {{"K", TFieldType::Float}, {"V", TFieldType::Float}});
    table.SetIndexFieldNames("K");
    for (int64_t i = 0; i < rows; ++i) {
      table.AppendRecord({Variant(static_cast<double>((i * 7919) % rows)), Variant(1.0)});
    }
    table.First();
    benchmark::DoNotOptimize(table.GetFloat(0));
  }
  state.SetItemsProcessed(state.iterations() * rows);
}
BENCHMARK(BM_AppendUnderIndex)->Arg(10'000)->Arg(100'000)->Unit(benchmark::kMillisecond);

void BM_FilteredWalk(benchmark::State& state) {
  auto table = MakeTable(kRows);
  table->SetFilter("(TIPOIMPOSTO <> 13) and (VALORIMPOSTO > 10)");
  table->SetFiltered(true);
  for (auto _ : state) {
    int64_t rows = 0;
    for (table->First(); !table->Eof(); table->Next()) {
      ++rows;
    }
    benchmark::DoNotOptimize(rows);
  }
}
BENCHMARK(BM_FilteredWalk)->Unit(benchmark::kMillisecond);

void BM_Clone(benchmark::State& state) {
  auto table = MakeTable(kRows);
  for (auto _ : state) {
    TnClientDataSetMem copy;
    copy.CopyFrom(*table);
    benchmark::DoNotOptimize(copy.RecordCount());
  }
}
BENCHMARK(BM_Clone)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
