#pragma once
// RValueRange: the range, mapping and text of one parameter value. A value is seen from
// outside (hosts, controls, modulation) as a normalised number 0..1 and used inside as a real
// number in its own units (seconds, hertz, an index, ...); the range converts between the
// two, shows the real number as text, reads text back, steps and quantises.
//
// This class is itself the linear kind (plain real values); the other kinds derive from it
// and change the mapping and the text:
//   RTimeRange       n^4 curve, seconds, shown in ms          (kernel/timerange.h)
//   RFrequencyRange  logarithmic, hertz                       (kernel/frequencyrange.h)
//   RChoiceRange     an index into item texts                  (kernel/choicerange.h)
//   RBoolRange       a two-item choice, "Off" and "On"         (kernel/choicerange.h)
//
// The range holds the user-side value (`value`); a value object points at it and keeps its
// processing copy elsewhere. Limits, increments and format come from the constructor and
// then from a definition's attributes (ReadAttributes).
//
// Threads: the setters and text operations run where the user value is edited
// ([editor-thread] or [host-thread], under the owner's parameter lock); the const mappings,
// NormalisedToReal and its block forms above all, are [any-thread] and allocation-free.

#include <cstdint>
#include <optional>

#include "base/string.h"

class RTagItem;

class RValueRange {
public:
  // Two values closer than this count as equal: a default, a minimum, a refused period.
  static constexpr double kSameValue = 1e-10;

  // A definition's attributes as read; absent ones stay empty. See ApplyAttributes.
  struct Attributes {
    std::optional<double> min;
    std::optional<double> max;
    std::optional<double> defaultValue;
    std::optional<double> value;
    std::optional<double> inc;
    std::optional<double> maxinc;
    std::optional<RString> format;
  };

  // An inc of 0 means none: Finish derives one from the limits (a 4000th of the span, or 1 for
  // an empty span), with maxinc ten times that. A maxinc below inc is raised to inc. The value starts at the
  // default, clamped. steps above 1 quantise the normalised value to that many positions.
  RValueRange(double min, double max, double defaultValue, double inc = 0.0, double maxinc = 0.0,
              int32_t steps = 0, const RString& format = RString());
  virtual ~RValueRange() = default;
  RValueRange(const RValueRange&) = default;
  RValueRange& operator=(const RValueRange&) = default;

  double GetMin() const noexcept { return min_; }
  double GetMax() const noexcept { return max_; }
  double GetInc() const noexcept { return inc_; }
  double GetMaxInc() const noexcept { return maxinc_; }
  double GetDefault() const noexcept { return default_; }
  int32_t GetSteps() const noexcept { return steps_; }
  const RString& GetFormat() const noexcept { return format_; }
  // The user-side value in real units. A value object may keep a pointer to it.
  double GetValue() const noexcept { return value_; }
  const double* GetValuePointer() const noexcept { return &value_; }

  // Sets the real value, clamped. Returns whether it changed.
  bool SetValue(double real);
  // New limits; the value is clamped into them and Finish runs again.
  void SetLimits(double min, double max);
  void SetDefault(double defaultValue) noexcept { default_ = defaultValue; }
  void SetSteps(int32_t steps) noexcept { steps_ = steps; }
  void SetFormat(const RString& format) { format_ = format; }

  // Reads "min", "max", "default", "value", "inc", "maxinc" and "format", in that order, from
  // a definition item, then applies them as ApplyAttributes does.
  void ReadAttributes(const RTagItem& item);
  // The rules of a definition: a value without a default is the default as well; without
  // maxinc, maxinc becomes the larger of its present value and inc; the value is clamped;
  // then Finish derives the increments if none was ever given.
  virtual void ApplyAttributes(const Attributes& attributes);
  // Completes the range after its limits changed: the derived increments when no inc was
  // given, and in the kinds that need them, precomputed constants of the mapping.
  virtual void Finish();

  // --- text
  // Text of the present value.
  virtual RString GetText() const;
  // Reads text into the value (clamped). Text the kind can't read leaves the value as it is
  // and returns false.
  virtual bool SetTextValue(const RString& text);
  // Text of any real value: the format template, or the plain number without one.
  virtual RString FormatValue(double real) const;
  // A compact text for narrow displays; the full text unless a kind has a shorter form.
  virtual RString FormatShort(double real) const;
  // Reads text into a real value (not clamped). False, with real untouched, when the text
  // doesn't match the format template or holds no number.
  virtual bool ParseText(const RString& text, double& real) const;

  // --- value
  // Returns whether the value changed.
  virtual bool ResetToDefault();
  virtual bool IsDefault() const;
  // Brings the value into min..max (a value that is not a number becomes min).
  virtual void Clamp();
  // Moves by count steps of inc * 2^shift, but never more than maxinc a step. Returns
  // whether the value changed.
  virtual bool Step(int32_t count, int32_t shift);
  // Moves by count increments (curved kinds: by count 4000ths of the normalised range).
  virtual bool StepFine(int32_t count);
  // Sets a frequency from its period in seconds; false in every kind but frequency.
  virtual bool SetPeriod(double period);

  // --- mapping
  // The curve between a linear fraction of the span, (x - min) / (max - min), and the
  // normalised position. Identity for linear kinds.
  virtual double LinearToCurve(double linear) const;
  virtual double CurveToLinear(double curve) const;
  // Block forms, for drawing a curve or shaping a buffer; count may be 0, in may equal out.
  virtual void CurveToLinear(const double* in, double* out, int32_t count) const noexcept;
  virtual void CurveToLinear(const float* in, float* out, int32_t count) const noexcept;
  // 0..1; 0 when max equals min.
  virtual double RealToNormalised(double real) const;
  // Inverse of RealToNormalised; n is expected in 0..1 and is not clamped.
  virtual double NormalisedToReal(double normalised) const;
  // Block forms for buffers of modulated values; count may be 0, in may equal out.
  virtual void NormalisedToReal(const double* in, double* out, int32_t count) const noexcept;
  virtual void NormalisedToReal(const float* in, float* out, int32_t count) const noexcept;

  virtual double GetNormalised() const;
  // The normalised value quantised to the range's steps, when it has more than one.
  virtual double GetSteppedNormalised() const;
  // Sets the value from a normalised one (clamped to 0..1, quantised to the steps). Returns
  // whether the value changed.
  virtual bool SetNormalised(double normalised);
  virtual double GetDefaultNormalised() const;
  virtual RString TextOfNormalised(double normalised) const;
  virtual RString ShortTextOfNormalised(double normalised) const;
  // Normalised form of a text, the value untouched. False when the text can't be read.
  virtual bool ParseToNormalised(const RString& text, double& normalised) const;

  // --- items (choices only)
  virtual int32_t GetItemCount() const;  // 0 for continuous kinds
  virtual RString GetItemText(int32_t index) const;  // empty out of range
  virtual bool SetItem(int32_t index);  // false for continuous kinds and out of range

protected:
  // round(n * (steps - 1)) / (steps - 1) when steps > 1, else n.
  double Quantise(double normalised) const noexcept;
  // Span as a divisor: 0 when max equals min, so callers answer 0 instead of dividing.
  double Span() const noexcept { return max_ - min_; }
  // The fine step of the curved kinds: count 4000ths of the normalised range.
  bool StepFineNormalised(int32_t count);

  double min_;
  double max_;
  double inc_;
  double maxinc_;
  double default_;
  double value_;
  int32_t steps_;
  RString format_;
  // Whether inc came from the constructor or a definition; if not, Finish derives it from the
  // limits each time they change.
  bool incGiven_;
};
