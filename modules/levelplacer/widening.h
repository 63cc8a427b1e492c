#pragma once
// The widening stage of RLevelPlacer: with k = widening + 1,
//   left = b L + a R,  right = a L + b R,  a = c (1 - k),  b = c (1 + k),
//   c = 0.5 / sqrt(0.5 k^2 + 0.5),
// so that widening -1 folds to mono, 0 leaves the pair as it is and 2 triples the side
// against the mid. The square root keeps a^2 + b^2 at 1: an uncorrelated pair keeps its level
// at every setting, and a mono source drops by 3 dB at full widening where a plain M/S gain
// would lose it entirely.
//
// The kernel's width stage (kernel/blockstages.h) is a different stage on purpose: it runs
// -1..1 and follows a fitted decibel curve for its level, which would not meet this stage's
// exact normalisation nor its reach to 2.
//
// [audio-thread], allocation-free and noexcept.

#include <cstdint>

class RRangedValue;

// The pair's gains for a widening (held within -1..2).
struct RWideningGains {
  double same;   // b: a channel's own share
  double other;  // a: the other channel's share
};
RWideningGains WideningGainsOf(double widening) noexcept;

// Widens the pair in place by the value's real value, gliding sample by sample when it moves;
// nothing when it stands within 1e-10 of 0. Marks the ramp done. Null channels: nothing.
void ApplyWidening(RRangedValue& widening, float* left, float* right, int32_t frames) noexcept;

namespace RWideningKernels {
// The stage with widening w = start + i * increment, held within -1..2, sample by sample.
// Compiled per processor level, picked at the first call.
void WideningRamp(float* left, float* right, int32_t count, float start, float increment) noexcept;
} // namespace RWideningKernels
