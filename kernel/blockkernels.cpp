// Compiled once per target by foreach_target.h, as kernel/valuekernels.cpp is: this file
// includes itself with HWY_TARGET set to each processor level in turn.
#include "kernel/blockkernels.h"

#include <cstddef>
#include <cstring>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernel/blockkernels.cpp"
#include "hwy/foreach_target.h"  // IWYU pragma: keep

#include "hwy/contrib/math/math-inl.h"
#include "hwy/highway.h"

HWY_BEFORE_NAMESPACE();
namespace quillon_block_kernels {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;
using D = hn::ScalableTag<float>;
using V = hn::Vec<D>;

// Runs op(index, left, right) over whole vectors, then once over the tail copied into
// zero-padded vectors, so that the last samples get the same arithmetic and nothing is read
// or written past the end. index is the position of the vector's first sample.
template <class Op>
HWY_INLINE void ForEachPair(float* left, float* right, int32_t count, const Op& op) {
  const D d;
  const size_t lanes = hn::Lanes(d);
  const size_t n = count > 0 ? size_t(count) : 0;
  size_t i = 0;
  for (; i + lanes <= n; i += lanes) {
    V l = hn::LoadU(d, left + i);
    V r = hn::LoadU(d, right + i);
    op(float(i), l, r);
    hn::StoreU(l, d, left + i);
    hn::StoreU(r, d, right + i);
  }
  const size_t rest = n - i;
  if (rest == 0) return;
  HWY_ALIGN float bufferLeft[HWY_MAX_BYTES / sizeof(float)] = {};
  HWY_ALIGN float bufferRight[HWY_MAX_BYTES / sizeof(float)] = {};
  std::memcpy(bufferLeft, left + i, rest * sizeof(float));
  std::memcpy(bufferRight, right + i, rest * sizeof(float));
  V l = hn::Load(d, bufferLeft);
  V r = hn::Load(d, bufferRight);
  op(float(i), l, r);
  hn::Store(l, d, bufferLeft);
  hn::Store(r, d, bufferRight);
  std::memcpy(left + i, bufferLeft, rest * sizeof(float));
  std::memcpy(right + i, bufferRight, rest * sizeof(float));
}

// The one-buffer form of the above.
template <class Op>
HWY_INLINE void ForEach(float* x, int32_t count, const Op& op) {
  const D d;
  const size_t lanes = hn::Lanes(d);
  const size_t n = count > 0 ? size_t(count) : 0;
  size_t i = 0;
  for (; i + lanes <= n; i += lanes) hn::StoreU(op(float(i), hn::LoadU(d, x + i)), d, x + i);
  const size_t rest = n - i;
  if (rest == 0) return;
  HWY_ALIGN float buffer[HWY_MAX_BYTES / sizeof(float)] = {};
  std::memcpy(buffer, x + i, rest * sizeof(float));
  hn::Store(op(float(i), hn::Load(d, buffer)), d, buffer);
  std::memcpy(x + i, buffer, rest * sizeof(float));
}

// The ramp's values for the vector starting at sample index, held within -1..1.
HWY_INLINE V RampPosition(float index, float start, float increment) {
  const D d;
  const V position = hn::MulAdd(hn::Iota(d, index), hn::Set(d, increment), hn::Set(d, start));
  return hn::Min(hn::Max(position, hn::Set(d, -1.0f)), hn::Set(d, 1.0f));
}

HWY_NOINLINE void Scale(float* x, int32_t count, float factor) {
  const D d;
  const V f = hn::Set(d, factor);
  ForEach(x, count, [f](float, V v) { return hn::Mul(v, f); });
}

HWY_NOINLINE void ScaleRamp(float* x, int32_t count, float start, float increment) {
  const D d;
  const V s = hn::Set(d, start);
  const V inc = hn::Set(d, increment);
  ForEach(x, count, [d, s, inc](float index, V v) { return hn::Mul(v, hn::MulAdd(hn::Iota(d, index), inc, s)); });
}

HWY_NOINLINE void Clamp(float* x, int32_t count, float limit) {
  const D d;
  const V high = hn::Set(d, limit);
  const V low = hn::Neg(high);
  ForEach(x, count, [low, high](float, V v) { return hn::Min(hn::Max(hn::IfThenZeroElse(hn::IsNaN(v), v), low), high); });
}

HWY_NOINLINE void MixPair(float* left, float* right, int32_t count, float ll, float rl, float lr, float rr) {
  const D d;
  const V vll = hn::Set(d, ll), vrl = hn::Set(d, rl), vlr = hn::Set(d, lr), vrr = hn::Set(d, rr);
  ForEachPair(left, right, count, [&](float, V& l, V& r) {
    const V newLeft = hn::MulAdd(l, vll, hn::Mul(r, vrl));
    r = hn::MulAdd(l, vlr, hn::Mul(r, vrr));
    l = newLeft;
  });
}

HWY_NOINLINE void PanRamp(float* left, float* right, int32_t count, float start, float increment, float law) {
  const D d;
  const V zero = hn::Zero(d), one = hn::Set(d, 1.0f), lawSlope = hn::Set(d, law - 1.0f);
  ForEachPair(left, right, count, [&](float index, V& l, V& r) {
    const V p = RampPosition(index, start, increment);
    const V toRight = hn::Max(p, zero);          // share of left moved to the right
    const V toLeft = hn::Max(hn::Neg(p), zero);  // share of right moved to the left
    const V scale = hn::MulAdd(hn::Abs(p), lawSlope, one);
    const V newLeft = hn::Mul(scale, hn::MulAdd(r, toLeft, hn::Mul(l, hn::Sub(one, toRight))));
    r = hn::Mul(scale, hn::MulAdd(l, toRight, hn::Mul(r, hn::Sub(one, toLeft))));
    l = newLeft;
  });
}

HWY_NOINLINE void WidthRamp(float* left, float* right, int32_t count, float start, float increment) {
  const D d;
  const V zero = hn::Zero(d), half = hn::Set(d, 0.5f), one = hn::Set(d, 1.0f);
  ForEachPair(left, right, count, [&](float index, V& l, V& r) {
    const V f = RampPosition(index, start, increment);
    // Level compensation in decibels: f * f * 0.55 - 4.85 f when widening, -2.3 f when narrowing.
    const V widening = hn::Mul(f, hn::MulAdd(f, hn::Set(d, 0.55f), hn::Set(d, -4.85f)));
    const V narrowing = hn::Mul(f, hn::Set(d, -2.3f));
    const V decibels = hn::IfThenElse(hn::Lt(f, zero), narrowing, widening);
    const V halfGain = hn::Mul(half, hn::Exp(d, hn::Mul(decibels, hn::Set(d, 0.11512925464970228f))));
    const V mid = hn::Mul(hn::Add(l, r), halfGain);
    const V side = hn::Mul(hn::Mul(hn::Sub(l, r), halfGain), hn::Add(f, one));
    l = hn::Add(mid, side);
    r = hn::Sub(mid, side);
  });
}

} // namespace HWY_NAMESPACE
} // namespace quillon_block_kernels
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace quillon_block_kernels {
HWY_EXPORT(Scale);
HWY_EXPORT(ScaleRamp);
HWY_EXPORT(MixPair);
HWY_EXPORT(Clamp);
HWY_EXPORT(PanRamp);
HWY_EXPORT(WidthRamp);
} // namespace quillon_block_kernels

namespace RBlockKernels {
using namespace quillon_block_kernels;

void Scale(float* x, int32_t count, float factor) noexcept { HWY_DYNAMIC_DISPATCH(Scale)(x, count, factor); }
void ScaleRamp(float* x, int32_t count, float start, float increment) noexcept {
  HWY_DYNAMIC_DISPATCH(ScaleRamp)(x, count, start, increment);
}
void Clamp(float* x, int32_t count, float limit) noexcept { HWY_DYNAMIC_DISPATCH(Clamp)(x, count, limit); }
void MixPair(float* left, float* right, int32_t count, float ll, float rl, float lr, float rr) noexcept {
  HWY_DYNAMIC_DISPATCH(MixPair)(left, right, count, ll, rl, lr, rr);
}
void PanRamp(float* left, float* right, int32_t count, float start, float increment, float law) noexcept {
  HWY_DYNAMIC_DISPATCH(PanRamp)(left, right, count, start, increment, law);
}
void WidthRamp(float* left, float* right, int32_t count, float start, float increment) noexcept {
  HWY_DYNAMIC_DISPATCH(WidthRamp)(left, right, count, start, increment);
}

} // namespace RBlockKernels
#endif  // HWY_ONCE
