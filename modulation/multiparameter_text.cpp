// The multi-parameter's value as hosts and the editor read and type it: its text follows the
// ValueMode, and typed text is read back in the same form.
#include <algorithm>
#include <cmath>

#include "base/exception.h"
#include "base/format.h"
#include "kernel/audioplugin.h"
#include "modulation/multiparameter.h"

namespace {

// Positions tried when a typed text must be found through the first target's mapping.
constexpr int32_t kSearchSteps = 1000;

} // namespace

RMultiParameterValue::RMultiParameterValue(RMultiParameter& owner, const RString& name)
    : RRealValue(nullptr, name, 0.0, 1.0, 0.5, RString(), RString("~")), multi_(owner) {
  SetOwner(&owner.GetPlugin());
  // Driving targets is not a coefficient change of the plug-in's own DSP.
  SetFlag(kNeedsSetup, false);
}

RString RMultiParameterValue::GetText() const { return multi_.ValueText(GetNormalised()); }

RString RMultiParameterValue::GetTextOfNormalised(double normalised) const { return multi_.ValueText(normalised); }

bool RMultiParameterValue::ParseToNormalised(const RString& text, double& normalised) const {
  return multi_.ParseValueText(text, normalised);
}

bool RMultiParameter::ParseValueText(const RString& input, double& normalised) const {
  RString text = input;
  text.Trim();
  if (text.IsEmpty()) return false;
  // "Off" is the text of a position that reads as off; without one it may still be a bank's
  // name ("Off|On"), and otherwise it reads as nothing.
  if (text.Compare("Off") == 0) {
    if (MinIsOff) normalised = 0.0;
    else if (MaxIsOff) normalised = 1.0;
    else if (OriginIsOff) normalised = std::clamp(Origin, 0.0, 1.0);
    else if (ValueMode != kByBankName && ValueMode != kByBankNamesWithPercents && ValueMode != kByBankNameInterpolated &&
             ValueMode != kByBankNameInterpolatedLog && ValueMode != kByBankNumberAndName)
      return false;
    if (MinIsOff || MaxIsOff || OriginIsOff) return true;
  }
  const int32_t count = std::clamp(BankCount, 1, RMultiParameterTarget::kMaxBanks);
  const double steps = CyclicMode ? count : std::max(count - 1, 1);
  const double number = RNumberText::TextToDouble(text);
  double n = number / 100.0;
  switch (ValueMode) {
    case kPercentsBipolar: n = (number / 100.0 + 1.0) * 0.5; break;
    case kByBankName:
    case kByBankNamesWithPercents:
    case kByBankNameInterpolated:
    case kByBankNameInterpolatedLog:
    case kByBankNumberAndName: {
      // A bank's name (or number) leads the text.
      for (int32_t bank = 0; bank < count; ++bank) {
        const RString name = GetBankName(bank);
        if (text.Compare(name, name.Length()) == 0 || text.Find(name) >= 0) {
          n = bank / steps;
          break;
        }
        if (bank == count - 1) {
          if (number < 1.0) return false;
          n = (number - 1.0) / steps;
        }
      }
      break;
    }
    case kByBankNumber:
      if (number < 1.0) return false;
      n = (number - 1.0) / steps;
      break;
    case kByFirstParameter: {
      // The first target's own reading of the text, found again along the mapping.
      RMultiParameter& self = const_cast<RMultiParameter&>(*this);
      const RMultiParameterTarget* first = self.GetTarget(0);
      const RValue* parameter = first ? plugin_.GetParameterValue(first->GetIndex()) : nullptr;
      double wanted = 0.0;
      if (!parameter || !parameter->ParseToNormalised(text, wanted)) return false;
      double best = 2.0;
      for (int32_t i = 0; i <= kSearchSteps; ++i) {
        const double x = double(i) / kSearchSteps;
        const double miss = std::fabs(self.MapFirstTarget(x) - wanted);
        if (miss < best) {
          best = miss;
          n = x;
        }
      }
      break;
    }
    case kExpression:
      if (!VMExpressionToValue.IsEmpty()) {
        try {
          n = RExpression(VMExpressionToValue).Evaluate(number);
        } catch (const RException&) {
          return false;
        }
      }
      break;
    default: break;
  }
  if (!std::isfinite(n)) return false;
  normalised = std::clamp(n, 0.0, 1.0);
  return true;
}
