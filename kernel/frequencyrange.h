#pragma once
// RFrequencyRange: frequencies in hertz on a logarithmic scale, so that each octave takes the
// same share of a control's travel. The natural logarithms of the limits are computed once by
// Finish (at construction and whenever the limits change), not per conversion.

#include "kernel/valuerange.h"

class RFrequencyRange : public RValueRange {
public:
  // min should be positive: the logarithm of a limit at or below 0 is taken at 1e-10 Hz.
  RFrequencyRange(double min, double max, double defaultValue, double inc = 0.0, double maxinc = 0.0,
                  int32_t steps = 0, const RString& format = RString());

  // Shown instead of the frequency for values at or below min + 1e-10; empty: the frequency.
  void SetMinimumText(const RString& text) { minimumText_ = text; }
  const RString& GetMinimumText() const noexcept { return minimumText_; }

  void Finish() override;

  RString FormatValue(double hertz) const override;
  // A number in hertz, or in kilohertz when the text holds "kHz".
  bool ParseText(const RString& text, double& hertz) const override;
  bool StepFine(int32_t count) override;
  // The frequency whose period is the given number of seconds; refused at or below 1e-10.
  bool SetPeriod(double seconds) override;

  double LinearToCurve(double linear) const override;
  double CurveToLinear(double curve) const override;
  void CurveToLinear(const double* in, double* out, int32_t count) const noexcept override;
  void CurveToLinear(const float* in, float* out, int32_t count) const noexcept override;
  double RealToNormalised(double hertz) const override;
  double NormalisedToReal(double normalised) const override;
  void NormalisedToReal(const double* in, double* out, int32_t count) const noexcept override;
  void NormalisedToReal(const float* in, float* out, int32_t count) const noexcept override;

private:
  template <typename T>
  void CurveToLinearBlock(const T* in, T* out, int32_t count) const noexcept;

  double logMin_ = 0.0;
  double logMax_ = 0.0;
  RString minimumText_;
};
