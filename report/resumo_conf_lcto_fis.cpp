#include "report/resumo_conf_lcto_fis.hpp"

#include "host/sql.hpp"

namespace nfis {

TnFisORResumoConfLctoFis::~TnFisORResumoConfLctoFis() = default;

const TnrwBaseDllClass* TnFisORResumoConfLctoFis::ClassType() {
  static const TnrwClassOf<TnFisORResumoConfLctoFis> kClass("TnFisORResumoConfLctoFis",
                                                            &ContratoLayout());
  return &kClass;
}

std::string TnFisORResumoConfLctoFis::Versao() {
  return "[versao: 1.1.31.0]";
}

}  // namespace nfis
