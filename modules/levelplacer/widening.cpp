#include "modules/levelplacer/widening.h"

#include <algorithm>
#include <cmath>

#include "kernel/blockkernels.h"
#include "kernel/value.h"

namespace {

constexpr double kUnchanged = 1e-10;

} // namespace

RWideningGains WideningGainsOf(double widening) noexcept {
  const double k = std::clamp(widening, -1.0, 2.0) + 1.0;
  const double c = 0.5 / std::sqrt(0.5 * k * k + 0.5);
  return {c * (1.0 + k), c * (1.0 - k)};
}

void ApplyWidening(RRangedValue& widening, float* left, float* right, int32_t frames) noexcept {
  if (frames <= 0) return;
  double start = 0.0, increment = 0.0;
  const bool moves = widening.GetRamp(frames, start, increment);
  if (left && right) {
    if (moves) {
      RWideningKernels::WideningRamp(left, right, frames, float(start), float(increment));
    } else if (std::fabs(widening.GetProcessing()) >= kUnchanged) {
      // Held still, the stage is one constant mix of the pair: no square root per sample.
      const RWideningGains g = WideningGainsOf(widening.GetProcessing());
      RBlockKernels::MixPair(left, right, frames, float(g.same), float(g.other), float(g.other), float(g.same));
    }
  }
  widening.MarkRampDone();
}
