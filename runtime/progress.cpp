#include "host/progress.hpp"

TProgressView::~TProgressView() = default;

TnFraProgresso::TnFraProgresso(TComponent* owner) : TComponent(owner) {}
TnFraProgresso::~TnFraProgresso() = default;

void TnFraProgresso::SetEhCircular(bool circular) {
  circular_ = circular;
  if (view_ != nullptr) {
    view_->CircularChanged(circular);
  }
}

void TnFraProgresso::IncProgressoTotal(const std::string& text, int32_t step) {
  ++count_;
  stage_ = text;
  if (view_ != nullptr) {
    view_->StageAdvanced(text, step, count_);
  }
}

void TnFraProgresso::LimparExibirCountTotal() {
  count_ = 0;
  if (view_ != nullptr) {
    view_->CountReset();
  }
}

TnDM::TnDM(TComponent* owner) : TComponent(owner), progress_(new TnFraProgresso(this)) {}
TnDM::~TnDM() = default;

void TnDM::SetProgressoVisivel(TnProgressoVisivel visibility) {
  visibility_ = visibility;
  if (TProgressView* view = progress_->View()) {
    view->VisibilityChanged(visibility);
  }
}

void TnDM::SetView(TProgressView* view) {
  progress_->SetView(view);
}

void TRecordingProgressView::VisibilityChanged(TnProgressoVisivel value) {
  visibility.push_back(value);
}
void TRecordingProgressView::CircularChanged(bool value) {
  circular.push_back(value);
}
void TRecordingProgressView::StageAdvanced(const std::string& text, int32_t step, int64_t) {
  stages.push_back(text);
  steps.push_back(step);
}
void TRecordingProgressView::CountReset() {
  ++resets;
}
void TRecordingProgressView::EngineProgress(int32_t current, int32_t total) {
  engine_progress.emplace_back(current, total);
}
