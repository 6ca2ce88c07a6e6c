// Page arithmetic, kept apart from drawing: how much of a page's body is used, and whether the
// next block fits. Heights in millimetres.
#pragma once

#include "host/export.hpp"

class NRW_API TPageFlow {
 public:
  explicit TPageFlow(double body_height) : body_(body_height) {}
  // True when a block of `height` fits in what is left (a block taller than a whole page fits
  // on an empty page, so that it is printed rather than lost).
  bool Fits(double height) const { return used_ + height <= body_ + kTolerance || used_ == 0; }
  void Place(double height) { used_ += height; }
  void NewPage() { used_ = 0; }
  double Used() const { return used_; }
  double Left() const { return body_ - used_; }

 private:
  static constexpr double kTolerance = 1e-9;
  double body_;
  double used_ = 0;
};
