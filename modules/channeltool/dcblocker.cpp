#include "modules/channeltool/dcblocker.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace {

constexpr double kTopCorner = 20.0;
// Octaves the corner falls from quality 0 to quality 1.
constexpr double kQualityOctaves = 4.0;

} // namespace

double RDCBlocker::CornerFrequency(double quality) noexcept {
  return kTopCorner * std::exp2(-kQualityOctaves * std::clamp(quality, 0.0, 1.0));
}

void RDCBlocker::SetChannels(int32_t channels) {
  channels_ = std::max(channels, 0);
  states_.assign(size_t(channels_) * kMaxStages, RBiquadState());
}

void RDCBlocker::Design(int32_t order, double quality, double sampleRate) {
  order_ = std::clamp(order, 1, kMaxOrder);
  const double corner = std::min(CornerFrequency(quality), 0.25 * sampleRate);
  stageCount_ = 0;
  // The Butterworth poles of order n sit at angles (2k + 1) pi / (2n) from the imaginary axis;
  // a pair at angle a is a second-order section of Q = 1 / (2 sin a).
  for (int32_t k = 0; k < order_ / 2; ++k) {
    const double angle = (2.0 * k + 1.0) * std::numbers::pi / (2.0 * order_);
    stages_[stageCount_++].Design(RBiquad::kHighPass, 0.0, corner, sampleRate, 0.5 / std::sin(angle));
  }
  // The real pole of an odd order.
  if (order_ % 2 != 0) stages_[stageCount_++].Design(RBiquad::kOnePoleHighPass, 0.0, corner, sampleRate, 0.0);
}

void RDCBlocker::Clear() noexcept {
  for (RBiquadState& state : states_) state.Clear();
}

void RDCBlocker::Process(int32_t channel, float* samples, int32_t count) noexcept {
  if (channel < 0 || channel >= channels_ || stageCount_ == 0 || count <= 0) return;
  RBiquad::RunCascade(stages_, states_.data() + size_t(channel) * kMaxStages, stageCount_, samples, samples, count);
}
