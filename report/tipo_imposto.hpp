// The vocabulary of tax types: the codes of "TIPOIMPOSTO" and of the "pTipoImposto" selection,
// and the short names the report prints for them.
#pragma once

#include <cstdint>
#include <string>

namespace nfis {

constexpr int32_t kTipoVrAdicional = -1;  // value-added exclusion
constexpr int32_t kTipoICMS = 1;
constexpr int32_t kTipoISS = 2;
constexpr int32_t kTipoIPI = 10;
constexpr int32_t kTipoFunRural = 11;
constexpr int32_t kTipoComplementar = 12;  // complementary ICMS
constexpr int32_t kTipoSubstTrib = 13;     // tax substitution
constexpr int32_t kTipoPIS = 15;           // also selects COFINS in "pTipoImposto"
constexpr int32_t kTipoCOFINS = 16;

// The printed name of a tax type, or "" for a code without one (0, 3 to 9, 14, ...).
std::string GetDescricaoImposto(int32_t _ATipoImposto);

}  // namespace nfis
