#include "modules/dsp/gainstages.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numbers>

#include "kernel/value.h"
#include "modules/dsp/dspkernels.h"

namespace {

constexpr double kUnchanged = 1e-10;

void CopyIfApart(const float* in, float* out, int32_t count) noexcept {
  if (in != out) std::memmove(out, in, size_t(count) * sizeof(float));
}

// The equal-power wet part alone, for a channel whose dry part is silence.
void WetPartOnly(float* wet, int32_t count, double start, double step) noexcept {
  for (int32_t i = 0; i < count; ++i) {
    const double w = std::clamp(start + double(i) * step, 0.0, 1.0);
    wet[i] = float(double(wet[i]) * std::sin(w * std::numbers::pi / 2.0));
  }
}

} // namespace

void GainStage(const float* in, float* out, int32_t count, double start, double step) noexcept {
  if (count <= 0) return;
  if (!in) {
    std::memset(out, 0, size_t(count) * sizeof(float));
    return;
  }
  if (std::fabs(step) >= kUnchanged) {
    RDspKernels::ScaleRampInto(in, out, count, float(start), float(step));
  } else if (start == 1.0) {
    CopyIfApart(in, out, count);
  } else {
    RDspKernels::ScaleRampInto(in, out, count, float(start), 0.0f);
  }
}

void DryWetStage(const float* dry, const float* wet, float* out, int32_t count, double start, double step,
                 RDryWetLaw law) noexcept {
  if (count <= 0) return;
  if (std::fabs(step) >= kUnchanged) {
    RDspKernels::MixRamp(dry, wet, out, count, float(start), float(step), law == RDryWetLaw::kEqualPower);
    return;
  }
  const double w = std::clamp(start, 0.0, 1.0);
  if (w == 0.0) return CopyIfApart(dry, out, count);
  if (w == 1.0) return CopyIfApart(wet, out, count);
  double dryGain = 1.0 - w, wetGain = w;
  if (law == RDryWetLaw::kEqualPower) {
    dryGain = std::cos(w * std::numbers::pi / 2.0);
    wetGain = std::sin(w * std::numbers::pi / 2.0);
  }
  RDspKernels::Mix(dry, wet, out, count, float(dryGain), float(wetGain));
}

RBlockRamp TakeBlockRamp(RRangedValue& value, int32_t frames) noexcept {
  RBlockRamp ramp;
  if (!value.GetRamp(frames, ramp.start, ramp.step)) {
    ramp.start = value.GetProcessing();
    ramp.step = 0.0;
  }
  value.MarkRampDone();
  return ramp;
}

void ApplyDryWet(RRangedValue& mix, double scale, const float* const* dry, float* const* wet, int32_t channels,
                 int32_t frames, RDryWetLaw law) noexcept {
  if (frames <= 0) return;
  const RBlockRamp ramp = TakeBlockRamp(mix, frames);
  const double start = ramp.start * scale;
  const double step = ramp.step * scale;
  for (int32_t c = 0; c < channels; ++c) {
    if (!wet || !wet[c]) continue;
    const float* source = dry ? dry[c] : nullptr;
    if (source) {
      DryWetStage(source, wet[c], wet[c], frames, start, step, law);
    } else if (law == RDryWetLaw::kLinear) {
      GainStage(wet[c], wet[c], frames, start, step);
    } else {
      WetPartOnly(wet[c], frames, start, step);
    }
  }
}
