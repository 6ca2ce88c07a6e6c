// ImprimirInterno: the whole run of one report request.
#include "host/progress.hpp"
#include "report/resumo_conf_lcto_fis.hpp"

namespace nfis {

void TnFisORResumoConfLctoFis::ImprimirInterno() {
  // No establishment selected: nothing is shown, validated, created or printed.
  if (EstabDataSet()->IsEmpty()) {
    return;
  }
  TnDM* dm = GetDMPower();
  dm->SetProgressoVisivel(TnProgressoVisivel::Completo);
  dm->GetProgresso()->SetEhCircular(true);
  dm->GetProgresso()->IncProgressoTotal("Iniciar Parametros", 0);
  // A validation failure leaves from here, before anything is created; the progress display
  // stays as it is.
  IniciarParametros();
}

}  // namespace nfis
