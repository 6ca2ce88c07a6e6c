// TTextoDeReal: the text of a real column's value, kept while the value repeats (the PIS and
// COFINS rates, which change seldom from one item to the next).
#pragma once

#include <bit>
#include <cstdint>
#include <string>

#include "host/data_set.hpp"

namespace nfis {

// The text of a real column's value, made again only when the value changes: equal doubles, bit
// for bit, have equal texts. A column of another type, and a null, are read as text every time.
class TTextoDeReal {
 public:
  TTextoDeReal(TDataSet* tabela, int32_t campo)
      : tabela_(tabela),
        campo_(campo),
        real_(tabela->Fields(campo)->DataType() == TFieldType::Float) {}

  void Anexar(std::string& saida) {
    if (!real_ || tabela_->IsNull(campo_)) {
      tabela_->AppendString(campo_, saida);
      return;
    }
    const uint64_t bits = std::bit_cast<uint64_t>(tabela_->GetFloat(campo_));
    if (!guardado_ || bits != bits_) {
      texto_.clear();
      tabela_->AppendString(campo_, texto_);
      bits_ = bits;
      guardado_ = true;
    }
    saida += texto_;
  }

 private:
  TDataSet* tabela_;
  int32_t campo_;
  bool real_;
  bool guardado_ = false;
  uint64_t bits_ = 0;
  std::string texto_;
};

}  // namespace nfis
