#include "data/loader_sql.hpp"

#include "host/sql.hpp"
#include "report/resumo_conf_lcto_fis.hpp"

namespace nfis {
namespace {

const char* const kTotalProdutoEnt =
    "select P.CHAVELCTOFISENT CHAVELCTOFIS ,cast(sum(P.QUANTIDADE) as numeric(15,6)) as QTDETOTAL "
    ",cast(sum(P.VALORTOTAL) as numeric(14,2)) as VALORTOTAL from LCTOFISENTPRODUTO P %s %s group "
    "by "
    "P.CHAVELCTOFISENT ";
const char* const kTotalProdutoSai =
    "select P.CHAVELCTOFISSAI CHAVELCTOFIS ,cast(sum(P.QUANTIDADE) as numeric(15,6)) as QTDETOTAL "
    ",cast(sum(P.VALORTOTAL) as numeric(14,2)) as VALORTOTAL from LCTOFISSAIPRODUTO P %s %s group "
    "by "
    "P.CHAVELCTOFISSAI ";
const char* const kLctoProdutoEnt =
    "select P.CHAVELCTOFISENT CHAVELCTOFIS ,P.CODIGOPRODUTO ,P.QUANTIDADE ,P.VALORUNITARIO "
    ",P.VALORTOTAL ,P.SEQ from LCTOFISENTPRODUTO P %s ";
const char* const kLctoProdutoSai =
    "select P.CHAVELCTOFISSAI CHAVELCTOFIS ,P.CODIGOPRODUTO ,P.QUANTIDADE ,P.VALORUNITARIO "
    ",P.VALORTOTAL ,P.SEQ from LCTOFISSAIPRODUTO P %s ";
const char* const kTotalFrete =
    "select F.CHAVELCTOFISSAI CHAVELCTOFIS ,count(F.SEQ) QTDENOTAS ,cast(sum(F.VALORTOTALNF) as "
    "numeric(14,2)) as VALORTOTAL from LCTOFISSAICONFRETE F %s %s group by F.CHAVELCTOFISSAI ";
const char* const kJoinLFEnt =
    " join LCTOFISENT LF on LF.CODIGOEMPRESA = P.CODIGOEMPRESA and LF.CODIGOESTAB = P.CODIGOESTAB "
    "and "
    "LF.DATALCTOFIS = P.DATALCTOFIS and LF.CHAVELCTOFISENT = P.CHAVELCTOFISENT ";
const char* const kJoinLFSai =
    " join LCTOFISSAI LF on LF.CODIGOEMPRESA = P.CODIGOEMPRESA and LF.CODIGOESTAB = P.CODIGOESTAB "
    "and "
    "LF.DATALCTOFIS = P.DATALCTOFIS and LF.CHAVELCTOFISSAI = P.CHAVELCTOFISSAI ";
// Items with sequence 991 and above are adjustments, left out of product totals and lists.
const char* const kSemAjustes = "and P.SEQ < 991 ";

bool Entradas(const TnFisORResumoConfLctoFis& r) {
  return r.FTipoMovimento == 1;
}
std::string ChaveProduto(const TnFisORResumoConfLctoFis& r) {
  return Entradas(r) ? "P.CHAVELCTOFISENT" : "P.CHAVELCTOFISSAI";
}
std::string DataHora(TDateTime value) {
  return Nutil::ValorParaSQL(Variant(value), TFieldType::DateTime);
}
std::string Numero(double value) {
  return Nutil::ValorParaSQL(Variant(value), TFieldType::Float);
}
std::string Texto(const std::string& value) {
  return Nutil::ValorParaSQL(Variant(value), TFieldType::String);
}
// The species join of the product loaders.
std::string JoinEspecieProduto(const TnFisORResumoConfLctoFis& r) {
  std::string j =
      Entradas(r)
          ? std::string(" join LCTOFISENT L ") + "on L.CHAVELCTOFISENT = P.CHAVELCTOFISENT "
          : std::string(" join LCTOFISSAI L ") + "on L.CHAVELCTOFISSAI = P.CHAVELCTOFISSAI ";
  return j + " and L.CODIGOEMPRESA = P.CODIGOEMPRESA " +
         "and Upper(L.ESPECIENF) = " + Texto(r.FEspecie);
}

// The template with its "%s" placeholders replaced in order.
std::string Formatar(std::string modelo, std::initializer_list<std::string> partes) {
  size_t pos = 0;
  for (const std::string& parte : partes) {
    pos = modelo.find("%s", pos);
    modelo.replace(pos, 2, parte);
    pos += parte.size();
  }
  return modelo;
}

}  // namespace

std::string SqlTotalProduto(const TnFisORResumoConfLctoFis& r) {
  std::string j, c;
  const std::string k = ChaveProduto(r);
  if (r.FTipoPeriodo == 1) {
    c += std::string(" where P.CODIGOEMPRESA = :CodigoEmpresa ") +
         "and P.CODIGOESTAB = :CodigoEstab " + kSemAjustes +
         "and P.DATALCTOFIS between :pDataInicial and :pDataFinal ";
  } else {
    j += Entradas(r) ? kJoinLFEnt : kJoinLFSai;
    c += std::string(" where LF.CODIGOEMPRESA = :pCodigoEmpresa ") +
         "and LF.CODIGOESTAB = :pCodigoEstab " + " and LF.DATAHORALCTOFIS between " +
         DataHora(r.FDataInicial + r.FHoraInicial) + " and " +
         DataHora(r.FDataFinal + r.FHoraFinal) + " and P.SEQ < 991 ";
  }
  if (r.FChaveInicial > 0) {
    c += " and " + k + " >= " + Numero(r.FChaveInicial) + " ";
  }
  if (r.FChaveFinal > 0) {
    c += " and " + k + " <= " + Numero(r.FChaveFinal) + " ";
  }
  if (!r.FEspecie.empty()) {
    j += JoinEspecieProduto(r);
  }
  return Formatar(Entradas(r) ? kTotalProdutoEnt : kTotalProdutoSai, {j, c});
}

std::string SqlLctoProduto(const TnFisORResumoConfLctoFis& r) {
  std::string modelo = Entradas(r) ? kLctoProdutoEnt : kLctoProdutoSai;
  std::string j;
  const std::string k = ChaveProduto(r);
  if (r.FTipoPeriodo == 1) {
    modelo += std::string(" where P.CODIGOEMPRESA = :pCodigoEmpresa ") +
              "and P.CODIGOESTAB = :pCodigoEstab " + kSemAjustes +
              "and P.DATALCTOFIS between :pDataInicial and :pDataFinal ";
  } else {
    // No "where" here: the conditions extend the ON clause of the last join.
    j += Entradas(r) ? kJoinLFEnt : kJoinLFSai;
    modelo += std::string(" and LF.CODIGOEMPRESA = :pCodigoEmpresa ") +
              "and LF.CODIGOESTAB = :pCodigoEstab " + " and LF.DATAHORALCTOFIS between " +
              DataHora(r.FDataInicial + r.FHoraInicial) + " and " +
              DataHora(r.FDataFinal + r.FHoraFinal) + " and P.SEQ < 991 ";
  }
  // The order clause belongs to the key-bound pieces: without bounds there is none.
  if (r.FChaveInicial > 0 && r.FChaveFinal > 0) {
    modelo += " and " + k + " >= " + Numero(r.FChaveInicial) + " ";
    modelo += " and " + k + " <= " + Numero(r.FChaveFinal) + " " + " order by P.SEQ";
  } else if (r.FChaveInicial > 0) {
    modelo += " and " + k + " >= " + Numero(r.FChaveInicial) + " " + " order by P.SEQ";
  } else if (r.FChaveFinal > 0) {
    modelo += " and " + k + " <= " + Numero(r.FChaveFinal) + " " + " order by P.SEQ";
  }
  if (!r.FEspecie.empty()) {
    j += JoinEspecieProduto(r);
  }
  return Formatar(modelo, {j});
}

std::string SqlTotalFrete(const TnFisORResumoConfLctoFis& r) {
  std::string j, c;
  if (r.FTipoPeriodo == 1) {
    c += std::string(" where F.CODIGOEMPRESA = :pCodigoEmpresa ") +
         "and F.CODIGOESTAB = :pCodigoEstab " +
         "and F.DATALCTOFIS between :pDataInicial and :pDataFinal ";
  } else {
    j += " join LCTOFISSAI LF on LF.CODIGOEMPRESA = F.CODIGOEMPRESA and LF.CODIGOESTAB = "
         "F.CODIGOESTAB "
         "and LF.DATALCTOFIS = F.DATALCTOFIS and LF.CHAVELCTOFISSAI = F.CHAVELCTOFISSAI ";
    c += std::string("where LF.CODIGOEMPRESA = :pCodigoEmpresa ") +
         "and LF.CODIGOESTAB = :pCodigoEstab " + "and LF.DATAHORALCTOFIS between " +
         DataHora(r.FDataInicial + r.FHoraInicial) + " and " +
         DataHora(r.FDataFinal + r.FHoraFinal);
  }
  if (r.FChaveInicial > 0) {
    c += " and F.CHAVELCTOFISSAI >= " + Numero(r.FChaveInicial) + " ";
  }
  if (r.FChaveFinal > 0) {
    c += " and F.CHAVELCTOFISSAI <= " + Numero(r.FChaveFinal) + " ";
  }
  if (!r.FEspecie.empty()) {
    j += std::string(" join LCTOFISSAI L ") + "on L.CODIGOEMPRESA = F.CODIGOEMPRESA " +
         "and L.CHAVELCTOFISSAI = F.CHAVELCTOFISSAI " +
         "and Upper(L.ESPECIENF) = " + Texto(r.FEspecie);
  }
  return Formatar(kTotalFrete, {j, c});
}

TVariantArray ValoresCarregamento(const TnFisORResumoConfLctoFis& r) {
  if (r.FTipoPeriodo == 1) {
    return {Variant(r.FCodigoEmpresa), Variant(r.FCodigoEstab),
            Variant::FromDateTime(r.FDataInicial), Variant::FromDateTime(r.FDataFinal)};
  }
  return {Variant(r.FCodigoEmpresa), Variant(r.FCodigoEstab)};
}

}  // namespace nfis
