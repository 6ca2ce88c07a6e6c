#include "runtime/fiscal_results.hpp"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <cstdlib>
#include <cstring>
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

// Each result table in a temporary file of its own, with its own connection and its own load
// thread: a working copy of one table (a copy of its file) copies that table alone, and the
// tables are written side by side.
class SqliteStorage : public FiscalStorage {
 public:
  explicit SqliteStorage(TComponent* owner) {
    static std::atomic<int> serial{0};
    tag_.append("-").append(std::to_string(getpid())).append("-");
    tag_.append(std::to_string(serial++)).append("-");
    folder_ = TemporaryFolder();
    for (int i = 0; i < kFiscalResultCount; ++i) {
      const auto result = static_cast<FiscalResult>(i);
      files_[i] = folder_ + "/nrw-temp" + tag_ + FileName(result) + ".db";
      RegisterTemporaryFile(files_[i]);
      RegisterTemporaryFile(files_[i] + "-journal");
      std::filesystem::remove(files_[i]);
      connections_[i] = new TnFDConnection(owner);
      connections_[i]->Params().SetDatabase(files_[i]);
      connections_[i]->Open();
      // A failed refill is rolled back: each file keeps its journal, in memory.
      connections_[i]->Sql().ExecuteScript("pragma journal_mode = memory");
      loads_[i] = std::make_unique<BackgroundLoad>(connections_[i]->Sql());
      tables_[i] = new TnFDTableSQLite(owner);
      tables_[i]->SetName(FiscalResultName(result));
      tables_[i]->SetConnection(connections_[i]);
      tables_[i]->SetTableName(FiscalResultName(result));
    }
  }
  ~SqliteStorage() override {
    for (int i = 0; i < kFiscalResultCount; ++i) {
      loads_[i].reset();  // its statements go before the connection
      delete tables_[i];
      tables_[i] = nullptr;
      delete connections_[i];
      connections_[i] = nullptr;
    }
    RemoveFiles();
    for (const std::string& file : files_) {
      UnregisterTemporaryFile(file);
      UnregisterTemporaryFile(file + "-journal");
    }
  }

  // One transaction per file for the whole refill (those left open by a failed refill are
  // rolled back). The rows are written by the loads' threads while the provider reads on.
  void BeginRefill() override {
    for (TnFDTableSQLite* table : tables_) {
      table->Close();
    }
    for (int i = 0; i < kFiscalResultCount; ++i) {
      TSQLConnection& writer = connections_[i]->Sql();
      if (refilling_) {
        loads_[i]->Discard();
        writer.Rollback();
      }
      writer.BeginTransaction();
      row_orders_[i].clear();
    }
    refilling_ = true;
  }
  void EndRefill() override {
    for (int i = 0; i < kFiscalResultCount; ++i) {
      loads_[i]->Wait();
    }
    for (int i = 0; i < kFiscalResultCount; ++i) {
      connections_[i]->Sql().Commit();
    }
    refilling_ = false;
    for (int i = 0; i < kFiscalResultCount; ++i) {
      tables_[i]->SetIndexFieldNames("");
      tables_[i]->Open();
      // The rows were written as the ordered queries gave them.
      tables_[i]->SetRowOrder(row_orders_[i]);
    }
  }
  void Begin(FiscalResult result, const std::vector<TFieldDef>& fields) override {
    loads_[static_cast<int>(result)]->Begin(FiscalResultName(result), fields);
  }
  void Add(FiscalResult result, std::vector<Variant>& row) override {
    loads_[static_cast<int>(result)]->Take(row);
  }
  void End(FiscalResult result, const std::string& key_fields) override {
    loads_[static_cast<int>(result)]->End();
    row_orders_[static_cast<int>(result)] = key_fields;
  }
  // The load wrote the rows into a new table in the order they were added, so the row at place
  // p has row id p + 1. The ranges go a batch per statement, each found by its row ids.
  void DropAddedRows(FiscalResult result, const std::vector<AddedRows>& rows) override {
    if (rows.empty()) {
      return;
    }
    const int i = static_cast<int>(result);
    loads_[i]->Wait();
    constexpr size_t kRangesPerStatement = 200;
    const std::string table = FiscalResultName(result);
    TSQLConnection& writer = connections_[i]->Sql();
    for (size_t begin = 0; begin < rows.size(); begin += kRangesPerStatement) {
      const size_t end = std::min(rows.size(), begin + kRangesPerStatement);
      std::string sql = "delete from " + table + " where";
      TVariantArray params;
      for (size_t r = begin; r < end; ++r) {
        sql += r == begin ? " rowid between ? and ?" : " or rowid between ? and ?";
        params.push_back(Variant(rows[r].first + 1));
        params.push_back(Variant(rows[r].last + 1));
      }
      writer.Execute(sql, params);
    }
  }
  TDataSet* Table(FiscalResult result) const override { return tables_[static_cast<int>(result)]; }
  std::string File() const override { return files_[static_cast<int>(FiscalResult::Imposto)]; }

 private:
  // A table's part of its file's name: the table's name without "cds", in lower case.
  static std::string FileName(FiscalResult result) {
    std::string name = FiscalResultName(result) + std::strlen("cds");
    std::transform(name.begin(), name.end(), name.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return name;
  }

  // The files, their journals, and the working copies made from them
  // ("nrw-temp_<suffix>-<tag>...").
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

  std::string folder_, tag_;
  std::string files_[kFiscalResultCount];
  bool refilling_ = false;
  TnFDConnection* connections_[kFiscalResultCount] = {};
  std::unique_ptr<BackgroundLoad> loads_[kFiscalResultCount];
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
