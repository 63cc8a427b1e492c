#pragma once
// RWarmthStage: a smooth saturator. A block runs, per channel:
//   Drive -> pre-emphasis (Tone) -> + Bias -> tanh, anti-aliased -> level match
//   -> de-emphasis -> DC blocker -> Output gain -> Dry/Wet (linear).
// The curve's mean over each step between samples is taken instead of its value
// (modules/warmthstage/adaa.h), which keeps aliasing down without oversampling. The gain after
// the curve brings a -18 dBFS sine back to its own loudness for any Drive and Bias, so that
// Drive changes colour far more than level. Tone tilts the signal around 1 kHz before the
// curve and tilts it back by the exact inverse after it: it chooses which band saturates first
// and leaves the balance of a clean signal alone. Bias shifts the working point for even
// harmonics; its offset is taken off after the curve and a 5 Hz high-pass removes the DC that
// the asymmetry leaves.
//
// Parameters, in table order: Drive, Tone, Bias, Output gain ("Output"), Dry/Wet. Every one
// glides; the tone filters are redesigned per sub-block while Tone moves. No latency beyond
// the curve's half sample; the only state is the filters' and the curve's memory.
//
// Construction and Setup_Locked on the host or editor thread under the kernel's locks;
// Process and ClearState are [audio-thread] and allocate nothing.

#include <vector>

#include "kernel/audioplugin.h"
#include "modules/common/modulevalues.h"
#include "modules/dsp/biquad.h"
#include "modules/warmthstage/warmthcore.h"

class RWarmthStage : public RAudioPlugin {
public:
  // The tilt's pivot and its swing at Tone +-1: the shelf's gain, half of it taken off the
  // lows so that the tilt turns about the pivot.
  static constexpr double kTonePivotHz = 1000.0;
  static constexpr double kToneSwingDb = 12.0;
  static constexpr double kDcBlockHz = 5.0;

  RWarmthStage();

  RGainValue& GetDrive() noexcept { return drive_; }
  RRealValue& GetTone() noexcept { return tone_; }
  RPercentValue& GetBias() noexcept { return bias_; }
  RGainValue& GetOutput() noexcept { return output_; }
  RPercentValue& GetDryWet() noexcept { return dryWet_; }

  // The pre-emphasis and de-emphasis in use. [audio-thread] or tests.
  const RBiquad& GetPreEmphasis() const noexcept { return preEmphasis_; }
  const RBiquad& GetDeEmphasis() const noexcept { return deEmphasis_; }

  void Setup_Locked() override;
  void ClearState() override;
  void Reset() override;
  void Process(float* const* inputs, float* const* outputs, int32_t frames) override;

private:
  struct Channel {
    RBiquadState pre;
    RBiquadState post;
    RBiquadState dcBlock;
    RAntiderivativeState curve;
  };

  void DesignTone(double tone);

  // Declared in the table's order: each registers itself as it is made.
  RGainValue drive_;
  RRealValue tone_;
  RPercentValue bias_;
  RGainValue output_;
  RPercentValue dryWet_;

  RBiquad preEmphasis_;
  RBiquad deEmphasis_;
  RBiquad dcBlock_;
  double designedTone_ = 0.0;
  std::vector<Channel> channels_;  // sized by Setup_Locked
};

// Enters the module under its catalogue Id "WarmthStage". [host-thread], at start.
void RegisterWarmthStage();
