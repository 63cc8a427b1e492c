// Compiled once per target by foreach_target.h, as kernel/blockkernels.cpp is.
#include "kernel/firkernels.h"

#include <cstddef>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernel/firkernels.cpp"
#include "hwy/foreach_target.h"  // IWYU pragma: keep

#include "hwy/highway.h"

HWY_BEFORE_NAMESPACE();
namespace quillon_fir_kernels {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;
using D = hn::ScalableTag<float>;
using V = hn::Vec<D>;

void Convolve(const float* x, const float* taps, int32_t tapCount, float* out, int32_t count, bool accumulate) {
  const D d;
  const size_t lanes = hn::Lanes(d);
  const size_t n = count > 0 ? size_t(count) : 0;
  const ptrdiff_t tapTotal = tapCount > 0 ? tapCount : 0;
  size_t i = 0;
  // Four independent accumulators hide the latency of the multiply-add chain; each tap's
  // broadcast is shared by them.
  for (; i + 4 * lanes <= n; i += 4 * lanes) {
    V a0 = accumulate ? hn::LoadU(d, out + i) : hn::Zero(d);
    V a1 = accumulate ? hn::LoadU(d, out + i + lanes) : hn::Zero(d);
    V a2 = accumulate ? hn::LoadU(d, out + i + 2 * lanes) : hn::Zero(d);
    V a3 = accumulate ? hn::LoadU(d, out + i + 3 * lanes) : hn::Zero(d);
    const float* p = x + i;
    for (ptrdiff_t t = 0; t < tapTotal; ++t) {
      const V c = hn::Set(d, taps[t]);
      const float* q = p - t;
      a0 = hn::MulAdd(c, hn::LoadU(d, q), a0);
      a1 = hn::MulAdd(c, hn::LoadU(d, q + lanes), a1);
      a2 = hn::MulAdd(c, hn::LoadU(d, q + 2 * lanes), a2);
      a3 = hn::MulAdd(c, hn::LoadU(d, q + 3 * lanes), a3);
    }
    hn::StoreU(a0, d, out + i);
    hn::StoreU(a1, d, out + i + lanes);
    hn::StoreU(a2, d, out + i + 2 * lanes);
    hn::StoreU(a3, d, out + i + 3 * lanes);
  }
  for (; i + lanes <= n; i += lanes) {
    V a = accumulate ? hn::LoadU(d, out + i) : hn::Zero(d);
    const float* p = x + i;
    for (ptrdiff_t t = 0; t < tapTotal; ++t) a = hn::MulAdd(hn::Set(d, taps[t]), hn::LoadU(d, p - t), a);
    hn::StoreU(a, d, out + i);
  }
  // The last few samples of a block (and blocks of a single frame) one at a time.
  for (; i < n; ++i) {
    float a = accumulate ? out[i] : 0.0f;
    const float* p = x + i;
    for (ptrdiff_t t = 0; t < tapTotal; ++t) a += taps[t] * p[-t];
    out[i] = a;
  }
}

} // namespace HWY_NAMESPACE
} // namespace quillon_fir_kernels
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace quillon_fir_kernels {
HWY_EXPORT(Convolve);
} // namespace quillon_fir_kernels

namespace RFirKernels {
using namespace quillon_fir_kernels;

void Convolve(const float* x, const float* taps, int32_t tapCount, float* out, int32_t count,
              bool accumulate) noexcept {
  HWY_DYNAMIC_DISPATCH(Convolve)(x, taps, tapCount, out, count, accumulate);
}

} // namespace RFirKernels
#endif  // HWY_ONCE
