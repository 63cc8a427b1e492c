// The filter runs of modules/dsp/dspkernels.h. Compiled once per target by foreach_target.h:
// this file includes itself with HWY_TARGET set to each processor level in turn.
//
// The recursion of a stage can't be split over the samples of one channel without changing
// its rounding, so one channel runs sample by sample in every build, and a pair of channels
// runs two samples per round, side by side in one vector of two doubles. Products and sums
// come in the order of the scalar formula and nothing is fused, so every build gives the same
// bits.
#include "modules/dsp/dspkernels.h"

#include <algorithm>
#include <cstddef>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "modules/dsp/biquadrun.cpp"
#include "hwy/foreach_target.h"  // IWYU pragma: keep

#include "hwy/highway.h"

HWY_BEFORE_NAMESPACE();
namespace quillon_biquad_run {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

// NaN to 0, then held within the limit.
HWY_INLINE double Limit(double y) {
  const double finite = y == y ? y : 0.0;
  return std::min(std::max(finite, -RDspKernels::kBiquadLimit), RDspKernels::kBiquadLimit);
}

// One stage over one chunk of one channel. The input is limited like the output, so that an
// infinite or NaN sample doesn't reach x1 and x2 either.
HWY_INLINE void RunStage(const RBiquadCoefficients& c, RBiquadState& s, const float* in, float* out, size_t n) {
  double y1 = s.y1, x1 = s.x1, y2 = s.y2, x2 = s.x2;
  for (size_t i = 0; i < n; ++i) {
    const double x = Limit(double(in[i]));
    const double y = Limit(c.b0 * x + c.b1 * x1 + c.b2 * x2 + c.f1 * y1 + c.f2 * y2);
    y2 = y1;
    y1 = y;
    x2 = x1;
    x1 = x;
    out[i] = float(y);
  }
  s.y1 = y1;
  s.x1 = x1;
  s.y2 = y2;
  s.x2 = x2;
}

#if HWY_TARGET != HWY_SCALAR
using D2 = hn::FixedTag<double, 2>;
using V2 = hn::Vec<D2>;

HWY_INLINE V2 Limit(D2 d, V2 y) {
  const V2 finite = hn::IfThenElseZero(hn::Eq(y, y), y);
  return hn::Min(hn::Max(finite, hn::Set(d, -RDspKernels::kBiquadLimit)), hn::Set(d, RDspKernels::kBiquadLimit));
}

// One stage over one chunk of a pair: lane 0 is left, lane 1 right.
HWY_INLINE void RunStagePair(const RBiquadCoefficients& c, RBiquadState& left, RBiquadState& right,
                             const float* inLeft, const float* inRight, float* outLeft, float* outRight, size_t n) {
  const D2 d;
  const V2 b0 = hn::Set(d, c.b0), b1 = hn::Set(d, c.b1), b2 = hn::Set(d, c.b2);
  const V2 f1 = hn::Set(d, c.f1), f2 = hn::Set(d, c.f2);
  HWY_ALIGN double lanes[2];
  const auto pair = [&](double l, double r) {
    lanes[0] = l;
    lanes[1] = r;
    return hn::Load(d, lanes);
  };
  V2 y1 = pair(left.y1, right.y1), x1 = pair(left.x1, right.x1);
  V2 y2 = pair(left.y2, right.y2), x2 = pair(left.x2, right.x2);
  for (size_t i = 0; i < n; ++i) {
    const V2 x = Limit(d, pair(double(inLeft[i]), double(inRight[i])));
    V2 sum = hn::Add(hn::Mul(b0, x), hn::Mul(b1, x1));
    sum = hn::Add(sum, hn::Mul(b2, x2));
    sum = hn::Add(sum, hn::Mul(f1, y1));
    sum = hn::Add(sum, hn::Mul(f2, y2));
    const V2 y = Limit(d, sum);
    y2 = y1;
    y1 = y;
    x2 = x1;
    x1 = x;
    hn::Store(y, d, lanes);
    outLeft[i] = float(lanes[0]);
    outRight[i] = float(lanes[1]);
  }
  const auto unpack = [&](V2 v, double& l, double& r) {
    hn::Store(v, d, lanes);
    l = lanes[0];
    r = lanes[1];
  };
  unpack(y1, left.y1, right.y1);
  unpack(x1, left.x1, right.x1);
  unpack(y2, left.y2, right.y2);
  unpack(x2, left.x2, right.x2);
}
#else
// A build with one lane runs the channels one after the other, with the same arithmetic.
HWY_INLINE void RunStagePair(const RBiquadCoefficients& c, RBiquadState& left, RBiquadState& right,
                             const float* inLeft, const float* inRight, float* outLeft, float* outRight, size_t n) {
  RunStage(c, left, inLeft, outLeft, n);
  RunStage(c, right, inRight, outRight, n);
}
#endif

HWY_NOINLINE void BiquadCascade(const RBiquadCoefficients* stages, RBiquadState* states, int32_t stageCount,
                                const float* in, float* out, int32_t count) {
  if (stageCount <= 0) {
    if (in != out) std::copy(in, in + std::max(count, 0), out);
    return;
  }
  for (int32_t done = 0; done < count; done += RDspKernels::kBiquadChunk) {
    const size_t n = size_t(std::min(RDspKernels::kBiquadChunk, count - done));
    RunStage(stages[0], states[0], in + done, out + done, n);
    for (int32_t s = 1; s < stageCount; ++s) RunStage(stages[s], states[s], out + done, out + done, n);
  }
}

HWY_NOINLINE void BiquadCascadePair(const RBiquadCoefficients* stages, RBiquadState* left, RBiquadState* right,
                                    int32_t stageCount, const float* inLeft, const float* inRight, float* outLeft,
                                    float* outRight, int32_t count) {
  if (stageCount <= 0) {
    if (inLeft != outLeft) std::copy(inLeft, inLeft + std::max(count, 0), outLeft);
    if (inRight != outRight) std::copy(inRight, inRight + std::max(count, 0), outRight);
    return;
  }
  for (int32_t done = 0; done < count; done += RDspKernels::kBiquadChunk) {
    const size_t n = size_t(std::min(RDspKernels::kBiquadChunk, count - done));
    RunStagePair(stages[0], left[0], right[0], inLeft + done, inRight + done, outLeft + done, outRight + done, n);
    for (int32_t s = 1; s < stageCount; ++s) {
      RunStagePair(stages[s], left[s], right[s], outLeft + done, outRight + done, outLeft + done, outRight + done,
                   n);
    }
  }
}

} // namespace HWY_NAMESPACE
} // namespace quillon_biquad_run
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace quillon_biquad_run {
HWY_EXPORT(BiquadCascade);
HWY_EXPORT(BiquadCascadePair);
} // namespace quillon_biquad_run

namespace RDspKernels {
using namespace quillon_biquad_run;

void BiquadCascade(const RBiquadCoefficients* stages, RBiquadState* states, int32_t stageCount, const float* in,
                   float* out, int32_t count) noexcept {
  HWY_DYNAMIC_DISPATCH(BiquadCascade)(stages, states, stageCount, in, out, count);
}

void BiquadCascadePair(const RBiquadCoefficients* stages, RBiquadState* left, RBiquadState* right,
                       int32_t stageCount, const float* inLeft, const float* inRight, float* outLeft,
                       float* outRight, int32_t count) noexcept {
  HWY_DYNAMIC_DISPATCH(BiquadCascadePair)(stages, left, right, stageCount, inLeft, inRight, outLeft, outRight, count);
}

} // namespace RDspKernels
#endif  // HWY_ONCE
