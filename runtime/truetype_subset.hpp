// A TrueType font cut down to the glyphs a document shows, for embedding in a PDF. Glyph numbers
// stay as they are (the PDF maps its character codes to them); the outlines of every other glyph
// are left empty, and the tables a PDF reader does not use (character maps, kerning, layout
// tables, names) are dropped.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "host/export.hpp"

namespace nrw {

// The face's numbers a PDF font descriptor needs, in glyph units (see units_per_em).
struct NRW_API TrueTypeMetrics {
  int units_per_em = 1000;
  int x_min = 0, y_min = 0, x_max = 0, y_max = 0;  // the font's bounding box
  int ascent = 0, descent = 0;
};

class NRW_API TrueTypeFace {
 public:
  // `file` holds the whole font file (a single font or a collection, whose face `index` is
  // used). Raises Exception when it is not a TrueType font with outlines.
  TrueTypeFace(std::string file, int index);

  const TrueTypeMetrics& Metrics() const { return metrics_; }
  int GlyphCount() const { return glyph_count_; }

  // The font with the outlines of `glyphs` (and of glyph 0, and of the parts of composite
  // glyphs) and nothing else.
  std::string Subset(const std::vector<uint16_t>& glyphs) const;

  // The outline data of a glyph (empty for a glyph without contours).
  std::string_view Outline(uint32_t glyph) const;

 private:
  struct Table {
    uint32_t tag = 0, offset = 0, length = 0;
  };
  const Table* Find(const char* tag) const;
  std::string_view Bytes(const Table& table) const;

  std::string file_;
  std::vector<Table> tables_;
  TrueTypeMetrics metrics_;
  int glyph_count_ = 0;
  bool long_offsets_ = false;
};

}  // namespace nrw
