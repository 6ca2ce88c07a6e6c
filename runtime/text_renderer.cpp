#include "runtime/text_renderer.hpp"

#include <algorithm>

#include "runtime/utf8.hpp"

namespace nrw {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

bool IsContinuation(unsigned char c) {
  return (c & 0xC0) == 0x80;
}

bool IsAscii(std::string_view text) {
  unsigned char any = 0;
  for (char c : text) {
    any |= static_cast<unsigned char>(c);
  }
  return any < 0x80;
}

}  // namespace

std::string_view FieldValue(const std::vector<TPrintedField>& fields, std::string_view name) {
  for (const TPrintedField& f : fields) {
    if (f.name == name) {
      return f.value;
    }
  }
  return {};
}

inline int TextLine::Start(int column, int width, TLayoutAlign align, int length) {
  const int spare = width - length;
  const int start = column + (align == TLayoutAlign::Right    ? spare
                              : align == TLayoutAlign::Center ? spare / 2
                                                              : 0);
  if (cells_.size() < static_cast<size_t>(start + length)) {
    cells_.resize(static_cast<size_t>(start + length), ' ');
  }
  return start;
}

void TextLine::Place(int column, int width, TLayoutAlign align, std::string_view text) {
  if (width <= 0 || column < 0) {
    return;
  }
  if (!IsAscii(text)) {
    PlaceDecoded(column, width, align, text);
    return;
  }
  // Most texts: a byte a character.
  const int length = static_cast<int>(std::min(text.size(), static_cast<size_t>(width)));
  const int start = Start(column, width, align, length);
  std::copy(text.begin(), text.begin() + length, cells_.begin() + start);
}

void TextLine::PlaceDecoded(int column, int width, TLayoutAlign align, std::string_view text) {
  int length = 0;  // in characters
  for (char c : text) {
    length += IsContinuation(static_cast<unsigned char>(c)) ? 0 : 1;
  }
  length = std::min(length, width);
  const int start = Start(column, width, align, length);
  // Decodes the first `length` characters straight into the line (stray continuation bytes
  // are skipped, as they are not counted).
  size_t i = 0;
  while (i < text.size() && IsContinuation(static_cast<unsigned char>(text[i]))) {
    ++i;
  }
  for (int k = 0; k < length; ++k) {
    const auto c = static_cast<unsigned char>(text[i]);
    const int extra = c >= 0xF0 ? 3 : c >= 0xE0 ? 2 : c >= 0xC0 ? 1 : 0;
    char32_t code = extra == 0 ? c : c & (0x3F >> extra);
    for (int n = 1; n <= extra; ++n) {
      if (i + n >= text.size() || !IsContinuation(static_cast<unsigned char>(text[i + n]))) {
        code = kReplacement;  // a cut sequence
        break;
      }
      code = (code << 6) | (static_cast<unsigned char>(text[i + n]) & 0x3F);
    }
    const auto at = static_cast<size_t>(start + k);
    if (code < 0x80) {
      cells_[at] = static_cast<char>(code);
    } else {
      cells_[at] = kWide;
      wide_.emplace_back(at, code);
    }
    // Past the lead byte and its continuation bytes (stray ones included).
    ++i;
    while (i < text.size() && IsContinuation(static_cast<unsigned char>(text[i]))) {
      ++i;
    }
  }
}

// The character last placed at a wide cell.
char32_t TextLine::WideAt(size_t column) const {
  for (auto it = wide_.rbegin(); it != wide_.rend(); ++it) {
    if (it->first == column) {
      return it->second;
    }
  }
  return kReplacement;  // not reached: every wide cell was placed with its character
}

std::string_view TextLine::Utf8(std::string& scratch) const {
  const size_t end = cells_.find_last_not_of(' ') + 1;  // 0 when all blank
  if (wide_.empty()) {
    return std::string_view(cells_).substr(0, end);
  }
  scratch.clear();
  size_t from = 0;
  for (size_t at = cells_.find(kWide); at < end; at = cells_.find(kWide, at + 1)) {
    scratch.append(cells_, from, at - from);
    char bytes[kMaxUtf8Length];
    scratch.append(bytes, static_cast<size_t>(EncodeUtf8(WideAt(at), bytes)));
    from = at + 1;
  }
  scratch.append(cells_, from, end - from);
  return scratch;
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

void TextRenderer::Write(const TextLine& line) {
  const std::string_view text = line.Utf8(bytes_);
  if (text.data() != bytes_.data()) {
    bytes_.assign(text);
  }
  bytes_ += '\n';
  out_.write(bytes_.data(), static_cast<std::streamsize>(bytes_.size()));
}

void TextRenderer::PrintHeader(int32_t, const std::vector<TPrintedField>& fields, int32_t,
                               int32_t) {
  // The header's lines go through the section line and a text kept for the next page.
  TextLine& line = line_;
  std::string& text = header_text_;
  const auto labelled = [&text](std::string_view label, std::string_view value) {
    text.assign(label);
    text += value;
    return std::string_view(text);
  };
  line.Clear();
  line.Place(0, width_ - 20, TLayoutAlign::Left, FieldValue(fields, "Empresa"));
  if (const std::string_view page = FieldValue(fields, "Pagina"); !page.empty()) {
    line.Place(width_ - 20, 20, TLayoutAlign::Right, labelled("Página: ", page));
  }
  Write(line);
  line.Clear();
  text.assign(FieldValue(fields, "Estabelecimento"));
  for (const auto& [name, label] : {std::pair<std::string_view, std::string_view>{"CNPJ", "CNPJ: "},
                                    {"InscricaoEstadual", "IE: "}}) {
    if (const std::string_view v = FieldValue(fields, name); !v.empty()) {
      text += "   ";
      text += label;
      text += v;
    }
  }
  const std::string_view folha = FieldValue(fields, "Folha");
  line.Place(0, folha.empty() ? width_ : width_ - 20, TLayoutAlign::Left, text);
  if (!folha.empty()) {
    line.Place(width_ - 20, 20, TLayoutAlign::Right, labelled("Folha: ", folha));
  }
  Write(line);
  line.Clear();
  line.Place(0, width_, TLayoutAlign::Center, FieldValue(fields, "Titulo"));
  Write(line);
  line.Clear();
  const std::string_view periodo = FieldValue(fields, "Periodo");
  line.Place(0, width_ - 30, TLayoutAlign::Left,
             periodo.empty() ? std::string_view() : labelled("Período: ", periodo));
  if (const std::string_view emissao = FieldValue(fields, "Emissao"); !emissao.empty()) {
    line.Place(width_ - 30, 30, TLayoutAlign::Right, labelled("Emissão: ", emissao));
  }
  Write(line);
}

// A section's rules and static texts, drawn once, and where its fields go.
const TextRenderer::SectionText& TextRenderer::TextOf(const TLayoutSection& section) {
  const auto [it, added] = sections_.try_emplace(section.number);
  if (added) {
    TextLine& line = it->second.background;
    for (const TLayoutRule& rule : section.rules) {
      const int from = Column(rule.x1), to = std::min(Column(rule.x2), width_);
      if (to > from) {
        line.Place(from, to - from, TLayoutAlign::Left,
                   std::string(static_cast<size_t>(to - from), '-'));
      }
    }
    for (const TLayoutItem& text : section.texts) {
      line.Place(Column(text.x), Column(text.width), text.align, text.name);
    }
    for (const TLayoutItem& item : section.field_items) {
      it->second.fields.push_back({Column(item.x), Column(item.width), item.align});
    }
  }
  return it->second;
}

void TextRenderer::PrintSection(int32_t, int32_t section,
                                const std::vector<TPrintedField>& fields) {
  const TLayoutSection* s = layout_.Section(section);
  if (s == nullptr || s->height <= 0) {
    return;
  }
  const SectionText& text = TextOf(*s);
  const size_t placed = std::min(text.fields.size(), fields.size());
  line_ = text.background;
  for (size_t i = 0; i < placed; ++i) {
    const FieldPlace& place = text.fields[i];
    line_.Place(place.column, place.width, place.align, fields[i].value);
  }
  Write(line_);
}

}  // namespace nrw
