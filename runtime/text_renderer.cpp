#include "runtime/text_renderer.hpp"

#include <algorithm>

#include "runtime/utf8.hpp"

namespace nrw {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

bool IsContinuation(unsigned char c) {
  return (c & 0xC0) == 0x80;
}

// Appends the UTF-8 form of `text` to `out`, written through a pointer into room for the
// longest form and cut to what was written. Blocks of ASCII characters, most of a line, are
// narrowed a byte a character; a block with any other character is encoded one by one.
void Encode(std::u32string_view text, std::string& out) {
  constexpr size_t kBlock = 16;
  const size_t at = out.size();
  out.resize(at + nrw::kMaxUtf8Length * text.size());
  char* p = out.data() + at;
  for (size_t from = 0; from < text.size(); from += kBlock) {
    const std::u32string_view block = text.substr(from, kBlock);
    char32_t any = 0;
    for (char32_t c : block) {
      any |= c;
    }
    if (any < 0x80) {
      p = std::copy(block.begin(), block.end(), p);
      continue;
    }
    for (char32_t c : block) {
      p += nrw::EncodeUtf8(c, p);
    }
  }
  out.resize(static_cast<size_t>(p - out.data()));
}

// Where a text of `length` characters starts in a field, and the line long enough to hold it.
template <class Line>
int Start(Line& line, int column, int width, TLayoutAlign align, int length) {
  const int spare = width - length;
  const int start = column + (align == TLayoutAlign::Right    ? spare
                              : align == TLayoutAlign::Center ? spare / 2
                                                              : 0);
  if (line.size() < static_cast<size_t>(start + length)) {
    line.resize(static_cast<size_t>(start + length), ' ');
  }
  return start;
}

bool IsAscii(std::string_view text) {
  unsigned char any = 0;
  for (char c : text) {
    any |= static_cast<unsigned char>(c);
  }
  return any < 0x80;
}

// PlaceText for an ASCII text (a character a byte), into a line of characters or of bytes.
template <class Line>
void PlaceAscii(Line& line, int column, int width, TLayoutAlign align, std::string_view text) {
  if (width <= 0 || column < 0) {
    return;
  }
  const int length = static_cast<int>(std::min(text.size(), static_cast<size_t>(width)));
  const int start = Start(line, column, width, align, length);
  std::copy(text.begin(), text.begin() + length, line.begin() + start);
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

void PlaceText(std::u32string& line, int column, int width, TLayoutAlign align,
               std::string_view text) {
  if (width <= 0 || column < 0) {
    return;
  }
  if (IsAscii(text)) {  // most texts
    PlaceAscii(line, column, width, align, text);
    return;
  }
  int length = 0;  // in characters
  for (char c : text) {
    length += IsContinuation(static_cast<unsigned char>(c)) ? 0 : 1;
  }
  length = std::min(length, width);
  const int start = Start(line, column, width, align, length);
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
    line[static_cast<size_t>(start + k)] = code;
    // Past the lead byte and its continuation bytes (stray ones included).
    ++i;
    while (i < text.size() && IsContinuation(static_cast<unsigned char>(text[i]))) {
      ++i;
    }
  }
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

void TextRenderer::Write(std::u32string_view line) {
  bytes_.clear();
  Encode(line, bytes_);
  WriteBytes();
}

// The line in bytes_, without its trailing blanks.
void TextRenderer::WriteBytes() {
  bytes_.erase(bytes_.find_last_not_of(' ') + 1);
  bytes_ += '\n';
  out_.write(bytes_.data(), static_cast<std::streamsize>(bytes_.size()));
}

void TextRenderer::PrintHeader(int32_t, const std::vector<TPrintedField>& fields, int32_t,
                               int32_t) {
  // The header's lines go through the section line and a text kept for the next page.
  std::u32string& line = line_;
  std::string& text = header_text_;
  const auto labelled = [&text](std::string_view label, std::string_view value) {
    text.assign(label);
    text += value;
    return std::string_view(text);
  };
  line.clear();
  PlaceText(line, 0, width_ - 20, TLayoutAlign::Left, FieldValue(fields, "Empresa"));
  if (const std::string_view page = FieldValue(fields, "Pagina"); !page.empty()) {
    PlaceText(line, width_ - 20, 20, TLayoutAlign::Right, labelled("Página: ", page));
  }
  Write(line);
  line.clear();
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
  PlaceText(line, 0, folha.empty() ? width_ : width_ - 20, TLayoutAlign::Left, text);
  if (!folha.empty()) {
    PlaceText(line, width_ - 20, 20, TLayoutAlign::Right, labelled("Folha: ", folha));
  }
  Write(line);
  line.clear();
  PlaceText(line, 0, width_, TLayoutAlign::Center, FieldValue(fields, "Titulo"));
  Write(line);
  line.clear();
  const std::string_view periodo = FieldValue(fields, "Periodo");
  PlaceText(line, 0, width_ - 30, TLayoutAlign::Left,
            periodo.empty() ? std::string_view() : labelled("Período: ", periodo));
  if (const std::string_view emissao = FieldValue(fields, "Emissao"); !emissao.empty()) {
    PlaceText(line, width_ - 30, 30, TLayoutAlign::Right, labelled("Emissão: ", emissao));
  }
  Write(line);
}

// A section's rules and static texts, drawn once, and where its fields go.
const TextRenderer::SectionText& TextRenderer::TextOf(const TLayoutSection& section) {
  const auto [it, added] = sections_.try_emplace(section.number);
  if (added) {
    std::u32string& line = it->second.background;
    for (const TLayoutRule& rule : section.rules) {
      const int from = Column(rule.x1), to = std::min(Column(rule.x2), width_);
      if (to > from) {
        PlaceText(line, from, to - from, TLayoutAlign::Left,
                  std::string(static_cast<size_t>(to - from), '-'));
      }
    }
    for (const TLayoutItem& text : section.texts) {
      PlaceText(line, Column(text.x), Column(text.width), text.align, text.name);
    }
    for (const TLayoutItem& item : section.field_items) {
      it->second.fields.push_back({Column(item.x), Column(item.width), item.align});
    }
    if (std::all_of(line.begin(), line.end(), [](char32_t c) { return c < 0x80; })) {
      it->second.ascii.emplace(line.begin(), line.end());
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
  // Nearly every line is ASCII: it is made in bytes, with nothing to encode.
  if (text.ascii && std::all_of(fields.begin(), fields.begin() + static_cast<ptrdiff_t>(placed),
                                [](const TPrintedField& f) { return IsAscii(f.value); })) {
    bytes_ = *text.ascii;
    for (size_t i = 0; i < placed; ++i) {
      const FieldPlace& place = text.fields[i];
      PlaceAscii(bytes_, place.column, place.width, place.align, fields[i].value);
    }
    WriteBytes();
    return;
  }
  line_ = text.background;
  for (size_t i = 0; i < placed; ++i) {
    const FieldPlace& place = text.fields[i];
    PlaceText(line_, place.column, place.width, place.align, fields[i].value);
  }
  Write(line_);
}

}  // namespace nrw
