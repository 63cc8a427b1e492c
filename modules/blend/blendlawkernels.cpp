// The per-sample form of the crossfade laws (BlendGainsOver in modules/blend/blendlaws.h),
// compiled once per target by foreach_target.h: while a ratio moves, every sample needs its
// own pair of sines, which cost about six times as much per frame scalar in double as the
// mix itself.
#include <cstddef>
#include <cstdint>
#include <cstring>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "modules/blend/blendlawkernels.cpp"
#include "hwy/foreach_target.h"  // IWYU pragma: keep

#include "hwy/contrib/math/math-inl.h"
#include "hwy/highway.h"
#include "modules/blend/blendlaws.h"

HWY_BEFORE_NAMESPACE();
namespace quillon_blend_kernels {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;
using D = hn::ScalableTag<float>;
using V = hn::Vec<D>;

// Runs law(r, a, b) over whole vectors, then once over the tail in zero-padded vectors.
template <class Law>
HWY_INLINE void Over(const float* r, float* a, float* b, int32_t count, const Law& law) {
  const D d;
  const size_t lanes = hn::Lanes(d);
  const size_t n = count > 0 ? size_t(count) : 0;
  const V zero = hn::Zero(d), one = hn::Set(d, 1.0f);
  const auto position = [&](V x) { return hn::Min(hn::Max(x, zero), one); };
  size_t i = 0;
  for (; i + lanes <= n; i += lanes) {
    V va, vb;
    law(position(hn::LoadU(d, r + i)), va, vb);
    hn::StoreU(va, d, a + i);
    hn::StoreU(vb, d, b + i);
  }
  const size_t rest = n - i;
  if (rest == 0) return;
  HWY_ALIGN float bufferR[HWY_MAX_BYTES / sizeof(float)] = {};
  HWY_ALIGN float bufferA[HWY_MAX_BYTES / sizeof(float)] = {};
  HWY_ALIGN float bufferB[HWY_MAX_BYTES / sizeof(float)] = {};
  std::memcpy(bufferR, r + i, rest * sizeof(float));
  V va, vb;
  law(position(hn::Load(d, bufferR)), va, vb);
  hn::Store(va, d, bufferA);
  hn::Store(vb, d, bufferB);
  std::memcpy(a + i, bufferA, rest * sizeof(float));
  std::memcpy(b + i, bufferB, rest * sizeof(float));
}

HWY_NOINLINE void GainsOver(int32_t mode, const float* r, float* a, float* b, int32_t count) {
  const D d;
  const V one = hn::Set(d, 1.0f), two = hn::Set(d, 2.0f), half = hn::Set(d, 0.5f);
  const V quarter = hn::Set(d, 1.5707963267948966f), pi = hn::Set(d, 3.1415926535897931f);
  const V twoPi = hn::Set(d, 6.2831853071795862f), fourPi = hn::Set(d, 12.566370614359172f);
  const auto sineTo = [&](V x) { return hn::Sin(d, hn::Min(x, quarter)); };
  const auto raised = [&](V x) { return hn::MulAdd(sineTo(x), half, half); };
  switch (RBlendMode(mode)) {
    case RBlendMode::kSquared:
      return Over(r, a, b, count, [&](V x, V& va, V& vb) {
        const V y = hn::Sub(one, x);
        va = hn::Mul(x, x);
        vb = hn::Mul(y, y);
      });
    case RBlendMode::kLinear:
      return Over(r, a, b, count, [&](V x, V& va, V& vb) {
        va = x;
        vb = hn::Sub(one, x);
      });
    case RBlendMode::kConstantPower:
      return Over(r, a, b, count, [&](V x, V& va, V& vb) {
        const V angle = hn::Mul(x, quarter);
        va = hn::Sin(d, angle);
        vb = hn::Cos(d, angle);
      });
    case RBlendMode::kTransition:
      return Over(r, a, b, count, [&](V x, V& va, V& vb) {
        va = hn::Min(hn::Mul(two, x), one);
        vb = hn::Min(hn::Sub(two, hn::Mul(two, x)), one);
      });
    case RBlendMode::kFade:
      return Over(r, a, b, count, [&](V x, V& va, V& vb) {
        va = sineTo(hn::Mul(pi, x));
        vb = sineTo(hn::Sub(pi, hn::Mul(pi, x)));
      });
    case RBlendMode::kFadeSmooth:
      return Over(r, a, b, count, [&](V x, V& va, V& vb) {
        va = raised(hn::Sub(hn::Mul(twoPi, x), quarter));
        vb = raised(hn::Sub(hn::Mul(hn::Set(d, 3.0f), quarter), hn::Mul(twoPi, x)));
      });
    case RBlendMode::kCut:
      return Over(r, a, b, count, [&](V x, V& va, V& vb) {
        va = sineTo(hn::Mul(twoPi, x));
        vb = sineTo(hn::Sub(twoPi, hn::Mul(twoPi, x)));
      });
    case RBlendMode::kCutSmooth:
      return Over(r, a, b, count, [&](V x, V& va, V& vb) {
        va = raised(hn::Sub(hn::Mul(fourPi, x), quarter));
        vb = raised(hn::Sub(hn::Mul(hn::Set(d, 7.0f), quarter), hn::Mul(fourPi, x)));
      });
  }
}

} // namespace HWY_NAMESPACE
} // namespace quillon_blend_kernels
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace quillon_blend_kernels {
HWY_EXPORT(GainsOver);
} // namespace quillon_blend_kernels

void BlendGainsOver(RBlendMode mode, const float* r, float* a, float* b, int32_t count) noexcept {
  using namespace quillon_blend_kernels;
  if (count > 0) HWY_DYNAMIC_DISPATCH(GainsOver)(int32_t(BlendModeOf(int32_t(mode))), r, a, b, count);
}
#endif
