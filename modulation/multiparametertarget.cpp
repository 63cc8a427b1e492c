#include "modulation/multiparametertarget.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "base/exception.h"
#include "base/tagitem.h"
#include "kernel/storecontext.h"

namespace {

double Unit(double x) noexcept {
  if (!(x > 0.0)) return 0.0;  // NaN too
  return x < 1.0 ? x : 1.0;
}

} // namespace

RMultiParameterTarget::RMultiParameterTarget() { std::fill(BankValues, BankValues + kMaxBanks, 0.5); }

double RMultiParameterTarget::MapRange(int32_t form, double v, double r, double m, double d) noexcept {
  const double up = d * 0.5 + 0.5;
  switch (form) {
    case 1: {
      const double h = r * 0.5;
      // A range wider than the travel has no room to move its centre: it stays in the middle.
      const double c = h >= 0.5 ? 0.5 : std::clamp(v, h, 1.0 - h);
      return c + h * d;
    }
    case 2: return v + std::min(r, 1.0 - v) * up;
    case 3: return v - std::min(v, r) * up;
    case 4: return v + (m - v) * up;
    default: return v + std::min({v, 1.0 - v, r * 0.5}) * d;
  }
}

double RMultiParameterTarget::PreProcess(double x) noexcept {
  if (ShapeEnabled) x = Shape.Evaluate(Unit(x));
  if (UsesExpression() && !ParameterExpressionPostProcess) x = Unit(expression_.Evaluate(x));
  return x;
}

double RMultiParameterTarget::PostProcess(double y) noexcept {
  if (UsesExpression() && ParameterExpressionPostProcess) y = Unit(expression_.Evaluate(y));
  return y;
}

double RMultiParameterTarget::Map(double x, const RMultiParameterTarget& range) noexcept {
  double d = 2.0 * PreProcess(x) - 1.0;
  if (Invert) d = -d;
  const double y = Unit(MapRange(range.FullRange, range.Value, range.Range, range.MaxValue, d));
  return PostProcess(y);
}

void RMultiParameterTarget::SetExpression(const RString& text) {
  expressionError_ = RString();
  try {
    expression_.Compile(text);
  } catch (const RException& failure) {
    expressionError_ = failure.GetMessage();
  }
}

void RMultiParameterTarget::Store(RStoreContext& context, int32_t bankCount) {
  context.Bool("ParameterEnabled", ParameterEnabled, true);
  context.Text("ParameterName", ParameterName, RString());
  context.Text("Name", Name, RString());
  context.Double("Value", Value, 0.5);
  context.Double("MaxValue", MaxValue, 1.0);
  context.Double("Range", Range, 1.0);
  context.Int("FullRange", FullRange, 0);
  context.Bool("Invert", Invert, false);
  context.Bool("UseFirstRange", UseFirstRange, false);
  context.Bool("ParameterExpressionEnabled", ParameterExpressionEnabled, false);
  context.Bool("ParameterExpressionPostProcess", ParameterExpressionPostProcess, false);
  RString text = expression_.GetText();
  context.Text("ParameterExpression", text, RString("x"));
  if (context.IsReading()) {
    FullRange = std::clamp(FullRange, 0, kRangeFormCount - 1);
    SetExpression(text);
  }
  context.Bool("Interpolate", Interpolate, true);
  context.Bool("ShapeEnabled", ShapeEnabled, false);

  RTagItem& element = context.GetElement();
  if (context.IsWriting()) {
    // The curve is written only when it is used or has been drawn.
    if (ShapeEnabled || Shape.GetPoints().size() > 2) {
      RStoreContext child = context;
      if (context.Enter("Shape", child)) Shape.Store(child);
    }
  } else if (element.FindSubItem(RString("Shape"))) {
    RStoreContext child = context;
    if (context.Enter("Shape", child)) Shape.Store(child);
  }
  StoreBanks(context, bankCount);
}

void RMultiParameterTarget::StoreBanks(RStoreContext& context, int32_t bankCount) {
  RTagItem& element = context.GetElement();
  const int32_t count = std::clamp(bankCount, 0, kMaxBanks);
  if (context.IsWriting()) {
    bool plain = true;
    for (int32_t i = 0; i < count && plain; ++i) plain = BankValues[i] == 0.5;
    if (plain || count == 0) return;
    element.SetAttribute(RHashedString("ExtRes"), true);
    element.Value().SetBuffer(BankValues, int64_t(count) * int64_t(sizeof(double)));
    return;
  }
  std::fill(BankValues, BankValues + kMaxBanks, 0.5);
  const RVariant& data = element.Value();
  if (data.IsEmptyText() || count == 0) return;
  bool wide = false;
  element.ReadAttribute(RHashedString("ExtRes"), wide);
  // Older states hold 32-bit values; a block shorter than the banks leaves the rest at 0.5.
  if (wide) {
    double values[kMaxBanks];
    const int64_t read = data.ReadBufferInto(values, int64_t(count) * 8, RVariant::BlockMode::kPartial);
    for (int64_t i = 0; i < read / 8; ++i) BankValues[i] = Unit(values[i]);
  } else {
    float values[kMaxBanks];
    const int64_t read = data.ReadBufferInto(values, int64_t(count) * 4, RVariant::BlockMode::kPartial);
    for (int64_t i = 0; i < read / 4; ++i) BankValues[i] = Unit(double(values[i]));
  }
}
