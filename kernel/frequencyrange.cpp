#include "kernel/frequencyrange.h"

#include <algorithm>
#include <cmath>

#include "base/string.h"
#include "base/valuedisplay.h"
#include "kernel/valuekernels.h"
#include "kernel/valuetext.h"

namespace {

// Lowest frequency whose logarithm is taken: keeps a limit of 0 Hz finite.
constexpr double kLowestHertz = 1e-10;

double LogOf(double hertz) noexcept { return std::log(std::max(hertz, kLowestHertz)); }

} // namespace

RFrequencyRange::RFrequencyRange(double min, double max, double defaultValue, double inc, double maxinc,
                                 int32_t steps, const RString& format)
    : RValueRange(min, max, defaultValue, inc, maxinc, steps, format) {
  RFrequencyRange::Finish();
}

void RFrequencyRange::Finish() {
  RValueRange::Finish();
  logMin_ = LogOf(min_);
  logMax_ = LogOf(max_);
}

RString RFrequencyRange::FormatValue(double hertz) const {
  if (!minimumText_.IsEmpty() && hertz <= min_ + kSameValue) return minimumText_;
  return RValueDisplay::Frequency(hertz);
}

bool RFrequencyRange::ParseText(const RString& text, double& hertz) const {
  double number = 0.0;
  if (!RValueText::ReadNumber(text, number)) return false;
  static const RStringSearch kKilohertz(RString("kHz"));
  hertz = kKilohertz.Find(text) >= 0 ? number * 1000.0 : number;
  return true;
}

bool RFrequencyRange::StepFine(int32_t count) { return StepFineNormalised(count); }

bool RFrequencyRange::SetPeriod(double seconds) {
  if (!(seconds > kSameValue)) return false;
  SetValue(1.0 / seconds);
  return true;
}

double RFrequencyRange::LinearToCurve(double linear) const { return RealToNormalised(min_ + linear * Span()); }

double RFrequencyRange::CurveToLinear(double curve) const {
  const double span = Span();
  if (span == 0.0) return 0.0;
  return (NormalisedToReal(curve) - min_) / span;
}

// The frequency, then its place in the span: (f - min) / (max - min), as a second pass.
template <typename T>
void RFrequencyRange::CurveToLinearBlock(const T* in, T* out, int32_t count) const noexcept {
  const double span = Span();
  if (span == 0.0) {
    RValueKernels::MultiplyAdd(in, out, count, T(0), T(0));
    return;
  }
  RValueKernels::MultiplyAddExp(in, out, count, T(logMax_ - logMin_), T(logMin_));
  RValueKernels::MultiplyAdd(out, out, count, T(1.0 / span), T(-min_ / span));
}

void RFrequencyRange::CurveToLinear(const double* in, double* out, int32_t count) const noexcept {
  CurveToLinearBlock(in, out, count);
}

void RFrequencyRange::CurveToLinear(const float* in, float* out, int32_t count) const noexcept {
  CurveToLinearBlock(in, out, count);
}

double RFrequencyRange::RealToNormalised(double hertz) const {
  const double logSpan = logMax_ - logMin_;
  if (logSpan == 0.0 || !(hertz > 0.0)) return 0.0;
  return std::clamp((std::log(hertz) - logMin_) / logSpan, 0.0, 1.0);
}

double RFrequencyRange::NormalisedToReal(double normalised) const {
  return std::exp(logMin_ + normalised * (logMax_ - logMin_));
}

void RFrequencyRange::NormalisedToReal(const double* in, double* out, int32_t count) const noexcept {
  RValueKernels::MultiplyAddExp(in, out, count, logMax_ - logMin_, logMin_);
}

void RFrequencyRange::NormalisedToReal(const float* in, float* out, int32_t count) const noexcept {
  RValueKernels::MultiplyAddExp(in, out, count, float(logMax_ - logMin_), float(logMin_));
}
