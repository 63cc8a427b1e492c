#pragma once
// RUndoList: the undo history of one plug-in, at most 32 steps and a cursor. A step is a
// snapshot of the whole stored tree (user-level events: a preset load, a shape edit) or a
// parameter step, pairs of (index, normalised value) that knob moves gather into:
//   one knob turned without a 2 s pause is one step; a second knob joins it only within
//   200 ms, else it opens a new step that also carries the last step's other values.
// Recording pauses while the plug-in's no-undo count, or the process-wide one, is above 0.
//
// [editor-thread] and [host-thread] only; never the audio thread.

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
  // A snapshot of the whole state; the open parameter step is closed.
  void StoreSnapshot();
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
  void RaiseNoUndo() noexcept { ++noUndo_; }
  void LowerNoUndo() noexcept {
    if (noUndo_ > 0) --noUndo_;
  }
  bool IsRecording() const noexcept;
  static void RaiseGlobalNoUndo() noexcept;
  static void LowerGlobalNoUndo() noexcept;

  // Fired when CanUndo or CanRedo may have changed: the undo and redo buttons listen.
  REvent ButtonsChanged;

private:
  RAudioPluginBase& owner_;
  std::vector<Step> steps_;
  int32_t cursor_ = 0;  // steps before it are undoable
  bool stepOpen_ = false;
  uint32_t stepTime_ = 0;
  int32_t noUndo_ = 0;
};
