#pragma once
// RDCBlocker: takes a signal's offset away with a Butterworth high-pass of order 1 to 6 (6 to
// 36 dB per octave), built from filter stages: one first-order stage when the order is odd and
// one second-order stage per pole pair, each at the Q of its Butterworth pole, so that the
// response is maximally flat above the corner at every order.
//
// Quality moves the corner down: fc = 20 Hz * 2^(-4 quality), one octave per quarter, so 0 is
// 20 Hz, 0.5 is 5 Hz and 1 is 1.25 Hz. A low corner leaves the bass alone (at 0.5 the loss at
// 30 Hz stays below 0.15 dB at every order, at 1 kHz below 0.001 dB) but takes longer to settle
// after the offset jumps: about 1 / (2 pi fc), 32 ms at 5 Hz and 130 ms at 1.25 Hz.
//
// SetChannels allocates (setup). Design allocates nothing and may run on the audio thread, as
// the owner's parameter update does; Process and Clear are [audio-thread] and noexcept.

#include <cstdint>
#include <vector>

#include "modules/dsp/biquad.h"

class RDCBlocker {
public:
  static constexpr int32_t kMaxOrder = 6;
  static constexpr int32_t kMaxStages = (kMaxOrder + 1) / 2;

  // The corner in hertz of a quality in 0..1 (clamped).
  static double CornerFrequency(double quality) noexcept;

  // One filter state per stage for each channel, cleared.
  void SetChannels(int32_t channels);
  // order 1..6 (clamped). Keeps the filter states: a new corner glides in rather than clicking.
  void Design(int32_t order, double quality, double sampleRate);
  void Clear() noexcept;

  int32_t GetOrder() const noexcept { return order_; }
  int32_t GetStageCount() const noexcept { return stageCount_; }
  const RBiquad& GetStage(int32_t index) const noexcept { return stages_[index]; }

  // Filters one channel in place; a channel beyond SetChannels passes untouched.
  void Process(int32_t channel, float* samples, int32_t count) noexcept;

private:
  RBiquad stages_[kMaxStages];
  int32_t stageCount_ = 0;
  int32_t order_ = 0;
  int32_t channels_ = 0;
  std::vector<RBiquadState> states_;  // channels * kMaxStages
};
