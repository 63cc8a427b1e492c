#pragma once
// RABSlots: the A and B comparison of a plug-in's editor. Each slot holds a whole state tree,
// the same form as the host's chunk; one slot is active, the one the plug-in now sounds like.
// Swapping stores the present state in the active slot and loads the other; a slot never
// stored takes the present state, so the first swap changes nothing audible. Copying puts the
// present state in both.
//
// The slots live as long as this object (the editor's, or the adapter's to keep them across
// editor openings); they are not part of the stored state. [editor-thread]

#include <cstdint>

#include "base/tagitem.h"

class RAudioPlugin;

class RABSlots {
public:
  enum Slot : int32_t { kA = 0, kB = 1 };

  explicit RABSlots(RAudioPlugin& plugin) : plugin_(plugin) {}
  RABSlots(const RABSlots&) = delete;
  RABSlots& operator=(const RABSlots&) = delete;

  Slot GetActive() const noexcept { return active_; }
  // Whether the slot holds a stored state yet.
  bool IsStored(Slot slot) const noexcept { return stored_[slot]; }
  const RTagItem& GetTree(Slot slot) const noexcept { return trees_[slot]; }

  // Present state into the active slot, the other slot's state into the plug-in; the other
  // becomes active. When the load fails the plug-in and the active slot stay as they were,
  // and the RException goes on.
  void Swap();
  // Present state into both slots.
  void Copy();
  // The editor's buttons "a" and "b": the active slot's button does nothing, the other's
  // swaps.
  void Select(Slot slot);

private:
  RAudioPlugin& plugin_;
  RTagItem trees_[2];
  bool stored_[2] = {false, false};
  Slot active_ = kA;
};
