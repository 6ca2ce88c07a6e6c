// The report parameters as the host program knows them: every name with its meaning and the
// default the module applies when the parameter is absent, and the friendly options that set
// them (--from, --to, --entries, --exits, --taxes, ...).
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace nrw::app {

struct ReportParameter {
  const char* name;
  const char* meaning;
  const char* when_absent;
};

const std::vector<ReportParameter>& ReportParameters();
// The help text listing every report parameter.
std::string ReportParametersHelp();
// The parameter of that name as the module spells it (names compare without regard to case);
// nullopt for an unknown name.
std::optional<std::string> KnownParameter(const std::string& name);

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
