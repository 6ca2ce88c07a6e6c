// The PDF renderer: cairo draws into a PDF stream page by page, pango sets the UTF-8 text in the
// layout's font (found through fontconfig). Millimetres of the layout become points here.
#include <cairo-pdf.h>
#include <pango/pangocairo.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <memory>
#include <ostream>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "host/exception.hpp"
#include "host/renderers.hpp"
#include "host/report_position.hpp"
#include "runtime/text_renderer.hpp"

namespace nrw {
namespace {

constexpr double kPointsPerMm = 72.0 / 25.4;
constexpr double kLineWidthPt = 0.4;
// Lines of the standard header, in millimetres (the header block is the layout's header height).
constexpr double kHeaderLineMm = 3.5;
// A text may overrun its width by this much (rounding of the advances).
constexpr double kSlackPt = 0.01;
constexpr char32_t kEllipsis = U'\u2026';

cairo_status_t WriteToStream(void* closure, const unsigned char* data, unsigned int length) {
  auto* out = static_cast<std::ostream*>(closure);
  out->write(reinterpret_cast<const char*>(data), length);
  return out->good() ? CAIRO_STATUS_SUCCESS : CAIRO_STATUS_WRITE_ERROR;
}

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

// Decodes one UTF-8 character at `i` (advancing it); a broken sequence gives U+FFFD.
char32_t NextCodePoint(std::string_view text, size_t& i) {
  const auto c = static_cast<unsigned char>(text[i++]);
  const int extra = c >= 0xF0 ? 3 : c >= 0xE0 ? 2 : c >= 0xC0 ? 1 : 0;
  char32_t code = extra == 0 ? c : c & (0x3F >> extra);
  for (int n = 0; n < extra; ++n) {
    if (i >= text.size() || (static_cast<unsigned char>(text[i]) & 0xC0) != 0x80) {
      return 0xFFFD;
    }
    code = (code << 6) | (static_cast<unsigned char>(text[i++]) & 0x3F);
  }
  return code;
}

// A font at one size and weight, with the glyph and advance of every character it has drawn:
// a field is drawn as one run of glyphs, without shaping it anew (report texts are Latin
// script, which needs no shaping beyond the character map).
class GlyphFont {
 public:
  GlyphFont(PangoFontMap* map, PangoContext* context, const std::string& family, double size,
            bool bold) {
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
  }
  ~GlyphFont() { g_object_unref(font_); }
  GlyphFont(const GlyphFont&) = delete;
  GlyphFont& operator=(const GlyphFont&) = delete;

  cairo_scaled_font_t* Scaled() const { return scaled_; }
  double Ascent() const { return ascent_; }

  struct Glyph {
    unsigned long index = 0;
    double advance = 0;  // points
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
    char utf8[4];
    int length = 0;
    if (code < 0x80) {
      utf8[length++] = static_cast<char>(code);
    } else if (code < 0x800) {
      utf8[length++] = static_cast<char>(0xC0 | (code >> 6));
      utf8[length++] = static_cast<char>(0x80 | (code & 0x3F));
    } else if (code < 0x10000) {
      utf8[length++] = static_cast<char>(0xE0 | (code >> 12));
      utf8[length++] = static_cast<char>(0x80 | ((code >> 6) & 0x3F));
      utf8[length++] = static_cast<char>(0x80 | (code & 0x3F));
    } else {
      utf8[length++] = static_cast<char>(0xF0 | (code >> 18));
      utf8[length++] = static_cast<char>(0x80 | ((code >> 12) & 0x3F));
      utf8[length++] = static_cast<char>(0x80 | ((code >> 6) & 0x3F));
      utf8[length++] = static_cast<char>(0x80 | (code & 0x3F));
    }
    cairo_glyph_t* glyphs = nullptr;
    int count = 0;
    Glyph glyph;
    if (cairo_scaled_font_text_to_glyphs(scaled_, 0, 0, utf8, length, &glyphs, &count, nullptr,
                                         nullptr, nullptr) == CAIRO_STATUS_SUCCESS &&
        count > 0) {
      cairo_text_extents_t extents;
      cairo_scaled_font_glyph_extents(scaled_, glyphs, 1, &extents);
      glyph = {glyphs[0].index, extents.x_advance};
    }
    cairo_glyph_free(glyphs);
    return glyph;
  }

  PangoFont* font_ = nullptr;
  cairo_scaled_font_t* scaled_ = nullptr;  // owned by font_
  double ascent_ = 0;
  Glyph direct_[kDirect];
  bool known_[kDirect] = {};
  std::unordered_map<char32_t, Glyph> others_;
};

class PdfRenderer : public TSectionSink {
 public:
  PdfRenderer(std::ostream& out, const TReportLayout& layout)
      : layout_(layout),
        black_(ParseColor("#000000")),
        accent_(ParseColor(layout.accent_color)),
        stripe_(ParseColor(layout.stripe_color)),
        position_(layout.blocks) {
    surface_ = cairo_pdf_surface_create_for_stream(
        &WriteToStream, &out, layout.page.width * kPointsPerMm, layout.page.height * kPointsPerMm);
    if (cairo_surface_status(surface_) != CAIRO_STATUS_SUCCESS) {
      throw Exception("cannot start the PDF output");
    }
    cairo_pdf_surface_set_metadata(surface_, CAIRO_PDF_METADATA_TITLE, layout.title.c_str());
    cr_ = cairo_create(surface_);
    cairo_set_line_width(cr_, kLineWidthPt);
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
    cairo_destroy(cr_);
    cairo_surface_destroy(surface_);
  }

  void BeginPage(int32_t) override {
    y_ = 0;
    ++pdf_page_;
  }
  void EndPage(int32_t) override {
    Flush();
    cairo_show_page(cr_);
  }
  void Finish() override {
    cairo_pdf_surface_set_metadata(surface_, CAIRO_PDF_METADATA_AUTHOR, authors_.c_str());
    cairo_pdf_surface_set_metadata(surface_, CAIRO_PDF_METADATA_SUBJECT, subject_.c_str());
    cairo_pdf_surface_set_metadata(surface_, CAIRO_PDF_METADATA_CREATOR, "nrw-report");
    cairo_surface_finish(surface_);
    if (cairo_surface_status(surface_) != CAIRO_STATUS_SUCCESS) {
      throw Exception("cannot write the PDF output");
    }
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
      Color(stripe_);
      cairo_rectangle(cr_, Pt(layout_.page.margin_left), Pt(layout_.page.margin_top + y_),
                      Pt(layout_.page.BodyWidth()), Pt(s->height));
      cairo_fill(cr_);
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
      company_outline_ =
          AddOutline(CAIRO_PDF_OUTLINE_ROOT, position_.Company(), CAIRO_PDF_OUTLINE_FLAG_OPEN);
      authors_ += (authors_.empty() ? "" : "; ") + position_.Company();
    }
    establishment_outline_ = AddOutline(company_outline_, position_.Establishment());
    if (subject_.empty() && !position_.Period().empty()) {
      subject_ = "Período: " + position_.Period();
    }
  }

  // An entry pointing at the current position of the current page.
  int AddOutline(int parent, const std::string& title, int flags = 0) {
    char target[96];
    std::snprintf(target, sizeof target, "page=%d pos=[%.2f %.2f]", pdf_page_,
                  Pt(layout_.page.margin_left), Pt(layout_.page.margin_top + y_));
    return cairo_pdf_surface_add_outline(surface_, parent, title.c_str(), target,
                                         static_cast<cairo_pdf_outline_flags_t>(flags));
  }

  void Color(const Rgb& color) { cairo_set_source_rgb(cr_, color.r, color.g, color.b); }

  void Rule(double x1, double x2, double y) {
    Color(style_.accent ? accent_ : black_);
    cairo_move_to(cr_, Pt(layout_.page.margin_left + x1), Pt(layout_.page.margin_top + y_ + y));
    cairo_line_to(cr_, Pt(layout_.page.margin_left + x2), Pt(layout_.page.margin_top + y_ + y));
    cairo_stroke(cr_);
  }

  GlyphFont& Font(double size, bool bold) {
    const auto key = std::make_pair(size, bold);
    auto found = fonts_.find(key);
    if (found == fonts_.end()) {
      found = fonts_
                  .emplace(key, std::make_unique<GlyphFont>(font_map_, context_,
                                                            layout_.font_family, size, bold))
                  .first;
    }
    return *found->second;
  }

  // The glyphs of one font and colour waiting to be drawn. A page's texts are drawn when the
  // page ends, over its stripes and rules, with one show call per font and colour. The glyphs go
  // without their characters: every glyph stands for one character, so the text stays selectable
  // and searchable through the font's own character map (and cairo draws about an eighth faster
  // than when it checks characters against glyphs, cluster by cluster).
  struct Run {
    GlyphFont* font = nullptr;
    const Rgb* color = nullptr;
    std::vector<cairo_glyph_t> glyphs;
  };

  Run& RunOf(GlyphFont& font) {
    const Rgb* color = style_.accent ? &accent_ : &black_;
    for (Run& run : runs_) {
      if (run.font == &font && run.color == color) {
        return run;
      }
    }
    runs_.push_back(Run{&font, color, {}});
    return runs_.back();
  }

  // Draws the page's texts.
  void Flush() {
    for (Run& run : runs_) {
      if (run.glyphs.empty()) {
        continue;
      }
      Color(*run.color);
      cairo_set_scaled_font(cr_, run.font->Scaled());
      cairo_show_glyphs(cr_, run.glyphs.data(), static_cast<int>(run.glyphs.size()));
      run.glyphs.clear();
    }
  }

  // Adds one text at (x, dy) mm from the current row to its font's run, aligned in its width
  // and cut with an ellipsis when it does not fit.
  void Text(std::string_view text, double x, double dy, double width, TLayoutAlign align,
            double size, bool bold) {
    if (text.empty() || width <= 0) {
      return;
    }
    GlyphFont& font = Font(size, bold);
    Run& run = RunOf(font);
    const size_t first = run.glyphs.size();
    const double room = Pt(width);
    double pen = 0;
    for (size_t i = 0; i < text.size();) {
      const GlyphFont::Glyph& glyph = font.Of(NextCodePoint(text, i));
      run.glyphs.push_back({glyph.index, pen, 0});
      pen += glyph.advance;
    }
    if (pen > room + kSlackPt) {
      // Keep the longest start that leaves room for the ellipsis after it.
      const GlyphFont::Glyph& dots = font.Of(kEllipsis);
      const double total = pen;
      const auto end = [&](size_t count) {  // where the text's first `count` glyphs end
        return first + count < run.glyphs.size() ? run.glyphs[first + count].x : total;
      };
      size_t keep = run.glyphs.size() - first;
      while (keep > 0 && end(keep) + dots.advance > room + kSlackPt) {
        --keep;
      }
      pen = end(keep);
      run.glyphs.resize(first + keep);
      run.glyphs.push_back({dots.index, pen, 0});
      pen += dots.advance;
    }
    const double left =
        Pt(layout_.page.margin_left + x) + (align == TLayoutAlign::Right    ? room - pen
                                            : align == TLayoutAlign::Center ? (room - pen) / 2
                                                                            : 0);
    const double baseline = Pt(layout_.page.margin_top + y_ + dy) + font.Ascent();
    for (size_t g = first; g < run.glyphs.size(); ++g) {
      run.glyphs[g].x += left;
      run.glyphs[g].y = baseline;
    }
  }

  const TReportLayout& layout_;
  Rgb black_, accent_, stripe_;
  cairo_surface_t* surface_ = nullptr;
  cairo_t* cr_ = nullptr;
  PangoFontMap* font_map_ = nullptr;  // the process's default map, not owned
  PangoContext* context_ = nullptr;
  std::map<std::pair<double, bool>, std::unique_ptr<GlyphFont>> fonts_;
  std::vector<Run> runs_;  // the current page's texts, by font and colour
  TSectionStyle style_;
  double y_ = 0;  // millimetres used on the page's body
  int pdf_page_ = 0;
  TReportPosition position_;
  int company_outline_ = CAIRO_PDF_OUTLINE_ROOT, establishment_outline_ = CAIRO_PDF_OUTLINE_ROOT;
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
