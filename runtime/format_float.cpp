// FormatFloat: picture-pattern number formatting with decimal (not binary) rounding.
//
// The value is first written to 15 significant digits, the precision the host has always
// printed with, and the rounding to the pattern's decimals is done on those decimal digits, half
// away from zero. So 2.675, stored in binary as 2.67499999..., prints 2,68 with two decimals,
// as an accountant expects.
#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

#include "host/format_settings.hpp"
#include "host/sysutils.hpp"
#include "host/variant.hpp"
#include "runtime/significant_digits.hpp"

namespace {

using nrw::kSignificantDigits;
// A double has at most 309 integer digits; a pattern gives at most kMaxDecimals decimals.
constexpr int kMaxDecimals = 64;
constexpr int kMaxDigits = 309 + kMaxDecimals + 2;

struct Picture {
  std::string prefix, suffix;
  int min_integer_digits = 0;
  int max_decimals = 0;
  int min_decimals = 0;
  bool grouping = false;
};

bool IsPlaceholder(char c) {
  return c == '0' || c == '#' || c == ',' || c == '.';
}

// Reads the first section of a pattern (text before an unquoted ";").
Picture ParsePicture(std::string_view pattern) {
  Picture picture;
  std::string body;
  bool in_body = false, after_body = false, in_decimals = false;
  char quote = 0;
  for (char c : pattern) {
    if (quote != 0) {
      if (c == quote) {
        quote = 0;
      } else {
        (after_body ? picture.suffix : picture.prefix) += c;
      }
      continue;
    }
    if (c == ';') {
      break;
    }
    if (c == '"' || c == '\'') {
      quote = c;
      after_body = in_body;
      continue;
    }
    if (IsPlaceholder(c) && !after_body) {
      in_body = true;
      if (c == '.') {
        in_decimals = true;
      } else if (c == ',') {
        picture.grouping = picture.grouping || !in_decimals;
      } else if (in_decimals) {
        if (picture.max_decimals == kMaxDecimals) {
          continue;
        }
        ++picture.max_decimals;
        if (c == '0') {
          picture.min_decimals = picture.max_decimals;
        }
      } else if (c == '0') {
        ++picture.min_integer_digits;
      }
      continue;
    }
    if (in_body) {
      after_body = true;
    }
    (after_body ? picture.suffix : picture.prefix) += c;
  }
  return picture;
}

// Writes round(|value| * 10^decimals) as decimal digits without leading zeros ("0" for zero)
// and returns their count; `out` holds kMaxDigits bytes.
int ScaledDigits(double magnitude, int decimals, char* out) {
  const nrw::SignificantDigits significant = nrw::SignificantDigitsOf(magnitude);
  const char* mantissa = significant.digits;
  const int exponent = significant.exponent;
  const int keep = exponent + 1 + decimals;
  if (keep < 0 || keep >= kMaxDigits) {
    out[0] = '0';
    return 1;
  }
  for (int i = 0; i < keep; ++i) {
    out[i] = i < kSignificantDigits ? mantissa[i] : '0';
  }
  int size = keep;
  if (keep < kSignificantDigits && mantissa[keep] >= '5') {
    int i = keep - 1;
    for (; i >= 0 && out[i] == '9'; --i) {
      out[i] = '0';
    }
    if (i < 0) {
      std::memmove(out + 1, out, static_cast<size_t>(size));
      out[0] = '1';
      ++size;
    } else {
      ++out[i];
    }
  }
  int first = 0;
  while (first < size && out[first] == '0') {
    ++first;
  }
  if (first == size) {
    out[0] = '0';
    return 1;
  }
  std::memmove(out, out + first, static_cast<size_t>(size - first));
  return size - first;
}

// A pattern parsed once, and the texts of the values formatted with it lately (by the value's
// bits): a report prints the same few amounts, zeros and rates most of all, over and over.
struct PatternCache {
  static constexpr size_t kEntries = 256;
  struct Entry {
    uint64_t bits = 0;
    bool used = false;
    std::string text;
  };
  std::string pattern;
  Picture picture;
  char decimal = 0, thousand = 0;  // the separators the texts were made with
  std::array<Entry, kEntries> entries;
};

// The caches of the last few patterns (a report alternates between two or three).
PatternCache& CacheOf(std::string_view pattern, const TFormatSettings& fs) {
  constexpr size_t kPatterns = 4;
  thread_local std::array<std::unique_ptr<PatternCache>, kPatterns> caches;
  thread_local size_t next = 0;
  for (auto& cache : caches) {
    if (cache != nullptr && cache->pattern == pattern) {
      if (cache->decimal != fs.DecimalSeparator || cache->thousand != fs.ThousandSeparator) {
        for (PatternCache::Entry& entry : cache->entries) {
          entry.used = false;
        }
        cache->decimal = fs.DecimalSeparator;
        cache->thousand = fs.ThousandSeparator;
      }
      return *cache;
    }
  }
  auto& slot = caches[next];
  next = (next + 1) % kPatterns;
  slot = std::make_unique<PatternCache>();
  slot->pattern.assign(pattern);
  slot->picture = ParsePicture(pattern);
  slot->decimal = fs.DecimalSeparator;
  slot->thousand = fs.ThousandSeparator;
  return *slot;
}

std::string Format(const Picture& picture, const TFormatSettings& fs, double value);

}  // namespace

std::string FormatFloat(std::string_view pattern, double value) {
  if (pattern.empty()) {
    return FloatToStr(value);
  }
  if (std::isnan(value)) {
    return "NAN";
  }
  if (std::isinf(value)) {
    return value < 0 ? "-INF" : "INF";
  }
  const TFormatSettings& fs = FormatSettings();
  PatternCache& cache = CacheOf(pattern, fs);
  const uint64_t bits = std::bit_cast<uint64_t>(value);
  PatternCache::Entry& entry =
      cache.entries[(bits * 0x9E3779B97F4A7C15ull) >> 56 & (PatternCache::kEntries - 1)];
  if (!entry.used || entry.bits != bits) {
    entry.text = Format(cache.picture, fs, value);
    entry.bits = bits;
    entry.used = true;
  }
  return entry.text;
}

namespace {

std::string Format(const Picture& picture, const TFormatSettings& fs, double value) {
  char digits[kMaxDigits + 1];
  const int size = ScaledDigits(std::fabs(value), picture.max_decimals, digits);
  const bool negative = value < 0 && !(size == 1 && digits[0] == '0');

  // The last max_decimals digits are the fraction (zero-padded on the left).
  const int decimals = picture.max_decimals;
  char fraction[kMaxDigits];
  for (int i = 0; i < decimals; ++i) {
    const int from = size - decimals + i;
    fraction[i] = from >= 0 ? digits[from] : '0';
  }
  int fraction_size = decimals;
  while (fraction_size > picture.min_decimals && fraction[fraction_size - 1] == '0') {
    --fraction_size;
  }
  int significant = std::max(size - decimals, 0);  // integer digits, no leading zero
  if (significant == 1 && digits[0] == '0') {
    significant = 0;
  }
  const int shown = std::max(significant, picture.min_integer_digits);

  std::string out;
  out.reserve(picture.prefix.size() + picture.suffix.size() + static_cast<size_t>(shown) * 4 / 3 +
              static_cast<size_t>(fraction_size) + 3);
  if (negative) {
    out += '-';
  }
  out += picture.prefix;
  for (int i = 0; i < shown; ++i) {
    if (picture.grouping && i > 0 && (shown - i) % 3 == 0) {
      out += fs.ThousandSeparator;
    }
    const int from = i - (shown - significant);
    out += from >= 0 ? digits[from] : '0';
  }
  if (fraction_size > 0) {
    out += fs.DecimalSeparator;
    out.append(fraction, static_cast<size_t>(fraction_size));
  }
  out += picture.suffix;
  return out;
}

}  // namespace
