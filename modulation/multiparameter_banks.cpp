// Banks: each target keeps one value per bank, and the multi-parameter's position picks or
// morphs among them, in a row or on the XY pad spanned by this and the next multi-parameter.
#include <algorithm>
#include <cmath>

#include "base/format.h"
#include "kernel/audioplugin.h"
#include "modulation/multiparameter.h"

namespace {

constexpr double kTwoPi = 6.283185307179586;
// Keeps a weight finite where a bank's distance is tiny but not zero.
constexpr double kDistanceFloor = 1e-12;
// Nearer than this, the pad stands on the bank itself.
constexpr double kOnBank = 1e-9;

// Where x falls in a row of count banks: the bank below, the one above, the way between and
// the nearest. CyclicMode adds a step from the last bank back to the first.
struct RowPosition {
  int32_t below = 0;
  int32_t above = 0;
  int32_t nearest = 0;
  double fraction = 0.0;
};

RowPosition LocateInRow(double x, int32_t count, bool cyclic) noexcept {
  RowPosition r;
  if (count <= 1) return r;
  const double p = cyclic ? x * count : x * (count - 1);
  const int32_t whole = int32_t(p);
  r.fraction = p - whole;
  const int32_t nearest = int32_t(std::lround(p));
  if (cyclic) {
    r.below = whole % count;
    r.above = (r.below + 1) % count;
    r.nearest = nearest % count;
  } else {
    r.below = std::min(whole, count - 1);
    r.above = std::min(r.below + 1, count - 1);
    r.nearest = std::min(nearest, count - 1);
  }
  return r;
}

} // namespace

// The banks sit evenly on the circle inscribed in the pad, bank 0 at the top and the rest
// clockwise: every bank count from 3 up gets places at equal distance from the centre and
// from its neighbours, which a grid gives only for square counts; the centre is the even mix.
void RMultiParameter::GetPadPosition(int32_t bank, int32_t count, double& x, double& y) noexcept {
  const double angle = kTwoPi * 0.25 - kTwoPi * double(bank) / double(std::max(count, 1));
  x = 0.5 + 0.5 * std::cos(angle);
  y = 0.5 + 0.5 * std::sin(angle);
}

// Inverse distance weighting (Shepard's): w_i = 1 / (d_i^power + floor), normalised. Every
// weight is positive and they sum to 1, so a morphed value is a mix of the banks' values and
// stays inside their span; the weights move continuously with the position; on a bank's own
// point that bank alone counts, so the user hears exactly what was stored there. A higher
// power makes each bank's area flatter and the passage between banks steeper.
void RMultiParameter::ComputePadWeights(double x, double y, int32_t count, double power, double* weights) noexcept {
  count = std::clamp(count, 1, RMultiParameterTarget::kMaxBanks);
  power = std::isfinite(power) ? std::max(power, 0.0) : 3.0;
  double sum = 0.0;
  for (int32_t i = 0; i < count; ++i) {
    double bx = 0.0, by = 0.0;
    GetPadPosition(i, count, bx, by);
    const double distance = std::hypot(x - bx, y - by);
    if (distance < kOnBank) {
      std::fill(weights, weights + count, 0.0);
      weights[i] = 1.0;
      return;
    }
    weights[i] = 1.0 / (std::pow(distance, power) + kDistanceFloor);
    sum += weights[i];
  }
  for (int32_t i = 0; i < count; ++i) weights[i] /= sum;
}

int32_t RMultiParameter::GetBankWeights(double x, double* weights) const noexcept {
  const int32_t count = std::clamp(BankCount, 1, RMultiParameterTarget::kMaxBanks);
  if (IsPad()) {
    const RMultiParameter* axis = plugin_.GetMultiParameter(index_ + 1);
    const double y = axis ? axis->GetValue().GetProcessingNormalised() : 0.5;
    ComputePadWeights(x, y, count, XYRatioPower, weights);
    return count;
  }
  std::fill(weights, weights + count, 0.0);
  const RowPosition r = LocateInRow(x, count, CyclicMode);
  weights[r.below] += 1.0 - r.fraction;
  weights[r.above] += r.fraction;
  return count;
}

void RMultiParameter::ApplyBanks(double x, bool wait) noexcept {
  const int32_t count = std::clamp(BankCount, 1, RMultiParameterTarget::kMaxBanks);
  const bool pad = IsPad();
  double weights[RMultiParameterTarget::kMaxBanks];
  if (pad) GetBankWeights(x, weights);
  const RowPosition row = LocateInRow(x, count, CyclicMode);

  for (auto& target : targets_) {
    if (!target->ParameterEnabled) continue;
    RLock& lock = target->GetSection();
    if (!lock.Lock(RLock::kExclusive, wait ? RLock::kWaitForever : 0)) {
      pending_.store(true, std::memory_order_relaxed);
      continue;
    }
    const double* banks = target->BankValues;
    double v;
    if (pad) {
      v = 0.0;
      for (int32_t i = 0; i < count; ++i) v += weights[i] * banks[i];
      if (BankValuePower != 1.0) v = std::pow(std::max(v, 0.0), BankValuePower);
    } else if (target->Interpolate) {
      v = banks[row.below] + (banks[row.above] - banks[row.below]) * row.fraction;
    } else {
      v = banks[row.nearest];
    }
    if (!std::isfinite(v)) v = 0.0;
    v = std::clamp(v, 0.0, 1.0);
    if (target->ShapeEnabled) v = target->Shape.Evaluate(v);
    lock.Unlock();
    SetTarget(target->GetIndex(), std::clamp(v, 0.0, 1.0));
  }
}

RString RMultiParameter::GetBankName(int32_t bank) const {
  int32_t start = 0;
  for (int32_t i = 0; i < bank && start <= BankName.Length(); ++i) {
    const int32_t bar = BankName.Find(u'|', start);
    start = bar < 0 ? BankName.Length() + 1 : bar + 1;
  }
  if (start <= BankName.Length()) {
    const int32_t bar = BankName.Find(u'|', start);
    RString name = BankName.Mid(start, (bar < 0 ? BankName.Length() : bar) - start);
    name.Trim();
    if (!name.IsEmpty()) return name;
  }
  return RFormat("Bank {0}") << int64_t(bank + 1);
}

// --- the value's texts, most of which name banks

RString RMultiParameter::ValueText(double normalised) {
  const double n = std::clamp(std::isfinite(normalised) ? normalised : 0.0, 0.0, 1.0);
  if ((MinIsOff && n <= kSamePosition) || (MaxIsOff && n >= 1.0 - kSamePosition) ||
      (OriginIsOff && std::fabs(n - Origin) < kSamePosition)) {
    return RString("Off");
  }
  const int32_t count = std::clamp(BankCount, 1, RMultiParameterTarget::kMaxBanks);
  const RowPosition row = LocateInRow(n, count, CyclicMode);
  const int64_t share = std::lround(row.fraction * 100.0);
  const bool between = row.below != row.above && share > 0 && share < 100;
  switch (ValueMode) {
    case kPercentsBipolar: return RFormat("{0.1}%") << (2.0 * n - 1.0) * 100.0;
    case kByFirstParameter: {
      const RMultiParameterTarget* first = GetTarget(0);
      const RValue* parameter = first ? plugin_.GetParameterValue(first->GetIndex()) : nullptr;
      if (!parameter) break;
      const double stepped = Stepped && StepCount > 1 ? std::round(n * (StepCount - 1)) / (StepCount - 1) : n;
      return parameter->GetTextOfNormalised(MapFirstTarget(stepped));
    }
    case kByBankName: return GetBankName(row.nearest);
    case kByBankNamesWithPercents:
      if (!between) return GetBankName(row.nearest);
      return RFormat("{0} {1}% / {2} {3}%") << GetBankName(row.below) << (100 - share) << GetBankName(row.above)
                                            << share;
    case kByBankNameInterpolated:
    case kByBankNameInterpolatedLog: {
      if (!between) return GetBankName(row.nearest);
      // The log form shows the way as the ear hears a level fade: early steps count more.
      const int64_t shown = ValueMode == kByBankNameInterpolated
                                ? share
                                : std::lround(std::log10(1.0 + 9.0 * row.fraction) * 100.0);
      return RFormat("{0} > {1} {2}%") << GetBankName(row.below) << GetBankName(row.above) << shown;
    }
    case kByBankNumber: return RFormat("{0}") << int64_t(row.nearest + 1);
    case kByBankNumberAndName: return RFormat("{0}: {1}") << int64_t(row.nearest + 1) << GetBankName(row.nearest);
    case kExpression:
      if (valueExpression_.IsCompiled()) return RFormat("{0.2}") << valueExpression_.Evaluate(n);
      break;
    default: break;
  }
  return RFormat("{0.1}%") << n * 100.0;
}
