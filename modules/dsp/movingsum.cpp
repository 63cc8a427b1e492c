#include "modules/dsp/movingsum.h"

#include <algorithm>
#include <cstring>

void RMovingSum::SetWindow(double seconds, double sampleRate) {
  SetLength(int32_t(std::max(1.0, seconds * sampleRate)));
}

void RMovingSum::SetLength(int32_t length) {
  ring_.assign(size_t(std::max(length, 1)), 0.0f);
  inverseLength_ = 1.0 / double(ring_.size());
  Clear();
}

void RMovingSum::Clear() noexcept {
  std::fill(ring_.begin(), ring_.end(), 0.0f);
  total_ = 0.0;
  index_ = 0;
}

void RMovingSum::Process(const float* input, int32_t count) noexcept {
  if (count <= 0) return;
  const auto length = int32_t(ring_.size());
  float* ring = ring_.data();
  if (count >= length) {
    // The block holds the whole window: take its last samples as they are and sum afresh.
    std::memcpy(ring, input + (count - length), size_t(length) * sizeof(float));
    double total = 0.0;
    for (int32_t i = 0; i < length; ++i) total += double(ring[i]);
    total_ = total;
    index_ = 0;
    return;
  }
  double total = total_;
  int32_t index = index_;
  for (int32_t i = 0; i < count; ++i) {
    const float x = input[i];
    total += double(x) - double(ring[index]);
    ring[index] = x;
    if (++index == length) index = 0;
  }
  total_ = total;
  index_ = index;
}

double RMovingSum::GetMean() const noexcept { return std::max(0.0, total_ * inverseLength_); }
