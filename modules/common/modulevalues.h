#pragma once
// The parameter kinds the effect modules share beyond the kernel's own: gains set in decibels
// and used as linear factors, volumes, panorama, ratios shown as percent, whole numbers,
// frequencies stored as their base-ten logarithm, and choices stored by their item's text.
//
// Every kind keeps its processing value in the unit the DSP multiplies with (a gain of -6 dB
// reads 0.501 there), so the kernel's gain and panorama stages and the dry/wet stage take
// these values as they are.
//
// Threads: as every value (kernel/value.h). The mappings are [any-thread] and allocation-free.

#include <cstdint>

#include "kernel/value.h"

// A gain whose control travels evenly in decibels between two limits; the value is the linear
// factor. Shown as the gain display ("-6.02 dB") or, with a format, the decibels through it
// ("{+0.2} dB" shows "+3.00 dB"). Typed text is read as decibels.
class RGainRange : public RValueRange {
public:
  RGainRange(double minDecibels, double maxDecibels, double defaultDecibels, const RString& format = RString());

  double GetMinDecibels() const noexcept { return minDecibels_; }
  double GetMaxDecibels() const noexcept { return maxDecibels_; }

  RString FormatValue(double linear) const override;
  bool ParseText(const RString& text, double& linear) const override;
  bool StepFine(int32_t count) override;

  double LinearToCurve(double linear) const override;
  double CurveToLinear(double curve) const override;
  double RealToNormalised(double linear) const override;
  double NormalisedToReal(double normalised) const override;
  void NormalisedToReal(const double* in, double* out, int32_t count) const noexcept override;
  void NormalisedToReal(const float* in, float* out, int32_t count) const noexcept override;

private:
  double minDecibels_;
  double maxDecibels_;
};

class RGainValue : public RRangedValue {
public:
  RGainValue(RAudioPluginBase* owner, const RString& name, double minDecibels, double maxDecibels,
             double defaultDecibels, const RString& format = RString(), const RString& key = RString(),
             const RString& description = RString());
};

// A linear level from 0 to a maximum (1, or 2 for a boost), moving evenly in the factor and
// shown in decibels ("silence" at 0). Typed text is read as decibels.
class RVolumeRange : public RValueRange {
public:
  RVolumeRange(double max, double defaultValue);
  RString FormatValue(double linear) const override;
  bool ParseText(const RString& text, double& linear) const override;
};

class RVolumeValue : public RRangedValue {
public:
  RVolumeValue(RAudioPluginBase* owner, const RString& name, double max = 1.0, double defaultValue = 1.0,
               const RString& key = RString(), const RString& description = RString());
};

// A position from -1 (left) to 1 (right): "center", "25% left". Typed text: "25% left",
// "30% right", "-25%" or a bare position such as "-0.25".
class RPanRange : public RValueRange {
public:
  RPanRange(double min, double max, double defaultValue);
  RString FormatValue(double position) const override;
  bool ParseText(const RString& text, double& position) const override;
};

class RPanValue : public RRangedValue {
public:
  RPanValue(RAudioPluginBase* owner, const RString& name, double min = -1.0, double max = 1.0,
            double defaultValue = 0.0, const RString& key = RString(), const RString& description = RString());
};

// A ratio shown as percent ("50.0%"; with a sign when the range goes below 0). Typed text is a
// percentage: "75" and "75%" are both 0.75.
class RPercentRange : public RValueRange {
public:
  RPercentRange(double min, double max, double defaultValue);
  RString FormatValue(double ratio) const override;
  bool ParseText(const RString& text, double& ratio) const override;
};

class RPercentValue : public RRangedValue {
public:
  RPercentValue(RAudioPluginBase* owner, const RString& name, double min = 0.0, double max = 1.0,
                double defaultValue = 1.0, const RString& key = RString(), const RString& description = RString());
};

// A whole number between two limits: a real value with one step per number, stored as the
// number itself, shown without decimals.
class RIntegerRange : public RValueRange {
public:
  RIntegerRange(int32_t min, int32_t max, int32_t defaultValue);
  RString FormatValue(double real) const override;
  void Clamp() override;
  double NormalisedToReal(double normalised) const override;
  void NormalisedToReal(const double* in, double* out, int32_t count) const noexcept override;
  void NormalisedToReal(const float* in, float* out, int32_t count) const noexcept override;
};

class RIntegerValue : public RRangedValue {
public:
  RIntegerValue(RAudioPluginBase* owner, const RString& name, int32_t min, int32_t max, int32_t defaultValue,
                const RString& key = RString(), const RString& description = RString());
  int32_t GetProcessingInt() const noexcept { return int32_t(processing_); }
};

// A frequency on the logarithmic travel of RFrequencyRange whose top position may read as a
// word ("Off" for a low-pass that lets everything through); typing that word selects the top.
class RTopTextFrequencyRange : public RFrequencyRange {
public:
  RTopTextFrequencyRange(double min, double max, double defaultValue, const RString& topText);
  RString FormatValue(double hertz) const override;
  bool ParseText(const RString& text, double& hertz) const override;

private:
  RString topText_;
};

// A frequency kept in stored state as the base-ten logarithm of its hertz (4.301029995663981
// is 20 kHz), so that old states and the product's default state read as they were written.
// The text form of a tree keeps twelve digits: 4.30102999566 reads back 2e-10 Hz under the
// top, so "at the top" allows a millionth of it (IsAtTop).
class RLog10FrequencyValue : public RRangedValue {
public:
  // Within a millionth of the range's top: its "Off" position, however the value was stored.
  static bool IsAtTop(double hertz, double maxHertz) noexcept { return hertz >= maxHertz * (1.0 - 1e-6); }

  RLog10FrequencyValue(RAudioPluginBase* owner, const RString& name, double minHertz, double maxHertz,
                       double defaultHertz, const RString& topText = RString(), const RString& key = RString(),
                       const RString& description = RString());
  double ToStored(double hertz) const override;
  double FromStored(double stored) const override;
};

// A choice of a module: stored as its item's text, so that a state stays readable and survives
// a reordering of the items; an older state's index still reads.
class RModuleChoiceValue : public RChoiceValue {
public:
  RModuleChoiceValue(RAudioPluginBase* owner, const RString& name, const RArray<RString>& items,
                     int32_t defaultIndex = 0, const RString& key = RString(),
                     const RString& description = RString());
};
