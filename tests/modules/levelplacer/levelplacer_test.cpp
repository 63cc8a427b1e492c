// RLevelPlacer through its cycle: the order of its stages, the pan law, the widening's values
// and level, one channel, glides, the table and its stored settings, a slot in a graph.
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "base/tagitem.h"
#include "graph/audiopluginmodular.h"
#include "graph/moduleregistry.h"
#include "graph/pluginslot.h"
#include "modules/levelplacer/levelplacer.h"
#include "tests/modules/blend/modulehost.h"

namespace {

void Settle(RRangedValue& value, double real) {
  value.SetValueNow(real);
  value.MarkRampDone();
}

double FromDecibels(double decibels) { return std::pow(10.0, decibels / 20.0); }

// Left 1, right 0.25 on every sample.
struct PlacerFixture {
  RLevelPlacer placer;
  RModuleHost host;

  explicit PlacerFixture(int32_t channels = 2) : host(placer, 1, channels) {
    host.SetChannel(0, 0, [](int32_t) { return 1.0f; });
    if (channels > 1) host.SetChannel(0, 1, [](int32_t) { return 0.25f; });
  }
  float Left(int32_t frames = 32) {
    host.Run(frames);
    return host.Out(0)[size_t(frames - 1)];
  }
  float Right() const { return host.Out(1)[0]; }
};

} // namespace

TEST(LevelPlacer, GainsActBeforeThePanAndThePanBeforeTheWidening) {
  PlacerFixture f;
  Settle(f.placer.GetGain(), FromDecibels(-6.0));
  Settle(f.placer.GetVolume(), 0.5);
  Settle(f.placer.GetGainLeft(), 4.0);
  Settle(f.placer.GetGainRight(), 2.0);
  const double level = FromDecibels(-6.0) * 0.5;
  const double l = level * 4.0 * 1.0, r = level * 2.0 * 0.25;
  EXPECT_NEAR(f.Left(), l, 1e-6);
  EXPECT_NEAR(f.Right(), r, 1e-6);

  // Hard right carries the left gain over; folding to mono afterwards splits the sum.
  Settle(f.placer.GetPanorama(), 1.0);
  EXPECT_NEAR(f.Left(), 0.0, 1e-6);
  EXPECT_NEAR(f.Right(), r + l, 1e-6);
  Settle(f.placer.GetWidening(), -1.0);
  EXPECT_NEAR(f.Left(), (r + l) * std::sqrt(0.5), 1e-6);
  EXPECT_NEAR(f.Right(), (r + l) * std::sqrt(0.5), 1e-6);
}

TEST(LevelPlacer, ThePanMovesTheFarChannelOverAndTheLawLiftsOrLowersTheSides) {
  PlacerFixture f;
  Settle(f.placer.GetPanorama(), 0.5);
  EXPECT_NEAR(f.Left(), 0.5, 1e-6);
  EXPECT_NEAR(f.Right(), 0.25 + 0.5, 1e-6);
  Settle(f.placer.GetPanorama(), -0.25);
  EXPECT_NEAR(f.Left(), 1.0 + 0.25 * 0.25, 1e-6);
  EXPECT_NEAR(f.Right(), 0.75 * 0.25, 1e-6);

  // 12 dB: f = 10^(6/20), every term scaled by 1 + (f - 1) |p|.
  Settle(f.placer.GetPanoramaLaw(), FromDecibels(12.0));
  const double lift = 1.0 + (FromDecibels(6.0) - 1.0) * 0.25;
  EXPECT_NEAR(f.Left(), lift * (1.0 + 0.25 * 0.25), 1e-5);
  EXPECT_NEAR(f.Right(), lift * 0.75 * 0.25, 1e-5);
  Settle(f.placer.GetPanoramaLaw(), FromDecibels(0.0));
  const double drop = 1.0 + (FromDecibels(-6.0) - 1.0) * 0.25;
  EXPECT_NEAR(f.Left(), drop * (1.0 + 0.25 * 0.25), 1e-5);

  // In the centre the law does nothing.
  Settle(f.placer.GetPanorama(), 0.0);
  EXPECT_EQ(f.Left(), 1.0f);
  EXPECT_EQ(f.Right(), 0.25f);
  EXPECT_DOUBLE_EQ(RLevelPlacer::PanLawGain(FromDecibels(6.0)), 1.0);
}

TEST(LevelPlacer, WideningFoldsToMonoLeavesZeroAloneAndKeepsTheLevel) {
  PlacerFixture f;
  EXPECT_EQ(f.Left(), 1.0f);
  EXPECT_EQ(f.Right(), 0.25f);
  Settle(f.placer.GetWidening(), -1.0);
  EXPECT_NEAR(f.Left(), 1.25 * std::sqrt(0.5), 1e-6);
  EXPECT_NEAR(f.Right(), 1.25 * std::sqrt(0.5), 1e-6);
  // At 200% the side is three times the mid: b = 2 / sqrt(5), a = -1 / sqrt(5).
  Settle(f.placer.GetWidening(), 2.0);
  EXPECT_NEAR(f.Left(), (2.0 - 0.25) / std::sqrt(5.0), 1e-6);
  EXPECT_NEAR(f.Right(), (-1.0 + 0.5) / std::sqrt(5.0), 1e-6);

  // A single left sample lands as (b, a): b^2 + a^2 = 1 at every setting.
  f.host.SetChannel(0, 1, [](int32_t) { return 0.0f; });
  for (double w = -1.0; w <= 2.0; w += 0.125) {
    Settle(f.placer.GetWidening(), w);
    const double l = f.Left(), r = f.Right();
    ASSERT_NEAR(l * l + r * r, 1.0, 1e-5) << w;
  }
}

TEST(LevelPlacer, OneChannelTakesTheGainsAndNothingElse) {
  PlacerFixture f(1);
  Settle(f.placer.GetGain(), 2.0);
  Settle(f.placer.GetGainLeft(), 0.5);
  Settle(f.placer.GetGainRight(), 8.0);
  Settle(f.placer.GetPanorama(), 1.0);
  Settle(f.placer.GetWidening(), -1.0);
  EXPECT_FLOAT_EQ(f.Left(), 1.0f);
}

TEST(LevelPlacer, MovingValuesGlideSampleBySample) {
  PlacerFixture f;
  Settle(f.placer.GetWidening(), 0.0);
  f.placer.GetGain().SetValueNow(2.0);
  f.placer.GetWidening().SetValueNow(2.0);
  constexpr int32_t kFrames = 301;
  f.host.Run(kFrames);
  for (int32_t i = 0; i < kFrames; i += 10) {
    const double gain = 1.0 + double(i) / kFrames, w = 2.0 * i / kFrames, k = w + 1.0;
    const double c = 0.5 / std::sqrt(0.5 * k * k + 0.5), a = c * (1 - k), b = c * (1 + k);
    ASSERT_NEAR(f.host.Out(0)[size_t(i)], gain * (b * 1.0 + a * 0.25), 1e-5) << i;
    ASSERT_NEAR(f.host.Out(1)[size_t(i)], gain * (a * 1.0 + b * 0.25), 1e-5) << i;
  }

  // A pan glide stays within the range as it runs to the side.
  Settle(f.placer.GetGain(), 1.0);
  Settle(f.placer.GetWidening(), 0.0);
  Settle(f.placer.GetPanorama(), 0.0);
  f.placer.GetPanorama().SetValueNow(-1.0);
  f.host.Run(kFrames);
  for (int32_t i = 0; i < kFrames; i += 10) {
    const double p = -double(i) / kFrames;
    ASSERT_NEAR(f.host.Out(0)[size_t(i)], 1.0 - p * 0.25, 1e-5) << i;
    ASSERT_NEAR(f.host.Out(1)[size_t(i)], (1.0 + p) * 0.25, 1e-5) << i;
  }
}

TEST(LevelPlacer, TheTableRunsInItsOrderAndTheSettingsComeBack) {
  RLevelPlacer placer;
  placer.InitParameters();
  int32_t previous = -1;
  for (const RValue* value : std::initializer_list<const RValue*>{
           &placer.GetVolume(), &placer.GetGain(), &placer.GetPanorama(), &placer.GetPanoramaLaw(),
           &placer.GetGainLeft(), &placer.GetGainRight(), &placer.GetWidening()}) {
    const int32_t index = placer.GetParameterIndexOf(value);
    EXPECT_GT(index, previous) << value->GetName().ToUTF8();
    previous = index;
  }
  EXPECT_EQ(placer.GetGain().GetDisplayName(true), RString("Output"));
  EXPECT_NEAR(placer.GetPanoramaLaw().GetValue(), FromDecibels(6.0), 1e-9);

  placer.GetPanoramaLaw().SetValueNow(FromDecibels(-3.0));
  placer.GetGainRight().SetValueNow(FromDecibels(12.0));
  placer.GetWidening().SetValueNow(1.5);
  placer.GetVolume().SetValueNow(0.25);
  RTagItem tree;
  placer.SaveStateTree(tree);
  EXPECT_NE(tree.FindAttribute(RHashedString("#PanoramaLaw")), nullptr);
  EXPECT_NE(tree.FindAttribute(RHashedString("#GainRight")), nullptr);
  EXPECT_EQ(tree.FindAttribute(RHashedString("#GainLeft")), nullptr) << "defaults are not written";

  RLevelPlacer copy;
  copy.InitParameters();
  copy.LoadStateTree(tree);
  EXPECT_NEAR(copy.GetPanoramaLaw().GetValue(), FromDecibels(-3.0), 1e-6);
  EXPECT_NEAR(copy.GetGainRight().GetValue(), FromDecibels(12.0), 1e-6);
  EXPECT_NEAR(copy.GetWidening().GetValue(), 1.5, 1e-9);
  EXPECT_NEAR(copy.GetVolume().GetValue(), 0.25, 1e-9);
  EXPECT_DOUBLE_EQ(copy.GetGain().GetValue(), 1.0);
}

TEST(LevelPlacerInGraph, ASlotPlacesItsLaneAtEveryRate) {
  RegisterLevelPlacer();
  for (double rate : {44100.0, 48000.0, 88200.0, 96000.0, 192000.0}) {
    SCOPED_TRACE(rate);
    RAudioPlugin::Options options;
    options.sleep = false;
    RAudioPluginModular graph(RString("Graph"), 6, false, options);
    constexpr int32_t kFrames = 77;
    graph.SetHostFormat(rate, kFrames, 2, 1, 1);
    const PluginDescriptor* row = graph.FindDescriptor(RString("LevelPlacer"));
    ASSERT_NE(row, nullptr);
    RPluginSlot* slot = graph.CreateSlot(0, 0, *row, false);
    ASSERT_NE(slot, nullptr);
    auto& placer = dynamic_cast<RLevelPlacer&>(slot->GetModule());
    Settle(placer.GetGain(), 2.0);
    Settle(placer.GetPanorama(), -1.0);

    std::vector<float> left(kFrames, 0.5f), right(kFrames, 0.25f), outLeft(kFrames), outRight(kFrames);
    float* inputs[2] = {left.data(), right.data()};
    float* outputs[2] = {outLeft.data(), outRight.data()};
    graph.ProcessCycle(inputs, outputs, kFrames, nullptr);
    EXPECT_FLOAT_EQ(outLeft[kFrames - 1], 2.0f * (0.5f + 0.25f));
    EXPECT_FLOAT_EQ(outRight[0], 0.0f);
  }
}
