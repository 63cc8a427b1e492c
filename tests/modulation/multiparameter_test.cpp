// Multi-parameters driving the values of a plug-in: the range forms, Invert and UseFirstRange,
// curves and expressions on the way, the re-entrancy guard, glide, switch and trigger travel,
// stepping, the randomiser's draws, meters, value texts, names in the table, and the whole
// road from a host's automation through the processing cycle.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <vector>

#include "kernel/audioplugininterface.h"
#include "kernel/globalconfig.h"
#include "kernel/replacementlog.h"
#include "modulation/random48.h"
#include "tests/modulation/multitestplugin.h"

namespace {

constexpr double kTolerance = 1e-12;

class MultiParameters : public ::testing::Test {
protected:
  void SetUp() override { plugin.Prepare(); }
  // The target's value after the multi-parameter moved to x.
  double Drive(RMultiParameterTarget& target, double x) {
    (void)target;
    plugin.Move(0, x);
    return plugin.gain.GetProcessingNormalised();
  }
  RMultiTestPlugin plugin;
};

TEST_F(MultiParameters, RangeFormsMapTheWholeTravelOntoTheirRanges) {
  RMultiParameterTarget& t = plugin.Target(0, "Gain");
  struct Case {
    int32_t form;
    double value, range, max;
    bool invert;
    double x, expected;
  };
  const Case cases[] = {
      // A line from Value to MaxValue, and backwards under Invert.
      {4, 0.25, 1.0, 0.75, false, 0.0, 0.25}, {4, 0.25, 1.0, 0.75, false, 0.5, 0.5},
      {4, 0.25, 1.0, 0.75, false, 1.0, 0.75}, {4, 0.25, 1.0, 0.75, true, 0.0, 0.75},
      {4, 0.25, 1.0, 0.75, true, 1.0, 0.25}, {4, 0.8, 1.0, 0.2, false, 0.25, 0.65},
      // Form 0 narrows around a value near the edge: 0.1 with a full range swings 0..0.2.
      {0, 0.1, 1.0, 1.0, false, 0.0, 0.0}, {0, 0.1, 1.0, 1.0, false, 1.0, 0.2},
      {0, 0.1, 1.0, 1.0, false, 0.5, 0.1}, {0, 0.5, 0.4, 1.0, false, 1.0, 0.7},
      // Form 1 keeps the width and moves the centre inward instead.
      {1, 0.1, 0.4, 1.0, false, 0.0, 0.0}, {1, 0.1, 0.4, 1.0, false, 1.0, 0.4},
      {1, 0.95, 0.2, 1.0, false, 1.0, 1.0}, {1, 0.3, 2.0, 1.0, false, 0.75, 1.0},
      // Form 2 rises from Value by Range at most to the top; form 3 falls from it to the bottom.
      {2, 0.7, 0.5, 1.0, false, 0.0, 0.7}, {2, 0.7, 0.5, 1.0, false, 1.0, 1.0},
      {2, 0.2, 0.5, 1.0, false, 1.0, 0.7}, {3, 0.3, 0.5, 1.0, false, 1.0, 0.0},
      {3, 0.8, 0.5, 1.0, false, 1.0, 0.3}, {3, 0.8, 0.5, 1.0, true, 1.0, 0.8},
  };
  for (const Case& c : cases) {
    t.FullRange = c.form;
    t.Value = c.value;
    t.Range = c.range;
    t.MaxValue = c.max;
    t.Invert = c.invert;
    plugin.Move(0, 1.0 - c.x);  // so that every case is a change
    EXPECT_NEAR(Drive(t, c.x), c.expected, kTolerance)
        << "form " << c.form << " value " << c.value << " range " << c.range << " x " << c.x;
    EXPECT_NEAR(plugin.gain.GetNormalised(), c.expected, kTolerance);
  }
}

TEST_F(MultiParameters, UseFirstRangeBorrowsTheFirstTargetsRangeAndDoesNothingOnTheFirst) {
  RMultiParameterTarget& first = plugin.Target(0, "Gain");
  first.Value = 0.2;
  first.MaxValue = 0.4;
  first.UseFirstRange = true;
  RMultiParameterTarget& second = plugin.Target(0, "Mix");
  second.UseFirstRange = true;  // its own 0..1 is ignored
  plugin.Move(0, 1.0);
  EXPECT_NEAR(plugin.gain.GetNormalised(), 0.4, kTolerance);
  EXPECT_NEAR(plugin.mix.GetNormalised(), 0.4, kTolerance);
  second.UseFirstRange = false;
  plugin.Move(0, 0.5);
  EXPECT_NEAR(plugin.gain.GetNormalised(), 0.3, kTolerance);
  EXPECT_NEAR(plugin.mix.GetNormalised(), 0.5, kTolerance);
}

TEST_F(MultiParameters, TargetsThatLoopBackStopAtTheGuard) {
  // A multi-parameter that drives its own value, inverted: without the guard each write would
  // move it again.
  RMultiParameterTarget& self = plugin.Target(0, RMultiTestPlugin::Name(1, "Position").ToUTF8().c_str());
  self.Invert = true;
  plugin.Target(0, "Gain");
  ASSERT_GE(self.GetIndex(), 0);
  plugin.Move(0, 0.8);
  EXPECT_NEAR(plugin.Multi(0).GetValue().GetNormalised(), 0.2, kTolerance);
  EXPECT_NEAR(plugin.gain.GetNormalised(), 0.8, kTolerance);

  // Two that drive each other: the first moves the second, which moves the first back
  // (inverted) once, and the chain ends there.
  plugin.Multi(0).RemoveTargets();
  plugin.Target(0, RMultiTestPlugin::Name(2, "Position").ToUTF8().c_str());
  plugin.Target(1, RMultiTestPlugin::Name(1, "Position").ToUTF8().c_str()).Invert = true;
  plugin.Target(1, "Mix");
  plugin.Move(0, 0.9);
  EXPECT_NEAR(plugin.Multi(1).GetValue().GetNormalised(), 0.9, kTolerance);
  EXPECT_NEAR(plugin.mix.GetNormalised(), 0.9, kTolerance);
  EXPECT_NEAR(plugin.Multi(0).GetValue().GetNormalised(), 0.1, kTolerance);
}

TEST_F(MultiParameters, ATargetThatCantBeResolvedIsSkipped) {
  RMultiParameterTarget& missing = plugin.Target(0, "No such parameter");
  plugin.Target(0, "Gain");
  EXPECT_EQ(missing.GetIndex(), -1);
  plugin.Move(0, 0.7);
  EXPECT_NEAR(plugin.gain.GetNormalised(), 0.7, kTolerance);
  EXPECT_EQ(missing.ParameterName.ToUTF8(), "No such parameter");
  // An index that went stale (the table shrank) is tested before use.
  missing.SetIndex(100000);
  plugin.Move(0, 0.1);
  EXPECT_NEAR(plugin.gain.GetNormalised(), 0.1, kTolerance);
}

TEST_F(MultiParameters, RenamedTargetNamesResolveAndAreNotedWhenTheLogIsOn) {
  // Never the user's own settings.
  RGlobalConfiguration::Get().UseFolder(RString::FromUTF8(::testing::TempDir() + "quillon_multi_config"));
  RGlobalConfiguration::Get().SetSwitch(RReplacementLog::kShowSwitch, true);
  RMultiParameterTarget& old = plugin.Target(0, "MultiParameter 2 - Enabled");
  RGlobalConfiguration::Get().SetSwitch(RReplacementLog::kShowSwitch, false);
  EXPECT_EQ(old.GetIndex(), plugin.GetParameterIndexOf(&plugin.Multi(1).GetEnabled()));
  EXPECT_EQ(old.ParameterName.ToUTF8(), "MultiParameters - Param 2 - Enabled");
  const std::string log = plugin.GetSharedData().ReplacementLog.ToUTF8();
  EXPECT_NE(log.find("MultiParameter 2 - Enabled -> MultiParameters - Param 2 - Enabled"), std::string::npos) << log;
  // Switched off, nothing more is noted.
  plugin.GetSharedData().ReplacementLog = RString();
  plugin.Target(0, "MultiParameter 3 - Enabled");
  EXPECT_TRUE(plugin.GetSharedData().ReplacementLog.IsEmpty());
}

TEST_F(MultiParameters, ValuesJoinTheTableUnderTheirNumberedPrefix) {
  RMultiTestPlugin product(81);
  product.Prepare();
  EXPECT_EQ(product.GetParameterIndex(RString("MultiParameters - Param 69 - Enabled")),
            product.GetParameterIndexOf(&product.Multi(68).GetEnabled()));
  EXPECT_EQ(product.GetParameterIndex(RString("MultiParameters - Param 1 - Position")),
            product.GetParameterIndexOf(&product.Multi(0).GetValue()));
  EXPECT_EQ(product.GetParameterIndex(RString("MultiParameters - Param 81 - Visible")),
            product.GetParameterCount() - 1);
  // The plug-in's own values come first, the multi-parameters after them.
  EXPECT_EQ(product.GetParameterIndexOf(&product.gain), 0);
}

TEST_F(MultiParameters, CurvesAndExpressionsShapeTheInput) {
  RMultiParameterTarget& t = plugin.Target(0, "Gain");
  t.SetExpression(RString("x * x"));
  t.ParameterExpressionEnabled = true;
  plugin.Move(0, 0.5);
  EXPECT_NEAR(plugin.gain.GetNormalised(), 0.25, kTolerance);
  // After the range: 0.5 maps to 0.3 + 0.2 * 0.5 = 0.4 first.
  t.Value = 0.3;
  t.MaxValue = 0.5;
  t.ParameterExpressionPostProcess = true;
  plugin.Move(0, 0.0);
  plugin.Move(0, 0.5);
  EXPECT_NEAR(plugin.gain.GetNormalised(), 0.16, kTolerance);
  // Results are clamped to the travel.
  t.SetExpression(RString("x + 5"));
  plugin.Move(0, 0.2);
  EXPECT_NEAR(plugin.gain.GetNormalised(), 1.0, kTolerance);

  // A text that doesn't compile keeps its message and the plain path.
  t.SetExpression(RString("(x + "));
  EXPECT_FALSE(t.GetExpressionError().IsEmpty());
  EXPECT_EQ(t.GetExpressionText().ToUTF8(), "(x + ");
  plugin.Move(0, 1.0);
  EXPECT_NEAR(plugin.gain.GetNormalised(), 0.5, kTolerance);

  // A falling line as the curve, before the range.
  t.ParameterExpressionEnabled = false;
  t.Value = 0.0;
  t.MaxValue = 1.0;
  RShapePoint a, b;
  a.X = 0.0;
  a.Y = 1.0;
  b.X = 1.0;
  b.Y = 0.0;
  a.Type = b.Type = kCurveQuadratic;
  t.Shape.SetPoints({a, b});
  t.ShapeEnabled = true;
  plugin.Move(0, 0.25);
  EXPECT_NEAR(plugin.gain.GetNormalised(), 0.75, 1e-9);
}

TEST_F(MultiParameters, ExpressionVariablesReadOtherMultiParametersAndTargets) {
  plugin.mix.SetNormalised(0.5);
  plugin.Multi(2).GetValue().SetProcessing(0.25);
  RMultiParameterTarget& t = plugin.Target(0, "Gain");
  plugin.Target(0, "Mix").ParameterEnabled = false;  // read by t2, not driven
  t.SetExpression(RString("x * p3 + t2"));
  t.ParameterExpressionEnabled = true;
  plugin.Move(0, 1.0);
  EXPECT_NEAR(plugin.gain.GetNormalised(), 0.75, kTolerance);
}

TEST_F(MultiParameters, EnabledOffDrivesNothingUnlessTheGuiFunctionSaysSo) {
  plugin.Target(0, "Gain");
  plugin.Multi(0).GetEnabled().SetValueNow(0.0);
  plugin.Move(0, 0.6);
  EXPECT_NEAR(plugin.gain.GetNormalised(), 0.0, kTolerance);
  plugin.Multi(0).GUIFuncDisabled = true;
  plugin.Move(0, 0.7);
  EXPECT_NEAR(plugin.gain.GetNormalised(), 0.7, kTolerance);
  // A disabled target is left alone.
  plugin.Multi(0).GetTarget(0)->ParameterEnabled = false;
  plugin.Move(0, 0.1);
  EXPECT_NEAR(plugin.gain.GetNormalised(), 0.7, kTolerance);
}

TEST_F(MultiParameters, StepCountStepsTheValueAndOneLeavesItContinuous) {
  plugin.Target(0, "Gain");
  RMultiParameter& multi = plugin.Multi(0);
  multi.StepCount = 1;
  plugin.Move(0, 0.37);
  EXPECT_NEAR(plugin.gain.GetNormalised(), 0.37, kTolerance);
  multi.StepCount = 5;
  plugin.Move(0, 0.37);
  plugin.Move(0, 0.4);
  EXPECT_NEAR(plugin.gain.GetNormalised(), 0.5, kTolerance);
  plugin.Move(0, 0.3);
  EXPECT_NEAR(plugin.gain.GetNormalised(), 0.25, kTolerance);
  // A choice target lands on the item under the step.
  RMultiParameterTarget& choice = plugin.Target(0, "Shape");
  (void)choice;
  plugin.Move(0, 0.9);
  EXPECT_EQ(plugin.shape.GetProcessingIndex(), 2);
}

TEST_F(MultiParameters, SpeedZeroAppliesAtOnceAndANewValueRedirectsAGlideFromWhereItStands) {
  plugin.Target(0, "Gain");
  RMultiParameter& multi = plugin.Multi(0);
  plugin.Move(0, 0.6);
  EXPECT_NEAR(plugin.gain.GetNormalised(), 0.6, kTolerance);

  plugin.Move(0, 0.0);
  multi.Speed = 1.0;  // a full-scale move takes a second: 4800 samples move it by 0.1
  plugin.Move(0, 1.0);
  EXPECT_NEAR(plugin.gain.GetNormalised(), 0.0, kTolerance);
  EXPECT_TRUE(multi.IsActive());
  EXPECT_TRUE(plugin.IsAnyMultiActive());
  for (int32_t i = 0; i < 3; ++i) multi.UpdateSecondStage(4800);
  EXPECT_NEAR(plugin.gain.GetNormalised(), 0.3, 1e-9);
  // Redirected: back down from 0.3, not from 1 or 0.
  plugin.Move(0, 0.0);
  multi.UpdateSecondStage(4800);
  EXPECT_NEAR(plugin.gain.GetNormalised(), 0.2, 1e-9);
  // It stops on the value and goes idle.
  for (int32_t i = 0; i < 5; ++i) multi.UpdateSecondStage(4800);
  EXPECT_NEAR(plugin.gain.GetNormalised(), 0.0, 1e-9);
  EXPECT_FALSE(multi.IsActive());
  plugin.UpdateBlockLimits();
  EXPECT_FALSE(plugin.IsAnyMultiActive());
}

// Records the highest processing value a parameter was given.
struct Peak {
  double highest = 0.0;
  static void Heard(void* receiver, void*, int32_t, const REventPayload& payload) {
    auto* peak = static_cast<Peak*>(receiver);
    peak->highest = std::max(peak->highest, payload.As<double>());
  }
};

TEST_F(MultiParameters, ATriggerAtSwitchTimeZeroRisesAndFallsWithinOneSubBlock) {
  plugin.Target(0, "Gain");
  RMultiParameter& multi = plugin.Multi(0);
  multi.Mode = RMultiParameter::kTrigger;
  Peak peak;
  plugin.gain.ProcessingChanged.Subscribe(&peak, nullptr, 0, &Peak::Heard);
  plugin.Move(0, 1.0);
  EXPECT_TRUE(multi.IsSwitchRunning());
  multi.UpdateSecondStage(32);
  plugin.gain.ProcessingChanged.Unsubscribe(&peak);
  EXPECT_NEAR(peak.highest, 1.0, kTolerance);
  EXPECT_NEAR(plugin.gain.GetNormalised(), 0.0, kTolerance);
  EXPECT_NEAR(multi.GetValue().GetNormalised(), 0.0, kTolerance);
  EXPECT_FALSE(multi.IsSwitchRunning());
}

TEST_F(MultiParameters, TriggerAndSwitchTravelOverSwitchTime) {
  plugin.Target(0, "Gain");
  RMultiParameter& multi = plugin.Multi(0);
  multi.Mode = RMultiParameter::kTrigger;
  multi.SwitchTime = 0.01;  // 480 samples each way
  plugin.Move(0, 1.0);
  multi.UpdateSecondStage(240);
  EXPECT_NEAR(plugin.gain.GetNormalised(), 0.5, 1e-9);
  multi.UpdateSecondStage(360);  // 120 past the top: already falling
  EXPECT_NEAR(plugin.gain.GetNormalised(), 0.75, 1e-9);
  EXPECT_NEAR(multi.GetValue().GetNormalised(), 0.0, kTolerance);
  multi.UpdateSecondStage(480);
  EXPECT_NEAR(plugin.gain.GetNormalised(), 0.0, 1e-9);
  EXPECT_FALSE(multi.IsSwitchRunning());

  multi.Mode = RMultiParameter::kSwitch;
  plugin.Move(0, 1.0);
  multi.UpdateSecondStage(120);
  EXPECT_NEAR(plugin.gain.GetNormalised(), 0.25, 1e-9);
  multi.UpdateSecondStage(1000);
  EXPECT_NEAR(plugin.gain.GetNormalised(), 1.0, 1e-9);
  EXPECT_FALSE(multi.IsSwitchRunning());
  EXPECT_NEAR(multi.GetValue().GetProcessingNormalised(), 1.0, kTolerance);  // a switch stays on
  plugin.Move(0, 0.0);
  multi.UpdateSecondStage(240);
  EXPECT_NEAR(plugin.gain.GetNormalised(), 0.5, 1e-9);
  // Without a travel time a switch follows its value at once.
  multi.SwitchTime = 0.0;
  plugin.Move(0, 1.0);
  EXPECT_NEAR(plugin.gain.GetNormalised(), 1.0, 1e-9);
}

TEST_F(MultiParameters, ARandomizerDrawsFromTheProcessSequenceOnEachRisingEdge) {
  plugin.Target(0, "Gain");
  plugin.Target(0, "Mix");
  RMultiParameter& multi = plugin.Multi(0);
  multi.Mode = RMultiParameter::kTrigger;
  multi.Randomizer = true;
  // The generator's sequence, worked out from its definition: the top 32 of 48 bits.
  const uint64_t seed = 0x330e;
  uint64_t state = seed;
  double expected[4];
  for (double& e : expected) {
    state = (state * 25214903917ull + 11ull) % (uint64_t(1) << 48);
    e = double(state >> 16) / 4294967296.0;
  }
  RRandom48::SetSeed(seed);
  plugin.Move(0, 1.0);
  multi.UpdateSecondStage(16);
  EXPECT_DOUBLE_EQ(plugin.gain.GetNormalised(), expected[0]);
  EXPECT_DOUBLE_EQ(plugin.mix.GetNormalised(), expected[1]);
  // The fall is no rising edge: the draws stay.
  multi.UpdateSecondStage(16);
  EXPECT_DOUBLE_EQ(plugin.gain.GetNormalised(), expected[0]);
  plugin.Move(0, 1.0);
  multi.UpdateSecondStage(16);
  EXPECT_DOUBLE_EQ(plugin.gain.GetNormalised(), expected[2]);
  EXPECT_DOUBLE_EQ(plugin.mix.GetNormalised(), expected[3]);
}

TEST_F(MultiParameters, AMeterReadsItsFirstTargetBack) {
  RMultiParameterTarget& t = plugin.Target(0, "Gain");
  t.Value = 0.2;
  RMultiParameter& multi = plugin.Multi(0);
  multi.Mode = RMultiParameter::kMeter;
  plugin.gain.SetNormalised(0.6);
  plugin.UpdateBlockLimits();
  EXPECT_TRUE(plugin.IsAnyMultiOrPending());
  EXPECT_FALSE(plugin.IsAnyMultiActive());
  multi.UpdateFirstStage(64);
  EXPECT_NEAR(multi.GetValue().GetNormalised(), 0.5, kTolerance);
  EXPECT_NEAR(multi.GetValue().GetProcessingNormalised(), 0.5, kTolerance);
  // Below the range's start it reads 0; and a meter never writes its target.
  plugin.gain.SetNormalised(0.1);
  multi.UpdateFirstStage(64);
  EXPECT_NEAR(multi.GetValue().GetNormalised(), 0.0, kTolerance);
  EXPECT_NEAR(plugin.gain.GetNormalised(), 0.1, kTolerance);
}

TEST_F(MultiParameters, ValueTextsFollowTheValueMode) {
  RMultiParameter& multi = plugin.Multi(0);
  RMultiParameterValue& value = multi.GetValue();
  EXPECT_EQ(value.GetTextOfNormalised(0.5).ToUTF8(), "50.0%");
  multi.ValueMode = RMultiParameter::kPercentsBipolar;
  EXPECT_EQ(value.GetTextOfNormalised(0.25).ToUTF8(), "-50.0%");
  multi.MinIsOff = true;
  EXPECT_EQ(value.GetTextOfNormalised(0.0).ToUTF8(), "Off");
  double parsed = -1.0;
  EXPECT_TRUE(value.ParseToNormalised(RString("Off"), parsed));
  EXPECT_EQ(parsed, 0.0);
  EXPECT_TRUE(value.ParseToNormalised(RString("50%"), parsed));
  EXPECT_NEAR(parsed, 0.75, kTolerance);
  multi.MinIsOff = false;
  multi.Origin = 0.5;
  multi.OriginIsOff = true;
  EXPECT_EQ(value.GetTextOfNormalised(0.5).ToUTF8(), "Off");
  multi.OriginIsOff = false;

  // The first target's own text at the mapped value: Mix from 20 to 60 %.
  RMultiParameterTarget& t = plugin.Target(0, "Mix");
  t.Value = 0.2;
  t.MaxValue = 0.6;
  multi.ValueMode = RMultiParameter::kByFirstParameter;
  EXPECT_EQ(value.GetTextOfNormalised(0.5).ToUTF8(), plugin.mix.GetTextOfNormalised(0.4).ToUTF8());
  EXPECT_TRUE(value.ParseToNormalised(plugin.mix.GetTextOfNormalised(0.5), parsed));
  EXPECT_NEAR(parsed, 0.75, 1e-3);

  multi.ValueMode = RMultiParameter::kExpression;
  multi.SetValueExpression(RString("x * 10"));
  multi.VMExpressionToValue = RString("x / 10");
  EXPECT_EQ(value.GetTextOfNormalised(0.25).ToUTF8(), "2.50");
  EXPECT_TRUE(value.ParseToNormalised(RString("7.5"), parsed));
  EXPECT_NEAR(parsed, 0.75, kTolerance);
}

// The whole road: a host automates a multi-parameter, the ramps carry the change into the
// cycle, and the plug-in's DSP sees its target move in the same block.
class HostedMultiPlugin : public RMultiTestPlugin {
public:
  HostedMultiPlugin() : RMultiTestPlugin(2) {}
  std::vector<double> seen;
  void Process(float* const* inputs, float* const* outputs, int32_t frames) override {
    RAudioPlugin::Process(inputs, outputs, frames);
    seen.push_back(gain.GetProcessingNormalised());
  }
};

TEST(MultiParameterCycle, AHostsAutomationOfAMultiParameterReachesItsTargetInTheCycle) {
  auto owned = std::make_unique<HostedMultiPlugin>();
  HostedMultiPlugin& plugin = *owned;
  RAudioPluginInterface host(std::move(owned));
  plugin.Prepare(48000.0, 256);
  RMultiParameterTarget& t = plugin.Target(0, "Gain");
  t.Value = 0.25;
  t.MaxValue = 0.75;
  const int32_t index = plugin.GetParameterIndexOf(&plugin.Multi(0).GetValue());
  ASSERT_GE(index, 0);

  std::vector<float> left(256, 0.5f), right(256, 0.5f), outLeft(256), outRight(256);
  float* in[2] = {left.data(), right.data()};
  float* out[2] = {outLeft.data(), outRight.data()};
  host.ProcessAudio(in, out, 256);
  plugin.seen.clear();
  plugin.ScheduleAutomationEvent(0, index, 1.0);
  host.ProcessAudio(in, out, 256);
  ASSERT_FALSE(plugin.seen.empty());
  EXPECT_NEAR(plugin.seen.back(), 0.75, 1e-9);

  // With a glide the target moves over the following blocks, a block of 256 at a time.
  plugin.Multi(0).Speed = 256.0 / 48000.0 * 4.0;  // four blocks for the full travel
  plugin.ScheduleAutomationEvent(0, index, 0.0);
  std::vector<double> ends;
  for (int32_t block = 0; block < 5; ++block) {
    host.ProcessAudio(in, out, 256);
    ends.push_back(plugin.gain.GetProcessingNormalised());
  }
  EXPECT_NEAR(ends[0], 0.625, 1e-6);
  EXPECT_NEAR(ends[1], 0.5, 1e-6);
  EXPECT_NEAR(ends[3], 0.25, 1e-6);
  EXPECT_NEAR(ends[4], 0.25, 1e-9);
  EXPECT_FALSE(plugin.IsAnyMultiActive());
}

} // namespace
