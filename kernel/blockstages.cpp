#include "kernel/blockstages.h"

#include <algorithm>
#include <cmath>

#include "kernel/blockkernels.h"
#include "kernel/value.h"

namespace {

// Below this a change is no change, as everywhere in the kernel.
constexpr double kUnchanged = 1e-10;
constexpr double kLawUnchanged = 1e-5;
// ln(10) / 20: decibels to the exponent of e.
constexpr double kDecibelToExponent = 0.11512925464970228;

// The block's ramp, or the processing value held over the block (increment 0). Returns
// whether the value moves.
bool BlockRamp(const RRangedValue& value, int32_t frames, double& start, double& increment) noexcept {
  if (value.GetRamp(frames, start, increment)) return true;
  start = value.GetProcessing();
  increment = 0.0;
  return false;
}

} // namespace

double WidthCompensation(double width) noexcept {
  const double f = std::clamp(width, -1.0, 1.0);
  const double decibels = f >= 0.0 ? f * f * 0.55 + f * -4.85 : f * -2.3;
  return std::exp(decibels * kDecibelToExponent);
}

void ApplyGain(RRangedValue& gain, float* const* channels, int32_t channelCount, int32_t frames) noexcept {
  if (frames <= 0) return;
  double start = 0.0, increment = 0.0;
  const bool moves = BlockRamp(gain, frames, start, increment);
  if (moves || std::fabs(start - 1.0) > kUnchanged) {
    for (int32_t c = 0; c < channelCount; ++c) {
      if (!channels || !channels[c]) continue;
      if (moves) RBlockKernels::ScaleRamp(channels[c], frames, float(start), float(increment));
      else RBlockKernels::Scale(channels[c], frames, float(start));
    }
  }
  gain.MarkRampDone();
}

void ApplyPanorama(RRangedValue& pan, float* left, float* right, int32_t frames, double lawGain) noexcept {
  if (frames <= 0) return;
  double start = 0.0, increment = 0.0;
  const bool moves = BlockRamp(pan, frames, start, increment);
  if (left && right && (moves || std::fabs(start) >= kUnchanged)) {
    const double law = std::fabs(lawGain - 1.0) < kLawUnchanged ? 1.0 : lawGain;
    RBlockKernels::PanRamp(left, right, frames, float(start), float(increment), float(law));
  }
  pan.MarkRampDone();
}

void ApplyWidth(RRangedValue& width, float* left, float* right, int32_t frames) noexcept {
  if (frames <= 0) return;
  double start = 0.0, increment = 0.0;
  const bool moves = BlockRamp(width, frames, start, increment);
  if (left && right) {
    if (moves) {
      RBlockKernels::WidthRamp(left, right, frames, float(start), float(increment));
    } else if (std::fabs(start) >= kUnchanged) {
      // A constant width is a constant mix of the pair: no exponential per sample.
      const double f = std::clamp(start, -1.0, 1.0);
      const double half = 0.5 * WidthCompensation(f);
      const auto same = float(half * (2.0 + f));
      const auto other = float(half * -f);
      RBlockKernels::MixPair(left, right, frames, same, other, other, same);
    }
  }
  width.MarkRampDone();
}
