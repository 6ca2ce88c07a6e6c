// The PDF renderer: cairo draws into a PDF stream page by page, pango sets the UTF-8 text in the
// layout's font (found through fontconfig). Millimetres of the layout become points here.
#include <cairo-pdf.h>
#include <pango/pangocairo.h>

#include <memory>
#include <ostream>

#include "host/exception.hpp"
#include "host/renderers.hpp"
#include "runtime/text_renderer.hpp"

namespace nrw {
namespace {

constexpr double kPointsPerMm = 72.0 / 25.4;
constexpr double kLineWidthPt = 0.4;
// Lines of the standard header, in millimetres (the header block is the layout's header height).
constexpr double kHeaderLineMm = 3.5;

cairo_status_t WriteToStream(void* closure, const unsigned char* data, unsigned int length) {
  auto* out = static_cast<std::ostream*>(closure);
  out->write(reinterpret_cast<const char*>(data), length);
  return out->good() ? CAIRO_STATUS_SUCCESS : CAIRO_STATUS_WRITE_ERROR;
}

void SetColor(cairo_t* cr, const std::string& hex) {
  unsigned value = 0;
  if (hex.size() == 7 && hex[0] == '#') {
    value = static_cast<unsigned>(std::stoul(hex.substr(1), nullptr, 16));
  }
  cairo_set_source_rgb(cr, ((value >> 16) & 0xFF) / 255.0, ((value >> 8) & 0xFF) / 255.0,
                       (value & 0xFF) / 255.0);
}

class PdfRenderer : public TSectionSink {
 public:
  PdfRenderer(std::ostream& out, const TReportLayout& layout) : layout_(layout) {
    surface_ = cairo_pdf_surface_create_for_stream(
        &WriteToStream, &out, layout.page.width * kPointsPerMm, layout.page.height * kPointsPerMm);
    if (cairo_surface_status(surface_) != CAIRO_STATUS_SUCCESS) {
      throw Exception("cannot start the PDF output");
    }
    cairo_pdf_surface_set_metadata(surface_, CAIRO_PDF_METADATA_TITLE, layout.title.c_str());
    cr_ = cairo_create(surface_);
    text_ = pango_cairo_create_layout(cr_);
  }
  ~PdfRenderer() override {
    g_object_unref(text_);
    cairo_destroy(cr_);
    cairo_surface_destroy(surface_);
  }

  void BeginPage(int32_t) override { y_ = 0; }
  void EndPage(int32_t) override { cairo_show_page(cr_); }
  void Finish() override {
    cairo_surface_finish(surface_);
    if (cairo_surface_status(surface_) != CAIRO_STATUS_SUCCESS) {
      throw Exception("cannot write the PDF output");
    }
  }
  void SetStyle(const TSectionStyle& style) override { style_ = style; }

  void PrintHeader(int32_t, const std::vector<TPrintedField>& fields, int32_t title_size,
                   int32_t text_size) override {
    const double width = layout_.page.BodyWidth();
    const double line = kHeaderLineMm;
    Text(FieldValue(fields, "Empresa"), 0, 0, width - 40, TLayoutAlign::Left, text_size, true);
    const std::string page = FieldValue(fields, "Pagina");
    Text(page.empty() ? "" : "Página: " + page, width - 40, 0, 40, TLayoutAlign::Right, text_size,
         false);
    std::string estab = FieldValue(fields, "Estabelecimento");
    if (const std::string cnpj = FieldValue(fields, "CNPJ"); !cnpj.empty()) {
      estab += "    CNPJ: " + cnpj + "    IE: " + FieldValue(fields, "InscricaoEstadual");
    }
    Text(estab, 0, line, width, TLayoutAlign::Left, text_size, false);
    Text(FieldValue(fields, "Titulo"), 0, 2 * line, width, TLayoutAlign::Center, title_size + 3,
         true);
    // The title is taller than a text line: the period line goes one and a half lines lower.
    const std::string periodo = FieldValue(fields, "Periodo");
    Text(periodo.empty() ? "" : "Período: " + periodo, 0, 3.5 * line, width / 2, TLayoutAlign::Left,
         text_size, false);
    const std::string emissao = FieldValue(fields, "Emissao");
    Text(emissao.empty() ? "" : "Emissão: " + emissao, width / 2, 3.5 * line, width / 2,
         TLayoutAlign::Right, text_size, false);
    Rule(0, width, layout_.page.header_height - 1);
    y_ += layout_.page.header_height;
  }

  void PrintSection(int32_t, int32_t section, const std::vector<TPrintedField>& fields) override {
    const TLayoutSection* s = layout_.Section(section);
    if (s == nullptr || s->height <= 0) {
      return;
    }
    if (style_.shaded) {
      SetColor(cr_, layout_.stripe_color);
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

  void Rule(double x1, double x2, double y) {
    SetColor(cr_, style_.accent ? layout_.accent_color : "#000000");
    cairo_set_line_width(cr_, kLineWidthPt);
    cairo_move_to(cr_, Pt(layout_.page.margin_left + x1), Pt(layout_.page.margin_top + y_ + y));
    cairo_line_to(cr_, Pt(layout_.page.margin_left + x2), Pt(layout_.page.margin_top + y_ + y));
    cairo_stroke(cr_);
  }

  // One text at (x, dy) mm from the current row, cut with an ellipsis to its width.
  void Text(const std::string& text, double x, double dy, double width, TLayoutAlign align,
            double size, bool bold) {
    if (text.empty() || width <= 0) {
      return;
    }
    PangoFontDescription* font = pango_font_description_from_string(layout_.font_family.c_str());
    pango_font_description_set_absolute_size(font, size * PANGO_SCALE);
    pango_font_description_set_weight(font, bold ? PANGO_WEIGHT_BOLD : PANGO_WEIGHT_NORMAL);
    pango_layout_set_font_description(text_, font);
    pango_font_description_free(font);
    pango_layout_set_width(text_, static_cast<int>(Pt(width) * PANGO_SCALE));
    pango_layout_set_ellipsize(text_, PANGO_ELLIPSIZE_END);
    pango_layout_set_alignment(text_, align == TLayoutAlign::Right    ? PANGO_ALIGN_RIGHT
                                      : align == TLayoutAlign::Center ? PANGO_ALIGN_CENTER
                                                                      : PANGO_ALIGN_LEFT);
    pango_layout_set_text(text_, text.c_str(), -1);
    SetColor(cr_, style_.accent ? layout_.accent_color : "#000000");
    cairo_move_to(cr_, Pt(layout_.page.margin_left + x), Pt(layout_.page.margin_top + y_ + dy));
    pango_cairo_show_layout(cr_, text_);
  }

  const TReportLayout& layout_;
  cairo_surface_t* surface_ = nullptr;
  cairo_t* cr_ = nullptr;
  PangoLayout* text_ = nullptr;
  TSectionStyle style_;
  double y_ = 0;  // millimetres used on the page's body
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
