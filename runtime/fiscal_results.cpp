#include "runtime/fiscal_results.hpp"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <filesystem>

#include "host/exception.hpp"
#include "host/sqlite_table.hpp"
#include "host/temp_files.hpp"
#include "runtime/background_load.hpp"
#include "runtime/sqlite_connection.hpp"

namespace nrw {
namespace {

using FT = TFieldType;

std::vector<TFieldDef> TaxLineFields(int extra_field) {
  std::vector<TFieldDef> fields = {
      {"CHAVELCTOFIS", FT::Float},       {"SEQ", FT::Integer},
      {"DATALCTOFIS", FT::DateTime},     {"CODIGOCFOP", FT::Integer},
      {"TIPOIMPOSTO", FT::Integer},      {"ALIQIMPOSTO", FT::Float},
      {"VALORCONTABIL", FT::Float},      {"BASEIMPOSTO", FT::Float},
      {"VALORIMPOSTO", FT::Float},       {"ISENTASIMPOSTO", FT::Float},
      {"OUTRASIMPOSTO", FT::Float},      {"VALOREXVALORADICIONAL", FT::Float},
      {"CODIGOOPERACAOFIS", FT::Integer}};
  if (extra_field == 1) {
    fields.push_back({"NumeroNF", FT::Integer});
  } else if (extra_field == 2) {
    fields.push_back({"NomePessoa", FT::String});
  }
  return fields;
}

class MemoryStorage : public FiscalStorage {
 public:
  explicit MemoryStorage(TComponent* owner) {
    for (int i = 0; i < kFiscalResultCount; ++i) {
      tables_[i] = new TnClientDataSetMem(owner);
      tables_[i]->SetName(FiscalResultName(static_cast<FiscalResult>(i)));
    }
  }
  void Begin(FiscalResult result, const std::vector<TFieldDef>& fields) override {
    tables_[static_cast<int>(result)]->CreateDataSet(fields);
  }
  void Add(FiscalResult result, std::vector<Variant>& row) override {
    tables_[static_cast<int>(result)]->AppendRecord(row);
  }
  bool SortsRows() const override { return true; }
  void End(FiscalResult result, const std::string& key_fields) override {
    TnClientDataSetMem* table = tables_[static_cast<int>(result)];
    table->SortRows(key_fields);
    table->First();
  }
  TDataSet* Table(FiscalResult result) const override { return tables_[static_cast<int>(result)]; }

 private:
  TnClientDataSetMem* tables_[kFiscalResultCount] = {};
};

class SqliteStorage : public FiscalStorage {
 public:
  explicit SqliteStorage(TComponent* owner) {
    static std::atomic<int> serial{0};
    tag_.append("-").append(std::to_string(getpid())).append("-");
    tag_.append(std::to_string(serial++)).append(".db");
    folder_ = TemporaryFolder();
    file_ = folder_ + "/nrw-temp" + tag_;
    RegisterTemporaryFile(file_);
    RegisterTemporaryFile(file_ + "-journal");
    std::filesystem::remove(file_);
    connection_ = new TnFDConnection(owner);
    connection_->Params().SetDatabase(file_);
    connection_->Open();
    // A failed refill is rolled back: the storage's file keeps its journal, in memory.
    connection_->Sql().ExecuteScript("pragma journal_mode = memory");
    load_ = std::make_unique<BackgroundLoad>(connection_->Sql(), kFiscalResultCount);
    for (int i = 0; i < kFiscalResultCount; ++i) {
      tables_[i] = new TnFDTableSQLite(owner);
      tables_[i]->SetName(FiscalResultName(static_cast<FiscalResult>(i)));
      tables_[i]->SetConnection(connection_);
      tables_[i]->SetTableName(FiscalResultName(static_cast<FiscalResult>(i)));
    }
  }
  ~SqliteStorage() override {
    load_.reset();  // its statements go before the connection
    for (TnFDTableSQLite*& table : tables_) {
      delete table;
      table = nullptr;
    }
    delete connection_;
    RemoveFiles();
    UnregisterTemporaryFile(file_);
    UnregisterTemporaryFile(file_ + "-journal");
  }

  // One transaction for the whole refill (one left open by a failed refill is rolled back).
  // The rows are written by the load's thread while the provider reads on.
  void BeginRefill() override {
    for (TnFDTableSQLite* table : tables_) {
      table->Close();
    }
    TSQLConnection& writer = connection_->Sql();
    if (refilling_) {
      refilling_ = false;
      load_->Discard();
      writer.Rollback();
    }
    writer.BeginTransaction();
    refilling_ = true;
    for (std::string& order : row_orders_) {
      order.clear();
    }
  }
  void EndRefill() override {
    load_->Wait();
    connection_->Sql().Commit();
    refilling_ = false;
    for (int i = 0; i < kFiscalResultCount; ++i) {
      tables_[i]->SetIndexFieldNames("");
      tables_[i]->Open();
      // The rows were written as the ordered queries gave them.
      tables_[i]->SetRowOrder(row_orders_[i]);
    }
  }
  void Begin(FiscalResult result, const std::vector<TFieldDef>& fields) override {
    load_->Begin(static_cast<int>(result), tables_[static_cast<int>(result)]->TableName(), fields);
  }
  void Add(FiscalResult result, std::vector<Variant>& row) override {
    load_->Take(static_cast<int>(result), row);
  }
  void End(FiscalResult result, const std::string& key_fields) override {
    load_->End(static_cast<int>(result));
    row_orders_[static_cast<int>(result)] = key_fields;
  }
  // The load wrote the rows into a new table in the order they were added, so the row at place
  // p has row id p + 1. The ranges go a batch per statement, each found by its row ids.
  void DropAddedRows(FiscalResult result, const std::vector<AddedRows>& rows) override {
    if (rows.empty()) {
      return;
    }
    load_->Wait();
    constexpr size_t kRangesPerStatement = 200;
    const std::string table = tables_[static_cast<int>(result)]->TableName();
    TSQLConnection& writer = connection_->Sql();
    for (size_t begin = 0; begin < rows.size(); begin += kRangesPerStatement) {
      const size_t end = std::min(rows.size(), begin + kRangesPerStatement);
      std::string sql = "delete from " + table + " where";
      TVariantArray params;
      for (size_t i = begin; i < end; ++i) {
        sql += i == begin ? " rowid between ? and ?" : " or rowid between ? and ?";
        params.push_back(Variant(rows[i].first + 1));
        params.push_back(Variant(rows[i].last + 1));
      }
      writer.Execute(sql, params);
    }
  }
  TDataSet* Table(FiscalResult result) const override { return tables_[static_cast<int>(result)]; }
  std::string File() const override { return file_; }

 private:
  // The file, its journal, and the working copies made from it ("nrw-temp_<suffix>-<tag>").
  void RemoveFiles() const {
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(folder_, error)) {
      const std::string name = entry.path().filename().string();
      if (name.rfind("nrw-temp", 0) == 0 && name.find(tag_) != std::string::npos) {
        std::filesystem::remove(entry.path(), error);
        UnregisterTemporaryFile(entry.path().string());
        UnregisterTemporaryFile(entry.path().string() + "-journal");
      }
    }
  }

  std::string folder_, file_, tag_;
  bool refilling_ = false;
  TnFDConnection* connection_ = nullptr;
  std::unique_ptr<BackgroundLoad> load_;
  TnFDTableSQLite* tables_[kFiscalResultCount] = {};
  std::string row_orders_[kFiscalResultCount];  // each table's key, as its rows were ordered
};

}  // namespace

std::vector<TFieldDef> FiscalResultFields(FiscalResult result, int extra_field) {
  switch (result) {
    case FiscalResult::Imposto:
      return TaxLineFields(extra_field);
    case FiscalResult::DocFiscal:
      return {{"CHAVELCTOFIS", FT::Float},    {"TIPOLCTO", FT::String},
              {"DATALCTOFIS", FT::DateTime},  {"DATAHORALCTOFIS", FT::DateTime},
              {"DATAEMISSAO", FT::DateTime},  {"NUMERONF", FT::Integer},
              {"NUMERONFFINAL", FT::Integer}, {"SERIENF", FT::String},
              {"SUBSERIENF", FT::String},     {"ESPECIENF", FT::String},
              {"CODIGOPESSOA", FT::Integer},  {"SIGLAESTADOORIGEM", FT::String},
              {"COMPLHIST", FT::String},      {"CODIGOTIPODCTOSINTEGRA", FT::String},
              {"FINALIDADE", FT::Integer},    {"CODIGOUSUARIO", FT::Integer}};
    case FiscalResult::PisCofins:
      break;
  }
  return {{"CHAVELCTOFIS", FT::Float},  {"SEQ", FT::Integer},        {"CODIGOPRODUTO", FT::Integer},
          {"ORIGEM", FT::String},       {"CODIGOCFOP", FT::Integer}, {"VALORCONTABIL", FT::Float},
          {"BASEPISCOFINS", FT::Float}, {"ALIQPIS", FT::Float},      {"VALORPIS", FT::Float},
          {"ALIQCOFINS", FT::Float},    {"VALORCOFINS", FT::Float}};
}

std::vector<TFieldDef> PessoaFields() {
  return {{"CODIGOPESSOA", FT::Integer}, {"NOMEPESSOA", FT::String},   {"INSCRFEDERAL", FT::String},
          {"SIGLAESTADO", FT::String},   {"CODIGOMUNIC", FT::Integer}, {"INSCRESTAD", FT::String},
          {"PRODUTRURAL", FT::Integer},  {"INSCRPROD", FT::String}};
}

std::vector<TFieldDef> CfopFields() {
  return {{"CODIGOCFOP", FT::Integer}, {"DESCRCFOP", FT::String}};
}

std::vector<TFieldDef> TotalFields() {
  return {{"CODIGOCFOP", FT::Integer},   {"DATALCTOFIS", FT::DateTime},
          {"TIPOIMPOSTO", FT::Integer},  {"VALORCONTABIL", FT::Float},
          {"BASEIMPOSTO", FT::Float},    {"VALORIMPOSTO", FT::Float},
          {"ISENTASIMPOSTO", FT::Float}, {"OUTRASIMPOSTO", FT::Float}};
}

const char* FiscalResultName(FiscalResult result) {
  switch (result) {
    case FiscalResult::Imposto:
      return "cdsImposto";
    case FiscalResult::DocFiscal:
      return "cdsDocFiscal";
    case FiscalResult::PisCofins:
      break;
  }
  return "cdsPisCofins";
}

void FiscalStorage::DropAddedRows(FiscalResult result, const std::vector<AddedRows>&) {
  throw Exception(std::string(FiscalResultName(result)) +
                  ": this storage sorts its rows, which keep no places to drop them by");
}

std::unique_ptr<FiscalStorage> MakeMemoryStorage(TComponent* owner) {
  return std::make_unique<MemoryStorage>(owner);
}

std::unique_ptr<FiscalStorage> MakeSqliteStorage(TComponent* owner) {
  return std::make_unique<SqliteStorage>(owner);
}

std::string TemporaryFolder() {
  const char* tmpdir = std::getenv("TMPDIR");
  if (tmpdir != nullptr && *tmpdir != '\0' &&
      std::string(tmpdir).find("temp") == std::string::npos) {
    std::string folder(tmpdir);
    while (folder.size() > 1 && folder.back() == '/') {
      folder.pop_back();
    }
    return folder;
  }
  return "/tmp";
}

}  // namespace nrw
