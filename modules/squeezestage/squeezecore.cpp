#include "modules/squeezestage/squeezecore.h"

#include <algorithm>
#include <cmath>

namespace {

// 10^(-dB / 20) = exp(-dB * ln(10) / 20).
constexpr float kDecibelsToNepers = 0.11512925464970229f;

double Coefficient(double seconds, double rate) noexcept {
  const double samples = std::max(seconds * rate, 1e-3);
  return std::exp(-1.0 / samples);
}

} // namespace

template <class Reduction>
double RSqueezeDetector::RunEnvelope(const float* levels, float* gains, int32_t count, RSqueezeEnvelope& state,
                                     Reduction reduction) const noexcept {
  const double attack = attackCoefficient_;
  const double release = releaseCoefficient_;
  const double rest = -makeupDb_;
  double held = state.held;
  double smoothed = state.smoothed;
  double deepest = rest;
  for (int32_t i = 0; i < count; ++i) {
    const double target = rest + reduction(levels[i]);
    held = std::max(target, target + release * (held - target));
    smoothed = held > smoothed ? held + attack * (smoothed - held) : held;
    deepest = std::max(deepest, smoothed);
    gains[i] = std::exp(-kDecibelsToNepers * float(smoothed));
  }
  state.held = held;
  state.smoothed = smoothed;
  return std::max(deepest - rest, 0.0);
}

double RSqueezeCurve::Reduction(double levelDb) const noexcept {
  const double over = levelDb - threshold;
  const double slope = 1.0 - 1.0 / std::max(ratio, 1.0);
  if (2.0 * over <= -knee) return 0.0;
  if (2.0 * over >= knee) return slope * over;
  const double into = over + 0.5 * knee;
  return slope * into * into / (2.0 * knee);
}

double RSqueezeCurve::KneeStart() const noexcept { return std::pow(10.0, (threshold - 0.5 * knee) / 20.0); }

void RSqueezeDetector::Configure(const RSqueezeCurve& curve, bool autoMakeup, double attack, double release,
                                 double sampleRate) noexcept {
  curve_ = curve;
  kneeStart_ = float(curve.KneeStart());
  makeupDb_ = autoMakeup ? curve.Reduction(kMakeupReferenceDb) : 0.0;
  if (attack != attack_ || sampleRate != rate_) attackCoefficient_ = Coefficient(attack, sampleRate);
  if (release != release_ || sampleRate != rate_) releaseCoefficient_ = Coefficient(release, sampleRate);
  attack_ = attack;
  release_ = release;
  rate_ = sampleRate;
}

double RSqueezeDetector::Run(const float* levels, float* gains, int32_t count, RSqueezeEnvelope& state) const noexcept {
  const float kneeStart = kneeStart_;
  const RSqueezeCurve& curve = curve_;
  return RunEnvelope(levels, gains, count, state, [&](float a) {
    return a > kneeStart ? curve.Reduction(20.0 * double(std::log10(a))) : 0.0;
  });
}

double RSqueezeDetector::RunDecibels(const float* levelsDb, float* gains, int32_t count,
                                     RSqueezeEnvelope& state) const noexcept {
  const RSqueezeCurve& curve = curve_;
  return RunEnvelope(levelsDb, gains, count, state, [&](float db) { return curve.Reduction(double(db)); });
}
