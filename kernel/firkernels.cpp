// Compiled once per target by foreach_target.h, as kernel/blockkernels.cpp is.
#include "kernel/firkernels.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

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
#if HWY_TARGET != HWY_SCALAR
using DU64 = hn::Repartition<uint64_t, D>;
#endif
constexpr size_t kMaxLanes = HWY_MAX_BYTES / sizeof(float);

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

// The 2-, 3-, 4- and 8-way forms move whole vectors; other factors go sample by sample, where
// the filters' cost (T * factor multiply-adds per sample) outweighs the moves anyway.
void Interleave(const float* const* phases, int32_t factor, int32_t count, float* out) {
  const D d;
  const size_t lanes = hn::Lanes(d);
  const size_t n = count > 0 ? size_t(count) : 0;
  const size_t ways = factor > 0 ? size_t(factor) : 0;
  size_t i = 0;
  if (ways == 2) {
    for (; i + lanes <= n; i += lanes) {
      hn::StoreInterleaved2(hn::LoadU(d, phases[0] + i), hn::LoadU(d, phases[1] + i), d, out + 2 * i);
    }
  } else if (ways == 3) {
    for (; i + lanes <= n; i += lanes) {
      hn::StoreInterleaved3(hn::LoadU(d, phases[0] + i), hn::LoadU(d, phases[1] + i), hn::LoadU(d, phases[2] + i), d,
                            out + 3 * i);
    }
  } else if (ways == 4) {
    for (; i + lanes <= n; i += lanes) {
      hn::StoreInterleaved4(hn::LoadU(d, phases[0] + i), hn::LoadU(d, phases[1] + i), hn::LoadU(d, phases[2] + i),
                            hn::LoadU(d, phases[3] + i), d, out + 4 * i);
    }
  }
#if HWY_TARGET != HWY_SCALAR
  else if (ways == 8) {
    // Two steps: phases 2b and 2b + 1 side by side, then those pairs as 64-bit units four ways.
    const DU64 du;
    HWY_ALIGN float pairs[4][2 * kMaxLanes];
    HWY_ALIGN uint64_t units[2 * kMaxLanes];
    for (; i + lanes <= n; i += lanes) {
      for (size_t b = 0; b < 4; ++b) {
        hn::StoreInterleaved2(hn::LoadU(d, phases[2 * b] + i), hn::LoadU(d, phases[2 * b + 1] + i), d, pairs[b]);
      }
      for (size_t half = 0; half < 2; ++half) {
        const size_t at = half * lanes;
        hn::StoreInterleaved4(hn::BitCast(du, hn::Load(d, pairs[0] + at)), hn::BitCast(du, hn::Load(d, pairs[1] + at)),
                              hn::BitCast(du, hn::Load(d, pairs[2] + at)), hn::BitCast(du, hn::Load(d, pairs[3] + at)),
                              du, units);
        std::memcpy(out + 8 * i + 4 * at, units, 4 * lanes * sizeof(float));
      }
    }
  }
#endif
  for (; i < n; ++i) {
    for (size_t p = 0; p < ways; ++p) out[i * ways + p] = phases[p][i];
  }
}

void DeinterleaveFinite(const float* in, int32_t factor, int32_t count, float* const* phases) {
  const D d;
  const size_t lanes = hn::Lanes(d);
  const size_t n = count > 0 ? size_t(count) : 0;
  const size_t ways = factor > 0 ? size_t(factor) : 0;
  auto finite = [](V v) { return hn::IfThenElseZero(hn::IsFinite(v), v); };
  size_t i = 0;
  if (ways == 1) {
    for (; i + lanes <= n; i += lanes) hn::StoreU(finite(hn::LoadU(d, in + i)), d, phases[0] + i);
  } else if (ways == 2) {
    V v0, v1;
    for (; i + lanes <= n; i += lanes) {
      hn::LoadInterleaved2(d, in + 2 * i, v0, v1);
      hn::StoreU(finite(v0), d, phases[0] + i);
      hn::StoreU(finite(v1), d, phases[1] + i);
    }
  } else if (ways == 3) {
    V v0, v1, v2;
    for (; i + lanes <= n; i += lanes) {
      hn::LoadInterleaved3(d, in + 3 * i, v0, v1, v2);
      hn::StoreU(finite(v0), d, phases[0] + i);
      hn::StoreU(finite(v1), d, phases[1] + i);
      hn::StoreU(finite(v2), d, phases[2] + i);
    }
  } else if (ways == 4) {
    V v0, v1, v2, v3;
    for (; i + lanes <= n; i += lanes) {
      hn::LoadInterleaved4(d, in + 4 * i, v0, v1, v2, v3);
      hn::StoreU(finite(v0), d, phases[0] + i);
      hn::StoreU(finite(v1), d, phases[1] + i);
      hn::StoreU(finite(v2), d, phases[2] + i);
      hn::StoreU(finite(v3), d, phases[3] + i);
    }
  }
#if HWY_TARGET != HWY_SCALAR
  else if (ways == 8) {
    // The interleaving's two steps backwards: 64-bit units (phase pairs) four ways, then each
    // pair split in two.
    const DU64 du;
    HWY_ALIGN float pairs[4][2 * kMaxLanes];
    HWY_ALIGN uint64_t units[2 * kMaxLanes];
    hn::Vec<DU64> q0, q1, q2, q3;
    V even, odd;
    for (; i + lanes <= n; i += lanes) {
      for (size_t half = 0; half < 2; ++half) {
        const size_t at = half * lanes;
        std::memcpy(units, in + 8 * i + 4 * at, 4 * lanes * sizeof(float));
        hn::LoadInterleaved4(du, units, q0, q1, q2, q3);
        hn::Store(hn::BitCast(d, q0), d, pairs[0] + at);
        hn::Store(hn::BitCast(d, q1), d, pairs[1] + at);
        hn::Store(hn::BitCast(d, q2), d, pairs[2] + at);
        hn::Store(hn::BitCast(d, q3), d, pairs[3] + at);
      }
      for (size_t b = 0; b < 4; ++b) {
        hn::LoadInterleaved2(d, pairs[b], even, odd);
        hn::StoreU(finite(even), d, phases[2 * b] + i);
        hn::StoreU(finite(odd), d, phases[2 * b + 1] + i);
      }
    }
  }
#endif
  for (; i < n; ++i) {
    for (size_t p = 0; p < ways; ++p) {
      const float x = in[i * ways + p];
      // x - x is 0 exactly when x is finite; NaN and infinities give NaN.
      phases[p][i] = x - x == 0.0f ? x : 0.0f;
    }
  }
}

} // namespace HWY_NAMESPACE
} // namespace quillon_fir_kernels
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace quillon_fir_kernels {
HWY_EXPORT(Convolve);
HWY_EXPORT(Interleave);
HWY_EXPORT(DeinterleaveFinite);
} // namespace quillon_fir_kernels

namespace RFirKernels {
using namespace quillon_fir_kernels;

void Convolve(const float* x, const float* taps, int32_t tapCount, float* out, int32_t count,
              bool accumulate) noexcept {
  HWY_DYNAMIC_DISPATCH(Convolve)(x, taps, tapCount, out, count, accumulate);
}
void Interleave(const float* const* phases, int32_t factor, int32_t count, float* out) noexcept {
  HWY_DYNAMIC_DISPATCH(Interleave)(phases, factor, count, out);
}
void DeinterleaveFinite(const float* in, int32_t factor, int32_t count, float* const* phases) noexcept {
  HWY_DYNAMIC_DISPATCH(DeinterleaveFinite)(in, factor, count, phases);
}

} // namespace RFirKernels
#endif  // HWY_ONCE
