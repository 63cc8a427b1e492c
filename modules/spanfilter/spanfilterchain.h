#pragma once
// RSpanFilterChain: the DSP of the span filter apart from its parameters: a Butterworth
// high-pass cascade and a low-pass cascade (modules/spanfilter/butterworth.h), one design
// shared by every channel and a state per stage and channel.
//
// Setup sizes the states ([host-thread], allocates); everything else is [audio-thread],
// allocation-free and noexcept.

#include <complex>
#include <cstdint>
#include <vector>

#include "modules/dsp/biquad.h"
#include "modules/spanfilter/butterworth.h"

class RSpanFilterChain {
public:
  static constexpr int32_t kSides = 2;

  // States for this many channels, cleared. Both sides stay as designed.
  void Setup(int32_t channels);
  int32_t GetChannels() const noexcept { return channels_; }

  // Designs one side; order 0 turns it off. Nothing happens when order, corner, sample rate
  // and q are those of the present design, so a caller may ask every sub-block. A new order
  // starts its stages from rest; a new corner or q keeps the states, so a sweep is smooth.
  // Returns whether the side was designed anew.
  bool Design(RButterworthKind side, int32_t order, double frequency, double sampleRate, double q) noexcept;
  int32_t GetStageCount(RButterworthKind side) const noexcept { return sides_[Index(side)].count; }

  // Clears every state: the chain forgets the signal so far.
  void Clear() noexcept;

  // Runs the high-pass stages, then the low-pass stages, 256 samples at a time through each
  // stack, input to output; a side that is off passes its input on. Pairs of channels run
  // side by side. A null input channel counts as silence; a null output channel is skipped.
  // Channels beyond those of Setup are copied unfiltered.
  void Process(const float* const* inputs, float* const* outputs, int32_t channels, int32_t frames) noexcept;

  // The response of both sides together at a frequency in Hz, from the coefficients.
  std::complex<double> Response(double frequency) const noexcept;

private:
  struct Side {
    RBiquad stages[kMaxButterworthStages];
    // The coefficients side by side, as the cascade kernels want them.
    RBiquadCoefficients packed[kMaxButterworthStages];
    int32_t count = 0;
    int32_t order = 0;
    double frequency = 0.0;
    double sampleRate = 0.0;
    double q = 0.0;
  };

  static int32_t Index(RButterworthKind side) noexcept { return int32_t(side); }
  RBiquadState* States(int32_t channel, int32_t side) noexcept {
    return states_.data() + (size_t(channel) * kSides + size_t(side)) * kMaxButterworthStages;
  }
  void ClearSide(int32_t side) noexcept;
  void RunChannel(const float* in, float* out, int32_t channel, int32_t frames) noexcept;
  void RunPair(const float* inLeft, const float* inRight, float* outLeft, float* outRight, int32_t channel,
               int32_t frames) noexcept;

  Side sides_[kSides];
  int32_t channels_ = 0;
  // kMaxButterworthStages states per side and channel: channel-major, then side.
  std::vector<RBiquadState> states_;
};
