#pragma once
// Vector kernels of the DSP primitives: filter runs, gain ramps into another buffer, dry/wet
// mixes and sums of squares. Panorama, width and in-place gain live in kernel/blockkernels.h.
//
// Like kernel/valuekernels.h, each kernel is compiled once per processor level and the build
// for the running processor is picked at the first call through a slot table; later calls
// cost one indirect call. Every build gives the result of the plain scalar form: the filter
// runs bit for bit (same operations in the same order, no fused multiply-add), the rest
// within a few units in the last place. Pointers need no alignment, a count of 0 or less
// does nothing.
//
// [any-thread], allocation-free and noexcept: safe on the audio thread.

#include <cstdint>

#include "modules/dsp/biquadstate.h"

namespace RDspKernels {

// What a stage's output and stored state are held to: a stage whose coefficients change
// under it can't run away, and a NaN becomes 0 so that it never stays in the state.
constexpr double kBiquadLimit = 100000.0;

// Runs one channel through stageCount stages in turn, in chunks of kBiquadChunk samples, so
// that a chunk stays in cache through the whole stack. in may equal out. Intermediate
// results between stages are 32-bit, as if each stage ran over the whole buffer by itself.
constexpr int32_t kBiquadChunk = 256;
void BiquadCascade(const RBiquadCoefficients* stages, RBiquadState* states, int32_t stageCount, const float* in,
                   float* out, int32_t count) noexcept;

// The same for a pair of channels through the same stages, the two channels side by side in
// one vector: left and right hold stageCount states each.
void BiquadCascadePair(const RBiquadCoefficients* stages, RBiquadState* left, RBiquadState* right,
                       int32_t stageCount, const float* inLeft, const float* inRight, float* outLeft,
                       float* outRight, int32_t count) noexcept;

// out[i] = in[i] * (start + i * increment). in may equal out.
void ScaleRampInto(const float* in, float* out, int32_t count, float start, float increment) noexcept;

// out[i] = dry[i] * dryGain + wet[i] * wetGain. out may equal dry or wet.
void Mix(const float* dry, const float* wet, float* out, int32_t count, float dryGain, float wetGain) noexcept;

// The mix with w = start + i * increment held within 0..1: wet w and dry 1 - w, or with
// equalPower wet sin(w pi / 2) and dry cos(w pi / 2). out may equal dry or wet.
void MixRamp(const float* dry, const float* wet, float* out, int32_t count, float start, float increment,
             bool equalPower) noexcept;

// out[i] = scale * sum over channels of channels[c][i]^2: the power of a block of frames.
void SumSquaresOverChannels(const float* const* channels, int32_t channelCount, float* out, int32_t count,
                            float scale) noexcept;

// The sum of x[i]^2, accumulated in 64-bit.
double SumOfSquares(const float* x, int32_t count) noexcept;
// out[i] = log(cosh(x[i])), the antiderivative of tanh, for any finite x (in place allowed):
// the saturator's anti-aliasing takes a block of them at once.
void LogCosh(const double* x, double* out, int32_t count) noexcept;

} // namespace RDspKernels
