#include "schema/demo_rows.hpp"

#include "host/exception.hpp"

namespace nrw::schema {
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

// The columns each demo row fills, in the order the rows give them.
const std::map<std::string, std::vector<std::string>>& Columns() {
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

void DemoRows::Add(const std::string& table, std::vector<Variant> row) {
  if (Columns().count(table) == 0) {
    throw Exception("demo data: no column list for table " + table);
  }
  pending_[table].push_back(std::move(row));
  ++counts_[table];
  ++buffered_;
}

void DemoRows::Flush(bool force) {
  if (!force && buffered_ < kChunkRows) {
    return;
  }
  for (auto& [table, rows] : pending_) {
    if (rows.empty()) {
      continue;
    }
    auto writer = connection_.BulkInsert(table, Columns().at(table));
    for (const auto& row : rows) {
      writer->Add(row);
    }
    writer->Finish();
    rows.clear();
  }
  buffered_ = 0;
}

int64_t DemoRows::Count(const std::string& table) const {
  const auto it = counts_.find(table);
  return it == counts_.end() ? 0 : it->second;
}

}  // namespace nrw::schema
