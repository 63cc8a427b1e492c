#pragma once
// Filter cascades whose independent channels or paths sit side by side in the lanes of one
// vector, every stage of the cascade taken per sample. A second-order stage's recursion costs
// the latency of a multiply and two adds per sample; run stage after stage over a buffer, one
// channel at a time, that latency is all a cascade gets done. Taking every stage of every lane
// per sample gives the processor independent recursions to overlap: the frequency shifter,
// whose eight-stage prefilter and two four-stage all-pass paths run here, went from 113 to
// 20 ns a stereo frame at 48 kHz. A pair of channels, which fills only half a vector of four,
// runs longer buffers as a wavefront, the stages themselves side by side, each one sample
// behind the one before; every way of running a pair gives the same bits.
//
// A lane's state is the last two values at each node of its cascade (its input, between two
// stages, its output): the output history of one stage is the input history of the next, so
// it is kept once. Coefficients and state are 64-bit, as in RBiquad, and values between
// stages stay 64-bit; only the input and the output are 32-bit.
//
// Each kernel is compiled once per processor level and picked at the first call, like those
// of modules/dsp/dspkernels.h; products and sums come in one fixed order with nothing fused,
// so every build gives the same bits. The input is limited like RBiquad's (a NaN becomes 0,
// the rest is held to +-RDspKernels::kBiquadLimit); the stages aren't, as the cascades run
// here are stable for any state.
//
// [any-thread], allocation-free and noexcept: safe on the audio thread.

#include <cstdint>

#include "modules/dsp/biquadstate.h"

namespace RLaneFilters {

constexpr int32_t kMaxStages = 8;
constexpr int32_t kMaxLanes = 4;

// One stage's coefficients, lane by lane: each lane may run a filter of its own.
struct RLaneStage {
  // The general second-order form, as RBiquadCoefficients:
  // y = b0 x + b1 x1 + b2 x2 + f2 y2 + f1 y1.
  double b0[kMaxLanes] = {};
  double b1[kMaxLanes] = {};
  double b2[kMaxLanes] = {};
  double f1[kMaxLanes] = {};
  double f2[kMaxLanes] = {};

  // Sets one lane from a designed stage.
  void Set(int32_t lane, const RBiquadCoefficients& coefficients) noexcept;
};

// One lane's cascade: z1[k] and z2[k] are the last and the one-before-last value at node k,
// node 0 being the input and node k the output of stage k - 1. Zero is the cleared state.
struct RLaneState {
  double z1[kMaxStages + 1] = {};
  double z2[kMaxStages + 1] = {};

  void Clear() noexcept { *this = RLaneState(); }
};

// Two lanes through stageCount general stages (at most kMaxStages). A null state runs its
// lane on a cleared scratch state; a null output drops the lane's result. in may equal out.
void BiquadPair(const RLaneStage* stages, int32_t stageCount, RLaneState* const states[2],
                const float* const inputs[2], float* const outputs[2], int32_t count) noexcept;

// Four lanes through stageCount second-order all-pass stages, which need only f1 and f2 of
// each lane: b0 = -f2, b1 = -f1, b2 = 1, and y = a2 (x - y2) + x2 + a1 x1 - a1 y1 with a1 = -f1,
// a2 = -f2 costs three multiplies instead of five, one of them in the recursion. Null states
// and outputs as in BiquadPair.
void AllPassQuad(const RLaneStage* stages, int32_t stageCount, RLaneState* const states[4],
                 const float* const inputs[4], float* const outputs[4], int32_t count) noexcept;

} // namespace RLaneFilters
