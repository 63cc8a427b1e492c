// RWarmthStage through its cycle: level matching over drive and bias, colour, what Tone does
// and doesn't do, no DC, aliasing against the plain curve, glides without steps, the table
// and its stored settings, and a slot of a graph at every rate.
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <vector>

#include "base/tagitem.h"
#include "modules/warmthstage/warmthstage.h"
#include "tests/modules/blend/modulehost.h"
#include "tests/modules/warmthstage/shapertest.h"

using namespace shapertest;

namespace {

struct Rig {
  RAwake<RWarmthStage> stage;
  explicit Rig(double rate = 48000.0) {
    stage.InitParameters();
    stage.SetHostFormat(rate, 256, 2, 1);
  }
};

constexpr double kReference = 0.12589254117941673;  // -18 dBFS

// The output's level over the input's, in dB, of a sine after the filters have settled.
double LevelChangeDb(Rig& rig, double hertz, double amplitude) {
  const auto x = Sine(hertz, 48000.0, 24000, amplitude);
  const auto y = RunThrough(rig.stage, x);
  return Decibels(Rms(y, 9600, 14400) / Rms(x, 9600, 14400));
}

// Spectrum of 0.1 s (10 Hz bins) of a settled sine through the stage.
std::vector<double> SpectrumOf(Rig& rig, double hertz, double amplitude) {
  return PowerSpectrum(RunThrough(rig.stage, Sine(hertz, 48000.0, 24000, amplitude)), 19200, 4800);
}

} // namespace

TEST(WarmthStage, DriveChangesTheColourAndHardlyTheLevel) {
  Rig rig;
  double previousThird = -400.0;
  for (double drive : {0.0, 6.0, 12.0, 18.0, 24.0}) {
    Settle(rig.stage.GetDrive(), FromDecibels(drive));
    EXPECT_NEAR(LevelChangeDb(rig, 1000.0, kReference), 0.0, 1.5) << drive;
    const double third = HarmonicDb(SpectrumOf(rig, 1000.0, kReference), 100, 3);
    EXPECT_GT(third, previousThird + 5.0) << drive;
    previousThird = third;
  }
  EXPECT_GT(previousThird, -20.0) << "24 dB of drive saturates clearly";
  // Bias moves the working point; the level is matched there too.
  Settle(rig.stage.GetBias(), 1.0);
  EXPECT_NEAR(LevelChangeDb(rig, 1000.0, kReference), 0.0, 1.5);
  Settle(rig.stage.GetDrive(), 1.0);
  EXPECT_NEAR(LevelChangeDb(rig, 1000.0, kReference), 0.0, 1.5);
}

TEST(WarmthStage, BiasAddsEvenHarmonicsAndLeavesNoDcAtEveryRate) {
  Rig rig;
  Settle(rig.stage.GetDrive(), FromDecibels(12.0));
  const double evenWithout = HarmonicDb(SpectrumOf(rig, 1000.0, kReference), 100, 2);
  Settle(rig.stage.GetBias(), 1.0);
  const double evenWith = HarmonicDb(SpectrumOf(rig, 1000.0, kReference), 100, 2);
  EXPECT_LT(evenWithout, -80.0);
  EXPECT_GT(evenWith, -30.0);

  for (double rate : {44100.0, 48000.0, 88200.0, 96000.0, 192000.0}) {
    Rig r(rate);
    Settle(r.stage.GetDrive(), FromDecibels(24.0));
    Settle(r.stage.GetBias(), 1.0);
    const auto length = int32_t(2.0 * rate);
    const auto y = RunThrough(r.stage, Sine(1000.0, rate, length, 0.5));
    // The second second holds a whole number of periods.
    EXPECT_LT(std::fabs(Mean(y, size_t(rate), size_t(rate))), 1e-4) << rate;
    EXPECT_GT(Rms(y, size_t(rate), size_t(rate)), 0.05) << rate;
  }
}

TEST(WarmthStage, ToneChoosesTheBandThatSaturatesAndLeavesACleanSignalFlat) {
  Rig rig;
  // Below the curve's bend the pre- and de-emphasis cancel: a quiet sine passes with no
  // change but the anti-aliasing mean's droop, cos(pi f / fs), and the small-signal gain of
  // the level match.
  const double smallSignalDb = Decibels(RWarmthLevelMatch::Makeup(1.0, 0.0));
  EXPECT_NEAR(smallSignalDb, 0.0, 0.05);
  for (double tone : {-1.0, 1.0}) {
    Settle(rig.stage.GetTone(), tone);
    for (double hertz : {100.0, 1000.0, 8000.0}) {
      EXPECT_NEAR(LevelChangeDb(rig, hertz, 0.001), smallSignalDb + Decibels(std::cos(kPi * hertz / 48000.0)), 0.005)
          << tone << " " << hertz;
    }
    const RBiquad& pre = rig.stage.GetPreEmphasis();
    const RBiquad& de = rig.stage.GetDeEmphasis();
    for (double hertz : {20.0, 300.0, 1000.0, 5000.0, 20000.0}) {
      EXPECT_NEAR(std::abs(pre.Response(hertz) * de.Response(hertz)), 1.0, 1e-9) << hertz;
    }
    // The tilt turns about the pivot: the highs lifted by half the swing, the lows lowered.
    EXPECT_NEAR(Decibels(std::abs(pre.Response(20000.0))), 6.0 * tone, 0.5);
    EXPECT_NEAR(Decibels(std::abs(pre.Response(20.0))), -6.0 * tone, 0.5);
  }

  // Driven, Tone +1 distorts a high sine more than Tone -1 does, and a low one less.
  Settle(rig.stage.GetDrive(), FromDecibels(12.0));
  const auto thirds = [&](double tone) {
    Settle(rig.stage.GetTone(), tone);
    return std::pair{HarmonicDb(SpectrumOf(rig, 150.0, kReference), 15, 3),
                     HarmonicDb(SpectrumOf(rig, 4000.0, kReference), 400, 3)};
  };
  const auto [lowBright, highBright] = thirds(1.0);
  const auto [lowDark, highDark] = thirds(-1.0);
  EXPECT_GT(highBright, highDark + 6.0);
  EXPECT_GT(lowDark, lowBright + 6.0);
}

TEST(WarmthStage, AntiAliasingFoldsBackLessThanThePlainCurve) {
  // Full scale 5 kHz at 48 kHz into 24 dB of drive: nearly a square wave.
  const double drive = FromDecibels(24.0);
  const auto x = Sine(5000.0, 48000.0, 24000, 1.0);
  std::vector<float> plain(x.size());
  for (size_t i = 0; i < x.size(); ++i) plain[i] = float(std::tanh(drive * x[i]));
  const double plainAliases = AliasDb(PowerSpectrum(plain, 19200, 4800), 500);

  Rig rig;
  Settle(rig.stage.GetDrive(), drive);
  const double aliases = AliasDb(SpectrumOf(rig, 5000.0, 1.0), 500);
  EXPECT_LT(aliases, plainAliases - 5.0);
  EXPECT_LT(aliases, -17.0);

  // Moderately driven, the aliases are far below the fundamental.
  Settle(rig.stage.GetDrive(), FromDecibels(12.0));
  EXPECT_LT(AliasDb(SpectrumOf(rig, 5000.0, FromDecibels(-12.0)), 500), -45.0);
}

TEST(WarmthStage, GlidesOfDriveAndOutputMakeNoSteps) {
  Rig rig;
  const auto x = Sine(1000.0, 48000.0, 9600, kReference);
  // The largest step between samples of the settled output at either end of the glide.
  const auto largestStep = [](const std::vector<float>& y, size_t first, size_t last) {
    double largest = 0.0;
    for (size_t i = first + 1; i < last; ++i) largest = std::max(largest, double(std::fabs(y[i] - y[i - 1])));
    return largest;
  };
  const double before = largestStep(RunThrough(rig.stage, x), 4800, 9600);
  rig.stage.GetDrive().SetValueNow(FromDecibels(24.0));
  rig.stage.GetOutput().SetValueNow(FromDecibels(3.0));
  const auto gliding = RunThrough(rig.stage, x);
  const double after = largestStep(gliding, 4800, 9600);
  EXPECT_LT(largestStep(gliding, 0, 4800), 1.2 * std::max(before, after));
  EXPECT_NEAR(Rms(gliding, 4800, 4800) / Rms(x, 4800, 4800), FromDecibels(3.0), 0.2);
}

TEST(WarmthStage, TheTableRunsInItsOrderAndTheSettingsComeBack) {
  Rig rig;
  RWarmthStage& s = rig.stage;
  const char* names[] = {"Drive", "Tone", "Bias", "Output", "Dry/Wet"};
  const char* keys[] = {"Drive", "Tone", "Bias", "Output", "DryWet"};
  for (int32_t i = 0; i < 5; ++i) {
    EXPECT_EQ(s.GetParameterIndex(RString::FromUTF8(names[i])), i) << names[i];
    EXPECT_EQ(s.GetParameterValue(i)->GetKey(), RString::FromUTF8(keys[i])) << names[i];
  }
  EXPECT_EQ(s.GetOutput().GetDisplayName(true), RString("Output"));
  EXPECT_DOUBLE_EQ(s.GetDrive().GetValue(), 1.0);
  EXPECT_DOUBLE_EQ(s.GetDryWet().GetValue(), 1.0);

  s.GetDrive().SetValueNow(FromDecibels(18.0));
  s.GetTone().SetValueNow(-0.4);
  s.GetBias().SetValueNow(0.3);
  RTagItem tree;
  s.SaveStateTree(tree);
  EXPECT_EQ(tree.FindAttribute(RHashedString("#Output")), nullptr) << "defaults are not written";
  Rig copy;
  copy.stage.LoadStateTree(tree);
  EXPECT_NEAR(copy.stage.GetDrive().GetValue(), FromDecibels(18.0), 1e-6);
  EXPECT_NEAR(copy.stage.GetTone().GetValue(), -0.4, 1e-9);
  EXPECT_NEAR(copy.stage.GetBias().GetValue(), 0.3, 1e-9);
  EXPECT_DOUBLE_EQ(copy.stage.GetOutput().GetValue(), 1.0);
  const auto x = Sine(440.0, 48000.0, 2000, 0.3);
  EXPECT_EQ(RunThrough(copy.stage, x), RunThrough(s, x));
}

TEST(WarmthStageInGraph, ASlotSaturatesItsLaneLevelMatchedAtEveryRate) {
  RegisterWarmthStage();
  for (double rate : {44100.0, 48000.0, 88200.0, 96000.0, 192000.0}) {
    SCOPED_TRACE(rate);
    RAudioPluginModular graph(RString("Graph"), 6, false, Awake());
    auto* stage = PlaceAlone<RWarmthStage>(graph, rate, "WarmthStage", "Distortion", "Saturator 1");
    ASSERT_NE(stage, nullptr);
    const int32_t drive = graph.GetParameterIndex(RString("Saturator 1 - Drive"));
    ASSERT_GE(drive, 0);
    EXPECT_EQ(graph.GetParameterValue(drive), &stage->GetDrive());
    Settle(stage->GetDrive(), FromDecibels(24.0));

    const auto x = Sine(1000.0, rate, int32_t(rate / 4), kReference);
    const auto y = RunThrough(graph, x);
    const auto settled = size_t(rate / 8);
    EXPECT_NEAR(Decibels(Rms(y, settled, settled) / Rms(x, settled, settled)), 0.0, 1.5);
  }
}
