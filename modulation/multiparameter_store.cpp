// The stored forms of a multi-parameter: the full element (settings, values, targets) of the
// definition and of a full state, and the compact text of its value alone, which presets use.
#include <algorithm>
#include <cmath>
#include <cstdio>

#include "base/format.h"
#include "base/tagitem.h"
#include "kernel/storecontext.h"
#include "modulation/multiparameter.h"

namespace {

bool IsGUIKey(const RShortString& key) {
  return key.Compare("GUI", 3) == 0 && key.Compare("GUIFuncDisabled") != 0;
}

// A choice stored by its item's text; older writers stored the index.
void StoreChoice(RStoreContext& context, const char* key, int32_t& field, const char* const* names, int32_t count) {
  RTagItem& element = context.GetElement();
  const RHashedString hashed{RShortString::FromLatin1(key)};
  if (context.IsWriting()) {
    if (field != 0 && field < count) element.SetAttribute(hashed, RString::FromLatin1(names[field]));
    return;
  }
  field = 0;
  const RVariant* stored = element.FindAttribute(hashed);
  if (!stored) return;
  if (stored->GetType() == RVariant::kText) {
    const RString text = stored->ToText();
    for (int32_t i = 0; i < count; ++i) {
      if (text.Compare(names[i]) == 0) field = i;
    }
  } else {
    field = std::clamp(stored->ToInt32(), 0, count - 1);
  }
}

} // namespace

void RMultiParameter::Store(RStoreContext& context) {
  RTagItem& element = context.GetElement();
  const bool writing = context.IsWriting();
  {
    RLockGuard own(lock_);
    context.Text("Name", Name, RString());
    context.Text("Group", Group, RString());
    context.Text("Info", Info, RString());
    StoreChoice(context, "Mode", Mode, kModeNames, kModeCount);
    context.Bool("Randomizer", Randomizer, false);
    context.Bool("ActLikeRandomizer", ActLikeRandomizer, false);
    context.Bool("XYPad4Banks", XYPad4Banks, false);
    context.Double("BankValuePower", BankValuePower, 1.0);
    context.Double("XYRatioPower", XYRatioPower, 3.0);
    StoreChoice(context, "ValueMode", ValueMode, kValueModeNames, kValueModeCount);
    context.Bool("MinIsOff", MinIsOff, false);
    context.Bool("MaxIsOff", MaxIsOff, false);
    context.Bool("OriginIsOff", OriginIsOff, false);
    RString valueExpression = valueExpression_.GetText();
    context.Text("VMExpression", valueExpression, RString("x"));
    context.Text("VMExpressionToValue", VMExpressionToValue, RString());
    context.Double("SwitchTime", SwitchTime, 0.0);
    context.Int("StepCount", StepCount, 0);
    context.Double("Speed", Speed, 0.0);
    context.Double("DefaultValue", DefaultValue, 0.5);
    context.Double("Origin", Origin, 0.0);
    context.Bool("Storable", Storable, true);
    context.Bool("StorableInPresets", StorableInPresets, true);
    context.Bool("ControlsMPs", ControlsMPs, false);
    context.Bool("GenerateDoc", GenerateDoc, true);
    context.Int("BankCount", BankCount, kDefaultBankCount);
    context.Bool("ParameterRangesEnabled", ParameterRangesEnabled, false);
    context.Bool("CyclicMode", CyclicMode, false);
    context.Text("BankName", BankName, RString());
    context.Bool("BankNameCheck", BankNameCheck, false);
    context.Bool("GUIFuncDisabled", GUIFuncDisabled, false);

    bool enabled = enabled_.IsOn(), visible = visible_.IsOn();
    context.Bool("Enabled", enabled, true);
    context.Bool("Visible", visible, true);

    if (writing) {
      for (const RTagAttribute* a = guiKeys_.GetFirstAttribute(); a; a = a->next) element.SetAttribute(a->key, a->value);
      for (const auto& target : targets_) {
        RStoreContext child(*element.AddSubItem(RString("Parameter")), context.GetFlags());
        target->Store(child, BankCount);
      }
    } else {
      BankCount = std::clamp(BankCount, 1, RMultiParameterTarget::kMaxBanks);
      Mode = std::clamp(Mode, 0, kModeCount - 1);
      StepCount = std::max(StepCount, 0);
      SetValueExpression(valueExpression);
      enabled_.SetValueNow(enabled ? 1.0 : 0.0);
      visible_.SetValueNow(visible ? 1.0 : 0.0);
      guiKeys_.Clear();
      for (const RTagAttribute* a = element.GetFirstAttribute(); a; a = a->next) {
        if (IsGUIKey(a->key.Text())) guiKeys_.SetAttribute(a->key, a->value);
      }
      std::vector<std::unique_ptr<RMultiParameterTarget>> targets;
      for (RTagItem* item = element.GetFirstSubItem(); item; item = item->GetNext()) {
        if (item->GetName().Compare("Parameter") != 0) continue;
        auto target = std::make_unique<RMultiParameterTarget>();
        RStoreContext child(*item, context.GetFlags());
        target->Store(child, BankCount);
        targets.push_back(std::move(target));
      }
      targets_ = std::move(targets);
      ResolveTargets();
    }
  }

  // The value last: reading it drives the targets just read.
  if (writing) {
    if (Storable && !IsValueDefault()) element.SetAttribute(RHashedString("Value"), value_.GetNormalised());
  } else if (Storable) {
    double value = DefaultValue;
    element.ReadAttribute(RHashedString("Value"), value);
    LoadValue(value);
  }
}

void RMultiParameter::LoadValue(double normalised) {
  if (!std::isfinite(normalised)) normalised = DefaultValue;
  // A load is a jump, not a move: no glide, travel or trigger from the previous value.
  writingOwnValue_ = true;
  value_.SetValueNow(std::clamp(normalised, 0.0, 1.0));
  writingOwnValue_ = false;
  glide_ = value_.GetNormalised();
  switchPosition_ = Mode == kSwitch ? glide_ : 0.0;
  lastInput_ = Mode == kTrigger ? 0.0 : glide_;
  running_ = false;
  direction_ = 0;
  Apply(true, false);
}

bool RMultiParameter::IsValueDefault() const noexcept {
  return std::fabs(value_.GetNormalised() - DefaultValue) < kSamePosition;
}

RString RMultiParameter::GetCompactText() const {
  double value = value_.GetNormalised();
  if (StepCount > 1) value = std::round(value * (StepCount - 1)) / double(StepCount - 1);
  char text[32];
  std::snprintf(text, sizeof text, "%.10f", value);
  return RString::FromLatin1(text);
}

void RMultiParameter::SetCompactText(const RString& text) {
  LoadValue(text.IsEmpty() ? DefaultValue : RNumberText::TextToDouble(text));
}
