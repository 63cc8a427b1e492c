#include "kernel/undo.h"

#include <algorithm>
#include <cmath>

#include "base/exception.h"
#include "base/guard.h"
#include "base/lock.h"
#include "base/tagitem.h"
#include "kernel/audioplugin.h"
#include "kernel/audiopluginbase.h"
#include "kernel/value.h"

namespace {

// Preset loads and host state changes raise this for every plug-in of the process at once.
std::atomic<int32_t> globalNoUndo{0};

// A carried value must differ from what the last step holds by at least this much to count.
constexpr double kCarryDifference = 1e-06;

void LowerCount(std::atomic<int32_t>& count) noexcept {
  int32_t present = count.load(std::memory_order_acquire);
  while (present > 0 && !count.compare_exchange_weak(present, present - 1, std::memory_order_acq_rel)) {
  }
}

bool HoldsIndex(const RUndoList::Step& step, int32_t index) noexcept {
  return std::any_of(step.pairs.begin(), step.pairs.end(),
                     [index](const RUndoList::Pair& p) { return p.index == index; });
}

} // namespace

RUndoList::RUndoList(RAudioPluginBase& owner) : owner_(owner) {}

RUndoList::~RUndoList() = default;

void RUndoList::LowerNoUndo() noexcept { LowerCount(noUndo_); }

void RUndoList::RaiseGlobalNoUndo() noexcept { globalNoUndo.fetch_add(1, std::memory_order_acq_rel); }

void RUndoList::LowerGlobalNoUndo() noexcept { LowerCount(globalNoUndo); }

int32_t RUndoList::GetGlobalNoUndoCount() noexcept { return globalNoUndo.load(std::memory_order_acquire); }

bool RUndoList::IsRecording() const noexcept {
  return noUndo_.load(std::memory_order_acquire) <= 0 && globalNoUndo.load(std::memory_order_acquire) <= 0;
}

bool RUndoList::CanUndo() const noexcept { return cursor_ > 0; }

// The step at the cursor is the present state once an undo has stored its redo point.
bool RUndoList::CanRedo() const noexcept { return cursor_ + 1 < int32_t(steps_.size()); }

void RUndoList::Clear() {
  steps_.clear();
  cursor_ = 0;
  stepOpen_ = false;
  stepTime_ = 0;
  FireButtons();
}

void RUndoList::FireButtons() noexcept {
  // Subscribers run in guards of their own; nothing they throw reaches the recording code.
  ButtonsChanged.ExecuteImmediately();
}

void RUndoList::AddStep(Step&& step) {
  steps_.erase(steps_.begin() + cursor_, steps_.end());
  if (int32_t(steps_.size()) >= kMaxSteps) steps_.erase(steps_.begin());
  steps_.push_back(std::move(step));
  cursor_ = int32_t(steps_.size());
}

bool RUndoList::MakeSnapshot(Step& step) {
  // Only the cycle's level has a stored tree; a bare parameter table has nothing to snapshot.
  auto* plugin = dynamic_cast<RAudioPlugin*>(&owner_);
  if (!plugin) return false;
  auto tree = std::make_unique<RTagItem>(RString("Undo"));
  plugin->SaveStateTree(*tree);
  tree->SetName(RString("Undo"));
  step.kind = 0;
  step.snapshot = std::move(tree);
  step.pairs.clear();
  return true;
}

void RUndoList::StoreSnapshot() {
  if (!IsRecording()) return;
  Step step;
  if (!MakeSnapshot(step)) return;
  AddStep(std::move(step));
  stepOpen_ = false;
  stepTime_ = 0;
  FireButtons();
  for (int32_t i = 0, n = owner_.GetParameterCount(); i < n; ++i) {
    RAudioPluginBase::Parameter* p = owner_.GetParameter(i);
    if (p && p->Value) p->LastAutomation = p->Value->GetNormalised();
  }
}

void RUndoList::StoreSettingsSnapshot() noexcept {
  RGuarded("RAudioPluginBase::UndoStoreSettings", [&] { StoreSnapshot(); });
}

void RUndoList::RecordParameter(int32_t index, double oldValue, uint32_t now) {
  if (!IsRecording()) return;
  // Times are compared by difference: the clock wraps after about 49 days.
  const uint32_t age = now - stepTime_;
  if (stepOpen_ && cursor_ == int32_t(steps_.size()) && cursor_ > 0 && age < kStepMilliseconds) {
    Step& open = steps_[size_t(cursor_ - 1)];
    const bool held = HoldsIndex(open, index);
    if (held || age < kJoinMilliseconds) {
      if (!held) open.pairs.push_back({index, oldValue});
      stepTime_ = now;
      return;
    }
  }

  Step step;
  step.kind = 1;
  step.pairs.push_back({index, oldValue});
  // The new step restores the whole set the last one touched: the values that moved since it
  // was recorded come along with their present value.
  steps_.erase(steps_.begin() + cursor_, steps_.end());
  if (!steps_.empty() && steps_.back().kind == 1) {
    for (const Pair& p : steps_.back().pairs) {
      if (p.index == index || HoldsIndex(step, p.index)) continue;
      const RValue* value = owner_.GetParameterValue(p.index);
      if (!value) continue;
      const double present = value->GetNormalised();
      if (std::fabs(present - p.value) >= kCarryDifference) step.pairs.push_back({p.index, present});
    }
  }
  AddStep(std::move(step));
  stepOpen_ = true;
  stepTime_ = now;
  FireButtons();
}

void RUndoList::Apply(const Step& step) {
  // What is applied here must not come back as new steps.
  RNoUndoScope quiet(this);
  if (step.kind == 0) {
    auto* plugin = dynamic_cast<RAudioPlugin*>(&owner_);
    if (plugin && step.snapshot) plugin->LoadStateTree(*step.snapshot);
    return;
  }
  // The processing value is the audio thread's: write it only while no block runs.
  RLockGuard parameters(owner_.GetParameterLock());
  RLockGuard audio(owner_.GetAudioLock());
  for (const Pair& p : step.pairs) {
    RValue* value = owner_.GetParameterValue(p.index);
    if (!value) continue;
    value->SetNormalised(p.value);
    value->SetProcessing(value->GetNormalised());
  }
}

void RUndoList::Undo() {
  if (!CanUndo()) throw RException(RString("Undo is not available."));
  stepOpen_ = false;
  if (cursor_ == int32_t(steps_.size())) {
    // Store where we stand, so that redo can come back to it.
    const Step& last = steps_.back();
    Step redo;
    if (last.kind == 0) {
      MakeSnapshot(redo);
    } else {
      redo.kind = 1;
      for (const Pair& p : last.pairs) {
        const RValue* value = owner_.GetParameterValue(p.index);
        if (value) redo.pairs.push_back({p.index, value->GetNormalised()});
      }
    }
    if (int32_t(steps_.size()) >= kMaxSteps) {
      steps_.erase(steps_.begin());
      --cursor_;
    }
    steps_.push_back(std::move(redo));
  }
  Apply(steps_[size_t(cursor_ - 1)]);
  --cursor_;
  FireButtons();
}

void RUndoList::Redo() {
  if (!CanRedo()) throw RException(RString("Redo is not available."));
  stepOpen_ = false;
  Apply(steps_[size_t(cursor_ + 1)]);
  ++cursor_;
  FireButtons();
}
