// No dead control: each public control, moved across its travel, changes the sound the way its
// name says. The paths are heard alone (the morph at A for path A, at B for path B), the master
// on path A.
#include "tests/resources/product/productrig.h"

#include <string>

namespace {

using namespace producttest;

const double kFull = 20.0 * std::log10(0.5);

std::string On(const char* side, const char* name) { return std::string(side) + " " + name; }

// A burst of a sine at the start and silence after it.
Signal Burst(double hertz, double seconds) {
  return [=](int64_t n) { return double(n) < seconds * kRate ? Sine(hertz, 0.5)(n) : 0.0; };
}

// The first sample of the kept left channel above a threshold, in seconds; -1 if none.
double Onset(const ProductRig& rig, double threshold = 0.01) {
  for (size_t i = 0; i < rig.Left().size(); ++i)
    if (std::fabs(rig.Left()[i]) > threshold) return double(i) / kRate;
  return -1.0;
}

class PathControls : public ::testing::TestWithParam<const char*> {
protected:
  void SetUp() override {
    side_ = GetParam();
    // B is the main input, so both paths hear the same signal; the morph picks the path.
    rig_.Set("Morph", std::string(side_) == "A" ? 0.0 : 1.0);
  }
  void Set(const char* name, double normalised) { rig_.Set(On(side_, name).c_str(), normalised); }
  std::string Slot(const char* stem) const { return std::string(stem) + " " + side_; }

  const char* side_ = "A";
  ProductRig rig_;
};

TEST_P(PathControls, GainAndPanPlaceThePath) {
  // Quiet enough that +12 dB stays under the master's ceiling.
  Set("Gain", 0.0);
  rig_.Play(Sine(1000.0, 0.05), Silence(), 0.5);
  const double low = rig_.LevelDb();
  Set("Gain", 1.0);
  rig_.Play(Sine(1000.0, 0.05), Silence(), 0.5);
  EXPECT_NEAR(rig_.LevelDb() - low, 36.0, 0.5) << "from -24 dB to +12 dB";
  Set("Gain", 0.5);
  Set("Pan", 0.0);
  rig_.Play(Sine(1000.0, 0.5), Silence(), 0.5);
  EXPECT_GT(rig_.ToneDb(1000.0) - rig_.ToneDb(1000.0, true), 40.0) << "hard left";
  Set("Pan", 1.0);
  rig_.Play(Sine(1000.0, 0.5), Silence(), 0.5);
  EXPECT_GT(rig_.ToneDb(1000.0, true) - rig_.ToneDb(1000.0), 40.0) << "hard right";
}

TEST_P(PathControls, HPAndLPCloseTheBand) {
  rig_.Play(Sine(100.0, 0.5), Silence(), 0.5);
  const double lowOpen = rig_.ToneDb(100.0);
  Set("HP", 1.0);
  rig_.Play(Sine(100.0, 0.5), Silence(), 0.5);
  EXPECT_LT(rig_.ToneDb(100.0), lowOpen - 30.0);
  Set("HP", 0.0);
  rig_.Play(Sine(8000.0, 0.5), Silence(), 0.5);
  const double highOpen = rig_.ToneDb(8000.0);
  Set("LP", 0.0);
  rig_.Play(Sine(8000.0, 0.5), Silence(), 0.5);
  EXPECT_LT(rig_.ToneDb(8000.0), highOpen - 30.0);
}

TEST_P(PathControls, DelayTimeSyncAndFeedMoveAndRepeatTheSound) {
  rig_.Play(Burst(1000.0, 0.02), Silence(), 1.5, 1.5);
  EXPECT_NEAR(Onset(rig_), 0.0, 0.002);
  Set("Delay Time", 1.0);
  rig_.Play(Burst(1000.0, 0.02), Silence(), 1.5, 1.5);
  EXPECT_NEAR(Onset(rig_), 1.0, 0.01) << "a full turn is a second";
  Set("Delay Time", 0.5);
  rig_.Play(Burst(1000.0, 0.02), Silence(), 1.5, 1.5);
  const double free = Onset(rig_);
  Set("Delay Sync", 1.0);
  rig_.Play(Burst(1000.0, 0.02), Silence(), 1.5, 1.5);
  EXPECT_GT(std::fabs(Onset(rig_) - free), 0.02) << "a note length instead of the free time";
  EXPECT_EQ(rig_.TextOf((Slot("Delay") + " - Sync").c_str()).ToUTF8(), "On");
  Set("Delay Sync", 0.0);
  // Without feedback one echo, with it a train.
  const double echoEnd = free + 0.05;
  rig_.Play(Burst(1000.0, 0.02), Silence(), 1.5, 1.5);
  EXPECT_LT(rig_.WindowDb(echoEnd, 1.5), -70.0);
  Set("Feed", 1.0);
  rig_.Play(Burst(1000.0, 0.02), Silence(), 1.5, 1.5);
  EXPECT_GT(rig_.WindowDb(echoEnd, 1.5), -40.0);
}

TEST_P(PathControls, RateShiftAndErrorWakeTheirModules) {
  rig_.Play(Sine(1000.0, 0.5), Silence(), 0.5);
  const std::vector<float> clean = rig_.Left();
  // Rate: sample-rate reduction folds the tone into images.
  Set("Rate", 1.0);
  rig_.Play(Sine(1000.0, 0.5), Silence(), 0.5);
  EXPECT_GT(ProductRig::Distance(rig_.Left(), clean), 0.1);
  EXPECT_EQ(rig_.TextOf((Slot("Rate") + " - Bypass").c_str()).ToUTF8(), "Off");
  Set("Rate", 0.0);
  EXPECT_EQ(rig_.TextOf((Slot("Rate") + " - Bypass").c_str()).ToUTF8(), "On");
  // Shift: three quarters up is +750 Hz: 440 Hz goes to 1190 Hz.
  Set("Shift", 0.75);
  rig_.Play(Sine(440.0, 0.5), Silence(), 0.5);
  EXPECT_GT(rig_.ToneDb(1190.0), kFull - 1.0);
  EXPECT_LT(rig_.ToneDb(440.0), kFull - 30.0);
  Set("Shift", 0.5);
  // Error: the grains take over.
  Set("Error", 1.0);
  rig_.Play(Sine(1000.0, 0.5), Silence(), 0.5);
  EXPECT_GT(ProductRig::Distance(rig_.Left(), clean), 0.1);
}

TEST_P(PathControls, SyncSpiralsTheShiftInTime) {
  Set("Shift", 0.75);
  rig_.Play(Burst(440.0, 0.05), Silence(), 1.5, 1.5);
  // Without the loop the shifted burst is over after its own length.
  EXPECT_LT(rig_.WindowDb(0.3, 1.5), -70.0);
  Set("Sync", 1.0);
  EXPECT_EQ(rig_.TextOf((Slot("Shift") + " - Sync").c_str()).ToUTF8(), "On");
  rig_.Play(Burst(440.0, 0.05), Silence(), 1.5, 1.5);
  // An eighth note at 120 bpm later it comes again, shifted once more, and again.
  EXPECT_GT(rig_.WindowDb(0.3, 1.5), -40.0);
  EXPECT_GT(rig_.ToneDb(440.0 + 2.0 * 750.0), -60.0);
}

INSTANTIATE_TEST_SUITE_P(BothPaths, PathControls, ::testing::Values("A", "B"));

TEST(MasterControls, DryWetPressHeatAndTheFilters) {
  ProductRig rig;
  rig.Set("Morph", 0.0);
  // Dry/Wet: with the wet path 24 dB down, the dry copy brings the level back.
  rig.Set("A Gain", 0.0);
  rig.Play(Sine(1000.0, 0.5), Silence(), 0.5);
  const double wet = rig.LevelDb();
  rig.Set("Dry/Wet", 0.0);
  rig.Play(Sine(1000.0, 0.5), Silence(), 0.5);
  EXPECT_NEAR(rig.LevelDb() - wet, 24.0, 0.5);
  rig.Set("Dry/Wet", 1.0);
  rig.SetText("A Gain", "0 dB");

  // Press: a loud and a quiet part come closer together.
  const Signal steps = [](int64_t n) { return (n / 24000) % 2 == 0 ? Sine(200.0, 0.7)(n) : Sine(200.0, 0.07)(n); };
  rig.Play(steps, Silence(), 2.0, 1.0);
  const double open = rig.WindowDb(0.1, 0.5) - rig.WindowDb(0.6, 1.0);
  rig.Set("Press", 1.0);
  rig.Play(steps, Silence(), 2.0, 1.0);
  EXPECT_LT(std::fabs(rig.WindowDb(0.1, 0.5) - rig.WindowDb(0.6, 1.0)), std::fabs(open) - 8.0);
  rig.Set("Press", 0.0);

  // Heat: odd harmonics grow.
  rig.Play(Sine(220.0, 0.5), Silence(), 0.5);
  const double third = rig.ToneDb(660.0);
  rig.Set("Heat", 1.0);
  rig.Play(Sine(220.0, 0.5), Silence(), 0.5);
  EXPECT_GT(rig.ToneDb(660.0), third + 40.0);
  rig.Set("Heat", 0.0);

  rig.Set("Master HP", 1.0);
  rig.Play(Sine(100.0, 0.5), Silence(), 0.5);
  EXPECT_LT(rig.ToneDb(100.0), kFull - 30.0);
  rig.Set("Master HP", 0.0);
  rig.Set("Master LP", 0.0);
  rig.Play(Sine(8000.0, 0.5), Silence(), 0.5);
  EXPECT_LT(rig.ToneDb(8000.0), kFull - 30.0);
}

TEST(MasterControls, ClipOutAutoBitGainAndRandom) {
  ProductRig rig;
  rig.Set("Morph", 0.0);
  rig.Play(Sine(220.0, 0.5), Silence(), 0.5);
  const double third = rig.ToneDb(660.0);
  rig.Set("Clip", 1.0);
  rig.Play(Sine(220.0, 0.5), Silence(), 0.5);
  EXPECT_GT(rig.ToneDb(660.0), third + 40.0);
  float peak = 0.0f;
  for (const float x : rig.Left()) peak = std::max(peak, std::fabs(x));
  EXPECT_LE(peak, 1.0f) << "the ceiling holds";
  rig.Set("Clip", 0.0);

  rig.Set("Out", 0.0);
  rig.Play(Sine(220.0, 0.1), Silence(), 0.5);
  const double quiet = rig.LevelDb();
  rig.Set("Out", 1.0);
  rig.Play(Sine(220.0, 0.1), Silence(), 0.5);
  EXPECT_NEAR(rig.LevelDb() - quiet, 30.0, 0.5) << "from -24 dB to +6 dB";
  rig.SetText("Out", "0 dB");

  // Auto Bit Gain: a loud A and a quiet B half way through the blend; each word brings its
  // output back to its input's level.
  rig.SetText("B Source", "Side-chain");
  rig.Set("Morph", 0.5);
  rig.Play(Sine(440.0, 0.5), Sine(660.0, 0.02), 1.0);
  const double plain = rig.LevelDb();
  rig.SetText("Auto Bit Gain", "On");
  EXPECT_EQ(rig.TextOf("Bit Blend - Bit 08 - AGC").ToUTF8(), "On");
  rig.Play(Sine(440.0, 0.5), Sine(660.0, 0.02), 3.0);
  EXPECT_GT(std::fabs(rig.LevelDb() - plain), 1.0);

  // The master's dice gives the two paths new colours.
  RQuillon& product = rig.Product();
  std::vector<double> before;
  for (int32_t i = 21; i < 43; ++i) before.push_back(product.GetMultiParameter(i)->GetValue().GetNormalised());
  rig.Set("Master Random", 1.0);
  rig.Play(Sine(440.0, 0.5), Silence(), 0.1);
  int32_t moved = 0;
  for (int32_t i = 21; i < 43; ++i) moved += product.GetMultiParameter(i)->GetValue().GetNormalised() != before[size_t(i - 21)];
  EXPECT_GE(moved, 4);
}

TEST(SwapControls, RandomDrawsANewPatternAndGrid) {
  ProductRig rig;
  RQuillon& product = rig.Product();
  std::vector<double> before;
  for (int32_t i = 1; i < 20; ++i) before.push_back(product.GetMultiParameter(i)->GetValue().GetNormalised());
  rig.Set("SWAP Random", 1.0);
  rig.Play(Sine(440.0, 0.5), Silence(), 0.1);
  int32_t moved = 0;
  for (int32_t i = 1; i < 20; ++i) moved += product.GetMultiParameter(i)->GetValue().GetNormalised() != before[size_t(i - 1)];
  EXPECT_GE(moved, 3) << "of the bit pattern and the sixteen switches";
  EXPECT_EQ(product.GetMultiParameter(2)->GetValue().GetNormalised(), before[1]) << "the source stays";
}

} // namespace
