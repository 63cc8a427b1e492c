// The undo list through the roads that fill it: automation told to the host (knob moves) and
// snapshots of the whole state; the clock is driven by the test.
#include <gtest/gtest.h>

#include <cmath>
#include <memory>

#include "base/exception.h"
#include "base/platform/clock.h"
#include "base/tagitem.h"
#include "kernel/audioplugininterface.h"
#include "kernel/undo.h"
#include "statetestplugin.h"

namespace {

uint32_t gNow = 0;
uint32_t TestClock() { return gNow; }

class UndoTest : public ::testing::Test {
protected:
  void SetUp() override {
    RPlatform::SetClockSourceForTests(&TestClock);
    gNow = 100000;
    auto owned = std::make_unique<RStateTestPlugin>();
    plugin = owned.get();
    host = std::make_unique<RAudioPluginInterface>(std::move(owned));
    // The host has heard every value as it stands, as after a first SendAllAutomation.
    for (int32_t i = 0; i < plugin->GetParameterCount(); ++i)
      plugin->GetParameter(i)->LastAutomation = plugin->GetParameterValue(i)->GetNormalised();
    gain = plugin->GetParameterIndexOf(&plugin->gain);
    mix = plugin->GetParameterIndexOf(&plugin->mix);
  }
  void TearDown() override { RPlatform::SetClockSourceForTests(nullptr); }

  // A control moves a value at a time in milliseconds after the start.
  void Move(int32_t index, double normalised, uint32_t at) {
    gNow = 100000 + at;
    plugin->GetParameterValue(index)->SetNormalised(normalised);
    plugin->SendAutomation(index, normalised);
  }
  double Value(int32_t index) { return plugin->GetParameterValue(index)->GetNormalised(); }
  RUndoList& Undo() { return plugin->GetUndo(); }

  RStateTestPlugin* plugin = nullptr;
  std::unique_ptr<RAudioPluginInterface> host;
  int32_t gain = -1;
  int32_t mix = -1;
};

std::string Message(void (RUndoList::*operation)(), RUndoList& list) {
  try {
    (list.*operation)();
  } catch (const RException& failure) {
    return failure.GetMessage().ToUTF8();
  }
  return "no exception";
}

TEST_F(UndoTest, AKnobTurnedForFiveSecondsWithoutATwoSecondPauseIsOneStep) {
  const double start = Value(gain);
  for (uint32_t t = 0; t <= 5000; t += 400) Move(gain, 0.5 + t / 20000.0, t);
  ASSERT_EQ(Undo().GetStepCount(), 1);
  EXPECT_EQ(Undo().GetStep(0).kind, 1);
  ASSERT_EQ(Undo().GetStep(0).pairs.size(), 1u);
  Undo().Undo();
  EXPECT_NEAR(Value(gain), start, 1e-12);
  EXPECT_NEAR(plugin->gain.GetProcessingNormalised(), start, 1e-12);
}

TEST_F(UndoTest, APauseOfTwoSecondsStartsANewStepForTheSameKnob) {
  Move(gain, 0.6, 0);
  Move(gain, 0.7, 1999);
  EXPECT_EQ(Undo().GetStepCount(), 1);
  Move(gain, 0.8, 1999 + 2000);
  EXPECT_EQ(Undo().GetStepCount(), 2);
  Undo().Undo();
  EXPECT_NEAR(Value(gain), 0.7, 1e-12);
}

TEST_F(UndoTest, ASecondKnobAfter300MillisecondsStartsAStepHoldingTheFirstKnobsPresentValue) {
  const double gainStart = Value(gain), mixStart = Value(mix);
  Move(gain, 0.9, 0);
  Move(mix, 0.25, 300);
  ASSERT_EQ(Undo().GetStepCount(), 2);
  const RUndoList::Step& second = Undo().GetStep(1);
  ASSERT_EQ(second.pairs.size(), 2u);
  EXPECT_EQ(second.pairs[0].index, mix);
  EXPECT_NEAR(second.pairs[0].value, mixStart, 1e-12);
  EXPECT_EQ(second.pairs[1].index, gain);
  EXPECT_NEAR(second.pairs[1].value, 0.9, 1e-12);

  Undo().Undo();
  EXPECT_NEAR(Value(mix), mixStart, 1e-12);
  EXPECT_NEAR(Value(gain), 0.9, 1e-12);
  Undo().Undo();
  EXPECT_NEAR(Value(gain), gainStart, 1e-12);
  // Redo walks back up through the same states, the carried value included.
  Undo().Redo();
  EXPECT_NEAR(Value(gain), 0.9, 1e-12);
  EXPECT_NEAR(Value(mix), mixStart, 1e-12);
  Undo().Redo();
  EXPECT_NEAR(Value(gain), 0.9, 1e-12);
  EXPECT_NEAR(Value(mix), 0.25, 1e-12);
  EXPECT_FALSE(Undo().CanRedo());
}

TEST_F(UndoTest, ASecondKnobWithin200MillisecondsJoinsTheStep) {
  const double gainStart = Value(gain), mixStart = Value(mix);
  Move(gain, 0.9, 0);
  Move(mix, 0.25, 150);
  ASSERT_EQ(Undo().GetStepCount(), 1);
  EXPECT_EQ(Undo().GetStep(0).pairs.size(), 2u);
  Undo().Undo();
  EXPECT_NEAR(Value(gain), gainStart, 1e-12);
  EXPECT_NEAR(Value(mix), mixStart, 1e-12);
}

TEST_F(UndoTest, AValueThatDidNotMoveSinceTheLastStepIsNotCarried) {
  Move(gain, 0.9, 0);
  Move(gain, plugin->gain.GetDefaultNormalised(), 100);  // back where it began
  Move(mix, 0.25, 600);
  ASSERT_EQ(Undo().GetStepCount(), 2);
  EXPECT_EQ(Undo().GetStep(1).pairs.size(), 1u);
}

TEST_F(UndoTest, TheThirtyThirdStepDropsTheFirst) {
  const double first = Value(gain);
  for (int i = 1; i <= 33; ++i) Move(gain, i / 40.0, uint32_t(i) * 3000);
  ASSERT_EQ(Undo().GetStepCount(), RUndoList::kMaxSteps);
  // The oldest step held is the second move's, which returns to the first move's value.
  ASSERT_EQ(Undo().GetStep(0).pairs.size(), 1u);
  EXPECT_NEAR(Undo().GetStep(0).pairs[0].value, 1 / 40.0, 1e-12);
  int undone = 0;
  while (Undo().CanUndo()) {
    Undo().Undo();
    ++undone;
  }
  EXPECT_GE(undone, RUndoList::kMaxSteps - 1);
  EXPECT_LE(Undo().GetStepCount(), RUndoList::kMaxSteps);
  EXPECT_GT(std::fabs(Value(gain) - first), 0.1);
}

TEST_F(UndoTest, WithNothingToDoUndoAndRedoSaySo) {
  EXPECT_EQ(Message(&RUndoList::Undo, Undo()), "Undo is not available.");
  EXPECT_EQ(Message(&RUndoList::Redo, Undo()), "Redo is not available.");
  Move(gain, 0.9, 0);
  EXPECT_EQ(Message(&RUndoList::Redo, Undo()), "Redo is not available.");
  Undo().Undo();
  EXPECT_EQ(Message(&RUndoList::Undo, Undo()), "Undo is not available.");
  // A new change after an undo drops what could have been redone.
  Move(mix, 0.1, 5000);
  EXPECT_FALSE(Undo().CanRedo());
  EXPECT_EQ(Message(&RUndoList::Redo, Undo()), "Redo is not available.");
}

TEST_F(UndoTest, SnapshotsRestoreTheWholeStateBothWays) {
  plugin->SetSleepOnSilence(false);
  plugin->gain.SetValueNow(6.0);
  Undo().StoreSnapshot();
  plugin->SetSleepOnSilence(true);
  plugin->gain.SetValueNow(-12.0);
  plugin->mode.SetValueNow(2.0);
  Undo().StoreSnapshot();
  plugin->mode.SetValueNow(1.0);
  ASSERT_EQ(Undo().GetStepCount(), 2);
  EXPECT_EQ(Undo().GetStep(0).kind, 0);
  EXPECT_EQ(Undo().GetStep(0).snapshot->GetName().ToUTF8(), "Undo");

  Undo().Undo();
  EXPECT_EQ(plugin->mode.GetIndex(), 2);
  Undo().Undo();
  EXPECT_DOUBLE_EQ(plugin->gain.GetValue(), 6.0);
  EXPECT_EQ(plugin->mode.GetIndex(), 0);
  EXPECT_FALSE(plugin->GetSleepOnSilence());
  Undo().Redo();
  Undo().Redo();
  EXPECT_EQ(plugin->mode.GetIndex(), 1);
  EXPECT_DOUBLE_EQ(plugin->gain.GetValue(), -12.0);
  EXPECT_TRUE(plugin->GetSleepOnSilence());
}

TEST_F(UndoTest, ASnapshotClosesTheOpenStepAndSettlesWhatTheHostHeard) {
  Move(gain, 0.9, 0);
  plugin->mix.SetNormalised(0.3);
  Undo().StoreSnapshot();
  EXPECT_NEAR(plugin->GetParameter(mix)->LastAutomation, 0.3, 1e-12);
  // Within the join time, yet after a snapshot: a step of its own.
  Move(gain, 0.8, 50);
  EXPECT_EQ(Undo().GetStepCount(), 3);
}

TEST_F(UndoTest, NothingIsRecordedWhileEitherNoUndoCountIsRaised) {
  {
    RNoUndoScope own(&Undo());
    Move(gain, 0.9, 0);
    Undo().StoreSnapshot();
  }
  EXPECT_EQ(Undo().GetStepCount(), 0);
  {
    RNoUndoScope global(nullptr);
    RNoUndoScope again(nullptr);
    Move(gain, 0.8, 3000);
  }
  EXPECT_EQ(Undo().GetStepCount(), 0);
  EXPECT_EQ(RUndoList::GetGlobalNoUndoCount(), 0);
  // Lowering below zero can't switch recording off for good.
  Undo().LowerNoUndo();
  RUndoList::LowerGlobalNoUndo();
  EXPECT_TRUE(Undo().IsRecording());
  Move(gain, 0.7, 6000);
  EXPECT_EQ(Undo().GetStepCount(), 1);
}

TEST_F(UndoTest, TheButtonsHearEveryChangeOfWhatCanBeDone) {
  int heard = 0;
  Undo().ButtonsChanged.Subscribe(&heard, nullptr, 0,
                                  [](void* receiver, void*, int32_t, const REventPayload&) { ++*static_cast<int*>(receiver); });
  Move(gain, 0.9, 0);
  EXPECT_EQ(heard, 1);
  Move(gain, 0.8, 100);  // joins the open step: nothing changes for the buttons
  EXPECT_EQ(heard, 1);
  Undo().Undo();
  EXPECT_EQ(heard, 2);
  Undo().Redo();
  EXPECT_EQ(heard, 3);
  Undo().Clear();
  EXPECT_EQ(heard, 4);
  EXPECT_FALSE(Undo().CanUndo());
}

TEST(UndoBareTable, AParameterTableWithoutTheCycleHasNoSnapshots) {
  RAudioPluginBase bare(RString("Bare"));
  RRealValue level(&bare, RString("Level"), 0.0, 1.0, 0.5);
  bare.InitParameters();
  bare.GetUndo().StoreSnapshot();
  EXPECT_EQ(bare.GetUndo().GetStepCount(), 0);
  bare.GetUndo().RecordParameter(0, 0.5, 1000);
  level.SetNormalised(0.75);
  EXPECT_EQ(bare.GetUndo().GetStepCount(), 1);
  bare.GetUndo().Undo();
  EXPECT_DOUBLE_EQ(level.GetNormalised(), 0.5);
  EXPECT_DOUBLE_EQ(level.GetProcessingNormalised(), 0.5);
  bare.GetUndo().Redo();
  EXPECT_DOUBLE_EQ(level.GetNormalised(), 0.75);
}

} // namespace
