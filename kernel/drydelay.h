#pragma once
// RDryDelay: the plug-in's dry paths, one delay line per channel of the main bus, as long as
// the plug-in's true latency in host samples. Whatever leaves the plug-in unprocessed (a
// bypass, a channel its mode doesn't process, a surround channel switched off, the input an
// audition subtracts) comes through here, so that it stays in time with the processed signal.
//
// Each block every channel is pushed once, and the delayed block read back, in one pass.

#include <cstdint>
#include <vector>

class RDryDelay {
public:
  // [host-thread], in Setup (allocates): lines of `delay` samples (0: no delay) for channels
  // channels, and room for blocks of up to maxFrames. Clears them.
  void Setup(int32_t channels, int32_t delay, int32_t maxFrames);
  int32_t GetDelay() const noexcept { return delay_; }
  int32_t GetChannels() const noexcept { return int32_t(lines_.size()); }
  // Pushes a block of a channel (null: silence) and returns it delayed: input itself without a
  // delay, else the line's block buffer, valid until the next Push of the channel. A channel
  // out of range, or a block longer than Setup allowed, comes back undelayed.
  // [audio-thread] allocation-free.
  const float* Push(int32_t channel, const float* input, int32_t frames) noexcept;
  void Clear() noexcept;

private:
  struct Line {
    std::vector<float> ring;
    std::vector<float> block;
    int32_t position = 0;
  };
  std::vector<Line> lines_;
  int32_t delay_ = 0;
  int32_t maxFrames_ = 0;
};
