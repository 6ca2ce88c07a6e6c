// TnCabecalhoRelatorio: the host's standard page header. The report creates one per run, switches
// it to each establishment (SetCodigoEstab, then Executar with the company code, which reads
// EMPRESA and ESTAB), and prints it at the top of every page (ImpressaoCabecalho).
//
// The constructor's arguments, in order:
//   report                the engine to print through;
//   hide_company          leave out the company line;
//   hide_establishment    leave out the establishment line;
//   hide_period           leave out the period;
//   hide_page             leave out the page number;
//   hide_registrations    leave out the CNPJ and the state registration;
//   font_sizes            two integers: the title's and the text's font size in points;
//   company               the company shown until Executar names one (-1: none);
//   first_page            the number of the first page;
//   numbering             1: pages numbered from first_page again for each establishment;
//                         0: numbered through the whole report;
//   title                 the report's title ("": the engine's "TituloRelatorio" value, or the
//                         report's own title);
//   subtitle              a line under the title ("": none);
//   print_emission        print the emission date and time.
// The run passes: the engine, five times false, [8, 8], -1, 1, 1, "", "", true.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/export.hpp"
#include "host/object.hpp"
#include "host/report.hpp"
#include "host/sql.hpp"

class NRW_API TnCabecalhoRelatorio : public TComponent {
 public:
  TnCabecalhoRelatorio(TnrwReport* report, bool hide_company, bool hide_establishment,
                       bool hide_period, bool hide_page, bool hide_registrations,
                       const TVariantArray& font_sizes, int32_t company, int32_t first_page,
                       int32_t numbering, const std::string& title, const std::string& subtitle,
                       bool print_emission);
  ~TnCabecalhoRelatorio() override;

  void SetCodigoEstab(const std::string& estab);
  // Reads the company and the selected establishment from the company database.
  void Executar(int32_t company);
  // Prints the header on the current page of the engine.
  void ImpressaoCabecalho();
  // The fields the header prints now, in order.
  std::vector<TPrintedField> Campos() const;
  // The same written into `fields`, whose texts are reused: a page's header builds no string
  // once the first page has sized them.
  void Campos(std::vector<TPrintedField>& fields) const;
  // The connection to read from; null (the default) for the host's.
  void SetConexao(TSQLConnection* connection) { connection_ = connection; }

  static constexpr const char* kTituloPadrao = "Resumo de Conferência de Lançamentos Fiscais";

 private:
  std::string PageText() const;

  TnrwReport* report_;
  bool hide_company_, hide_establishment_, hide_period_, hide_page_, hide_registrations_;
  int32_t title_size_, text_size_;
  int32_t company_;
  int32_t first_page_;
  bool per_establishment_;
  std::string title_, subtitle_;
  bool print_emission_;
  TSQLConnection* connection_ = nullptr;

  std::string estab_;
  std::string company_name_, estab_name_, cnpj_, state_registration_;
  int32_t estab_first_engine_page_ = 0;  // engine page of this establishment's first header
  std::vector<TPrintedField> campos_;    // the last page's fields
  // The emission time as printed, made again when the time changes (the clock reads seconds).
  mutable std::optional<TDateTime> emission_time_;
  mutable std::string emission_text_;
};

// CNPJ (14 digits) as 12.345.678/0001-95 and CPF (11 digits) as 123.456.789-09; other texts as
// they are.
NRW_API std::string FormatarInscricaoFederal(const std::string& digits);
NRW_API void AppendInscricaoFederal(std::string_view digits, std::string& out);
