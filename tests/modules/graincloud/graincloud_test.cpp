// The GrainCloud module through its processing cycle: the parameter table, the mix, the sizes
// the time values give, the side-chain bus, output buses, the random sequence at a reset,
// hostile input and every sample rate.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "tests/modules/graincloud/graincloudtestsupport.h"

using graintest::Prepare;
using graintest::RunModule;

namespace {

int32_t IndexOf(RGrainCloud& m, const char* name) { return m.GetParameterIndex(RString::FromUTF8(name)); }

} // namespace

TEST(GrainCloudParameters, TheTableHoldsTheGlobalsThenTwentyPerVoiceInOrder) {
  RGrainCloud m;
  m.InitParameters();
  const char* globals[] = {"Dry/Wet", "Cross-fade", "Grain size", "Random", "Random every time", "Sync", "Length", "Type"};
  int32_t previous = -1;
  for (const char* name : globals) {
    const int32_t index = IndexOf(m, name);
    EXPECT_GT(index, previous) << name;
    previous = index;
  }
  const char* voice[] = {"Voice", "Freeze", "Output", "Delay", "Grain count", "Side-chain", "Pitch", "Pitch random",
                         "Random mode", "Sequencer count", "Sequencer grains per item", "Pan", "Pan random", "Copies",
                         "Max copy delay", "Copy delay rand", "Gain center", "Gain random", "Output channel",
                         "Transformation"};
  for (int32_t v = 1; v <= 4; ++v) {
    for (const char* name : voice) {
      const std::string full = std::string(name) + " " + std::to_string(v);
      const int32_t index = IndexOf(m, full.c_str());
      EXPECT_EQ(index, previous + 1) << full;
      previous = index;
    }
  }
  EXPECT_TRUE(m.GetVoiceValues(0).Enable->IsOn());
  EXPECT_FALSE(m.GetVoiceValues(1).Enable->IsOn());
  EXPECT_EQ(m.GetVoiceValues(2).Pitch->GetKey().ToUTF8(), "Pitch3");
  EXPECT_EQ(m.GetVoiceValues(0).PitchMode->GetChoiceRange().GetItemText(4).ToUTF8(), "Random (unlimited)");
  EXPECT_EQ(m.GetGrainSize().GetValue(), 0.05);
  EXPECT_EQ(RGrainCloud::GetTransformTitle(1, 2).ToUTF8(), "Voice 2 transformation 3");
}

TEST(GrainCloudProcess, NoMixLeavesTheInputAndAFullMixIsTheGrainsAlone) {
  RGrainCloud m;
  m.GetDryWet().SetValueNow(0.0);
  Prepare(m);
  const std::vector<float> sine = graintest::Sine(300, 48000, 9600);
  const auto dry = RunModule(m, sine, 512);
  for (size_t i = 0; i < sine.size(); ++i) ASSERT_EQ(dry.left[i], sine[i]) << i;

  RGrainCloud wet;
  wet.GetVoiceValues(0).Gain->SetValueNow(0.5);
  Prepare(wet);
  const auto grains = RunModule(wet, std::vector<float>(9600, 1.0f), 512);
  EXPECT_EQ(grains.left[0], 0.0f) << "no grain is complete yet";
  EXPECT_NEAR(grains.left[9599], 0.25f, 1e-4);
  EXPECT_NEAR(grains.right[9599], 0.25f, 1e-4);
}

TEST(GrainCloudProcess, GrainSizesFollowTheTimeValuesAtEveryRate) {
  for (double rate : {44100.0, 48000.0, 88200.0, 96000.0, 192000.0}) {
    RGrainCloud m;
    m.GetGrainSize().SetValueNow(0.01);
    m.GetCrossFade().SetValueNow(0.5);
    // The synced size is worked out and then overruled by the plain one.
    m.GetTempoSync().GetSync().SetValueNow(1.0);
    Prepare(m, rate, 333);
    const auto out = RunModule(m, std::vector<float>(size_t(rate / 5), 1.0f), 333);
    const RGrainSizes& sizes = m.GetEngine().GetCutter().GetSizes();
    EXPECT_NEAR(sizes.SizeMin, rate * 0.01, 1.0) << rate;
    EXPECT_EQ(sizes.SizeMax, sizes.SizeMin) << rate;
    EXPECT_EQ(sizes.FadeLength, sizes.SizeMin / 4) << rate;
    EXPECT_NEAR(out.left.back(), 1.0f, 1e-4) << rate;
  }
}

TEST(GrainCloudProcess, TheSideChainBusFeedsAVoicesShare) {
  const std::vector<float> main(24000, 1.0f), side(24000, -0.5f);
  RGrainCloud m;
  m.GetVoiceValues(0).SideChain->SetValueNow(1.0);
  Prepare(m, 48000.0, 512, 2);
  const auto out = RunModule(m, main, 512, &side);
  EXPECT_NEAR(out.left.back(), -0.5f, 1e-4);

  // The same module without a second input bus: everything from the main input.
  RGrainCloud alone;
  alone.GetVoiceValues(0).SideChain->SetValueNow(1.0);
  Prepare(alone, 48000.0, 512, 1);
  EXPECT_NEAR(RunModule(alone, main, 512).left.back(), 1.0f, 1e-4);
}

TEST(GrainCloudProcess, AVoiceOnTheSecondOutputBusLeavesTheMainBusDry) {
  RGrainCloud m;
  m.GetVoiceValues(0).OutputChannel->SetValueNow(2);
  m.GetDryWet().SetValueNow(0.5);
  Prepare(m, 48000.0, 512, 1, 2);
  const auto out = RunModule(m, std::vector<float>(9600, 1.0f), 512);
  EXPECT_NEAR(out.left.back(), 0.5f, 1e-5) << "the dry half alone";
  EXPECT_NEAR(out.secondLeft.back(), 0.5f, 1e-4) << "the wet half alone";
}

TEST(GrainCloudProcess, TheRandomSequenceRepeatsAfterAResetUnlessRandomEveryTimeIsOn) {
  for (bool everyTime : {false, true}) {
    RGrainCloud m;
    m.GetRandomEveryTime().SetValueNow(everyTime ? 1.0 : 0.0);
    m.GetVoiceValues(0).PitchRandom->SetValueNow(12.0);
    m.GetVoiceValues(0).PanRandom->SetValueNow(1.0);
    m.GetGrainSizeRandom().SetValueNow(0.02);
    Prepare(m);
    const std::vector<float> sine = graintest::Sine(500, 48000, 24000);
    const auto first = RunModule(m, sine, 512);
    m.Reset();
    const auto second = RunModule(m, sine, 512);
    EXPECT_EQ(first.left == second.left, !everyTime) << everyTime;
    EXPECT_EQ(first.right == second.right, !everyTime) << everyTime;
  }
}

TEST(GrainCloudProcess, HostileInputNeverLeavesAsNaNOrInfinity) {
  RGrainCloud m;
  RGrainCloud::VoiceValues& v = m.GetVoiceValues(0);
  v.Copies->SetValueNow(20);
  v.PitchRandom->SetValueNow(24);
  v.GrainCount->SetValueNow(32);
  m.GetDryWet().SetValueNow(0.7);
  m.GetGrainSize().SetValueNow(0.001);
  Prepare(m, 48000.0, 257);
  const float inf = std::numeric_limits<float>::infinity();
  std::vector<float> x(19200);
  for (size_t i = 0; i < x.size(); ++i) {
    const float kinds[] = {std::nanf(""), inf, -inf, 1e30f, -1e30f, 1e-41f, 0.3f};
    x[i] = kinds[(i / 7) % 7];
  }
  const auto out = RunModule(m, x, 257);
  for (size_t i = 0; i < x.size(); ++i) {
    ASSERT_TRUE(std::isfinite(out.left[i])) << i;
    ASSERT_TRUE(std::isfinite(out.right[i])) << i;
  }
}
