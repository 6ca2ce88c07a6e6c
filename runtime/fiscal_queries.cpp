#include "runtime/fiscal_queries.hpp"

#include "host/exception.hpp"
#include "host/sysutils.hpp"
#include "runtime/iso_date.hpp"

namespace nrw {
namespace {

// Unions are ordered by column position: both databases accept it for one branch or several.

// One branch of a union: entries (ENT) or exits (SAI).
struct Direction {
  const char* suffix;  // ENT or SAI
  const char* kind;    // E or S
};
constexpr Direction kEntries{"ENT", "E"};
constexpr Direction kExits{"SAI", "S"};

std::string Key(const Direction& d) {
  return std::string("CHAVELCTOFIS") + d.suffix;
}

// ":name1, :name2, ..." for a list of values, the values appended to `params`.
std::string InList(const std::vector<int32_t>& codes, TVariantArray& params) {
  std::string list;
  for (int32_t code : codes) {
    list += list.empty() ? ":code" : ", :code";
    params.push_back(Variant(code));
  }
  return list;
}

// The period: dates bind as 'YYYY-MM-DD'; date-times always with their time of day, so that
// they compare alike with what either database stores.
Variant PeriodBound(const FiscalFilter& f, TDateTime value) {
  return f.by_date_time ? Variant(FormatDateTime("yyyy-mm-dd hh:nn:ss", value))
                        : Variant::FromDateTime(value);
}

// The conditions on the document (alias L) that every query shares.
std::string DocumentConditions(const FiscalFilter& f, TVariantArray& params) {
  std::string where = " where L.CODIGOEMPRESA = :pCodigoEmpresa and L.CODIGOESTAB = :pCodigoEstab";
  params.push_back(Variant(f.company));
  params.push_back(Variant(f.estab));
  where += f.by_date_time ? " and L.DATAHORALCTOFIS between :pInicio and :pFim"
                          : " and L.DATALCTOFIS between :pInicio and :pFim";
  params.push_back(PeriodBound(f, f.from));
  params.push_back(PeriodBound(f, f.to));
  if (!f.people.empty()) {
    where += " and L.CODIGOPESSOA in (" + InList(f.people, params) + ")";
  }
  if (!f.species.empty()) {
    where += " and Upper(L.ESPECIENF) = :pEspecie";
    params.push_back(Variant(f.species));
  }
  if (f.only_non_normal) {
    where += " and L.FINALIDADE <> 1";
  }
  if (!f.users.empty()) {
    where += " and L.CODIGOUSUARIO in (" + InList(f.users, params) + ")";
  }
  return where;
}

// The conditions on the tax line (alias I): its tax types and CFOPs.
std::string TaxLineConditions(const FiscalFilter& f, TVariantArray& params) {
  std::string where = f.tax_types.empty()
                          ? " and 1 = 0"
                          : " and I.TIPOIMPOSTO in (" + InList(f.tax_types, params) + ")";
  if (!f.cfops.empty()) {
    where += " and I.CODIGOCFOP in (" + InList(f.cfops, params) + ")";
  }
  return where;
}

std::vector<Direction> Directions(const FiscalFilter& f) {
  std::vector<Direction> directions;
  if (f.entries) {
    directions.push_back(kEntries);
  }
  if (f.exits) {
    directions.push_back(kExits);
  }
  return directions;
}

// Joins the branches of the selected directions with "union all", or with kByKeyPerDirection
// keeps them apart; with no direction, one branch that selects nothing. `key` is the ordering
// by key (and sequence).
template <class Branch>
std::vector<SqlText> Union(const FiscalFilter& f, Branch branch, QueryOrder order,
                           const std::string& key) {
  std::vector<SqlText> texts(1);
  std::vector<Direction> directions = Directions(f);
  const bool none = directions.empty();
  if (none) {
    directions.push_back(kEntries);
  }
  for (const Direction& d : directions) {
    if (order == QueryOrder::kByKeyPerDirection && !texts.back().sql.empty()) {
      texts.emplace_back();
    }
    SqlText& text = texts.back();
    text.sql += (text.sql.empty() ? "" : " union all ") + branch(d, text.params);
    if (none) {
      text.sql += " and 1 = 0";
    }
  }
  if (order != QueryOrder::kAsStored) {
    for (SqlText& text : texts) {
      text.sql += " order by " + key;
    }
  }
  return texts;
}

}  // namespace

std::vector<SqlText> TaxLinesQuery(const FiscalFilter& f, QueryOrder order) {
  auto branch = [&f](const Direction& d, TVariantArray& params) {
    std::string sql = "select I." + Key(d) +
                      " CHAVELCTOFIS, I.SEQ, L.DATALCTOFIS, I.CODIGOCFOP, I.TIPOIMPOSTO, "
                      "I.ALIQIMPOSTO, I.VALORCONTABIL, I.BASEIMPOSTO, I.VALORIMPOSTO, "
                      "I.ISENTASIMPOSTO, I.OUTRASIMPOSTO, I.VALOREXVALORADICIONAL, "
                      "I.CODIGOOPERACAOFIS";
    sql += f.extra_field == 1   ? ", L.NUMERONF NumeroNF"
           : f.extra_field == 2 ? ", P.NOMEPESSOA NomePessoa"
                                : "";
    sql += std::string(" from LCTOFIS") + d.suffix + "IMPOSTO I join LCTOFIS" + d.suffix +
           " L on L." + Key(d) + " = I." + Key(d);
    if (f.extra_field == 2) {
      sql += " left join PESSOA P on P.CODIGOPESSOA = L.CODIGOPESSOA";
    }
    sql += DocumentConditions(f, params);  // its values go before the tax lines'
    sql += TaxLineConditions(f, params);
    return sql;
  };
  return Union(f, branch, order, "1, 2");
}

std::vector<SqlText> DocumentsQuery(const FiscalFilter& f, QueryOrder order) {
  auto branch = [&f](const Direction& d, TVariantArray& params) {
    return "select L." + Key(d) + " CHAVELCTOFIS, '" + d.kind +
           "' TIPOLCTO, L.DATALCTOFIS, L.DATAHORALCTOFIS, L.DATAEMISSAO, L.NUMERONF, "
           "L.NUMERONFFINAL, L.SERIENF, L.SUBSERIENF, L.ESPECIENF, L.CODIGOPESSOA, "
           "L.SIGLAESTADOORIGEM, " +
           (f.history ? "L.COMPLHIST" : "null") +
           " COMPLHIST, L.CODIGOTIPODCTOSINTEGRA, L.FINALIDADE, L.CODIGOUSUARIO from LCTOFIS" +
           d.suffix + " L" + DocumentConditions(f, params);
  };
  return Union(f, branch, order, "1");
}

std::vector<SqlText> PisCofinsQuery(const FiscalFilter& f, QueryOrder order) {
  auto branch = [&f](const Direction& d, TVariantArray& params) {
    const std::string sql = "select P." + Key(d) +
                            " CHAVELCTOFIS, P.SEQ, P.CODIGOPRODUTO, P.ORIGEM, P.CODIGOCFOP, "
                            "P.VALORCONTABIL, P.BASEPISCOFINS, P.ALIQPIS, P.VALORPIS, "
                            "P.ALIQCOFINS, P.VALORCOFINS from LCTOFIS" +
                            std::string(d.suffix) + "PRODUTO P join LCTOFIS" + d.suffix +
                            " L on L." + Key(d) + " = P." + Key(d) + DocumentConditions(f, params);
    return f.pis_cofins ? sql : sql + " and 1 = 0";
  };
  return Union(f, branch, order, "1, 2");
}

// Each counterparty of the period's documents once. The people are chosen by their code among
// the documents' (a semi-join): joining them with every document and dropping the repeated rows
// with "union" made the database sort or hash a row per document (1.3 s against 0.3 s for a
// month of 750,000 documents).
SqlText PeopleQuery(const FiscalFilter& f) {
  auto branch = [&f](const Direction& d, TVariantArray& params) {
    return std::string("select L.CODIGOPESSOA from LCTOFIS") + d.suffix + " L" +
           DocumentConditions(f, params);
  };
  SqlText documents = Union(f, branch, QueryOrder::kAsStored, "").front();
  return {
      "select P.CODIGOPESSOA, P.NOMEPESSOA, P.INSCRFEDERAL, P.SIGLAESTADO, P.CODIGOMUNIC, "
      "P.INSCRESTAD, P.PRODUTRURAL, P.INSCRPROD from PESSOA P where P.CODIGOPESSOA in (" +
          documents.sql + ") order by 1",
      std::move(documents.params)};
}

SqlText CfopQuery() {
  return {"select CODIGOCFOP, DESCRCFOP from CFOP order by CODIGOCFOP", {}};
}

std::vector<int32_t> ParseCodeList(const std::string& parameter, const std::string& text) {
  std::vector<int32_t> codes;
  std::string item;
  auto take = [&] {
    const std::string trimmed = Trim(item);
    item.clear();
    if (trimmed.empty()) {
      return;
    }
    const auto code = TryStrToInt(trimmed);
    if (!code) {
      throw Exception(parameter + ": '" + trimmed +
                      "' is not a code (give whole numbers separated by ; or ,)");
    }
    codes.push_back(*code);
  };
  for (char c : text) {
    if (c == ';' || c == ',') {
      take();
    } else {
      item += c;
    }
  }
  take();
  return codes;
}

}  // namespace nrw
