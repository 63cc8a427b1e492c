#include "modules/dsp/vectorops.h"

#include <algorithm>
#include <cstring>

#include "modules/dsp/dspkernels.h"

namespace RVectorOps {

void Copy(const float* src, float* dst, int32_t count) noexcept {
  if (count > 0 && src != dst) std::memmove(dst, src, size_t(count) * sizeof(float));
}

void Zero(float* dst, int32_t count) noexcept {
  if (count > 0) std::memset(dst, 0, size_t(count) * sizeof(float));
}

void Set(float* dst, int32_t count, float value) noexcept {
  if (count > 0) std::fill(dst, dst + count, value);
}

void MultiplyByConstant(const float* src, float* dst, int32_t count, float k) noexcept {
  for (int32_t i = 0; i < count; ++i) dst[i] = src[i] * k;
}

void MultiplyAdd(const float* src, float* dst, int32_t count, float k) noexcept {
  for (int32_t i = 0; i < count; ++i) dst[i] += src[i] * k;
}

void Multiply(const float* a, const float* b, float* dst, int32_t count) noexcept {
  for (int32_t i = 0; i < count; ++i) dst[i] = a[i] * b[i];
}

void AddProduct(const float* a, const float* b, float* dst, int32_t count) noexcept {
  for (int32_t i = 0; i < count; ++i) dst[i] += a[i] * b[i];
}

void Square(const float* src, float* dst, int32_t count) noexcept {
  for (int32_t i = 0; i < count; ++i) dst[i] = src[i] * src[i];
}

double SumOfSquares(const float* src, int32_t count) noexcept { return RDspKernels::SumOfSquares(src, count); }

void UpperLimit(float* dst, int32_t count, float k) noexcept {
  for (int32_t i = 0; i < count; ++i) dst[i] = std::min(dst[i], k);
}

} // namespace RVectorOps
