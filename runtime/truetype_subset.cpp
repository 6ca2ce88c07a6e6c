#include "runtime/truetype_subset.hpp"

#include <algorithm>
#include <cstring>

#include "host/exception.hpp"

namespace nrw {
namespace {

constexpr uint32_t Tag(const char* text) {
  return static_cast<uint32_t>(static_cast<unsigned char>(text[0])) << 24 |
         static_cast<uint32_t>(static_cast<unsigned char>(text[1])) << 16 |
         static_cast<uint32_t>(static_cast<unsigned char>(text[2])) << 8 |
         static_cast<uint32_t>(static_cast<unsigned char>(text[3]));
}

// The tables a PDF reader draws TrueType glyphs with (the hinting programs included).
constexpr const char* kKeptTables[] = {"cvt ", "fpgm", "glyf", "head", "hhea",
                                       "hmtx", "loca", "maxp", "prep"};

// Composite glyph flags: which arguments follow each component.
constexpr uint16_t kArgsAreWords = 0x0001;
constexpr uint16_t kHasScale = 0x0008;
constexpr uint16_t kMoreComponents = 0x0020;
constexpr uint16_t kHasXYScale = 0x0040;
constexpr uint16_t kHasTwoByTwo = 0x0080;

uint16_t U16(std::string_view data, size_t at) {
  if (at + 2 > data.size()) {
    throw Exception("the font file is cut short");
  }
  return static_cast<uint16_t>(static_cast<unsigned char>(data[at]) << 8 |
                               static_cast<unsigned char>(data[at + 1]));
}
int16_t S16(std::string_view data, size_t at) {
  return static_cast<int16_t>(U16(data, at));
}
uint32_t U32(std::string_view data, size_t at) {
  return static_cast<uint32_t>(U16(data, at)) << 16 | U16(data, at + 2);
}

void PutU16(std::string& out, uint16_t value) {
  out += static_cast<char>(value >> 8);
  out += static_cast<char>(value & 0xFF);
}
void PutU32(std::string& out, uint32_t value) {
  PutU16(out, static_cast<uint16_t>(value >> 16));
  PutU16(out, static_cast<uint16_t>(value & 0xFFFF));
}
void SetU32(std::string& out, size_t at, uint32_t value) {
  std::string bytes;
  PutU32(bytes, value);
  out.replace(at, 4, bytes);
}

// The sum of the data as big-endian 32-bit words (the last one padded with zeros).
uint32_t CheckSum(std::string_view data) {
  uint32_t sum = 0;
  for (size_t i = 0; i < data.size(); i += 4) {
    uint32_t word = 0;
    for (size_t b = 0; b < 4; ++b) {
      word = word << 8 | (i + b < data.size() ? static_cast<unsigned char>(data[i + b]) : 0u);
    }
    sum += word;
  }
  return sum;
}

}  // namespace

TrueTypeFace::TrueTypeFace(std::string file, int index) : file_(std::move(file)) {
  std::string_view data = file_;
  size_t directory = 0;
  if (data.substr(0, 4) == "ttcf") {
    const uint32_t faces = U32(data, 8);
    if (index < 0 || static_cast<uint32_t>(index) >= faces) {
      throw Exception("the font collection has no face " + std::to_string(index));
    }
    directory = U32(data, 12 + 4 * static_cast<size_t>(index));
  }
  const uint32_t version = U32(data, directory);
  if (version != 0x00010000 && version != Tag("true")) {
    throw Exception("not a TrueType font (the PDF output embeds TrueType outlines only)");
  }
  const uint16_t count = U16(data, directory + 4);
  for (uint16_t i = 0; i < count; ++i) {
    const size_t record = directory + 12 + 16 * static_cast<size_t>(i);
    Table table{U32(data, record), U32(data, record + 8), U32(data, record + 12)};
    if (static_cast<uint64_t>(table.offset) + table.length > data.size()) {
      throw Exception("the font file is cut short");
    }
    tables_.push_back(table);
  }
  for (const char* needed : {"head", "hhea", "loca", "glyf", "maxp"}) {
    if (Find(needed) == nullptr) {
      throw Exception(std::string("not a TrueType font with outlines (no '") + needed +
                      "' table; the PDF output embeds TrueType outlines only)");
    }
  }
  const std::string_view head = Bytes(*Find("head"));
  metrics_.units_per_em = std::max<int>(1, U16(head, 18));
  metrics_.x_min = S16(head, 36);
  metrics_.y_min = S16(head, 38);
  metrics_.x_max = S16(head, 40);
  metrics_.y_max = S16(head, 42);
  long_offsets_ = S16(head, 50) != 0;
  const std::string_view hhea = Bytes(*Find("hhea"));
  metrics_.ascent = S16(hhea, 4);
  metrics_.descent = S16(hhea, 6);
  glyph_count_ = U16(Bytes(*Find("maxp")), 4);
  const size_t loca_size = static_cast<size_t>(glyph_count_ + 1) * (long_offsets_ ? 4 : 2);
  if (Find("loca")->length < loca_size) {
    throw Exception("the font file's glyph index is cut short");
  }
}

const TrueTypeFace::Table* TrueTypeFace::Find(const char* tag) const {
  const uint32_t wanted = Tag(tag);
  for (const Table& table : tables_) {
    if (table.tag == wanted) {
      return &table;
    }
  }
  return nullptr;
}

std::string_view TrueTypeFace::Bytes(const Table& table) const {
  return std::string_view(file_).substr(table.offset, table.length);
}

std::string_view TrueTypeFace::Outline(uint32_t glyph) const {
  const std::string_view loca = Bytes(*Find("loca"));
  const std::string_view glyf = Bytes(*Find("glyf"));
  const uint32_t start = long_offsets_ ? U32(loca, 4 * glyph) : 2u * U16(loca, 2 * glyph);
  const uint32_t end = long_offsets_ ? U32(loca, 4 * glyph + 4) : 2u * U16(loca, 2 * glyph + 2);
  if (end < start || end > glyf.size()) {
    throw Exception("the font file's glyph " + std::to_string(glyph) + " lies outside its table");
  }
  return glyf.substr(start, end - start);
}

std::string TrueTypeFace::Subset(const std::vector<uint16_t>& glyphs) const {
  // The glyphs kept: the ones asked for, glyph 0 (drawn for a missing character), and the parts
  // of every composite glyph kept, followed to any depth.
  std::vector<bool> kept(static_cast<size_t>(glyph_count_), false);
  std::vector<uint16_t> pending{0};
  pending.insert(pending.end(), glyphs.begin(), glyphs.end());
  while (!pending.empty()) {
    const uint16_t glyph = pending.back();
    pending.pop_back();
    if (glyph >= glyph_count_ || kept[glyph]) {
      continue;
    }
    kept[glyph] = true;
    const std::string_view data = Outline(glyph);
    if (data.size() < 10 || S16(data, 0) >= 0) {
      continue;  // empty or simple
    }
    for (size_t at = 10;;) {
      const uint16_t flags = U16(data, at);
      pending.push_back(U16(data, at + 2));
      at += 4 + ((flags & kArgsAreWords) != 0 ? 4 : 2);
      at += (flags & kHasScale) != 0      ? 2
            : (flags & kHasXYScale) != 0  ? 4
            : (flags & kHasTwoByTwo) != 0 ? 8
                                          : 0;
      if ((flags & kMoreComponents) == 0) {
        break;
      }
    }
  }
  std::string glyf, loca;
  for (int glyph = 0; glyph < glyph_count_; ++glyph) {
    PutU32(loca, static_cast<uint32_t>(glyf.size()));
    if (kept[static_cast<size_t>(glyph)]) {
      glyf.append(Outline(static_cast<uint32_t>(glyph)));
      glyf.resize((glyf.size() + 3) & ~size_t{3});
    }
  }
  PutU32(loca, static_cast<uint32_t>(glyf.size()));
  std::string head(Bytes(*Find("head")));
  SetU32(head, 8, 0);          // checkSumAdjustment, set below
  head[50] = 0, head[51] = 1;  // long glyph offsets

  std::vector<std::pair<uint32_t, std::string>> out;  // by tag, as the directory must be
  for (const char* name : kKeptTables) {
    const Table* table = Find(name);
    if (table == nullptr) {
      continue;
    }
    const uint32_t tag = Tag(name);
    out.emplace_back(tag, tag == Tag("glyf")   ? glyf
                          : tag == Tag("loca") ? loca
                          : tag == Tag("head") ? head
                                               : std::string(Bytes(*table)));
  }
  std::string font;
  const auto count = static_cast<uint16_t>(out.size());
  uint16_t power = 1, log2 = 0;
  while (power * 2 <= count) {
    power = static_cast<uint16_t>(power * 2);
    ++log2;
  }
  PutU32(font, 0x00010000);
  PutU16(font, count);
  PutU16(font, static_cast<uint16_t>(power * 16));
  PutU16(font, log2);
  PutU16(font, static_cast<uint16_t>(count * 16 - power * 16));
  size_t offset = 12 + 16 * out.size();
  size_t head_at = 0;
  for (const auto& [tag, bytes] : out) {
    PutU32(font, tag);
    PutU32(font, CheckSum(bytes));
    PutU32(font, static_cast<uint32_t>(offset));
    PutU32(font, static_cast<uint32_t>(bytes.size()));
    head_at = tag == Tag("head") ? offset : head_at;
    offset += (bytes.size() + 3) & ~size_t{3};
  }
  for (const auto& [tag, bytes] : out) {
    font += bytes;
    font.resize((font.size() + 3) & ~size_t{3});
  }
  SetU32(font, head_at + 8, 0xB1B0AFBAu - CheckSum(font));
  return font;
}

}  // namespace nrw
