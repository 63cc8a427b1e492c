#include "kernel/drydelay.h"

#include <algorithm>
#include <cstring>

void RDryDelay::Setup(int32_t channels, int32_t delay, int32_t maxFrames) {
  delay_ = std::max(delay, 0);
  maxFrames_ = std::max(maxFrames, 1);
  lines_.assign(size_t(delay_ > 0 ? std::max(channels, 0) : 0), Line{});
  for (Line& line : lines_) {
    line.ring.assign(size_t(delay_), 0.0f);
    line.block.assign(size_t(maxFrames_), 0.0f);
  }
}

const float* RDryDelay::Push(int32_t channel, const float* input, int32_t frames) noexcept {
  if (delay_ <= 0 || channel < 0 || channel >= int32_t(lines_.size()) || frames > maxFrames_) return input;
  Line& line = lines_[size_t(channel)];
  float* out = line.block.data();
  float* ring = line.ring.data();
  // In runs up to the ring's wrap: the oldest samples out, the block's in.
  int32_t done = 0;
  while (done < frames) {
    const int32_t run = std::min(frames - done, delay_ - line.position);
    std::memcpy(out + done, ring + line.position, size_t(run) * sizeof(float));
    if (input) {
      std::memcpy(ring + line.position, input + done, size_t(run) * sizeof(float));
    } else {
      std::memset(ring + line.position, 0, size_t(run) * sizeof(float));
    }
    done += run;
    line.position += run;
    if (line.position == delay_) line.position = 0;
  }
  return out;
}

void RDryDelay::Clear() noexcept {
  for (Line& line : lines_) {
    std::fill(line.ring.begin(), line.ring.end(), 0.0f);
    line.position = 0;
  }
}
