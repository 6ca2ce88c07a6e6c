#include "host/report_header.hpp"

#include <memory>

#include "host/exception.hpp"
#include "host/sysutils.hpp"

namespace {

constexpr int32_t kDefaultFontSize = 8;
constexpr size_t kCnpjDigits = 14, kCpfDigits = 11;

int32_t FontSize(const TVariantArray& sizes, size_t i) {
  return i < sizes.size() && !sizes[i].IsNull() ? static_cast<int32_t>(sizes[i].AsInteger())
                                                : kDefaultFontSize;
}

// A date parameter of the engine as dd/mm/yyyy, or its text when it is not a date.
std::string DateText(const std::string& text) {
  const auto date = TryStrToDate(text);
  return date ? FormatDateTime("dd/mm/yyyy", *date) : text;
}

std::unique_ptr<TnClientDataSet> Query(TSQLConnection* connection, const std::string& sql,
                                       const TVariantArray& params) {
  return std::unique_ptr<TnClientDataSet>(
      Nutildb::ExecutarSQL(sql, params, true, true, 1, "", connection, true));
}

}  // namespace

void AppendInscricaoFederal(std::string_view d, std::string& out) {
  const bool digits = !d.empty() && d.find_first_not_of("0123456789") == std::string::npos;
  // Digits copied with a separator before the given positions.
  const auto punctuated = [&](std::initializer_list<std::pair<size_t, char>> marks) {
    size_t from = 0;
    for (const auto& [at, mark] : marks) {
      out.append(d.substr(from, at - from));
      out += mark;
      from = at;
    }
    out.append(d.substr(from));
  };
  if (digits && d.size() == kCnpjDigits) {
    punctuated({{2, '.'}, {5, '.'}, {8, '/'}, {12, '-'}});
  } else if (digits && d.size() == kCpfDigits) {
    punctuated({{3, '.'}, {6, '.'}, {9, '-'}});
  } else {
    out.append(d);
  }
}

std::string FormatarInscricaoFederal(const std::string& d) {
  std::string out;
  AppendInscricaoFederal(d, out);
  return out;
}

TnCabecalhoRelatorio::TnCabecalhoRelatorio(TnrwReport* report, bool hide_company,
                                           bool hide_establishment, bool hide_period,
                                           bool hide_page, bool hide_registrations,
                                           const TVariantArray& font_sizes, int32_t company,
                                           int32_t first_page, int32_t numbering,
                                           const std::string& title, const std::string& subtitle,
                                           bool print_emission)
    : report_(report),
      hide_company_(hide_company),
      hide_establishment_(hide_establishment),
      hide_period_(hide_period),
      hide_page_(hide_page),
      hide_registrations_(hide_registrations),
      title_size_(FontSize(font_sizes, 0)),
      text_size_(FontSize(font_sizes, 1)),
      company_(company),
      first_page_(first_page),
      per_establishment_(numbering == 1),
      title_(title),
      subtitle_(subtitle),
      print_emission_(print_emission) {}

TnCabecalhoRelatorio::~TnCabecalhoRelatorio() = default;

void TnCabecalhoRelatorio::SetCodigoEstab(const std::string& estab) {
  estab_ = Trim(estab);
  estab_first_engine_page_ = 0;
}

void TnCabecalhoRelatorio::Executar(int32_t company) {
  company_ = company;
  company_name_ = estab_name_ = cnpj_ = state_registration_ = "";
  auto empresa =
      Query(connection_, "select NOMEEMPRESA, INSCRFEDERAL from EMPRESA where CODIGOEMPRESA = :c",
            {Variant(company)});
  if (!empresa->IsEmpty()) {
    company_name_ = empresa->GetString(0);
    cnpj_ = empresa->GetString(1);
  }
  const auto estab = TryStrToInt(estab_);
  if (!estab) {
    return;
  }
  auto row = Query(connection_,
                   "select NOMEESTAB, INSCRFEDERAL, INSCRESTAD from ESTAB where CODIGOEMPRESA = :c "
                   "and CODIGOESTAB = :e",
                   {Variant(company), Variant(*estab)});
  if (!row->IsEmpty()) {
    estab_name_ = row->GetString(0);
    cnpj_ = row->IsNull(1) ? cnpj_ : row->GetString(1);
    state_registration_ = row->GetString(2);
  }
}

std::string TnCabecalhoRelatorio::PageText() const {
  const int32_t engine_page = report_->PageNumber();
  const int32_t base =
      per_establishment_ && estab_first_engine_page_ > 0 ? estab_first_engine_page_ : 1;
  return std::to_string(first_page_ + engine_page - base);
}

std::vector<TPrintedField> TnCabecalhoRelatorio::Campos() const {
  std::vector<TPrintedField> fields;
  Campos(fields);
  return fields;
}

void TnCabecalhoRelatorio::Campos(std::vector<TPrintedField>& fields) const {
  size_t count = 0;
  // The next field, named, with its value emptied for the caller to write.
  const auto field = [&fields, &count](std::string_view name) -> std::string& {
    if (count == fields.size()) {
      fields.emplace_back();
    }
    TPrintedField& f = fields[count++];
    f.name.assign(name);
    f.value.clear();
    return f.value;
  };
  if (!hide_company_) {
    std::string& value = field("Empresa");
    if (company_ >= 0) {
      value += std::to_string(company_);
      value += " - ";
      value += company_name_;
    }
  }
  if (!hide_establishment_) {
    std::string& value = field("Estabelecimento");
    if (!estab_.empty()) {
      value += estab_;
      value += " - ";
      value += estab_name_;
    }
  }
  if (!hide_registrations_) {
    AppendInscricaoFederal(cnpj_, field("CNPJ"));
    field("InscricaoEstadual") = state_registration_;
  }
  std::string& title = field("Titulo");
  title = title_;
  if (title.empty()) {
    title = report_->RepParamText("TituloRelatorio");
  }
  if (title.empty()) {
    title = kTituloPadrao;
  }
  if (!subtitle_.empty()) {
    field("Subtitulo") = subtitle_;
  }
  if (!hide_period_) {
    std::string& value = field("Periodo");
    value += DateText(report_->RepParam("pDataInicial"));
    value += " a ";
    value += DateText(report_->RepParam("pDataFinal"));
  }
  if (print_emission_) {
    const TDateTime emission = report_->DataHoraEmissao();
    if (emission != emission_time_) {
      emission_time_ = emission;
      emission_text_ = FormatDateTime("dd/mm/yyyy hh:nn", emission);
    }
    field("Emissao") = emission_text_;
  }
  // With the counts of a pagination pass: "n de N", and the sheet of the whole report when
  // numbering restarts for each establishment ("Folha k de K").
  const TPageTotals& totals = report_->PageTotals();
  const int32_t page = report_->PageNumber();
  if (!hide_page_) {
    field("Pagina") += PageText();
    if (per_establishment_ && (totals.pages > 0 || totals.pending)) {
      field("Folha") += std::to_string(page);
    }
  }
  fields.resize(count);
  if (!totals.pending) {
    totals.CompleteHeader(page, fields);
  }
}

void TnCabecalhoRelatorio::ImpressaoCabecalho() {
  if (per_establishment_ && estab_first_engine_page_ == 0) {
    estab_first_engine_page_ = report_->PageNumber();
  }
  Campos(campos_);
  report_->RepPrintHeader(campos_, title_size_, text_size_);
}
