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

std::string FormatarInscricaoFederal(const std::string& d) {
  const bool digits = !d.empty() && d.find_first_not_of("0123456789") == std::string::npos;
  if (digits && d.size() == kCnpjDigits) {
    return d.substr(0, 2) + "." + d.substr(2, 3) + "." + d.substr(5, 3) + "/" + d.substr(8, 4) +
           "-" + d.substr(12, 2);
  }
  if (digits && d.size() == kCpfDigits) {
    return d.substr(0, 3) + "." + d.substr(3, 3) + "." + d.substr(6, 3) + "-" + d.substr(9, 2);
  }
  return d;
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
  if (!hide_company_) {
    fields.push_back(
        {"Empresa", company_ < 0 ? "" : std::to_string(company_) + " - " + company_name_});
  }
  if (!hide_establishment_) {
    fields.push_back({"Estabelecimento", estab_.empty() ? "" : estab_ + " - " + estab_name_});
  }
  if (!hide_registrations_) {
    fields.push_back({"CNPJ", FormatarInscricaoFederal(cnpj_)});
    fields.push_back({"InscricaoEstadual", state_registration_});
  }
  std::string title = title_;
  if (title.empty()) {
    title = report_->RepParam("TituloRelatorio");
  }
  fields.push_back({"Titulo", title.empty() ? kTituloPadrao : title});
  if (!subtitle_.empty()) {
    fields.push_back({"Subtitulo", subtitle_});
  }
  if (!hide_period_) {
    fields.push_back({"Periodo", DateText(report_->RepParam("pDataInicial")) + " a " +
                                     DateText(report_->RepParam("pDataFinal"))});
  }
  if (print_emission_) {
    fields.push_back({"Emissao", FormatDateTime("dd/mm/yyyy hh:nn", report_->DataHoraEmissao())});
  }
  if (!hide_page_) {
    // With the counts of a pagination pass: "n de N", and the sheet of the whole report when
    // numbering restarts for each establishment.
    const TPageTotals& totals = report_->PageTotals();
    const int32_t page = report_->PageNumber();
    const int32_t run_total = totals.RunTotal(page);
    fields.push_back(
        {"Pagina", PageText() + (run_total > 0 ? " de " + std::to_string(run_total) : "")});
    if (run_total > 0 && per_establishment_) {
      fields.push_back({"Folha", std::to_string(page) + " de " + std::to_string(totals.pages)});
    }
  }
  return fields;
}

void TnCabecalhoRelatorio::ImpressaoCabecalho() {
  if (per_establishment_ && estab_first_engine_page_ == 0) {
    estab_first_engine_page_ = report_->PageNumber();
  }
  report_->RepPrintHeader(Campos(), title_size_, text_size_);
}
