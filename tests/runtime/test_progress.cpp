#include <gtest/gtest.h>

#include "host/progress.hpp"

namespace {

TEST(Progress, StagesVisibilityAndCountReachTheView) {
  TnDM dm;
  TRecordingProgressView view;
  dm.SetView(&view);
  dm.SetProgressoVisivel(TnProgressoVisivel::Completo);
  dm.GetProgresso()->SetEhCircular(true);
  dm.GetProgresso()->IncProgressoTotal("Iniciar Parametros", 0);
  dm.GetProgresso()->IncProgressoTotal("Concluido", 0);
  EXPECT_EQ(dm.GetProgresso()->CountTotal(), 2);
  dm.GetProgresso()->LimparExibirCountTotal();
  dm.SetProgressoVisivel(TnProgressoVisivel::Oculto);

  EXPECT_EQ(view.stages, (std::vector<std::string>{"Iniciar Parametros", "Concluido"}));
  EXPECT_EQ(view.visibility, (std::vector<TnProgressoVisivel>{TnProgressoVisivel::Completo,
                                                              TnProgressoVisivel::Oculto}));
  EXPECT_EQ(view.circular, std::vector<bool>{true});
  EXPECT_EQ(view.resets, 1);
  EXPECT_EQ(dm.GetProgresso()->CountTotal(), 0);
  EXPECT_EQ(dm.ProgressoVisivel(), TnProgressoVisivel::Oculto);
}

TEST(Progress, WorksWithoutAView) {
  TnDM dm;
  dm.GetProgresso()->IncProgressoTotal("x", 100);
  EXPECT_EQ(dm.GetProgresso()->StageText(), "x");
}

}  // namespace
