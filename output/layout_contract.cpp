// The module's answers to the host's layout questions: which sections the host stripes and
// which it recolours.
#include "host/sysutils.hpp"
#include "report/resumo_conf_lcto_fis.hpp"

namespace nfis {
namespace {

// "ReportFor" 2 is the output target on which striping is switched off.
constexpr int32_t kModeloSemZebra = 2;
const std::vector<int32_t> kSecoesListagem = {10, 11, 12, 13, 14, 16, 17, 18, 19};

}  // namespace

std::vector<int32_t> TnFisORResumoConfLctoFis::CriarListaSectionsParaZebrar() {
  if (StrToIntDef(RepParam("ReportFor"), kModeloSemZebra) == kModeloSemZebra) {
    return {};
  }
  return kSecoesListagem;
}

std::vector<int32_t> TnFisORResumoConfLctoFis::CriarListaSectionsTrocaCor() {
  return kSecoesListagem;
}

}  // namespace nfis
