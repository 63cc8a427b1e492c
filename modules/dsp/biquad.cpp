#include "modules/dsp/biquad.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "base/exception.h"
#include "modules/dsp/dspkernels.h"

namespace {

// ln(10) / 40: decibels to the exponent of e for A = 10^(gain / 40), the square root of the
// linear gain, which the shelf and peak formulas are written in.
constexpr double kDecibelToHalfExponent = 0.05756462732485114;
// A peak this close to 0 dB has nothing to hold in shape: the plain peak serves.
constexpr double kFlatPeak = 1e-5;

// The magnitude squared of the analogue peak s^2 + s (A / Q) w + w^2 over s^2 + s w / (A Q) + w^2
// at the angular frequency omega, all in radians per sample without warping.
double AnaloguePeakSquared(double w, double a, double q, double omega) {
  const double d = w * w - omega * omega;
  const double upper = a * w * omega / q;
  const double lower = w * omega / (a * q);
  return (d * d + upper * upper) / (d * d + lower * lower);
}

} // namespace

void RBiquad::Design(int32_t type, double gainDb, double frequency, double sampleRate, double q) {
  gain_ = gainDb;
  frequency_ = frequency;
  sampleRate_ = sampleRate;
  q_ = q;
  type_ = type;
  w_ = 2.0 * std::numbers::pi * frequency / sampleRate;
  changed_ = true;
  switch (type) {
  case kOnePoleLowPass:
  case kOnePoleHighPass:
  case kFirstOrderAllPass:
  case kOnePoleZeroLowPass:
  case kOnePoleZeroHighPass:
  case kBilinearLowPass:
  case kBilinearHighPass:
    DesignFirstOrder(type);
    return;
  case kPeakHeld:
    if (std::fabs(std::exp(gainDb * kDecibelToHalfExponent) - 1.0) > kFlatPeak) {
      DesignPeakHeld();
      return;
    }
    DesignSecondOrder(kPeak);
    return;
  default:
    DesignSecondOrder(type);
  }
}

void RBiquad::DesignSecondOrder(int32_t type) {
  const double s = std::sin(w_);
  const double c = std::cos(w_);
  const double alpha = s / (2.0 * q_);
  const double a = std::exp(gain_ * kDecibelToHalfExponent);
  cosw_ = c;
  alpha_ = alpha;
  const double r = 2.0 * alpha * std::sqrt(a);
  switch (type) {
  case kPeak:
    SetNormalised(1.0 + alpha * a, -2.0 * c, 1.0 - alpha * a, 1.0 + alpha / a, -2.0 * c, 1.0 - alpha / a);
    break;
  case kLowShelf:
    SetNormalised(a * ((a + 1.0) - (a - 1.0) * c + r), 2.0 * a * ((a - 1.0) - (a + 1.0) * c),
                  a * ((a + 1.0) - (a - 1.0) * c - r), (a + 1.0) + (a - 1.0) * c + r,
                  -2.0 * ((a - 1.0) + (a + 1.0) * c), (a + 1.0) + (a - 1.0) * c - r);
    break;
  case kHighShelf:
    SetNormalised(a * ((a + 1.0) + (a - 1.0) * c + r), -2.0 * a * ((a - 1.0) + (a + 1.0) * c),
                  a * ((a + 1.0) + (a - 1.0) * c - r), (a + 1.0) - (a - 1.0) * c + r,
                  2.0 * ((a - 1.0) - (a + 1.0) * c), (a + 1.0) - (a - 1.0) * c - r);
    break;
  case kLowPass:
    SetNormalised((1.0 - c) / 2.0, 1.0 - c, (1.0 - c) / 2.0, 1.0 + alpha, -2.0 * c, 1.0 - alpha);
    break;
  case kHighPass:
    SetNormalised((1.0 + c) / 2.0, -(1.0 + c), (1.0 + c) / 2.0, 1.0 + alpha, -2.0 * c, 1.0 - alpha);
    break;
  case kBandPass:
    SetNormalised(alpha, 0.0, -alpha, 1.0 + alpha, -2.0 * c, 1.0 - alpha);
    break;
  case kNotch:
    SetNormalised(1.0, -2.0 * c, 1.0, 1.0 + alpha, -2.0 * c, 1.0 - alpha);
    break;
  case kAllPass:
    SetNormalised(1.0 - alpha, -2.0 * c, 1.0 + alpha, 1.0 + alpha, -2.0 * c, 1.0 - alpha);
    break;
  default:
    throw RException(RString("Invalid filter type."));
  }
}

// The bilinear peak squeezes towards the top of the band: its response must reach 0 dB at
// half the sample rate, where the analogue peak still has gain. This design keeps the
// analogue shape instead. The poles are the analogue ones mapped by z = e^s, and the zeros
// are chosen so that the magnitude equals the analogue one exactly at 0, at the centre and
// at half the sample rate (where the pi^2 terms of the prototype come in).
//
// With phi1 = sin^2(w / 2), phi0 = 1 - phi1 and phi2 = 4 phi0 phi1, the magnitude squared
// of b0 + b1 z^-1 + b2 z^-2 on the unit circle is
//   (b0 + b1 + b2)^2 phi0 + (b0 - b1 + b2)^2 phi1 - 4 b0 b2 phi2,
// which is linear in the three squares; the same form holds for the denominator. Three
// prescribed magnitudes give the three squares, and the squares give b0, b1, b2.
//
// A cut is designed as the boost of the same size turned upside down, as the analogue cut is
// the inverse of the analogue boost: the poles of a cut are narrow where its zeros would be
// and the three-point match keeps the notch's width.
void RBiquad::DesignPeakHeld() {
  const double a = std::exp(std::fabs(gain_) * kDecibelToHalfExponent);
  const double w = w_;
  cosw_ = std::cos(w);
  alpha_ = std::sin(w) / (2.0 * q_);

  const double zeta = 1.0 / (2.0 * a * q_);
  const double decay = std::exp(-zeta * w);
  const double a1 = zeta <= 1.0 ? -2.0 * decay * std::cos(w * std::sqrt(1.0 - zeta * zeta))
                                : -2.0 * decay * std::cosh(w * std::sqrt(zeta * zeta - 1.0));
  const double a2 = decay * decay;

  const double denominatorDc = (1.0 + a1 + a2) * (1.0 + a1 + a2);
  const double denominatorTop = (1.0 - a1 + a2) * (1.0 - a1 + a2);
  const double denominatorCross = -4.0 * a2;
  const double half = std::sin(w / 2.0);
  const double phi1 = half * half;
  const double phi0 = 1.0 - phi1;
  const double phi2 = 4.0 * phi0 * phi1;

  const double gainTop = AnaloguePeakSquared(w, a, q_, std::numbers::pi);
  const double gainCentre = a * a * a * a;
  const double numeratorDc = denominatorDc;
  const double numeratorTop = denominatorTop * gainTop;
  const double denominatorAtCentre = denominatorDc * phi0 + denominatorTop * phi1 + denominatorCross * phi2;
  const double numeratorCross =
      phi2 > 0.0 ? (gainCentre * denominatorAtCentre - numeratorDc * phi0 - numeratorTop * phi1) / phi2 : 0.0;

  const double sumDc = std::sqrt(numeratorDc);
  const double sumTop = std::sqrt(numeratorTop);
  const double outer = 0.5 * (sumDc + sumTop);  // b0 + b2
  const double b1 = 0.5 * (sumDc - sumTop);
  // b0 b2 = -numeratorCross / 4: b0 and b2 are the roots of t^2 - outer t - numeratorCross / 4.
  const double discriminant = std::max(outer * outer + numeratorCross, 0.0);
  const double b0 = 0.5 * (outer + std::sqrt(discriminant));
  const double b2 = outer - b0;
  if (gain_ >= 0.0) SetNormalised(b0, b1, b2, 1.0, a1, a2);
  else SetNormalised(1.0, a1, a2, b0, b1, b2);
}

void RBiquad::DesignFirstOrder(int32_t type) {
  const double e = std::exp(-w_);
  cosw_ = std::cos(w_);
  alpha_ = 0.0;
  RBiquadCoefficients c;
  c.f1 = e;
  switch (type) {
  case kOnePoleLowPass:
    c.b0 = 1.0 - e;
    break;
  case kOnePoleHighPass:
    c.b0 = 0.5 + 0.5 * e;
    c.b1 = -c.b0;
    break;
  case kFirstOrderAllPass:
    c.b0 = e;
    c.b1 = -1.0;
    break;
  case kOnePoleZeroLowPass:
  case kOnePoleZeroHighPass: {
    // The zero sits where it makes the gain 1 at DC: 0.8848... * (1 + 0.1301...) = 1.
    const double b0 = 0.8848307453347383 * (1.0 - e);
    const double b1 = 0.13015964383300485 * b0;
    c.b0 = type == kOnePoleZeroLowPass ? b0 : 1.0 - b0;
    c.b1 = type == kOnePoleZeroLowPass ? b1 : -(b1 + e);
    break;
  }
  default: {
    // Bilinear with the corner prewarped: g sin w = tan(w / 2) / (1 + tan(w / 2)).
    const double s = std::sin(w_);
    const double g = 1.0 / (1.0 + s + cosw_);
    const double b0 = g * s;
    c.f1 = g * (1.0 - s + cosw_);
    c.b0 = type == kBilinearLowPass ? b0 : 1.0 - b0;
    c.b1 = type == kBilinearLowPass ? b0 : -(c.f1 + b0);
    break;
  }
  }
  coefficients_ = c;
}

void RBiquad::SetNormalised(double b0, double b1, double b2, double a0, double a1, double a2) noexcept {
  const double inverse = 1.0 / a0;
  coefficients_.b0 = b0 * inverse;
  coefficients_.b1 = b1 * inverse;
  coefficients_.b2 = b2 * inverse;
  coefficients_.f1 = -a1 * inverse;
  coefficients_.f2 = -a2 * inverse;
}

void RBiquad::ScaleNumerator(double factor) noexcept {
  coefficients_.b0 *= factor;
  coefficients_.b1 *= factor;
  coefficients_.b2 *= factor;
  changed_ = true;
}

void RBiquad::Run(RBiquadState& state, const float* input, float* output, int32_t count) const noexcept {
  RDspKernels::BiquadCascade(&coefficients_, &state, 1, input, output, count);
}

void RBiquad::RunPair(RBiquadState& left, RBiquadState& right, const float* inLeft, const float* inRight,
                      float* outLeft, float* outRight, int32_t count) const noexcept {
  RDspKernels::BiquadCascadePair(&coefficients_, &left, &right, 1, inLeft, inRight, outLeft, outRight, count);
}

void RBiquad::RunCascade(const RBiquad* stages, RBiquadState* states, int32_t stageCount, const float* input,
                         float* output, int32_t count) noexcept {
  // The kernel wants the coefficients side by side; a stack of up to 8 goes in one call and
  // deeper stacks in groups, the first group from the input and the rest in place.
  constexpr int32_t kGroup = 8;
  RBiquadCoefficients group[kGroup];
  if (stageCount <= 0) {
    RDspKernels::BiquadCascade(group, states, 0, input, output, count);
    return;
  }
  for (int32_t first = 0; first < stageCount; first += kGroup) {
    const int32_t n = std::min(kGroup, stageCount - first);
    for (int32_t i = 0; i < n; ++i) group[i] = stages[first + i].coefficients_;
    RDspKernels::BiquadCascade(group, states + first, n, first == 0 ? input : output, output, count);
  }
}

std::complex<double> RBiquad::Response(double frequency) const noexcept {
  const double w = 2.0 * std::numbers::pi * frequency / sampleRate_;
  const std::complex<double> z1 = std::polar(1.0, -w);
  const std::complex<double> z2 = z1 * z1;
  const RBiquadCoefficients& c = coefficients_;
  return (c.b0 + c.b1 * z1 + c.b2 * z2) / (1.0 - c.f1 * z1 - c.f2 * z2);
}
