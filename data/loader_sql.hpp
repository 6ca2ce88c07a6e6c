// The SQL texts of the product and freight loaders, built from fixed pieces and the report's
// fields (literal bounds rendered by ValorParaSQL), and their positional values.
#pragma once

#include <string>

#include "host/variant.hpp"

namespace nfis {

class TnFisORResumoConfLctoFis;

std::string SqlTotalProduto(const TnFisORResumoConfLctoFis& r);
std::string SqlLctoProduto(const TnFisORResumoConfLctoFis& r);
std::string SqlTotalFrete(const TnFisORResumoConfLctoFis& r);
// By date: company, establishment, first and last date; by date and time: company and
// establishment (the bounds are literals in the text).
TVariantArray ValoresCarregamento(const TnFisORResumoConfLctoFis& r);

}  // namespace nfis
