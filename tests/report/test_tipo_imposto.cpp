#include <gtest/gtest.h>

#include "report/tipo_imposto.hpp"

namespace nfis {
namespace {

TEST(GetDescricaoImposto, NamesEveryKnownCode) {
  EXPECT_EQ(GetDescricaoImposto(-1), "Vr Adicional");
  EXPECT_EQ(GetDescricaoImposto(1), "ICMS");
  EXPECT_EQ(GetDescricaoImposto(2), "ISS");
  EXPECT_EQ(GetDescricaoImposto(10), "IPI");
  EXPECT_EQ(GetDescricaoImposto(11), "FunRural");
  EXPECT_EQ(GetDescricaoImposto(12), "Complementar");
  EXPECT_EQ(GetDescricaoImposto(13), "Subst. Trib.");
  EXPECT_EQ(GetDescricaoImposto(15), "PIS/Outro");
  EXPECT_EQ(GetDescricaoImposto(16), "COFINS/Outro");
}

TEST(GetDescricaoImposto, CodesWithoutANameGiveEmptyText) {
  EXPECT_EQ(GetDescricaoImposto(14), "");
  EXPECT_EQ(GetDescricaoImposto(0), "");
  EXPECT_EQ(GetDescricaoImposto(3), "");
  EXPECT_EQ(GetDescricaoImposto(9), "");
  EXPECT_EQ(GetDescricaoImposto(17), "");
  EXPECT_EQ(GetDescricaoImposto(-2), "");
}

}  // namespace
}  // namespace nfis
