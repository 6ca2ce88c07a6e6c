#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>

#include "schema/efd_reader.hpp"
#include "tests/runtime/data_set_kinds.hpp"

namespace nrw::efd {
namespace {

std::string OwnFile(const std::string& name) {
  return std::string(NRW_SOURCE_DIR) + "/tests/data/efd/" + name;
}

std::vector<Record> ReadAll(const std::string& path, int* version = nullptr) {
  EfdReader reader(path);
  std::vector<Record> records;
  Record record;
  while (reader.Next(record)) {
    records.push_back(record);
  }
  if (version != nullptr) {
    *version = reader.Version();
  }
  return records;
}

// The message of the EfdError that reading (and `use`) raises; "" when none.
template <class Use>
std::string ErrorOf(const std::string& name, Use use) {
  try {
    for (const Record& record : ReadAll(OwnFile(name))) {
      use(record);
    }
  } catch (const EfdError& e) {
    return e.what();
  }
  return "";
}
std::string ErrorOf(const std::string& name) {
  return ErrorOf(name, [](const Record&) {});
}

TEST(EfdReader, ReadsLatin1CrLfUpToTheEndRecordAndNotPastIt) {
  int version = 0;
  const std::vector<Record> records = ReadAll(OwnFile("layout-014-crlf.txt"), &version);
  EXPECT_EQ(version, 14);
  ASSERT_EQ(records.size(), 8u) << "the signature block after 9999 is not read";
  EXPECT_EQ(records[0].Reg(), "0000");
  EXPECT_EQ(records[0].Text(6), "Comércio Exemplo Ltda") << "Latin-1 comes out in UTF-8";
  EXPECT_EQ(records[0].Text(7), "11222333000181");
  EXPECT_EQ(records[1].Text(3), "Cliente São João");
  EXPECT_EQ(records[1].Line(), 2);
  const Record& c190 = records[5];
  EXPECT_EQ(c190.Reg(), "C190");
  EXPECT_EQ(c190.Text(3), "5102");
  EXPECT_DOUBLE_EQ(c190.Number(4), 18.0);
  EXPECT_DOUBLE_EQ(c190.Number(5), 1000.0);
  EXPECT_DOUBLE_EQ(c190.Number(12), 0.0) << "an empty field reads as 0";
  EXPECT_EQ(c190.Text(40), "") << "past the last field";
  const Record& c100 = records[3];
  EXPECT_EQ(c100.Date(10), EncodeDate(2020, 9, 2));
  EXPECT_DOUBLE_EQ(c100.Number(26), 16.5);
  EXPECT_FALSE(records[6].Date(10).has_value()) << "a cancelled document has no dates";
  EXPECT_DOUBLE_EQ(records[4].Number(27), 1.65) << "PIS rate with four decimals";
}

TEST(EfdReader, EachLayoutVersionHasItsOwnFieldCounts) {
  int version = 0;
  const auto first = ReadAll(OwnFile("layout-001.txt"), &version);
  EXPECT_EQ(version, 1);
  ASSERT_EQ(first.size(), 3u);
  EXPECT_EQ(first[2].FieldCount(), 11u) << "the first layout's C190 has no COD_OBS";
  const auto latest = ReadAll(OwnFile("layout-020.txt"), &version);
  EXPECT_EQ(version, 20);
  ASSERT_EQ(latest.size(), 4u);
  EXPECT_EQ(latest[2].FieldCount(), 38u) << "a trailing field of a newer layout is kept";
  EXPECT_EQ(MinimumFields("C190", 1), 11u);
  EXPECT_EQ(MinimumFields("C190", 14), 12u);
  EXPECT_EQ(MinimumFields("0200", 5), 12u);
  EXPECT_EQ(MinimumFields("0200", 11), 13u);
  EXPECT_EQ(MinimumFields("9900", 14), 0u);
}

// A minimal file of every layout version this reader knows, written in the field counts of that
// version, reads; a C190 one field short is refused in each.
TEST(EfdReader, EveryKnownLayoutVersion) {
  const nrw::testing::ScratchDir scratch;
  for (int version = 1; version <= 20; ++version) {
    char code[4];
    std::snprintf(code, sizeof code, "%03d", version);
    // "|REG|x" and then the bars that make a record of `count` fields.
    const auto fields = [](size_t count) { return std::string(count - 1, '|'); };
    const std::string c190 = version >= 2 ? "|C190|000|5102|18|100|100|18|0|0|0|0||"
                                          : "|C190|000|5102|18|100|100|18|0|0|0|0|";
    const std::string head = "|0000|" + std::string(code) +
                             "|0|01012020|31012020|N|11222333000181||SP|1|3550308|||B|1|\n" +
                             "|0200|1" + fields(version >= 11 ? 13 : 12) + "\n" + "|C100|0" +
                             fields(29) + "\n" + "|C170|1" + fields(37) + "\n";
    const std::string good = scratch.File("v" + std::string(code) + ".txt");
    std::ofstream(good) << head << c190 << "\n|9999|6|\n";
    int read_version = 0;
    EXPECT_EQ(ReadAll(good, &read_version).size(), 5u) << "layout " << code;
    EXPECT_EQ(read_version, version);
    const std::string short_c190 = c190.substr(0, c190.rfind('|', c190.size() - 2) + 1);
    const std::string bad = scratch.File("short-v" + std::string(code) + ".txt");
    std::ofstream(bad) << head << short_c190 << "\n|9999|6|\n";
    EXPECT_THROW(ReadAll(bad), EfdError) << "layout " << code;
  }
}

TEST(EfdReader, MalformedLinesNameFileLineAndRecord) {
  const std::string dir = OwnFile("");
  EXPECT_EQ(ErrorOf("bad-no-trailing-bar.txt"),
            dir + "bad-no-trailing-bar.txt:2: record C190: a record starts and ends with '|'");
  EXPECT_EQ(ErrorOf("bad-too-few-fields.txt"),
            dir + "bad-too-few-fields.txt:2: record C190: 5 fields where layout 14 has 12");
  EXPECT_EQ(
      ErrorOf("bad-number.txt", [](const Record& r) { r.Reg() == "C190" ? r.Number(4) : 0.0; }),
      dir + "bad-number.txt:2: record C190: field 4 '18.00' is not a number");
  EXPECT_EQ(ErrorOf("bad-date.txt",
                    [](const Record& r) {
                      if (r.Reg() == "C100") {
                        r.Date(10);
                      }
                    }),
            dir + "bad-date.txt:2: record C100: field 10 '31022020' is not a date (DDMMYYYY)");
  EXPECT_EQ(
      ErrorOf("bad-first-record.txt"),
      dir + "bad-first-record.txt:1: record 0150: the file does not start with a 0000 record");
  EXPECT_EQ(ErrorOf("bad-version.txt"),
            dir +
                "bad-version.txt:1: record 0000: layout version '099' is not one this reader "
                "knows (001 to 020)");
  EXPECT_EQ(ErrorOf("bad-no-end.txt"),
            dir + "bad-no-end.txt:2: the file ends without a 9999 record");
}

// Inputs the fuzzer found: a version code too long for an int and a number too large for a
// double are reported, not thrown past the reader.
TEST(EfdReader, OversizedCodesAndNumbersAreReported) {
  const std::string head = "|0000|014|0|01012020|31012020|N|11222333000181||SP|1|3550308|||B|1|\n";
  auto long_version = EfdReader::FromBytes(
      "v.txt", "|0000|00000000000000000014|0|01012020|31012020|N|1||SP|1|1|||B|1|\n|9999|2|\n");
  Record record;
  EXPECT_THROW(long_version.Next(record), EfdError);
  auto huge = EfdReader::FromBytes(
      "n.txt", head + "|C190|000|5102|" + std::string(400, '9') + "|1|1|1|0|0|0|0||\n|9999|3|\n");
  ASSERT_TRUE(huge.Next(record));
  ASSERT_TRUE(huge.Next(record));
  EXPECT_THROW(record.Number(4), EfdError);
  EXPECT_DOUBLE_EQ(record.Number(5), 1.0);
}

TEST(EfdReader, AFileThatCannotBeReadIsReported) {
  EXPECT_THROW(EfdReader(OwnFile("absent.txt")), Exception);
}

// The public sample files, when ../shared is present: each reads to its 9999 record with the
// record counts listed beside them.
TEST(EfdReader, ReadsEverySampleFile) {
  const std::filesystem::path folder = std::string(NRW_SHARED_DIR) + "/data/sped";
  if (!std::filesystem::exists(folder)) {
    GTEST_SKIP() << folder << " is absent: the sample EFD files are not read";
  }
  const std::map<std::string, std::pair<int, int>> counts = {
      {"efd_ce_fortcolor-0002_2012-03_v005.txt", {2420, 3111}},
      {"efd_ce_fortcolor-0003_2017-01_v011.txt", {2361, 2978}},
      {"efd_mg_posto-exemplo_2020-09_v014.txt", {4536, 4627}},
      {"efd_go_sintetico_2026-01_v020.txt", {2, 2}},
      {"efd_sp_exemplo-nfephp_2008-06_v001.txt", {1, 1}}};
  for (const auto& [name, expected] : counts) {
    int c100 = 0, c190 = 0;
    for (const Record& record : ReadAll((folder / name).string())) {
      c100 += record.Reg() == "C100" ? 1 : 0;
      c190 += record.Reg() == "C190" ? 1 : 0;
      if (record.Reg() == "C190") {
        record.Number(5);  // every amount reads as a number
        record.Number(7);
      }
    }
    EXPECT_EQ(c100, expected.first) << name;
    EXPECT_EQ(c190, expected.second) << name;
  }
}

}  // namespace
}  // namespace nrw::efd
