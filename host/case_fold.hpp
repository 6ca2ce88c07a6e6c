// Case-insensitive hashing and comparison that agree with AnsiUpperCase (ASCII letters and the
// accented Latin letters of UTF-8), without building the upper-case copy.
#pragma once

#include <cstddef>
#include <string_view>

#include "host/export.hpp"

namespace nrw {

// Calls `visit(byte)` with each byte of `text` as AnsiUpperCase would write it.
template <class Visit>
void ForEachUpperByte(std::string_view text, Visit&& visit) {
  constexpr unsigned char kLatin1Lead = 0xC3;
  constexpr unsigned char kLowerFirst = 0xA0, kLowerLast = 0xBE, kDivisionSign = 0xB7;
  for (size_t i = 0; i < text.size(); ++i) {
    auto c = static_cast<unsigned char>(text[i]);
    if (c >= 'a' && c <= 'z') {
      c = static_cast<unsigned char>(c - ('a' - 'A'));
    } else if (c == kLatin1Lead && i + 1 < text.size()) {
      visit(c);
      auto next = static_cast<unsigned char>(text[++i]);
      if (next >= kLowerFirst && next <= kLowerLast && next != kDivisionSign) {
        next = static_cast<unsigned char>(next - 0x20);
      }
      c = next;
    }
    visit(c);
  }
}

// Hash and equality of names compared as AnsiUpperCase(a) == AnsiUpperCase(b); both accept
// std::string_view, so a lookup by name builds no string.
struct CaseFoldHash {
  using is_transparent = void;
  size_t operator()(std::string_view text) const {
    size_t hash = 14695981039346656037ull;  // FNV-1a
    for (const char c : text) {
      auto byte = static_cast<unsigned char>(c);
      if (byte >= 0x80) {  // accented letters: folded the slow way
        hash = 14695981039346656037ull;
        ForEachUpperByte(text, [&](unsigned char u) { hash = (hash ^ u) * 1099511628211ull; });
        return hash;
      }
      byte = byte >= 'a' && byte <= 'z' ? static_cast<unsigned char>(byte - ('a' - 'A')) : byte;
      hash = (hash ^ byte) * 1099511628211ull;
    }
    return hash;
  }
};

struct NRW_API CaseFoldEqual {
  using is_transparent = void;
  bool operator()(std::string_view a, std::string_view b) const {
    if (a.size() != b.size()) {
      return false;
    }
    if (a == b) {  // the usual case: a name spelled as it was stored
      return true;
    }
    unsigned char upper_a[256];
    if (a.size() > sizeof upper_a) {
      return Slow(a, b);
    }
    size_t n = 0;
    ForEachUpperByte(a, [&](unsigned char c) { upper_a[n++] = c; });
    size_t i = 0;
    bool same = true;
    ForEachUpperByte(b, [&](unsigned char c) { same = same && upper_a[i++] == c; });
    return same;
  }

 private:
  static bool Slow(std::string_view a, std::string_view b);
};

}  // namespace nrw
