// Fuzz target: the conversions report parameters go through (numbers, dates, lists, SQL and
// filter literals, picture formats). None may crash; the raising ones raise Exception.
#include <cstddef>
#include <cstdint>
#include <string>

#include "host/exception.hpp"
#include "host/sql.hpp"
#include "host/sysutils.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  StrToIntDef(text, 7);
  StrToFloatDef(text, 1.5);
  StrToDateDef(text, 0);
  TryStrToInt(text);
  TryStrToFloat(text);
  TryStrToDate(text);
  Trim(text);
  AnsiUpperCase(text);
  Nutil::StrToStrArray(text, ';');
  Nutil::ValorParaSQL(Variant(text), TFieldType::String);
  Nutil::ValorParaFiltro(Variant(text), TFieldType::String);
  try {
    StrToInt(text);
  } catch (const Exception&) {
  }
  // The text as a picture pattern, for a few values.
  const std::string pattern = text.substr(0, 64);
  for (const double value : {0.0, -2.675, 1234567.891, 1e300}) {
    FormatFloat(pattern, value);
    FormatDateTime(pattern, value > 1e6 ? 46023.5 : value);
  }
  return 0;
}
