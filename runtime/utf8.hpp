// UTF-8 encoding of one character, for the renderers' hot loops.
#pragma once

namespace nrw {

// The longest UTF-8 form of a character, in bytes.
inline constexpr int kMaxUtf8Length = 4;

// Writes the UTF-8 form of `c` at `out` (room for kMaxUtf8Length bytes); returns its length.
inline int EncodeUtf8(char32_t c, char* out) {
  if (c < 0x80) {
    out[0] = static_cast<char>(c);
    return 1;
  }
  if (c < 0x800) {
    out[0] = static_cast<char>(0xC0 | (c >> 6));
    out[1] = static_cast<char>(0x80 | (c & 0x3F));
    return 2;
  }
  if (c < 0x10000) {
    out[0] = static_cast<char>(0xE0 | (c >> 12));
    out[1] = static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    out[2] = static_cast<char>(0x80 | (c & 0x3F));
    return 3;
  }
  out[0] = static_cast<char>(0xF0 | (c >> 18));
  out[1] = static_cast<char>(0x80 | ((c >> 12) & 0x3F));
  out[2] = static_cast<char>(0x80 | ((c >> 6) & 0x3F));
  out[3] = static_cast<char>(0x80 | (c & 0x3F));
  return 4;
}

}  // namespace nrw
