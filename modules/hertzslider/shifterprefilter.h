#pragma once
// RShifterPrefilter: band-limits the frequency shifter's input to where its phase network
// keeps quadrature. Below the band the two paths are no longer 90 degrees apart and a shifted
// tone comes out with its mirror image; content near the top, shifted up, folds back at
// Nyquist. Eight stages in three groups:
//   three  a 6th-order Butterworth high-pass at 20 Hz: rumble and offsets out, whose shift
//          would be a tone at the shift frequency;
//   four   an 8th-order Butterworth low-pass at 18 kHz, or 0.42 of the rate below 44.1 kHz;
//   one    a bilinear one-pole low-pass at 0.45 of the rate, a zero at Nyquist to take the
//          last of the top octave.
//
// A stereo pair runs as two lanes of one cascade (modules/dsp/lanefilters.h), every stage per
// sample, with 64-bit values between the stages.
//
// Design runs at setup (it rests on the sample rate only); Run is [audio-thread],
// allocation-free and noexcept.

#include <cstdint>

#include "modules/dsp/biquad.h"
#include "modules/dsp/lanefilters.h"

class RShifterPrefilter {
public:
  static constexpr int32_t kStageCount = 8;
  static constexpr double kHighPassHz = 20.0;
  static constexpr double kLowPassHz = 18000.0;

  struct State {
    RLaneFilters::RLaneState stages;
    void Clear() noexcept;
  };
  static_assert(kStageCount <= RLaneFilters::kMaxStages);

  void Design(double sampleRate);
  // input may equal output.
  void Run(State& state, const float* input, float* output, int32_t count) const noexcept;
  // Two channels at once; each input may equal its output.
  void RunPair(State& left, State& right, const float* inLeft, const float* inRight, float* outLeft,
               float* outRight, int32_t count) const noexcept;
  const RBiquad* GetStages() const noexcept { return stages_; }

private:
  RBiquad stages_[kStageCount];
  RLaneFilters::RLaneStage lanes_[kStageCount];  // the same stages in both lanes
};
