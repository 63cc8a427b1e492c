#include "kernel/timerange.h"

#include <algorithm>
#include <cmath>

#include "base/valuedisplay.h"
#include "kernel/valuekernels.h"
#include "kernel/valuetext.h"

RString RTimeRange::FormatValue(double seconds) const {
  if (!minimumText_.IsEmpty() && seconds <= min_ + kSameValue) return minimumText_;
  return RValueDisplay::Time(seconds);
}

bool RTimeRange::ParseText(const RString& text, double& seconds) const {
  double milliseconds = 0.0;
  if (!RValueText::ReadNumber(text, milliseconds)) return false;
  seconds = milliseconds * 0.001;
  return true;
}

bool RTimeRange::StepFine(int32_t count) { return StepFineNormalised(count); }

double RTimeRange::LinearToCurve(double linear) const { return std::sqrt(std::sqrt(std::max(linear, 0.0))); }

double RTimeRange::CurveToLinear(double curve) const {
  const double squared = curve * curve;
  return squared * squared;
}

void RTimeRange::CurveToLinear(const double* in, double* out, int32_t count) const noexcept {
  RValueKernels::FourthPowerMultiplyAdd(in, out, count, 1.0, 0.0);
}

void RTimeRange::CurveToLinear(const float* in, float* out, int32_t count) const noexcept {
  RValueKernels::FourthPowerMultiplyAdd(in, out, count, 1.0f, 0.0f);
}

double RTimeRange::RealToNormalised(double seconds) const {
  return LinearToCurve(RValueRange::RealToNormalised(seconds));
}

double RTimeRange::NormalisedToReal(double normalised) const { return min_ + CurveToLinear(normalised) * Span(); }

void RTimeRange::NormalisedToReal(const double* in, double* out, int32_t count) const noexcept {
  RValueKernels::FourthPowerMultiplyAdd(in, out, count, Span(), min_);
}

void RTimeRange::NormalisedToReal(const float* in, float* out, int32_t count) const noexcept {
  RValueKernels::FourthPowerMultiplyAdd(in, out, count, float(Span()), float(min_));
}
