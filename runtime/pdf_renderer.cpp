// The PDF renderer: pages written as they end (runtime/pdf_document), the layout's font found by
// pango through fontconfig and embedded as a subset (runtime/pdf_font), glyphs and advances read
// once per character from the font. Millimetres of the layout become points here, with y upwards.
#include <fontconfig/fontconfig.h>
#include <pango/pangocairo.h>
#include <pango/pangofc-font.h>

#include <algorithm>
#include <cctype>
#include <map>
#include <memory>
#include <ostream>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "host/exception.hpp"
#include "host/renderers.hpp"
#include "host/report_position.hpp"
#include "runtime/pdf_document.hpp"
#include "runtime/pdf_font.hpp"
#include "runtime/text_renderer.hpp"
#include "runtime/utf8.hpp"

namespace nrw {
namespace {

constexpr double kPointsPerMm = 72.0 / 25.4;
constexpr double kLineWidthPt = 0.4;
// Lines of the standard header, in millimetres (the header block is the layout's header height).
constexpr double kHeaderLineMm = 3.5;
// A text may overrun its width by this much (rounding of the advances).
constexpr double kSlackPt = 0.01;
constexpr char32_t kEllipsis = U'\u2026';

struct Rgb {
  double r = 0, g = 0, b = 0;
};

Rgb ParseColor(const std::string& hex) {
  unsigned value = 0;
  if (hex.size() == 7 && hex[0] == '#') {
    value = static_cast<unsigned>(std::stoul(hex.substr(1), nullptr, 16));
  }
  return {((value >> 16) & 0xFF) / 255.0, ((value >> 8) & 0xFF) / 255.0, (value & 0xFF) / 255.0};
}

// Appends "r g b <operator>\n".
void AppendColor(std::string& out, const Rgb& color, const char* op) {
  AppendPdfNumber(out, color.r);
  out += ' ';
  AppendPdfNumber(out, color.g);
  out += ' ';
  AppendPdfNumber(out, color.b);
  out += ' ';
  out += op;
  out += '\n';
}

// Appends "x y " in points.
void AppendPoint(std::string& out, double x, double y) {
  AppendPdfNumber(out, x);
  out += ' ';
  AppendPdfNumber(out, y);
  out += ' ';
}

// The face fontconfig chose for a font: its file, its index in a collection, its name.
struct FaceFile {
  std::string path;
  int index = 0;
  std::string name;
  bool embolden = false;  // no bold face: the regular one drawn thicker
};

FaceFile FaceOf(PangoFont* font, const std::string& family) {
  FcPattern* pattern = pango_fc_font_get_pattern(PANGO_FC_FONT(font));
  FcChar8* file = nullptr;
  if (pattern == nullptr || FcPatternGetString(pattern, FC_FILE, 0, &file) != FcResultMatch) {
    throw Exception("no font file for '" + family + "'");
  }
  FaceFile face;
  face.path = reinterpret_cast<const char*>(file);
  FcPatternGetInteger(pattern, FC_INDEX, 0, &face.index);
  FcBool embolden = FcFalse;
  FcPatternGetBool(pattern, FC_EMBOLDEN, 0, &embolden);
  face.embolden = embolden == FcTrue;
  FcChar8* name = nullptr;
  if (FcPatternGetString(pattern, FC_POSTSCRIPT_NAME, 0, &name) != FcResultMatch) {
    FcPatternGetString(pattern, FC_FAMILY, 0, &name);
  }
  // A PDF name without delimiters or blanks.
  for (const char* c = reinterpret_cast<const char*>(name); c != nullptr && *c != '\0'; ++c) {
    if (std::isalnum(static_cast<unsigned char>(*c)) || *c == '-') {
      face.name += *c;
    }
  }
  if (face.name.empty()) {
    face.name = "Font";
  }
  return face;
}

// A font at one size and weight, with the glyph, advance and PDF code of every character it has
// drawn: a field is drawn as one run of glyphs, without shaping it anew (report texts are Latin
// script, which needs no shaping beyond the character map).
class GlyphFont {
 public:
  GlyphFont(PangoFontMap* map, PangoContext* context, const std::string& family, double size,
            bool bold)
      : size_(size) {
    PangoFontDescription* description = pango_font_description_from_string(family.c_str());
    pango_font_description_set_absolute_size(description, size * PANGO_SCALE);
    pango_font_description_set_weight(description, bold ? PANGO_WEIGHT_BOLD : PANGO_WEIGHT_NORMAL);
    font_ = pango_font_map_load_font(map, context, description);
    pango_font_description_free(description);
    if (font_ == nullptr) {
      throw Exception("no font for '" + family + "'");
    }
    scaled_ = pango_cairo_font_get_scaled_font(PANGO_CAIRO_FONT(font_));
    cairo_font_extents_t extents;
    cairo_scaled_font_extents(scaled_, &extents);
    ascent_ = extents.ascent;
    face_ = FaceOf(font_, family);
  }
  ~GlyphFont() { g_object_unref(font_); }
  GlyphFont(const GlyphFont&) = delete;
  GlyphFont& operator=(const GlyphFont&) = delete;

  const FaceFile& Face() const { return face_; }
  double Size() const { return size_; }
  double Ascent() const { return ascent_; }
  // The embedded face that draws this font's glyphs (set once, before the first glyph).
  void SetPdfFont(PdfFont* pdf) { pdf_ = pdf; }
  const PdfFont& Pdf() const { return *pdf_; }

  struct Glyph {
    double advance = 0;  // points
    PdfFont::Code code;
  };
  const Glyph& Of(char32_t code) {
    if (code < kDirect) {
      Glyph& glyph = direct_[code];
      if (!known_[code]) {
        glyph = Load(code);
        known_[code] = true;
      }
      return glyph;
    }
    const auto found = others_.find(code);
    return found != others_.end() ? found->second : others_.emplace(code, Load(code)).first->second;
  }

 private:
  static constexpr char32_t kDirect = 0x250;  // Latin letters: looked up in an array

  Glyph Load(char32_t code) const {
    char utf8[nrw::kMaxUtf8Length];
    const int length = nrw::EncodeUtf8(code, utf8);
    cairo_glyph_t* glyphs = nullptr;
    int count = 0;
    unsigned long index = 0;
    double advance = 0;
    if (cairo_scaled_font_text_to_glyphs(scaled_, 0, 0, utf8, length, &glyphs, &count, nullptr,
                                         nullptr, nullptr) == CAIRO_STATUS_SUCCESS &&
        count > 0) {
      cairo_text_extents_t extents;
      cairo_scaled_font_glyph_extents(scaled_, glyphs, 1, &extents);
      index = glyphs[0].index;
      advance = extents.x_advance;
    }
    cairo_glyph_free(glyphs);
    return {advance, pdf_->Encode(static_cast<uint32_t>(index), code, advance * 1000 / size_)};
  }

  PangoFont* font_ = nullptr;
  cairo_scaled_font_t* scaled_ = nullptr;  // owned by font_
  double size_ = 0;
  double ascent_ = 0;
  FaceFile face_;
  PdfFont* pdf_ = nullptr;
  Glyph direct_[kDirect];
  bool known_[kDirect] = {};
  std::unordered_map<char32_t, Glyph> others_;
};

// Pages go to the file as they end; a page's texts are drawn over its stripes and rules, one
// text object per font and colour, each field one string of one-byte glyph codes.
class PdfRenderer : public TSectionSink {
 public:
  PdfRenderer(std::ostream& out, const TReportLayout& layout)
      : layout_(layout),
        black_(ParseColor("#000000")),
        accent_(ParseColor(layout.accent_color)),
        stripe_(ParseColor(layout.stripe_color)),
        position_(layout.blocks),
        height_(Pt(layout.page.height)),
        document_(out, Pt(layout.page.width), height_) {
    font_map_ = pango_cairo_font_map_get_default();
    context_ = pango_font_map_create_context(font_map_);
    // Glyph positions are the font's own, unhinted, as on paper.
    cairo_font_options_t* options = cairo_font_options_create();
    cairo_font_options_set_hint_metrics(options, CAIRO_HINT_METRICS_OFF);
    cairo_font_options_set_hint_style(options, CAIRO_HINT_STYLE_NONE);
    pango_cairo_context_set_font_options(context_, options);
    cairo_font_options_destroy(options);
  }
  ~PdfRenderer() override {
    fonts_.clear();
    g_object_unref(context_);
  }

  void BeginPage(int32_t) override {
    y_ = 0;
    graphics_.clear();
    AppendPdfNumber(graphics_, kLineWidthPt);
    graphics_ += " w\n";
    stroke_ = fill_ = nullptr;
  }
  void EndPage(int32_t) override {
    content_ = graphics_;
    for (Run& run : runs_) {
      if (run.text.empty()) {
        continue;
      }
      content_ += "BT\n";
      AppendColor(content_, *run.color, "rg");
      if (run.font->Face().embolden) {
        AppendColor(content_, *run.color, "RG");
        AppendPdfNumber(content_, run.font->Size() / 30);
        content_ += " w 2 Tr\n";
      }
      content_ += run.text;
      content_ += run.font->Face().embolden ? "0 Tr\nET\n" : "ET\n";
      run.text.clear();
      run.pdf_font = -1;
      run.placed = false;
    }
    document_.EndPage(content_);
  }
  void Finish() override {
    document_.SetInfo("Title", layout_.title);
    document_.SetInfo("Author", authors_);
    document_.SetInfo("Subject", subject_);
    document_.SetInfo("Creator", "nrw-report");
    document_.SetInfo("Producer", "nrw-report");
    document_.WritePages();
    for (const auto& [file, face] : faces_) {
      face->Write();
    }
    document_.Finish();
  }
  void SetStyle(const TSectionStyle& style) override { style_ = style; }

  void PrintHeader(int32_t, const std::vector<TPrintedField>& fields, int32_t title_size,
                   int32_t text_size) override {
    Bookmark(fields);
    const double width = layout_.page.BodyWidth();
    const double line = kHeaderLineMm;
    Text(FieldValue(fields, "Empresa"), 0, 0, width - 40, TLayoutAlign::Left, text_size, true);
    const std::string page(FieldValue(fields, "Pagina"));
    Text(page.empty() ? "" : "Página: " + page, width - 40, 0, 40, TLayoutAlign::Right, text_size,
         false);
    std::string estab(FieldValue(fields, "Estabelecimento"));
    if (const std::string_view cnpj = FieldValue(fields, "CNPJ"); !cnpj.empty()) {
      estab += "    CNPJ: ";
      estab += cnpj;
      estab += "    IE: ";
      estab += FieldValue(fields, "InscricaoEstadual");
    }
    const std::string folha(FieldValue(fields, "Folha"));
    Text(estab, 0, line, folha.empty() ? width : width - 40, TLayoutAlign::Left, text_size, false);
    if (!folha.empty()) {
      Text("Folha: " + folha, width - 40, line, 40, TLayoutAlign::Right, text_size, false);
    }
    Text(FieldValue(fields, "Titulo"), 0, 2 * line, width, TLayoutAlign::Center, title_size + 3,
         true);
    // The title is taller than a text line: the period line goes one and a half lines lower.
    const std::string periodo(FieldValue(fields, "Periodo"));
    Text(periodo.empty() ? "" : "Período: " + periodo, 0, 3.5 * line, width / 2, TLayoutAlign::Left,
         text_size, false);
    const std::string emissao(FieldValue(fields, "Emissao"));
    Text(emissao.empty() ? "" : "Emissão: " + emissao, width / 2, 3.5 * line, width / 2,
         TLayoutAlign::Right, text_size, false);
    Rule(0, width, layout_.page.header_height - 1);
    y_ += layout_.page.header_height;
  }

  void PrintSection(int32_t, int32_t section, const std::vector<TPrintedField>& fields) override {
    if (position_.OnSection(section, fields)) {
      AddOutline(establishment_outline_, position_.Block());
    }
    const TLayoutSection* s = layout_.Section(section);
    if (s == nullptr || s->height <= 0) {
      return;
    }
    if (style_.shaded) {
      SetColor(stripe_, fill_, "rg");
      AppendPoint(graphics_, Pt(layout_.page.margin_left),
                  height_ - Pt(layout_.page.margin_top + y_ + s->height));
      AppendPoint(graphics_, Pt(layout_.page.BodyWidth()), Pt(s->height));
      graphics_ += "re f\n";
    }
    for (const TLayoutRule& rule : s->rules) {
      Rule(rule.x1, rule.x2, rule.y);
    }
    const double size = layout_.font_size;
    for (const TLayoutItem& t : s->texts) {
      Text(t.name, t.x, 0, t.width, t.align, size, t.bold);
    }
    for (size_t i = 0; i < s->field_items.size() && i < fields.size(); ++i) {
      const TLayoutItem& f = s->field_items[i];
      Text(fields[i].value, f.x, 0, f.width, f.align, size, f.bold);
    }
    y_ += s->height;
  }

 private:
  static double Pt(double mm) { return mm * kPointsPerMm; }

  // The outline: a company, its establishments under it, and each establishment's blocks (the
  // totals by tax type, the summaries) under the establishment.
  void Bookmark(const std::vector<TPrintedField>& fields) {
    if (!position_.OnHeader(fields)) {
      return;
    }
    if (position_.CompanyChanged()) {
      company_outline_ = AddOutline(0, position_.Company(), true);
      authors_ += (authors_.empty() ? "" : "; ") + position_.Company();
    }
    establishment_outline_ = AddOutline(company_outline_, position_.Establishment());
    if (subject_.empty() && !position_.Period().empty()) {
      subject_ = "Período: " + position_.Period();
    }
  }

  // An entry pointing at the current position of the current page.
  int AddOutline(int parent, const std::string& title, bool open = false) {
    return document_.AddOutline(parent, title, open, Pt(layout_.page.margin_left),
                                height_ - Pt(layout_.page.margin_top + y_));
  }

  // Sets the stroke or fill colour of the page's graphics when it is not the current one.
  void SetColor(const Rgb& color, const Rgb*& current, const char* op) {
    if (current != &color) {
      AppendColor(graphics_, color, op);
      current = &color;
    }
  }

  void Rule(double x1, double x2, double y) {
    SetColor(style_.accent ? accent_ : black_, stroke_, "RG");
    const double at = height_ - Pt(layout_.page.margin_top + y_ + y);
    AppendPoint(graphics_, Pt(layout_.page.margin_left + x1), at);
    graphics_ += "m ";
    AppendPoint(graphics_, Pt(layout_.page.margin_left + x2), at);
    graphics_ += "l S\n";
  }

  GlyphFont& Font(double size, bool bold) {
    const auto key = std::make_pair(size, bold);
    auto found = fonts_.find(key);
    if (found == fonts_.end()) {
      auto font = std::make_unique<GlyphFont>(font_map_, context_, layout_.font_family, size, bold);
      const FaceFile& face = font->Face();
      auto& pdf = faces_[{face.path, face.index}];
      if (pdf == nullptr) {
        try {
          pdf = std::make_unique<PdfFont>(document_, face.path, face.index, face.name);
        } catch (const Exception& e) {
          faces_.erase({face.path, face.index});
          throw Exception("font '" + layout_.font_family + "' (" + face.path + "): " + e.what());
        }
      }
      font->SetPdfFont(pdf.get());
      found = fonts_.emplace(key, std::move(font)).first;
    }
    return *found->second;
  }

  // The texts of one font and colour on the current page: text-object operators.
  struct Run {
    GlyphFont* font = nullptr;
    const Rgb* color = nullptr;
    std::string text;
    int pdf_font = -1;    // the PDF font the operators last selected
    bool placed = false;  // the text object has a position, the last string's start:
    double x = 0, y = 0;
  };

  Run& RunOf(GlyphFont& font) {
    const Rgb* color = style_.accent ? &accent_ : &black_;
    for (Run& run : runs_) {
      if (run.font == &font && run.color == color) {
        return run;
      }
    }
    runs_.push_back(Run{&font, color, {}, -1, false, 0, 0});
    return runs_.back();
  }

  // Adds one text at (x, dy) mm from the current row to its font's run, aligned in its width
  // and cut with an ellipsis when it does not fit.
  void Text(std::string_view text, double x, double dy, double width, TLayoutAlign align,
            double size, bool bold) {
    if (text.empty() || width <= 0) {
      return;
    }
    GlyphFont& font = Font(size, bold);
    const double room = Pt(width);
    double pen = 0;
    placed_.clear();
    for (size_t i = 0; i < text.size();) {
      const GlyphFont::Glyph& glyph = font.Of(NextCodePoint(text, i));
      placed_.push_back({&glyph, pen});
      pen += glyph.advance;
    }
    if (pen > room + kSlackPt) {
      // Keep the longest start that leaves room for the ellipsis after it.
      const GlyphFont::Glyph& dots = font.Of(kEllipsis);
      const double total = pen;
      const auto end = [&](size_t count) {  // where the text's first `count` glyphs end
        return count < placed_.size() ? placed_[count].x : total;
      };
      size_t keep = placed_.size();
      while (keep > 0 && end(keep) + dots.advance > room + kSlackPt) {
        --keep;
      }
      pen = end(keep);
      placed_.resize(keep);
      placed_.push_back({&dots, pen});
      pen += dots.advance;
    }
    const double left =
        Pt(layout_.page.margin_left + x) + (align == TLayoutAlign::Right    ? room - pen
                                            : align == TLayoutAlign::Center ? (room - pen) / 2
                                                                            : 0);
    const double baseline = height_ - Pt(layout_.page.margin_top + y_ + dy) - font.Ascent();
    Run& run = RunOf(font);
    std::string& out = run.text;
    bool open = false;  // a string is being written
    for (const Placed& p : placed_) {
      const PdfFont::Code code = p.glyph->code;
      if (code.font != run.pdf_font || !open) {
        if (open) {
          out += ")Tj\n";
        }
        if (code.font != run.pdf_font) {
          out += '/';
          out += font.Pdf().Resource(code.font);
          out += ' ';
          AppendPdfNumber(out, size);
          out += " Tf\n";
          run.pdf_font = code.font;
        }
        MoveTo(run, left + p.x, baseline);
        out += '(';
        open = true;
      }
      const char c = static_cast<char>(code.code);
      if (c == '(' || c == ')' || c == '\\') {
        out += '\\';
        out += c;
      } else if (c == '\r') {
        out += "\\r";
      } else {
        out += c;
      }
    }
    out += ")Tj\n";
  }

  // Starts the run's next string at (x, y): a move from the last string's start, whose
  // coordinates are kept as written so that the rounding does not add up along the page.
  static void MoveTo(Run& run, double x, double y) {
    std::string& out = run.text;
    if (!run.placed) {
      out += "1 0 0 1 ";
      run.x = AppendPdfNumber(out, x);
      out += ' ';
      run.y = AppendPdfNumber(out, y);
      out += " Tm";
      run.placed = true;
      return;
    }
    run.x += AppendPdfNumber(out, x - run.x);
    out += ' ';
    run.y += AppendPdfNumber(out, y - run.y);
    out += " Td";
  }

  struct Placed {
    const GlyphFont::Glyph* glyph;
    double x;  // points from the text's start
  };

  const TReportLayout& layout_;
  Rgb black_, accent_, stripe_;
  TReportPosition position_;
  double height_;  // the page's, in points
  PdfDocument document_;
  PangoFontMap* font_map_ = nullptr;  // the process's default map, not owned
  PangoContext* context_ = nullptr;
  std::map<std::pair<std::string, int>, std::unique_ptr<PdfFont>> faces_;
  std::map<std::pair<double, bool>, std::unique_ptr<GlyphFont>> fonts_;
  std::vector<Run> runs_;        // the current page's texts, by font and colour
  std::vector<Placed> placed_;   // the glyphs of the text being placed
  std::string graphics_;         // the current page's stripes and rules
  std::string content_;          // the page's operators, as written
  const Rgb* stroke_ = nullptr;  // the colours the page's graphics last set
  const Rgb* fill_ = nullptr;
  TSectionStyle style_;
  double y_ = 0;  // millimetres used on the page's body
  int company_outline_ = 0, establishment_outline_ = 0;
  std::string authors_, subject_;
};

}  // namespace
}  // namespace nrw

#include "host/output_file.hpp"

std::unique_ptr<TSectionSink> CreateRenderer(const std::string& format, std::ostream& out,
                                             const TReportLayout& layout) {
  if (format == "pdf") {
    return std::make_unique<nrw::PdfRenderer>(out, layout);
  }
  if (format == "text") {
    return std::make_unique<nrw::TextRenderer>(out, layout);
  }
  if (format == "sections") {
    return std::make_unique<TSectionsTraceSink>(out);
  }
  throw Exception("unknown output format '" + format + "' (pdf, text or sections)");
}
