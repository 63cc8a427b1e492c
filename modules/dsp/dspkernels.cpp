// The gain, mix and power kernels of modules/dsp/dspkernels.h (the filter runs are in
// biquadrun.cpp). Compiled once per target by foreach_target.h, as kernel/valuekernels.cpp is.
#include "modules/dsp/dspkernels.h"

#include <cstddef>
#include <cstring>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "modules/dsp/dspkernels.cpp"
#include "hwy/foreach_target.h"  // IWYU pragma: keep

#include "hwy/contrib/math/math-inl.h"
#include "hwy/highway.h"

HWY_BEFORE_NAMESPACE();
namespace quillon_dsp_kernels {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;
using D = hn::ScalableTag<float>;
using V = hn::Vec<D>;

// Runs op(index, a, b) -> result over whole vectors of two inputs, then once over the tail
// copied into zero-padded vectors, so that the last samples get the same arithmetic and
// nothing is read or written past the end. index is the position of the vector's first sample.
template <class Op>
HWY_INLINE void Combine(const float* a, const float* b, float* out, int32_t count, const Op& op) {
  const D d;
  const size_t lanes = hn::Lanes(d);
  const size_t n = count > 0 ? size_t(count) : 0;
  size_t i = 0;
  for (; i + lanes <= n; i += lanes) hn::StoreU(op(float(i), hn::LoadU(d, a + i), hn::LoadU(d, b + i)), d, out + i);
  const size_t rest = n - i;
  if (rest == 0) return;
  HWY_ALIGN float bufferA[HWY_MAX_BYTES / sizeof(float)] = {};
  HWY_ALIGN float bufferB[HWY_MAX_BYTES / sizeof(float)] = {};
  std::memcpy(bufferA, a + i, rest * sizeof(float));
  std::memcpy(bufferB, b + i, rest * sizeof(float));
  hn::Store(op(float(i), hn::Load(d, bufferA), hn::Load(d, bufferB)), d, bufferA);
  std::memcpy(out + i, bufferA, rest * sizeof(float));
}

HWY_NOINLINE void ScaleRampInto(const float* in, float* out, int32_t count, float start, float increment) {
  const D d;
  const V s = hn::Set(d, start), inc = hn::Set(d, increment);
  Combine(in, in, out, count, [&](float index, V x, V) { return hn::Mul(x, hn::MulAdd(hn::Iota(d, index), inc, s)); });
}

HWY_NOINLINE void Mix(const float* dry, const float* wet, float* out, int32_t count, float dryGain, float wetGain) {
  const D d;
  const V dg = hn::Set(d, dryGain), wg = hn::Set(d, wetGain);
  Combine(dry, wet, out, count, [&](float, V x, V y) { return hn::MulAdd(y, wg, hn::Mul(x, dg)); });
}

HWY_NOINLINE void MixRamp(const float* dry, const float* wet, float* out, int32_t count, float start, float increment,
                          bool equalPower) {
  const D d;
  const V s = hn::Set(d, start), inc = hn::Set(d, increment);
  const V zero = hn::Zero(d), one = hn::Set(d, 1.0f), quarterTurn = hn::Set(d, 1.5707963267948966f);
  const auto position = [&](float index) {
    return hn::Min(hn::Max(hn::MulAdd(hn::Iota(d, index), inc, s), zero), one);
  };
  if (equalPower) {
    Combine(dry, wet, out, count, [&](float index, V x, V y) {
      const V angle = hn::Mul(position(index), quarterTurn);
      return hn::MulAdd(y, hn::Sin(d, angle), hn::Mul(x, hn::Cos(d, angle)));
    });
  } else {
    Combine(dry, wet, out, count, [&](float index, V x, V y) {
      const V w = position(index);
      return hn::MulAdd(y, w, hn::Mul(x, hn::Sub(one, w)));
    });
  }
}

HWY_NOINLINE void SumSquaresOverChannels(const float* const* channels, int32_t channelCount, float* out,
                                         int32_t count, float scale) {
  const D d;
  const size_t lanes = hn::Lanes(d);
  const size_t n = count > 0 ? size_t(count) : 0;
  const V k = hn::Set(d, scale);
  size_t i = 0;
  for (; i + lanes <= n; i += lanes) {
    V sum = hn::Zero(d);
    for (int32_t c = 0; c < channelCount; ++c) {
      const V x = hn::LoadU(d, channels[c] + i);
      sum = hn::MulAdd(x, x, sum);
    }
    hn::StoreU(hn::Mul(sum, k), d, out + i);
  }
  const size_t rest = n - i;
  if (rest == 0) return;
  HWY_ALIGN float buffer[HWY_MAX_BYTES / sizeof(float)] = {};
  V sum = hn::Zero(d);
  for (int32_t c = 0; c < channelCount; ++c) {
    std::memcpy(buffer, channels[c] + i, rest * sizeof(float));
    const V x = hn::Load(d, buffer);
    sum = hn::MulAdd(x, x, sum);
  }
  hn::Store(hn::Mul(sum, k), d, buffer);
  std::memcpy(out + i, buffer, rest * sizeof(float));
}

HWY_NOINLINE double SumOfSquares(const float* x, int32_t count) {
  // Squares are taken in 64-bit so that a long quiet block keeps its small terms.
  const hn::ScalableTag<double> dd;
  const hn::Rebind<float, decltype(dd)> df;
  const size_t lanes = hn::Lanes(dd);
  const size_t n = count > 0 ? size_t(count) : 0;
  auto sum = hn::Zero(dd);
  size_t i = 0;
  for (; i + lanes <= n; i += lanes) {
    const auto v = hn::PromoteTo(dd, hn::LoadU(df, x + i));
    sum = hn::MulAdd(v, v, sum);
  }
  double total = hn::GetLane(hn::SumOfLanes(dd, sum));
  for (; i < n; ++i) total += double(x[i]) * double(x[i]);
  return total;
}

HWY_NOINLINE void LogCosh(const double* x, double* out, int32_t count) {
  const hn::ScalableTag<double> dd;
  const size_t lanes = hn::Lanes(dd);
  const size_t n = count > 0 ? size_t(count) : 0;
  const auto minusTwo = hn::Set(dd, -2.0);
  const auto log2 = hn::Set(dd, 0.69314718055994531);
  // |x| + log(1 + e^(-2|x|)) - log 2: no overflow for any finite x.
  auto op = [&](auto v) {
    const auto a = hn::Abs(v);
    return hn::Sub(hn::Add(a, hn::Log1p(dd, hn::Exp(dd, hn::Mul(a, minusTwo)))), log2);
  };
  size_t i = 0;
  for (; i + lanes <= n; i += lanes) hn::StoreU(op(hn::LoadU(dd, x + i)), dd, out + i);
  const size_t rest = n - i;
  if (rest == 0) return;
  HWY_ALIGN double buffer[HWY_MAX_BYTES / sizeof(double)] = {};
  std::memcpy(buffer, x + i, rest * sizeof(double));
  hn::Store(op(hn::Load(dd, buffer)), dd, buffer);
  std::memcpy(out + i, buffer, rest * sizeof(double));
}

} // namespace HWY_NAMESPACE
} // namespace quillon_dsp_kernels
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace quillon_dsp_kernels {
HWY_EXPORT(ScaleRampInto);
HWY_EXPORT(Mix);
HWY_EXPORT(MixRamp);
HWY_EXPORT(SumSquaresOverChannels);
HWY_EXPORT(SumOfSquares);
HWY_EXPORT(LogCosh);
} // namespace quillon_dsp_kernels

namespace RDspKernels {
using namespace quillon_dsp_kernels;

void ScaleRampInto(const float* in, float* out, int32_t count, float start, float increment) noexcept {
  HWY_DYNAMIC_DISPATCH(ScaleRampInto)(in, out, count, start, increment);
}
void Mix(const float* dry, const float* wet, float* out, int32_t count, float dryGain, float wetGain) noexcept {
  HWY_DYNAMIC_DISPATCH(Mix)(dry, wet, out, count, dryGain, wetGain);
}
void MixRamp(const float* dry, const float* wet, float* out, int32_t count, float start, float increment,
             bool equalPower) noexcept {
  HWY_DYNAMIC_DISPATCH(MixRamp)(dry, wet, out, count, start, increment, equalPower);
}
void SumSquaresOverChannels(const float* const* channels, int32_t channelCount, float* out, int32_t count,
                            float scale) noexcept {
  HWY_DYNAMIC_DISPATCH(SumSquaresOverChannels)(channels, channelCount, out, count, scale);
}
double SumOfSquares(const float* x, int32_t count) noexcept { return HWY_DYNAMIC_DISPATCH(SumOfSquares)(x, count); }
void LogCosh(const double* x, double* out, int32_t count) noexcept { HWY_DYNAMIC_DISPATCH(LogCosh)(x, out, count); }

} // namespace RDspKernels
#endif  // HWY_ONCE
