#include "modules/spanfilter/butterworth.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "modules/dsp/biquad.h"

namespace {

constexpr double kButterworthQ = std::numbers::sqrt2 / 2.0;
constexpr double kLowestCorner = 1.0;
constexpr double kHighestCorner = 0.49;  // of the sample rate

} // namespace

int32_t ButterworthStageCount(int32_t order) noexcept {
  return order < 1 ? 0 : (std::min(order, kMaxButterworthOrder) + 1) / 2;
}

int32_t DesignButterworth(RBiquad* stages, RButterworthKind kind, int32_t order, double frequency,
                          double sampleRate, double q) {
  order = std::clamp(order, 0, kMaxButterworthOrder);
  if (order == 0) return 0;
  const double corner = std::clamp(frequency, kLowestCorner, kHighestCorner * sampleRate);
  const bool high = kind == RButterworthKind::kHighPass;
  int32_t count = 0;
  // The real pole of an odd order first, with no Q of its own.
  if (order % 2 == 1) {
    stages[count++].Design(high ? RBiquad::kBilinearHighPass : RBiquad::kBilinearLowPass, 0.0, corner, sampleRate,
                           kButterworthQ);
  }
  const int32_t pairs = order / 2;
  const double resonance = q / kButterworthQ;
  for (int32_t k = 1; k <= pairs; ++k) {
    const double angle = order % 2 == 0 ? (2 * k - 1) * std::numbers::pi / (2.0 * order) : k * std::numbers::pi / order;
    double stageQ = 1.0 / (2.0 * std::cos(angle));
    if (k == pairs) stageQ *= resonance;
    stages[count++].Design(high ? RBiquad::kHighPass : RBiquad::kLowPass, 0.0, corner, sampleRate, stageQ);
  }
  return count;
}
