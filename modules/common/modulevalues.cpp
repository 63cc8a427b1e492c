#include "modules/common/modulevalues.h"

#include <algorithm>
#include <cmath>

#include "base/format.h"
#include "base/string.h"
#include "base/valuedisplay.h"
#include "kernel/valuetext.h"

namespace {

// 20 / ln 10: decibels from the natural logarithm of a factor, as the gain display has it.
constexpr double kDecibelsPerNeper = 8.685889638065037;
// Below this a factor has no decibels: it reads as silence.
constexpr double kSilence = 1e-10;

double DecibelsOf(double linear) noexcept { return std::log(std::max(linear, kSilence)) * kDecibelsPerNeper; }
double FactorOf(double decibels) noexcept { return std::exp(decibels / kDecibelsPerNeper); }

bool Contains(const RString& text, const char* word) { return RStringSearch(RString::FromUTF8(word)).Find(text) >= 0; }

} // namespace

// --- gain

RGainRange::RGainRange(double minDecibels, double maxDecibels, double defaultDecibels, const RString& format)
    : RValueRange(FactorOf(minDecibels), FactorOf(maxDecibels), FactorOf(defaultDecibels), 0.0, 0.0, 0, format),
      minDecibels_(minDecibels), maxDecibels_(maxDecibels) {}

RString RGainRange::FormatValue(double linear) const {
  if (format_.IsEmpty()) return RValueDisplay::Gain(linear);
  return RFormat(format_) << DecibelsOf(linear);
}

bool RGainRange::ParseText(const RString& text, double& linear) const {
  double decibels = 0.0;
  if (!RValueText::ReadNumber(text, decibels)) return false;
  linear = FactorOf(decibels);
  return true;
}

bool RGainRange::StepFine(int32_t count) { return StepFineNormalised(count); }

double RGainRange::LinearToCurve(double linear) const { return RealToNormalised(min_ + linear * Span()); }

double RGainRange::CurveToLinear(double curve) const {
  const double span = Span();
  return span == 0.0 ? 0.0 : (NormalisedToReal(curve) - min_) / span;
}

double RGainRange::RealToNormalised(double linear) const {
  const double span = maxDecibels_ - minDecibels_;
  if (span == 0.0) return 0.0;
  return std::clamp((DecibelsOf(linear) - minDecibels_) / span, 0.0, 1.0);
}

double RGainRange::NormalisedToReal(double normalised) const {
  return FactorOf(minDecibels_ + normalised * (maxDecibels_ - minDecibels_));
}

void RGainRange::NormalisedToReal(const double* in, double* out, int32_t count) const noexcept {
  for (int32_t i = 0; i < count; ++i) out[i] = NormalisedToReal(in[i]);
}

void RGainRange::NormalisedToReal(const float* in, float* out, int32_t count) const noexcept {
  for (int32_t i = 0; i < count; ++i) out[i] = float(NormalisedToReal(double(in[i])));
}

RGainValue::RGainValue(RAudioPluginBase* owner, const RString& name, double minDecibels, double maxDecibels,
                       double defaultDecibels, const RString& format, const RString& key,
                       const RString& description)
    : RRangedValue(owner, std::make_unique<RGainRange>(minDecibels, maxDecibels, defaultDecibels, format), name,
                   key, description) {}

// --- volume

RVolumeRange::RVolumeRange(double max, double defaultValue) : RValueRange(0.0, max, defaultValue) {}

RString RVolumeRange::FormatValue(double linear) const { return RValueDisplay::Gain(linear); }

bool RVolumeRange::ParseText(const RString& text, double& linear) const {
  if (Contains(text, "silence") || Contains(text, "-inf")) {
    linear = 0.0;
    return true;
  }
  double decibels = 0.0;
  if (!RValueText::ReadNumber(text, decibels)) return false;
  linear = FactorOf(decibels);
  return true;
}

RVolumeValue::RVolumeValue(RAudioPluginBase* owner, const RString& name, double max, double defaultValue,
                           const RString& key, const RString& description)
    : RRangedValue(owner, std::make_unique<RVolumeRange>(max, defaultValue), name, key, description) {}

// --- panorama

RPanRange::RPanRange(double min, double max, double defaultValue) : RValueRange(min, max, defaultValue) {}

RString RPanRange::FormatValue(double position) const { return RValueDisplay::Panorama(position); }

bool RPanRange::ParseText(const RString& text, double& position) const {
  if (Contains(text, "center")) {
    position = 0.0;
    return true;
  }
  double number = 0.0;
  if (!RValueText::ReadNumber(text, number)) return false;
  if (Contains(text, "left"))
    position = -std::fabs(number) * 0.01;
  else if (Contains(text, "right"))
    position = std::fabs(number) * 0.01;
  else if (Contains(text, "%"))
    position = number * 0.01;
  else
    position = number;
  return true;
}

RPanValue::RPanValue(RAudioPluginBase* owner, const RString& name, double min, double max, double defaultValue,
                     const RString& key, const RString& description)
    : RRangedValue(owner, std::make_unique<RPanRange>(min, max, defaultValue), name, key, description) {}

// --- percent

RPercentRange::RPercentRange(double min, double max, double defaultValue) : RValueRange(min, max, defaultValue) {}

RString RPercentRange::FormatValue(double ratio) const {
  return min_ < 0.0 ? RValueDisplay::SignedPercent(ratio) : RValueDisplay::Percent(ratio);
}

bool RPercentRange::ParseText(const RString& text, double& ratio) const {
  double percent = 0.0;
  if (!RValueText::ReadNumber(text, percent)) return false;
  ratio = percent * 0.01;
  return true;
}

RPercentValue::RPercentValue(RAudioPluginBase* owner, const RString& name, double min, double max,
                             double defaultValue, const RString& key, const RString& description)
    : RRangedValue(owner, std::make_unique<RPercentRange>(min, max, defaultValue), name, key, description) {}

// --- whole numbers

RIntegerRange::RIntegerRange(int32_t min, int32_t max, int32_t defaultValue)
    : RValueRange(double(min), double(max), double(defaultValue), 1.0, 1.0, std::abs(max - min) + 1) {}

RString RIntegerRange::FormatValue(double real) const { return RFormat("{0}") << int32_t(std::lround(real)); }

void RIntegerRange::Clamp() {
  RValueRange::Clamp();
  value_ = std::round(value_);
}

double RIntegerRange::NormalisedToReal(double normalised) const {
  return std::round(RValueRange::NormalisedToReal(normalised));
}

void RIntegerRange::NormalisedToReal(const double* in, double* out, int32_t count) const noexcept {
  for (int32_t i = 0; i < count; ++i) out[i] = NormalisedToReal(in[i]);
}

void RIntegerRange::NormalisedToReal(const float* in, float* out, int32_t count) const noexcept {
  for (int32_t i = 0; i < count; ++i) out[i] = float(NormalisedToReal(double(in[i])));
}

RIntegerValue::RIntegerValue(RAudioPluginBase* owner, const RString& name, int32_t min, int32_t max,
                             int32_t defaultValue, const RString& key, const RString& description)
    : RRangedValue(owner, std::make_unique<RIntegerRange>(min, max, defaultValue), name, key, description) {}

// --- frequency with a word at the top, stored as log10

RTopTextFrequencyRange::RTopTextFrequencyRange(double min, double max, double defaultValue, const RString& topText)
    : RFrequencyRange(min, max, defaultValue), topText_(topText) {}

RString RTopTextFrequencyRange::FormatValue(double hertz) const {
  if (!topText_.IsEmpty() && RLog10FrequencyValue::IsAtTop(hertz, max_)) return topText_;
  return RFrequencyRange::FormatValue(hertz);
}

bool RTopTextFrequencyRange::ParseText(const RString& text, double& hertz) const {
  RString trimmed = text;
  if (!topText_.IsEmpty() && trimmed.Trim().Compare(topText_) == 0) {
    hertz = max_;
    return true;
  }
  return RFrequencyRange::ParseText(text, hertz);
}

RLog10FrequencyValue::RLog10FrequencyValue(RAudioPluginBase* owner, const RString& name, double minHertz,
                                           double maxHertz, double defaultHertz, const RString& topText,
                                           const RString& key, const RString& description)
    : RRangedValue(owner, std::make_unique<RTopTextFrequencyRange>(minHertz, maxHertz, defaultHertz, topText), name,
                   key, description) {}

double RLog10FrequencyValue::ToStored(double hertz) const { return std::log10(std::max(hertz, kSilence)); }

double RLog10FrequencyValue::FromStored(double stored) const { return std::pow(10.0, stored); }

// --- choices

RModuleChoiceValue::RModuleChoiceValue(RAudioPluginBase* owner, const RString& name, const RArray<RString>& items,
                                       int32_t defaultIndex, const RString& key, const RString& description)
    : RChoiceValue(owner, name, items, defaultIndex, key, description) {
  SetFlag(kStoreByName, true);
}
