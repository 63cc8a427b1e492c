// Automation between RAudioPluginBase and its host: changes coming in from the host and from
// the editor's controls, values and gestures going out to the host, and the undo steps that
// knob moves leave behind.
#include <algorithm>
#include <cmath>

#include "base/platform/clock.h"
#include "kernel/audiopluginbase.h"
#include "kernel/audioplugininterface.h"
#include "kernel/parametermenu.h"
#include "kernel/undo.h"

namespace {

// An edit glides only while the host runs the cycle; a cycle silent for longer than this
// means a stopped or offline host, and the edit applies at once.
constexpr int32_t kCycleStaleMilliseconds = 1024;

// Raises the suppress count for a scope, so that the host's echo of what we tell it is
// dropped; lowered again even when the adapter throws.
class SuppressScope {
public:
  explicit SuppressScope(RAudioPluginBase& plugin) noexcept : plugin_(plugin) { plugin_.RaiseSuppress(); }
  ~SuppressScope() { plugin_.LowerSuppress(); }
  SuppressScope(const SuppressScope&) = delete;
  SuppressScope& operator=(const SuppressScope&) = delete;

private:
  RAudioPluginBase& plugin_;
};

bool Drifted(double a, double b) noexcept { return std::fabs(a - b) >= RAudioPluginBase::kSameNormalised; }

} // namespace

void RAudioPluginBase::ScheduleAutomationEvent(int32_t sampleOffset, int32_t index, double normalised) {
  // A host thread must never stall the audio thread's block, nor wait for a setup: a change
  // that can't get both locks at once is dropped.
  RTryLockGuard parameters(GetParameterLock());
  if (!parameters.Owns()) return;
  RTryLockGuard audio(GetAudioLock());
  if (!audio.Owns()) return;

  if (interface_ && index >= GetAutomatableCount()) return;
  Parameter* record = GetParameter(index);
  if (!record || !record->Value) return;
  RValue* value = record->Value;

  RAudioPluginBase* owner = value->GetOwner();
  if (owner && owner != this) {
    owner->ScheduleAutomationEvent(sampleOffset, value->GetOwnerIndex(), normalised);
    return;
  }

  // SetNormalised posts Changed; the editor side hears it after the processing value below
  // has been set, since Changed is delivered on the editor's timer.
  if (!value->SetNormalised(normalised)) return;
  if (value->HasFlag(RValue::kNoRamp) || IsFirstBlock()) {
    value->SetProcessing(value->GetNormalised());
    return;
  }
  // The user value is what the range made of the host's number (clamped, stepped); the ramp
  // heads there so that processing and user value agree once it arrives.
  SetParameterEdited(sampleOffset, index, value->GetNormalised());
}

void RAudioPluginBase::ParameterEditedByUser(int32_t index, double normalised) {
  RValue* value = GetParameterValue(index);
  if (!value) return;
  // The root runs the host's cycle; a nested module's own stamp says nothing about the host.
  const int32_t sinceBlock = int32_t(RPlatform::GetMilliseconds() - GetRoot().GetLastProcessTime());
  if (sinceBlock > kCycleStaleMilliseconds || sinceBlock < -kCycleStaleMilliseconds) {
    CancelRamp(index);
    value->SetProcessing(normalised);
    return;
  }
  SetParameterEdited(editRamp_, index, normalised);
}

void RAudioPluginBase::SendAutomation(int32_t index, double normalised) {
  if (!interface_ || suppressAutomation_ > 0) return;
  Parameter* record = GetParameter(index);
  if (!record || !Drifted(normalised, record->LastAutomation)) return;
  if (index < GetAutomatableCount()) {
    SuppressScope suppress(*this);
    interface_->AutomationChanged(index, normalised);
  }
  undo_->RecordParameter(index, record->LastAutomation, RPlatform::GetMilliseconds());
  record->LastAutomation = normalised;
}

void RAudioPluginBase::SendAllAutomation() {
  if (!interface_) {
    for (int32_t i = 0; i < GetParameterCount(); ++i)
      if (RValue* value = GetParameterValue(i)) value->AutomationRefresh.ExecuteImmediately(REventPayload::Of(i));
    return;
  }
  {
    SuppressScope suppress(*this);
    const int32_t count = std::min(GetAutomatableCount(), GetParameterCount());
    for (int32_t i = 0; i < count; ++i) {
      Parameter& record = parameters_[size_t(i)];
      if (!record.Value || !record.Value->HasFlag(RValue::kSendsAll)) continue;
      const double now = record.Value->GetNormalised();
      if (!Drifted(now, record.LastAutomation)) continue;
      interface_->AutomationChanged(i, now);
      record.LastAutomation = now;
    }
  }
  interface_->FlushGestureEnds();
}

void RAudioPluginBase::TouchAutomation(int32_t index, RValue::MouseEvent& event) {
  if (interface_) interface_->TouchEvent(index, event.kind);
  const RValue* value = GetParameterValue(index);
  const double normalised = value ? value->GetNormalised() : 0.0;
  switch (event.kind) {
    case RValue::kMousePress:
      BeginEdit(index, normalised);
      break;
    case RValue::kMouseRelease:
      EndEdit(index, normalised);
      break;
    case RValue::kMouseContext:
      // A shown menu has taken the click: no control acts on it.
      if (RParameterMenu::Open(*this, index, normalised, event)) event.kind = RValue::kMouseNone;
      break;
    default:
      break;
  }
}

void RAudioPluginBase::BeginEdit(int32_t index, double normalised) {
  (void)normalised;
  if (interface_) interface_->BeginGesture(index);
}

void RAudioPluginBase::EndEdit(int32_t index, double normalised) {
  (void)normalised;
  if (interface_) interface_->EndGesture(index);
}
