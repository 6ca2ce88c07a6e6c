// The host process's locale format settings: the separators and the short date format that
// number and date formatting and parsing use. Brazilian by default; the host may change them.
#pragma once

#include <string>

#include "host/export.hpp"

struct NRW_API TFormatSettings {
  char ThousandSeparator = '.';
  char DecimalSeparator = ',';
  char DateSeparator = '/';
  char TimeSeparator = ':';
  std::string ShortDateFormat = "dd/mm/yyyy";

  static TFormatSettings Brazilian() { return {}; }
};

// The settings in force for the process. Single-threaded use, as in the host application.
NRW_API const TFormatSettings& FormatSettings();
NRW_API void SetFormatSettings(const TFormatSettings& settings);
