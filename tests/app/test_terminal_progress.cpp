#include <gtest/gtest.h>

#include <sstream>

#include "app/terminal_progress.hpp"

namespace nrw::app {
namespace {

TEST(TerminalProgress, DrawsOneLineInPlaceAndClearsIt) {
  std::ostringstream out;
  double now = 100.0;
  TerminalProgress view(
      out, [&] { return now; }, 40);
  TnDM dm;
  dm.SetView(&view);
  dm.SetProgressoVisivel(TnProgressoVisivel::Completo);
  now = 101.25;
  dm.GetProgresso()->IncProgressoTotal("Iniciar Parametros", 0);
  EXPECT_EQ(out.str(), "\r[1,3 s] Iniciar Parametros             ");
  out.str("");
  view.EngineProgress(1, 4);
  EXPECT_EQ(out.str(), "\r[1,3 s] 1/4 estab. Iniciar Parametros  ");
  out.str("");
  dm.SetProgressoVisivel(TnProgressoVisivel::Oculto);
  EXPECT_EQ(out.str(), "\r" + std::string(39, ' ') + "\r");
}

TEST(TerminalProgress, ThrottlesRepeatedStages) {
  std::ostringstream out;
  double now = 0.0;
  TerminalProgress view(
      out, [&] { return now; }, 80);
  view.StageAdvanced("Imposto Total Reg: 1.000", 100, 1);
  const size_t after_first = out.str().size();
  now = 0.05;
  view.StageAdvanced("Imposto Total Reg: 1.000", 100, 2);
  EXPECT_EQ(out.str().size(), after_first) << "the same stage within 0.1 s is not redrawn";
  view.StageAdvanced("Imprimir Totalizacao", 0, 3);
  EXPECT_GT(out.str().size(), after_first) << "a new stage is drawn at once";
  const size_t after_new = out.str().size();
  now = 0.2;
  view.StageAdvanced("Imprimir Totalizacao", 0, 4);
  EXPECT_GT(out.str().size(), after_new);
}

TEST(TerminalProgress, LongStagesAreCutToTheWidth) {
  std::ostringstream out;
  TerminalProgress view(
      out, [] { return 0.0; }, 20);
  view.StageAdvanced(std::string(100, 'x'), 0, 1);
  EXPECT_EQ(out.str().size(), 20u);
  view.VisibilityChanged(TnProgressoVisivel::Oculto);
}

}  // namespace
}  // namespace nrw::app
