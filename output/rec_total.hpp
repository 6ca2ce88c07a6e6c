// TRecTotal: the running-total record of every sum the report prints.
#pragma once

#include <cstdint>

namespace nfis {

struct TRecTotal {
  int32_t Contador = 0;       // additions made into this total
  double CodigoOperacao = 0;  // the fiscal operation of a per-operation total; never printed
  double ValorContabil = 0;
  double BaseImposto = 0;
  double ValorImposto = 0;
  double IsentasImposto = 0;
  double OutrasImposto = 0;
};

}  // namespace nfis
