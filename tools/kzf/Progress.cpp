// The progress line: "\r" and a cleared line each time, one line end when done.
#include "Progress.hpp"

#include <unistd.h>

#include <iterator>
#include <string>

#include "Messages.hpp"

namespace kzf::tool {

namespace {

constexpr auto kRedrawInterval = std::chrono::milliseconds(100);

/// "512 B", "3.4 KiB", "1.2 MiB", "2.0 GiB".
std::string byteText(double bytes) {
  static const char* const units[] = {"B", "KiB", "MiB", "GiB", "TiB"};
  std::size_t unit = 0;
  while (bytes >= 1024.0 && unit + 1 < std::size(units)) {
    bytes /= 1024.0;
    ++unit;
  }
  char text[32];
  std::snprintf(text, sizeof text, unit == 0 ? "%.0f %s" : "%.1f %s", bytes, units[unit]);
  return text;
}

}  // namespace

ProgressLine::ProgressLine(std::FILE* stream)
    : stream_(stream), start_(std::chrono::steady_clock::now()), lastDraw_(start_) {}

ProgressLine::~ProgressLine() { finish(); }

bool ProgressLine::wanted(bool quiet) { return !quiet && ::isatty(STDERR_FILENO) == 1; }

void ProgressLine::onProgress(const Quorlith::kzfpackage::KZFProgress& progress) {
  last_ = progress;
  pending_ = true;
  const auto now = std::chrono::steady_clock::now();
  if (!drawn_ || now - lastDraw_ >= kRedrawInterval) {
    lastDraw_ = now;
    draw();
  }
}

void ProgressLine::finish() {
  if (pending_) draw();
  if (drawn_) std::fputc('\n', stream_);
  std::fflush(stream_);
  drawn_ = false;
}

void ProgressLine::draw() {
  const double seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
  const double rate = seconds > 0.0 ? static_cast<double>(last_.bytesDone) / seconds : 0.0;
  const std::string text =
      tr("{0}/{1} entries, {2}, {3}/s",
         {std::to_string(last_.entriesDone), std::to_string(last_.entriesTotal),
          byteText(static_cast<double>(last_.bytesDone)), byteText(rate)});
  // "\033[K" clears what a longer earlier line left to the right.
  std::fprintf(stream_, "\r%s\033[K", text.c_str());
  std::fflush(stream_);
  drawn_ = true;
  pending_ = false;
}

}  // namespace kzf::tool
