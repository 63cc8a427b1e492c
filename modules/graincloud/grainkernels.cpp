// The grain read kernels of grainkernels.h, compiled once per processor level by
// foreach_target.h, as modules/dsp/dspkernels.cpp is. Interpolated reads gather the two
// neighbouring frames per lane; a lane's position is the whole frame under the vector's first
// position plus whole steps plus a fraction below 2, so that single precision holds the
// fraction as well as the scalar form's double does, however long the grain.
#include "modules/graincloud/grainkernels.h"

#include <algorithm>
#include <cstddef>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "modules/graincloud/grainkernels.cpp"
#include "hwy/foreach_target.h"  // IWYU pragma: keep

#include "hwy/highway.h"

HWY_BEFORE_NAMESPACE();
namespace quillon_grain_kernels {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;
using D = hn::ScalableTag<float>;
using DI = hn::RebindToSigned<D>;
using V = hn::Vec<D>;
using VI = hn::Vec<DI>;

// The scalar form, for the frames after the last whole vector: the upper neighbour is held
// at the last frame.
HWY_INLINE float ReadAt(const float* x, double position, int32_t length) {
  const int32_t index = std::clamp(int32_t(position), 0, length - 1);
  const int32_t next = std::min(index + 1, length - 1);
  const float fraction = float(position - double(index));
  return x[index] + fraction * (x[next] - x[index]);
}

// Adds one or two channels; the second only when kStereo.
template <bool kStereo>
HWY_INLINE void AddChannels(const float* left, const float* right, int32_t length, double position, double rate,
                            const float* envelope, float gainLeft, float gainRight, float* outLeft, float* outRight,
                            int32_t frames) {
  if (frames <= 0 || length <= 0) return;
  const D d;
  const DI di;
  const auto lanes = int32_t(hn::Lanes(d));
  const V gl = hn::Set(d, gainLeft), gr = hn::Set(d, gainRight);
  int32_t i = 0;
  if (rate == 1.0 && position == double(int64_t(position))) {
    // A whole position at the input's own rate: frames are read as they stand.
    const float* l = left + int64_t(position);
    const float* r = kStereo ? right + int64_t(position) : nullptr;
    for (; i + lanes <= frames; i += lanes) {
      const V e = hn::LoadU(d, envelope + i);
      hn::StoreU(hn::Add(hn::LoadU(d, outLeft + i), hn::Mul(hn::Mul(hn::LoadU(d, l + i), e), gl)), d, outLeft + i);
      if constexpr (kStereo) {
        hn::StoreU(hn::Add(hn::LoadU(d, outRight + i), hn::Mul(hn::Mul(hn::LoadU(d, r + i), e), gr)), d, outRight + i);
      }
    }
    for (; i < frames; ++i) {
      outLeft[i] += l[i] * envelope[i] * gainLeft;
      if constexpr (kStereo) outRight[i] += r[i] * envelope[i] * gainRight;
    }
    return;
  }
  // Each lane's distance from the vector's first position, j * rate, split once into whole
  // frames and a fraction, so that the fractions add up in single precision below 2.
  constexpr size_t kMaxLanes = HWY_MAX_BYTES / sizeof(float);
  HWY_ALIGN int32_t wholeSteps[kMaxLanes];
  HWY_ALIGN float fractionSteps[kMaxLanes];
  for (int32_t j = 0; j < lanes; ++j) {
    const double step = double(j) * rate;
    wholeSteps[j] = int32_t(step);
    fractionSteps[j] = float(step - double(wholeSteps[j]));
  }
  const VI stepWhole = hn::Load(di, wholeSteps);
  const V stepFraction = hn::Load(d, fractionSteps);
  const VI last = hn::Set(di, length - 1);
  const VI one = hn::Set(di, 1);
  for (; i + lanes <= frames; i += lanes) {
    const double first = position + double(i) * rate;
    const auto base = int32_t(first);
    const V offset = hn::Add(stepFraction, hn::Set(d, float(first - double(base))));
    const VI carry = hn::ConvertTo(di, offset);  // truncates; offset lies in 0..2
    const V fraction = hn::Sub(offset, hn::ConvertTo(d, carry));
    const VI index = hn::Min(hn::Add(hn::Add(stepWhole, carry), hn::Set(di, base)), last);
    const VI next = hn::Min(hn::Add(index, one), last);
    const V e = hn::LoadU(d, envelope + i);
    const V a = hn::GatherIndex(d, left, index);
    const V sample = hn::Add(a, hn::Mul(fraction, hn::Sub(hn::GatherIndex(d, left, next), a)));
    hn::StoreU(hn::Add(hn::LoadU(d, outLeft + i), hn::Mul(hn::Mul(sample, e), gl)), d, outLeft + i);
    if constexpr (kStereo) {
      const V b = hn::GatherIndex(d, right, index);
      const V other = hn::Add(b, hn::Mul(fraction, hn::Sub(hn::GatherIndex(d, right, next), b)));
      hn::StoreU(hn::Add(hn::LoadU(d, outRight + i), hn::Mul(hn::Mul(other, e), gr)), d, outRight + i);
    }
  }
  for (; i < frames; ++i) {
    const double p = position + double(i) * rate;
    outLeft[i] += ReadAt(left, p, length) * envelope[i] * gainLeft;
    if constexpr (kStereo) outRight[i] += ReadAt(right, p, length) * envelope[i] * gainRight;
  }
}

HWY_NOINLINE void AddMono(const float* source, int32_t length, double position, double rate, const float* envelope,
                          float gain, float* out, int32_t frames) {
  AddChannels<false>(source, nullptr, length, position, rate, envelope, gain, 0.0f, out, nullptr, frames);
}

HWY_NOINLINE void AddStereo(const float* left, const float* right, int32_t length, double position, double rate,
                            const float* envelope, float gainLeft, float gainRight, float* outLeft, float* outRight,
                            int32_t frames) {
  AddChannels<true>(left, right, length, position, rate, envelope, gainLeft, gainRight, outLeft, outRight, frames);
}

} // namespace HWY_NAMESPACE
} // namespace quillon_grain_kernels
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace quillon_grain_kernels {
HWY_EXPORT(AddMono);
HWY_EXPORT(AddStereo);
} // namespace quillon_grain_kernels

namespace RGrainKernels {

void AddMono(const float* source, int32_t length, double position, double rate, const float* envelope, float gain,
             float* out, int32_t frames) noexcept {
  HWY_DYNAMIC_DISPATCH(quillon_grain_kernels::AddMono)(source, length, position, rate, envelope, gain, out, frames);
}

void AddStereo(const float* left, const float* right, int32_t length, double position, double rate,
               const float* envelope, float gainLeft, float gainRight, float* outLeft, float* outRight,
               int32_t frames) noexcept {
  HWY_DYNAMIC_DISPATCH(quillon_grain_kernels::AddStereo)(left, right, length, position, rate, envelope, gainLeft,
                                                         gainRight, outLeft, outRight, frames);
}

} // namespace RGrainKernels
#endif  // HWY_ONCE
