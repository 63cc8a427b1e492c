#pragma once
// RTimeRange: durations in seconds on a fourth-power curve, so that the short times where the
// ear is most sensitive get most of a control's travel. Shown in milliseconds; typed text is
// read as milliseconds. A minimum text ("Off", say) replaces the number at the bottom.

#include "kernel/valuerange.h"

class RTimeRange : public RValueRange {
public:
  using RValueRange::RValueRange;

  // Shown instead of the time for values at or below min + 1e-10; empty: the time itself.
  void SetMinimumText(const RString& text) { minimumText_ = text; }
  const RString& GetMinimumText() const noexcept { return minimumText_; }

  RString FormatValue(double seconds) const override;
  // A number, as milliseconds: "250" and "250 ms" are both a quarter second.
  bool ParseText(const RString& text, double& seconds) const override;
  bool StepFine(int32_t count) override;

  // n^4 and its inverse sqrt(sqrt(l)).
  double LinearToCurve(double linear) const override;
  double CurveToLinear(double curve) const override;
  void CurveToLinear(const double* in, double* out, int32_t count) const noexcept override;
  void CurveToLinear(const float* in, float* out, int32_t count) const noexcept override;
  double RealToNormalised(double seconds) const override;
  double NormalisedToReal(double normalised) const override;
  void NormalisedToReal(const double* in, double* out, int32_t count) const noexcept override;
  void NormalisedToReal(const float* in, float* out, int32_t count) const noexcept override;

private:
  RString minimumText_;
};
