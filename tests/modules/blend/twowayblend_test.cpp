// RTwoWayBlend through its cycle: the law between the two buses, the main input's own level
// and panorama, a side chain left unconnected, ratio glides, the parameter table and the
// stored settings.
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <vector>

#include "base/tagitem.h"
#include "graph/audiopluginmodular.h"
#include "graph/pluginslot.h"
#include "modules/blend/twowayblend.h"
#include "tests/modules/blend/modulehost.h"

namespace {

void Settle(RRangedValue& value, double real) {
  value.SetValueNow(real);
  value.MarkRampDone();
}

void SetMode(RTwoWayBlend& blend, RBlendMode mode) {
  blend.GetMode().SetValueNow(double(int32_t(mode)));
}

// Main input: left 1, right -2; side chain: left 3, right 5.
struct TwoWayFixture {
  RTwoWayBlend blend;
  RModuleHost host{blend, 2};

  TwoWayFixture() {
    host.SetChannel(0, 0, [](int32_t) { return 1.0f; });
    host.SetChannel(0, 1, [](int32_t) { return -2.0f; });
    host.SetChannel(1, 0, [](int32_t) { return 3.0f; });
    host.SetChannel(1, 1, [](int32_t) { return 5.0f; });
  }
};

} // namespace

TEST(TwoWayBlend, AFixedRatioWeighsMainAndSideChainByTheLaw) {
  TwoWayFixture f;
  SetMode(f.blend, RBlendMode::kLinear);
  Settle(f.blend.GetRatio(), 0.25);
  f.host.Run(64);
  EXPECT_FLOAT_EQ(f.host.Out(0)[10], 0.75f * 1 + 0.25f * 3);
  EXPECT_FLOAT_EQ(f.host.Out(1)[63], 0.75f * -2 + 0.25f * 5);

  // The default law at the middle: both at 1 / sqrt(2).
  TwoWayFixture d;
  d.host.Run(16);
  EXPECT_NEAR(d.host.Out(0)[0], (1 + 3) * std::numbers::sqrt2 / 2, 1e-6);
  EXPECT_NEAR(d.host.Out(1)[15], (-2 + 5) * std::numbers::sqrt2 / 2, 1e-6);
}

TEST(TwoWayBlend, TheEndsOfTheRatioAreEitherInputAlone) {
  TwoWayFixture f;
  for (int32_t mode = 0; mode < kBlendModeCount; ++mode) {
    SCOPED_TRACE(mode);
    SetMode(f.blend, RBlendMode(mode));
    Settle(f.blend.GetRatio(), 0.0);
    f.host.Run(32);
    EXPECT_EQ(f.host.Out(0)[5], 1.0f);
    EXPECT_EQ(f.host.Out(1)[5], -2.0f);
    Settle(f.blend.GetRatio(), 1.0);
    f.host.Run(32);
    EXPECT_NEAR(f.host.Out(0)[5], 3.0f, 1e-6);
    EXPECT_NEAR(f.host.Out(1)[5], 5.0f, 1e-6);
  }
}

TEST(TwoWayBlend, CutAtAQuarterSoundsBothInputsAtFullLevel) {
  TwoWayFixture f;
  SetMode(f.blend, RBlendMode::kCut);
  Settle(f.blend.GetRatio(), 0.25);
  f.host.Run(32);
  EXPECT_FLOAT_EQ(f.host.Out(0)[0], 4.0f);
  EXPECT_FLOAT_EQ(f.host.Out(1)[31], 3.0f);
}

TEST(TwoWayBlend, VolumeGainAndPanoramaLevelTheMainInputOnly) {
  TwoWayFixture f;
  SetMode(f.blend, RBlendMode::kLinear);
  Settle(f.blend.GetRatio(), 0.5);
  Settle(*f.blend.GetVolume(), 0.5);
  Settle(*f.blend.GetGain(), 4.0);
  // Hard right: the left channel moves over onto the right.
  Settle(*f.blend.GetPanorama(), 1.0);
  f.host.Run(32);
  const float left = 0.0f, right = (-2.0f + 1.0f) * 0.5f * 4.0f;
  EXPECT_FLOAT_EQ(f.host.Out(0)[7], 0.5f * left + 0.5f * 3.0f);
  EXPECT_FLOAT_EQ(f.host.Out(1)[7], 0.5f * right + 0.5f * 5.0f);
}

TEST(TwoWayBlend, ASideChainLeftUnconnectedPassesTheLevelledMainInput) {
  TwoWayFixture f;
  SetMode(f.blend, RBlendMode::kLinear);
  // At ratio 1 a connected side chain would be all that sounds.
  Settle(f.blend.GetRatio(), 1.0);
  Settle(*f.blend.GetVolume(), 0.5);
  f.host.Run(32, true);
  EXPECT_FLOAT_EQ(f.host.Out(0)[3], 0.5f);
  EXPECT_FLOAT_EQ(f.host.Out(1)[3], -1.0f);
}

TEST(TwoWayBlend, AnOpenSideChainIsToldApartInABlockProcessedInPlace) {
  RTwoWayBlend blend;
  RModuleHost host(blend, 2);
  SetMode(blend, RBlendMode::kLinear);
  Settle(blend.GetRatio(), 1.0);
  Settle(*blend.GetVolume(), 0.5);
  std::vector<float> left(64, 1.0f), right(64, -1.0f);
  float* inputs[4] = {left.data(), right.data(), left.data(), right.data()};
  float* outputs[2] = {left.data(), right.data()};
  blend.ProcessCycle(inputs, outputs, 64, nullptr);
  EXPECT_FLOAT_EQ(left[10], 0.5f);
  EXPECT_FLOAT_EQ(right[63], -0.5f);
}

TEST(TwoWayBlend, AMovingRatioGlidesSampleBySampleAndHoldsItsEnd) {
  TwoWayFixture f;
  Settle(f.blend.GetRatio(), 0.1);
  // Past the stack chunk, so that the glide continues across it.
  constexpr int32_t kFrames = 300;
  f.blend.GetRatio().SetValueNow(0.9);
  f.host.Run(kFrames);
  for (int32_t i = 0; i < kFrames; i += 7) {
    const double r = 0.1 + 0.8 * i / kFrames;
    const double a = std::sin(r * std::numbers::pi / 2), b = std::cos(r * std::numbers::pi / 2);
    ASSERT_NEAR(f.host.Out(0)[size_t(i)], b * 1 + a * 3, 2e-5) << i;
    ASSERT_NEAR(f.host.Out(1)[size_t(i)], b * -2 + a * 5, 2e-5) << i;
  }
  f.host.Run(kFrames);
  const double a = std::sin(0.9 * std::numbers::pi / 2), b = std::cos(0.9 * std::numbers::pi / 2);
  EXPECT_NEAR(f.host.Out(0)[0], b * 1 + a * 3, 1e-5);
  EXPECT_NEAR(f.host.Out(0)[kFrames - 1], b * 1 + a * 3, 1e-5);
}

TEST(TwoWayBlend, AnInputSideGlideAndARatioGlideRunTogether) {
  TwoWayFixture f;
  SetMode(f.blend, RBlendMode::kLinear);
  Settle(f.blend.GetRatio(), 0.0);
  Settle(*f.blend.GetVolume(), 1.0);
  f.blend.GetRatio().SetValueNow(0.5);
  f.blend.GetVolume()->SetValueNow(0.0);
  f.host.Run(100);
  for (int32_t i = 0; i < 100; i += 9) {
    const double r = 0.5 * i / 100, volume = 1.0 - double(i) / 100;
    ASSERT_NEAR(f.host.Out(0)[size_t(i)], (1 - r) * volume * 1 + r * 3, 1e-5) << i;
  }
}

TEST(TwoWayBlend, TheTableHasTheInputSideAndModeStoresByName) {
  RTwoWayBlend blend;
  blend.InitParameters();
  int32_t previous = -1;
  for (const RValue* value : std::initializer_list<const RValue*>{&blend.GetRatio(), blend.GetGain(), blend.GetVolume(),
                                                                  blend.GetPanorama(), &blend.GetMode()}) {
    const int32_t index = blend.GetParameterIndexOf(value);
    EXPECT_GT(index, previous) << value->GetName().ToUTF8();
    previous = index;
  }
  EXPECT_EQ(blend.GetGain()->GetDisplayName(true), RString("Input"));
  EXPECT_EQ(blend.GetMode().GetIndex(), 2);
  EXPECT_EQ(blend.GetMode().GetText(), RString("Constant power"));

  SetMode(blend, RBlendMode::kLinear);
  blend.GetRatio().SetValueNow(0.3);
  blend.GetGain()->SetValueNow(std::pow(10.0, 6.0 / 20.0));
  blend.GetPanorama()->SetValueNow(-0.5);
  RTagItem tree;
  blend.SaveStateTree(tree);
  const RVariant* mode = tree.FindAttribute(RHashedString("#Mode"));
  ASSERT_NE(mode, nullptr);
  EXPECT_EQ(mode->ToText(), RString("Linear"));

  RTwoWayBlend copy;
  copy.InitParameters();
  copy.LoadStateTree(tree);
  EXPECT_EQ(copy.GetMode().GetIndex(), int32_t(RBlendMode::kLinear));
  EXPECT_NEAR(copy.GetRatio().GetValue(), 0.3, 1e-9);
  EXPECT_NEAR(copy.GetGain()->GetValue(), std::pow(10.0, 6.0 / 20.0), 1e-6);
  EXPECT_NEAR(copy.GetPanorama()->GetValue(), -0.5, 1e-9);
  EXPECT_DOUBLE_EQ(copy.GetVolume()->GetValue(), 1.0);
}

// --- inside a graph

TEST(TwoWayBlendInGraph, TheSideChainLaneBlendsInAndAnOpenSecondInputLeavesTheMainAlone) {
  RegisterTwoWayBlend();
  RAudioPlugin::Options options;
  options.sleep = false;
  RAudioPluginModular graph(RString("Graph"), 6, true, options);
  constexpr int32_t kFrames = 64;
  graph.SetHostFormat(48000.0, kFrames, 2, 2, 1);
  const PluginDescriptor* row = graph.FindDescriptor(RString("TwoWayBlend"));
  ASSERT_NE(row, nullptr);
  RPluginSlot* slot = graph.CreateSlot(0, 0, *row, false);
  ASSERT_NE(slot, nullptr);
  auto& blend = dynamic_cast<RTwoWayBlend&>(slot->GetModule());
  SetMode(blend, RBlendMode::kLinear);
  Settle(blend.GetRatio(), 0.75);
  Settle(*blend.GetVolume(), 0.5);

  std::vector<std::vector<float>> in = {std::vector<float>(kFrames, 1.0f), std::vector<float>(kFrames, -1.0f),
                                        std::vector<float>(kFrames, 4.0f), std::vector<float>(kFrames, 8.0f)};
  std::vector<float> left(kFrames), right(kFrames);
  float* inputs[4] = {in[0].data(), in[1].data(), in[2].data(), in[3].data()};
  float* outputs[2] = {left.data(), right.data()};

  // A graph with a side chain carries it on lane 3.
  slot->InputIndex[1] = 3;
  graph.RebuildProcessors(true);
  graph.ProcessCycle(inputs, outputs, kFrames, nullptr);
  EXPECT_FLOAT_EQ(left[kFrames - 1], 0.25f * 0.5f + 0.75f * 4.0f);
  EXPECT_FLOAT_EQ(right[0], 0.25f * -0.5f + 0.75f * 8.0f);

  slot->InputIndex[1] = -1;
  graph.RebuildProcessors(true);
  graph.ProcessCycle(inputs, outputs, kFrames, nullptr);
  EXPECT_FLOAT_EQ(left[kFrames - 1], 0.5f);
  EXPECT_FLOAT_EQ(right[0], -0.5f);
}
