#pragma once
// RLaneAligner: delays whole lanes after a row, so that every lane leaving the row carries
// the latency of the row's slowest module. A lane whose writer has 40 samples of latency in
// a row whose slowest has 100 is delayed by 60; an unwritten lane by all 100.
//
// Built by the compile (may allocate), run by the audio walk (allocates nothing).

#include <cstddef>
#include <cstdint>
#include <vector>

class RLaneAligner {
public:
  struct Lane {
    int32_t Delay = 0;       // samples
    int32_t HostIndex = -1;  // host input channel base (bus × stride) copied in first; -1 none
    int32_t LaneIndex = 0;   // lane × stride
    int32_t Select = 0;      // which of the lane's two buffers
  };

  // channels: per lane. Lines start cleared. [editor-thread] [host-thread]
  RLaneAligner(const std::vector<Lane>& lanes, int32_t channels);

  // The buffers of every (lane, channel) the aligner works on in place; entry
  // lane-position × channels + channel. Set by the compile.
  void SetBuffer(int32_t lanePosition, int32_t channel, float* buffer) noexcept {
    buffers_[size_t(lanePosition * channels_ + channel)] = buffer;
  }
  // A new delay for one lane: the line is resized and cleared. [editor-thread]
  void SetDelay(int32_t lanePosition, int32_t delay);

  // Copies host inputs into their lane buffers where a lane had none yet, then delays each
  // lane in place. hostInputs may be null (no input buses). [audio-thread] noexcept
  void Process(float* const* hostInputs, int32_t frames) noexcept;

  int32_t GetLaneCount() const noexcept { return int32_t(lanes_.size()); }
  const Lane& GetLane(int32_t lanePosition) const noexcept { return lanes_[size_t(lanePosition)]; }

private:
  struct Line {
    std::vector<float> samples;  // capacity: the delay rounded up to a power of two
    uint32_t mask = 0;
    uint32_t write = 0;
  };
  void SizeLines(int32_t lanePosition);

  std::vector<Lane> lanes_;
  int32_t channels_;
  std::vector<float*> buffers_;
  std::vector<Line> lines_;
};
