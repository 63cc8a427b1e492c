#include "kernel/valuerange.h"

#include <algorithm>
#include <cmath>

#include "base/format.h"
#include "kernel/valuekernels.h"
#include "kernel/valuetext.h"

namespace {

// Significant digits of a value without a format template: enough to read back what a
// definition wrote, few enough to hide binary noise such as 0.30000000000000004.
constexpr int kPlainDigits = 10;

// A fine step moves a curved kind by this much of its normalised range.
constexpr double kFineNormalisedStep = 0.00025;

double ClampNormalised(double normalised) noexcept {
  if (!(normalised > 0.0)) return 0.0;  // also NaN
  return normalised < 1.0 ? normalised : 1.0;
}

} // namespace

RValueRange::RValueRange(double min, double max, double defaultValue, double inc, double maxinc, int32_t steps,
                         const RString& format)
    : min_(min), max_(max), inc_(inc), maxinc_(std::max(maxinc, inc)), default_(defaultValue),
      value_(defaultValue), steps_(steps), format_(format), incGiven_(inc > 0.0) {
  RValueRange::Clamp();
  RValueRange::Finish();
}

bool RValueRange::SetValue(double real) {
  const double old = value_;
  value_ = real;
  Clamp();
  return value_ != old;
}

void RValueRange::SetLimits(double min, double max) {
  min_ = min;
  max_ = max;
  Clamp();
  Finish();
}

void RValueRange::ApplyAttributes(const Attributes& a) {
  if (a.min) min_ = *a.min;
  if (a.max) max_ = *a.max;
  if (a.defaultValue) default_ = *a.defaultValue;
  if (a.value) {
    value_ = *a.value;
    if (!a.defaultValue) default_ = value_;
  }
  if (a.inc) {
    inc_ = *a.inc;
    incGiven_ = inc_ > 0.0;
  }
  if (a.maxinc) maxinc_ = *a.maxinc;
  else maxinc_ = std::max(maxinc_, inc_);
  if (a.format) format_ = *a.format;
  Clamp();
  Finish();
}

void RValueRange::Finish() {
  if (incGiven_) return;
  inc_ = std::fabs(Span()) * 0.00025;
  if (!(inc_ > 0.0)) inc_ = 1.0;
  maxinc_ = inc_ * 10.0;
}

// --- text

RString RValueRange::GetText() const { return FormatValue(value_); }

bool RValueRange::SetTextValue(const RString& text) {
  double real = 0.0;
  if (!ParseText(text, real)) return false;
  value_ = real;
  Clamp();
  return true;
}

RString RValueRange::FormatValue(double real) const {
  if (format_.IsEmpty()) return RNumberText::DoubleToText(real, kPlainDigits);
  return RFormat(format_) << real;
}

RString RValueRange::FormatShort(double real) const { return FormatValue(real); }

bool RValueRange::ParseText(const RString& text, double& real) const {
  if (format_.IsEmpty()) return RValueText::ReadNumber(text, real);
  // The number sits in the template's first field; text around it must match the template.
  RString field;
  RFormatScan scan(format_, text);
  if (scan.FieldCount() < 1) return false;
  scan >> field;
  return RValueText::ReadNumber(field, real);
}

// --- value

bool RValueRange::ResetToDefault() {
  const double old = value_;
  value_ = default_;
  Clamp();
  return value_ != old;
}

bool RValueRange::IsDefault() const { return std::fabs(value_ - default_) < kSameValue; }

void RValueRange::Clamp() {
  // Limits given the wrong way round still bound the value.
  const double low = std::min(min_, max_);
  const double high = std::max(min_, max_);
  if (std::isnan(value_)) value_ = min_;
  value_ = std::clamp(value_, low, high);
}

bool RValueRange::Step(int32_t count, int32_t shift) {
  const double step = std::min(std::ldexp(inc_, shift), maxinc_);
  return SetValue(value_ + double(count) * step);
}

bool RValueRange::StepFine(int32_t count) { return SetValue(value_ + double(count) * inc_); }

bool RValueRange::SetPeriod(double) { return false; }

bool RValueRange::StepFineNormalised(int32_t count) {
  return SetValue(NormalisedToReal(ClampNormalised(GetNormalised() + double(count) * kFineNormalisedStep)));
}

// --- mapping

double RValueRange::LinearToCurve(double linear) const { return linear; }

double RValueRange::CurveToLinear(double curve) const { return curve; }

void RValueRange::CurveToLinear(const double* in, double* out, int32_t count) const noexcept {
  RValueKernels::MultiplyAdd(in, out, count, 1.0, 0.0);
}

void RValueRange::CurveToLinear(const float* in, float* out, int32_t count) const noexcept {
  RValueKernels::MultiplyAdd(in, out, count, 1.0f, 0.0f);
}

double RValueRange::RealToNormalised(double real) const {
  const double span = Span();
  if (span == 0.0) return 0.0;
  return ClampNormalised((real - min_) / span);
}

double RValueRange::NormalisedToReal(double normalised) const { return min_ + normalised * Span(); }

void RValueRange::NormalisedToReal(const double* in, double* out, int32_t count) const noexcept {
  RValueKernels::MultiplyAdd(in, out, count, Span(), min_);
}

void RValueRange::NormalisedToReal(const float* in, float* out, int32_t count) const noexcept {
  RValueKernels::MultiplyAdd(in, out, count, float(Span()), float(min_));
}

double RValueRange::GetNormalised() const { return RealToNormalised(value_); }

double RValueRange::GetSteppedNormalised() const { return Quantise(GetNormalised()); }

bool RValueRange::SetNormalised(double normalised) {
  return SetValue(NormalisedToReal(Quantise(ClampNormalised(normalised))));
}

double RValueRange::GetDefaultNormalised() const { return RealToNormalised(default_); }

RString RValueRange::TextOfNormalised(double normalised) const { return FormatValue(NormalisedToReal(normalised)); }

RString RValueRange::ShortTextOfNormalised(double normalised) const {
  return FormatShort(NormalisedToReal(normalised));
}

bool RValueRange::ParseToNormalised(const RString& text, double& normalised) const {
  double real = 0.0;
  if (!ParseText(text, real)) return false;
  normalised = RealToNormalised(real);
  return true;
}

double RValueRange::Quantise(double normalised) const noexcept {
  if (steps_ <= 1) return normalised;
  const double last = double(steps_ - 1);
  return std::round(normalised * last) / last;
}

// --- items

int32_t RValueRange::GetItemCount() const { return 0; }

RString RValueRange::GetItemText(int32_t) const { return RString(); }

bool RValueRange::SetItem(int32_t) { return false; }
