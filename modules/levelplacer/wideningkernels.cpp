// The per-sample widening kernel of modules/levelplacer/widening.h, compiled once per target
// by foreach_target.h as the kernel's own block kernels are.
#include "modules/levelplacer/widening.h"

#include <cstddef>
#include <cstring>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "modules/levelplacer/wideningkernels.cpp"
#include "hwy/foreach_target.h"  // IWYU pragma: keep

#include "hwy/highway.h"

HWY_BEFORE_NAMESPACE();
namespace quillon_widening_kernels {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;
using D = hn::ScalableTag<float>;
using V = hn::Vec<D>;

HWY_INLINE void WidenVector(const D d, V w, V& l, V& r) {
  const V one = hn::Set(d, 1.0f), half = hn::Set(d, 0.5f);
  const V k = hn::Add(hn::Min(hn::Max(w, hn::Set(d, -1.0f)), hn::Set(d, 2.0f)), one);
  const V c = hn::Div(half, hn::Sqrt(hn::MulAdd(hn::Mul(k, k), half, half)));
  const V other = hn::Mul(c, hn::Sub(one, k));
  const V same = hn::Mul(c, hn::Add(one, k));
  const V left = hn::MulAdd(same, l, hn::Mul(other, r));
  r = hn::MulAdd(other, l, hn::Mul(same, r));
  l = left;
}

HWY_NOINLINE void WideningRamp(float* left, float* right, int32_t count, float start, float increment) {
  const D d;
  const size_t lanes = hn::Lanes(d);
  const size_t n = count > 0 ? size_t(count) : 0;
  const V s = hn::Set(d, start), inc = hn::Set(d, increment);
  size_t i = 0;
  for (; i + lanes <= n; i += lanes) {
    V l = hn::LoadU(d, left + i), r = hn::LoadU(d, right + i);
    WidenVector(d, hn::MulAdd(hn::Iota(d, float(i)), inc, s), l, r);
    hn::StoreU(l, d, left + i);
    hn::StoreU(r, d, right + i);
  }
  const size_t rest = n - i;
  if (rest == 0) return;
  // The tail through zero-padded vectors: the same arithmetic, nothing touched past the end.
  HWY_ALIGN float bufferL[HWY_MAX_BYTES / sizeof(float)] = {};
  HWY_ALIGN float bufferR[HWY_MAX_BYTES / sizeof(float)] = {};
  std::memcpy(bufferL, left + i, rest * sizeof(float));
  std::memcpy(bufferR, right + i, rest * sizeof(float));
  V l = hn::Load(d, bufferL), r = hn::Load(d, bufferR);
  WidenVector(d, hn::MulAdd(hn::Iota(d, float(i)), inc, s), l, r);
  hn::Store(l, d, bufferL);
  hn::Store(r, d, bufferR);
  std::memcpy(left + i, bufferL, rest * sizeof(float));
  std::memcpy(right + i, bufferR, rest * sizeof(float));
}

} // namespace HWY_NAMESPACE
} // namespace quillon_widening_kernels
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace quillon_widening_kernels {
HWY_EXPORT(WideningRamp);
} // namespace quillon_widening_kernels

namespace RWideningKernels {
using namespace quillon_widening_kernels;

void WideningRamp(float* left, float* right, int32_t count, float start, float increment) noexcept {
  HWY_DYNAMIC_DISPATCH(WideningRamp)(left, right, count, start, increment);
}
} // namespace RWideningKernels
#endif
