#include "schema/efd_reader.hpp"

#include <cctype>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>

namespace nrw::efd {
namespace {

// The highest layout version this reader knows (020: 2026).
constexpr int kLatestVersion = 20;

bool IsDigits(std::string_view text) {
  for (const char c : text) {
    if (!std::isdigit(static_cast<unsigned char>(c))) {
      return false;
    }
  }
  return !text.empty();
}

}  // namespace

std::string Latin1ToUtf8(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x80) {
      out += c;
    } else {
      out += static_cast<char>(0xC0 | (byte >> 6));
      out += static_cast<char>(0x80 | (byte & 0x3F));
    }
  }
  return out;
}

size_t MinimumFields(std::string_view reg, int version) {
  // Fields counted with the register code, as in the layout tables.
  if (reg == "0000")
    return 15;
  if (reg == "0150")
    return 13;
  if (reg == "0200")
    return version >= 11 ? 13 : 12;  // CEST from 2017
  if (reg == "C100")
    return 29;
  if (reg == "C170")
    return 37;
  if (reg == "C190")
    return version >= 2 ? 12 : 11;  // COD_OBS after the first layout
  if (reg == "C490")
    return 8;
  if (reg == "C590")
    return 11;
  if (reg == "D100")
    return 23;
  if (reg == "D190")
    return 9;
  if (reg == "D590")
    return 11;
  if (reg == "E110")
    return 15;
  return 0;
}

const std::string& Record::Text(size_t n) const {
  static const std::string kEmpty;
  return n >= 1 && n <= fields_.size() ? fields_[n - 1] : kEmpty;
}

void Record::Fail(const std::string& what) const {
  throw EfdError(file_ + ":" + std::to_string(line_) + ": record " +
                 (fields_.empty() ? std::string("?") : Reg()) + ": " + what);
}

double Record::Number(size_t n) const {
  const std::string& text = Text(n);
  if (text.empty()) {
    return 0;
  }
  const size_t comma = text.find(',');
  const std::string_view whole = std::string_view(text).substr(0, comma);
  const std::string_view fraction =
      comma == std::string::npos ? std::string_view() : std::string_view(text).substr(comma + 1);
  const bool negative = !whole.empty() && whole.front() == '-';
  const std::string_view digits = negative ? whole.substr(1) : whole;
  if (!IsDigits(digits) || (comma != std::string::npos && !IsDigits(fraction))) {
    Fail("field " + std::to_string(n) + " '" + text + "' is not a number");
  }
  std::string dotted(digits);
  if (!fraction.empty()) {
    dotted.append(".").append(fraction);
  }
  const double value = std::strtod(dotted.c_str(), nullptr);  // huge numbers read as inf
  if (!std::isfinite(value)) {
    Fail("field " + std::to_string(n) + " '" + text + "' is not a number");
  }
  return negative ? -value : value;
}

std::optional<TDateTime> Record::Date(size_t n) const {
  const std::string& text = Text(n);
  if (text.empty()) {
    return std::nullopt;
  }
  if (text.size() != 8 || !IsDigits(text)) {
    Fail("field " + std::to_string(n) + " '" + text + "' is not a date (DDMMYYYY)");
  }
  const int day = std::stoi(text.substr(0, 2));
  const int month = std::stoi(text.substr(2, 2));
  const int year = std::stoi(text.substr(4, 4));
  const std::optional<TDateTime> date = TryEncodeDate(year, month, day);
  if (!date) {
    Fail("field " + std::to_string(n) + " '" + text + "' is not a date (DDMMYYYY)");
  }
  return date;
}

EfdReader::EfdReader(std::string path) : path_(std::move(path)) {
  std::ifstream in(path_, std::ios::binary);
  if (!in) {
    throw Exception("cannot read the EFD file '" + path_ + "'");
  }
  bytes_.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

EfdReader EfdReader::FromBytes(std::string name, std::string bytes) {
  EfdReader reader;
  reader.path_ = std::move(name);
  reader.bytes_ = std::move(bytes);
  return reader;
}

bool EfdReader::Next(Record& record) {
  while (!done_ && pos_ < bytes_.size()) {
    size_t end = bytes_.find('\n', pos_);
    if (end == std::string::npos) {
      end = bytes_.size();
    }
    std::string_view line(bytes_.data() + pos_, end - pos_);
    pos_ = end + 1;
    ++line_;
    if (!line.empty() && line.back() == '\r') {
      line.remove_suffix(1);
    }
    if (line.empty()) {
      continue;  // a blank line (a trailing one, mostly)
    }
    std::vector<std::string> fields;
    if (line.size() < 2 || line.front() != '|' || line.back() != '|') {
      // Named by what stands where the register code would be.
      const size_t from = line.front() == '|' ? 1 : 0;
      const std::string_view reg = line.substr(from, line.find('|', from) - from).substr(0, 8);
      Record(path_, line_, {Latin1ToUtf8(reg)}).Fail("a record starts and ends with '|'");
    }
    for (size_t from = 1; from < line.size();) {
      const size_t bar = line.find('|', from);
      fields.push_back(Latin1ToUtf8(line.substr(from, bar - from)));
      from = bar + 1;
    }
    Record read(path_, line_, std::move(fields));
    const std::string& reg = read.Reg();
    if (reg.size() != 4 || !std::isalnum(static_cast<unsigned char>(reg[0]))) {
      read.Fail("'" + reg + "' is not a register code");
    }
    if (version_ == 0) {
      if (reg != "0000") {
        read.Fail("the file does not start with a 0000 record");
      }
      const std::string& code = read.Text(2);
      if (!IsDigits(code) || code.size() > 3 || std::stoi(code) < 1 ||
          std::stoi(code) > kLatestVersion) {
        read.Fail("layout version '" + code + "' is not one this reader knows (001 to 020)");
      }
      version_ = std::stoi(code);
    }
    if (reg == "9999") {
      done_ = true;
      return false;
    }
    if (const size_t minimum = MinimumFields(reg, version_); read.FieldCount() < minimum) {
      read.Fail(std::to_string(read.FieldCount()) + " fields where layout " +
                std::to_string(version_) + " has " + std::to_string(minimum));
    }
    record = std::move(read);
    return true;
  }
  if (!done_) {
    done_ = true;
    if (version_ == 0) {
      throw EfdError(path_ + ": no 0000 record: not an EFD file");
    }
    throw EfdError(path_ + ":" + std::to_string(line_) + ": the file ends without a 9999 record");
  }
  return false;
}

}  // namespace nrw::efd
