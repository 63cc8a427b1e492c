#pragma once
// The crossfade laws of the blends: for a position r in 0..1 the gain A of the signal being
// faded in and the gain B of the signal being faded out. RTwoWayBlend fades from its main
// input (r 0) to its side chain (r 1); RManyWayBlend uses the same law between each pair of
// neighbouring buses, with r the fraction of the way from one to the next.
//
// The laws, by the index the Mode parameter stores:
//   0 Squared         A = r^2                               B = (1 - r)^2
//   1 Linear          A = r                                 B = 1 - r
//   2 Constant power  A = sin(r pi/2)                       B = cos(r pi/2)
//   3 Transition      A = min(2r, 1)                        B = min(2 - 2r, 1)
//   4 Fade            A = sin(min(pi r, pi/2))              B = sin(min(pi - pi r, pi/2))
//   5 Fade smooth     A = (1 + sin(min(2 pi r - pi/2, pi/2))) / 2   B mirrored
//   6 Cut             A = sin(min(2 pi r, pi/2))            B = sin(min(2 pi - 2 pi r, pi/2))
//   7 Cut smooth      A = (1 + sin(min(4 pi r - pi/2, pi/2))) / 2   B mirrored
// From Transition on, both signals stand at full level in the middle of the travel: Cut
// reaches 1 and 1 already at r 0.25 and holds both until 0.75, so that a morph passes
// through the sum of the two. Every law gives A 0 and B 1 at r 0, and A 1 and B 0 at r 1.
//
// [any-thread], allocation-free and noexcept.

#include <cstdint>

#include "base/array.h"
#include "base/string.h"

enum class RBlendMode : int32_t {
  kSquared = 0,
  kLinear,
  kConstantPower,
  kTransition,
  kFade,
  kFadeSmooth,
  kCut,
  kCutSmooth,
};

constexpr int32_t kBlendModeCount = 8;
constexpr RBlendMode kDefaultBlendMode = RBlendMode::kConstantPower;

struct RBlendGains {
  double a;  // the signal faded in
  double b;  // the signal faded out
};

// The law's name as the Mode parameter shows and stores it: "Constant power".
const char* BlendModeName(RBlendMode mode) noexcept;
// The items of a Mode parameter, in index order. [editor-thread]
RArray<RString> BlendModeItems();

// A mode index from a parameter, held to the table.
RBlendMode BlendModeOf(int32_t index) noexcept;

// A and B at r (held within 0..1).
RBlendGains BlendGainsAt(RBlendMode mode, double r) noexcept;

// A and B per sample for the positions r[i] (each held within 0..1), in single precision:
// within a few units in the last place of BlendGainsAt. Compiled per processor level and
// picked at the first call.
void BlendGainsOver(RBlendMode mode, const float* r, float* a, float* b, int32_t count) noexcept;

// out[i] = x[i] * b[i] + y[i] * a[i]: the crossfade with per-sample gains. out may be x or y.
void BlendMix(const float* x, const float* y, float* out, const float* a, const float* b, int32_t count) noexcept;
