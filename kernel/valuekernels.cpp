// Compiled once per target by foreach_target.h: this file includes itself with HWY_TARGET set
// to each processor level in turn, and HWY_EXPORT gathers the builds into one slot table.
#include "kernel/valuekernels.h"

#include <cstddef>
#include <cstring>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernel/valuekernels.cpp"
#include "hwy/foreach_target.h"  // IWYU pragma: keep

#include "hwy/contrib/math/math-inl.h"
#include "hwy/highway.h"

HWY_BEFORE_NAMESPACE();
namespace quillon_value_kernels {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

// Runs op over whole vectors, then over the tail copied into one zero-padded vector, so that
// the last samples see exactly the arithmetic of the others and nothing reads past the end.
template <typename T, class Op>
HWY_INLINE void Transform(const T* in, T* out, int32_t count, const Op& op) {
  const hn::ScalableTag<T> d;
  const size_t lanes = hn::Lanes(d);
  const size_t n = count > 0 ? size_t(count) : 0;
  size_t i = 0;
  for (; i + lanes <= n; i += lanes) hn::StoreU(op(d, hn::LoadU(d, in + i)), d, out + i);
  const size_t rest = n - i;
  if (rest == 0) return;
  HWY_ALIGN T buffer[HWY_MAX_BYTES / sizeof(T)] = {};
  std::memcpy(buffer, in + i, rest * sizeof(T));
  hn::Store(op(d, hn::Load(d, buffer)), d, buffer);
  std::memcpy(out + i, buffer, rest * sizeof(T));
}

template <typename T>
HWY_INLINE void MultiplyAddT(const T* in, T* out, int32_t count, T scale, T offset) {
  Transform(in, out, count, [scale, offset](auto d, auto v) {
    return hn::MulAdd(v, hn::Set(d, scale), hn::Set(d, offset));
  });
}

template <typename T>
HWY_INLINE void FourthPowerMultiplyAddT(const T* in, T* out, int32_t count, T scale, T offset) {
  Transform(in, out, count, [scale, offset](auto d, auto v) {
    const auto squared = hn::Mul(v, v);
    return hn::MulAdd(hn::Mul(squared, squared), hn::Set(d, scale), hn::Set(d, offset));
  });
}

template <typename T>
HWY_INLINE void MultiplyAddExpT(const T* in, T* out, int32_t count, T scale, T offset) {
  Transform(in, out, count, [scale, offset](auto d, auto v) {
    return hn::Exp(d, hn::MulAdd(v, hn::Set(d, scale), hn::Set(d, offset)));
  });
}

// HWY_EXPORT takes plain function names, one per element type.
HWY_NOINLINE void MultiplyAddF32(const float* in, float* out, int32_t count, float scale, float offset) {
  MultiplyAddT(in, out, count, scale, offset);
}
HWY_NOINLINE void MultiplyAddF64(const double* in, double* out, int32_t count, double scale, double offset) {
  MultiplyAddT(in, out, count, scale, offset);
}
HWY_NOINLINE void FourthPowerMultiplyAddF32(const float* in, float* out, int32_t count, float scale, float offset) {
  FourthPowerMultiplyAddT(in, out, count, scale, offset);
}
HWY_NOINLINE void FourthPowerMultiplyAddF64(const double* in, double* out, int32_t count, double scale,
                                            double offset) {
  FourthPowerMultiplyAddT(in, out, count, scale, offset);
}
HWY_NOINLINE void MultiplyAddExpF32(const float* in, float* out, int32_t count, float scale, float offset) {
  MultiplyAddExpT(in, out, count, scale, offset);
}
HWY_NOINLINE void MultiplyAddExpF64(const double* in, double* out, int32_t count, double scale, double offset) {
  MultiplyAddExpT(in, out, count, scale, offset);
}

} // namespace HWY_NAMESPACE
} // namespace quillon_value_kernels
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace quillon_value_kernels {
HWY_EXPORT(MultiplyAddF32);
HWY_EXPORT(MultiplyAddF64);
HWY_EXPORT(FourthPowerMultiplyAddF32);
HWY_EXPORT(FourthPowerMultiplyAddF64);
HWY_EXPORT(MultiplyAddExpF32);
HWY_EXPORT(MultiplyAddExpF64);
} // namespace quillon_value_kernels

namespace RValueKernels {
using namespace quillon_value_kernels;

void MultiplyAdd(const float* in, float* out, int32_t count, float scale, float offset) noexcept {
  HWY_DYNAMIC_DISPATCH(MultiplyAddF32)(in, out, count, scale, offset);
}
void MultiplyAdd(const double* in, double* out, int32_t count, double scale, double offset) noexcept {
  HWY_DYNAMIC_DISPATCH(MultiplyAddF64)(in, out, count, scale, offset);
}
void FourthPowerMultiplyAdd(const float* in, float* out, int32_t count, float scale, float offset) noexcept {
  HWY_DYNAMIC_DISPATCH(FourthPowerMultiplyAddF32)(in, out, count, scale, offset);
}
void FourthPowerMultiplyAdd(const double* in, double* out, int32_t count, double scale, double offset) noexcept {
  HWY_DYNAMIC_DISPATCH(FourthPowerMultiplyAddF64)(in, out, count, scale, offset);
}
void MultiplyAddExp(const float* in, float* out, int32_t count, float scale, float offset) noexcept {
  HWY_DYNAMIC_DISPATCH(MultiplyAddExpF32)(in, out, count, scale, offset);
}
void MultiplyAddExp(const double* in, double* out, int32_t count, double scale, double offset) noexcept {
  HWY_DYNAMIC_DISPATCH(MultiplyAddExpF64)(in, out, count, scale, offset);
}

} // namespace RValueKernels
#endif  // HWY_ONCE
