#include "modules/warmthstage/warmthcore.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "modules/dsp/dspkernels.h"

namespace {

// Beyond this the curve is flat to the last bit, and the antiderivative linear.
constexpr double kCurveLimit = 1.0e4;

constexpr int32_t kDriveSteps = 72;  // half a decibel apart
constexpr int32_t kBiasSteps = 8;
constexpr int32_t kPhases = 256;

using RMakeupTable = std::array<std::array<double, kBiasSteps + 1>, kDriveSteps + 1>;

const RMakeupTable& MakeupTable() {
  static const RMakeupTable table = [] {
    RMakeupTable t{};
    for (int32_t d = 0; d <= kDriveSteps; ++d) {
      const double drive = std::pow(10.0, RWarmthLevelMatch::kMaxDriveDb * d / kDriveSteps / 20.0);
      for (int32_t b = 0; b <= kBiasSteps; ++b) t[size_t(d)][size_t(b)] = RWarmthLevelMatch::ComputeMakeup(drive, double(b) / kBiasSteps);
    }
    return t;
  }();
  return table;
}

} // namespace

double RWarmthCurve::Value(double x) noexcept { return std::tanh(x); }

double RWarmthLevelMatch::ComputeMakeup(double drive, double bias) noexcept {
  // The loudness of what a reference sine becomes, its DC left out as the blocker will.
  const double offset = bias * kMaxBias;
  double sum = 0.0, squares = 0.0;
  for (int32_t i = 0; i < kPhases; ++i) {
    const double x = kReferenceLevel * std::sin(2.0 * 3.14159265358979323846 * i / kPhases);
    const double y = std::tanh(drive * x + offset) - std::tanh(offset);
    sum += y;
    squares += y * y;
  }
  const double mean = sum / kPhases;
  const double rms = std::sqrt(std::max(squares / kPhases - mean * mean, 1e-30));
  return kReferenceLevel * std::sqrt(0.5) / rms;
}

double RWarmthLevelMatch::Makeup(double drive, double bias) noexcept {
  const RMakeupTable& table = MakeupTable();
  const double db = drive > 1.0 ? 20.0 * std::log10(drive) : 0.0;
  const double dPos = std::clamp(db / kMaxDriveDb * kDriveSteps, 0.0, double(kDriveSteps));
  const double bPos = std::clamp(bias * kBiasSteps, 0.0, double(kBiasSteps));
  const auto d0 = std::min(int32_t(dPos), kDriveSteps - 1);
  const auto b0 = std::min(int32_t(bPos), kBiasSteps - 1);
  const double dt = dPos - d0, bt = bPos - b0;
  const auto& lo = table[size_t(d0)];
  const auto& hi = table[size_t(d0 + 1)];
  const double atLo = lo[size_t(b0)] + (lo[size_t(b0 + 1)] - lo[size_t(b0)]) * bt;
  const double atHi = hi[size_t(b0)] + (hi[size_t(b0 + 1)] - hi[size_t(b0)]) * bt;
  return atLo + (atHi - atLo) * dt;
}

void RunWarmthCurve(float* samples, int32_t count, RBlockRamp drive, RBlockRamp bias,
                    RAntiderivativeState& state) noexcept {
  const RWarmthCurve curve;
  constexpr double kScale = RWarmthLevelMatch::kMaxBias;
  if (drive.step == 0.0 && bias.step == 0.0) {
    const double offset = kScale * bias.start;
    const double removed = std::tanh(offset);
    const double makeup = RWarmthLevelMatch::Makeup(drive.start, bias.start);
    // The antiderivatives of a run at once, in vectors: they are most of the stage's cost.
    constexpr int32_t kRun = 128;
    double x[kRun], integral[kRun];
    for (int32_t done = 0; done < count; done += kRun) {
      const int32_t n = std::min(kRun, count - done);
      for (int32_t i = 0; i < n; ++i) x[i] = SanitiseCurveInput(double(samples[done + i]) + offset, kCurveLimit);
      RDspKernels::LogCosh(x, integral, n);
      for (int32_t i = 0; i < n; ++i) {
        samples[done + i] = float(makeup * (AntiderivativeStepWith(curve, state, x[i], integral[i]) - removed));
      }
    }
    return;
  }
  for (int32_t i = 0; i < count; ++i) {
    const double offset = kScale * bias.At(i);
    const double x = SanitiseCurveInput(double(samples[i]) + offset, kCurveLimit);
    const double makeup = RWarmthLevelMatch::Makeup(drive.At(i), bias.At(i));
    samples[i] = float(makeup * (AntiderivativeStep(curve, state, x) - std::tanh(offset)));
  }
}
