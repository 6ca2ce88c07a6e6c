// import-efd end to end: a sample EFD file imported with nrw-report and printed with the CFOP
// summary; the summary rows give the sums listed beside the file (C190 and the other analytic
// registers, per CFOP), and the ICMS totals of exits and entries equal the file's own ICMS
// settlement (E110). Malformed files give one message naming the line, status 1.
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <sstream>

#include "host/sysutils.hpp"
#include "schema/efd_reader.hpp"
#include "tests/app/program.hpp"
#include "tests/runtime/data_set_kinds.hpp"

namespace nrw::testing {
namespace {

using Result = ProgramResult;

Result Program(const std::string& arguments) {
  return RunNrwReport(arguments);
}

double Amount(const std::string& text) {  // "1.234,56"
  std::string plain;
  for (const char c : text) {
    if (c == ',') {
      plain += '.';
    } else if (c != '.') {
      plain += c;
    }
  }
  return plain.empty() ? 0 : std::stod(plain);
}

struct Sums {
  double accounting = 0, base = 0, tax = 0;
};

// VL_OPR, VL_BC_ICMS and VL_ICMS per CFOP of one file's tables in SOURCES.md: the C190 tables
// of the direction plus the other analytic registers.
std::map<int, Sums> ListedSums(const std::string& sources, const std::string& file, bool exits) {
  std::ifstream in(sources);
  std::map<int, Sums> sums;
  std::string line, table;
  bool in_file = false;
  while (std::getline(in, line)) {
    if (line.rfind("### ", 0) == 0) {
      in_file = line.substr(4) == file;
      continue;
    }
    if (line.rfind("#### ", 0) == 0) {
      table = line.substr(5);
      continue;
    }
    if (!in_file || line.rfind("| ", 0) != 0) {
      continue;
    }
    std::vector<std::string> cells;
    std::stringstream row(line.substr(1));
    for (std::string cell; std::getline(row, cell, '|');) {
      cells.push_back(cell.substr(1, cell.size() - 2));
    }
    const bool c190 = table == (exits ? "C190 by CFOP - Exits" : "C190 by CFOP - Entries");
    const bool other = table == "Other analytic registers by CFOP";
    if ((c190 || other) && !cells.empty() && std::isdigit(cells[c190 ? 0 : 1][0])) {
      const int cfop = std::stoi(cells[c190 ? 0 : 1]);
      if ((cfop >= 5000) != exits) {
        continue;
      }
      // VL_OPR, VL_BC_ICMS and VL_ICMS are the third to fifth cells of both tables.
      Sums& s = sums[cfop];
      s.accounting += Amount(cells[2]);
      s.base += Amount(cells[3]);
      s.tax += Amount(cells[4]);
    }
  }
  return sums;
}

// What a sections trace printed for ICMS: the summary rows by CFOP and the "Total Tipo" total
// (0 when none was printed).
struct PrintedIcms {
  std::map<int, Sums> by_cfop;
  double total = 0;
};

PrintedIcms ReadPrintedIcms(const std::string& trace) {
  PrintedIcms printed;
  bool in_totals = false;
  std::istringstream lines(trace);
  for (std::string line; std::getline(lines, line);) {
    const auto json = nlohmann::json::parse(line);
    const auto& fields = json["fields"];
    if (fields.contains("CTexto")) {
      in_totals = fields["CTexto"] == "Total Tipo";
    }
    if (json["section"] != 14 || fields.value("RTipo", "") != "ICMS") {
      continue;
    }
    const std::string text = fields.value("RTexto", "");
    if (in_totals && text.empty()) {
      printed.total = Amount(fields["RValor"]);
    } else if (!text.empty() && std::isdigit(static_cast<unsigned char>(text[0]))) {
      const int cfop = std::stoi(text.substr(0, 1) + text.substr(2, 3));  // "5.102  ..."
      printed.by_cfop[cfop] = {Amount(fields["RValorContabil"]), Amount(fields["RBaseCalculo"]),
                               Amount(fields["RValor"])};
    }
  }
  return printed;
}

TEST(ImportEfd, TheReportOfAnImportedFileGivesItsBooksAndItsSettlement) {
  const std::string folder = std::string(NRW_SHARED_DIR) + "/data/sped";
  const std::string file = "efd_ce_fortcolor-0002_2012-03_v005.txt";
  if (!std::filesystem::exists(folder + "/" + file)) {
    GTEST_SKIP() << folder << " is absent: no sample EFD file to import";
  }
  ScratchDir scratch;
  const std::string db = scratch.File("books.db");
  const Result imported = Program("import-efd --quiet --db " + db + " " + folder + "/" + file);
  ASSERT_EQ(imported.status, 0) << imported.output;
  efd::EfdReader reader(folder + "/" + file);
  efd::Record record, e110;
  while (reader.Next(record)) {
    e110 = record.Reg() == "E110" ? record : e110;
  }
  for (const bool exits : {false, true}) {
    const Result printed =
        Program("print --quiet --db " + db + " --estab 1:1 --from 01/03/2012 --to 31/03/2012 " +
                (exits ? "--exits" : "--entries") + " --taxes icms --summary cfop");
    ASSERT_EQ(printed.status, 0) << printed.output.substr(0, 500);
    const PrintedIcms printed_icms = ReadPrintedIcms(printed.output);
    const std::map<int, Sums>& summary = printed_icms.by_cfop;
    const std::map<int, Sums> listed = ListedSums(folder + "/SOURCES.md", file, exits);
    ASSERT_FALSE(listed.empty());
    for (const auto& [cfop, expected] : listed) {
      if (expected.accounting == 0 && expected.base == 0 && expected.tax == 0) {
        continue;  // a summary row of nothing is not printed
      }
      ASSERT_EQ(summary.count(cfop), 1u) << "CFOP " << cfop << (exits ? " exits" : " entries");
      EXPECT_NEAR(summary.at(cfop).accounting, expected.accounting, 0.005) << cfop;
      EXPECT_NEAR(summary.at(cfop).base, expected.base, 0.005) << cfop;
      EXPECT_NEAR(summary.at(cfop).tax, expected.tax, 0.005) << cfop;
    }
    EXPECT_NEAR(printed_icms.total, e110.Number(exits ? 2 : 6), 0.005)
        << (exits ? "VL_TOT_DEBITOS" : "VL_TOT_CREDITOS");
  }
}

// Every sample file: the ICMS totals the report prints for the file's month, exits and entries,
// are its E110 debits and credits (no sample has CFOP 1605/5605 or documents booked late; a
// month without ICMS lines prints no total, which reads as zero).
TEST(ImportEfd, EverySampleReportReachesItsSettlement) {
  const std::filesystem::path folder = std::string(NRW_SHARED_DIR) + "/data/sped";
  if (!std::filesystem::exists(folder)) {
    GTEST_SKIP() << folder << " is absent: no sample EFD file to import";
  }
  int files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    const std::string name = entry.path().filename().string();
    if (name.rfind("efd_", 0) != 0) {
      continue;
    }
    ++files;
    ScratchDir scratch;
    const std::string db = scratch.File("books.db");
    ASSERT_EQ(Program("import-efd --quiet --db " + db + " " + entry.path().string()).status, 0);
    efd::EfdReader reader(entry.path().string());
    efd::Record record, opening, e110;
    while (reader.Next(record)) {
      opening = record.Reg() == "0000" ? record : opening;
      e110 = record.Reg() == "E110" ? record : e110;
    }
    const std::string period = " --from " + FormatDateTime("dd/mm/yyyy", *opening.Date(4)) +
                               " --to " + FormatDateTime("dd/mm/yyyy", *opening.Date(5));
    for (const bool exits : {false, true}) {
      const Result printed = Program("print --quiet --db " + db + " --estab 1:1" + period +
                                     (exits ? " --exits" : " --entries") + " --taxes icms");
      ASSERT_EQ(printed.status, 0) << name << printed.output.substr(0, 300);
      const double total = ReadPrintedIcms(printed.output).total;
      EXPECT_NEAR(total, e110.Number(exits ? 2 : 6), 0.005)
          << name << (exits ? " VL_TOT_DEBITOS" : " VL_TOT_CREDITOS");
    }
  }
  EXPECT_GT(files, 0);
}

TEST(ImportEfd, AMalformedFileGivesOneMessageAndStatusOne) {
  ScratchDir scratch;
  const std::string db = scratch.File("books.db");
  const std::string bad = std::string(NRW_SOURCE_DIR) + "/tests/data/efd/bad-too-few-fields.txt";
  const Result r = Program("import-efd --db " + db + " " + bad);
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.output, "nrw-report: " + bad + ":2: record C190: 5 fields where layout 14 has 12\n");
}

}  // namespace
}  // namespace nrw::testing
