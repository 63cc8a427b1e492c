// RSqueezeStage through its cycle: the static curve, attack and release times at every rate,
// side-chain keying, the detector filters, automatic makeup under a moving threshold, stereo
// link, mix, block sizes, and the table with its stored settings.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "base/tagitem.h"
#include "tests/modules/squeezestage/squeezetest.h"

using namespace squeezetest;

namespace {

// A square wave of the level: its amplitude is the same at every sample, so the gain at each
// sample is out / in.
std::vector<float> Square(double hertz, double rate, int32_t length,
                          const std::vector<std::pair<int32_t, double>>& steps) {
  std::vector<float> x(static_cast<size_t>(length));
  double amplitude = 0.0;
  size_t next = 0;
  for (int32_t i = 0; i < length; ++i) {
    if (next < steps.size() && steps[next].first == i) amplitude = FromDecibels(steps[next++].second);
    x[size_t(i)] = float(std::sin(2.0 * kPi * hertz * (i + 0.5) / rate) >= 0.0 ? amplitude : -amplitude);
  }
  return x;
}

// Samples from first until the reduction -20 log10(y / x) first crosses level (upwards when
// rising), in seconds.
double TimeToReach(const std::vector<float>& x, const std::vector<float>& y, int32_t first, double level, bool rising,
                   double rate) {
  for (size_t i = size_t(first); i < x.size(); ++i) {
    const double reduction = -Decibels(double(y[i]) / double(x[i]));
    if (rising ? reduction >= level : reduction <= level) return double(int32_t(i) - first) / rate;
  }
  return -1.0;
}

} // namespace

TEST(SqueezeStage, SteadySinesFollowTheStaticCurveAndTheMeterReadsTheReduction) {
  Rig rig;
  // Threshold -18, ratio 4, knee 6: the knee runs from -21 to -15 dB.
  const struct {
    double level;
    double change;
  } points[] = {{-40.0, 0.0}, {-22.0, 0.0}, {-18.0, -0.5625}, {-16.0, -1.5}, {-15.0, -2.25}, {-6.0, -9.0},
                {0.0, -13.5}};
  for (const auto& point : points) {
    EXPECT_NEAR(rig.ChangeDb(Sine(1000.0, 48000.0, 96000, point.level)), point.change, 0.2) << point.level;
    EXPECT_NEAR(rig.stage.GetGainReduction(), -point.change, 0.2) << point.level;
  }

  // A hard knee at 20:1, threshold -30: 24 dB over becomes 1.2 dB over.
  Rig::Settle(rig.stage.GetKnee(), 0.0);
  Rig::Settle(rig.stage.GetRatio(), 20.0);
  Rig::Settle(rig.stage.GetThreshold(), -30.0);
  EXPECT_NEAR(rig.ChangeDb(Sine(1000.0, 48000.0, 96000, -6.0)), -22.8, 0.2);
  EXPECT_NEAR(rig.ChangeDb(Sine(1000.0, 48000.0, 96000, -30.5)), 0.0, 0.01);
  // Ratio 1 leaves everything alone.
  Rig::Settle(rig.stage.GetRatio(), 1.0);
  EXPECT_NEAR(rig.ChangeDb(Sine(1000.0, 48000.0, 48000, 0.0)), 0.0, 0.01);
}

TEST(SqueezeStage, TheReductionReachesTwoThirdsOfAStepInTheAttackAndReleaseTimesAtEveryRate) {
  for (double rate : {44100.0, 48000.0, 88200.0, 96000.0, 192000.0}) {
    for (const auto& [attack, release] : {std::pair{0.01, 0.12}, std::pair{0.001, 0.6}, std::pair{0.1, 0.05}}) {
      SCOPED_TRACE(::testing::Message() << rate << " Hz, " << attack << " s / " << release << " s");
      Rig rig(rate);
      Rig::Settle(rig.stage.GetAttack(), attack);
      Rig::Settle(rig.stage.GetRelease(), release);
      Rig::Settle(rig.stage.GetKnee(), 0.0);
      // -40 dB (no reduction) to -6 dB (9 dB) and back.
      const auto up = int32_t(0.2 * rate), down = int32_t((0.4 + 5.0 * attack) * rate);
      const auto x = Square(500.0, rate, down + int32_t(6.0 * release * rate), {{0, -40.0}, {up, -6.0}, {down, -40.0}});
      const auto y = rig.Run(x, x)[0];
      EXPECT_NEAR(-Decibels(double(y[size_t(down - 1)]) / x[size_t(down - 1)]), 9.0, 0.01);
      EXPECT_NEAR(TimeToReach(x, y, up, 9.0 * (1.0 - std::exp(-1.0)), true, rate), attack, 0.1 * attack);
      EXPECT_NEAR(TimeToReach(x, y, down, 9.0 * std::exp(-1.0), false, rate), release, 0.1 * release);
    }
  }
}

TEST(SqueezeStage, ALoudSideChainDucksAQuietInputOnlyWithTheSwitchOn) {
  Rig rig;
  const auto quiet = Sine(1000.0, 48000.0, 96000, -30.0);
  const auto loud = Sine(250.0, 48000.0, 96000, -6.0);
  EXPECT_NEAR(rig.ChangeDb(quiet, loud), 0.0, 0.01);
  EXPECT_NEAR(rig.stage.GetGainReduction(), 0.0, 1e-6);
  Rig::Settle(rig.stage.GetSideChain(), 1.0);
  EXPECT_NEAR(rig.ChangeDb(quiet, loud), -9.0, 0.2);
  // The side chain's level alone counts: a loud main input under a silent key passes.
  EXPECT_NEAR(rig.ChangeDb(loud, std::vector<float>(loud.size(), 0.0f)), 0.0, 0.01);
}

TEST(SqueezeStage, TheDetectorFiltersKeepBassAndTrebleFromDrivingTheReduction) {
  Rig rig;
  // 40 Hz at -6 dB: whole periods in the measured half.
  const auto bass = Sine(40.0, 48000.0, 96000, -6.0);
  const double pumped = rig.ChangeDb(bass);
  const double reductionWithout = rig.stage.GetGainReduction();
  EXPECT_LT(pumped, -6.0);
  Rig::Settle(rig.stage.GetDetectorHighPass(), 200.0);
  const double filtered = rig.ChangeDb(bass);
  // The filter is the detector's alone: the bass itself passes unfiltered.
  EXPECT_GT(filtered, -1.0);
  EXPECT_LT(rig.stage.GetGainReduction(), reductionWithout - 6.0);

  // The low-pass likewise for a high tone, and at its top it is off again.
  const auto treble = Sine(12000.0, 48000.0, 48000, -6.0);
  EXPECT_NEAR(rig.ChangeDb(treble), -9.0, 0.3);
  Rig::Settle(rig.stage.GetDetectorLowPass(), 1000.0);
  EXPECT_GT(rig.ChangeDb(treble), -1.0);
  Rig::Settle(rig.stage.GetDetectorLowPass(), 20000.0);
  Rig::Settle(rig.stage.GetDetectorHighPass(), 20.0);
  EXPECT_NEAR(rig.ChangeDb(treble), -9.0, 0.3);
}

TEST(SqueezeStage, AutoMakeupKeepsAMinusSixDbfsSineLevelWhileThresholdMovesAndBringsQuietPartsUp) {
  Rig rig;
  Rig::Settle(rig.stage.GetAutoMakeup(), 1.0);
  const auto x = Sine(1000.0, 48000.0, 3 * 48000, -6.0);
  // Down from 0 dB to -60 dB and back up over three seconds, as automation moves it.
  const auto y = rig.Run(x, x, {}, 256, [&](size_t start) {
    const double t = double(start) / double(x.size());
    rig.stage.GetThreshold().SetValueNow(-60.0 * (1.0 - std::fabs(2.0 * t - 1.0)));
  })[0];
  for (size_t window = 0; window + 960 <= y.size(); window += 960) {
    ASSERT_NEAR(Decibels(Rms(y, window, 960) / Rms(x, window, 960)), 0.0, 1.5) << window;
  }
  // At -30 dB: a full-scale sine comes down, a -30 dB one comes up, the span between narrows.
  Rig::Settle(rig.stage.GetThreshold(), -30.0);
  const double full = rig.ChangeDb(Sine(1000.0, 48000.0, 48000, 0.0));
  const double quiet = rig.ChangeDb(Sine(1000.0, 48000.0, 48000, -30.0));
  EXPECT_LT(full, -2.0);
  EXPECT_GT(quiet, 10.0);
  // Manual makeup adds to it.
  Rig::Settle(rig.stage.GetMakeup(), FromDecibels(4.0));
  EXPECT_NEAR(rig.ChangeDb(Sine(1000.0, 48000.0, 48000, -6.0)), 4.0, 0.2);
}

TEST(SqueezeStage, StereoLinkPressesTheQuietChannelByTheLoudOneOrByItself) {
  const auto loud = Sine(1000.0, 48000.0, 48000, 0.0);
  const auto quiet = Sine(1000.0, 48000.0, 48000, -30.0);
  const auto change = [&](double link) {
    Rig rig;
    Rig::Settle(rig.stage.GetStereoLink(), link);
    const auto y = rig.Run(loud, quiet);
    return std::pair{Decibels(Rms(y[0], 24000, 24000) / Rms(loud, 24000, 24000)),
                     Decibels(Rms(y[1], 24000, 24000) / Rms(quiet, 24000, 24000))};
  };
  const auto linked = change(1.0);
  EXPECT_NEAR(linked.first, -13.5, 0.2);
  EXPECT_NEAR(linked.second, -13.5, 0.2);
  const auto apart = change(0.0);
  EXPECT_NEAR(apart.first, -13.5, 0.2);
  EXPECT_NEAR(apart.second, 0.0, 0.01);
  // Half way the quiet channel hears -15 dB: 3 dB over, the top of the knee.
  const auto half = change(0.5);
  EXPECT_NEAR(half.first, -13.5, 0.2);
  EXPECT_NEAR(half.second, -2.25, 0.2);
}

TEST(SqueezeStage, MixAtZeroIsTheInputWhileTheDetectorPresses) {
  Rig rig;
  const auto x = Sine(1000.0, 48000.0, 48000, 0.0);
  Rig::Settle(rig.stage.GetMix(), 0.0);
  EXPECT_EQ(rig.Run(x, x)[0], x);
  EXPECT_NEAR(rig.stage.GetGainReduction(), 13.5, 0.2);
}

TEST(SqueezeStage, BlockSizesDoNotChangeTheOutput) {
  const auto x = Sine(90.0, 48000.0, 9000, 0.0);
  const auto side = Sine(3000.0, 48000.0, 9000, -3.0);
  std::vector<std::vector<float>> reference;
  for (int32_t block : {512, 37, 1, 300}) {
    Rig rig(48000.0, 512);
    Rig::Settle(rig.stage.GetStereoLink(), 0.4);
    Rig::Settle(rig.stage.GetDetectorHighPass(), 60.0);
    Rig::Settle(rig.stage.GetDetectorLowPass(), 5000.0);
    Rig::Settle(rig.stage.GetSideChain(), 1.0);
    std::vector<float> right(x);
    for (float& v : right) v *= 0.3f;
    const auto y = rig.Run(x, right, side, block);
    if (reference.empty()) {
      reference = y;
      continue;
    }
    for (size_t i = 0; i < x.size(); ++i) {
      ASSERT_NEAR(y[0][i], reference[0][i], 1e-6f) << block << " " << i;
      ASSERT_NEAR(y[1][i], reference[1][i], 1e-6f) << block << " " << i;
    }
  }
}

TEST(SqueezeStage, TheTableRunsInItsOrderAndTheSettingsComeBack) {
  Rig rig;
  RSqueezeStage& s = rig.stage;
  const char* names[] = {"Threshold", "Ratio", "Knee", "Attack", "Release", "Makeup", "Auto makeup", "Mix",
                         "Side-chain", "Detector high-pass", "Detector low-pass", "Stereo link", "Output"};
  const char* keys[] = {"Threshold", "Ratio", "Knee", "Attack", "Release", "Makeup", "AutoMakeup", "Mix",
                        "SideChain", "DetectorHP", "DetectorLP", "StereoLink", "Output"};
  for (int32_t i = 0; i < 13; ++i) {
    EXPECT_EQ(s.GetParameterIndex(RString::FromUTF8(names[i])), i) << names[i];
    EXPECT_EQ(s.GetParameterValue(i)->GetKey(), RString::FromUTF8(keys[i])) << names[i];
  }
  EXPECT_EQ(s.GetRatio().GetText(), RString("4.0:1"));
  EXPECT_EQ(s.GetDetectorLowPass().GetText(), RString("Off"));

  RSqueezeStage fresh;
  fresh.InitParameters();
  EXPECT_TRUE(fresh.GetAutoMakeup().IsOn()) << "a new compressor makes up its own gain";
  s.GetThreshold().SetValueNow(-31.5);
  s.GetRatio().SetValueNow(8.0);
  s.GetAttack().SetValueNow(0.002);
  s.GetSideChain().SetValueNow(1.0);
  s.GetDetectorHighPass().SetValueNow(150.0);
  s.GetStereoLink().SetValueNow(0.25);
  s.GetOutput().SetValueNow(FromDecibels(-3.0));
  RTagItem tree;
  s.SaveStateTree(tree);
  EXPECT_EQ(tree.FindAttribute(RHashedString("#Knee")), nullptr) << "defaults are not written";
  Rig copy;
  copy.stage.LoadStateTree(tree);
  EXPECT_NEAR(copy.stage.GetThreshold().GetValue(), -31.5, 1e-9);
  EXPECT_NEAR(copy.stage.GetRatio().GetValue(), 8.0, 1e-9);
  EXPECT_NEAR(copy.stage.GetAttack().GetValue(), 0.002, 1e-9);
  EXPECT_TRUE(copy.stage.GetSideChain().IsOn());
  EXPECT_FALSE(copy.stage.GetAutoMakeup().IsOn());
  EXPECT_NEAR(copy.stage.GetDetectorHighPass().GetValue(), 150.0, 1e-6);
  EXPECT_NEAR(copy.stage.GetStereoLink().GetValue(), 0.25, 1e-9);
  const auto x = Sine(440.0, 48000.0, 4000, -3.0);
  const auto side = Sine(60.0, 48000.0, 4000, 0.0);
  EXPECT_EQ(copy.Run(x, x, side), rig.Run(x, x, side));
}
