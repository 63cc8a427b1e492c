#pragma once
// The transfer curve of RTransferBender, in units of the ceiling (1 is the Clip threshold):
// straight up to the knee k = 1 - shape, then a tanh bend of width 1 - k that meets the line
// with the same slope and approaches 1 without reaching it:
//   c(u) = u                                         for |u| <= k
//   c(u) = sign(u) (k + (1 - k) tanh((|u| - k) / (1 - k)))   beyond.
// Shape 0 is the hard clip, shape 1 a tanh from the start. Its antiderivative is closed too,
// so the curve runs anti-aliased (modules/warmthstage/adaa.h); as a mean of values within
// +-1 the anti-aliased output stays within +-1, and RunBenderCurve holds it there besides, so
// that rounding never lifts a peak over the ceiling.
//
// While two successive samples both lie on the straight part, the curve is the identity and
// there is nothing to anti-alias: the sample passes as it is. The mean over the segment would
// cost a half-sample average, 6 dB at 16 kHz at 48 kHz, on every signal that never clips; the
// clipper sits last in the product's chain and must be transparent below its knee.
//
// [audio-thread], allocation-free.

#include <cstdint>

#include "modules/dsp/gainstages.h"
#include "modules/warmthstage/adaa.h"

class RBenderCurve {
public:
  explicit RBenderCurve(double shape = 0.0) noexcept { SetShape(shape); }
  // shape in 0..1, held to it.
  void SetShape(double shape) noexcept;
  double GetShape() const noexcept { return 1.0 - knee_; }
  // Where the straight part ends, in units of the ceiling.
  double GetKnee() const noexcept { return knee_; }

  double Value(double u) const noexcept;
  double Integral(double u) const noexcept;

private:
  double knee_ = 1.0;
  double width_ = 0.0;  // 1 - knee; 0 is the hard clip
};

// A value's course over a block: start and step per sample.
// samples (the driven signal) through the curve around ceiling(i): y = ceiling c(x / ceiling),
// anti-aliased, never beyond +-ceiling.
void RunBenderCurve(const RBenderCurve& curve, float* samples, int32_t count, RBlockRamp ceiling,
                    RAntiderivativeState& state) noexcept;
