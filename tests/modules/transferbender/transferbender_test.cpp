// RTransferBender through its cycle: the ceiling under Output gain, the level below the knee,
// level match, no DC, aliasing against the plain curve, the table and its stored settings,
// and "Output gain" reached through a graph slot named "Clip" at every rate.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "base/tagitem.h"
#include "modules/transferbender/transferbender.h"
#include "tests/modules/blend/modulehost.h"
#include "tests/modules/warmthstage/shapertest.h"

using namespace shapertest;

namespace {

struct Rig {
  RAwake<RTransferBender> bender;
  explicit Rig(double rate = 48000.0) {
    bender.InitParameters();
    bender.SetHostFormat(rate, 256, 2, 1);
  }
};

double Peak(const std::vector<float>& y) {
  double peak = 0.0;
  for (float v : y) peak = std::max(peak, double(std::fabs(v)));
  return peak;
}

} // namespace

TEST(TransferBender, PeaksStayUnderClipTimesOutputGainForAnyInput) {
  std::mt19937 random(11);
  std::uniform_real_distribution<float> uniform(-1.0f, 1.0f);
  std::vector<float> x(3000);
  for (size_t i = 0; i < x.size(); ++i) {
    // Loudness from a whisper to 1e5, in bursts and single spikes.
    const float scale = std::pow(10.0f, float(i % 300) / 60.0f);
    x[i] = (i % 97 == 0) ? (i % 2 ? 1e5f : -1e5f) : scale * uniform(random);
  }
  Rig rig;
  for (double shape : {0.0, 0.5, 1.0}) {
    for (double clip : {0.0, -6.0, -24.0}) {
      for (double drive : {0.0, 24.0}) {
        for (double gain : {-12.0, 0.0, 24.0}) {
          Settle(rig.bender.GetShape(), shape);
          Settle(rig.bender.GetClip(), FromDecibels(clip));
          Settle(rig.bender.GetDrive(), FromDecibels(drive));
          Settle(rig.bender.GetOutputGain(), FromDecibels(gain));
          const double ceiling = FromDecibels(clip) * FromDecibels(gain);
          EXPECT_LE(Peak(RunThrough(rig.bender, x)), ceiling * (1.0 + 1e-6))
              << shape << " " << clip << " " << drive << " " << gain;
        }
      }
    }
  }
  // Loud input reaches the ceiling: it is a ceiling, not a lower level.
  Settle(rig.bender.GetShape(), 0.5);
  Settle(rig.bender.GetClip(), FromDecibels(-6.0));
  Settle(rig.bender.GetOutputGain(), 1.0);
  EXPECT_GT(Peak(RunThrough(rig.bender, x)), FromDecibels(-6.0) * 0.999);
}

TEST(TransferBender, BelowTheKneeTheSignalPassesAndLevelMatchTakesTheDriveOff) {
  Rig rig;
  Settle(rig.bender.GetShape(), 0.5);
  Settle(rig.bender.GetDrive(), FromDecibels(12.0));
  const auto x = Sine(1000.0, 48000.0, 4800, 0.01);
  // On the straight part nothing is averaged: no droop, not even near the top of the band.
  EXPECT_NEAR(Rms(RunThrough(rig.bender, x), 480, 4320) / Rms(x, 480, 4320), FromDecibels(12.0), 1e-4);
  Settle(rig.bender.GetLevelMatch(), 1.0);
  EXPECT_NEAR(Rms(RunThrough(rig.bender, x), 480, 4320) / Rms(x, 480, 4320), 1.0, 1e-4);
  const auto high = Sine(16000.0, 48000.0, 4800, 0.01);
  const auto passed = RunThrough(rig.bender, high);
  for (size_t i = 480; i < high.size(); ++i) ASSERT_NEAR(passed[i], high[i], 1e-6) << i;
  // Matched, a loud sine is clipped below its own level instead of being raised.
  Settle(rig.bender.GetClip(), FromDecibels(-12.0));
  const auto loud = Sine(1000.0, 48000.0, 4800, 0.5);
  EXPECT_LE(Peak(RunThrough(rig.bender, loud)), FromDecibels(-12.0) / FromDecibels(12.0) * (1.0 + 1e-6));
}

TEST(TransferBender, AShapeThatGlidesBendsWithoutSpikes) {
  // Held far above the ceiling with a slow wobble: every shape gives nearly the ceiling, so
  // the output must stay there while the curve changes under it.
  Rig rig;
  std::vector<float> x(4800);
  for (size_t i = 0; i < x.size(); ++i) x[i] = float(3.0 + 0.01 * std::sin(2.0 * kPi * 50.0 * double(i) / 48000.0));
  RunThrough(rig.bender, x);
  for (int32_t round = 0; round < 8; ++round) {
    rig.bender.GetShape().SetValueNow(round % 2 ? 1.0 : 0.0);
    const auto y = RunThrough(rig.bender, x, 64);
    for (size_t i = 0; i < y.size(); ++i) ASSERT_GT(y[i], 0.98f) << round << " " << i;
  }
}

TEST(TransferBender, ASymmetricSignalLeavesWithoutDcAtEveryRate) {
  for (double rate : {44100.0, 48000.0, 88200.0, 96000.0, 192000.0}) {
    Rig rig(rate);
    Settle(rig.bender.GetShape(), 0.3);
    Settle(rig.bender.GetDrive(), FromDecibels(24.0));
    Settle(rig.bender.GetClip(), FromDecibels(-6.0));
    const auto y = RunThrough(rig.bender, Sine(1000.0, rate, int32_t(2.0 * rate), 0.9));
    EXPECT_LT(std::fabs(Mean(y, size_t(rate), size_t(rate))), 1e-4) << rate;
    EXPECT_GT(Rms(y, size_t(rate), size_t(rate)), 0.4) << rate;
  }
}

TEST(TransferBender, AntiAliasingFoldsBackLessThanThePlainCurve) {
  const double drive = FromDecibels(24.0);
  const auto x = Sine(5000.0, 48000.0, 24000, 1.0);
  Rig rig;
  Settle(rig.bender.GetDrive(), drive);
  for (double shape : {0.0, 0.5, 1.0}) {
    Settle(rig.bender.GetShape(), shape);
    const RBenderCurve curve(shape);
    std::vector<float> plain(x.size());
    for (size_t i = 0; i < x.size(); ++i) plain[i] = float(curve.Value(drive * x[i]));
    const double plainAliases = AliasDb(PowerSpectrum(plain, 19200, 4800), 500);
    const double aliases = AliasDb(PowerSpectrum(RunThrough(rig.bender, x), 19200, 4800), 500);
    EXPECT_LT(aliases, plainAliases - 5.0) << shape;
    EXPECT_LT(aliases, -16.0) << shape;
  }
}

TEST(TransferBender, TheTableRunsInItsOrderAndTheSettingsComeBack) {
  Rig rig;
  RTransferBender& b = rig.bender;
  const char* names[] = {"Shape", "Clip", "Drive", "Output gain", "Dry/Wet", "Level match"};
  const char* keys[] = {"Shape", "Clip", "Drive", "OutputGain", "DryWet", "LevelMatch"};
  for (int32_t i = 0; i < 6; ++i) {
    EXPECT_EQ(b.GetParameterIndex(RString::FromUTF8(names[i])), i) << names[i];
    EXPECT_EQ(b.GetParameterValue(i)->GetKey(), RString::FromUTF8(keys[i])) << names[i];
  }
  EXPECT_DOUBLE_EQ(b.GetClip().GetValue(), 1.0);
  EXPECT_DOUBLE_EQ(b.GetOutputGain().GetValue(), 1.0);
  EXPECT_FALSE(b.GetLevelMatch().IsOn());

  b.GetShape().SetValueNow(0.8);
  b.GetClip().SetValueNow(FromDecibels(-9.0));
  b.GetOutputGain().SetValueNow(FromDecibels(4.5));
  b.GetLevelMatch().SetValueNow(1.0);
  RTagItem tree;
  b.SaveStateTree(tree);
  EXPECT_EQ(tree.FindAttribute(RHashedString("#Drive")), nullptr) << "defaults are not written";
  Rig copy;
  copy.bender.LoadStateTree(tree);
  EXPECT_NEAR(copy.bender.GetShape().GetValue(), 0.8, 1e-9);
  EXPECT_NEAR(copy.bender.GetClip().GetValue(), FromDecibels(-9.0), 1e-6);
  EXPECT_NEAR(copy.bender.GetOutputGain().GetValue(), FromDecibels(4.5), 1e-6);
  EXPECT_TRUE(copy.bender.GetLevelMatch().IsOn());
  const auto x = Sine(440.0, 48000.0, 2000, 0.9);
  EXPECT_EQ(RunThrough(copy.bender, x), RunThrough(b, x));
}

TEST(TransferBenderInGraph, OutputGainIsReachedByItsFullNameInASlotNamedClip) {
  RegisterTransferBender();
  for (double rate : {44100.0, 48000.0, 88200.0, 96000.0, 192000.0}) {
    SCOPED_TRACE(rate);
    RAudioPluginModular graph(RString("Graph"), 6, false, Awake());
    auto* bender = PlaceAlone<RTransferBender>(graph, rate, "TBender", "Distortion", "Clip");
    ASSERT_NE(bender, nullptr);

    const int32_t index = graph.GetParameterIndex(RString("Clip - Output gain"));
    ASSERT_GE(index, 0);
    RValue* outputGain = graph.GetParameterValue(index);
    ASSERT_EQ(outputGain, &bender->GetOutputGain());
    // Through the graph's table, as a host's automation writes it: -6 dB, gliding in.
    double normalised = 0.0;
    ASSERT_TRUE(outputGain->ParseToNormalised(RString("-6"), normalised));
    graph.ScheduleAutomationEvent(0, index, normalised);
    Settle(bender->GetClip(), FromDecibels(-3.0));

    const auto x = Sine(1000.0, rate, int32_t(rate / 8), 2.0);
    const auto y = RunThrough(graph, x);
    const double ceiling = FromDecibels(-3.0) * FromDecibels(-6.0);
    const auto settled = std::vector<float>(y.begin() + y.size() / 2, y.end());
    EXPECT_LE(Peak(y), FromDecibels(-3.0) * (1.0 + 1e-6));
    EXPECT_LE(Peak(settled), ceiling * (1.0 + 1e-6));
    EXPECT_GT(Peak(settled), ceiling * 0.99);
    EXPECT_NEAR(bender->GetOutputGain().GetProcessing(), FromDecibels(-6.0), 1e-6);
  }
}
