#include "modules/hertzslider/quadratureoscillator.h"

#include <cmath>
#include <numbers>

void RQuadratureOscillator::Reset() noexcept {
  re_ = 1.0;
  im_ = 0.0;
}

double RQuadratureOscillator::GetPhase() const noexcept { return std::atan2(im_, re_); }

double RQuadratureOscillator::GetAmplitude() const noexcept { return std::sqrt(re_ * re_ + im_ * im_); }

void RQuadratureOscillator::Run(float* cosine, float* minusSine, int32_t count, double startHz, double endHz,
                                double sampleRate) noexcept {
  if (count <= 0 || !(sampleRate > 0.0)) return;
  const double radiansPerHz = 2.0 * std::numbers::pi / sampleRate;
  const double step = startHz * radiansPerHz;
  // The step grows by the same angle every sample: the frequency ramps linearly.
  const double glide = (endHz - startHz) * radiansPerHz / double(count);
  double stepRe = std::cos(step), stepIm = std::sin(step);
  const double glideRe = std::cos(glide), glideIm = std::sin(glide);
  const bool gliding = glide != 0.0;
  double re = re_, im = im_;
  for (int32_t i = 0; i < count; ++i) {
    if (cosine) cosine[i] = float(re);
    if (minusSine) minusSine[i] = float(-im);
    const double nextRe = re * stepRe - im * stepIm;
    im = re * stepIm + im * stepRe;
    re = nextRe;
    if (gliding) {
      const double nextStepRe = stepRe * glideRe - stepIm * glideIm;
      stepIm = stepRe * glideIm + stepIm * glideRe;
      stepRe = nextStepRe;
    }
  }
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
