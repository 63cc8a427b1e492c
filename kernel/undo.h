#pragma once
// RUndoList: the undo history of one plug-in, at most 32 steps and a cursor. A step is a
// snapshot of the whole stored tree (user-level events: a preset load, a shape edit) or a
// parameter step, pairs of (index, normalised value) that knob moves gather into:
//   one knob turned without a 2 s pause is one step; a second knob joins it only within
//   200 ms, else it opens a new step that also carries the last step's other values.
// Recording pauses while the plug-in's no-undo count, or the process-wide one, is above 0.
//
// Snapshots need the stored tree of the RAudioPlugin level; for a bare RAudioPluginBase
// (a table without a cycle, as some tests build) StoreSnapshot records nothing and only
// parameter steps exist.
//
// Scenarios:
//   I.   A knob is turned: SendAutomation hands RecordParameter the value it had before.
//   II.  A preset loads or a shape is edited: StoreSnapshot (StoreSettingsSnapshot from code
//        that must not throw) records the whole state.
//   III. The user presses undo at the end of the list: the present state is stored first as
//        a redo point, so that redo can come back to it.
//   IV.  A host restores its chunk: the process-wide count is raised, nothing is recorded.
//
// [editor-thread] and [host-thread] only; never the audio thread. The counts are atomic, since
// a host may raise them from its own thread while the editor records.

#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

#include "base/event.h"
#include "base/string.h"

class RAudioPluginBase;
class RTagItem;

class RUndoList {
public:
  static constexpr int32_t kMaxSteps = 32;
  static constexpr uint32_t kJoinMilliseconds = 200;
  static constexpr uint32_t kStepMilliseconds = 2000;

  struct Pair {
    int32_t index;
    double value;
  };
  struct Step {
    int32_t kind = 0;  // 0 snapshot, 1 parameters
    std::unique_ptr<RTagItem> snapshot;
    std::vector<Pair> pairs;
  };

  explicit RUndoList(RAudioPluginBase& owner);
  ~RUndoList();

  // The parameter road: a value told to the host moved from old (normalised) at now.
  void RecordParameter(int32_t index, double oldValue, uint32_t now);
  // A snapshot of the whole state; the open parameter step is closed, and each record's
  // LastAutomation becomes its value, so that what was just stored isn't taken for a change.
  void StoreSnapshot();
  // StoreSnapshot in the guard "RAudioPluginBase::UndoStoreSettings": for changes that aren't
  // parameters, from code that must go on when storing fails.
  void StoreSettingsSnapshot() noexcept;
  // Throw "Undo is not available." / "Redo is not available." when there is nothing to do.
  void Undo();
  void Redo();
  bool CanUndo() const noexcept;
  bool CanRedo() const noexcept;
  int32_t GetStepCount() const noexcept { return int32_t(steps_.size()); }
  int32_t GetCursor() const noexcept { return cursor_; }
  const Step& GetStep(int32_t index) const { return steps_[size_t(index)]; }
  void Clear();

  // Recording pauses while either count is above 0.
  void RaiseNoUndo() noexcept { noUndo_.fetch_add(1, std::memory_order_acq_rel); }
  void LowerNoUndo() noexcept;
  int32_t GetNoUndoCount() const noexcept { return noUndo_.load(std::memory_order_acquire); }
  bool IsRecording() const noexcept;
  static void RaiseGlobalNoUndo() noexcept;
  static void LowerGlobalNoUndo() noexcept;
  static int32_t GetGlobalNoUndoCount() noexcept;

  // Fired when CanUndo or CanRedo may have changed: the undo and redo buttons listen.
  REvent ButtonsChanged;

private:
  // Appends at the cursor: later steps go, and the oldest when the list is full.
  void AddStep(Step&& step);
  bool MakeSnapshot(Step& step);
  void Apply(const Step& step);
  void FireButtons() noexcept;

  RAudioPluginBase& owner_;
  std::vector<Step> steps_;
  int32_t cursor_ = 0;  // steps before it are undoable
  bool stepOpen_ = false;
  uint32_t stepTime_ = 0;
  std::atomic<int32_t> noUndo_{0};
};

// Holds a no-undo count raised for the length of a scope: own (a list given) or process-wide.
class RNoUndoScope {
public:
  explicit RNoUndoScope(RUndoList* list) noexcept : list_(list) {
    if (list_) list_->RaiseNoUndo();
    else RUndoList::RaiseGlobalNoUndo();
  }
  ~RNoUndoScope() {
    if (list_) list_->LowerNoUndo();
    else RUndoList::LowerGlobalNoUndo();
  }
  RNoUndoScope(const RNoUndoScope&) = delete;
  RNoUndoScope& operator=(const RNoUndoScope&) = delete;

private:
  RUndoList* list_;
};
