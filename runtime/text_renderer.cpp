#include "runtime/text_renderer.hpp"

#include <algorithm>
#include <map>

namespace nrw {
namespace {

std::u32string Decode(const std::string& text) {
  std::u32string out;
  for (size_t i = 0; i < text.size();) {
    const auto c = static_cast<unsigned char>(text[i]);
    const int extra = c >= 0xF0 ? 3 : c >= 0xE0 ? 2 : c >= 0xC0 ? 1 : 0;
    char32_t code = extra == 0 ? c : c & (0x3F >> extra);
    for (int k = 1; k <= extra && i + k < text.size(); ++k) {
      code = (code << 6) | (static_cast<unsigned char>(text[i + k]) & 0x3F);
    }
    out.push_back(code);
    i += static_cast<size_t>(extra) + 1;
  }
  return out;
}

std::string Encode(const std::u32string& text) {
  std::string out;
  for (char32_t c : text) {
    if (c < 0x80) {
      out += static_cast<char>(c);
    } else if (c < 0x800) {
      out += static_cast<char>(0xC0 | (c >> 6));
      out += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
      out += static_cast<char>(0xE0 | (c >> 12));
      out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
      out += static_cast<char>(0x80 | (c & 0x3F));
    } else {
      out += static_cast<char>(0xF0 | (c >> 18));
      out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
      out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
      out += static_cast<char>(0x80 | (c & 0x3F));
    }
  }
  return out;
}

}  // namespace

std::string FieldValue(const std::vector<TPrintedField>& fields, const std::string& name) {
  for (const TPrintedField& f : fields) {
    if (f.name == name) {
      return f.value;
    }
  }
  return "";
}

void PlaceText(std::u32string& line, int column, int width, TLayoutAlign align,
               const std::string& text) {
  std::u32string value = Decode(text);
  if (width <= 0 || column < 0) {
    return;
  }
  if (static_cast<int>(value.size()) > width) {
    value.resize(static_cast<size_t>(width));
  }
  const int spare = width - static_cast<int>(value.size());
  const int start = column + (align == TLayoutAlign::Right    ? spare
                              : align == TLayoutAlign::Center ? spare / 2
                                                              : 0);
  if (line.size() < static_cast<size_t>(start) + value.size()) {
    line.resize(static_cast<size_t>(start) + value.size(), U' ');
  }
  std::copy(value.begin(), value.end(), line.begin() + start);
}

TextRenderer::TextRenderer(std::ostream& out, const TReportLayout& layout)
    : out_(out),
      layout_(layout),
      width_(static_cast<int>(layout.page.BodyWidth() / kMillimetresPerColumn)) {}

void TextRenderer::BeginPage(int32_t page) {
  if (page > 1) {
    out_ << '\f';
  }
}

void TextRenderer::Write(const std::u32string& line) {
  std::u32string trimmed = line;
  while (!trimmed.empty() && trimmed.back() == U' ') {
    trimmed.pop_back();
  }
  out_ << Encode(trimmed) << '\n';
}

void TextRenderer::PrintHeader(int32_t, const std::vector<TPrintedField>& fields, int32_t,
                               int32_t) {
  std::u32string line;
  PlaceText(line, 0, width_ - 20, TLayoutAlign::Left, FieldValue(fields, "Empresa"));
  if (const std::string page = FieldValue(fields, "Pagina"); !page.empty()) {
    PlaceText(line, width_ - 20, 20, TLayoutAlign::Right, "Página: " + page);
  }
  Write(line);
  line.clear();
  std::string estab = FieldValue(fields, "Estabelecimento");
  for (const auto& [name, label] : std::vector<std::pair<std::string, std::string>>{
           {"CNPJ", "CNPJ: "}, {"InscricaoEstadual", "IE: "}}) {
    if (const std::string v = FieldValue(fields, name); !v.empty()) {
      estab += "   " + label + v;
    }
  }
  PlaceText(line, 0, width_, TLayoutAlign::Left, estab);
  Write(line);
  line.clear();
  PlaceText(line, 0, width_, TLayoutAlign::Center, FieldValue(fields, "Titulo"));
  Write(line);
  line.clear();
  const std::string periodo = FieldValue(fields, "Periodo");
  PlaceText(line, 0, width_ - 30, TLayoutAlign::Left, periodo.empty() ? "" : "Período: " + periodo);
  if (const std::string emissao = FieldValue(fields, "Emissao"); !emissao.empty()) {
    PlaceText(line, width_ - 30, 30, TLayoutAlign::Right, "Emissão: " + emissao);
  }
  Write(line);
}

void TextRenderer::PrintSection(int32_t, int32_t section,
                                const std::vector<TPrintedField>& fields) {
  const TLayoutSection* s = layout_.Section(section);
  if (s == nullptr || s->height <= 0) {
    return;
  }
  std::u32string line;
  for (const TLayoutRule& rule : s->rules) {
    const int from = Column(rule.x1), to = std::min(Column(rule.x2), width_);
    if (to > from) {
      PlaceText(line, from, to - from, TLayoutAlign::Left,
                std::string(static_cast<size_t>(to - from), '-'));
    }
  }
  for (const TLayoutItem& text : s->texts) {
    PlaceText(line, Column(text.x), Column(text.width), text.align, text.name);
  }
  for (size_t i = 0; i < s->field_items.size() && i < fields.size(); ++i) {
    const TLayoutItem& item = s->field_items[i];
    PlaceText(line, Column(item.x), Column(item.width), item.align, fields[i].value);
  }
  Write(line);
}

}  // namespace nrw
