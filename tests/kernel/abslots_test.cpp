// A and B: two whole states to compare, swapped and copied through the stored tree.
#include <gtest/gtest.h>

#include "kernel/abslots.h"
#include "statetestplugin.h"

namespace {

TEST(ABSlots, SwappingKeepsEachSlotsOwnState) {
  RStateTestPlugin plugin;
  RABSlots slots(plugin);
  plugin.gain.SetValueNow(3.0);
  plugin.SetController(1, 40);
  EXPECT_EQ(slots.GetActive(), RABSlots::kA);
  EXPECT_FALSE(slots.IsStored(RABSlots::kB));

  // B has never been stored: it starts as what A is now.
  slots.Swap();
  EXPECT_EQ(slots.GetActive(), RABSlots::kB);
  EXPECT_DOUBLE_EQ(plugin.gain.GetValue(), 3.0);
  plugin.gain.SetValueNow(-6.0);
  plugin.mode.SetValueNow(2.0);

  slots.Swap();
  EXPECT_EQ(slots.GetActive(), RABSlots::kA);
  EXPECT_DOUBLE_EQ(plugin.gain.GetValue(), 3.0);
  EXPECT_EQ(plugin.mode.GetIndex(), 0);
  EXPECT_EQ(plugin.GetController(1), 40);

  slots.Swap();
  EXPECT_DOUBLE_EQ(plugin.gain.GetValue(), -6.0);
  EXPECT_DOUBLE_EQ(plugin.gain.GetProcessing(), -6.0);
  EXPECT_EQ(plugin.mode.GetIndex(), 2);
}

TEST(ABSlots, CopyPutsTheActiveStateIntoTheOther) {
  RStateTestPlugin plugin;
  RABSlots slots(plugin);
  slots.Swap();
  plugin.gain.SetValueNow(9.0);
  slots.Swap();
  EXPECT_DOUBLE_EQ(plugin.gain.GetValue(), 0.0);
  plugin.mix.SetValueNow(0.5);
  slots.Copy();
  EXPECT_EQ(slots.GetTree(RABSlots::kA).Compare(slots.GetTree(RABSlots::kB)), 0);
  slots.Swap();
  EXPECT_DOUBLE_EQ(plugin.gain.GetValue(), 0.0);
  EXPECT_DOUBLE_EQ(plugin.mix.GetValue(), 0.5);
}

TEST(ABSlots, SelectingTheActiveSlotChangesNothing) {
  RStateTestPlugin plugin;
  RABSlots slots(plugin);
  plugin.gain.SetValueNow(2.0);
  slots.Select(RABSlots::kA);
  EXPECT_EQ(slots.GetActive(), RABSlots::kA);
  EXPECT_FALSE(slots.IsStored(RABSlots::kA));
  slots.Select(RABSlots::kB);
  plugin.gain.SetValueNow(4.0);
  slots.Select(RABSlots::kA);
  EXPECT_DOUBLE_EQ(plugin.gain.GetValue(), 2.0);
}

} // namespace
