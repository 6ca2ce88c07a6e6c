// One TrueType face embedded in a PDF: glyphs get one-byte codes in the order they are first
// drawn, 256 to a PDF font (a face that draws more glyphs gets more PDF fonts). At the end each
// PDF font is written with a subset of the face, the widths, the map from its codes to glyphs
// and the map from its codes back to characters (so that the text can be searched and copied).
#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "host/export.hpp"
#include "runtime/pdf_document.hpp"
#include "runtime/truetype_subset.hpp"

namespace nrw {

class NRW_API PdfFont {
 public:
  // `file` and `index` name the face; `name` is its PostScript-like name, without blanks.
  PdfFont(PdfDocument& document, const std::string& file, int index, std::string name);

  // A glyph's place in the document: which PDF font draws it, and with which code.
  struct Code {
    uint16_t font = 0;  // index into this face's PDF fonts
    uint8_t code = 0;
  };
  // The code of `glyph`, drawn for `character`, `width` its advance in thousandths of the size.
  Code Encode(uint32_t glyph, char32_t character, double width);
  // The resource name ("F3") of one of this face's PDF fonts.
  const std::string& Resource(uint16_t font) const { return fonts_[font].resource; }

  // Writes the PDF fonts (before PdfDocument::Finish).
  void Write() const;

 private:
  struct Slot {
    bool used = false;
    uint16_t glyph = 0;
    char32_t character = 0;
    double width = 0;
  };
  struct Font {
    int object = 0;
    std::string resource;
    Slot slots[256];  // by code
    int used = 0;
  };
  void WriteFont(const Font& font) const;

  PdfDocument& document_;
  TrueTypeFace face_;
  std::string name_;
  std::vector<Font> fonts_;
  std::unordered_map<uint32_t, Code> codes_;  // by glyph
};

}  // namespace nrw
