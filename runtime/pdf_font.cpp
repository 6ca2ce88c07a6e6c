#include "runtime/pdf_font.hpp"

#include <cstdio>
#include <fstream>
#include <sstream>

#include "host/exception.hpp"

namespace nrw {
namespace {

std::string ReadFontFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream bytes;
  bytes << in.rdbuf();
  if (!in) {
    throw Exception("cannot read the font file '" + path + "'");
  }
  return bytes.str();
}

// A one-byte code as a hexadecimal string.
void AppendCode(std::string& out, unsigned code) {
  static constexpr char kHex[] = "0123456789ABCDEF";
  out += '<';
  out += kHex[code >> 4];
  out += kHex[code & 0xF];
  out += '>';
}

// A CMap program over one-byte codes; `body` holds its mapping blocks.
std::string CMap(const char* ordering, const std::string& name, int type, const std::string& body) {
  std::string out = "/CIDInit /ProcSet findresource begin\n12 dict begin\nbegincmap\n";
  out += "/CIDSystemInfo << /Registry (Adobe) /Ordering (";
  out += ordering;
  out += ") /Supplement 0 >> def\n/CMapName /" + name + " def\n/CMapType ";
  out += std::to_string(type) + " def\n1 begincodespacerange\n<00> <FF>\nendcodespacerange\n";
  out += body;
  out += "endcmap\nCMapName currentdict /CMap defineresource pop\nend\nend\n";
  return out;
}

// Mapping lines in blocks of at most 100, as CMap programs allow.
std::string Blocks(const std::vector<std::string>& lines, const char* operation) {
  std::string out;
  for (size_t i = 0; i < lines.size(); i += 100) {
    const size_t end = std::min(lines.size(), i + 100);
    out += std::to_string(end - i) + " begin" + operation + "\n";
    for (size_t j = i; j < end; ++j) {
      out += lines[j];
    }
    out += "end" + std::string(operation) + "\n";
  }
  return out;
}

}  // namespace

PdfFont::PdfFont(PdfDocument& document, const std::string& file, int index, std::string name)
    : document_(document), face_(ReadFontFile(file), index), name_(std::move(name)) {}

PdfFont::Code PdfFont::Encode(uint32_t glyph, char32_t character, double width) {
  if (const auto found = codes_.find(glyph); found != codes_.end()) {
    return found->second;
  }
  if (fonts_.empty() || fonts_.back().used == 256) {
    Font& font = fonts_.emplace_back();
    font.object = document_.Reserve();
    font.resource = document_.AddFont(font.object);
  }
  Font& font = fonts_.back();
  // A character of Latin-1 keeps its own code when it is free: the page's text reads as it is.
  unsigned code = character < 256 && !font.slots[character].used ? character : 0;
  while (font.slots[code].used) {
    ++code;
  }
  font.slots[code] = {true, static_cast<uint16_t>(glyph), character, width};
  ++font.used;
  const Code result{static_cast<uint16_t>(fonts_.size() - 1), static_cast<uint8_t>(code)};
  codes_.emplace(glyph, result);
  return result;
}

void PdfFont::Write() const {
  for (const Font& font : fonts_) {
    WriteFont(font);
  }
}

void PdfFont::WriteFont(const Font& font) const {
  std::vector<uint16_t> glyphs;
  std::vector<std::string> cids, unicodes;
  std::string widths;
  for (unsigned code = 0; code < 256; ++code) {
    const Slot& slot = font.slots[code];
    if (!slot.used) {
      continue;
    }
    glyphs.push_back(slot.glyph);
    std::string line;
    AppendCode(line, code);
    cids.push_back(line + ' ' + std::to_string(slot.glyph) + '\n');
    line += " <";
    AppendUtf16Units(line, slot.character);
    line += '>';
    unicodes.push_back(line + '\n');
    widths += std::to_string(slot.glyph) + " [";
    AppendPdfNumber(widths, slot.width);
    widths += "] ";
  }
  // The subset's tag: six capitals from the face's name and the glyphs it holds, so that two
  // faces drawing the same glyphs get different tags.
  uint32_t hash = 2166136261u;
  for (const char c : name_) {
    hash = (hash ^ static_cast<unsigned char>(c)) * 16777619u;
  }
  for (const uint16_t glyph : glyphs) {
    hash = (hash ^ glyph) * 16777619u;
  }
  std::string tag;
  for (int i = 0; i < 6; ++i, hash /= 26) {
    tag += static_cast<char>('A' + hash % 26);
  }
  const std::string base = tag + '+' + name_;
  const int descendant = document_.Reserve(), descriptor = document_.Reserve();
  const int file = document_.Reserve(), encoding = document_.Reserve();
  const int to_unicode = document_.Reserve();
  const std::string ref = " 0 R";
  document_.WriteObject(font.object, "<< /Type /Font /Subtype /Type0 /BaseFont /" + base +
                                         " /Encoding " + std::to_string(encoding) + ref +
                                         " /DescendantFonts [" + std::to_string(descendant) + ref +
                                         "] /ToUnicode " + std::to_string(to_unicode) + ref +
                                         " >>");
  document_.WriteObject(descendant, "<< /Type /Font /Subtype /CIDFontType2 /BaseFont /" + base +
                                        " /CIDSystemInfo << /Registry (Adobe) /Ordering (Identity) "
                                        "/Supplement 0 >> /FontDescriptor " +
                                        std::to_string(descriptor) + ref +
                                        " /CIDToGIDMap /Identity /DW 0 /W [ " + widths + "] >>");
  const TrueTypeMetrics& m = face_.Metrics();
  const auto scaled = [&](int value) {
    std::string out;
    AppendPdfNumber(out, value * 1000.0 / m.units_per_em);
    return out;
  };
  document_.WriteObject(descriptor,
                        "<< /Type /FontDescriptor /FontName /" + base + " /Flags 4 /FontBBox [" +
                            scaled(m.x_min) + ' ' + scaled(m.y_min) + ' ' + scaled(m.x_max) + ' ' +
                            scaled(m.y_max) + "] /ItalicAngle 0 /Ascent " + scaled(m.ascent) +
                            " /Descent " + scaled(m.descent) + " /CapHeight " + scaled(m.ascent) +
                            " /StemV 80 /FontFile2 " + std::to_string(file) + ref + " >>");
  const std::string subset = face_.Subset(glyphs);
  document_.WriteStream(file, "/Length1 " + std::to_string(subset.size()), subset);
  const std::string cmap_name = "NRW-" + tag;
  document_.WriteStream(encoding,
                        "/Type /CMap /CMapName /" + cmap_name +
                            " /CIDSystemInfo << /Registry (Adobe) /Ordering (Identity) "
                            "/Supplement 0 >>",
                        CMap("Identity", cmap_name, 1, Blocks(cids, "cidchar")));
  document_.WriteStream(to_unicode, "",
                        CMap("UCS", "Adobe-Identity-UCS", 2, Blocks(unicodes, "bfchar")));
}

}  // namespace nrw
