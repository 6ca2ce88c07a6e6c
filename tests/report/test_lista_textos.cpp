// The reused text lists of the listing: set semantics for the natures, a stable sort for the
// other information, and buffers kept from one document to the next.
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "output/lista_textos.hpp"

namespace nfis::testing {
namespace {

std::vector<std::string> Textos(const TListaTextos& lista) {
  return {lista.begin(), lista.end()};
}

void Inserir(TListaTextos& lista, const std::string& texto) {
  lista.Novo() = texto;
  lista.InserirOrdenadoSemRepetir();
}

TEST(ListaTextos, InsertingInOrderKeepsWhatASetOfTextsWouldHold) {
  TListaTextos lista;
  std::set<std::string> conjunto;
  for (const char* texto : {"Natureza: 5.102 - Venda", "Natureza: 1.102 - Compra",
                            "Natureza: 5.102 - Venda", "Natureza: 5.405 - Venda ST",
                            "Natureza: 1.102 - Compra", "Natureza: 1.101 - Compra", "", "a", ""}) {
    Inserir(lista, texto);
    conjunto.insert(texto);
    EXPECT_EQ(Textos(lista), std::vector<std::string>(conjunto.begin(), conjunto.end()));
  }
}

TEST(ListaTextos, TheStableSortKeepsEqualTextsInTheOrderTheyCame) {
  for (size_t tamanho : {0, 1, 2, 5, 32, 33, 100}) {
    TListaTextos lista;
    std::vector<std::string> esperado;
    for (size_t i = 0; i < tamanho; ++i) {
      // Keys 0..4 repeated, each with the order it came in.
      const std::string texto = std::to_string((i * 7) % 5) + "-" + std::to_string(i);
      lista.Novo() = texto;
      esperado.push_back(texto);
    }
    const auto menor = [](const std::string& a, const std::string& b) { return a[0] < b[0]; };
    lista.OrdenarEstavel(menor);
    std::stable_sort(esperado.begin(), esperado.end(), menor);
    EXPECT_EQ(Textos(lista), esperado) << tamanho << " texts";
  }
}

TEST(ListaTextos, TheNextDocumentsTextsAreWrittenIntoTheBuffersOfTheLast) {
  TListaTextos lista;
  lista.Novo() = "05-Diferencial de alíquota de uso e consumo;18;12,5;";
  lista.Novo() = "01-Valor Total Produtos/Serviços (Qdte 3);0;150;";
  lista.OrdenarEstavel([](const std::string& a, const std::string& b) { return a < b; });
  const char* primeiro = lista[0].data();
  lista.Limpar();
  EXPECT_TRUE(lista.empty());
  std::string& novo = lista.Novo();
  EXPECT_TRUE(novo.empty()) << "a reused text starts empty";
  novo = "02-Valor Total Conhecimento Frete";
  EXPECT_EQ(novo.data(), primeiro) << "no new buffer for a text that fits the old one";
  lista.Novo() = "x";
  lista.DescartarUltimo();
  EXPECT_EQ(Textos(lista), std::vector<std::string>{"02-Valor Total Conhecimento Frete"});
}

}  // namespace
}  // namespace nfis::testing
