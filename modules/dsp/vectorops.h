#pragma once
// RVectorOps: the plain vector operations the modules call for buffers of audio. A thin
// layer: each is one loop that the compiler vectorises, except the sum of squares, which is a
// per-processor kernel (modules/dsp/dspkernels.h). Pointers need no alignment; a count of 0
// or less does nothing. Source and destination may be the same buffer where a form reads and
// writes one buffer per element; otherwise they don't overlap.
//
// [any-thread], allocation-free and noexcept.

#include <cstdint>

namespace RVectorOps {

void Copy(const float* src, float* dst, int32_t count) noexcept;                  // dst = src
void Zero(float* dst, int32_t count) noexcept;                                    // dst = 0
void Set(float* dst, int32_t count, float value) noexcept;                        // dst = value
void MultiplyByConstant(const float* src, float* dst, int32_t count, float k) noexcept;  // dst = src k
void MultiplyAdd(const float* src, float* dst, int32_t count, float k) noexcept;  // dst += src k
void Multiply(const float* a, const float* b, float* dst, int32_t count) noexcept;    // dst = a b
void AddProduct(const float* a, const float* b, float* dst, int32_t count) noexcept;  // dst += a b
void Square(const float* src, float* dst, int32_t count) noexcept;                    // dst = src^2
double SumOfSquares(const float* src, int32_t count) noexcept;                      // sum of src^2
void UpperLimit(float* dst, int32_t count, float k) noexcept;                       // dst = min(dst, k)

} // namespace RVectorOps
