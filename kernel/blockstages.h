#pragma once
// Block stages: a module's gain, panorama and stereo width, each driven by a value of its
// own and applied in place over one block with a per-block ramp. The ramp comes from the
// value's GetRamp (start at the value of the last block's end, a step per sample towards the
// processing value) and the stage marks it done, so each value must feed one stage per
// block.
//
// Panorama law. A pan p in -1..1 moves the far channel over rather than fading it out:
//   p >= 0: left = (1 - p) L,  right = R + p L
//   p <  0: left = L - p R,    right = (1 + p) R
// Left plus right always equals L + R, so a mono fold-down of the output is the same at
// every position and a hard-panned stereo source keeps both of its channels, now on one
// side. An equal-power balance, the other common choice, keeps the loudness of each side
// but throws the panned-away channel away, which is wrong for a stereo source (half the
// signal would vanish at the sides). Modules that want more level towards the sides pass a
// law gain: every term is scaled by 1 + (law - 1) |p|; 1 leaves the law as it stands.
//
// Width. For f in -1..1: side = (L - R) / 2 scaled by f + 1, mid = (L + R) / 2, so -1 is mono,
// 0 the signal as it is and 1 twice the side. The level is then compensated by
// g = 0.55 f^2 - 4.85 f dB when widening and -2.3 f dB when narrowing, which roughly undoes
// the level change of an uncorrelated pair (about -3 dB folded to mono, +4 dB with the side
// doubled), so that moving the width doesn't read as moving the volume.
//
// [audio-thread], allocation-free and noexcept. Null channel pointers are skipped; a count of
// 0 or less does nothing and leaves the ramp for the next block.

#include <cstdint>

class RRangedValue;

// Multiplies every channel by the value's real value (a linear factor): nothing at a factor
// within 1e-10 of 1.
void ApplyGain(RRangedValue& gain, float* const* channels, int32_t channelCount, int32_t frames) noexcept;

// Pans the pair by the value's real value (-1 left .. 1 right); nothing at a pan below 1e-10.
// lawGain as above (a law within 1e-5 of 1 counts as 1).
void ApplyPanorama(RRangedValue& pan, float* left, float* right, int32_t frames, double lawGain = 1.0) noexcept;

// Widens or narrows the pair by the value's real value (-1 .. 1); nothing below 1e-10.
void ApplyWidth(RRangedValue& width, float* left, float* right, int32_t frames) noexcept;

// The width stage's level compensation as a linear gain: 10^(g / 20) with g as above.
double WidthCompensation(double width) noexcept;
