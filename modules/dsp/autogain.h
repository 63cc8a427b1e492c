#pragma once
// RAutoGain: keeps a module's output as loud as its input. Both sides are measured the same
// way, K-weighted (the loudness weighting of ITU-R BS.1770: a +4 dB shelf above 1.5 kHz and a
// high-pass at 38 Hz) and averaged over a sliding window of 0.4 s; the output is then scaled
// by sqrt(input power / output power), held within 0.01..100 and ramped linearly over each
// block. For the first two seconds after Setup the gain never exceeds 1, so a module that
// starts from silence isn't blasted up while its window fills.
//
// Setup allocates; MeasureInput and Apply are [audio-thread], allocation-free and noexcept.
// Call MeasureInput with the module's input before processing and Apply on its output after.

#include <cstdint>
#include <vector>

#include "modules/dsp/biquad.h"
#include "modules/dsp/movingsum.h"

class RAutoGain {
public:
  void Setup(int32_t channels, double sampleRate);
  // Clears windows, filter states, warm-up and gain as Setup does, without allocating.
  void Clear() noexcept;

  void MeasureInput(const float* const* channels, int32_t count) noexcept;
  void Apply(float* const* channels, int32_t count) noexcept;

  // Off: the sides are measured without the loudness weighting.
  void SetWeighting(bool on) noexcept { weighting_ = on; }
  // The gain reached at the end of the last Apply.
  float GetGain() const noexcept { return previousGain_; }
  // The windowed mean power of each side.
  double GetInputPower() const noexcept { return input_.GetMean(); }
  double GetOutputPower() const noexcept { return output_.GetMean(); }

  static constexpr double kWindowSeconds = 0.4;

private:
  // Steps 1 to 3 for one side: weighting, mean square over the channels, into the window.
  void Measure(const float* const* channels, int32_t count, RMovingSum& window, RBiquadState* states) noexcept;

  RMovingSum input_;
  RMovingSum output_;
  RBiquad stages_[2];
  // Two states per channel for each side: channel c's stages at 2c and 2c + 1.
  std::vector<RBiquadState> inputStates_;
  std::vector<RBiquadState> outputStates_;
  // Scratch for one chunk of filtered channels, and their power.
  std::vector<float> scratch_;
  std::vector<const float*> pointers_;
  int32_t channels_ = 0;
  double sampleRate_ = 0.0;
  int64_t warmUp_ = 0;
  bool weighting_ = true;
  float previousGain_ = 0.0f;
};
