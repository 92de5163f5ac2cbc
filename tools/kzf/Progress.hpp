// The progress line "kzf create" and "kzf extract" keep up to date on a terminal.
#pragma once

#include <chrono>
#include <cstdio>
#include <kzfpackage/KZFProgressObserver.hpp>

namespace kzf::tool {

/// Rewrites one line on `stream` as entries are done: entries done of total, bytes and rate.
/// Redraws at most ten times a second (and for the last entry, whose total is known only by
/// then); the line is ended when the object is finished or destroyed, so that an error
/// message that follows starts on a line of its own.
class ProgressLine : public Quorlith::kzfpackage::KZFProgressObserver {
 public:
  explicit ProgressLine(std::FILE* stream);
  ~ProgressLine() override;
  ProgressLine(const ProgressLine&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;

  void onProgress(const Quorlith::kzfpackage::KZFProgress& progress) override;
  /// Draws the final state and ends the line; nothing when nothing was drawn.
  void finish();

  /// True when progress should be shown on standard error: not --quiet and a terminal.
  static bool wanted(bool quiet);

 private:
  void draw();

  std::FILE* stream_;
  std::chrono::steady_clock::time_point start_;
  std::chrono::steady_clock::time_point lastDraw_;
  Quorlith::kzfpackage::KZFProgress last_;
  bool drawn_ = false;
  bool pending_ = false;
};

}  // namespace kzf::tool
