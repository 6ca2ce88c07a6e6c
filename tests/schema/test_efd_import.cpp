#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>

#include "schema/efd_import.hpp"
#include "schema/efd_reader.hpp"
#include "tests/runtime/backends.hpp"

namespace nrw::efd {
namespace {

using nrw::testing::Backend;

std::string OwnFile(const std::string& name) {
  return std::string(NRW_SOURCE_DIR) + "/tests/data/efd/" + name;
}

class Rows : public TSQLRowSink {
 public:
  void Columns(const std::vector<TSQLColumn>&) override {}
  void Row(const std::vector<Variant>& values) override { rows.push_back(values); }
  std::vector<std::vector<Variant>> rows;
};

std::vector<std::vector<Variant>> Select(TSQLConnection& db, const std::string& sql) {
  Rows rows;
  db.Query(sql, {}, rows);
  return rows.rows;
}

int64_t Count(TSQLConnection& db, const std::string& table) {
  return Select(db, "select count(*) from " + table).at(0).at(0).AsInteger();
}

class EfdImport : public ::testing::TestWithParam<Backend> {
 protected:
  void SetUp() override {
    db = nrw::testing::TestDatabase::Open(GetParam(), scratch);
    if (!db) {
      GTEST_SKIP() << nrw::testing::TestDatabase::SkipReason(GetParam());
    }
    EnsureCompanySchema(db->Connection(), "");
  }
  nrw::testing::ScratchDir scratch;
  std::unique_ptr<nrw::testing::TestDatabase> db;
};

TEST_P(EfdImport, MapsTheEstablishmentDocumentsLinesAndItems) {
  TSQLConnection& c = db->Connection();
  const ImportResult r = ImportEfdFile(c, OwnFile("layout-014-crlf.txt"));
  EXPECT_EQ(r.documents, 2);
  EXPECT_EQ(r.cancelled, 1);
  EXPECT_EQ(r.tax_lines, 2);
  EXPECT_EQ(r.items, 1);
  const auto estab = Select(c,
                            "select CODIGOEMPRESA, CODIGOESTAB, NOMEESTAB, INSCRFEDERAL, "
                            "SIGLAESTADO, CODIGOMUNIC from ESTAB");
  ASSERT_EQ(estab.size(), 1u);
  EXPECT_EQ(estab[0][2].AsString(), "Comércio Exemplo Ltda");
  EXPECT_EQ(estab[0][3].AsString(), "11222333000181");
  EXPECT_EQ(estab[0][4].AsString(), "MG");
  EXPECT_EQ(estab[0][5].AsInteger(), 3106200);
  const auto person = Select(c, "select NOMEPESSOA, INSCRFEDERAL, SIGLAESTADO from PESSOA");
  ASSERT_EQ(person.size(), 1u);
  EXPECT_EQ(person[0][0].AsString(), "Cliente São João");
  EXPECT_EQ(person[0][2].AsString(), "MG") << "the state of the IBGE code";
  const auto docs = Select(c,
                           "select NUMERONF, SERIENF, ESPECIENF, CODIGOTIPODCTOSINTEGRA, "
                           "COMPLHIST from LCTOFISSAI order by NUMERONF");
  ASSERT_EQ(docs.size(), 2u);
  EXPECT_EQ(docs[0][0].AsInteger(), 123);
  EXPECT_EQ(docs[0][2].AsString(), "NFE");
  EXPECT_EQ(docs[0][3].AsString(), "55");
  EXPECT_TRUE(docs[0][4].IsNull());
  EXPECT_EQ(docs[1][4].AsString(), "Documento cancelado");
  const auto lines = Select(c,
                            "select TIPOIMPOSTO, CODIGOCFOP, ALIQIMPOSTO, VALORCONTABIL, "
                            "BASEIMPOSTO, VALORIMPOSTO, ISENTASIMPOSTO, OUTRASIMPOSTO from "
                            "LCTOFISSAIIMPOSTO order by VALORCONTABIL desc");
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0][1].AsInteger(), 5102);
  EXPECT_DOUBLE_EQ(lines[0][3].AsFloat(), 1000.0);
  EXPECT_DOUBLE_EQ(lines[0][5].AsFloat(), 180.0);
  EXPECT_DOUBLE_EQ(lines[1][3].AsFloat(), 0.0) << "a cancelled document has one zero line";
  const auto items = Select(c,
                            "select CODIGOPRODUTO, CODIGOCFOP, VALORTOTAL, BASEPISCOFINS, "
                            "ALIQPIS, VALORPIS, ALIQCOFINS, VALORCOFINS from LCTOFISSAIPRODUTO");
  ASSERT_EQ(items.size(), 1u);
  EXPECT_DOUBLE_EQ(items[0][5].AsFloat(), 16.5);
  EXPECT_DOUBLE_EQ(items[0][6].AsFloat(), 7.6);
  const auto product = Select(c, "select DESCRPRODUTO, CODIGONCM from PRODUTO");
  ASSERT_EQ(product.size(), 1u);
  EXPECT_EQ(product[0][1].AsString(), "3209.10.10");
}

TEST_P(EfdImport, ImportingAgainReplacesAndKeepsTheCodes) {
  TSQLConnection& c = db->Connection();
  ImportEfdFile(c, OwnFile("layout-014-crlf.txt"));
  const auto first = Select(c, "select CODIGOPESSOA from PESSOA");
  const ImportResult again = ImportEfdFile(c, OwnFile("layout-014-crlf.txt"));
  EXPECT_EQ(again.replaced, 2);
  EXPECT_EQ(Count(c, "LCTOFISSAI"), 2);
  EXPECT_EQ(Count(c, "LCTOFISSAIIMPOSTO"), 2);
  EXPECT_EQ(Count(c, "LCTOFISSAIPRODUTO"), 1);
  EXPECT_EQ(Select(c, "select CODIGOPESSOA from PESSOA"), first);
  ImportEfdFile(c, OwnFile("layout-001.txt"));  // another company
  EXPECT_EQ(Count(c, "EMPRESA"), 1) << "the same CNPJ root is the same company";
  EXPECT_EQ(Count(c, "ESTAB"), 1) << "and the same CNPJ the same establishment";
  EXPECT_EQ(Count(c, "LCTOFISENT"), 1);
  EXPECT_EQ(Count(c, "LCTOFISSAI"), 2) << "another period leaves these documents";
}

TEST_P(EfdImport, AMalformedFileLeavesNothing) {
  TSQLConnection& c = db->Connection();
  EXPECT_THROW(ImportEfdFile(c, OwnFile("bad-number.txt")), EfdError);
  EXPECT_THROW(ImportEfdFile(c, OwnFile("bad-no-end.txt")), EfdError);
  EXPECT_EQ(Count(c, "EMPRESA"), 0);
  EXPECT_EQ(Count(c, "LCTOFISSAIIMPOSTO"), 0);
}

// The reference sums listed beside the public samples: per file, per direction, per CFOP,
// VL_OPR, VL_BC_ICMS and VL_ICMS of its C190 records.
struct CfopSums {
  double accounting = 0, base = 0, tax = 0;
};
using ReferenceSums = std::map<std::string, std::map<std::string, std::map<int, CfopSums>>>;

double SpedNumber(std::string text) {
  for (char& c : text) {
    c = c == ',' ? '.' : c;
  }
  return std::stod(text);
}

ReferenceSums ReadReferenceSums(const std::string& path) {
  ReferenceSums sums;
  std::ifstream in(path);
  std::string line, file, direction;
  while (std::getline(in, line)) {
    if (line.rfind("### ", 0) == 0) {
      file = line.substr(4);
      direction.clear();
    } else if (line.rfind("#### C190 by CFOP - ", 0) == 0) {
      direction = line.substr(20);
    } else if (line.rfind("#### ", 0) == 0) {
      direction.clear();
    } else if (!direction.empty() && line.rfind("| ", 0) == 0 && std::isdigit(line[2])) {
      std::vector<std::string> cells;
      std::stringstream row(line.substr(1));
      for (std::string cell; std::getline(row, cell, '|');) {
        cells.push_back(cell.substr(1, cell.size() - 2));
      }
      sums[file][direction][std::stoi(cells.at(0))] = {
          SpedNumber(cells.at(2)), SpedNumber(cells.at(3)), SpedNumber(cells.at(4))};
    }
  }
  return sums;
}

TEST_P(EfdImport, SampleFilesGiveTheirReferenceSums) {
  const std::string folder = std::string(NRW_SHARED_DIR) + "/data/sped";
  if (!std::filesystem::exists(folder + "/SOURCES.md")) {
    GTEST_SKIP() << folder << " is absent: the sample EFD files are not imported";
  }
  TSQLConnection& c = db->Connection();
  const ReferenceSums reference = ReadReferenceSums(folder + "/SOURCES.md");
  ASSERT_FALSE(reference.empty());
  for (const auto& [file, directions] : reference) {
    const ImportResult r = ImportEfdFile(c, folder + "/" + file);
    for (const auto& [direction, cfops] : directions) {
      const std::string suffix = direction == "Entries" ? "ENT" : "SAI";
      // The lines of C100 documents (models 01, 1B, 04, 55, 65): the C190 records.
      const auto rows = Select(
          c,
          "select i.CODIGOCFOP, sum(i.VALORCONTABIL), sum(i.BASEIMPOSTO), "
          "sum(i.VALORIMPOSTO) from LCTOFIS" +
              suffix + "IMPOSTO i join LCTOFIS" + suffix + " d on d.CHAVELCTOFIS" + suffix +
              " = i.CHAVELCTOFIS" + suffix +
              " where i.TIPOIMPOSTO = 1 and i.CODIGOCFOP <> 0 and "
              "d.CODIGOTIPODCTOSINTEGRA in ('01', '1B', '04', '55', '65') and d.CODIGOEMPRESA = " +
              std::to_string(r.company) + " and d.CODIGOESTAB = " +
              std::to_string(r.establishment) + " group by i.CODIGOCFOP order by i.CODIGOCFOP");
      ASSERT_EQ(rows.size(), cfops.size()) << file << " " << direction;
      for (const auto& row : rows) {
        const int cfop = static_cast<int>(row[0].AsInteger());
        ASSERT_EQ(cfops.count(cfop), 1u) << file << " " << direction << " CFOP " << cfop;
        const CfopSums& expected = cfops.at(cfop);
        EXPECT_NEAR(row[1].AsFloat(), expected.accounting, 0.005) << file << " " << cfop;
        EXPECT_NEAR(row[2].AsFloat(), expected.base, 0.005) << file << " " << cfop;
        EXPECT_NEAR(row[3].AsFloat(), expected.tax, 0.005) << file << " " << cfop;
      }
    }
  }
}

// Imports `path` and compares E110's debits and credits with the imported ICMS lines of every
// analytic register of the period: debits are CFOP 5, 6, 7 (but 5605) and 1605, credits CFOP 1,
// 2, 3 (but 1605) and 5605, documents booked late (COD_SIT 01 and 07) left out.
void ExpectSettlementReached(TSQLConnection& c, const std::string& path) {
  const ImportResult r = ImportEfdFile(c, path);
  EfdReader reader(path);
  Record record, opening, e110;
  while (reader.Next(record)) {
    opening = record.Reg() == "0000" ? record : opening;
    e110 = record.Reg() == "E110" ? record : e110;
  }
  ASSERT_EQ(e110.Reg(), "E110") << path;
  std::string lines;
  TVariantArray params;
  for (const char* suffix : {"ENT", "SAI"}) {
    lines += std::string(lines.empty() ? "" : " union all ") +
             "select i.CODIGOCFOP C, i.VALORIMPOSTO V from LCTOFIS" + suffix +
             "IMPOSTO i join "
             "LCTOFIS" +
             suffix + " d on d.CHAVELCTOFIS" + suffix + " = i.CHAVELCTOFIS" + suffix +
             " where i.TIPOIMPOSTO = 1 and d.FINALIDADE not in (3, 4) and "
             "d.CODIGOEMPRESA = :c and d.CODIGOESTAB = :e and d.DATALCTOFIS between :f and :t";
    params.insert(params.end(), {Variant(r.company), Variant(r.establishment),
                                 Variant::FromDateTime(*opening.Date(4)),
                                 Variant::FromDateTime(*opening.Date(5))});
  }
  Rows sums;
  c.Query(
      "select sum(case when (C >= 5000 and C <> 5605) or C = 1605 then V else 0 end), "
      "sum(case when (C > 0 and C < 5000 and C <> 1605) or C = 5605 then V else 0 end) "
      "from (" +
          lines + ") lines",
      params, sums);
  const auto& totals = sums.rows.at(0);
  EXPECT_NEAR(totals[0].AsFloat(), e110.Number(2), 0.005) << path << " VL_TOT_DEBITOS";
  EXPECT_NEAR(totals[1].AsFloat(), e110.Number(6), 0.005) << path << " VL_TOT_CREDITOS";
}

TEST_P(EfdImport, SampleFilesReachTheirIcmsSettlement) {
  const std::filesystem::path folder = std::string(NRW_SHARED_DIR) + "/data/sped";
  if (!std::filesystem::exists(folder)) {
    GTEST_SKIP() << folder << " is absent: the sample EFD files are not imported";
  }
  int files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    if (entry.path().filename().string().rfind("efd_", 0) == 0) {
      ExpectSettlementReached(db->Connection(), entry.path().string());
      ++files;
    }
  }
  EXPECT_GT(files, 0);
}

TEST_P(EfdImport, TheDemoExampleFileReachesItsSettlement) {
  ExpectSettlementReached(db->Connection(),
                          std::string(NRW_SOURCE_DIR) + "/schema/efd/exemplo-2020-09.txt");
}

INSTANTIATE_TEST_SUITE_P(Databases, EfdImport,
                         ::testing::Values(Backend::SQLite, Backend::PostgreSQL),
                         [](const auto& info) { return nrw::testing::BackendName(info.param); });

}  // namespace
}  // namespace nrw::efd
