// The progress display of nrw-report: one line on standard error, redrawn in place with the
// stage text, the establishment count and the elapsed time. Redraws are throttled (the listing
// advances a stage per document), and the line is cleared when the display is hidden.
#pragma once

#include <chrono>
#include <functional>
#include <ostream>
#include <string>

#include "host/progress.hpp"

namespace nrw::app {

class TerminalProgress : public TProgressView {
 public:
  using Clock = std::function<double()>;  // seconds since some start

  TerminalProgress(std::ostream& out, Clock clock, size_t width);
  // Standard error, the steady clock, 80 columns.
  static Clock SteadyClock();

  void VisibilityChanged(TnProgressoVisivel visibility) override;
  void StageAdvanced(const std::string& text, int32_t step, int64_t count) override;
  void EngineProgress(int32_t current, int32_t total) override;

 private:
  static constexpr double kRedrawSeconds = 0.1;
  void Draw(bool force);
  void Clear();

  std::ostream& out_;
  Clock clock_;
  size_t width_;
  double start_;
  double last_draw_ = -1;
  std::string stage_;
  std::string last_stage_drawn_;
  int32_t current_ = 0, total_ = 0;
  bool drawn_ = false;
};

}  // namespace nrw::app
