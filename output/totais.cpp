// Totals: clearing, adding and printing TRecTotal, and the amount formatter of document rows.
#include "report/resumo_conf_lcto_fis.hpp"
#include "report/tipo_imposto.hpp"

namespace nfis {
namespace {

const char* const kFormatoTotal = "#,##0.00";
const char* const kFormatoSemMilhar = "###0.00";
// Above a million, document rows drop the thousands separators to fit their columns.
constexpr double kLimiteAgrupamento = 1000000.0;
constexpr int32_t kSecaoTotal = 14;

}  // namespace

void TnFisORResumoConfLctoFis::IniciarTotal(TRecTotal& _ATotal) {
  _ATotal = TRecTotal{};
}

void TnFisORResumoConfLctoFis::CalcularTotal(TRecTotal& _ATotalResultado,
                                             const TRecTotal& _ATotal) {
  // A total of totals counts the additions, not the rows beneath them.
  _ATotalResultado.Contador += 1;
  _ATotalResultado.ValorContabil += _ATotal.ValorContabil;
  _ATotalResultado.BaseImposto += _ATotal.BaseImposto;
  _ATotalResultado.ValorImposto += _ATotal.ValorImposto;
  _ATotalResultado.IsentasImposto += _ATotal.IsentasImposto;
  _ATotalResultado.OutrasImposto += _ATotal.OutrasImposto;
}

void TnFisORResumoConfLctoFis::ImprimirTotal(const std::string& _ADescricao, int32_t _ATipoImposto,
                                             const TRecTotal& _ATotal, bool _ASomenteValorImposto) {
  // The test is on the sum: a total whose amounts cancel out is not printed either.
  const double soma = _ATotal.ValorContabil + _ATotal.BaseImposto + _ATotal.ValorImposto +
                      _ATotal.IsentasImposto + _ATotal.OutrasImposto;
  if (soma == 0.0) {
    return;
  }
  RepParam("RTexto", _ADescricao);
  RepParam("RTipo", GetDescricaoImposto(_ATipoImposto));
  if (_ASomenteValorImposto) {
    RepParam("RValorContabil", "");
    RepParam("RBaseCalculo", "");
    RepParam("RIsentas", "");
    RepParam("ROutras", "");
  } else {
    RepParam("RValorContabil", FormatFloat(kFormatoTotal, _ATotal.ValorContabil));
    RepParam("RBaseCalculo", FormatFloat(kFormatoTotal, _ATotal.BaseImposto));
    RepParam("RIsentas", FormatFloat(kFormatoTotal, _ATotal.IsentasImposto));
    RepParam("ROutras", FormatFloat(kFormatoTotal, _ATotal.OutrasImposto));
  }
  // Total rows always keep their thousands separators, unlike document rows.
  RepParam("RValor", FormatFloat(kFormatoTotal, _ATotal.ValorImposto));
  Report()->RepPrintSection(kSecaoTotal);
}

std::string TnFisORResumoConfLctoFis::FormatValor(double _AValor) {
  return FormatFloat(PadraoValor(_AValor), _AValor);
}

const char* TnFisORResumoConfLctoFis::PadraoValor(double _AValor) {
  return _AValor > kLimiteAgrupamento ? kFormatoSemMilhar : kFormatoTotal;
}

}  // namespace nfis
