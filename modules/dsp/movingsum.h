#pragma once
// RMovingSum: the sum of the last window-length samples of a stream, in O(1) per sample, for
// level meters and the automatic gain. The total is 64-bit, and a block at least a window
// long sums the window afresh, which also clears whatever rounding the running total gathered.
//
// SetWindow allocates (setup); Clear, Process and the readers are [audio-thread],
// allocation-free and noexcept.

#include <cstdint>
#include <vector>

class RMovingSum {
public:
  // Window length = max(1, trunc(seconds * sampleRate)); the ring is cleared.
  void SetWindow(double seconds, double sampleRate);
  void SetLength(int32_t length);
  void Clear() noexcept;

  void Process(const float* input, int32_t count) noexcept;

  double GetTotal() const noexcept { return total_; }
  // The mean of the window, total / length, not below 0.
  double GetMean() const noexcept;
  int32_t GetLength() const noexcept { return int32_t(ring_.size()); }

private:
  double total_ = 0.0;
  double inverseLength_ = 1.0;
  std::vector<float> ring_ = std::vector<float>(1, 0.0f);
  int32_t index_ = 0;
};
