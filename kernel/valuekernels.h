#pragma once
// Vector kernels that turn a buffer of normalised values (0..1) into real values, for the
// block forms of RValueRange::NormalisedToReal: a modulated parameter becomes a whole buffer
// of real values in one call instead of one virtual call per sample.
//
// Each kernel is compiled once per processor level (SSE2/SSSE3/SSE4, AVX2, AVX-512, as the
// compiler offers) and the build for the running processor is picked at the first call
// through a slot table; later calls cost one indirect call. Pointers need no alignment, the
// count may be any size (the tail goes through one padded vector), and in may equal out.
//
// [any-thread], allocation-free and noexcept: safe on the audio thread.

#include <cstdint>

namespace RValueKernels {

// out[i] = offset + scale * in[i]: the linear mapping min + n * (max - min).
void MultiplyAdd(const float* in, float* out, int32_t count, float scale, float offset) noexcept;
void MultiplyAdd(const double* in, double* out, int32_t count, double scale, double offset) noexcept;

// out[i] = offset + scale * in[i]^4: the time mapping min + n^4 * (max - min).
void FourthPowerMultiplyAdd(const float* in, float* out, int32_t count, float scale, float offset) noexcept;
void FourthPowerMultiplyAdd(const double* in, double* out, int32_t count, double scale, double offset) noexcept;

// out[i] = exp(offset + scale * in[i]): the frequency mapping exp(logMin + n * (logMax - logMin)).
// Within 2 ulp of std::exp of the same argument.
void MultiplyAddExp(const float* in, float* out, int32_t count, float scale, float offset) noexcept;
void MultiplyAddExp(const double* in, double* out, int32_t count, double scale, double offset) noexcept;

} // namespace RValueKernels
