// The host's progress display: TnDM (the host data module that owns it) and TnFraProgresso (the
// progress frame). What the user sees is drawn by a TProgressView that the host program attaches:
// a live line on a terminal, nothing when quiet, a recorder in the tests.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/export.hpp"
#include "host/object.hpp"

// How the progress display is shown. The run shows it with Completo and hides it with Oculto.
enum class TnProgressoVisivel : int32_t { Oculto = 0, Simples = 1, Completo = 2 };

class NRW_API TProgressView {
 public:
  virtual ~TProgressView();
  virtual void VisibilityChanged(TnProgressoVisivel visibility) { (void)visibility; }
  virtual void CircularChanged(bool circular) { (void)circular; }
  // A stage advanced: its text, the step the caller asked for, the running count of stages.
  virtual void StageAdvanced(const std::string& text, int32_t step, int64_t count) {
    (void)text, (void)step, (void)count;
  }
  virtual void CountReset() {}
  virtual void EngineProgress(int32_t current, int32_t total) { (void)current, (void)total; }
};

class NRW_API TnFraProgresso : public TComponent {
 public:
  explicit TnFraProgresso(TComponent* owner = nullptr);
  ~TnFraProgresso() override;

  void SetEhCircular(bool circular);
  bool EhCircular() const { return circular_; }
  // Advances by one stage and shows the text.
  void IncProgressoTotal(const std::string& text, int32_t step);
  // Resets the count of stages shown.
  void LimparExibirCountTotal();
  int64_t CountTotal() const { return count_; }
  const std::string& StageText() const { return stage_; }
  void SetView(TProgressView* view) { view_ = view; }
  TProgressView* View() const { return view_; }

 private:
  bool circular_ = false;
  int64_t count_ = 0;
  std::string stage_;
  TProgressView* view_ = nullptr;
};

class NRW_API TnDM : public TComponent {
 public:
  explicit TnDM(TComponent* owner = nullptr);
  ~TnDM() override;

  void SetProgressoVisivel(TnProgressoVisivel visibility);
  TnProgressoVisivel ProgressoVisivel() const { return visibility_; }
  TnFraProgresso* GetProgresso() { return progress_; }
  void SetView(TProgressView* view);

 private:
  TnProgressoVisivel visibility_ = TnProgressoVisivel::Oculto;
  TnFraProgresso* progress_;  // owned as a component
};

// Records every call, for tests: stage texts in order and visibility changes.
class NRW_API TRecordingProgressView : public TProgressView {
 public:
  void VisibilityChanged(TnProgressoVisivel visibility) override;
  void CircularChanged(bool circular) override;
  void StageAdvanced(const std::string& text, int32_t step, int64_t count) override;
  void CountReset() override;
  void EngineProgress(int32_t current, int32_t total) override;

  std::vector<std::string> stages;
  std::vector<int32_t> steps;
  std::vector<TnProgressoVisivel> visibility;
  std::vector<bool> circular;
  int32_t resets = 0;
  std::vector<std::pair<int32_t, int32_t>> engine_progress;
};
