#include "modulation/multiparameter.h"

#include <algorithm>
#include <cmath>

#include "base/format.h"
#include "kernel/audioplugin.h"
#include "kernel/globalconfig.h"
#include "kernel/replacementlog.h"
#include "modulation/random48.h"

namespace {

// Takes a lock by waiting (the editor thread) or only by trying (the audio thread), and lets
// it go at the end of the scope.
class RScopedLock {
public:
  RScopedLock(RLock& lock, bool wait) noexcept
      : lock_(lock.Lock(RLock::kExclusive, wait ? RLock::kWaitForever : 0) ? &lock : nullptr) {}
  ~RScopedLock() {
    if (lock_) lock_->Unlock();
  }
  RScopedLock(const RScopedLock&) = delete;
  RScopedLock& operator=(const RScopedLock&) = delete;
  bool Owns() const noexcept { return lock_ != nullptr; }

private:
  RLock* lock_;
};

double Unit(double x) noexcept {
  if (!(x > 0.0)) return 0.0;
  return x < 1.0 ? x : 1.0;
}

} // namespace

const char* const RMultiParameter::kModeNames[kModeCount] = {"Normal", "Switch", "Trigger", "Banks", "Meter"};
const char* const RMultiParameter::kValueModeNames[kValueModeCount] = {
    "Percents",
    "Percents (-100% to 100%)",
    "By first parameter",
    "By bank name",
    "By bank names with percents",
    "By bank name interpolated",
    "By bank name interpolated log",
    "By bank number",
    "By bank number and name",
    "Expression",
};

RMultiParameter::RMultiParameter(RAudioPlugin& plugin, int32_t index)
    : plugin_(plugin),
      index_(index),
      value_(*this, RString("Position")),
      // Made without an owner so that they don't join the plug-in's own values; "~": the
      // multi-parameter's Store writes them.
      enabled_(nullptr, RString("Enabled"), true, RString("~")),
      visible_(nullptr, RString("Visible"), true, RString("~")) {
  enabled_.SetOwner(&plugin);
  visible_.SetOwner(&plugin);
  value_.ProcessingChanged.Subscribe(this, nullptr, 0, &RMultiParameter::OnProcessingChanged);
}

RMultiParameter::~RMultiParameter() { value_.ProcessingChanged.Unsubscribe(this); }

RString RMultiParameter::GetPrefix() const { return RFormat("{0}{1} - ") << RString::FromLatin1(kPrefix) << int64_t(index_ + 1); }

void RMultiParameter::RegisterValues() {
  const RString prefix = GetPrefix();
  plugin_.RegisterParameter(&value_, prefix);
  plugin_.RegisterParameter(&enabled_, prefix);
  plugin_.RegisterParameter(&visible_, prefix);
}

void RMultiParameter::SetValueExpression(const RString& text) {
  try {
    valueExpression_.Compile(text);
  } catch (const RException&) {
    // The value then reads as plain percents; the editor reports the text where it is typed.
  }
}

// --- targets

RMultiParameterTarget* RMultiParameter::GetTarget(int32_t i) noexcept {
  return i >= 0 && i < GetTargetCount() ? targets_[size_t(i)].get() : nullptr;
}

RMultiParameterTarget& RMultiParameter::AddTarget(const RString& parameterName) {
  auto target = std::make_unique<RMultiParameterTarget>();
  target->ParameterName = parameterName;
  RMultiParameterTarget& added = *target;
  {
    RLockGuard own(lock_);
    targets_.push_back(std::move(target));
  }
  ResolveTargets();
  return added;
}

void RMultiParameter::RemoveTargets() {
  RLockGuard own(lock_);
  targets_.clear();
}

void RMultiParameter::ResolveTargets() {
  const bool note = RGlobalConfiguration::Get().GetSwitch(RReplacementLog::kShowSwitch, false);
  for (auto& target : targets_) {
    if (target->ParameterName.IsEmpty()) {
      target->SetIndex(-1);
      continue;
    }
    RString name = target->ParameterName;
    const int32_t index = plugin_.ResolveParameterName(name);
    // A name no stage finds stays as it was, so that it survives the next store.
    if (index >= 0 && name.Compare(target->ParameterName) != 0) {
      if (note) RReplacementLog::Note(plugin_, target->ParameterName, name);
      target->ParameterName = name;
    }
    target->SetIndex(index);
  }
}

// --- the cycle

void RMultiParameter::Setup(double sampleRate) {
  RLockGuard own(lock_);
  sampleRate_ = sampleRate;
  ResolveTargets();
  const double position = value_.GetNormalised();
  glide_ = position;
  switchPosition_ = Mode == kSwitch ? position : 0.0;
  lastInput_ = Mode == kTrigger ? 0.0 : position;
  running_ = false;
  direction_ = 0;
  // The targets take the value in the first sub-block.
  pending_.store(Mode != kMeter && !targets_.empty(), std::memory_order_relaxed);
}

bool RMultiParameter::IsGliding() const noexcept {
  return (Mode == kNormal || Mode == kBanks) && Speed > 0.0 &&
         std::fabs(glide_ - value_.GetProcessingNormalised()) >= kSamePosition;
}

bool RMultiParameter::IsActive() const noexcept {
  if (Mode == kMeter) return false;
  return (running_ || IsGliding()) && (enabled_.IsProcessingOn() || GUIFuncDisabled);
}

double RMultiParameter::GetInput() const noexcept {
  const double position = value_.GetProcessingNormalised();
  double x = position;
  switch (Mode) {
    case kNormal:
    case kBanks:
      if (Speed > 0.0 && std::fabs(glide_ - position) >= kSamePosition) x = glide_;
      break;
    case kSwitch:
    case kTrigger:
      if (Mode == kTrigger || SwitchTime > 0.0) x = switchPosition_;
      break;
    default: break;
  }
  if (Stepped && StepCount > 1) x = std::round(x * (StepCount - 1)) / double(StepCount - 1);
  return Unit(x);
}

bool RMultiParameter::IsPad() const noexcept { return Mode == kBanks && XYPad4Banks && BankCount >= 3; }

RMultiParameter* RMultiParameter::PadOwner() noexcept {
  RMultiParameter* previous = plugin_.GetMultiParameter(index_ - 1);
  return previous && previous->IsPad() ? previous : nullptr;
}

bool RMultiParameter::Apply(bool fromUser, bool force) {
  if (plugin_.IsSuspended() || Mode == kMeter) return false;
  // The second axis of a pad moves the pad's owner and nothing of its own.
  if (RMultiParameter* owner = PadOwner()) return owner->Apply(fromUser, force);
  if (!enabled_.IsProcessingOn() && !GUIFuncDisabled) return false;

  RScopedLock automation(plugin_.GetAutomationLock(), fromUser);
  RScopedLock own(lock_, fromUser);
  if (!automation.Owns() || !own.Owns()) {
    pending_.store(true, std::memory_order_relaxed);
    return false;
  }
  // Checked under the lock, so that only re-entry on this thread stops here: a target that is
  // this value, or another multi-parameter that drives this one back.
  if (guard_ > 0) return false;
  ++guard_;
  pending_.store(false, std::memory_order_relaxed);
  const double x = GetInput();
  if (Mode == kBanks) {
    ApplyBanks(x, fromUser);
  } else {
    ApplyTargets(x, force, fromUser);
  }
  --guard_;
  return true;
}

void RMultiParameter::RefreshVariables(RMultiParameterTarget& target) noexcept {
  if (!target.UsesExpression()) return;
  RExpression& expression = target.GetExpression();
  for (int32_t slot = 0; slot < expression.GetVariableCount(); ++slot) {
    const RExpressionVariable variable = expression.GetVariable(slot);
    double value = 0.0;
    if (variable.kind == RExpressionVariable::kMultiParameter) {
      if (const RMultiParameter* other = plugin_.GetMultiParameter(variable.number - 1)) {
        value = other->GetValue().GetProcessingNormalised();
      }
    } else if (const RMultiParameterTarget* other = GetTarget(variable.number - 1)) {
      if (const RValue* parameter = plugin_.GetParameterValue(other->GetIndex())) value = parameter->GetNormalised();
    }
    expression.SetVariable(slot, value);
  }
}

void RMultiParameter::ApplyTargets(double x, bool force, bool wait) noexcept {
  const bool randomise = Mode == kTrigger && Randomizer;
  const bool rising = randomise && ((lastInput_ <= 0.5 && x > 0.5) || force);
  lastInput_ = x;
  // A randomiser's targets keep their draw until the next rising edge.
  if (randomise && !rising) return;

  // Every expression reads the values as they stood before this pass.
  for (auto& target : targets_) {
    if (!target->ParameterEnabled) continue;
    RScopedLock section(target->GetSection(), wait);
    if (section.Owns()) RefreshVariables(*target);
  }
  const RMultiParameterTarget* first = targets_.empty() ? nullptr : targets_.front().get();
  for (auto& target : targets_) {
    if (!target->ParameterEnabled) continue;
    RScopedLock section(target->GetSection(), wait);
    if (!section.Owns()) {
      pending_.store(true, std::memory_order_relaxed);
      continue;
    }
    double input = x;
    if (rising) {
      target->RandomValue = RRandom48::Next();
      input = target->RandomValue;
    }
    const RMultiParameterTarget& range = target->UseFirstRange ? *first : *target;
    SetTarget(target->GetIndex(), target->Map(input, range));
  }
}

void RMultiParameter::SetTarget(int32_t index, double y) noexcept {
  // The index was resolved against the table as it stood; it is tested against it as it is.
  if (index < 0 || index >= plugin_.GetParameterCount()) return;
  RValue* value = plugin_.GetParameterValue(index);
  if (value && value->SetNormalised(y)) value->SetProcessing(y);
}

double RMultiParameter::MapFirstTarget(double x) noexcept {
  RLockGuard own(lock_);
  if (targets_.empty()) return -1.0;
  RMultiParameterTarget& first = *targets_.front();
  RLockGuard section(first.GetSection());
  RefreshVariables(first);
  return first.Map(x, first);
}

void RMultiParameter::WriteOwnValue(double normalised) noexcept {
  writingOwnValue_ = true;
  value_.SetNormalised(normalised);
  value_.SetProcessing(value_.GetNormalised());
  writingOwnValue_ = false;
}

void RMultiParameter::SetValueNow(double normalised) { value_.SetValueNow(Unit(normalised)); }

void RMultiParameter::StartMoving() noexcept { plugin_.MultiParameterStarted(); }

void RMultiParameter::OnProcessingChanged(void* receiver, void*, int32_t, const REventPayload& payload) {
  static_cast<RMultiParameter*>(receiver)->ProcessingMoved(payload.As<double>());
}

void RMultiParameter::ProcessingMoved(double normalised) noexcept {
  if (writingOwnValue_) return;
  switch (Mode) {
    case kNormal:
    case kBanks:
      if (Speed > 0.0) {
        StartMoving();
        return;
      }
      glide_ = normalised;
      break;
    case kSwitch:
      if (SwitchTime > 0.0) {
        direction_ = normalised >= 0.5 ? 1 : -1;
        running_ = true;
        StartMoving();
        return;
      }
      break;
    case kTrigger:
      // A trigger rises on a value above the middle and falls by itself; a lowered value
      // changes nothing.
      if (normalised > 0.5) {
        direction_ = 1;
        running_ = true;
        StartMoving();
      }
      return;
    default: return;
  }
  Apply(false, false);
}

void RMultiParameter::UpdateFirstStage(int32_t) noexcept {
  if (Mode != kMeter) {
    if (pending_.load(std::memory_order_relaxed)) Apply(false, false);
    return;
  }
  RTryLockGuard own(lock_);
  if (!own.Owns()) return;
  for (auto& target : targets_) {
    if (!target->ParameterEnabled) continue;
    const RValue* parameter = plugin_.GetParameterValue(target->GetIndex());
    if (!parameter) return;
    RTryLockGuard section(target->GetSection());
    if (!section.Owns()) return;
    RefreshVariables(*target);
    double t = target->PostProcess(target->PreProcess(parameter->GetNormalised()));
    const double span = target->MaxValue - target->Value;
    t = std::fabs(span) < kSamePosition ? (t >= target->Value ? 1.0 : 0.0) : (t - target->Value) / span;
    WriteOwnValue(Unit(t));
    return;
  }
}

void RMultiParameter::UpdateSecondStage(int32_t frames) noexcept {
  if (Mode == kMeter || frames < 0) return;
  if (!running_) {
    if (!IsGliding()) return;
    const double target = value_.GetProcessingNormalised();
    const double step = double(frames) / (Speed * std::max(sampleRate_, 1.0));
    glide_ += std::clamp(target - glide_, -step, step);
    Apply(false, false);
    return;
  }

  RTryLockGuard own(lock_);
  if (!own.Owns()) return;
  const double travel = double(frames) / std::max(sampleRate_ * SwitchTime, 1e-10);
  switchPosition_ += travel * direction_;
  if (switchPosition_ > 1.0) {
    const double beyond = switchPosition_ - 1.0;
    switchPosition_ = 1.0;
    if (Mode == kTrigger) {
      // The top is always delivered, however short the travel, and the fall takes what is
      // left of this sub-block: at a SwitchTime of 0 a trigger rises and falls in one.
      Apply(false, false);
      direction_ = -1;
      WriteOwnValue(0.0);
      switchPosition_ = 1.0 - beyond;
    } else {
      running_ = false;
    }
  }
  if (switchPosition_ < 0.0) {
    switchPosition_ = 0.0;
    running_ = false;
  }
  if (!Apply(false, false)) value_.NotifyChanged();
}
