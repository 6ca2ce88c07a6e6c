// Renderers: the text placement rules, and whole reports rendered to text, the sections trace and
// PDF (checked through poppler's pdfinfo and pdftotext).
#include <gtest/gtest.h>

#include "tests/app/program.hpp"

#include <cairo.h>
#include <pango/pangocairo.h>
#include <zlib.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>

#include <nlohmann/json.hpp>
#include "host/exception.hpp"
#include "host/output_file.hpp"

#include "host/output_file.hpp"
#include "host/renderers.hpp"
#include "runtime/text_renderer.hpp"
#include "tests/report/run_harness.hpp"

namespace nfis::testing {
namespace {

// The line in UTF-8 with each character that is not ASCII shown as '*'.
std::string Starred(const nrw::TextLine& line) {
  std::string scratch, out;
  for (char c : line.Utf8(scratch)) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x80) {
      out += c;
    } else if ((byte & 0xC0) != 0x80) {
      out += '*';
    }
  }
  return out;
}

std::string Place(int column, int width, TLayoutAlign align, const std::string& text) {
  nrw::TextLine line;
  line.Place(column, width, align, text);
  return Starred(line);
}

TEST(PlaceText, AlignsAndCutsByCharacters) {
  EXPECT_EQ(Place(2, 6, TLayoutAlign::Left, "ab"), "  ab");
  EXPECT_EQ(Place(2, 6, TLayoutAlign::Right, "ab"), "      ab");
  EXPECT_EQ(Place(0, 6, TLayoutAlign::Center, "ab"), "  ab");
  EXPECT_EQ(Place(0, 3, TLayoutAlign::Left, "Série"), "S*r") << "three characters, not three bytes";
  EXPECT_EQ(Place(0, 0, TLayoutAlign::Left, "x"), "");
  EXPECT_EQ(Place(1, 4, TLayoutAlign::Right, "€1"), "   *1") << "a three-byte character";
  EXPECT_EQ(Place(0, 2, TLayoutAlign::Left,
                  "\x80"
                  "ab"),
            "ab")
      << "a stray continuation byte";
  EXPECT_EQ(Place(0, 2, TLayoutAlign::Left, "\xC3"), "*") << "a cut character stays one";
  EXPECT_EQ(Place(0, 3, TLayoutAlign::Left,
                  "\xC3"
                  "ab"),
            "*ab")
      << "cut before a plain letter";
}

// A line goes out as UTF-8 whatever the length of each character's form, without its
// trailing blanks.
TEST(TextRenderer, WritesCharactersOfEveryLengthBackAsUtf8) {
  TReportLayout layout;
  TLayoutSection section = TLayoutSection::Of(7, {"A", "B"});
  section.height = 4;
  section.field_items = {{"A", 0, 0, 14}, {"B", 28, 0, 14, TLayoutAlign::Left}};
  layout.AddSection(section);
  std::ostringstream out;
  const auto renderer = CreateRenderer("text", out, layout);
  const std::string mixed = "a\u00e7\u20ac\U0001D11E";  // 1, 2, 3 and 4 bytes
  renderer->PrintSection(1, 7, {{"A", mixed}, {"B", "z  "}});
  renderer->Finish();
  EXPECT_EQ(out.str(), mixed + std::string(16, ' ') + "z\n");
}

// Characters that are not ASCII go out as UTF-8 wherever they fall in a long line; a plain
// text longer than its field is cut like any other.
TEST(TextRenderer, EncodesEveryCharacterWhereverItFallsInALongLine) {
  TReportLayout layout;
  TLayoutSection section = TLayoutSection::Of(7, {"A", "B", "C"});
  section.height = 4;
  section.field_items = {{"A", 0, 0, 70, TLayoutAlign::Left},
                         {"B", 98, 0, 7, TLayoutAlign::Right},
                         {"C", 112, 0, 70, TLayoutAlign::Left}};
  layout.AddSection(section);
  std::ostringstream out;
  const auto renderer = CreateRenderer("text", out, layout);
  const std::string a = "0123456789abcdçãéghijklmnopqrstuvwxyz0123456789€";
  renderer->PrintSection(1, 7, {{"A", a}, {"B", "123456789"}, {"C", "plain text"}});
  renderer->Finish();
  // 48 characters; the field B cut to its 5 columns, from column 70; C from column 80.
  EXPECT_EQ(out.str(), a + std::string(22, ' ') + "12345" + std::string(5, ' ') + "plain text\n");
}

// A line of plain characters and one with any other character, in the section's static texts
// or in a value, place, cut, overwrite and trim alike.
TEST(TextRenderer, PlainAndOtherLinesArePlacedAlike) {
  TReportLayout layout;
  TLayoutSection plain = TLayoutSection::Of(7, {"A", "B"});
  plain.height = 4;
  plain.rules = {TLayoutRule{0, 14, 0}};  // ten dashes under the values
  plain.field_items = {{"A", 0, 0, 7, TLayoutAlign::Left}, {"B", 7, 0, 7, TLayoutAlign::Right}};
  TLayoutSection accented = plain;
  accented.number = 8;
  accented.texts = {{"Série", 21, 0, 7, TLayoutAlign::Left}};
  layout.AddSection(plain);
  layout.AddSection(accented);
  std::ostringstream out;
  const auto renderer = CreateRenderer("text", out, layout);
  for (int section : {7, 8}) {
    renderer->PrintSection(1, section, {{"A", "abcdefg"}, {"B", "9"}});
    renderer->PrintSection(1, section, {{"A", "ação"}, {"B", "12"}});
    renderer->PrintSection(1, section, {{"A", ""}, {"B", ""}});
  }
  renderer->PrintSection(1, 7, {{"A", "x"}, {"B", "  "}});
  renderer->Finish();
  EXPECT_EQ(out.str(),
            "abcde----9\n"
            "ação----12\n"
            "----------\n"
            "abcde----9     Série\n"
            "ação----12     Série\n"
            "----------     Série\n"
            "x-------\n");
}

TEST(SectionsTrace, EscapesWhatJsonNeedsAndKeepsUtf8) {
  std::ostringstream out;
  TSectionsTraceSink sink(out);
  sink.PrintSection(3, 13,
                    {{"RTexto", "aspas \" barra \\ tab\t linha\n sino\x07 fim"},
                     {"RNome", "Conceição"},
                     {"RBroken", std::string("a\xC3") + "b\xFF"}});
  const std::string line = out.str();
  ASSERT_EQ(line.back(), '\n');
  EXPECT_NE(line.find("\\u0007"), std::string::npos) << line;
  const auto json = nlohmann::json::parse(line);
  EXPECT_EQ(json["page"], 3);
  EXPECT_EQ(json["section"], 13);
  EXPECT_EQ(json["fields"]["RTexto"], "aspas \" barra \\ tab\t linha\n sino\x07 fim");
  EXPECT_EQ(json["fields"]["RNome"], "Conceição");
  EXPECT_EQ(json["fields"]["RBroken"], "a\uFFFDb\uFFFD") << "bytes outside UTF-8 are replaced";
  sink.PrintHeader(1, {{"Pagina", "1"}}, 10, 8);
  EXPECT_NE(out.str().find("{\"page\":1,\"section\":\"header\",\"fields\":{\"Pagina\":\"1\"}}"),
            std::string::npos);
  // Plain values, the empty one included, go as they are.
  std::ostringstream plain;
  TSectionsTraceSink plain_sink(plain);
  plain_sink.PrintSection(4, 2, {{"A", ""}, {"B", "1.234,50"}, {"C", " ~ "}});
  EXPECT_EQ(
      plain.str(),
      "{\"page\":4,\"section\":2,\"fields\":{\"A\":\"\",\"B\":\"1.234,50\",\"C\":\" ~ \"}}\n");
}

// The keys of a section are written once and kept; a section whose fields change gets its
// own keys again.
TEST(SectionsTrace, ASectionsKeysFollowItsFields) {
  std::ostringstream out;
  TSectionsTraceSink sink(out);
  const std::vector<std::vector<TPrintedField>> lines = {{{"A", "1"}, {"B", "2"}},
                                                         {{"A", "3"}, {"B", "4"}},
                                                         {{"A", "5"}},
                                                         {{"C \"q\"", "6"}},
                                                         {{"A", "7"}, {"B", "8"}}};
  for (const auto& fields : lines) {
    sink.PrintSection(1, 5, fields);
  }
  sink.PrintSection(1, 6, {{"B", "9"}, {"A", "10"}});
  std::istringstream in(out.str());
  std::vector<std::string> seen;
  for (std::string line; std::getline(in, line);) {
    seen.push_back(nlohmann::json::parse(line)["fields"].dump());
  }
  EXPECT_EQ(seen, (std::vector<std::string>{R"({"A":"1","B":"2"})", R"({"A":"3","B":"4"})",
                                            R"({"A":"5"})", R"({"C \"q\"":"6"})",
                                            R"({"A":"7","B":"8"})", R"({"A":"10","B":"9"})"}));
  EXPECT_NE(out.str().find(R"("fields":{"B":"9","A":"10"})"), std::string::npos)
      << "in the section's order";
}

TEST(PlaceText, LaterTextsOverwriteEarlierOnes) {
  nrw::TextLine line;
  line.Place(0, 6, TLayoutAlign::Left, "------");
  line.Place(2, 2, TLayoutAlign::Left, "ab");
  EXPECT_EQ(Starred(line), "--ab--");
}

// A character that is not ASCII is kept aside by its column: whatever is placed over it last
// is written, and a copy of the line keeps its characters.
TEST(PlaceText, TheLastCharacterPlacedInAColumnIsWritten) {
  nrw::TextLine line;
  line.Place(0, 8, TLayoutAlign::Left, "açãoéè");
  line.Place(1, 1, TLayoutAlign::Left, "c");   // over ç
  line.Place(2, 1, TLayoutAlign::Left, "€");   // over ã
  line.Place(4, 1, TLayoutAlign::Left, "ê");   // over é
  line.Place(4, 1, TLayoutAlign::Left, "ë");   // and again
  line.Place(9, 2, TLayoutAlign::Left, "ü ");  // trailing blank
  nrw::TextLine copy = line;
  line.Place(5, 1, TLayoutAlign::Left, "x");  // the copy keeps its è
  std::string scratch, copy_scratch;
  EXPECT_EQ(line.Utf8(scratch), "ac€oëx   ü");
  EXPECT_EQ(copy.Utf8(copy_scratch), "ac€oëè   ü");
  nrw::TextLine plain;
  plain.Place(0, 5, TLayoutAlign::Left, "ab   ");
  EXPECT_EQ(plain.Utf8(scratch), "ab") << "a plain line is its own bytes, trimmed";
  plain.Place(0, 3, TLayoutAlign::Left, "   ");
  EXPECT_EQ(plain.Utf8(scratch), "") << "a blank line writes nothing";
}

std::string RunTo(const std::string& format, const std::vector<int32_t>& without = {}) {
  auto run = ReportRun::Open(nrw::testing::Backend::SQLite);
  run->SetDefaults();
  run->AddListingCases();
  for (const char* option :
       {"pListarTotalImposto", "pListarOutrasInfo", "pExibirDadosPessoa", "pExibirDadosNatureza"}) {
    run->Set(option, "1");
  }
  run->Set("pTotalizar", "4");
  run->Set("ReportFor", "1");
  run->Engine().SetLayout(ReportLayout(without));
  std::ostringstream out;
  auto renderer = CreateRenderer(format, out, run->Engine().Layout());
  run->Engine().AddSink(renderer.get());
  EXPECT_EQ(run->Print(), "");
  run->Engine().EndReport();
  return out.str();
}

std::string Golden(const std::string& file, const std::string& actual) {
  const std::string path = std::string(NRW_SOURCE_DIR) + "/tests/golden/" + file;
  if (const char* update = std::getenv("NRW_UPDATE_GOLDEN");
      update != nullptr && std::string(update) == "1") {
    std::ofstream(path, std::ios::binary) << actual;
  }
  std::ifstream in(path, std::ios::binary);
  std::ostringstream expected;
  expected << in.rdbuf();
  return expected.str();
}

TEST(Renderers, TextReportMatchesItsGolden) {
  const std::string text = RunTo("text");
  EXPECT_EQ(text, Golden("report.txt", text));
  EXPECT_NE(text.find("Resumo de Conferência de Lançamentos Fiscais"), std::string::npos);
  EXPECT_NE(text.find("Total Tipo"), std::string::npos);
}

TEST(Renderers, SectionsTraceMatchesItsGolden) {
  const std::string trace = RunTo("sections");
  EXPECT_EQ(trace, Golden("report.sections.jsonl", trace));
  EXPECT_EQ(trace.substr(0, 44), "{\"page\":1,\"section\":1,\"fields\":{}}\n{\"page\":1");
  EXPECT_NE(trace.find("{\"page\":1,\"section\":\"header\",\"fields\":{\"Empresa\":\"1 - Comercial "
                       "Teste Ltda\""),
            std::string::npos);
}

TEST(Renderers, TextPagesAreSeparatedByFormFeeds) {
  const std::string text = RunTo("text", {15});
  EXPECT_GT(std::count(text.begin(), text.end(), '\f'), 5)
      << "without the marker every line takes a page";
}

// The widest amount a document line may hold, set in the layout's font, fits every amount column.
TEST(Renderers, AmountColumnsHoldTenDigitAmounts) {
  const TReportLayout layout =
      LoadLayoutFile(std::string(NRW_SOURCE_DIR) + "/layouts/ResumoConfLctoFis.json");
  cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, 10, 10);
  cairo_t* cr = cairo_create(surface);
  PangoLayout* text = pango_cairo_create_layout(cr);
  PangoFontDescription* font = pango_font_description_from_string(layout.font_family.c_str());
  pango_font_description_set_absolute_size(font, layout.font_size * PANGO_SCALE);
  pango_layout_set_font_description(text, font);
  pango_layout_set_text(text, "9.999.999.999,99", -1);
  int width = 0, height = 0;
  pango_layout_get_size(text, &width, &height);
  const double needed_mm = width / static_cast<double>(PANGO_SCALE) * 25.4 / 72.0;
  pango_font_description_free(font);
  g_object_unref(text);
  cairo_destroy(cr);
  cairo_surface_destroy(surface);
  for (int32_t section : {13, 14}) {
    for (const TLayoutItem& item : layout.Section(section)->field_items) {
      if (item.name == "RValorContabil" || item.name == "RBaseCalculo" || item.name == "RValor" ||
          item.name == "RIsentas" || item.name == "ROutras") {
        EXPECT_GE(item.width, needed_mm) << section << " " << item.name;
      }
    }
  }
  EXPECT_GT(needed_mm, 15) << "the font was found";
}

TEST(Renderers, UnknownFormatIsRefused) {
  std::ostringstream out;
  try {
    CreateRenderer("docx", out, TReportLayout());
    FAIL();
  } catch (const Exception& e) {
    EXPECT_STREQ(e.what(), "unknown output format 'docx' (pdf, text or sections)");
  }
}

// A one-page PDF of section 13 printed once per row, its fields laid out by `items`, written to
// `file`.
void WriteOnePagePdf(const std::string& file, const std::vector<TLayoutItem>& items,
                     const std::vector<std::vector<TPrintedField>>& rows,
                     const std::string& family = "DejaVu Sans") {
  TReportLayout layout;
  layout.font_family = family;
  layout.AddSection(TLayoutSection::Of(1, {}));
  std::vector<std::string> names;
  for (const TLayoutItem& item : items) {
    names.push_back(item.name);
  }
  TLayoutSection line = TLayoutSection::Of(13, names);
  line.height = 6;
  line.field_items = items;
  layout.AddSection(line);
  TAtomicOutputFile out(file);
  auto pdf = CreateRenderer("pdf", out.Stream(), layout);
  pdf->BeginPage(1);
  for (const std::vector<TPrintedField>& fields : rows) {
    pdf->PrintSection(1, 13, fields);
  }
  pdf->EndPage(1);
  pdf->Finish();
  out.Commit();
}

TEST(Renderers, PdfReadsBackThroughPoppler) {
  if (std::system("command -v pdftotext >/dev/null 2>&1 && command -v pdfinfo >/dev/null 2>&1") !=
      0) {
    GTEST_SKIP() << "poppler-utils (pdftotext, pdfinfo) not installed";
  }
  nrw::testing::ScratchDir dir;
  const std::string file = dir.File("report.pdf");
  {
    TAtomicOutputFile out(file);
    out.Stream() << RunTo("pdf");
    out.Commit();
  }
  const std::string info = nrw::testing::CommandOutput("pdfinfo '" + file + "'");
  EXPECT_NE(info.find("Title:           Resumo de Conferência de Lançamentos Fiscais"),
            std::string::npos)
      << info;
  EXPECT_NE(info.find("Pages:           2"), std::string::npos) << info;
  EXPECT_NE(info.find("841.89 x 595.276 pts (A4)"), std::string::npos) << "A4 landscape: " << info;
  const std::string text = nrw::testing::CommandOutput("pdftotext -layout '" + file + "' -");
  for (const char* expected :
       {"Resumo de Conferência de Lançamentos Fiscais", "Total Tipo", "Total Natureza",
        "Observação: obs 1", "Vr. Contábil", "Página: 2", "Fornecedor A"}) {
    EXPECT_NE(text.find(expected), std::string::npos) << expected;
  }
  // The regular and the bold face, each embedded as a subset with its map back to characters.
  if (std::system("command -v pdffonts >/dev/null 2>&1") == 0) {
    const std::string fonts = nrw::testing::CommandOutput("pdffonts '" + file + "'");
    EXPECT_NE(fonts.find("+DejaVuSans-Bold "), std::string::npos) << fonts;
    EXPECT_NE(fonts.find("+DejaVuSans "), std::string::npos) << fonts;
    EXPECT_EQ(std::count(fonts.begin(), fonts.end(), '\n'), 4) << "two fonts: " << fonts;
    EXPECT_EQ(fonts.find(" no "), std::string::npos) << "embedded, subset, mapped: " << fonts;
  }
}

// One face draws more than 256 different characters: they go to a second PDF font of the same
// face, and every one of them reads back.
TEST(Renderers, PdfDrawsMoreCharactersThanOneFontHoldsCodes) {
  if (std::system("command -v pdftotext >/dev/null 2>&1 && command -v pdffonts >/dev/null 2>&1") !=
      0) {
    GTEST_SKIP() << "poppler-utils (pdftotext, pdffonts) not installed";
  }
  std::vector<std::string> rows;  // Latin-1 and Extended-A letters, Greek, Cyrillic: 40 a row
  std::string row;
  int count = 0;
  for (const auto& [first, last] : std::vector<std::pair<char32_t, char32_t>>{{U'A', U'Z'},
                                                                              {U'a', U'z'},
                                                                              {0xC0, 0xFF},
                                                                              {0x100, 0x17F},
                                                                              {0x391, 0x3A9},
                                                                              {0x410, 0x44F}}) {
    for (char32_t c = first; c <= last; ++c) {
      if (c == 0xD7 || c == 0xF7 || c == 0x3A2) {
        continue;  // not letters
      }
      std::string utf8;
      if (c < 0x80) {
        utf8 += static_cast<char>(c);
      } else {
        utf8 += static_cast<char>(0xC0 | (c >> 6));
        utf8 += static_cast<char>(0x80 | (c & 0x3F));
      }
      row += utf8;
      ++count;
      if (count % 40 == 0) {
        rows.push_back(row);
        row.clear();
      }
    }
  }
  rows.push_back(row);
  ASSERT_GT(count, 300);
  nrw::testing::ScratchDir dir;
  const std::string file = dir.File("letters.pdf");
  std::vector<std::vector<TPrintedField>> sections;
  for (const std::string& text : rows) {
    sections.push_back({{"Texto", text}});
  }
  WriteOnePagePdf(file, {{"Texto", 0, 0, 250, TLayoutAlign::Left, false}}, sections);
  const std::string text = nrw::testing::CommandOutput("pdftotext '" + file + "' -");
  for (const std::string& expected : rows) {
    EXPECT_NE(text.find(expected), std::string::npos) << expected << " in\n" << text;
  }
  const std::string fonts = nrw::testing::CommandOutput("pdffonts '" + file + "'");
  EXPECT_EQ(std::count(fonts.begin(), fonts.end(), '\n'), 4) << "two PDF fonts: " << fonts;
}

// The page content streams of a PDF, inflated.
std::string PageOperators(const std::string& pdf) {
  std::string all;
  for (size_t at = pdf.find("stream\n"); at != std::string::npos;
       at = pdf.find("stream\n", at + 1)) {
    const size_t start = at + 7, end = pdf.find("\nendstream", start);
    if (end == std::string::npos || pdf.compare(at - 3, 3, "end") == 0) {
      continue;
    }
    std::string out(1 << 20, '\0');
    uLongf size = out.size();
    if (uncompress(reinterpret_cast<Bytef*>(out.data()), &size,
                   reinterpret_cast<const Bytef*>(pdf.data() + start), end - start) == Z_OK) {
      all.append(out.data(), size);
    }
  }
  return all;
}

// A family without a bold face: fontconfig thickens the regular one, and so does the PDF (the
// glyphs filled and stroked), only for the bold text.
TEST(Renderers, PdfThickensABoldTextWhoseFamilyHasNoBoldFace) {
  constexpr const char* kFamily = "DejaVu Math TeX Gyre";  // fonts-dejavu-extra: one face
  if (nrw::testing::CommandOutput(std::string("fc-match -f '%{file}' '") + kFamily + ":bold'")
          .find("DejaVuMathTeXGyre") == std::string::npos) {
    GTEST_SKIP() << kFamily << " is not installed (Debian's fonts-dejavu-extra)";
  }
  nrw::testing::ScratchDir dir;
  const std::string file = dir.File("bold.pdf");
  WriteOnePagePdf(file,
                  {{"Forte", 0, 0, 60, TLayoutAlign::Left, true},
                   {"Fraco", 100, 0, 60, TLayoutAlign::Left, false}},
                  {{{"Forte", "Negrito"}, {"Fraco", "Normal"}}}, kFamily);
  std::ifstream in(file, std::ios::binary);
  std::ostringstream bytes;
  bytes << in.rdbuf();
  const std::string operators = PageOperators(bytes.str());
  const size_t bold = operators.find("(Negrito)Tj"), regular = operators.find("(Normal)Tj");
  ASSERT_NE(bold, std::string::npos) << operators;
  ASSERT_NE(regular, std::string::npos) << operators;
  const size_t thick = operators.rfind(" w 2 Tr\n", bold);
  ASSERT_NE(thick, std::string::npos) << "the bold text is stroked too: " << operators;
  const size_t back = operators.find("0 Tr\n", bold);
  EXPECT_NE(back, std::string::npos) << operators;
  EXPECT_TRUE(regular < thick || regular > back)
      << "the regular text is only filled: " << operators;
}

// Each string starts where its field does, however many strings the page's text object moves
// through: the moves are relative, and the rounding of each one is carried into the next. The
// columns stand 100.0004 pt apart, so that moves rounded on their own would drift by a
// thousandth of a point a row; the rows 6 mm (17.00787 pt) apart.
TEST(Renderers, PdfStringsStartWhereTheirFieldsDoAllDownThePage) {
  const auto pt = [](double mm) { return mm * 72 / 25.4; };
  const auto mm = [](double points) { return points * 25.4 / 72; };
  nrw::testing::ScratchDir dir;
  const std::string file = dir.File("columns.pdf");
  constexpr int kRows = 60;
  std::vector<std::vector<TPrintedField>> rows;
  for (int row = 0; row < kRows; ++row) {
    rows.push_back({{"A", "x" + std::to_string(row)}, {"B", "y"}, {"C", "z"}});
  }
  WriteOnePagePdf(file,
                  {{"A", 0, 0, 20, TLayoutAlign::Left, false},
                   {"B", mm(100.0004), 0, 20, TLayoutAlign::Left, false},
                   {"C", mm(200.0008), 0, 20, TLayoutAlign::Left, false}},
                  rows);
  std::ifstream in(file, std::ios::binary);
  std::ostringstream bytes;
  bytes << in.rdbuf();
  const std::string operators = PageOperators(bytes.str());
  const double margin = pt(TReportLayout{}.page.margin_left);
  const std::regex move(R"((?:1 0 0 1 )?(-?[0-9.]+) (-?[0-9.]+) (Tm|Td)\()");
  double x = 0, y = 0, first_y = 0;
  int strings = 0;
  for (auto it = std::sregex_iterator(operators.begin(), operators.end(), move);
       it != std::sregex_iterator(); ++it, ++strings) {
    const bool absolute = (*it)[3] == "Tm";
    x = (absolute ? 0 : x) + std::stod((*it)[1]);
    y = (absolute ? 0 : y) + std::stod((*it)[2]);
    first_y = strings == 0 ? y : first_y;
    EXPECT_NEAR(x, margin + 100.0004 * (strings % 3), 0.001) << "string " << strings;
    EXPECT_NEAR(first_y - y, pt(6) * (strings / 3), 0.001) << "string " << strings;
  }
  EXPECT_EQ(strings, 3 * kRows);
}

// A text wider than its field is cut with an ellipsis and keeps the characters before it; one
// that fits is whole, accents and the characters a PDF string escapes included.
TEST(Renderers, PdfCutsALongTextWithAnEllipsis) {
  if (std::system("command -v pdftotext >/dev/null 2>&1") != 0) {
    GTEST_SKIP() << "poppler-utils (pdftotext) not installed";
  }
  nrw::testing::ScratchDir dir;
  const std::string file = dir.File("cut.pdf");
  WriteOnePagePdf(
      file,
      {{"Curto", 0, 0, 60, TLayoutAlign::Right, false},
       {"Longo", 100, 0, 20, TLayoutAlign::Left, false}},
      {{{"Curto", "Conceição (1\\2)"}, {"Longo", "Descrição muito longa que não cabe na coluna"}}});
  const std::string text = nrw::testing::CommandOutput("pdftotext '" + file + "' -");
  EXPECT_NE(text.find("Conceição (1\\2)"), std::string::npos)
      << "parentheses and backslash escaped in the string: " << text;
  const size_t cut = text.find("Descrição");
  ASSERT_NE(cut, std::string::npos) << text;
  EXPECT_NE(text.find("…", cut), std::string::npos)
      << "the cut text ends with an ellipsis: " << text;
  EXPECT_EQ(text.find("coluna"), std::string::npos) << "the end of the long text is cut: " << text;
}

TEST(OutputFile, NothingIsLeftWhenNotCommitted) {
  nrw::testing::ScratchDir dir;
  const std::string file = dir.File("out.txt");
  {
    TAtomicOutputFile out(file);
    out.Stream() << "partial";
  }
  EXPECT_FALSE(std::filesystem::exists(file));
  EXPECT_TRUE(std::filesystem::is_empty(dir.File("")));
  EXPECT_THROW(TAtomicOutputFile(dir.File("no/such/folder/x")), Exception);
}

// A committed file takes the place of an older one (swapped with it, then the old one removed),
// of a link (the link itself, not the file it names) or of nothing; a folder in its place is an
// error that leaves the folder as it was.
TEST(OutputFile, ACommittedFileTakesThePlaceOfWhatWasThere) {
  nrw::testing::ScratchDir dir;
  const auto write = [](const std::string& path, const std::string& text) {
    TAtomicOutputFile out(path);
    out.Stream() << text;
    out.Commit();
  };
  const auto read = [](const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
  };
  const std::string file = dir.File("out.txt");
  write(file, "first");
  write(file, "second, longer than the first");
  EXPECT_EQ(read(file), "second, longer than the first");

  const std::string named = dir.File("named.txt"), link = dir.File("link.txt");
  write(named, "named");
  std::filesystem::create_symlink(named, link);
  write(link, "in place of the link");
  EXPECT_FALSE(std::filesystem::is_symlink(link));
  EXPECT_EQ(read(link), "in place of the link");
  EXPECT_EQ(read(named), "named");

  const std::string folder = dir.File("folder");
  std::filesystem::create_directory(folder);
  write(folder + "/inside.txt", "inside");
  {
    TAtomicOutputFile out(folder);
    out.Stream() << "not a folder";
    EXPECT_THROW(out.Commit(), Exception);
  }
  EXPECT_EQ(read(folder + "/inside.txt"), "inside");
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(dir.File(""))) {
    names.push_back(entry.path().filename().string());
  }
  std::sort(names.begin(), names.end());
  EXPECT_EQ(names, (std::vector<std::string>{"folder", "link.txt", "named.txt", "out.txt"}))
      << "no temporary file is left";
}

TEST(NrwReport, AFailedRunLeavesNoOutputFile) {
  nrw::testing::ScratchDir dir;
  const std::string db = dir.File("demo.db");
  ASSERT_EQ(
      std::system(
          (std::string(NRW_BIN_DIR) + "/nrw-report demo-db " + db + " --docs 20 --quiet").c_str()),
      0);
  const std::string out = dir.File("r.pdf");
  const std::string base = std::string(NRW_BIN_DIR) + "/nrw-report print --quiet --db " + db +
                           " --estab 1:1 --format pdf --output " + out;
  const std::string message = nrw::testing::CommandOutput(
      base + " --set pDataInicial=02/01/2026 --set pDataFinal=01/01/2026 2>&1; echo rc=$?");
  EXPECT_EQ(message, "nrw-report: Data inicial deve ser inferior a data final.\nrc=1\n");
  EXPECT_FALSE(std::filesystem::exists(out));
  EXPECT_EQ(nrw::testing::CommandOutput(
                base +
                " --set pDataInicial=01/01/2026 --set pDataFinal=31/01/2026 --set pTipoMovimento=1 "
                "--set pTipoImposto=1 2>&1; echo rc=$?"),
            "rc=0\n");
  EXPECT_TRUE(std::filesystem::exists(out));
}

}  // namespace
}  // namespace nfis::testing
