// Text helpers: trimming, case, hexadecimal and decimal rendering.
#include <string>

#include "host/case_fold.hpp"
#include "host/sysutils.hpp"

namespace {

// UTF-8 lead byte of U+00C0..U+00FF, the accented Latin letters of Portuguese.
constexpr unsigned char kLatin1Lead = 0xC3;
// Continuation bytes of the lower-case letters U+00E0..U+00FE, except U+00F7 (division sign).
constexpr unsigned char kLowerFirst = 0xA0, kLowerLast = 0xBE, kDivisionSign = 0xB7;
constexpr unsigned char kCaseDistance = 0x20;

unsigned char AsciiUpper(unsigned char c) {
  return c >= 'a' && c <= 'z' ? static_cast<unsigned char>(c - ('a' - 'A')) : c;
}

}  // namespace

std::string Trim(std::string_view text) {
  size_t first = 0;
  size_t last = text.size();
  while (first < last && static_cast<unsigned char>(text[first]) <= ' ') {
    ++first;
  }
  while (last > first && static_cast<unsigned char>(text[last - 1]) <= ' ') {
    --last;
  }
  return std::string(text.substr(first, last - first));
}

std::string AnsiUpperCase(std::string_view text) {
  std::string out(text);
  for (size_t i = 0; i < out.size(); ++i) {
    const auto c = static_cast<unsigned char>(out[i]);
    if (c < 0x80) {
      out[i] = static_cast<char>(AsciiUpper(c));
    } else if (c == kLatin1Lead && i + 1 < out.size()) {
      const auto next = static_cast<unsigned char>(out[i + 1]);
      if (next >= kLowerFirst && next <= kLowerLast && next != kDivisionSign) {
        out[i + 1] = static_cast<char>(next - kCaseDistance);
      }
      ++i;
    }
  }
  return out;
}

bool SameText(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) {
    return false;
  }
  for (size_t i = 0; i < a.size(); ++i) {
    if (AsciiUpper(static_cast<unsigned char>(a[i])) !=
        AsciiUpper(static_cast<unsigned char>(b[i]))) {
      return false;
    }
  }
  return true;
}

bool ContainsText(std::string_view haystack, std::string_view needle) {
  return AnsiUpperCase(haystack).find(AnsiUpperCase(needle)) != std::string::npos;
}

std::string IntToStr(int64_t value) {
  return std::to_string(value);
}

std::string IntToHex(uint32_t value, int digits) {
  static const char kHex[] = "0123456789ABCDEF";
  std::string out;
  do {
    out.insert(out.begin(), kHex[value & 0xF]);
    value >>= 4;
  } while (value != 0);
  if (static_cast<int>(out.size()) < digits) {
    out.insert(0, digits - out.size(), '0');
  }
  return out;
}

bool nrw::CaseFoldEqual::Slow(std::string_view a, std::string_view b) {
  return AnsiUpperCase(a) == AnsiUpperCase(b);
}
