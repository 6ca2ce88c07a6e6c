// TnFisDPListarLctoFisTotal: one execution reads the fiscal books of the current establishment
// (see fiscal_provider.hpp). The tax lines come first: the documents, PIS/COFINS items and
// counterparties kept are those the tax lines need, and the summary table is summed from them.
#include "host/fiscal_provider.hpp"

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <functional>
#include <map>

#include "host/exception.hpp"
#include "host/sysutils.hpp"
#include "runtime/fiscal_queries.hpp"
#include "runtime/fiscal_results.hpp"
#include "runtime/query_pipe.hpp"

namespace {

using nrw::FiscalResult;

bool& DefaultUseSqlite() {
  static bool use_sqlite = false;
  return use_sqlite;
}

constexpr double kMinutesPerDay = 1440.0;
// "pTipoTotal": summary by CFOP and tax type, or by day and tax type.
constexpr int kTotalByCfop = 4, kTotalByDay = 7;

// The tax types and the switch parameter that lists each.
const std::pair<const char*, int32_t> kTaxSwitches[] = {
    {"pListarICMS", 1},      {"pListarISS", 2},           {"pListarIPI", 10},
    {"pListarFunRural", 11}, {"pListarComplementar", 12}, {"pListarSubTribut", 13}};

// A document's items as read in key order: its key, and the places of its first and last item
// among the items stored.
struct ItemRun {
  double key;
  int64_t first, last;
};

// Sums of the five amounts of a summary row.
using Amounts = std::array<double, 5>;
constexpr int kFirstAmount = 6;  // VALORCONTABIL in the tax lines

}  // namespace

void SetUsarSQLitePadrao(bool use_sqlite) {
  DefaultUseSqlite() = use_sqlite;
}
bool UsarSQLitePadrao() {
  return DefaultUseSqlite();
}

struct TnFisDPListarLctoFisTotal::Impl {
  TnFisDPListarLctoFisTotal& self;
  bool use_sqlite = DefaultUseSqlite();
  TSQLConnection* connection = nullptr;
  std::unique_ptr<nrw::FiscalStorage> storage;
  // More connections to the database, and the connection and database they were opened
  // beside; `no_more` once the database offered no more.
  std::vector<std::unique_ptr<TSQLConnection>> more;
  TSQLConnection* more_of = nullptr;
  std::string more_for;
  bool no_more = false;
  TnClientDataSetMem* pessoa;
  TnClientDataSetMem* cfop;
  TnClientDataSetMem* total;

  explicit Impl(TnFisDPListarLctoFisTotal& owner)
      : self(owner),
        pessoa(new TnClientDataSetMem(&owner, nrw::PessoaFields())),
        cfop(new TnClientDataSetMem(&owner, nrw::CfopFields())),
        total(new TnClientDataSetMem(&owner, nrw::TotalFields())) {
    pessoa->SetName("cdsPessoa");
    cfop->SetName("cdsCFOP");
    total->SetName("cdsTotal");
  }

  nrw::FiscalStorage& Storage() {
    if (!storage) {
      storage = use_sqlite ? nrw::MakeSqliteStorage(&self) : nrw::MakeMemoryStorage(&self);
    }
    return *storage;
  }
  TSQLConnection& Connection() const {
    if (connection != nullptr) {
      return *connection;
    }
    if (TSQLConnection* host = Nutildb::ConexaoPadrao()) {
      return *host;
    }
    throw Exception("TnFisDPListarLctoFisTotal: no database connection");
  }
  const TnpqParamItem& P(const char* name) const { return *self.Params()->Param(name); }
  bool Yes(const char* name) const { return Trim(P(name).AsString()) == "1"; }

  nrw::FiscalFilter ReadFilter() const {
    nrw::FiscalFilter f;
    f.company = P("pCodigoEmpresa").AsInteger();
    f.estab = P("pCodigoEstab").AsInteger();
    f.by_date_time = P("pTipoPeriodo").AsInteger() != 1;
    f.from = std::floor(P("pDataInicial").AsDate());
    f.to = std::floor(P("pDataFinal").AsDate());
    if (f.by_date_time) {
      f.from += StrToFloatDef(P("pHoraInicial").AsString(), 0) / kMinutesPerDay;
      f.to += StrToFloatDef(P("pHoraFinal").AsString(), 0) / kMinutesPerDay;
    }
    f.entries = P("pEntrada").AsInteger() == 1;
    f.exits = P("pSaida").AsInteger() == 1;
    for (const auto& [name, type] : kTaxSwitches) {
      if (Yes(name)) {
        f.tax_types.push_back(type);
      }
    }
    f.pis_cofins = Yes("pListarPISCOFINS");
    f.people = nrw::ParseCodeList("pCodigoPessoa", P("pCodigoPessoa").AsString());
    f.cfops = nrw::ParseCodeList("pCodigoCFOP", P("pCodigoCFOP").AsString());
    f.users = nrw::ParseCodeList("pCodigoUsuario", P("pCodigoUsuario").AsString());
    f.species = AnsiUpperCase(Trim(P("pEspecie").AsString()));
    f.only_non_normal = P("pNaoUsaFinalidadeNormal").AsInteger() == 1;
    f.history = Yes("pListarHistorico");
    f.extra_field = StrToIntDef(P("pCampoAdicional").AsString(), 0);
    return f;
  }

  // The database reads and converts the rows on a second thread while this one stores them.
  void Run(const nrw::SqlText& query, const std::vector<TFieldDef>& fields,
           const std::function<void(std::vector<Variant>&)>& handle) {
    nrw::PipeQuery(Connection(), query.sql, query.params, fields, handle);
  }

  // Up to `wanted` more connections to the database, kept for the next executions; fewer when
  // the database offers no more, none while a transaction is open on the first (whose rows the
  // others would not see).
  std::vector<TSQLConnection*> MoreConnections(size_t wanted) {
    TSQLConnection& first = Connection();
    if (first.InTransaction()) {
      return {};
    }
    if (more_of != &first || more_for != first.Description()) {
      more.clear();
      more_of = &first;
      more_for = first.Description();
      no_more = false;
    }
    while (more.size() < wanted && !no_more) {
      std::unique_ptr<TSQLConnection> connection;
      try {
        connection = first.Reopen();
      } catch (const Exception&) {
        // Then the reads make do with those there are.
      }
      no_more = connection == nullptr;
      if (connection != nullptr) {
        more.push_back(std::move(connection));
      }
    }
    std::vector<TSQLConnection*> connections;
    for (size_t i = 0; i < std::min(wanted, more.size()); ++i) {
      connections.push_back(more[i].get());
    }
    return connections;
  }

  void Execute() {
    const nrw::FiscalFilter f = ReadFilter();
    const int total_kind = StrToIntDef(P("pTipoTotal").AsString(), 0);
    std::vector<double> keys;
    std::map<std::pair<double, int32_t>, Amounts> sums;
    std::vector<int64_t> people;
    nrw::FiscalStorage& storage = Storage();
    storage.BeginRefill();
    // The tax lines, then the documents that have them, on the provider's connection; the
    // PIS/COFINS items of the same documents beside them on a second connection when there is
    // one. Rows kept in the order they come are read a direction per statement, each statement
    // on a connection of its own, and merged by key when the database has connections enough.
    const bool per_direction = !storage.SortsRows() && f.entries && f.exits;
    std::vector<TSQLConnection*> connections = MoreConnections(per_direction ? 3 : 1);
    TSQLConnection* beside = connections.empty() ? nullptr : connections[0];
    const nrw::QueryOrder order = storage.SortsRows()       ? nrw::QueryOrder::kAsStored
                                  : connections.size() == 3 ? nrw::QueryOrder::kByKeyPerDirection
                                                            : nrw::QueryOrder::kByKey;
    std::vector<nrw::QueryLane> lanes(beside != nullptr ? 2 : 1);
    lanes[0].connection = &Connection();
    lanes[0].queries.push_back(TaxLines(f, order, total_kind, keys, sums));
    lanes[0].queries.push_back(Documents(f, order, keys, people));
    // The counterparties after the items, on their lane: beside the documents, which tell
    // which of them are kept.
    nrw::QueryLane& items = lanes.back();
    items.connection = beside != nullptr ? beside : &Connection();
    if (order == nrw::QueryOrder::kByKeyPerDirection) {
      lanes[0].part_connections = {connections[1]};
      items.part_connections = {connections[2]};
    }
    std::vector<ItemRun> item_runs;
    items.queries.push_back(PisCofins(f, order, keys, beside != nullptr, item_runs));
    std::vector<std::vector<Variant>> people_read;
    items.queries.push_back(People(f, people_read));
    nrw::PipeQueries(lanes);
    // Items read beside the tax lines are all kept until now: those of documents without a
    // listed tax line go.
    if (beside != nullptr && !storage.SortsRows()) {
      storage.DropAddedRows(FiscalResult::PisCofins, RunsWithout(keys, item_runs));
    }
    storage.EndRefill();
    if (beside != nullptr && storage.SortsRows()) {
      DropItemsWithoutTaxLines(keys);
    }
    LoadPeople(people, people_read);
    LoadCfops();
    FillTotals(total_kind, sums);
  }

  // A query's statements (several are merged by their first `keys` columns), its rows' columns
  // and what becomes of them, begun in the storage.
  nrw::PipedQuery Piped(const std::vector<nrw::SqlText>& texts, size_t keys, FiscalResult result,
                        const nrw::FiscalFilter& f) {
    nrw::PipedQuery query;
    query.sql = texts.front().sql;
    query.params = texts.front().params;
    for (size_t i = 1; i < texts.size(); ++i) {
      query.more.push_back({texts[i].sql, texts[i].params});
    }
    query.merge_keys = keys;
    query.fields = nrw::FiscalResultFields(result, f.extra_field);
    Storage().Begin(result, query.fields);
    return query;
  }

  // The tax lines; `keys` gathers their documents' keys, sorted and unique once all are read.
  nrw::PipedQuery TaxLines(const nrw::FiscalFilter& f, nrw::QueryOrder order, int total_kind,
                           std::vector<double>& keys,
                           std::map<std::pair<double, int32_t>, Amounts>& sums) {
    nrw::FiscalStorage& storage = Storage();
    nrw::PipedQuery query = Piped(nrw::TaxLinesQuery(f, order), 2, FiscalResult::Imposto, f);
    query.handle = [&storage, &keys, &sums, total_kind](std::vector<Variant>& row) {
      const double key = row[0].AsFloat();
      if (keys.empty() || keys.back() != key) {
        keys.push_back(key);
      }
      if (total_kind == kTotalByCfop || total_kind == kTotalByDay) {
        const double group = total_kind == kTotalByCfop ? row[3].AsFloat() : row[2].AsFloat();
        Amounts& amounts = sums[{group, static_cast<int32_t>(row[4].AsInteger())}];
        for (size_t i = 0; i < amounts.size(); ++i) {
          amounts[i] += row[kFirstAmount + i].AsFloat();
        }
      }
      storage.Add(FiscalResult::Imposto, row);
    };
    query.done = [&storage, &keys] {
      std::sort(keys.begin(), keys.end());
      keys.erase(std::unique(keys.begin(), keys.end()), keys.end());
      storage.End(FiscalResult::Imposto, "CHAVELCTOFIS;SEQ");
    };
    return query;
  }

  // Looks keys up among `keys` (sorted, without repeats). Rows read in about key order ask for
  // the key found last or the one after it: those are tried before the binary search.
  class KeySearch {
   public:
    explicit KeySearch(const std::vector<double>& keys) : keys_(keys) {}
    bool Has(double key) {
      if (next_ > 0 && keys_[next_ - 1] == key) {
        return true;
      }
      if (next_ < keys_.size() && keys_[next_] == key) {
        ++next_;
        return true;
      }
      const auto at = std::lower_bound(keys_.begin(), keys_.end(), key);
      if (at == keys_.end() || *at != key) {
        return false;
      }
      next_ = static_cast<size_t>(at - keys_.begin()) + 1;
      return true;
    }

   private:
    const std::vector<double>& keys_;
    size_t next_ = 0;
  };

  // The documents with listed tax lines (read after the tax lines, so `keys` is complete);
  // `people` gathers their counterparties' codes, sorted and unique once all are read.
  nrw::PipedQuery Documents(const nrw::FiscalFilter& f, nrw::QueryOrder order,
                            const std::vector<double>& keys, std::vector<int64_t>& people) {
    nrw::FiscalStorage& storage = Storage();
    nrw::PipedQuery query = Piped(nrw::DocumentsQuery(f, order), 1, FiscalResult::DocFiscal, f);
    query.handle = [&storage, search = KeySearch(keys),
                    &people](std::vector<Variant>& row) mutable {
      if (search.Has(row[0].AsFloat())) {
        people.push_back(row[10].AsInteger());
        storage.Add(FiscalResult::DocFiscal, row);
      }
    };
    query.done = [&storage, &people] {
      std::sort(people.begin(), people.end());
      people.erase(std::unique(people.begin(), people.end()), people.end());
      storage.End(FiscalResult::DocFiscal, "CHAVELCTOFIS");
    };
    return query;
  }

  // The PIS/COFINS items of the documents with listed tax lines. Read after the tax lines,
  // `keys` keeps those documents' items. Read beside them (`beside`), before `keys` is complete,
  // every item is stored and the others are dropped once everything is read: by a walk of the
  // table in a storage that sorts its rows, else by the places of their documents' runs in
  // `runs` (the items come in key order). The database's semi-join with the tax lines cost more
  // (a million-line month on PostgreSQL: 0.8 s more of the server's processor time).
  nrw::PipedQuery PisCofins(const nrw::FiscalFilter& f, nrw::QueryOrder order,
                            const std::vector<double>& keys, bool beside,
                            std::vector<ItemRun>& runs) {
    nrw::FiscalStorage& storage = Storage();
    nrw::PipedQuery query = Piped(nrw::PisCofinsQuery(f, order), 2, FiscalResult::PisCofins, f);
    const bool by_runs = beside && !storage.SortsRows();
    query.handle = [&storage, search = KeySearch(keys), beside, by_runs, &runs,
                    added = int64_t{0}](std::vector<Variant>& row) mutable {
      if (by_runs) {
        const double key = row[0].AsFloat();
        if (runs.empty() || runs.back().key != key) {
          runs.push_back({key, added, added});
        } else {
          runs.back().last = added;
        }
        ++added;
      }
      if (beside || search.Has(row[0].AsFloat())) {
        storage.Add(FiscalResult::PisCofins, row);
      }
    };
    query.done = [&storage] { storage.End(FiscalResult::PisCofins, "CHAVELCTOFIS;SEQ"); };
    return query;
  }

  // The places of the items whose document has no listed tax line (`keys`: sorted, without
  // repeats), from the documents' runs; neighbouring runs make one range.
  static std::vector<nrw::AddedRows> RunsWithout(const std::vector<double>& keys,
                                                 const std::vector<ItemRun>& runs) {
    std::vector<nrw::AddedRows> dropped;
    KeySearch search(keys);
    for (size_t i = 0; i < runs.size(); ++i) {
      if (search.Has(runs[i].key)) {
        continue;
      }
      if (!dropped.empty() && dropped.back().last + 1 == runs[i].first) {
        dropped.back().last = runs[i].last;
      } else {
        dropped.push_back({runs[i].first, runs[i].last});
      }
    }
    return dropped;
  }

  // Drops the items whose document has no listed tax line (`keys`: sorted, without repeats).
  // The items are in key order, so each is found beside the one before.
  void DropItemsWithoutTaxLines(const std::vector<double>& keys) {
    TDataSet* items = Storage().Table(FiscalResult::PisCofins);
    const int key_field = items->FieldIndex("CHAVELCTOFIS");
    KeySearch search(keys);
    for (items->First(); !items->Eof();) {
      if (search.Has(items->GetFloat(key_field))) {
        items->Next();
      } else {
        items->Delete();
      }
    }
    items->First();
  }

  // The counterparties of the period's documents, as read, to be kept by LoadPeople.
  static nrw::PipedQuery People(const nrw::FiscalFilter& f,
                                std::vector<std::vector<Variant>>& read) {
    const nrw::SqlText text = nrw::PeopleQuery(f);
    nrw::PipedQuery query;
    query.sql = text.sql;
    query.params = text.params;
    query.fields = nrw::PessoaFields();
    query.handle = [&read](std::vector<Variant>& row) { read.push_back(row); };
    return query;
  }

  // Counterparties of the documents kept (`people`: sorted, without repeats). Without
  // "pListarDadosPessoa" their registration numbers are left out (name, state, municipality and
  // rural flag are always there).
  void LoadPeople(const std::vector<int64_t>& people, std::vector<std::vector<Variant>>& read) {
    const bool registrations = Yes("pListarDadosPessoa");
    pessoa->CreateDataSet(nrw::PessoaFields());
    for (std::vector<Variant>& row : read) {
      if (!std::binary_search(people.begin(), people.end(), row[0].AsInteger())) {
        continue;
      }
      if (!registrations) {
        row[2] = row[5] = row[7] = Variant();
      }
      pessoa->AppendRecord(row);
    }
    pessoa->First();
  }

  void LoadCfops() {
    const auto fields = nrw::CfopFields();
    cfop->CreateDataSet(fields);
    Run(nrw::CfopQuery(), fields, [&](std::vector<Variant>& row) { cfop->AppendRecord(row); });
    cfop->First();
  }

  void FillTotals(int total_kind, const std::map<std::pair<double, int32_t>, Amounts>& sums) {
    total->CreateDataSet(nrw::TotalFields());
    std::vector<Variant> row(8);
    for (const auto& [group, amounts] : sums) {
      row[0] = total_kind == kTotalByCfop ? Variant(static_cast<int64_t>(group.first)) : Variant();
      row[1] = total_kind == kTotalByDay ? Variant::FromDateTime(group.first) : Variant();
      row[2] = Variant(group.second);
      for (size_t i = 0; i < amounts.size(); ++i) {
        row[3 + i] = Variant(amounts[i]);
      }
      total->AppendRecord(row);
    }
    total->First();
  }
};

TnFisDPListarLctoFisTotal::TnFisDPListarLctoFisTotal(TComponent* owner)
    : TnDMPowerParam(owner), impl_(std::make_unique<Impl>(*this)) {
  SetName(kClassName);
  TnpqPowerParam* p = Params();
  p->SetOwnerName(kClassName);
  p->Add("pDataInicial", TFieldType::DateTime);
  p->Add("pDataFinal", TFieldType::DateTime);
  p->Add("pTipoTotal", TFieldType::String);
  for (const char* name : {"pListarICMS", "pListarISS", "pListarIPI", "pListarPISCOFINS",
                           "pListarFunRural", "pListarComplementar", "pListarSubTribut"}) {
    p->Add(name, TFieldType::String);
  }
  p->Add("pSaida", TFieldType::Integer);
  p->Add("pEntrada", TFieldType::Integer);
  p->Add("pCodigoPessoa", TFieldType::String);
  p->Add("pCodigoCFOP", TFieldType::String);
  p->Add("pListarHistorico", TFieldType::String);
  p->Add("pListarDadosPessoa", TFieldType::String);
  p->Add("pNaoUsaFinalidadeNormal", TFieldType::Integer);
  p->Add("pEspecie", TFieldType::String);
  p->Add("pTipoPeriodo", TFieldType::Integer);
  p->Add("pHoraInicial", TFieldType::String);
  p->Add("pHoraFinal", TFieldType::String);
  p->Add("pCodigoUsuario", TFieldType::String);
  p->Add("pCampoAdicional", TFieldType::String);
  p->Add("pCodigoEmpresa", TFieldType::Integer);
  p->Add("pCodigoEstab", TFieldType::Integer);
}

TnFisDPListarLctoFisTotal::~TnFisDPListarLctoFisTotal() {
  // The result tables and their temporary files go before the components the base frees.
  impl_->storage.reset();
}

bool TnFisDPListarLctoFisTotal::UsarSQLite() const {
  return impl_->use_sqlite;
}

void TnFisDPListarLctoFisTotal::SetUsarSQLite(bool use_sqlite) {
  if (impl_->storage) {
    throw Exception(std::string(kClassName) +
                    ": the storage mode is chosen before the first execution");
  }
  impl_->use_sqlite = use_sqlite;
}

void TnFisDPListarLctoFisTotal::SetConexao(TSQLConnection* connection) {
  impl_->connection = connection;
}

void TnFisDPListarLctoFisTotal::Executar() {
  impl_->Execute();
}

TDataSet* TnFisDPListarLctoFisTotal::Imposto() const {
  return impl_->Storage().Table(FiscalResult::Imposto);
}
TDataSet* TnFisDPListarLctoFisTotal::DocFiscal() const {
  return impl_->Storage().Table(FiscalResult::DocFiscal);
}
TDataSet* TnFisDPListarLctoFisTotal::PisCofins() const {
  return impl_->Storage().Table(FiscalResult::PisCofins);
}

std::string TnFisDPListarLctoFisTotal::ArquivoTemporario() const {
  return impl_->storage ? impl_->storage->File() : "";
}

void TnFisDPListarLctoFisTotal::AtualizarIndice(TDataSet* data_set,
                                                const std::string& field_names) {
  data_set->SetIndexFieldNames(field_names);
}

std::string FormatarCFOP(const std::string& code) {
  if (code.size() == 4 && std::all_of(code.begin(), code.end(), ::isdigit)) {
    return code.substr(0, 1) + "." + code.substr(1);
  }
  return code;
}

namespace {
// The provider registers itself as a host data-module class when the runtime loads.
const bool kRegistered = [] {
  RegistrarClasseDM(TnFisDPListarLctoFisTotal::kClassName,
                    [] { return new TnFisDPListarLctoFisTotal(); });
  return true;
}();
}  // namespace
