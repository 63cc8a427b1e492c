#pragma once
// Vector kernels of the oversampler's polyphase filters (kernel/oversampler.h): one phase of
// an FIR over a block, the taps outside and the samples inside the inner loop, so that each
// output vector stays in registers across all taps (one load and one fused multiply-add per
// tap and vector); and the moves between an oversampled buffer and its phases, which at 2x to
// 4x would otherwise cost a third as much as the filters themselves.
//
// Like kernel/blockkernels.h, it is compiled once per processor level and the build for the
// running processor is picked at the first call.
//
// [any-thread], allocation-free and noexcept: safe on the audio thread.

#include <cstdint>

namespace RFirKernels {

// out[n] = sum over t < tapCount of taps[t] * x[n - t], for n in 0..count-1; with accumulate
// the sum is added to out[n] instead. x must be readable from x - (tapCount - 1); x and out
// must not overlap. A count or tapCount of 0 or less writes nothing (or zeros, for a
// tapCount of 0 without accumulate).
void Convolve(const float* x, const float* taps, int32_t tapCount, float* out, int32_t count,
              bool accumulate) noexcept;

// out[n * factor + p] = phases[p][n] for n < count and p < factor.
void Interleave(const float* const* phases, int32_t factor, int32_t count, float* out) noexcept;
// phases[p][n] = in[n * factor + p], a non-finite value taken as 0 (with a factor of 1, a copy
// that keeps infinities and NaN out of a filter's history).
void DeinterleaveFinite(const float* in, int32_t factor, int32_t count, float* const* phases) noexcept;

} // namespace RFirKernels
