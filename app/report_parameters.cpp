#include "app/report_parameters.hpp"

#include "host/exception.hpp"
#include "host/sysutils.hpp"

namespace nrw::app {
namespace {

constexpr int kMinutesPerHour = 60;

// The codes of "pTipoImposto" by the names the --taxes option takes.
const std::map<std::string, const char*> kTaxCodes = {
    {"icms", "1"},          {"iss", "2"}, {"ipi", "10"}, {"funrural", "11"},
    {"complementar", "12"}, {"st", "13"}, {"pis", "15"}, {"cofins", "15"}};

std::string CheckedDate(const char* option, const std::string& text) {
  if (!TryStrToDate(text)) {
    throw Exception(std::string(option) + ": '" + text + "' is not a date (dd/mm/yyyy)");
  }
  return text;
}

// HH:MM as minutes since midnight, the form the report takes.
std::string Minutes(const char* option, const std::string& text) {
  const size_t colon = text.find(':');
  const auto hours = colon == std::string::npos ? std::nullopt : TryStrToInt(text.substr(0, colon));
  const auto minutes =
      colon == std::string::npos ? std::nullopt : TryStrToInt(text.substr(colon + 1));
  if (!hours || !minutes || *hours < 0 || *hours > 23 || *minutes < 0 || *minutes > 59) {
    throw Exception(std::string(option) + ": '" + text + "' is not a time (HH:MM)");
  }
  return std::to_string(*hours * kMinutesPerHour + *minutes);
}

std::string TaxList(const std::string& text) {
  std::string codes;
  size_t start = 0;
  while (start <= text.size()) {
    size_t end = text.find(',', start);
    end = end == std::string::npos ? text.size() : end;
    const std::string name = AnsiUpperCase(Trim(text.substr(start, end - start)));
    std::string lower;
    for (char c : name) {
      lower += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    const auto it = kTaxCodes.find(lower);
    if (it == kTaxCodes.end()) {
      throw Exception("--taxes: '" + Trim(text.substr(start, end - start)) +
                      "' is not a tax (icms, iss, ipi, funrural, complementar, st, pis)");
    }
    if ((";" + codes + ";").find(std::string(";") + it->second + ";") == std::string::npos) {
      codes += (codes.empty() ? "" : ";") + std::string(it->second);
    }
    start = end + 1;
  }
  return codes;
}

bool NumberList(const std::string& text, const char* separators) {
  size_t start = 0;
  while (start <= text.size()) {
    const size_t end = std::min(text.find_first_of(separators, start), text.size());
    const std::string item = Trim(text.substr(start, end - start));
    // Separators may open and close the list ("';1;2;'"), as the module stores it.
    const bool edge = item.empty() && (start == 0 || end == text.size());
    if (!edge && !TryStrToInt(item)) {
      return false;
    }
    start = end + 1;
  }
  return true;
}

bool ValueOfKind(ValueKind kind, const std::string& text) {
  switch (kind) {
    case ValueKind::Date:
      return TryStrToDate(text).has_value();
    case ValueKind::Number:
      return TryStrToInt(text).has_value();
    case ValueKind::Minutes: {
      const auto minutes = TryStrToInt(text);
      return minutes && *minutes >= 0 && *minutes < 24 * kMinutesPerHour;
    }
    case ValueKind::TaxCodes:
      return NumberList(text, ";");
    case ValueKind::Codes:
      return NumberList(text, ";,");
    case ValueKind::Text:
      return true;
  }
  return false;
}

const char* KindDescription(ValueKind kind) {
  switch (kind) {
    case ValueKind::Date:
      return "a date (dd/mm/yyyy)";
    case ValueKind::Number:
      return "a whole number";
    case ValueKind::Minutes:
      return "a time in minutes since midnight (0 to 1439)";
    case ValueKind::TaxCodes:
      return "a list of tax codes separated by ';'";
    case ValueKind::Codes:
      return "a list of whole numbers separated by ';' or ','";
    case ValueKind::Text:
      break;
  }
  return "text";
}

}  // namespace

const std::vector<ReportParameter>& ReportParameters() {
  static const std::vector<ReportParameter> kParameters = {
      {"pDataInicial", "first date of the period (dd/mm/yyyy)", "day 0 (30/12/1899)",
       ValueKind::Date},
      {"pDataFinal", "last date of the period (dd/mm/yyyy)", "day 0 (30/12/1899)", ValueKind::Date},
      {"pTipoPeriodo", "1: period by entry date; other: by entry date and time", "1",
       ValueKind::Number},
      {"pHoraInicial", "start time in minutes since midnight (period by date and time)", "0",
       ValueKind::Minutes},
      {"pHoraFinal", "end time in minutes since midnight (period by date and time)", "0",
       ValueKind::Minutes},
      {"pTipoMovimento", "movements: 1 entries, 2 exits, 12 both", "none (refused)",
       ValueKind::Number},
      {"pTipoImposto",
       "taxes, codes separated by ';': 1 ICMS, 2 ISS, 10 IPI, 11 FunRural, "
       "12 complementary ICMS, 13 tax substitution, 15 PIS/COFINS",
       "none (refused)", ValueKind::TaxCodes},
      {"pTotalizar", "summary after the listing: 4 by CFOP, 7 by day", "no summary",
       ValueKind::Number},
      {"pListarTotalImposto", "1: subtotals of runs of one tax type", "no", ValueKind::Number},
      {"pListarOutrasInfo", "1: other information (product and freight totals, operations)", "no",
       ValueKind::Number},
      {"pExibirDadosPessoa", "1: counterparty data under each document", "no", ValueKind::Number},
      {"pExibirDadosProduto", "1: the products of each document", "no", ValueKind::Number},
      {"pExibirDadosNatureza", "1: the natures of operation of each document", "no",
       ValueKind::Number},
      {"pLinhaHorizontal", "1: a rule after each document", "no", ValueKind::Number},
      {"pArquivoMagOrdemProd", "1: leave out documents of normal purpose", "no", ValueKind::Number},
      {"pOrdenacao", "order: 1 date, 2 entry, 3 number, 4 date and number, 5 date and counterparty",
       "2", ValueKind::Number},
      {"ReportFor", "print model: 1 shows counterparty code and name; 2 prints without stripes",
       "2", ValueKind::Number},
      {"pChaveInicial", "first entry key", "no limit", ValueKind::Number},
      {"pChaveFinal", "last entry key (0: no limit)", "no limit", ValueKind::Number},
      {"pEspecie", "document species (NF, NFE, CTE, NFS, ...)", "all", ValueKind::Text},
      {"pCodigoPessoa", "counterparty codes separated by ';' or ','", "all", ValueKind::Codes},
      {"pCodigoCFOP", "CFOP codes separated by ';' or ','", "all", ValueKind::Codes},
      {"pCodigoUsuario", "codes of the users who keyed the documents in", "all", ValueKind::Codes}};
  return kParameters;
}

std::string ReportParametersHelp() {
  std::string help = "Report parameters (--set NAME=VALUE; absent ones take the default shown):\n";
  for (const ReportParameter& p : ReportParameters()) {
    std::string name = p.name;
    name.resize(22, ' ');
    help += "  " + name + p.meaning + " [absent: " + p.when_absent + "]\n";
  }
  return help;
}

const ReportParameter* KnownParameter(const std::string& name) {
  for (const ReportParameter& p : ReportParameters()) {
    if (SameText(p.name, name)) {
      return &p;
    }
  }
  return nullptr;
}

void CheckParameterValue(const ReportParameter& parameter, const std::string& value,
                         const std::string& where) {
  if (value.empty() || ValueOfKind(parameter.kind, value)) {
    return;
  }
  throw Exception(where + ": " + parameter.name + ": '" + value + "' is not " +
                  KindDescription(parameter.kind));
}

std::map<std::string, std::string> TranslateFriendly(const FriendlyOptions& o) {
  std::map<std::string, std::string> raw;
  if (!o.from.empty()) {
    raw["pDataInicial"] = CheckedDate("--from", o.from);
  }
  if (!o.to.empty()) {
    raw["pDataFinal"] = CheckedDate("--to", o.to);
  }
  if (!o.from_time.empty() || !o.to_time.empty()) {
    raw["pTipoPeriodo"] = "2";
    raw["pHoraInicial"] = o.from_time.empty() ? "0" : Minutes("--from-time", o.from_time);
    raw["pHoraFinal"] = o.to_time.empty() ? "1439" : Minutes("--to-time", o.to_time);
  }
  if (o.entries || o.exits) {
    raw["pTipoMovimento"] = o.entries && o.exits ? "12" : o.entries ? "1" : "2";
  }
  if (!o.taxes.empty()) {
    raw["pTipoImposto"] = TaxList(o.taxes);
  }
  if (!o.summary.empty()) {
    if (o.summary != "cfop" && o.summary != "day") {
      throw Exception("--summary: '" + o.summary + "' is not cfop or day");
    }
    raw["pTotalizar"] = o.summary == "cfop" ? "4" : "7";
  }
  if (o.order != 0) {
    raw["pOrdenacao"] = std::to_string(o.order);
  }
  if (!o.species.empty()) {
    raw["pEspecie"] = o.species;
  }
  if (!o.keys.empty()) {
    const size_t dash = o.keys.find('-');
    const std::string first = Trim(o.keys.substr(0, dash));
    const std::string last = dash == std::string::npos ? "" : Trim(o.keys.substr(dash + 1));
    if ((!first.empty() && !TryStrToInt(first)) || (!last.empty() && !TryStrToInt(last)) ||
        dash == std::string::npos) {
      throw Exception("--keys: '" + o.keys + "' is not FIRST-LAST");
    }
    if (!first.empty()) {
      raw["pChaveInicial"] = first;
    }
    if (!last.empty()) {
      raw["pChaveFinal"] = last;
    }
  }
  return raw;
}

}  // namespace nrw::app
