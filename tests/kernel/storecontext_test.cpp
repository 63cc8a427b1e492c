// Stored state: the one-body pattern of the store context (defaults never written, absent keys
// read as defaults), its sub-elements and preset-only mark, and values storing themselves.
#include <gtest/gtest.h>

#include <cmath>

#include "base/memorystream.h"
#include "base/tagitem.h"
#include "kernel/storecontext.h"
#include "kernel/value.h"

namespace {

std::string Text(const RString& s) { return s.ToUTF8(); }

RArray<RString> Items(std::initializer_list<const char*> texts) {
  RArray<RString> items;
  for (const char* t : texts) items.Add(RString::FromUTF8(t));
  return items;
}

RStoreContext Writing(RTagItem& element) { return RStoreContext(element, RStoreContext::kWriting | RStoreContext::kNewKeys); }
RStoreContext Reading(RTagItem& element) { return RStoreContext(element, RStoreContext::kNewKeys); }

// The fields of a small plug-in, stored the way every Store body does it.
struct Settings {
  bool smartBypass = true;
  int32_t blockSize = 256;
  double ceiling = -0.3;
  RString mode = "Left + Right";

  void Store(RStoreContext& c) {
    c.Bool("SmartBypass", smartBypass, true);
    c.Int("MaxLFOBlockSize", blockSize, 256);
    c.Double("Ceiling", ceiling, -0.3);
    c.Text("ChannelMode", mode, "Left + Right");
  }
};

// --- the context's own keys

TEST(RStoreContextKeys, DefaultsAreLeftOutAndAbsentKeysReadAsDefaults) {
  RTagItem tree("Settings");
  Settings written;
  RStoreContext w = Writing(tree);
  written.Store(w);
  EXPECT_EQ(tree.GetAttributeCount(), 0);

  written.smartBypass = false;
  written.blockSize = 32;
  written.ceiling = -1.0;
  written.mode = "Mid + Side";
  written.Store(w);
  EXPECT_EQ(tree.GetAttributeCount(), 4);

  Settings read;
  read.smartBypass = true;
  RStoreContext r = Reading(tree);
  read.Store(r);
  EXPECT_FALSE(read.smartBypass);
  EXPECT_EQ(read.blockSize, 32);
  EXPECT_DOUBLE_EQ(read.ceiling, -1.0);
  EXPECT_EQ(Text(read.mode), "Mid + Side");

  // An empty tree read over a changed instance brings every default back.
  RTagItem empty("Settings");
  RStoreContext fromEmpty = Reading(empty);
  read.Store(fromEmpty);
  EXPECT_TRUE(read.smartBypass);
  EXPECT_EQ(read.blockSize, 256);
  EXPECT_DOUBLE_EQ(read.ceiling, -0.3);
  EXPECT_EQ(Text(read.mode), "Left + Right");
}

TEST(RStoreContextKeys, WritingADefaultAgainDropsTheOldDifference) {
  RTagItem tree("Settings");
  RStoreContext w = Writing(tree);
  Settings s;
  s.blockSize = 64;
  s.ceiling = -0.3 + 1e-11;  // within the tolerance: still the default
  s.Store(w);
  EXPECT_EQ(tree.GetAttributeCount(), 1);
  s.blockSize = 256;
  s.Store(w);
  EXPECT_EQ(tree.GetAttributeCount(), 0);
}

TEST(RStoreContextKeys, TextDefaultsCompareExactly) {
  RTagItem tree("Settings");
  RStoreContext w = Writing(tree);
  RString mode = "left + right";
  w.Text("ChannelMode", mode, "Left + Right");
  EXPECT_EQ(Text(tree.GetAttributeText("ChannelMode")), "left + right");
}

TEST(RStoreContextKeys, ValueKeysTakeTheOldFormOnlyWhenReadingAnOldFile) {
  RTagItem tree("Settings");
  EXPECT_EQ(Text(RStoreContext(tree, RStoreContext::kWriting | RStoreContext::kNewKeys).ValueKey("Gain")), "#Gain");
  EXPECT_EQ(Text(RStoreContext(tree, RStoreContext::kWriting).ValueKey("Gain")), "#Gain");
  EXPECT_EQ(Text(RStoreContext(tree, RStoreContext::kNewKeys).ValueKey("Gain")), "#Gain");
  EXPECT_EQ(Text(RStoreContext(tree, 0).ValueKey("Gain")), "parameterGain");
}

// --- sub-elements and the root's mark

TEST(RStoreContextElements, EnterCreatesWhenWritingAndFindsWhenReading) {
  RTagItem tree("Settings");
  RStoreContext w = Writing(tree);
  RStoreContext child = w;
  ASSERT_TRUE(w.Enter("LFOs", child));
  EXPECT_TRUE(child.IsWriting());
  int32_t rate = 3;
  child.Int("Rate", rate, 1);
  RStoreContext again = w;
  ASSERT_TRUE(w.Enter("LFOs", again));
  EXPECT_EQ(&again.GetElement(), &child.GetElement());
  EXPECT_EQ(tree.GetSubItemCount(), 1);

  RStoreContext r = Reading(tree);
  RStoreContext readChild = r;
  ASSERT_TRUE(r.Enter("LFOs", readChild));
  EXPECT_TRUE(readChild.IsReading());
  rate = 0;
  readChild.Int("Rate", rate, 1);
  EXPECT_EQ(rate, 3);
  RStoreContext missing = r;
  EXPECT_FALSE(r.Enter("MultiParameters", missing));
  EXPECT_EQ(&missing.GetElement(), &tree);
  EXPECT_EQ(tree.GetSubItemCount(), 1);
}

TEST(RStoreContextElements, ThePresetOnlyMarkLivesOnTheRootAndIsSeenFromBelow) {
  RTagItem tree("Preset");
  RStoreContext root = Writing(tree);
  RStoreContext inner = root;
  ASSERT_TRUE(root.Enter("Slot", inner));
  RStoreContext deeper = inner;
  ASSERT_TRUE(inner.Enter("Module", deeper));
  EXPECT_FALSE(deeper.IsPresetOnly());
  deeper.SetPresetOnly(true);
  EXPECT_TRUE(root.IsPresetOnly());
  EXPECT_TRUE(inner.IsPresetOnly());
  EXPECT_EQ(inner.GetElement().GetAttributeCount(), 0);
  root.SetPresetOnly(false);
  EXPECT_FALSE(deeper.IsPresetOnly());
  EXPECT_EQ(tree.GetAttributeCount(), 0);
}

// --- values storing themselves

TEST(RValueStore, RoundTripsLeaveDefaultsOutAndReadingRestoresThem) {
  RRealValue gain(nullptr, "Gain", -24.0, 24.0, 0.0);
  RTimeValue delay(nullptr, "Delay", 0.0, 2.0, 0.25);
  RBoolValue freeze(nullptr, "Freeze");
  RTagItem tree("Settings");
  RStoreContext w = Writing(tree);
  gain.Store(w);
  delay.Store(w);
  freeze.Store(w);
  EXPECT_EQ(tree.GetAttributeCount(), 0);

  gain.SetNormalised(0.75);
  delay.SetValueNow(1.5);
  freeze.SetNormalised(1.0);
  gain.Store(w);
  delay.Store(w);
  freeze.Store(w);
  EXPECT_DOUBLE_EQ(tree.GetRequiredAttribute("#Gain").ToDouble(), 12.0);
  EXPECT_EQ(tree.GetRequiredAttribute("#Delay").GetType(), RVariant::kDouble);
  EXPECT_TRUE(tree.GetRequiredAttribute("#Freeze").ToBool());

  RRealValue gain2(nullptr, "Gain", -24.0, 24.0, 0.0);
  RTimeValue delay2(nullptr, "Delay", 0.0, 2.0, 0.25);
  RBoolValue freeze2(nullptr, "Freeze");
  RStoreContext r = Reading(tree);
  gain2.Store(r);
  delay2.Store(r);
  freeze2.Store(r);
  EXPECT_DOUBLE_EQ(gain2.GetValue(), 12.0);
  EXPECT_DOUBLE_EQ(gain2.GetProcessing(), 12.0);  // user and processing value together
  EXPECT_DOUBLE_EQ(delay2.GetValue(), 1.5);
  EXPECT_TRUE(freeze2.IsOn());
  EXPECT_TRUE(freeze2.IsProcessingOn());

  RTagItem empty("Settings");
  RStoreContext fromEmpty = Reading(empty);
  gain2.Store(fromEmpty);
  freeze2.Store(fromEmpty);
  EXPECT_DOUBLE_EQ(gain2.GetValue(), 0.0);
  EXPECT_DOUBLE_EQ(gain2.GetProcessing(), 0.0);
  EXPECT_FALSE(freeze2.IsOn());
}

TEST(RValueStore, ForceWritesADefaultAndAStoredValueIsClampedOnReading) {
  RRealValue mix(nullptr, "Mix", 0.0, 1.0, 0.5);
  RTagItem tree("Settings");
  RStoreContext w = Writing(tree);
  mix.Store(w, true);
  EXPECT_DOUBLE_EQ(tree.GetRequiredAttribute("#Mix").ToDouble(), 0.5);

  tree.SetAttribute("#Mix", 7.0);
  RStoreContext r = Reading(tree);
  mix.Store(r);
  EXPECT_DOUBLE_EQ(mix.GetValue(), 1.0);
  EXPECT_DOUBLE_EQ(mix.GetProcessing(), 1.0);

  // A default outside the range comes back clamped as well.
  RRealValue odd(nullptr, "Odd", 0.0, 1.0, 5.0);
  odd.SetNormalised(0.0);
  RTagItem empty("Settings");
  RStoreContext fromEmpty = Reading(empty);
  odd.Store(fromEmpty);
  EXPECT_DOUBLE_EQ(odd.GetValue(), 1.0);
}

TEST(RValueStore, OldFilesNameValuesWithTheParameterPrefix) {
  RTagItem tree("Settings");
  tree.SetAttribute("parameterDryWet", 0.25);
  tree.SetAttribute("#DryWet", 0.75);
  RRealValue mix(nullptr, "Mix", 0.0, 1.0, 0.5, RString(), "DryWet");
  RStoreContext oldFile(tree, 0);
  mix.Store(oldFile);
  EXPECT_DOUBLE_EQ(mix.GetValue(), 0.25);
  RStoreContext newFile = Reading(tree);
  mix.Store(newFile);
  EXPECT_DOUBLE_EQ(mix.GetValue(), 0.75);
}

TEST(RValueStore, UnstoredValuesAndLocalValuesUnderAPresetOnlyRootAreSkipped) {
  RBoolValue bypass(nullptr, "Bypass", false, "~");
  RRealValue local(nullptr, "Meter speed", 0.0, 1.0, 0.5);
  local.SetFlag(RValue::kGlobal, false);
  RRealValue global(nullptr, "Gain", 0.0, 1.0, 0.5);
  bypass.SetNormalised(1.0);
  local.SetNormalised(1.0);
  global.SetNormalised(1.0);

  RTagItem preset("Preset");
  RStoreContext w = Writing(preset);
  RStoreContext slot = w;
  ASSERT_TRUE(w.Enter("Slot", slot));
  slot.SetPresetOnly(true);
  bypass.Store(slot);
  local.Store(slot);
  global.Store(slot);
  EXPECT_EQ(slot.GetElement().GetAttributeCount(), 1);
  EXPECT_NE(slot.GetElement().FindAttribute("#Gain"), nullptr);

  // Reading skips them too: a missing key doesn't reset them to their defaults.
  RTagItem empty("Preset");
  RStoreContext r = Reading(empty);
  r.SetPresetOnly(true);
  bypass.Store(r);
  local.Store(r);
  global.Store(r);
  EXPECT_TRUE(bypass.IsOn());
  EXPECT_DOUBLE_EQ(local.GetValue(), 1.0);
  EXPECT_DOUBLE_EQ(global.GetValue(), 0.5);

  // Without the mark a local value is stored like any other.
  RTagItem full("State");
  RStoreContext all = Writing(full);
  local.Store(all);
  EXPECT_NE(full.FindAttribute("#Meter speed"), nullptr);
}

TEST(RValueStore, ChoicesStoreTheirIndexOrTheirItemAndReadEither) {
  RChoiceValue mode(nullptr, "Mode", Items({"Linear", "Ugly", "Smooth"}));
  RTagItem tree("Settings");
  RStoreContext w = Writing(tree);
  mode.SetNormalised(1.0);
  mode.Store(w);
  EXPECT_EQ(tree.GetRequiredAttribute("#Mode").GetType(), RVariant::kInt32);
  EXPECT_EQ(tree.GetRequiredAttribute("#Mode").ToInt32(), 2);

  RChoiceValue byName(nullptr, "Character", Items({"Clean", "Ugly", "Smooth"}));
  byName.SetFlag(RValue::kStoreByName, true);
  byName.SetNormalised(0.5);
  byName.Store(w);
  EXPECT_EQ(Text(tree.GetRequiredAttribute("#Character").ToText()), "Ugly");

  RStoreContext r = Reading(tree);
  byName.SetNormalised(0.0);
  byName.Store(r);
  EXPECT_EQ(byName.GetIndex(), 1);
  EXPECT_EQ(byName.GetProcessingIndex(), 1);

  // An older state holds the index, as a number or as the text of one.
  const struct { RVariant stored; int32_t index; } cases[] = {
      {RVariant::FromInt32(2), 2},        {RVariant::FromText("2"), 2},  {RVariant::FromDouble(1.0), 1},
      {RVariant::FromText("smooth"), 2},  {RVariant::FromText("Weird"), 0}, {RVariant::FromInt32(9), 2},
  };
  for (const auto& c : cases) {
    byName.SetNormalised(0.5);
    tree.SetAttribute("#Character", c.stored);
    byName.Store(r);
    EXPECT_EQ(byName.GetIndex(), c.index) << Text(c.stored.ToText());
  }
}

TEST(RValueStore, ChoicesByNameSurviveTheTextForm) {
  RChoiceValue sync(nullptr, "synclength__", Items({"1 / 4", "1 / 8", "1 / 16"}));
  sync.SetFlag(RValue::kStoreByName, true);
  RChoiceValue mode(nullptr, "Mode", Items({"A", "B", "C"}));
  sync.SetNormalised(0.5);
  mode.SetNormalised(1.0);
  RTagItem tree("Settings");
  RStoreContext w = Writing(tree);
  sync.Store(w);
  mode.Store(w);

  RMemoryStream stream;
  tree.WriteXML(stream);
  stream.Seek(0);
  RTagItem loaded;
  loaded.Load(stream);
  RChoiceValue sync2(nullptr, "synclength__", Items({"1 / 4", "1 / 8", "1 / 16"}));
  sync2.SetFlag(RValue::kStoreByName, true);
  RChoiceValue mode2(nullptr, "Mode", Items({"A", "B", "C"}));
  RStoreContext r = Reading(loaded);
  sync2.Store(r);
  mode2.Store(r);
  EXPECT_EQ(sync2.GetIndex(), 1);
  EXPECT_EQ(mode2.GetIndex(), 2);
}

TEST(RValueStore, ASwitchSetToExactlyHalfByAHostIsStoredAsOn) {
  RBoolValue freeze(nullptr, "Freeze");
  freeze.SetNormalised(0.5);
  RTagItem tree("Settings");
  RStoreContext w = Writing(tree);
  freeze.Store(w);
  ASSERT_NE(tree.FindAttribute("#Freeze"), nullptr);
  EXPECT_EQ(tree.GetRequiredAttribute("#Freeze").GetType(), RVariant::kInt32);
  RBoolValue freeze2(nullptr, "Freeze");
  RStoreContext r = Reading(tree);
  freeze2.Store(r);
  EXPECT_TRUE(freeze2.IsOn());
}

// A kind that keeps decibels in the store and a linear gain inside.
class RLinearGain : public RRealValue {
public:
  RLinearGain() : RRealValue(nullptr, "Level", 0.0, 4.0, 1.0) {}
  double ToStored(double real) const override { return 20.0 * std::log10(real); }
  double FromStored(double stored) const override { return std::pow(10.0, stored / 20.0); }
};

TEST(RValueStore, TheStoredFormPassesThroughToStoredAndFromStored) {
  RLinearGain level;
  level.SetValueNow(2.0);
  RTagItem tree("Settings");
  RStoreContext w = Writing(tree);
  level.Store(w);
  EXPECT_NEAR(tree.GetRequiredAttribute("#Level").ToDouble(), 6.0206, 1e-4);
  tree.SetAttribute("#Level", 40.0);  // 100 times, beyond the range
  RStoreContext r = Reading(tree);
  level.Store(r);
  EXPECT_DOUBLE_EQ(level.GetValue(), 4.0);
}

} // namespace
