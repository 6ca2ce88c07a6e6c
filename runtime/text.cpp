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

namespace {

// Reads a text byte by byte as AnsiUpperCase writes it: the same length, each byte upper-cased
// (ASCII letters, and the continuation byte of an accented lower-case Latin letter).
class UpperBytes {
 public:
  explicit UpperBytes(std::string_view text) : text_(text) {}
  bool Done() const { return i_ >= text_.size(); }
  unsigned char Next() {
    const auto c = static_cast<unsigned char>(text_[i_++]);
    if (after_lead_) {
      after_lead_ = false;
      return c >= kLowerFirst && c <= kLowerLast && c != kDivisionSign
                 ? static_cast<unsigned char>(c - kCaseDistance)
                 : c;
    }
    if (c < 0x80) {
      return AsciiUpper(c);
    }
    after_lead_ = c == kLatin1Lead && i_ < text_.size();
    return c;
  }

 private:
  std::string_view text_;
  size_t i_ = 0;
  bool after_lead_ = false;
};

}  // namespace

std::string AnsiUpperCase(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (UpperBytes bytes(text); !bytes.Done();) {
    out += static_cast<char>(bytes.Next());
  }
  return out;
}

int CompareUpperCase(std::string_view a, std::string_view b) {
  UpperBytes x(a), y(b);
  while (!x.Done() && !y.Done()) {
    const unsigned char cx = x.Next(), cy = y.Next();
    if (cx != cy) {
      return cx < cy ? -1 : 1;
    }
  }
  return x.Done() ? (y.Done() ? 0 : -1) : 1;
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
