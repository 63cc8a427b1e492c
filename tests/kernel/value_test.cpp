// Value objects: keys and names, the mapping of each kind as a host sees it, texts both ways,
// the user value beside the processing value, per-block ramps, and the two change events.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "kernel/audiopluginbase.h"
#include "kernel/value.h"

namespace {

std::string Text(const RString& s) { return s.ToUTF8(); }

RArray<RString> Items(std::initializer_list<const char*> texts) {
  RArray<RString> items;
  for (const char* t : texts) items.Add(RString::FromUTF8(t));
  return items;
}

// Collects the payloads an event delivers, as normalised numbers.
struct Heard {
  std::vector<double> values;
  static void Take(void* receiver, void*, int32_t, const REventPayload& payload) {
    static_cast<Heard*>(receiver)->values.push_back(payload.As<double>());
  }
  void Listen(REvent& event) { event.Subscribe(this, nullptr, 0, &Heard::Take); }
};

// --- names, keys and flags

TEST(RValueIdentity, KeyTildeMeansTheNameAndNeverStoredOnItsOwn) {
  RBoolValue bypass(nullptr, "Bypass", false, "~");
  EXPECT_EQ(Text(bypass.GetKey()), "Bypass");
  EXPECT_FALSE(bypass.HasFlag(RValue::kStored));

  RRealValue gain(nullptr, "Output gain", -24.0, 24.0, 0.0);
  EXPECT_EQ(Text(gain.GetKey()), "Output gain");
  EXPECT_TRUE(gain.HasFlag(RValue::kStored));

  RRealValue mix(nullptr, "Mix", 0.0, 1.0, 1.0, RString(), "DryWet", "How much of the effect is heard.");
  EXPECT_EQ(Text(mix.GetKey()), "DryWet");
  EXPECT_EQ(Text(mix.GetDescription()), "How much of the effect is heard.");
  EXPECT_EQ(mix.GetOwner(), nullptr);
  EXPECT_EQ(mix.GetOwnerIndex(), -1);
}

TEST(RValueIdentity, DefaultFlagsAndNoRampForSwitchesAndChoices) {
  RRealValue real(nullptr, "Real", 0.0, 1.0, 0.5);
  for (uint32_t flag : {RValue::kNeedsSetup, RValue::kStored, RValue::kGlobal, RValue::kSendsAll})
    EXPECT_TRUE(real.HasFlag(flag)) << flag;
  for (uint32_t flag : {RValue::kFineRamp, RValue::kNoRamp, RValue::kHasModulator, RValue::kUsesAltName})
    EXPECT_FALSE(real.HasFlag(flag)) << flag;
  EXPECT_FALSE(RTimeValue(nullptr, "T", 0.0, 1.0, 0.1).HasFlag(RValue::kNoRamp));
  EXPECT_FALSE(RFrequencyValue(nullptr, "F", 20.0, 20000.0, 1000.0).HasFlag(RValue::kNoRamp));
  EXPECT_TRUE(RBoolValue(nullptr, "B").HasFlag(RValue::kNoRamp));
  EXPECT_TRUE(RChoiceValue(nullptr, "C", Items({"a", "b"})).HasFlag(RValue::kNoRamp));
}

TEST(RValueIdentity, TheShortDisplayNameIsTheAltNameOnlyWhenOneIsSet) {
  RRealValue value(nullptr, "Feedback amount", 0.0, 1.0, 0.5);
  EXPECT_EQ(Text(value.GetDisplayName(true)), "Feedback amount");
  value.SetAltName("Fdbk");
  EXPECT_TRUE(value.HasFlag(RValue::kUsesAltName));
  EXPECT_EQ(Text(value.GetDisplayName(true)), "Fdbk");
  EXPECT_EQ(Text(value.GetDisplayName(false)), "Feedback amount");
  value.SetAltName(RString());
  EXPECT_FALSE(value.HasFlag(RValue::kUsesAltName));
  EXPECT_EQ(Text(value.GetDisplayName(true)), "Feedback amount");
}

// --- mappings as a host sees them

TEST(RValueMapping, EachContinuousKindMapsNormalisedToItsUnits) {
  RRealValue gain(nullptr, "Gain", -24.0, 24.0, 0.0);
  EXPECT_DOUBLE_EQ(gain.GetNormalised(), 0.5);
  EXPECT_TRUE(gain.SetNormalised(0.25));
  EXPECT_DOUBLE_EQ(gain.GetValue(), -12.0);

  RTimeValue time(nullptr, "Time", 0.0, 2.0, 0.5);
  EXPECT_TRUE(time.SetNormalised(0.5));
  EXPECT_DOUBLE_EQ(time.GetValue(), 2.0 * std::pow(0.5, 4));
  EXPECT_NEAR(time.GetNormalised(), 0.5, 1e-12);

  RFrequencyValue cutoff(nullptr, "Cutoff", 20.0, 20000.0, 1000.0);
  EXPECT_TRUE(cutoff.SetNormalised(0.5));
  EXPECT_NEAR(cutoff.GetValue(), std::sqrt(20.0 * 20000.0), 1e-9);
  EXPECT_NEAR(cutoff.GetDefaultNormalised(), std::log(1000.0 / 20.0) / std::log(1000.0), 1e-12);

  // Out of range and not-a-number land on the edges, never outside.
  EXPECT_TRUE(gain.SetNormalised(7.0));
  EXPECT_DOUBLE_EQ(gain.GetValue(), 24.0);
  EXPECT_TRUE(gain.SetNormalised(std::nan("")));
  EXPECT_DOUBLE_EQ(gain.GetValue(), -24.0);
}

TEST(RValueMapping, AChoiceGivesEachItemAnEqualShareOfTheTravel) {
  RChoiceValue mode(nullptr, "Mode", Items({"Linear", "Ugly", "Smooth"}), 1);
  EXPECT_EQ(mode.GetIndex(), 1);
  EXPECT_DOUBLE_EQ(mode.GetNormalised(), 0.5);
  const struct { double normalised; int32_t index; } cases[] = {
      {0.0, 0}, {0.3, 0}, {0.33, 0}, {0.34, 1}, {0.66, 1}, {0.67, 2}, {1.0, 2}};
  for (const auto& c : cases) {
    mode.SetNormalised(c.normalised);
    EXPECT_EQ(mode.GetIndex(), c.index) << c.normalised;
  }
  EXPECT_DOUBLE_EQ(mode.GetNormalised(), 1.0);

  RChoiceValue single(nullptr, "Only", Items({"One"}));
  EXPECT_EQ(single.GetNormalised(), 0.0);
  EXPECT_FALSE(single.SetNormalised(1.0));
}

TEST(RValueMapping, ASwitchIsOnFromHalfWayUp) {
  RBoolValue flag(nullptr, "Freeze");
  EXPECT_EQ(flag.GetRange(), nullptr);
  EXPECT_FALSE(flag.IsOn());
  EXPECT_FALSE(flag.SetNormalised(0.4999));
  EXPECT_TRUE(flag.SetNormalised(0.5));
  EXPECT_TRUE(flag.IsOn());
  EXPECT_EQ(flag.GetNormalised(), 1.0);
  flag.SetProcessing(0.5);
  EXPECT_TRUE(flag.IsProcessingOn());
  flag.SetProcessing(0.49);
  EXPECT_FALSE(flag.IsProcessingOn());
}

// --- texts

TEST(RValueText, EachKindShowsItsValueInItsOwnTerms) {
  RRealValue gain(nullptr, "Gain", -48.0, 12.0, -6.0, "{0.1} dB");
  EXPECT_EQ(Text(gain.GetText()), "-6.0 dB");
  EXPECT_EQ(Text(gain.GetTextOfNormalised(1.0)), "12.0 dB");
  RTimeValue delay(nullptr, "Delay", 0.0, 2.0, 0.25, "Off");
  EXPECT_EQ(Text(delay.GetText()), "250 ms");
  EXPECT_EQ(Text(delay.GetTextOfNormalised(0.0)), "Off");
  RFrequencyValue cutoff(nullptr, "Cutoff", 20.0, 20000.0, 12000.0);
  EXPECT_EQ(Text(cutoff.GetText()), "12.0 kHz");
  RChoiceValue mode(nullptr, "Mode", Items({"Linear", "Ugly"}), 1);
  EXPECT_EQ(Text(mode.GetText()), "Ugly");
  EXPECT_EQ(Text(mode.GetTextOfNormalised(0.2)), "Linear");
  RBoolValue flag(nullptr, "Freeze");
  EXPECT_EQ(Text(flag.GetText()), "Off");
  EXPECT_EQ(Text(flag.GetTextOfNormalised(0.5)), "On");
}

TEST(RValueText, ParsingGivesTheNormalisedFormAndAFailureChangesNothing) {
  RRealValue gain(nullptr, "Gain", -48.0, 12.0, -6.0, "{0.1} dB");
  double n = 0.125;
  EXPECT_TRUE(gain.ParseToNormalised("-18 dB", n));
  EXPECT_DOUBLE_EQ(n, 0.5);
  n = 0.125;
  EXPECT_FALSE(gain.ParseToNormalised("loud", n));
  EXPECT_EQ(n, 0.125);
  EXPECT_DOUBLE_EQ(gain.GetValue(), -6.0);  // parsing never sets the value

  RTimeValue delay(nullptr, "Delay", 0.0, 2.0, 0.25);
  EXPECT_TRUE(delay.ParseToNormalised("125", n));  // a bare number is milliseconds
  EXPECT_NEAR(n, std::sqrt(std::sqrt(0.0625)), 1e-12);

  RFrequencyValue cutoff(nullptr, "Cutoff", 20.0, 20000.0, 1000.0);
  EXPECT_TRUE(cutoff.ParseToNormalised("20 kHz", n));
  EXPECT_DOUBLE_EQ(n, 1.0);

  RChoiceValue mode(nullptr, "Mode", Items({"Linear", "Ugly", "Smooth"}), 2);
  EXPECT_TRUE(mode.ParseToNormalised("Ugly", n));
  EXPECT_DOUBLE_EQ(n, 0.5);
  EXPECT_TRUE(mode.ParseToNormalised("Nonsense", n));  // an unknown item is the first
  EXPECT_EQ(n, 0.0);
}

TEST(RValueText, ASwitchReadsZeroAndItsOwnOffTextAsOffAndAnyOtherTextAsOn) {
  RBoolValue flag(nullptr, "Freeze", true);
  double n = 0.5;
  for (const char* text : {"0", "Off", " off "}) {
    n = 0.5;
    EXPECT_TRUE(flag.ParseToNormalised(RString::FromUTF8(text), n));
    EXPECT_EQ(n, 0.0) << text;
  }
  for (const char* text : {"1", "On", "yes", "", "0.0", "Offset"}) {
    n = 0.5;
    EXPECT_TRUE(flag.ParseToNormalised(RString::FromUTF8(text), n));
    EXPECT_EQ(n, 1.0) << text;
  }
}

// --- the user value and the processing value

TEST(RValueProcessing, UserAndProcessingValuesMoveSeparately) {
  RRealValue gain(nullptr, "Gain", -24.0, 24.0, 0.0);
  EXPECT_DOUBLE_EQ(gain.GetProcessing(), 0.0);
  gain.SetNormalised(1.0);
  EXPECT_DOUBLE_EQ(gain.GetValue(), 24.0);
  EXPECT_DOUBLE_EQ(gain.GetProcessing(), 0.0);
  EXPECT_DOUBLE_EQ(gain.GetProcessingNormalised(), 0.5);

  gain.SetProcessing(0.25);
  EXPECT_DOUBLE_EQ(gain.GetProcessing(), -12.0);
  EXPECT_DOUBLE_EQ(*gain.GetProcessingPointer(), -12.0);
  EXPECT_DOUBLE_EQ(gain.GetProcessingNormalised(), 0.25);
  EXPECT_DOUBLE_EQ(gain.GetValue(), 24.0);
  EXPECT_TRUE(gain.HasFlag(RValue::kDirty));

  gain.SyncProcessing();
  EXPECT_DOUBLE_EQ(gain.GetProcessing(), 24.0);
  EXPECT_DOUBLE_EQ(gain.GetProcessingNormalised(), 1.0);
  EXPECT_DOUBLE_EQ(gain.GetLastValue(), 24.0);
}

TEST(RValueProcessing, AChoiceProcessesTheIndexOfItsNormalisedValue) {
  RChoiceValue mode(nullptr, "Mode", Items({"a", "b", "c", "d"}));
  mode.SetProcessing(0.6);
  EXPECT_EQ(mode.GetProcessingIndex(), 2);
  EXPECT_DOUBLE_EQ(mode.GetProcessingNormalised(), 0.6);
  EXPECT_EQ(mode.GetIndex(), 0);
}

TEST(RValueProcessing, SetValueNowMovesBothValuesClamped) {
  RFrequencyValue cutoff(nullptr, "Cutoff", 20.0, 20000.0, 1000.0);
  cutoff.SetValueNow(50000.0);
  EXPECT_DOUBLE_EQ(cutoff.GetValue(), 20000.0);
  EXPECT_DOUBLE_EQ(cutoff.GetProcessing(), 20000.0);
  EXPECT_DOUBLE_EQ(cutoff.GetProcessingNormalised(), 1.0);
}

// --- per-block ramps

TEST(RValueRamp, ARampRunsFromLastValueToTheProcessingValue) {
  RRealValue gain(nullptr, "Gain", 0.0, 2.0, 1.0);
  double start = -1.0, increment = -1.0;
  EXPECT_FALSE(gain.GetRamp(64, start, increment));
  EXPECT_DOUBLE_EQ(start, 1.0);
  EXPECT_EQ(increment, 0.0);

  gain.SetProcessing(1.0);  // 2.0
  ASSERT_TRUE(gain.GetRamp(64, start, increment));
  EXPECT_DOUBLE_EQ(start, 1.0);
  EXPECT_DOUBLE_EQ(increment, 1.0 / 64.0);
  EXPECT_DOUBLE_EQ(start + 64 * increment, gain.GetProcessing());

  gain.MarkRampDone();
  EXPECT_FALSE(gain.GetRamp(64, start, increment));
  EXPECT_DOUBLE_EQ(start, 2.0);

  // Nothing to divide by: no ramp, whatever moved.
  gain.SetProcessing(0.0);
  EXPECT_FALSE(gain.GetRamp(0, start, increment));
}

TEST(RValueRamp, MovesBelowTheThresholdAreNoRampAndResetRampTakesTheUserValue) {
  RRealValue gain(nullptr, "Gain", 0.0, 1.0, 0.5);
  double start = 0.0, increment = 0.0;
  gain.SetProcessing(0.5 + 5e-11);
  EXPECT_FALSE(gain.GetRamp(16, start, increment));
  gain.SetProcessing(0.5 + 2e-10);
  EXPECT_TRUE(gain.GetRamp(16, start, increment));

  gain.SetNormalised(0.75);
  gain.ResetRamp();
  EXPECT_DOUBLE_EQ(gain.GetLastValue(), 0.75);
  ASSERT_TRUE(gain.GetRamp(10, start, increment));
  EXPECT_DOUBLE_EQ(start, 0.75);
  EXPECT_NEAR(increment, (0.5 + 2e-10 - 0.75) / 10.0, 1e-15);
}

// --- events

TEST(RValueEvents, ProcessingChangedIsHeardAtOnceOnTheSettingThread) {
  RRealValue gain(nullptr, "Gain", -24.0, 24.0, 0.0);
  Heard heard;
  heard.Listen(gain.ProcessingChanged);
  gain.SetProcessing(0.75);
  ASSERT_EQ(heard.values.size(), 1u);
  EXPECT_DOUBLE_EQ(heard.values[0], 0.75);
  EXPECT_EQ(gain.ProcessingChanged.PendingCount(), 0);
  gain.SetNormalised(0.1);  // the user value alone is no processing change
  EXPECT_EQ(heard.values.size(), 1u);
}

TEST(RValueEvents, ChangedWaitsForTheEditorSideAndComesOnlyOnAChange) {
  RChoiceValue mode(nullptr, "Mode", Items({"a", "b", "c"}));
  Heard heard;
  heard.Listen(mode.Changed);
  EXPECT_FALSE(mode.SetNormalised(0.1));
  EXPECT_EQ(mode.Changed.PendingCount(), 0);
  EXPECT_TRUE(mode.SetNormalised(1.0));
  EXPECT_TRUE(mode.SetNormalised(0.5));
  EXPECT_TRUE(heard.values.empty());
  while (mode.Changed.ExecutePendingEvent()) {
  }
  ASSERT_EQ(heard.values.size(), 2u);
  EXPECT_DOUBLE_EQ(heard.values[0], 1.0);
  EXPECT_DOUBLE_EQ(heard.values[1], 0.5);

  // SetValueNow tells both sides, each only when its value moved.
  Heard processing;
  processing.Listen(mode.ProcessingChanged);
  mode.SetValueNow(2.0);
  EXPECT_EQ(processing.values.size(), 1u);
  EXPECT_EQ(mode.Changed.PendingCount(), 1);
  mode.SetValueNow(2.0);
  EXPECT_EQ(processing.values.size(), 1u);
  EXPECT_EQ(mode.Changed.PendingCount(), 1);
}

TEST(RValueEvents, ManyChangesBeforeTheEditorLooksAreAllKept) {
  RRealValue gain(nullptr, "Gain", 0.0, 1.0, 0.0);
  Heard heard;
  heard.Listen(gain.Changed);
  for (int i = 1; i <= 40; ++i) gain.SetNormalised(i / 40.0);
  while (gain.Changed.ExecutePendingEvent()) {
  }
  ASSERT_EQ(heard.values.size(), 40u);
  EXPECT_DOUBLE_EQ(heard.values.back(), 1.0);
}

// --- values inside a plug-in

// A plug-in with its values as members, the way modules hold them.
class ROwnerPlugin : public RAudioPluginBase {
public:
  ROwnerPlugin() : RAudioPluginBase("Owner") { meterSpeed.SetFlag(RValue::kNeedsSetup, false); }
  RRealValue gain{this, "Gain", -24.0, 24.0, 0.0};
  RChoiceValue mode{this, "Mode", Items({"a", "b"})};
  RRealValue meterSpeed{this, "Meter speed", 0.0, 1.0, 0.5};
};

TEST(RValueOwner, ValuesJoinTheirOwnerInOrderOfConstruction) {
  ROwnerPlugin plugin;
  const std::vector<RValue*>& own = plugin.GetOwnValues();
  ASSERT_EQ(own.size(), 3u);
  EXPECT_EQ(own[0], &plugin.gain);
  EXPECT_EQ(own[1], &plugin.mode);
  EXPECT_EQ(own[2], &plugin.meterSpeed);
  EXPECT_EQ(plugin.gain.GetOwner(), &plugin);
}

TEST(RValueOwner, AProcessingChangeRaisesTheSetupPendingBitOnlyWhenTheValueNeedsIt) {
  ROwnerPlugin plugin;
  plugin.ClearSetupPending();
  plugin.meterSpeed.SetProcessing(1.0);
  plugin.gain.SetNormalised(1.0);
  plugin.gain.SyncProcessing();  // Setup's own copy calls Update itself
  EXPECT_FALSE(plugin.IsSetupPending());
  plugin.mode.SetProcessing(1.0);
  EXPECT_TRUE(plugin.IsSetupPending());

  plugin.ClearSetupPending();
  plugin.gain.SetValueNow(24.0);  // processing already there: nothing to set up
  EXPECT_FALSE(plugin.IsSetupPending());
  plugin.gain.SetValueNow(-6.0);
  EXPECT_TRUE(plugin.IsSetupPending());
}

} // namespace
