#include "modules/blend/blendlaws.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numbers>

namespace {

constexpr double kPi = std::numbers::pi;
constexpr double kQuarterTurn = std::numbers::pi / 2.0;

// A raised sine from 0 to 1 over the half turn that ends at the argument's upper limit.
inline double RaisedSine(double x) noexcept { return 0.5 + 0.5 * std::sin(std::min(x, kQuarterTurn)); }

struct SquaredLaw {
  static RBlendGains At(double r) noexcept { return {r * r, (1.0 - r) * (1.0 - r)}; }
};
struct LinearLaw {
  static RBlendGains At(double r) noexcept { return {r, 1.0 - r}; }
};
struct ConstantPowerLaw {
  static RBlendGains At(double r) noexcept { return {std::sin(r * kQuarterTurn), std::cos(r * kQuarterTurn)}; }
};
struct TransitionLaw {
  static RBlendGains At(double r) noexcept { return {std::min(2.0 * r, 1.0), std::min(2.0 - 2.0 * r, 1.0)}; }
};
struct FadeLaw {
  static RBlendGains At(double r) noexcept {
    return {std::sin(std::min(kPi * r, kQuarterTurn)), std::sin(std::min(kPi - kPi * r, kQuarterTurn))};
  }
};
struct FadeSmoothLaw {
  static RBlendGains At(double r) noexcept {
    return {RaisedSine(2.0 * kPi * r - kQuarterTurn), RaisedSine(3.0 * kQuarterTurn - 2.0 * kPi * r)};
  }
};
struct CutLaw {
  static RBlendGains At(double r) noexcept {
    return {std::sin(std::min(2.0 * kPi * r, kQuarterTurn)), std::sin(std::min(2.0 * kPi - 2.0 * kPi * r, kQuarterTurn))};
  }
};
struct CutSmoothLaw {
  static RBlendGains At(double r) noexcept {
    return {RaisedSine(4.0 * kPi * r - kQuarterTurn), RaisedSine(7.0 * kQuarterTurn - 4.0 * kPi * r)};
  }
};

struct LawRow {
  const char* name;
  RBlendGains (*at)(double) noexcept;
};

template <class Law>
constexpr LawRow Row(const char* name) {
  return {name, &Law::At};
}

// In the order of RBlendMode: the stored index of a Mode is its row here. The per-sample
// form of each law, in single precision and per processor level, is in blendlawkernels.cpp.
constexpr LawRow kLaws[kBlendModeCount] = {
    Row<SquaredLaw>("Squared"),     Row<LinearLaw>("Linear"),   Row<ConstantPowerLaw>("Constant power"),
    Row<TransitionLaw>("Transition"), Row<FadeLaw>("Fade"),     Row<FadeSmoothLaw>("Fade smooth"),
    Row<CutLaw>("Cut"),             Row<CutSmoothLaw>("Cut smooth"),
};

const LawRow& LawOf(RBlendMode mode) noexcept { return kLaws[size_t(BlendModeOf(int32_t(mode)))]; }

} // namespace

const char* BlendModeName(RBlendMode mode) noexcept { return LawOf(mode).name; }

RArray<RString> BlendModeItems() {
  RArray<RString> items;
  for (const LawRow& law : kLaws) items.Add(RString::Literal(law.name, int(std::strlen(law.name))));
  return items;
}

RBlendMode BlendModeOf(int32_t index) noexcept { return RBlendMode(std::clamp(index, 0, kBlendModeCount - 1)); }

RBlendGains BlendGainsAt(RBlendMode mode, double r) noexcept {
  // A NaN position would poison every sample it scales; hold it to the start of the travel.
  if (!(r >= 0.0)) r = 0.0;
  return LawOf(mode).at(std::min(r, 1.0));
}

void BlendMix(const float* x, const float* y, float* out, const float* a, const float* b, int32_t count) noexcept {
  for (int32_t i = 0; i < count; ++i) out[i] = x[i] * b[i] + y[i] * a[i];
}
