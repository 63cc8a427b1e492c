#include "kernel/abslots.h"

#include "kernel/audioplugin.h"

void RABSlots::Swap() {
  const Slot other = active_ == kA ? kB : kA;
  plugin_.SaveStateTree(trees_[active_]);
  stored_[active_] = true;
  if (!stored_[other]) {
    trees_[other].SetName(trees_[active_].GetName());
    trees_[other].Copy(trees_[active_]);
    stored_[other] = true;
  }
  plugin_.LoadStateTree(trees_[other]);
  active_ = other;
}

void RABSlots::Copy() {
  const Slot other = active_ == kA ? kB : kA;
  plugin_.SaveStateTree(trees_[active_]);
  trees_[other].Clear();
  trees_[other].SetName(trees_[active_].GetName());
  trees_[other].Copy(trees_[active_]);
  stored_[active_] = stored_[other] = true;
}

void RABSlots::Select(Slot slot) {
  if (slot != active_) Swap();
}
