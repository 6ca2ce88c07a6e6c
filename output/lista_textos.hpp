// A list of texts rebuilt for every document (the natures and the other-information lines of
// the block under it) that keeps its strings from one document to the next: emptying the list
// frees nothing, and the next document's texts are written into the buffers the last one left.
// Sorting swaps strings, which moves no characters and allocates nothing.
#pragma once

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

namespace nfis {

class TListaTextos {
 public:
  using const_iterator = std::vector<std::string>::const_iterator;

  // The next text of the list, empty, to be filled by the caller.
  std::string& Novo() {
    if (tamanho_ == textos_.size()) {
      textos_.emplace_back();
    }
    std::string& texto = textos_[tamanho_++];
    texto.clear();
    return texto;
  }
  // Drops the last text (the one Novo gave) and keeps its buffer.
  void DescartarUltimo() { --tamanho_; }
  void Limpar() { tamanho_ = 0; }

  size_t size() const { return tamanho_; }
  bool empty() const { return tamanho_ == 0; }
  const std::string& operator[](size_t i) const { return textos_[i]; }
  const_iterator begin() const { return textos_.begin(); }
  const_iterator end() const { return textos_.begin() + static_cast<std::ptrdiff_t>(tamanho_); }

  // Stable sort by `menor`: insertion by swaps for the handful of texts a document has, the
  // library's stable sort (which takes a buffer) beyond that.
  template <typename Menor>
  void OrdenarEstavel(Menor menor) {
    const auto inicio = textos_.begin();
    if (tamanho_ > kOrdenacaoPorInsercao) {
      std::stable_sort(inicio, end_mutavel(), menor);
      return;
    }
    for (size_t i = 1; i < tamanho_; ++i) {
      for (size_t j = i; j > 0 && menor(textos_[j], textos_[j - 1]); --j) {
        textos_[j].swap(textos_[j - 1]);
      }
    }
  }

  // Keeps the text Novo gave last in byte order among the others, as a set of texts would:
  // a text the list already holds is dropped.
  void InserirOrdenadoSemRepetir() {
    const auto ultimo = end_mutavel() - 1;
    const auto lugar = std::lower_bound(textos_.begin(), ultimo, *ultimo);
    if (lugar != ultimo && *lugar == *ultimo) {
      DescartarUltimo();
      return;
    }
    for (auto i = ultimo; i != lugar; --i) {
      i->swap(*(i - 1));
    }
  }

 private:
  static constexpr size_t kOrdenacaoPorInsercao = 32;
  std::vector<std::string>::iterator end_mutavel() {
    return textos_.begin() + static_cast<std::ptrdiff_t>(tamanho_);
  }

  std::vector<std::string> textos_;
  size_t tamanho_ = 0;
};

}  // namespace nfis
