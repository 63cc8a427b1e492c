#include "modules/hertzslider/quadratureoscillator.h"

#include <cmath>
#include <numbers>

void RQuadratureOscillator::Reset() noexcept {
  re_ = 1.0;
  im_ = 0.0;
}

double RQuadratureOscillator::GetPhase() const noexcept { return std::atan2(im_, re_); }

double RQuadratureOscillator::GetAmplitude() const noexcept { return std::sqrt(re_ * re_ + im_ * im_); }

RQuadratureOscillator::Rotation RQuadratureOscillator::Start(int32_t count, double startHz, double endHz,
                                                             double sampleRate) noexcept {
  const double radiansPerHz = 2.0 * std::numbers::pi / sampleRate;
  const double step = startHz * radiansPerHz;
  if (step != lastStep_) {
    lastStep_ = step;
    lastStepRe_ = std::cos(step);
    lastStepIm_ = std::sin(step);
  }
  // The step grows by the same angle every sample: the frequency ramps linearly.
  const double glide = (endHz - startHz) * radiansPerHz / double(count);
  // A run of one sample never uses its glided step.
  if (glide == 0.0 || count == 1) return {re_, im_, lastStepRe_, lastStepIm_, 1.0, 0.0, false};
  return {re_, im_, lastStepRe_, lastStepIm_, std::cos(glide), std::sin(glide), true};
}

inline void RQuadratureOscillator::Advance(Rotation& r) noexcept {
  const double nextRe = r.re * r.stepRe - r.im * r.stepIm;
  r.im = r.re * r.stepIm + r.im * r.stepRe;
  r.re = nextRe;
  if (r.gliding) {
    const double nextStepRe = r.stepRe * r.glideRe - r.stepIm * r.glideIm;
    r.stepIm = r.stepRe * r.glideIm + r.stepIm * r.glideRe;
    r.stepRe = nextStepRe;
  }
}

void RQuadratureOscillator::Finish(double re, double im) noexcept {
  // A NaN frequency would poison the phasor for good: start again from phase 0 instead.
  const double length = re * re + im * im;
  if (!std::isfinite(length) || length < 0.25) {
    Reset();
    return;
  }
  const double g = 1.5 - 0.5 * length;
  re_ = re * g;
  im_ = im * g;
}

void RQuadratureOscillator::Run(float* cosine, float* minusSine, int32_t count, double startHz, double endHz,
                                double sampleRate) noexcept {
  if (count <= 0 || !(sampleRate > 0.0)) return;
  Rotation r = Start(count, startHz, endHz, sampleRate);
  for (int32_t i = 0; i < count; ++i) {
    if (cosine) cosine[i] = float(r.re);
    if (minusSine) minusSine[i] = float(-r.im);
    Advance(r);
  }
  Finish(r.re, r.im);
}

void RQuadratureOscillator::RunPair(RQuadratureOscillator& left, RQuadratureOscillator& right, float* cosineLeft,
                                    float* minusSineLeft, float* cosineRight, float* minusSineRight, int32_t count,
                                    double startLeftHz, double endLeftHz, double startRightHz, double endRightHz,
                                    double sampleRate) noexcept {
  if (count <= 0 || !(sampleRate > 0.0)) return;
  Rotation l = left.Start(count, startLeftHz, endLeftHz, sampleRate);
  Rotation r = right.Start(count, startRightHz, endRightHz, sampleRate);
  for (int32_t i = 0; i < count; ++i) {
    cosineLeft[i] = float(l.re);
    minusSineLeft[i] = float(-l.im);
    cosineRight[i] = float(r.re);
    minusSineRight[i] = float(-r.im);
    Advance(l);
    Advance(r);
  }
  left.Finish(l.re, l.im);
  right.Finish(r.re, r.im);
}
