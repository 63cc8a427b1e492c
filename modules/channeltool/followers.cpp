#include "modules/channeltool/followers.h"

#include <algorithm>
#include <cmath>

namespace {
constexpr float kInputLimit = 100.0f;
constexpr double kSteady = 1.0 - 1e-6;
} // namespace

double FollowerCoefficient(double seconds, double sampleRate) noexcept {
  const double samples = seconds * sampleRate;
  return samples < 1e-10 ? 0.0 : std::exp(-1.0 / samples);
}

float FollowerInput(float x) noexcept {
  if (std::isnan(x)) return 0.0f;
  return std::clamp(x, -kInputLimit, kInputLimit);
}

// --- RMS

void RRMSFollower::Reserve(double maxSeconds, double sampleRate) {
  // The moving sum keeps its ring's storage when it shrinks, so sizing it once for the longest
  // window leaves every later length within it free of allocation.
  sum_.SetWindow(maxSeconds, sampleRate);
  sum_.SetLength(1);
  holdLeft_ = 0;
  held_ = 0.0;
}

void RRMSFollower::Configure(double lengthSeconds, double holdSeconds, double sampleRate) {
  const int32_t length = int32_t(std::max(1.0, lengthSeconds * sampleRate));
  if (length != sum_.GetLength()) sum_.SetLength(length);
  holdSamples_ = int32_t(std::max(0.0, holdSeconds * sampleRate));
  holdLeft_ = std::min(holdLeft_, holdSamples_);
}

void RRMSFollower::Clear() noexcept {
  sum_.Clear();
  holdLeft_ = 0;
  held_ = 0.0;
}

void RRMSFollower::Process(float* samples, int32_t count) noexcept {
  for (int32_t i = 0; i < count; ++i) {
    const float x = FollowerInput(samples[i]);
    const float square = x * x;
    sum_.Process(&square, 1);
    const double rms = std::sqrt(sum_.GetMean());
    // A steady level (within rounding of the running sum) counts as a peak too, so the hold
    // starts when the level really falls; after the hold the level follows the window down.
    if (rms >= held_ * kSteady || holdLeft_ <= 0) {
      held_ = rms;
      holdLeft_ = holdSamples_;
    } else {
      --holdLeft_;
    }
    samples[i] = float(held_);
  }
}

// --- envelope

void REnvelopeFollower::Configure(double attackSeconds, double releaseSeconds, double sampleRate) noexcept {
  attack_ = FollowerCoefficient(attackSeconds, sampleRate);
  release_ = FollowerCoefficient(releaseSeconds, sampleRate);
}

void REnvelopeFollower::Process(float* samples, int32_t count) noexcept {
  double level = level_;
  for (int32_t i = 0; i < count; ++i) {
    const double x = std::fabs(double(FollowerInput(samples[i])));
    const double e = x > level ? attack_ : release_;
    level = x + e * (level - x);
    samples[i] = float(level);
  }
  // A state decayed below the float range would run the loop on denormals.
  level_ = level < 1e-30 ? 0.0 : level;
}
