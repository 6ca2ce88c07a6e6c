#include "app/terminal_progress.hpp"

#include "host/sysutils.hpp"

namespace nrw::app {

TerminalProgress::TerminalProgress(std::ostream& out, Clock clock, size_t width)
    : out_(out), clock_(std::move(clock)), width_(width), start_(clock_()) {}

TerminalProgress::Clock TerminalProgress::SteadyClock() {
  return [] {
    using namespace std::chrono;
    return duration<double>(steady_clock::now().time_since_epoch()).count();
  };
}

void TerminalProgress::VisibilityChanged(TnProgressoVisivel visibility) {
  if (visibility == TnProgressoVisivel::Oculto) {
    Clear();
  }
}

void TerminalProgress::StageAdvanced(const std::string& text, int32_t, int64_t) {
  stage_ = text;
  Draw(text != last_stage_drawn_);
}

void TerminalProgress::EngineProgress(int32_t current, int32_t total) {
  current_ = current;
  total_ = total;
  Draw(true);
}

void TerminalProgress::Draw(bool force) {
  const double now = clock_();
  if (!force && now - last_draw_ < kRedrawSeconds) {
    return;
  }
  last_draw_ = now;
  last_stage_drawn_ = stage_;
  std::string line = "[" + FormatFloat("0.0", now - start_) + " s]";
  if (total_ > 0) {
    line += " " + std::to_string(current_) + "/" + std::to_string(total_) + " estab.";
  }
  line += " " + stage_;
  if (line.size() > width_ - 1) {
    line.resize(width_ - 1);
  }
  line.resize(width_ - 1, ' ');
  out_ << '\r' << line << std::flush;
  drawn_ = true;
}

void TerminalProgress::Clear() {
  if (drawn_) {
    out_ << '\r' << std::string(width_ - 1, ' ') << '\r' << std::flush;
    drawn_ = false;
  }
}

}  // namespace nrw::app
