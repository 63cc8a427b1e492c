#include "modules/channeltool/channelmath.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace {

constexpr double kBases[RChannelMath::kBaseCount] = {std::numbers::e, 2.0, 10.0, 100.0};
constexpr const char* kBaseTexts[RChannelMath::kBaseCount] = {"e", "2", "10", "100"};
constexpr double kMaxExponent = 50.0;
constexpr double kFloatLimit = 3.0e38;

} // namespace

RArray<RString> RChannelMath::BaseItems() {
  RArray<RString> items;
  for (const char* text : kBaseTexts) items.Add(RString::FromUTF8(text));
  return items;
}

double RChannelMath::BaseOf(int32_t index) noexcept { return kBases[std::clamp(index, 0, kBaseCount - 1)]; }

void RChannelMath::Configure(double add, double expBlend, double logBlend, int32_t baseIndex) noexcept {
  add_ = std::isfinite(add) ? add : 0.0;
  exp_ = std::clamp(expBlend, 0.0, 1.0);
  log_ = std::clamp(logBlend, 0.0, 1.0);
  const double base = BaseOf(baseIndex);
  logBase_ = std::log(base);
  span_ = base - 1.0;
  inverseSpan_ = 1.0 / span_;
}

double RChannelMath::Apply(double x) const noexcept {
  double y = std::isfinite(x) ? x + add_ : 0.0;
  if (exp_ != 0.0) {
    const double magnitude = std::expm1(std::min(std::fabs(y) * logBase_, kMaxExponent)) * inverseSpan_;
    y += exp_ * (std::copysign(magnitude, y) - y);
  }
  if (log_ != 0.0) {
    const double magnitude = std::log1p(span_ * std::fabs(y)) / logBase_;
    y += log_ * (std::copysign(magnitude, y) - y);
  }
  return y;
}

void RChannelMath::Process(float* samples, int32_t count) const noexcept {
  if (IsIdentity()) return;
  for (int32_t i = 0; i < count; ++i) {
    samples[i] = float(std::clamp(Apply(double(samples[i])), -kFloatLimit, kFloatLimit));
  }
}
