// Compiled once per target by foreach_target.h: this file includes itself with HWY_TARGET set
// to each processor level in turn, and HWY_EXPORT gathers the builds into one slot table.
#include "modulation/shapekernels.h"

#include <cstddef>
#include <cstring>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "modulation/shapekernels.cpp"
#include "hwy/foreach_target.h"  // IWYU pragma: keep

#include "hwy/highway.h"

HWY_BEFORE_NAMESPACE();
namespace quillon_shape_kernels {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

// Positions and values are computed in doubles; float output is demoted once at the store.
// Tails go through one padded vector so that the last samples see the same arithmetic.
template <typename T, class Op>
HWY_INLINE void Generate(T* out, int32_t count, const Op& op) {
  const hn::ScalableTag<double> dd;
  const hn::Rebind<T, decltype(dd)> dt;
  const size_t lanes = hn::Lanes(dd);
  const size_t n = count > 0 ? size_t(count) : 0;
  size_t i = 0;
  for (; i + lanes <= n; i += lanes) {
    if constexpr (sizeof(T) == sizeof(double)) hn::StoreU(op(dd, i), dt, out + i);
    else hn::StoreU(hn::DemoteTo(dt, op(dd, i)), dt, out + i);
  }
  const size_t rest = n - i;
  if (rest == 0) return;
  HWY_ALIGN T buffer[HWY_MAX_BYTES / sizeof(double)] = {};
  if constexpr (sizeof(T) == sizeof(double)) hn::Store(op(dd, i), dt, buffer);
  else hn::Store(hn::DemoteTo(dt, op(dd, i)), dt, buffer);
  std::memcpy(out + i, buffer, rest * sizeof(T));
}

template <typename T>
HWY_INLINE void FillT(T* out, int32_t count, double value) {
  Generate(out, count, [value](auto d, size_t) { return hn::Set(d, value); });
}

template <typename T>
HWY_INLINE void PolynomialT(T* out, int32_t count, int32_t first, double start, double step, double origin,
                            double scale, const double* c, int32_t degree) {
  Generate(out, count, [=](auto d, size_t i) {
    const auto index = hn::Add(hn::Iota(d, 0.0), hn::Set(d, double(first) + double(i)));
    const auto x = hn::Add(hn::Mul(index, hn::Set(d, step)), hn::Set(d, start));
    const auto u = hn::Mul(hn::Sub(x, hn::Set(d, origin)), hn::Set(d, scale));
    auto y = hn::Set(d, c[degree]);
    for (int32_t k = degree - 1; k >= 0; --k) y = hn::Add(hn::Mul(y, u), hn::Set(d, c[k]));
    return y;
  });
}

HWY_NOINLINE void FillF32(float* out, int32_t count, double value) { FillT(out, count, value); }
HWY_NOINLINE void FillF64(double* out, int32_t count, double value) { FillT(out, count, value); }
HWY_NOINLINE void PolynomialF32(float* out, int32_t count, int32_t first, double start, double step, double origin,
                                double scale, const double* c, int32_t degree) {
  PolynomialT(out, count, first, start, step, origin, scale, c, degree);
}
HWY_NOINLINE void PolynomialF64(double* out, int32_t count, int32_t first, double start, double step, double origin,
                                double scale, const double* c, int32_t degree) {
  PolynomialT(out, count, first, start, step, origin, scale, c, degree);
}

} // namespace HWY_NAMESPACE
} // namespace quillon_shape_kernels
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace quillon_shape_kernels {
HWY_EXPORT(FillF32);
HWY_EXPORT(FillF64);
HWY_EXPORT(PolynomialF32);
HWY_EXPORT(PolynomialF64);
} // namespace quillon_shape_kernels

namespace RShapeKernels {
using namespace quillon_shape_kernels;

void Fill(float* out, int32_t count, double value) noexcept { HWY_DYNAMIC_DISPATCH(FillF32)(out, count, value); }
void Fill(double* out, int32_t count, double value) noexcept { HWY_DYNAMIC_DISPATCH(FillF64)(out, count, value); }
void Polynomial(float* out, int32_t count, int32_t first, double start, double step, double origin, double scale,
                const double* coefficients, int32_t degree) noexcept {
  HWY_DYNAMIC_DISPATCH(PolynomialF32)(out, count, first, start, step, origin, scale, coefficients, degree);
}
void Polynomial(double* out, int32_t count, int32_t first, double start, double step, double origin,
                double scale, const double* coefficients, int32_t degree) noexcept {
  HWY_DYNAMIC_DISPATCH(PolynomialF64)(out, count, first, start, step, origin, scale, coefficients, degree);
}

} // namespace RShapeKernels
#endif  // HWY_ONCE
