#include "app/report_sheet.hpp"

namespace nrw::app {

// Section 13 prints a document's tax and PIS/COFINS lines (the document's columns on its first
// line only) and the subtotals of a run of one tax ("Total ..." in the CFOP column); section 14
// prints the totals by tax type and, in a summary block, the summary's lines.
const TSheetMapping& ReportSheetMapping() {
  using V = TSheetValue;
  static const TSheetMapping kMapping = {
      "Lançamentos",
      "Resumo",
      {"Total Tipo"},
      "RChaveLctoFis",
      {{13, "Subtotal", "RCodigoCFOP", "Total", false},
       {13, "Imposto", "", "", true},
       {14, "Total", "", "", false}},
      {{"Data Lcto", "RDataLctoFis", V::DayMonth, 11, true, false},
       {"Emissão", "RDataEmissao", V::DayMonth, 11, true, false},
       {"Chave", "RChaveLctoFis", V::Integer, 9, true, false},
       {"Número", "RNumeroNF", V::Text, 11, true, false},
       {"Série", "RSerieNF", V::Text, 6, true, false},
       {"Espécie", "REspecieNF", V::Text, 8, true, false},
       {"Pessoa", "RPessoa", V::Text, 24, true, false},
       {"UF", "RUF", V::Text, 5, false, false},
       {"Modelo", "RModelo", V::Text, 7, false, false},
       {"CFOP", "RCodigoCFOP", V::Text, 8, false, false},
       {"Descrição", "RTexto", V::TextOrDate, 40, false, true},
       {"Tipo", "RTipo", V::Text, 14, false, true},
       {"Alíquota", "RAliquota", V::Rate, 9, false, false},
       {"Valor Contábil", "RValorContabil", V::Amount, 15, false, true},
       {"Base de Cálculo", "RBaseCalculo", V::Amount, 15, false, true},
       {"Valor", "RValor", V::Amount, 14, false, true},
       {"Isentas", "RIsentas", V::Amount, 14, false, true},
       {"Outras", "ROutras", V::Amount, 14, false, true}}};
  return kMapping;
}

}  // namespace nrw::app
