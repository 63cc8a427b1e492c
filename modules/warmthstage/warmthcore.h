#pragma once
// The saturating core of RWarmthStage: a tanh curve with antiderivative anti-aliasing, a bias
// that moves the working point off centre for even harmonics, and the gain after the curve
// that keeps a sine at the reference level (-18 dBFS) as loud as it came in, whatever the
// drive and bias. The bias's offset is taken off at once; what asymmetry leaves as DC is the
// DC blocker's work in the module.
//
// RWarmthLevelMatch is built once (a table over drive and bias) on the first call, which the
// module's constructor makes on the host thread; Makeup and RunWarmthCurve are
// [audio-thread], allocation-free.

#include <cstdint>

#include "modules/dsp/gainstages.h"
#include "modules/warmthstage/adaa.h"

struct RWarmthCurve {
  static double Value(double x) noexcept;
  static double Integral(double x) noexcept { return LogCosh(x); }
};

class RWarmthLevelMatch {
public:
  // -18 dBFS: the level a mix runs at, where Drive should change colour and not loudness.
  static constexpr double kReferenceLevel = 0.12589254117941673;
  static constexpr double kMaxDriveDb = 36.0;
  // The offset at the curve's input for Bias 1.
  static constexpr double kMaxBias = 1.0;

  // The gain after the curve for a drive (linear, 1..63) and a bias (0..1), interpolated in
  // the table; values outside the ranges are held to them.
  static double Makeup(double drive, double bias) noexcept;
  // The same computed directly: what the table holds at its points.
  static double ComputeMakeup(double drive, double bias) noexcept;
};

// A value's course over a block: start and step per sample.
// samples holds the driven (and pre-emphasised) signal; each becomes
// makeup(drive, bias) (curve(x + bias) - tanh(bias)) through the anti-aliased curve, bias
// (0..1) scaled to curve units. While drive or bias glides the makeup follows them sample by
// sample: a straight line between the block's ends would swell the level in the middle.
void RunWarmthCurve(float* samples, int32_t count, RBlockRamp drive, RBlockRamp bias,
                    RAntiderivativeState& state) noexcept;
