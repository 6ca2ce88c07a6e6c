// Reader of EFD ICMS/IPI ("SPED Fiscal") files: the monthly fiscal books of one establishment
// as pipe-delimited records.
//
// The file is Latin-1 text with CR LF or LF line ends; records run up to "|9999|" (anything
// after it, such as a signature block, is not read). Every record starts and ends with "|";
// field n of the layout tables is Field(n), field 1 being the register code. The layout version
// of the 0000 record sets how many fields each register has at least (registers gain fields at
// their end from one version to the next; extra trailing fields are accepted). Texts come out
// in UTF-8; numbers use a decimal comma; dates are DDMMYYYY.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/exception.hpp"
#include "host/sysutils.hpp"

namespace nrw::efd {

// A malformed file: the message names the file, the line and the record ("FILE:LINE: record
// C190: ...").
class EfdError : public Exception {
 public:
  using Exception::Exception;
};

class Record {
 public:
  Record() = default;
  Record(std::string file, int64_t line, std::vector<std::string> fields)
      : file_(std::move(file)), line_(line), fields_(std::move(fields)) {}

  int64_t Line() const { return line_; }
  const std::string& Reg() const { return fields_.front(); }
  size_t FieldCount() const { return fields_.size(); }
  // Field n as in the layout tables (1 = the register code); "" past the last field.
  const std::string& Text(size_t n) const;
  // A number with an optional decimal comma ("41961,3", "0", "-"); an empty field reads as 0.
  double Number(size_t n) const;
  // A DDMMYYYY date; empty: none.
  std::optional<TDateTime> Date(size_t n) const;
  // Raises EfdError "FILE:LINE: record REG: what".
  [[noreturn]] void Fail(const std::string& what) const;

 private:
  std::string file_;
  int64_t line_ = 0;
  std::vector<std::string> fields_;
};

// The fewest fields a register has in a layout version (0 for registers without a rule).
size_t MinimumFields(std::string_view reg, int version);

class EfdReader {
 public:
  // Reads the whole file; raises Exception when it cannot be read.
  explicit EfdReader(std::string path);
  // Reads `bytes` as the contents of a file called `name` (for messages).
  static EfdReader FromBytes(std::string name, std::string bytes);

  // The next record, up to "|9999|"; false at the end. The first record must be 0000 with a
  // known layout version.
  bool Next(Record& record);
  // The layout version of the file's 0000 record (1 for 001, ..., 20 for 020).
  int Version() const { return version_; }
  const std::string& Path() const { return path_; }

 private:
  EfdReader() = default;

  std::string path_;
  std::string bytes_;
  size_t pos_ = 0;
  int64_t line_ = 0;
  int version_ = 0;
  bool done_ = false;
};

// Latin-1 bytes as UTF-8.
std::string Latin1ToUtf8(std::string_view text);

}  // namespace nrw::efd
