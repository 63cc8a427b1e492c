#pragma once
// What render tells the user while it works and when it ends: a progress bar on standard
// error (only on a terminal, never with --quiet) and the real-time factor, the audio seconds
// processed per CPU second spent in the plug-in's processing.

#include <cstdint>
#include <cstdio>
#include <string>

namespace quillon_cli {

class RProgressBar {
public:
  // Draws only when enabled and the stream is a terminal.
  RProgressBar(bool enabled, std::FILE* stream = stderr);
  ~RProgressBar();
  RProgressBar(const RProgressBar&) = delete;
  RProgressBar& operator=(const RProgressBar&) = delete;

  bool IsDrawing() const noexcept { return drawing_; }
  // Redraws when the shown percentage changes.
  void Update(int64_t done, int64_t total);
  // Clears the bar's line so that what follows starts on a clean one.
  void Finish();

private:
  std::FILE* stream_;
  bool drawing_;
  int shownPercent_ = -1;
};

// Accumulates the calling thread's CPU time between Start and Stop, over many intervals.
class RProcessTimer {
public:
  void Start() noexcept;
  void Stop() noexcept;
  double GetSeconds() const noexcept { return seconds_; }

private:
  double started_ = 0.0;
  double seconds_ = 0.0;
};

// "real-time factor: N.Nx"; a CPU time too short to measure counts as one microsecond.
std::string FormatRealTimeFactor(double audioSeconds, double cpuSeconds);

} // namespace quillon_cli
