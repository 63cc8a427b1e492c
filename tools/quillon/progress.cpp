// Progress bar and real-time factor of render.

#include "tools/quillon/progress.h"

#include <time.h>
#include <unistd.h>

#include <algorithm>

namespace quillon_cli {
namespace {

constexpr int kBarWidth = 40;
constexpr double kShortestMeasure = 1e-6;

double ThreadCPUSeconds() noexcept {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return double(now.tv_sec) + double(now.tv_nsec) * 1e-9;
}

} // namespace

RProgressBar::RProgressBar(bool enabled, std::FILE* stream)
    : stream_(stream), drawing_(enabled && stream && isatty(fileno(stream))) {}

RProgressBar::~RProgressBar() { Finish(); }

void RProgressBar::Update(int64_t done, int64_t total) {
  if (!drawing_) return;
  const int percent = total > 0 ? int(std::clamp<int64_t>(done * 100 / total, 0, 100)) : 100;
  if (percent == shownPercent_) return;
  shownPercent_ = percent;
  const int filled = percent * kBarWidth / 100;
  char bar[kBarWidth + 1];
  for (int i = 0; i < kBarWidth; ++i) bar[i] = i < filled ? '#' : '.';
  bar[kBarWidth] = '\0';
  std::fprintf(stream_, "\r[%s] %3d%%", bar, percent);
  std::fflush(stream_);
}

void RProgressBar::Finish() {
  if (!drawing_ || shownPercent_ < 0) return;
  // Blank out the bar: the final report goes on a line of its own.
  std::fprintf(stream_, "\r%*s\r", kBarWidth + 8, "");
  std::fflush(stream_);
  shownPercent_ = -1;
}

void RProcessTimer::Start() noexcept { started_ = ThreadCPUSeconds(); }

void RProcessTimer::Stop() noexcept { seconds_ += ThreadCPUSeconds() - started_; }

std::string FormatRealTimeFactor(double audioSeconds, double cpuSeconds) {
  char text[64];
  std::snprintf(text, sizeof text, "real-time factor: %.1fx", audioSeconds / std::max(cpuSeconds, kShortestMeasure));
  return text;
}

} // namespace quillon_cli
