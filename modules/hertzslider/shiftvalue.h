#pragma once
// The Shift parameter of the frequency shifter: a real value v in -1..1 that reads in hertz
// by a square law, sign(v) v^2 10000 Hz, so that the range spans +-10 kHz with fine steps
// around zero where small shifts (beating, slow phasing) live. Typed hertz go back through
// sign(h) sqrt(|h| / 10000); "1.5 kHz" reads as 1500 Hz.
//
// Threads: as every value (kernel/value.h); the mappings are [any-thread].

#include "kernel/value.h"

class RShiftRange : public RValueRange {
public:
  static constexpr double kFullScaleHz = 10000.0;

  RShiftRange();
  static double ToHertz(double value) noexcept;
  static double FromHertz(double hertz) noexcept;

  RString FormatValue(double value) const override;
  bool ParseText(const RString& text, double& value) const override;
};

class RShiftValue : public RRangedValue {
public:
  RShiftValue(RAudioPluginBase* owner, const RString& name, const RString& key = RString(),
              const RString& description = RString());
  // The processing value in hertz.
  double GetProcessingHertz() const noexcept { return RShiftRange::ToHertz(processing_); }
};
