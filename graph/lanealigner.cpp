#include "graph/lanealigner.h"

#include <algorithm>
#include <cstring>

RLaneAligner::RLaneAligner(const std::vector<Lane>& lanes, int32_t channels)
    : lanes_(lanes), channels_(std::max(channels, 1)) {
  buffers_.assign(lanes_.size() * size_t(channels_), nullptr);
  lines_.resize(lanes_.size() * size_t(channels_));
  for (int32_t lane = 0; lane < GetLaneCount(); ++lane) SizeLines(lane);
}

void RLaneAligner::SizeLines(int32_t lanePosition) {
  const int32_t delay = std::max(lanes_[size_t(lanePosition)].Delay, 0);
  uint32_t capacity = 1;
  while (capacity < uint32_t(delay)) capacity <<= 1;
  for (int32_t c = 0; c < channels_; ++c) {
    Line& line = lines_[size_t(lanePosition * channels_ + c)];
    line.samples.assign(delay > 0 ? capacity : 0, 0.0f);
    line.mask = capacity - 1;
    line.write = 0;
  }
}

void RLaneAligner::SetDelay(int32_t lanePosition, int32_t delay) {
  if (lanes_[size_t(lanePosition)].Delay == delay) return;
  lanes_[size_t(lanePosition)].Delay = delay;
  SizeLines(lanePosition);
}

void RLaneAligner::Process(float* const* hostInputs, int32_t frames) noexcept {
  for (int32_t lane = 0; lane < GetLaneCount(); ++lane) {
    const Lane& entry = lanes_[size_t(lane)];
    if (entry.Delay <= 0) continue;
    const uint32_t delay = uint32_t(entry.Delay);
    for (int32_t c = 0; c < channels_; ++c) {
      float* buffer = buffers_[size_t(lane * channels_ + c)];
      if (!buffer) continue;
      if (entry.HostIndex >= 0) {
        const float* host = hostInputs ? hostInputs[entry.HostIndex + c] : nullptr;
        if (host) {
          std::memcpy(buffer, host, size_t(frames) * sizeof(float));
        } else {
          std::memset(buffer, 0, size_t(frames) * sizeof(float));
        }
      }
      // In place: each sample goes into the ring, and the one delay samples older comes out.
      Line& line = lines_[size_t(lane * channels_ + c)];
      float* ring = line.samples.data();
      uint32_t write = line.write;
      for (int32_t i = 0; i < frames; ++i) {
        const float in = buffer[i];
        buffer[i] = ring[(write - delay) & line.mask];
        ring[write & line.mask] = in;
        ++write;
      }
      line.write = write & line.mask;
    }
  }
}
