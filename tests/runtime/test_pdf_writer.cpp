// The PDF writer's parts: numbers and text strings as PDF spells them, the file's structure (every
// object where the cross-reference table says, the outline's links and counts), and the
// TrueType subset (the glyphs asked for, the parts of composite glyphs, nothing else).
#include <fontconfig/fontconfig.h>
#include <ft2build.h>
#include FT_FREETYPE_H
#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <regex>
#include <sstream>

#include "host/exception.hpp"
#include "runtime/pdf_document.hpp"
#include "runtime/pdf_font.hpp"
#include "runtime/truetype_subset.hpp"

namespace nrw {
namespace {

std::string Number(double value) {
  std::string out;
  AppendPdfNumber(out, value);
  return out;
}

TEST(PdfWriter, NumbersHaveAtMostThreeDecimalsAndNoTrailingZeros) {
  EXPECT_EQ(Number(0), "0");
  EXPECT_EQ(Number(12.5), "12.5");
  EXPECT_EQ(Number(-3), "-3");
  EXPECT_EQ(Number(841.8897637795), "841.89");
  EXPECT_EQ(Number(595.2755905512), "595.276");
  EXPECT_EQ(Number(0.0004), "0");
  EXPECT_EQ(Number(-0.0004), "0") << "no minus sign on a value that rounds to zero";
  EXPECT_EQ(Number(-7.0625), "-7.063");
  EXPECT_EQ(Number(0.05), "0.05");
  std::string out;
  EXPECT_DOUBLE_EQ(AppendPdfNumber(out, 1.23456), 1.235) << "the value as written";
}

TEST(PdfWriter, TextStringsAreLiteralsOrUtf16) {
  EXPECT_EQ(PdfTextString("Resumo (a) \\ b"), "(Resumo \\(a\\) \\\\ b)");
  EXPECT_EQ(PdfTextString("Período"), "<FEFF00500065007200ED006F0064006F>");
  EXPECT_EQ(PdfTextString("\xF0\x9F\x98\x80"), "<FEFFD83DDE00>") << "a surrogate pair";
  EXPECT_EQ(PdfTextString(""), "()");
}

// Each "N 0 obj" where the cross-reference table puts object N.
void ExpectObjectsWhereTheTableSays(const std::string& pdf) {
  const size_t start = pdf.rfind("startxref\n");
  ASSERT_NE(start, std::string::npos);
  const size_t xref = std::stoul(pdf.substr(start + 10));
  ASSERT_EQ(pdf.compare(xref, 5, "xref\n"), 0);
  std::istringstream table(pdf.substr(xref + 5));
  int first = 0, count = 0;
  table >> first >> count;
  ASSERT_EQ(first, 0);
  int written = 0;
  for (int object = 0; object < count; ++object) {
    std::string offset, generation, kind;
    table >> offset >> generation >> kind;
    if (kind == "n") {
      const std::string head = std::to_string(object) + " 0 obj\n";
      EXPECT_EQ(pdf.compare(std::stoul(offset), head.size(), head), 0) << "object " << object;
      ++written;
    }
  }
  EXPECT_GT(written, 0);
  std::string trailer;
  std::getline(table >> std::ws, trailer);
  EXPECT_EQ(trailer, "trailer");
}

TEST(PdfWriter, PagesStreamOutAndTheTableFindsEveryObject) {
  // (the pages are written on the document's own thread: WritePages waits for them)
  std::ostringstream out;
  PdfDocument document(out, 841.89, 595.276);
  document.EndPage("0.4 w\n0 0 m 10 10 l S\n");
  document.WritePages();
  const size_t after_first = out.str().size();
  EXPECT_NE(out.str().find("/MediaBox [0 0 841.89 595.276]"), std::string::npos)
      << "the first page is in the file before the second one starts";
  document.EndPage("");
  document.SetInfo("Title", "Resumo");
  document.SetInfo("Author", "");
  document.Finish();
  const std::string pdf = out.str();
  EXPECT_GT(pdf.size(), after_first);
  EXPECT_EQ(pdf.rfind("%PDF-1.5\n", 0), 0u);
  EXPECT_NE(pdf.find("/Type /Pages /Kids [ 3 0 R "), std::string::npos) << pdf;
  EXPECT_NE(pdf.find("/Count 2 >>"), std::string::npos);
  EXPECT_NE(pdf.find("<< /Title (Resumo) >>"), std::string::npos) << "an empty value is left out";
  EXPECT_EQ(pdf.find("/Outlines"), std::string::npos) << "no outline without entries";
  ExpectObjectsWhereTheTableSays(pdf);
}

// A stream that takes nothing, as a full disk.
class FullDisk : public std::streambuf {
 protected:
  int_type overflow(int_type) override { return traits_type::eof(); }
  std::streamsize xsputn(const char*, std::streamsize) override { return 0; }
};

// A page that cannot be written fails on the document's thread; the caller hears of it at the
// next page or at the end, not never.
TEST(PdfWriter, AWriteThatFailsIsRaisedOnTheCallersThread) {
  FullDisk disk;
  std::ostream out(&disk);
  PdfDocument document(out, 100, 100);
  try {
    for (int page = 0; page < 20; ++page) {
      document.EndPage("0 0 m 10 10 l S\n");
    }
    document.Finish();
    FAIL() << "a PDF written to a full disk";
  } catch (const Exception& e) {
    EXPECT_STREQ(e.what(), "cannot write the PDF output");
  }
}

// An open company with two closed establishments, one of them with a block under it.
TEST(PdfWriter, TheOutlineLinksSiblingsAndCountsWhatIsOpen) {
  std::ostringstream out;
  PdfDocument document(out, 100, 100);
  const int company = document.AddOutline(0, "Empresa", true, 10, 90);
  document.AddOutline(company, "Matriz", false, 10, 80);
  document.EndPage("");
  const int second = document.AddOutline(company, "Filial", false, 10, 70);
  document.AddOutline(second, "Total Tipo", false, 10, 60);
  document.EndPage("");
  document.Finish();
  const std::string pdf = out.str();
  ExpectObjectsWhereTheTableSays(pdf);
  std::map<std::string, std::string> entries;  // title -> the rest of its dictionary
  const std::regex entry(R"(/Title \((\w[\w ]*)\)\n([^>]*)>>)");
  for (auto it = std::sregex_iterator(pdf.begin(), pdf.end(), entry); it != std::sregex_iterator();
       ++it) {
    entries[(*it)[1]] = (*it)[2];
  }
  ASSERT_EQ(entries.size(), 4u) << pdf;
  EXPECT_NE(entries["Empresa"].find("/Count 2"), std::string::npos)
      << "open: its two establishments show, not the block under the closed one";
  EXPECT_NE(entries["Filial"].find("/Count -1"), std::string::npos) << "closed, one child";
  EXPECT_EQ(entries["Matriz"].find("/Count"), std::string::npos) << "no children";
  EXPECT_NE(entries["Matriz"].find("/Next"), std::string::npos);
  EXPECT_NE(entries["Filial"].find("/Prev"), std::string::npos);
  EXPECT_NE(pdf.find("/Type /Outlines /First"), std::string::npos);
  EXPECT_NE(pdf.find("/Count 3 >>"), std::string::npos) << "the top shows the company and two";
  // The entries point at the page they were added on.
  const std::regex page_object(R"((\d+) 0 obj\n<< /Type /Page )");
  std::vector<std::string> pages;
  for (auto it = std::sregex_iterator(pdf.begin(), pdf.end(), page_object);
       it != std::sregex_iterator(); ++it) {
    pages.push_back((*it)[1]);
  }
  ASSERT_EQ(pages.size(), 2u);
  EXPECT_NE(entries["Matriz"].find("/Dest [" + pages[0] + " 0 R /XYZ 10 80 0]"), std::string::npos)
      << entries["Matriz"];
  EXPECT_NE(entries["Filial"].find("/Dest [" + pages[1] + " 0 R /XYZ 10 70 0]"), std::string::npos)
      << entries["Filial"];
}

// The system's DejaVu Sans (installed with the project's dependencies), its bytes and a FreeType
// face over the same file for glyph numbers.
class TrueTypeSubset : public ::testing::Test {
 protected:
  void SetUp() override {
    FcPattern* pattern = FcNameParse(reinterpret_cast<const FcChar8*>("DejaVu Sans"));
    FcConfigSubstitute(nullptr, pattern, FcMatchPattern);
    FcDefaultSubstitute(pattern);
    FcResult result;
    FcPattern* match = FcFontMatch(nullptr, pattern, &result);
    FcChar8* file = nullptr;
    if (match != nullptr && FcPatternGetString(match, FC_FILE, 0, &file) == FcResultMatch) {
      path_ = reinterpret_cast<const char*>(file);
    }
    FcPatternDestroy(pattern);
    if (match != nullptr) {
      FcPatternDestroy(match);
    }
    if (path_.find("DejaVuSans.ttf") == std::string::npos) {
      GTEST_SKIP() << "DejaVu Sans is not installed (scripts/install-deps.sh installs it)";
    }
    std::ifstream in(path_, std::ios::binary);
    std::ostringstream bytes;
    bytes << in.rdbuf();
    bytes_ = bytes.str();
    ASSERT_EQ(FT_Init_FreeType(&library_), 0);
    ASSERT_EQ(FT_New_Face(library_, path_.c_str(), 0, &face_), 0);
  }
  void TearDown() override {
    if (face_ != nullptr) {
      FT_Done_Face(face_);
    }
    if (library_ != nullptr) {
      FT_Done_FreeType(library_);
    }
  }
  uint16_t Glyph(char32_t c) const { return static_cast<uint16_t>(FT_Get_Char_Index(face_, c)); }

  std::string path_, bytes_;
  FT_Library library_ = nullptr;
  FT_Face face_ = nullptr;
};

TEST_F(TrueTypeSubset, KeepsTheGlyphsAskedForAndTheirParts) {
  const TrueTypeFace font(bytes_, 0);
  EXPECT_EQ(font.Metrics().units_per_em, 2048);
  const uint16_t a = Glyph(U'A'), e = Glyph(U'e'), e_acute = Glyph(U'é'), z = Glyph(U'Z');
  ASSERT_GT(font.Outline(e_acute).size(), 10u);
  ASSERT_LT(static_cast<int16_t>(font.Outline(e_acute)[0] << 8 | font.Outline(e_acute)[1]), 0)
      << "é is a composite glyph in this font: the test needs one";

  const TrueTypeFace subset(font.Subset({a, e_acute}), 0);
  EXPECT_EQ(subset.GlyphCount(), font.GlyphCount()) << "glyph numbers stay";
  EXPECT_EQ(subset.Outline(a), font.Outline(a));
  EXPECT_EQ(subset.Outline(e_acute), font.Outline(e_acute));
  EXPECT_EQ(subset.Outline(e), font.Outline(e)) << "the base letter of é comes with it";
  EXPECT_EQ(subset.Outline(0), font.Outline(0)) << "the missing-character glyph";
  EXPECT_TRUE(subset.Outline(z).empty()) << "a glyph nobody asked for";
  EXPECT_EQ(subset.Metrics().ascent, font.Metrics().ascent);
  EXPECT_LT(subset.Subset({a}).size(), bytes_.size() / 4) << "the font's other tables are left out";

  // FreeType reads the subset and draws the kept glyph from it.
  const std::string bytes = font.Subset({a});
  FT_Face face = nullptr;
  ASSERT_EQ(FT_New_Memory_Face(library_, reinterpret_cast<const FT_Byte*>(bytes.data()),
                               static_cast<FT_Long>(bytes.size()), 0, &face),
            0);
  ASSERT_EQ(FT_Set_Char_Size(face, 0, 12 * 64, 72, 72), 0);
  EXPECT_EQ(FT_Load_Glyph(face, a, FT_LOAD_NO_HINTING), 0);
  EXPECT_GT(face->glyph->outline.n_points, 0);
  EXPECT_EQ(FT_Load_Glyph(face, z, FT_LOAD_NO_HINTING), 0);
  EXPECT_EQ(face->glyph->outline.n_points, 0);
  FT_Done_Face(face);
}

TEST_F(TrueTypeSubset, RefusesWhatIsNotATrueTypeFont) {
  try {
    TrueTypeFace("OTTO" + std::string(64, '\0'), 0);
    FAIL();
  } catch (const Exception& e) {
    EXPECT_STREQ(e.what(), "not a TrueType font (the PDF output embeds TrueType outlines only)");
  }
  try {
    TrueTypeFace(bytes_.substr(0, 200), 0);
    FAIL();
  } catch (const Exception& e) {
    EXPECT_STREQ(e.what(), "the font file is cut short");
  }
  try {
    TrueTypeFace("ttcf" + std::string(12, '\0'), 3);
    FAIL();
  } catch (const Exception& e) {
    EXPECT_STREQ(e.what(), "the font collection has no face 3");
  }
}

// Two faces drawing the same glyphs are two subsets: their tags differ. A face's codes keep the
// Latin-1 code of their character where they can, and a glyph is encoded once.
TEST_F(TrueTypeSubset, EachFacesSubsetHasATagOfItsOwn) {
  std::ostringstream out;
  PdfDocument document(out, 100, 100);
  PdfFont regular(document, path_, 0, "Regular"), bold(document, path_, 0, "Bold");
  for (PdfFont* font : {&regular, &bold}) {
    const PdfFont::Code code = font->Encode(Glyph(U'A'), U'A', 684);
    EXPECT_EQ(code.code, 'A');
    EXPECT_EQ(font->Encode(Glyph(U'A'), U'A', 684).code, code.code) << "encoded once";
    EXPECT_NE(font->Encode(Glyph(U'B'), U'A', 686).code, code.code)
        << "another glyph for a character whose code is taken gets a free code";
  }
  document.WritePages();
  regular.Write();
  bold.Write();
  document.Finish();
  const std::string pdf = out.str();
  const std::regex base(R"(/Type0 /BaseFont /([A-Z]{6})\+(Regular|Bold))");
  std::map<std::string, std::string> tags;
  for (auto it = std::sregex_iterator(pdf.begin(), pdf.end(), base); it != std::sregex_iterator();
       ++it) {
    tags[(*it)[2]] = (*it)[1];
  }
  ASSERT_EQ(tags.size(), 2u) << pdf.substr(0, 2000);
  EXPECT_NE(tags["Regular"], tags["Bold"]);
}

}  // namespace
}  // namespace nrw
