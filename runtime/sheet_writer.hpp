// The rows of a spreadsheet output and the writers that store them (CSV, xlsx).
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "host/sheet_export.hpp"

namespace nrw {

struct SheetCell {
  enum class Kind { Empty, Text, Number, Date } kind = Kind::Empty;
  std::string text;   // Text; also what was printed, for Number and Date
  double number = 0;  // Number; Date as a day serial (30/12/1899 is day 0)
};

enum class SheetPart { Listing, Summary };

class SheetWriter {
 public:
  virtual ~SheetWriter() = default;
  // Called once before the first row: the heading of every column.
  virtual void Start(const std::vector<TSheetColumn>& columns) = 0;
  virtual void Row(SheetPart part, const std::vector<SheetCell>& cells) = 0;
  virtual void Finish() = 0;
};

std::unique_ptr<SheetWriter> MakeCsvWriter(std::ostream& out);
std::unique_ptr<SheetWriter> MakeXlsxWriter(const std::string& path, const TSheetMapping& mapping,
                                            const TSheetOptions& options);

// A printed number ("1.234,56", "-7", "12") as a double; nullopt when it is not one.
std::optional<double> PrintedNumber(std::string_view text);

}  // namespace nrw
