// The report parameters as the host program knows them: every name with its meaning and the
// default the module applies when the parameter is absent, and the friendly options that set
// them (--from, --to, --entries, --exits, --taxes, ...).
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace nrw::app {

// The text a parameter takes. An empty text is always accepted: it is the same as leaving the
// parameter out.
enum class ValueKind {
  Date,      // dd/mm/yyyy
  Number,    // a whole number
  Minutes,   // minutes since midnight, 0 to 1439
  TaxCodes,  // whole numbers separated by ';'
  Codes,     // whole numbers separated by ';' or ','
  Text
};

struct ReportParameter {
  const char* name;
  const char* meaning;
  const char* when_absent;
  ValueKind kind;
};

const std::vector<ReportParameter>& ReportParameters();
// The help text listing every report parameter.
std::string ReportParametersHelp();
// The parameter of that name (names compare without regard to case); null for an unknown name.
const ReportParameter* KnownParameter(const std::string& name);
// Raises Exception "WHERE: NAME: 'VALUE' is not ..." when `value` is not of the parameter's kind.
void CheckParameterValue(const ReportParameter& parameter, const std::string& value,
                         const std::string& where);

// The friendly options, as given on the command line (empty or false when not given).
struct FriendlyOptions {
  std::string from, to;            // dd/mm/yyyy
  std::string from_time, to_time;  // HH:MM: period by date and time
  bool entries = false, exits = false;
  std::string taxes;    // icms,iss,ipi,funrural,complementar,st,pis
  std::string summary;  // cfop or day
  int order = 0;        // 1 to 5
  std::string species;
  std::string keys;  // FIRST-LAST, either side may be empty
};

// The raw parameters the friendly options stand for. Raises Exception for a malformed value.
std::map<std::string, std::string> TranslateFriendly(const FriendlyOptions& options);

}  // namespace nrw::app
