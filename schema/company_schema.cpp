#include "schema/company_schema.hpp"

#include <cstdlib>
#include <filesystem>
#include <map>

#include "host/exception.hpp"
#include "host/sysutils.hpp"
#include "schema/csv.hpp"
#include "schema/embedded.hpp"

namespace nrw::schema {
namespace {

bool IsSqlite(const TSQLConnection& connection) {
  return connection.Dialect() == TSQLDialect::SQLite;
}

// Loads rows of codigo;text[;uf] into a table; the code column is numeric.
int64_t LoadRows(TSQLConnection& connection, const std::string& table,
                 const std::vector<std::string>& columns, const std::vector<CsvRow>& rows) {
  // municipio's columns are (codigomunic, siglaestado, nomemunic): the file has code;name;uf.
  const bool city = table == "municipio";
  auto writer = connection.BulkInsert(table, columns);
  std::vector<Variant> values(columns.size());
  for (const CsvRow& row : rows) {
    values[0] = Variant(static_cast<int64_t>(StrToInt(row.at(0))));
    for (size_t i = 1; i < row.size() && i < values.size(); ++i) {
      const size_t target = city ? (i == 1 ? 2 : 1) : i;
      values[target] = Variant(row[i]);
    }
    writer->Add(values);
  }
  writer->Finish();
  return static_cast<int64_t>(rows.size());
}

}  // namespace

void CreateTables(TSQLConnection& connection) {
  connection.ExecuteScript(IsSqlite(connection) ? kSqliteTables : kPostgresTables);
}

void CreateIndexes(TSQLConnection& connection) {
  connection.ExecuteScript(IsSqlite(connection) ? kSqliteIndexes : kPostgresIndexes);
}

std::string DefaultReferenceDir() {
  if (const char* dir = std::getenv("NRW_REF_DIR")) {
    return dir;
  }
  return NRW_DEFAULT_REF_DIR;
}

ReferenceCounts LoadReferenceData(TSQLConnection& connection, const std::string& reference_dir) {
  namespace fs = std::filesystem;
  const fs::path dir(reference_dir);
  ReferenceCounts counts;
  counts.national =
      !reference_dir.empty() && fs::exists(dir / "cfop.csv") && fs::exists(dir / "municipios.csv");
  const auto cfops = counts.national ? ReadCsvFile((dir / "cfop.csv").string())
                                     : ParseCsv(kCfopCsv, "reference/cfop.csv");
  const auto cities = counts.national ? ReadCsvFile((dir / "municipios.csv").string())
                                      : ParseCsv(kMunicipiosCsv, "reference/municipios.csv");
  counts.cfops = LoadRows(connection, "CFOP", {"CODIGOCFOP", "DESCRCFOP"}, cfops);
  counts.municipalities =
      LoadRows(connection, "municipio", {"codigomunic", "siglaestado", "nomemunic"}, cities);
  counts.operations = LoadRows(connection, "OPERACAOFIS", {"CODIGOOPERACAOFIS", "DESCROPERACAOFIS"},
                               ParseCsv(kOperacoesFiscaisCsv, "reference/operacoes_fiscais.csv"));
  return counts;
}

namespace {

std::vector<std::string> Lcto(const std::string& k) {
  return {
      "CODIGOEMPRESA", "CODIGOESTAB",  "CHAVELCTOFIS" + k,  "DATALCTOFIS", "DATAHORALCTOFIS",
      "DATAEMISSAO",   "NUMERONF",     "NUMERONFFINAL",     "SERIENF",     "SUBSERIENF",
      "ESPECIENF",     "CODIGOPESSOA", "SIGLAESTADOORIGEM", "COMPLHIST",   "CODIGOTIPODCTOSINTEGRA",
      "FINALIDADE",    "CODIGOUSUARIO"};
}
std::vector<std::string> Imposto(const std::string& k) {
  return {"CODIGOEMPRESA",         "CODIGOESTAB",      "CHAVELCTOFIS" + k, "SEQ",
          "TIPOIMPOSTO",           "CODIGOCFOP",       "ALIQIMPOSTO",      "VALORCONTABIL",
          "BASEIMPOSTO",           "VALORIMPOSTO",     "ISENTASIMPOSTO",   "OUTRASIMPOSTO",
          "VALOREXVALORADICIONAL", "CODIGOOPERACAOFIS"};
}
std::vector<std::string> Produto(const std::string& k) {
  return {"CODIGOEMPRESA", "CODIGOESTAB",   "CHAVELCTOFIS" + k, "DATALCTOFIS", "SEQ",
          "CODIGOPRODUTO", "ORIGEM",        "CODIGOCFOP",       "QUANTIDADE",  "VALORUNITARIO",
          "VALORTOTAL",    "VALORCONTABIL", "BASEPISCOFINS",    "ALIQPIS",     "VALORPIS",
          "ALIQCOFINS",    "VALORCOFINS"};
}

const std::map<std::string, std::vector<std::string>>& ColumnLists() {
  static const std::map<std::string, std::vector<std::string>> kColumns = {
      {"EMPRESA", {"CODIGOEMPRESA", "NOMEEMPRESA", "INSCRFEDERAL"}},
      {"ESTAB",
       {"CODIGOEMPRESA", "CODIGOESTAB", "NOMEESTAB", "INSCRFEDERAL", "INSCRESTAD", "SIGLAESTADO",
        "CODIGOMUNIC"}},
      {"PESSOA",
       {"CODIGOPESSOA", "NOMEPESSOA", "INSCRFEDERAL", "SIGLAESTADO", "CODIGOMUNIC", "INSCRESTAD",
        "PRODUTRURAL", "INSCRPROD"}},
      {"PRODUTO", {"CODIGOEMPRESA", "CODIGOPRODUTO", "DESCRPRODUTO", "CODIGONCM"}},
      {"LCTOFISENT", Lcto("ENT")},
      {"LCTOFISSAI", Lcto("SAI")},
      {"LCTOFISENTIMPOSTO", Imposto("ENT")},
      {"LCTOFISSAIIMPOSTO", Imposto("SAI")},
      {"LCTOFISENTPRODUTO", Produto("ENT")},
      {"LCTOFISSAIPRODUTO", Produto("SAI")},
      {"LCTOFISSAICONFRETE",
       {"CODIGOEMPRESA", "CODIGOESTAB", "CHAVELCTOFISSAI", "DATALCTOFIS", "SEQ", "NUMEROCONHEC",
        "SERIECONHEC", "VALORTOTALNF"}}};
  return kColumns;
}

}  // namespace

const std::vector<std::string>& RowColumns(const std::string& table) {
  const auto found = ColumnLists().find(table);
  if (found == ColumnLists().end()) {
    throw Exception("no column list for rows of table " + table);
  }
  return found->second;
}

void WriteRows(TSQLConnection& connection, const std::string& table,
               const std::vector<std::vector<Variant>>& rows) {
  if (rows.empty()) {
    return;
  }
  auto writer = connection.BulkInsert(table, RowColumns(table));
  for (const auto& row : rows) {
    writer->Add(row);
  }
  writer->Finish();
}

}  // namespace nrw::schema
