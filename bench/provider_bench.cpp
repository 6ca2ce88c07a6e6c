// The fiscal data provider reading a 250,000-document month (4 establishments): every
// establishment executed once per iteration, all taxes and PIS/COFINS, per database and storage
// mode. PostgreSQL runs when NRW_BENCH_PG_URL names an empty database.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <memory>

#include "host/fiscal_provider.hpp"
#include "schema/demo_generator.hpp"

namespace {

constexpr int64_t kDocuments = 250'000;

TSQLConnection* Database(bool postgres) {
  static std::unique_ptr<TSQLConnection> sqlite, pg;
  std::unique_ptr<TSQLConnection>& slot = postgres ? pg : sqlite;
  if (!slot) {
    nrw::schema::DemoOptions options;
    options.documents = kDocuments;
    options.seed = 11;
    if (postgres) {
      const char* url = std::getenv("NRW_BENCH_PG_URL");
      if (url == nullptr) {
        return nullptr;
      }
      slot = OpenConnection(url, false);
    } else {
      const std::string file = (std::filesystem::temp_directory_path() /
                                ("nrw-bench-provider-" + std::to_string(getpid()) + ".db"))
                                   .string();
      std::filesystem::remove(file);
      slot = OpenConnection(file, true);
      std::atexit([] {
        std::filesystem::remove_all(std::filesystem::temp_directory_path() /
                                    ("nrw-bench-provider-" + std::to_string(getpid()) + ".db"));
      });
    }
    nrw::schema::CreateDemoDatabase(*slot, options);
  }
  return slot.get();
}

void BM_ProviderMonth(benchmark::State& state) {
  const bool postgres = state.range(0) == 1;
  const bool sqlite_storage = state.range(1) == 1;
  TSQLConnection* db = Database(postgres);
  if (db == nullptr) {
    state.SkipWithError("NRW_BENCH_PG_URL is not set");
    return;
  }
  int64_t lines = 0;
  for (auto _ : state) {
    TnFisDPListarLctoFisTotal provider;
    provider.SetUsarSQLite(sqlite_storage);
    provider.SetConexao(db);
    TnpqPowerParam& p = *provider.Params();
    p.Param("pDataInicial")->SetAsDate(EncodeDate(2026, 1, 1));
    p.Param("pDataFinal")->SetAsDate(EncodeDate(2026, 1, 31));
    for (const char* name :
         {"pListarICMS", "pListarISS", "pListarIPI", "pListarPISCOFINS", "pListarFunRural",
          "pListarComplementar", "pListarSubTribut", "pListarHistorico", "pListarDadosPessoa"}) {
      p.Param(name)->SetAsString("1");
    }
    p.Param("pEntrada")->SetAsInteger(1);
    p.Param("pSaida")->SetAsInteger(1);
    p.Param("pTipoPeriodo")->SetAsInteger(1);
    p.Param("pTipoTotal")->SetAsString("4");
    lines = 0;
    for (int company = 1; company <= 2; ++company) {
      for (int estab = 1; estab <= 2; ++estab) {
        p.Param("pCodigoEmpresa")->SetValue(std::to_string(company));
        p.Param("pCodigoEstab")->SetValue(std::to_string(estab));
        provider.Executar();
        lines += provider.Imposto()->RecordCount();
      }
    }
  }
  state.counters["tax_lines"] = static_cast<double>(lines);
}
BENCHMARK(BM_ProviderMonth)
    ->ArgNames({"postgres", "sqlite_storage"})
    ->Args({0, 0})
    ->Args({0, 1})
    ->Args({1, 0})
    ->Args({1, 1})
    ->Unit(benchmark::kMillisecond)
    ->Iterations(2);

}  // namespace
