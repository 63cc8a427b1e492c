#include "modules/transferbender/bendercurve.h"

#include <algorithm>
#include <cmath>

namespace {

// In units of the ceiling: the lowest ceiling is -24 dB, so this is far beyond any input
// that isn't garbage, and the antiderivative is still exact in double there.
constexpr double kCurveLimit = 1.0e7;
// A bend narrower than this is a hard clip: the division by the width would lose precision.
constexpr double kHardWidth = 1e-6;

} // namespace

void RBenderCurve::SetShape(double shape) noexcept {
  const double s = std::clamp(shape, 0.0, 1.0);
  width_ = s < kHardWidth ? 0.0 : s;
  knee_ = 1.0 - width_;
}

double RBenderCurve::Value(double u) const noexcept {
  const double a = std::fabs(u);
  if (a <= knee_) return u;
  const double bent = width_ > 0.0 ? knee_ + width_ * std::tanh((a - knee_) / width_) : 1.0;
  return u < 0.0 ? -bent : bent;
}

double RBenderCurve::Integral(double u) const noexcept {
  const double a = std::fabs(u);
  if (a <= knee_) return 0.5 * u * u;
  const double beyond = a - knee_;
  const double bend = width_ > 0.0 ? width_ * width_ * LogCosh(beyond / width_) : 0.0;
  return 0.5 * knee_ * knee_ + knee_ * beyond + bend;
}

void RunBenderCurve(const RBenderCurve& curve, float* samples, int32_t count, RBlockRamp ceiling,
                    RAntiderivativeState& state) noexcept {
  const double knee = curve.GetKnee();
  for (int32_t i = 0; i < count; ++i) {
    const double t = ceiling.At(i);
    const double u = SanitiseCurveInput(double(samples[i]) / t, kCurveLimit);
    double y;
    if (std::fabs(u) <= knee && std::fabs(state.x1) <= knee) {
      // The straight part's antiderivative, kept so that the next bent sample's mean is right.
      state.x1 = u;
      state.integral1 = 0.5 * u * u;
      y = u;
    } else {
      y = std::clamp(AntiderivativeStep(curve, state, u), -1.0, 1.0);
    }
    // The float of t y may round up past the float of t; the product is held below it.
    const auto limit = float(t);
    samples[i] = std::clamp(float(t * y), -limit, limit);
  }
}
