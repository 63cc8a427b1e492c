#include "modules/hertzslider/shiftvalue.h"

#include <cmath>
#include <memory>

#include "base/valuedisplay.h"
#include "kernel/valuetext.h"

namespace {

// Steps of the control: 0.0005 is 0.0025 Hz near zero, a page of 0.005 is 0.25 Hz there.
constexpr double kStep = 0.0005;
constexpr double kPage = 0.005;

} // namespace

RShiftRange::RShiftRange() : RValueRange(-1.0, 1.0, 0.0, kStep, kPage) {}

double RShiftRange::ToHertz(double value) noexcept { return std::copysign(value * value * kFullScaleHz, value); }

double RShiftRange::FromHertz(double hertz) noexcept {
  return std::copysign(std::sqrt(std::fabs(hertz) / kFullScaleHz), hertz);
}

RString RShiftRange::FormatValue(double value) const { return RValueDisplay::Frequency(ToHertz(value)); }

bool RShiftRange::ParseText(const RString& text, double& value) const {
  double hertz = 0.0;
  if (!RValueText::ReadNumber(text, hertz)) return false;
  if (text.ToUTF8().find_first_of("kK") != std::string::npos) hertz *= 1000.0;
  value = FromHertz(hertz);
  return true;
}

RShiftValue::RShiftValue(RAudioPluginBase* owner, const RString& name, const RString& key,
                         const RString& description)
    : RRangedValue(owner, std::make_unique<RShiftRange>(), name, key, description) {}
