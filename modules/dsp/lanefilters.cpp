// The lane cascades of modules/dsp/lanefilters.h. Compiled once per target by foreach_target.h:
// this file includes itself with HWY_TARGET set to each processor level in turn. A build whose
// vectors hold fewer lanes than the cascade runs the lanes in groups, with the same arithmetic.
#include "modules/dsp/lanefilters.h"

#include <algorithm>
#include <cstddef>

#include "modules/dsp/dspkernels.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "modules/dsp/lanefilters.cpp"
#include "hwy/foreach_target.h"  // IWYU pragma: keep

#include "hwy/highway.h"

HWY_BEFORE_NAMESPACE();
namespace quillon_lane_filters {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;
using RLaneFilters::RLaneStage;
using RLaneFilters::RLaneState;

// Samples per round through the interleaved buffers on the stack (64 frames of 4 lanes: 2 KiB
// each way).
constexpr int32_t kChunk = 64;

// NaN to 0, then held within the limit, a whole vector at a time.
template <class D, class V>
HWY_INLINE V LimitInput(D d, V v) {
  const V finite = hn::IfThenElseZero(hn::Eq(v, v), v);
  return hn::Min(hn::Max(finite, hn::Set(d, -RDspKernels::kBiquadLimit)), hn::Set(d, RDspKernels::kBiquadLimit));
}

// L lanes through S stages. The lanes are gathered into an interleaved buffer a chunk at a
// time, so that the recursion loads and stores whole vectors, and spread out again after.
template <size_t L, bool kAllPass, int S>
HWY_INLINE void RunLanes(const RLaneStage* stages, RLaneState* const* states, const float* const* inputs,
                         float* const* outputs, int32_t count) {
  using D = hn::CappedTag<double, L>;
  using V = hn::Vec<D>;
  const D d;
  constexpr size_t N = hn::MaxLanes(D());
  constexpr size_t G = L / N;
  static_assert(G * N == L, "lanes must fill whole vectors");

  RLaneState scratch[L];
  RLaneState* lanes[L];
  for (size_t k = 0; k < L; ++k) lanes[k] = states[k] ? states[k] : &scratch[k];

  HWY_ALIGN double gather[L];
  const auto load = [&](auto field, size_t g) {
    for (size_t k = 0; k < L; ++k) gather[k] = field(k);
    return hn::Load(d, gather + g * N);
  };

  V b0[S][G], b1[S][G], b2[S][G], f1[S][G], f2[S][G];
  V z1[S + 1][G], z2[S + 1][G];
  for (size_t g = 0; g < G; ++g) {
    for (int s = 0; s < S; ++s) {
      f1[s][g] = hn::LoadU(d, stages[s].f1 + g * N);
      f2[s][g] = hn::LoadU(d, stages[s].f2 + g * N);
      if constexpr (kAllPass) {
        // a1 and a2 of the all-pass: the feedback coefficients with their sign back.
        f1[s][g] = hn::Neg(f1[s][g]);
        f2[s][g] = hn::Neg(f2[s][g]);
      } else {
        b0[s][g] = hn::LoadU(d, stages[s].b0 + g * N);
        b1[s][g] = hn::LoadU(d, stages[s].b1 + g * N);
        b2[s][g] = hn::LoadU(d, stages[s].b2 + g * N);
      }
    }
    for (int k = 0; k <= S; ++k) {
      z1[k][g] = load([&](size_t lane) { return lanes[lane]->z1[k]; }, g);
      z2[k][g] = load([&](size_t lane) { return lanes[lane]->z2[k]; }, g);
    }
  }

  HWY_ALIGN double x[kChunk * L];
  HWY_ALIGN double y[kChunk * L];
  for (int32_t done = 0; done < count; done += kChunk) {
    const int32_t n = std::min(kChunk, count - done);
    for (size_t k = 0; k < L; ++k) {
      const float* in = inputs[k] + done;
      for (int32_t i = 0; i < n; ++i) x[size_t(i) * L + k] = double(in[i]);
    }
    for (size_t j = 0; j < size_t(n) * L; j += N) hn::Store(LimitInput(d, hn::Load(d, x + j)), d, x + j);
    for (int32_t i = 0; i < n; ++i) {
      for (size_t g = 0; g < G; ++g) {
        V v = hn::Load(d, x + size_t(i) * L + g * N);
        for (int s = 0; s < S; ++s) {
          V out;
          if constexpr (kAllPass) {
            // Only the last product waits on the previous output: a multiply and a subtraction
            // a sample is the whole recursion.
            const V direct = hn::Add(hn::Mul(f2[s][g], hn::Sub(v, z2[s + 1][g])), z2[s][g]);
            out = hn::Sub(hn::Add(direct, hn::Mul(f1[s][g], z1[s][g])), hn::Mul(f1[s][g], z1[s + 1][g]));
          } else {
            V sum = hn::Add(hn::Mul(b0[s][g], v), hn::Mul(b1[s][g], z1[s][g]));
            sum = hn::Add(sum, hn::Mul(b2[s][g], z2[s][g]));
            sum = hn::Add(sum, hn::Mul(f2[s][g], z2[s + 1][g]));
            out = hn::Add(sum, hn::Mul(f1[s][g], z1[s + 1][g]));
          }
          // The input node moves on here; the output node is the next stage's input.
          z2[s][g] = z1[s][g];
          z1[s][g] = v;
          v = out;
        }
        z2[S][g] = z1[S][g];
        z1[S][g] = v;
        hn::Store(v, d, y + size_t(i) * L + g * N);
      }
    }
    for (size_t k = 0; k < L; ++k) {
      float* out = outputs[k];
      if (!out) continue;
      out += done;
      for (int32_t i = 0; i < n; ++i) out[i] = float(y[size_t(i) * L + k]);
    }
  }

  for (size_t g = 0; g < G; ++g) {
    for (int k = 0; k <= S; ++k) {
      hn::Store(z1[k][g], d, gather);
      for (size_t lane = 0; lane < N; ++lane) lanes[g * N + lane]->z1[k] = gather[lane];
      hn::Store(z2[k][g], d, gather);
      for (size_t lane = 0; lane < N; ++lane) lanes[g * N + lane]->z2[k] = gather[lane];
    }
  }
}

// The stage count as a constant, so that the whole state stays in registers.
template <size_t L, bool kAllPass>
HWY_INLINE void Dispatch(const RLaneStage* stages, int32_t stageCount, RLaneState* const* states,
                         const float* const* inputs, float* const* outputs, int32_t count) {
  if (count <= 0) return;
  if (stageCount <= 0) {
    for (size_t k = 0; k < L; ++k) {
      if (outputs[k] && outputs[k] != inputs[k]) std::copy(inputs[k], inputs[k] + count, outputs[k]);
    }
    return;
  }
  switch (std::min(stageCount, RLaneFilters::kMaxStages)) {
  case 1: return RunLanes<L, kAllPass, 1>(stages, states, inputs, outputs, count);
  case 2: return RunLanes<L, kAllPass, 2>(stages, states, inputs, outputs, count);
  case 3: return RunLanes<L, kAllPass, 3>(stages, states, inputs, outputs, count);
  case 4: return RunLanes<L, kAllPass, 4>(stages, states, inputs, outputs, count);
  case 5: return RunLanes<L, kAllPass, 5>(stages, states, inputs, outputs, count);
  case 6: return RunLanes<L, kAllPass, 6>(stages, states, inputs, outputs, count);
  case 7: return RunLanes<L, kAllPass, 7>(stages, states, inputs, outputs, count);
  default: return RunLanes<L, kAllPass, 8>(stages, states, inputs, outputs, count);
  }
}

HWY_NOINLINE void BiquadPair(const RLaneStage* stages, int32_t stageCount, RLaneState* const* states,
                             const float* const* inputs, float* const* outputs, int32_t count) {
  Dispatch<2, false>(stages, stageCount, states, inputs, outputs, count);
}

HWY_NOINLINE void AllPassQuad(const RLaneStage* stages, int32_t stageCount, RLaneState* const* states,
                              const float* const* inputs, float* const* outputs, int32_t count) {
  Dispatch<4, true>(stages, stageCount, states, inputs, outputs, count);
}

} // namespace HWY_NAMESPACE
} // namespace quillon_lane_filters
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace quillon_lane_filters {
HWY_EXPORT(BiquadPair);
HWY_EXPORT(AllPassQuad);
} // namespace quillon_lane_filters

namespace RLaneFilters {

void RLaneStage::Set(int32_t lane, const RBiquadCoefficients& coefficients) noexcept {
  if (lane < 0 || lane >= kMaxLanes) return;
  b0[lane] = coefficients.b0;
  b1[lane] = coefficients.b1;
  b2[lane] = coefficients.b2;
  f1[lane] = coefficients.f1;
  f2[lane] = coefficients.f2;
}

void BiquadPair(const RLaneStage* stages, int32_t stageCount, RLaneState* const states[2],
                const float* const inputs[2], float* const outputs[2], int32_t count) noexcept {
  HWY_DYNAMIC_DISPATCH(quillon_lane_filters::BiquadPair)(stages, stageCount, states, inputs, outputs, count);
}

void AllPassQuad(const RLaneStage* stages, int32_t stageCount, RLaneState* const states[4],
                 const float* const inputs[4], float* const outputs[4], int32_t count) noexcept {
  HWY_DYNAMIC_DISPATCH(quillon_lane_filters::AllPassQuad)(stages, stageCount, states, inputs, outputs, count);
}

} // namespace RLaneFilters
#endif  // HWY_ONCE
