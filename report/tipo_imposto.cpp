#include "report/tipo_imposto.hpp"

namespace nfis {

std::string GetDescricaoImposto(int32_t _ATipoImposto) {
  // A plain selection: code 14 has no name, the list goes from 13 straight to 15.
  switch (_ATipoImposto) {
    case kTipoVrAdicional:
      return "Vr Adicional";
    case kTipoICMS:
      return "ICMS";
    case kTipoISS:
      return "ISS";
    case kTipoIPI:
      return "IPI";
    case kTipoFunRural:
      return "FunRural";
    case kTipoComplementar:
      return "Complementar";
    case kTipoSubstTrib:
      return "Subst. Trib.";
    case kTipoPIS:
      return "PIS/Outro";
    case kTipoCOFINS:
      return "COFINS/Outro";
    default:
      return "";
  }
}

}  // namespace nfis
