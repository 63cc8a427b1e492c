// Automation between a plug-in and its host: changes from the host and from controls, values
// and gestures told to the host, echoes dropped, undo steps left behind.
#include <gtest/gtest.h>

#include <condition_variable>
#include <cstdio>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "base/platform/clock.h"
#include "kernel/audioplugin.h"
#include "kernel/audioplugininterface.h"
#include "kernel/parametermenu.h"
#include "kernel/undo.h"
#include "tests/kernel/ramptestplugin.h"

namespace {

constexpr int32_t kGain = 0;
constexpr int32_t kFine = 1;
constexpr int32_t kPower = 2;
constexpr int32_t kInternal = 3;

// A host that writes down what it is told. With echo on, it answers the next automation call
// the way some hosts do, by handing a value straight back (once, so that a missing guard shows
// as a second call rather than endless recursion).
class RecordingHost : public RAudioPluginInterface {
public:
  explicit RecordingHost(RAudioPluginBase& watched)
      : RAudioPluginInterface(std::make_unique<RAudioPlugin>(RString("Host side"))), watched_(watched) {}

  struct Call {
    std::string what;
    int32_t index;
    double normalised;
    int32_t suppress;  // the plug-in's suppress count during the call
  };
  std::vector<Call> calls;
  bool echo = false;

  void AutomationChanged(int32_t index, double normalised) override {
    Note("automation", index, normalised);
    if (echo) {
      echo = false;
      watched_.SendAutomation(index, normalised + 0.25);
    }
  }
  void BeginGesture(int32_t index) override { Note("begin", index); }
  void EndGesture(int32_t index) override { Note("end", index); }
  void FlushGestureEnds() override { Note("flush", -1); }
  void TouchEvent(int32_t index, int32_t kind) override {
    char what[16];
    std::snprintf(what, sizeof what, "touch %d", int(kind));
    Note(what, index);
  }

  std::vector<std::string> Log() const {
    std::vector<std::string> log;
    for (const Call& c : calls) {
      char line[64];
      std::snprintf(line, sizeof line, "%s %d", c.what.c_str(), int(c.index));
      log.emplace_back(line);
    }
    return log;
  }

private:
  void Note(const char* what, int32_t index, double normalised = 0.0) {
    calls.push_back({what, index, normalised, watched_.GetSuppressCount()});
  }
  RAudioPluginBase& watched_;
};

uint32_t gNow = 0;
uint32_t TestClock() { return gNow; }

class Automation : public ::testing::Test {
protected:
  void SetUp() override {
    plugin.SetUp();
    RPlatform::SetClockSourceForTests(&TestClock);
  }
  void TearDown() override {
    RPlatform::SetClockSourceForTests(nullptr);
    plugin.SetInterface(nullptr);
  }
  void Attach() { plugin.SetInterface(&host); }

  RRampTestPlugin plugin;
  RecordingHost host{plugin};
};

// --- from the host

TEST_F(Automation, AHostChangeMovesTheUserValueAtOnceAndTheProcessingValueByARamp) {
  plugin.ScheduleAutomationEvent(32, kGain, 0.5);
  EXPECT_DOUBLE_EQ(plugin.gain.GetNormalised(), 0.5);
  EXPECT_DOUBLE_EQ(plugin.gain.GetProcessingNormalised(), 0.0);
  EXPECT_EQ(plugin.NearestRampTime(), 32);
  const auto block = plugin.RunBlock(64, 1024, 1024, plugin.gain);
  EXPECT_DOUBLE_EQ(block.cuts[0].value, 0.5);
  EXPECT_FALSE(plugin.HasActiveRamps());

  plugin.ScheduleAutomationEvent(32, kGain, 0.5);  // no change: nothing planned
  EXPECT_FALSE(plugin.HasActiveRamps());
}

TEST_F(Automation, SwitchesAndTheFirstBlockAfterSetupApplyAtOnce) {
  int heard = 0;
  plugin.power.Changed.Subscribe(&heard, nullptr, 0, [](void* r, void*, int32_t, const REventPayload&) {
    ++*static_cast<int*>(r);
  });
  plugin.ScheduleAutomationEvent(32, kPower, 1.0);
  EXPECT_TRUE(plugin.power.IsProcessingOn());
  EXPECT_FALSE(plugin.HasActiveRamps());
  while (plugin.power.Changed.ExecutePendingEvent()) {
  }
  EXPECT_EQ(heard, 1);

  plugin.SetFirstBlock(true);
  plugin.ScheduleAutomationEvent(32, kGain, 0.8);
  EXPECT_DOUBLE_EQ(plugin.gain.GetProcessingNormalised(), 0.8);
  EXPECT_FALSE(plugin.HasActiveRamps());
}

TEST_F(Automation, AHostOnlyReachesTheParametersItIsShown) {
  plugin.SetAutomatableCount(3);
  Attach();
  plugin.ScheduleAutomationEvent(0, kInternal, 0.6);
  EXPECT_DOUBLE_EQ(plugin.internal.GetNormalised(), 0.0);
  plugin.ScheduleAutomationEvent(0, 42, 0.6);  // out of range
  plugin.SetInterface(nullptr);
  // Without an adapter the caller is the plug-in's own side, which may set anything.
  plugin.ScheduleAutomationEvent(0, kInternal, 0.6);
  EXPECT_DOUBLE_EQ(plugin.internal.GetNormalised(), 0.6);
}

TEST_F(Automation, AChangeThatCannotGetItsLocksAtOnceIsDropped) {
  for (RLock* lock : {&plugin.GetParameterLock(), &plugin.GetAudioLock()}) {
    bool held = false, release = false;
    std::mutex m;
    std::condition_variable cv;
    std::thread holder([&] {
      lock->Lock();
      {
        std::unique_lock<std::mutex> guard(m);
        held = true;
        cv.notify_all();
        cv.wait(guard, [&] { return release; });
      }
      lock->Unlock();
    });
    {
      std::unique_lock<std::mutex> guard(m);
      cv.wait(guard, [&] { return held; });
    }
    plugin.ScheduleAutomationEvent(10, kGain, 0.9);
    EXPECT_DOUBLE_EQ(plugin.gain.GetNormalised(), 0.0);
    EXPECT_FALSE(plugin.HasActiveRamps());
    {
      std::lock_guard<std::mutex> guard(m);
      release = true;
    }
    cv.notify_all();
    holder.join();
  }
  plugin.ScheduleAutomationEvent(10, kGain, 0.9);
  EXPECT_DOUBLE_EQ(plugin.gain.GetNormalised(), 0.9);
}

TEST_F(Automation, AMirroredParameterIsScheduledInTheNestedPlugin) {
  RRampTestPlugin child("Child");
  child.SetParent(&plugin);
  child.SetUp();
  plugin.MirrorParameters(child, RString("Slot 1 - "));
  const int32_t mirrored = plugin.GetParameterIndexOf(&child.gain);
  ASSERT_GE(mirrored, 4);
  plugin.ScheduleAutomationEvent(20, mirrored, 0.4);
  EXPECT_DOUBLE_EQ(child.gain.GetNormalised(), 0.4);
  EXPECT_FALSE(plugin.HasActiveRamps());
  ASSERT_TRUE(child.HasActiveRamps());
  EXPECT_EQ(child.NearestRampTime(), 20);
  EXPECT_DOUBLE_EQ(plugin.gain.GetNormalised(), 0.0);
}

// --- from the editor

TEST_F(Automation, AnEditGlidesOverTheEditRampWhileTheHostRunsTheCycle) {
  plugin.SetEditRamp(int32_t(44100 * 0.02));
  plugin.SetLastProcessTime(10000);
  gNow = 10500;
  plugin.ParameterEditedByUser(kGain, 1.0);
  EXPECT_EQ(plugin.NearestRampTime(), 882);
  const auto block = plugin.RunBlock(1024, 1024, 1024, plugin.gain);
  ASSERT_EQ(block.cuts.size(), 2u);
  EXPECT_EQ(block.cuts[0].length, 882);
  EXPECT_DOUBLE_EQ(block.cuts[0].value, 1.0);

  gNow = 10000 + 1024;  // still counts as running
  plugin.ParameterEditedByUser(kGain, 0.0);
  EXPECT_TRUE(plugin.HasActiveRamps());

  // The clock wraps; only the difference counts.
  plugin.SetLastProcessTime(0xffffff00u);
  gNow = 0x100;
  plugin.ParameterEditedByUser(kFine, 0.5);
  EXPECT_EQ(plugin.CountActive(), 2);
}

TEST_F(Automation, AnEditWhileTheHostHasStoppedAppliesAtOnceAndCancelsAStaleRamp) {
  plugin.SetEditRamp(960);
  plugin.SetLastProcessTime(5000);
  gNow = 5100;
  plugin.ParameterEditedByUser(kGain, 1.0);
  ASSERT_TRUE(plugin.HasActiveRamps());
  gNow = 5000 + 1025;
  plugin.ParameterEditedByUser(kGain, 0.25);
  EXPECT_FALSE(plugin.HasActiveRamps());
  EXPECT_DOUBLE_EQ(plugin.gain.GetProcessingNormalised(), 0.25);
  plugin.RunBlock(64, 16, 16, plugin.gain);
  EXPECT_DOUBLE_EQ(plugin.gain.GetProcessingNormalised(), 0.25);
}

TEST_F(Automation, ANestedModuleEditGlidesWhileTheRootRunsTheCycle) {
  RRampTestPlugin child("Child");
  child.SetParent(&plugin);
  child.SetUp();
  child.SetEditRamp(100);
  plugin.SetLastProcessTime(7000);
  gNow = 7200;
  child.ParameterEditedByUser(kGain, 1.0);
  EXPECT_EQ(child.NearestRampTime(), 100);
  EXPECT_DOUBLE_EQ(child.gain.GetProcessingNormalised(), 0.0);
}

// --- to the host

TEST_F(Automation, ValuesToldToTheHostDropTheirEchoAndLeaveAnUndoStep) {
  Attach();
  host.echo = true;
  gNow = 1000;
  plugin.gain.SetNormalised(0.6);
  plugin.SendAutomation(kGain, 0.6);
  ASSERT_EQ(host.calls.size(), 1u);
  EXPECT_EQ(host.calls[0].what, "automation");
  EXPECT_DOUBLE_EQ(host.calls[0].normalised, 0.6);
  EXPECT_EQ(host.calls[0].suppress, 1);
  EXPECT_EQ(plugin.GetSuppressCount(), 0);
  EXPECT_DOUBLE_EQ(plugin.GetParameter(kGain)->LastAutomation, 0.6);

  ASSERT_EQ(plugin.GetUndo().GetStepCount(), 1);
  const RUndoList::Step& step = plugin.GetUndo().GetStep(0);
  EXPECT_EQ(step.kind, 1);
  ASSERT_EQ(step.pairs.size(), 1u);
  EXPECT_EQ(step.pairs[0].index, kGain);
  EXPECT_DOUBLE_EQ(step.pairs[0].value, 0.0);  // what the host knew before

  plugin.SendAutomation(kGain, 0.6 + 5e-9);  // no drift worth telling
  EXPECT_EQ(host.calls.size(), 1u);
}

TEST_F(Automation, NothingIsToldWhileSuppressedOrWithoutAHost) {
  plugin.SendAutomation(kGain, 0.3);
  EXPECT_DOUBLE_EQ(plugin.GetParameter(kGain)->LastAutomation, 0.0);
  Attach();
  plugin.RaiseSuppress();
  plugin.SendAutomation(kGain, 0.3);
  plugin.LowerSuppress();
  plugin.LowerSuppress();  // never below 0
  EXPECT_EQ(plugin.GetSuppressCount(), 0);
  EXPECT_TRUE(host.calls.empty());
  EXPECT_DOUBLE_EQ(plugin.GetParameter(kGain)->LastAutomation, 0.0);
  EXPECT_EQ(plugin.GetUndo().GetStepCount(), 0);
}

TEST_F(Automation, AnInternalParameterIsNotToldButStillRecordedForUndo) {
  plugin.SetAutomatableCount(3);
  Attach();
  plugin.SendAutomation(kInternal, 0.7);
  EXPECT_TRUE(host.calls.empty());
  EXPECT_DOUBLE_EQ(plugin.GetParameter(kInternal)->LastAutomation, 0.7);
  EXPECT_EQ(plugin.GetUndo().GetStepCount(), 1);
}

TEST_F(Automation, SendAllTellsWhatDriftedUnderSuppressionThenFlushesGestureEnds) {
  plugin.SetAutomatableCount(3);
  Attach();
  plugin.gain.SetNormalised(0.4);
  plugin.power.SetNormalised(1.0);
  plugin.power.SetFlag(RValue::kSendsAll, false);
  plugin.internal.SetNormalised(0.9);
  plugin.SendAllAutomation();
  ASSERT_EQ(host.Log(), (std::vector<std::string>{"automation 0", "flush -1"}));
  EXPECT_DOUBLE_EQ(host.calls[0].normalised, 0.4);
  EXPECT_EQ(host.calls[0].suppress, 1);
  EXPECT_EQ(plugin.GetSuppressCount(), 0);
  EXPECT_DOUBLE_EQ(plugin.GetParameter(kGain)->LastAutomation, 0.4);
  EXPECT_DOUBLE_EQ(plugin.GetParameter(kPower)->LastAutomation, 0.0);
  EXPECT_EQ(plugin.GetUndo().GetStepCount(), 0);

  host.calls.clear();
  plugin.SendAllAutomation();  // nothing drifted since
  EXPECT_EQ(host.Log(), (std::vector<std::string>{"flush -1"}));
}

TEST_F(Automation, SendAllWithoutAHostRefreshesEveryValue) {
  std::vector<int32_t> refreshed;
  for (int32_t i = 0; i < plugin.GetParameterCount(); ++i)
    plugin.GetParameterValue(i)->AutomationRefresh.Subscribe(&refreshed, nullptr, i,
                                                             [](void* r, void*, int32_t id, const REventPayload&) {
                                                               static_cast<std::vector<int32_t>*>(r)->push_back(id);
                                                             });
  plugin.SendAllAutomation();
  EXPECT_EQ(refreshed, (std::vector<int32_t>{0, 1, 2, 3}));
}

// --- gestures

TEST_F(Automation, PressAndReleaseReachTheHostFirstThenTheGestureHooks) {
  Attach();
  plugin.gain.SetNormalised(0.3);
  RValue::MouseEvent press{RValue::kMousePress, 0};
  plugin.TouchAutomation(kGain, press);
  RValue::MouseEvent release{RValue::kMouseRelease, 0};
  plugin.TouchAutomation(kGain, release);
  EXPECT_EQ(host.Log(), (std::vector<std::string>{"touch 0 0", "begin 0", "touch 3 0", "end 0"}));
  ASSERT_EQ(plugin.gestures.size(), 2u);
  EXPECT_TRUE(plugin.gestures[0].begin);
  EXPECT_DOUBLE_EQ(plugin.gestures[0].normalised, 0.3);
  EXPECT_FALSE(plugin.gestures[1].begin);

  plugin.TouchAutomation(99, press);  // out of range: the value passed is 0
  EXPECT_DOUBLE_EQ(plugin.gestures.back().normalised, 0.0);
  EXPECT_EQ(plugin.gestures.back().index, 99);

  plugin.SetInterface(nullptr);
  plugin.TouchAutomation(kGain, release);
  EXPECT_EQ(plugin.gestures.size(), 4u);
}

struct MenuRecord {
  static inline int shown = 0;
  static inline bool answer = true;
  static bool Present(RAudioPluginBase&, int32_t, double) {
    ++shown;
    return answer;
  }
};

TEST_F(Automation, AContextClickOpensTheMenuWhenExactlyOneOfPreferenceAndModifierHolds) {
  MenuRecord::shown = 0;
  MenuRecord::answer = true;
  RParameterMenu::SetPresenter(&MenuRecord::Present);
  struct Case {
    bool preference;
    uint32_t modifiers;
    bool shown;
  };
  for (const Case& c : {Case{true, 0, true}, Case{true, 1, false}, Case{false, 0, false}, Case{false, 4, true},
                        Case{false, 2, true}, Case{true, 8, true}}) {
    RParameterMenu::SetOpensOnPlainClick(c.preference);
    const int before = MenuRecord::shown;
    RValue::MouseEvent click{RValue::kMouseContext, c.modifiers};
    plugin.TouchAutomation(kGain, click);
    EXPECT_EQ(MenuRecord::shown - before, c.shown ? 1 : 0) << c.preference << " " << c.modifiers;
    EXPECT_EQ(click.kind, c.shown ? RValue::kMouseNone : RValue::kMouseContext);
  }

  // A presenter that shows nothing leaves the click to the control, and so does none at all.
  RParameterMenu::SetOpensOnPlainClick(true);
  MenuRecord::answer = false;
  RValue::MouseEvent click{RValue::kMouseContext, 0};
  plugin.TouchAutomation(kGain, click);
  EXPECT_EQ(click.kind, RValue::kMouseContext);
  RParameterMenu::SetPresenter(nullptr);
  MenuRecord::answer = true;
  plugin.TouchAutomation(kGain, click);
  EXPECT_EQ(click.kind, RValue::kMouseContext);
  EXPECT_TRUE(plugin.gestures.empty());
}

} // namespace
