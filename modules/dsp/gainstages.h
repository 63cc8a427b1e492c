#pragma once
// The gain and dry/wet stages of the modules, out of place: a ramped parameter gives per
// block a start and a step per sample (RValue::GetRamp), and the stage applies it over the
// block. A step below 1e-10 counts as none: a gain of exactly 1 is then a copy (or nothing in
// place) and any other gain a constant multiply; otherwise a linear ramp is multiplied in, in
// single precision. The in-place gain, panorama and width of a value live in
// kernel/blockstages.h.
//
// [audio-thread], allocation-free and noexcept. A count of 0 or less does nothing.

#include <cstdint>

class RRangedValue;

// A value's course over one block: where it starts and its step per sample (0 while it holds).
struct RBlockRamp {
  double start = 0.0;
  double step = 0.0;

  bool Ramps() const noexcept { return step != 0.0; }
  double At(int32_t i) const noexcept { return start + double(i) * step; }
};

// The value's ramp over the block (a change below 1e-10 is none: the value holds), and the
// ramp consumed: the next block starts where this one ends. Each value feeds one stage a block.
RBlockRamp TakeBlockRamp(RRangedValue& value, int32_t frames) noexcept;

// out[i] = in[i] * (start + i * step); in may equal out. A null in (an input that is not
// connected) gives silence.
void GainStage(const float* in, float* out, int32_t count, double start, double step) noexcept;

// How the dry and wet parts share the mix w in 0..1.
enum class RDryWetLaw : int32_t {
  kLinear = 0,      // wet w, dry 1 - w: the sum of two equal signals keeps its level
  kEqualPower = 1,  // wet sin(w pi / 2), dry cos(w pi / 2): unrelated signals keep their loudness
};

// out[i] = dry part of dry[i] + wet part of wet[i] with w = start + i * step held within
// 0..1; out may equal dry or wet. At w exactly 0 or 1 (and no step) it is a copy.
void DryWetStage(const float* dry, const float* wet, float* out, int32_t count, double start, double step,
                 RDryWetLaw law) noexcept;

// The dry/wet stage of a value over each channel pair dry[c] -> wet[c] (in place in wet),
// the mix being the value's real value times scale (0.01 for a percentage); marks the ramp
// done. A channel without dry (dry or dry[c] null) mixes with silence: only its wet part
// stays. Null wet channels are skipped.
void ApplyDryWet(RRangedValue& mix, double scale, const float* const* dry, float* const* wet, int32_t channels,
                 int32_t frames, RDryWetLaw law) noexcept;
