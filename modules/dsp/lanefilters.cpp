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

// One general stage. The order of the sums is the same wherever a stage runs, so that both
// ways of running a pair give the same bits; the previous output comes in last, as only its
// product lies on the recursion.
template <class V>
HWY_INLINE V GeneralStage(V b0, V b1, V b2, V f1, V f2, V x, V x1, V x2, V y1, V y2) {
  const V history = hn::Add(hn::Add(hn::Mul(b1, x1), hn::Mul(b2, x2)), hn::Mul(f2, y2));
  return hn::Add(hn::Add(history, hn::Mul(b0, x)), hn::Mul(f1, y1));
}

#if HWY_TARGET != HWY_SCALAR
// A pair through S stages as a wavefront: the stages themselves lie side by side in the lanes,
// each one sample behind the stage before it, so that a step runs every stage of both
// channels at once and a stage's input is what the stage before gave at the previous step.
// Vector j holds stage 2j left and right, then stage 2j + 1 left and right; with S odd, the
// last stage passes its input on unchanged. The first and the last steps of a run find some
// stages without a sample: those keep their state. At the end every stage has taken the whole
// run, so the state is that of the plain run.
constexpr int32_t kWaveChunk = 256;
// Below this many samples, filling and draining the wavefront costs more than it saves.
constexpr int32_t kWaveMinimum = 32;

template <int S>
HWY_INLINE void RunPairWavefront(const RLaneStage* stages, RLaneState* const* lanes, const float* const* inputs,
                                 float* const* outputs, int32_t count) {
  using D = hn::CappedTag<double, 4>;
  using V = hn::Vec<D>;
  using M = hn::Mask<D>;
  const D d;
  constexpr int W = (S + 1) / 2;
  constexpr int P = 2 * W;  // stages in the wavefront, with the pass-through one

  V b0[W], b1[W], b2[W], f1[W], f2[W], x1[W], x2[W], y1[W], y2[W], index[W];
  HWY_ALIGN double packed[10][4];
  for (int j = 0; j < W; ++j) {
    for (int lane = 0; lane < 4; ++lane) {
      const int k = 2 * j + lane / 2, c = lane % 2;
      const RLaneState& state = *lanes[c];
      const bool real = k < S;
      packed[0][lane] = real ? stages[k].b0[c] : 1.0;
      packed[1][lane] = real ? stages[k].b1[c] : 0.0;
      packed[2][lane] = real ? stages[k].b2[c] : 0.0;
      packed[3][lane] = real ? stages[k].f1[c] : 0.0;
      packed[4][lane] = real ? stages[k].f2[c] : 0.0;
      packed[5][lane] = state.z1[k];
      packed[6][lane] = state.z2[k];
      packed[7][lane] = state.z1[real ? k + 1 : k];
      packed[8][lane] = state.z2[real ? k + 1 : k];
      packed[9][lane] = double(k);
    }
    b0[j] = hn::Load(d, packed[0]);
    b1[j] = hn::Load(d, packed[1]);
    b2[j] = hn::Load(d, packed[2]);
    f1[j] = hn::Load(d, packed[3]);
    f2[j] = hn::Load(d, packed[4]);
    x1[j] = hn::Load(d, packed[5]);
    x2[j] = hn::Load(d, packed[6]);
    y1[j] = hn::Load(d, packed[7]);
    y2[j] = hn::Load(d, packed[8]);
    index[j] = hn::Load(d, packed[9]);
  }

  // Per step the new input pair in the upper half, where the stage before stage 0 would stand.
  HWY_ALIGN double in[kWaveChunk * 4];
  HWY_ALIGN double out[kWaveChunk * 4];
  for (int32_t done = 0; done < count; done += kWaveChunk) {
    const int32_t n = std::min(kWaveChunk, count - done);
    for (int32_t t = 0; t < n; ++t) {
      in[t * 4] = 0.0;
      in[t * 4 + 1] = 0.0;
      in[t * 4 + 2] = double(inputs[0][done + t]);
      in[t * 4 + 3] = double(inputs[1][done + t]);
    }
    for (int32_t j = 0; j < n * 4; j += 4) hn::Store(LimitInput(d, hn::Load(d, in + j)), d, in + j);

    const auto step = [&](int32_t t, bool partial) HWY_ATTR {
      V x[W];
      x[0] = hn::ConcatLowerUpper(d, y1[0], hn::Load(d, in + std::min(t, n - 1) * 4));
      for (int j = 1; j < W; ++j) x[j] = hn::ConcatLowerUpper(d, y1[j], y1[j - 1]);
      for (int j = 0; j < W; ++j) {
        const V y = GeneralStage(b0[j], b1[j], b2[j], f1[j], f2[j], x[j], x1[j], x2[j], y1[j], y2[j]);
        if (partial) {
          // Stage k takes sample t - k, if the run has it.
          const M active =
              hn::And(hn::Le(index[j], hn::Set(d, double(t))), hn::Gt(index[j], hn::Set(d, double(t - n))));
          x2[j] = hn::IfThenElse(active, x1[j], x2[j]);
          x1[j] = hn::IfThenElse(active, x[j], x1[j]);
          y2[j] = hn::IfThenElse(active, y1[j], y2[j]);
          y1[j] = hn::IfThenElse(active, y, y1[j]);
        } else {
          x2[j] = x1[j];
          x1[j] = x[j];
          y2[j] = y1[j];
          y1[j] = y;
        }
      }
      if (t >= P - 1) hn::Store(y1[W - 1], d, out + (t - (P - 1)) * 4);
    };
    const int32_t steps = n + P - 1;
    const int32_t steadyFrom = P - 1, steadyTo = n;  // every stage has a sample in [steadyFrom, steadyTo)
    int32_t t = 0;
    for (; t < std::min(steadyFrom, steps); ++t) step(t, true);
    for (; t < steadyTo; ++t) step(t, false);
    for (; t < steps; ++t) step(t, true);

    for (int c = 0; c < 2; ++c) {
      float* o = outputs[c];
      if (!o) continue;
      o += done;
      for (int32_t i = 0; i < n; ++i) o[i] = float(out[i * 4 + 2 + c]);
    }
  }

  for (int j = 0; j < W; ++j) {
    hn::Store(x1[j], d, packed[5]);
    hn::Store(x2[j], d, packed[6]);
    hn::Store(y1[j], d, packed[7]);
    hn::Store(y2[j], d, packed[8]);
    for (int lane = 0; lane < 4; ++lane) {
      const int k = 2 * j + lane / 2, c = lane % 2;
      if (k >= S) continue;
      lanes[c]->z1[k] = packed[5][lane];
      lanes[c]->z2[k] = packed[6][lane];
      lanes[c]->z1[k + 1] = packed[7][lane];
      lanes[c]->z2[k + 1] = packed[8][lane];
    }
  }
}

#endif  // HWY_TARGET != HWY_SCALAR

// L lanes through S stages. The lanes are gathered into an interleaved buffer a chunk at a
// time, so that the recursion loads and stores whole vectors, and spread out again after.
template <size_t L, bool kAllPass, int S>
HWY_INLINE void RunLanes(const RLaneStage* stages, RLaneState* const* states, const float* const* inputs,
                         float* const* outputs, int32_t count) {
#if HWY_TARGET != HWY_SCALAR
  if constexpr (L == 2 && !kAllPass && hn::MaxLanes(hn::CappedTag<double, 4>()) == 4) {
    if (count >= kWaveMinimum) return RunPairWavefront<S>(stages, states, inputs, outputs, count);
  }
#endif
  using D = hn::CappedTag<double, L>;
  using V = hn::Vec<D>;
  const D d;
  constexpr size_t N = hn::MaxLanes(D());
  constexpr size_t G = L / N;
  static_assert(G * N == L, "lanes must fill whole vectors");

  RLaneState* const* lanes = states;
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
            out = GeneralStage(b0[s][g], b1[s][g], b2[s][g], f1[s][g], f2[s][g], v, z1[s][g], z2[s][g],
                               z1[s + 1][g], z2[s + 1][g]);
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
HWY_INLINE void RunStages(const RLaneStage* stages, int32_t stageCount, RLaneState* const* states,
                          const float* const* inputs, float* const* outputs, int32_t count) {
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
  // Idle lanes run on cleared scratch states, made only when asked for: clearing them costs as
  // much as a few samples, which is all a one-sample feedback loop runs per call.
  bool complete = true;
  for (size_t k = 0; k < L; ++k) complete = complete && states[k];
  if (complete) return RunStages<L, kAllPass>(stages, stageCount, states, inputs, outputs, count);
  RLaneState scratch[L];
  RLaneState* lanes[L];
  for (size_t k = 0; k < L; ++k) lanes[k] = states[k] ? states[k] : &scratch[k];
  RunStages<L, kAllPass>(stages, stageCount, lanes, inputs, outputs, count);
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
