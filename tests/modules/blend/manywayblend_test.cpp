// RManyWayBlend through its cycle: where the ratio lands among the buses with and without the
// cyclic walk, how a glide crosses buses and stops short of the end, one and no buses, the
// table, and a slot reading 17 lanes inside a graph.
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <vector>

#include "base/tagitem.h"
#include "graph/audiopluginmodular.h"
#include "graph/pluginslot.h"
#include "modules/blend/manywayblend.h"
#include "tests/modules/blend/modulehost.h"

namespace {

void Settle(RRangedValue& value, double real) {
  value.SetValueNow(real);
  value.MarkRampDone();
}

// N buses, bus k holding 10^k on the left and -(k + 1) on the right, so every mix of two
// neighbours is told apart.
struct ManyFixture {
  RManyWayBlend blend;
  RModuleHost host;

  explicit ManyFixture(int32_t buses) : host(blend, buses) {
    for (int32_t k = 0; k < buses; ++k) {
      host.SetChannel(k, 0, [k](int32_t) { return float(std::pow(10.0, k % 6)); });
      host.SetChannel(k, 1, [k](int32_t) { return float(-(k + 1)); });
    }
  }
  float Left(int32_t k) const { return float(std::pow(10.0, k % 6)); }
  void Set(RBlendMode mode, double ratio, bool cyclic = false) {
    blend.GetMode().SetValueNow(double(int32_t(mode)));
    blend.GetCyclic().SetValueNow(cyclic ? 1.0 : 0.0);
    Settle(blend.GetRatio(), ratio);
  }
};

} // namespace

TEST(ManyWayBlend, RatioOneIsTheLastBusAloneInEveryMode) {
  ManyFixture f(4);
  for (int32_t mode = 0; mode < kBlendModeCount; ++mode) {
    SCOPED_TRACE(mode);
    f.Set(RBlendMode(mode), 1.0);
    f.host.Run(32);
    EXPECT_EQ(f.host.Out(0)[0], 1000.0f);
    EXPECT_EQ(f.host.Out(1)[31], -4.0f);
  }
}

TEST(ManyWayBlend, CyclicRatioOneComesBackRoundToTheFirstBus) {
  ManyFixture f(4);
  for (int32_t mode = 0; mode < kBlendModeCount; ++mode) {
    SCOPED_TRACE(mode);
    f.Set(RBlendMode(mode), 1.0, true);
    f.host.Run(32);
    EXPECT_EQ(f.host.Out(0)[0], 1.0f);
    EXPECT_EQ(f.host.Out(1)[31], -1.0f);
  }
}

TEST(ManyWayBlend, CyclicThirdsStepThroughThreeBuses) {
  ManyFixture f(3);
  const double expected[4][2] = {{1, -1}, {10, -2}, {100, -3}, {1, -1}};
  for (int32_t step = 0; step <= 3; ++step) {
    f.Set(RBlendMode::kLinear, step / 3.0, true);
    f.host.Run(16);
    EXPECT_NEAR(f.host.Out(0)[4], expected[step][0], 1e-4 * expected[step][0]) << step;
    EXPECT_NEAR(f.host.Out(1)[4], expected[step][1], 1e-5) << step;
  }
}

TEST(ManyWayBlend, SeventeenBusesAtSevenEighthsAreBusFourteenAlone) {
  ManyFixture f(17);
  for (int32_t mode = 0; mode < kBlendModeCount; ++mode) {
    SCOPED_TRACE(mode);
    f.Set(RBlendMode(mode), 0.875);
    f.host.Run(32);
    EXPECT_EQ(f.host.Out(0)[9], f.Left(14));
    EXPECT_EQ(f.host.Out(1)[9], -15.0f);
  }
}

TEST(ManyWayBlend, BetweenTwoBusesTheLawCrossfadesTheNeighbours) {
  ManyFixture f(5);
  // Span 4: 0.3 is position 1.2, from bus 1 towards bus 2.
  f.Set(RBlendMode::kLinear, 0.3);
  f.host.Run(16);
  EXPECT_NEAR(f.host.Out(0)[0], 0.8 * 10 + 0.2 * 100, 1e-4);
  EXPECT_NEAR(f.host.Out(1)[0], 0.8 * -2 + 0.2 * -3, 1e-5);
  f.Set(RBlendMode::kConstantPower, 0.3);
  f.host.Run(16);
  const double a = std::sin(0.2 * std::numbers::pi / 2), b = std::cos(0.2 * std::numbers::pi / 2);
  EXPECT_NEAR(f.host.Out(1)[0], b * -2 + a * -3, 1e-5);
}

TEST(ManyWayBlend, AGlideCrossesBusesSampleBySample) {
  ManyFixture f(4);
  for (bool cyclic : {false, true}) {
    SCOPED_TRACE(cyclic);
    f.Set(RBlendMode::kLinear, 0.05, cyclic);
    f.blend.GetRatio().SetValueNow(0.95);
    constexpr int32_t kFrames = 400;
    f.host.Run(kFrames);
    const int32_t span = cyclic ? 4 : 3;
    for (int32_t i = 0; i < kFrames; ++i) {
      const double p = (0.05 + 0.9 * i / kFrames) * span;
      const auto k = int32_t(p);
      const double frac = p - k;
      const double expected = (1 - frac) * -(k % 4 + 1) + frac * -((k + 1) % 4 + 1);
      ASSERT_NEAR(f.host.Out(1)[size_t(i)], expected, 1e-4) << i;
    }
  }
}

TEST(ManyWayBlend, AGlideIntoTheEndStopsJustShortOfTheLastBus) {
  ManyFixture f(3);
  // Bus 1 loud and bus 2 silent on the left: a millionth of a step shows as 1e-3.
  f.host.SetChannel(1, 0, [](int32_t) { return 1000.0f; });
  f.host.SetChannel(2, 0, [](int32_t) { return 0.0f; });
  f.Set(RBlendMode::kLinear, 1.0 - 1e-8);
  f.blend.GetRatio().SetValueNow(1.0);
  f.host.Run(64);
  for (int32_t i = 0; i < 64; i += 9) {
    EXPECT_NEAR(f.host.Out(0)[size_t(i)], 1e-3, 1e-4) << i;
    EXPECT_GT(f.host.Out(0)[size_t(i)], 0.0f) << i;
  }
  // Standing still at 1, the last bus is reached in full.
  f.host.Run(64);
  EXPECT_EQ(f.host.Out(0)[0], 0.0f);
  EXPECT_EQ(f.host.Out(1)[0], -3.0f);
}

TEST(ManyWayBlend, OneBusIsCopiedAndNoBusIsSilence) {
  ManyFixture one(1);
  one.Set(RBlendMode::kSquared, 0.7);
  one.host.Run(16);
  EXPECT_EQ(one.host.Out(0)[3], 1.0f);
  EXPECT_EQ(one.host.Out(1)[3], -1.0f);

  RAwake<RManyWayBlend> none;
  RModuleHost host(none, 0);
  host.Run(16);
  for (int32_t c = 0; c < 2; ++c) {
    for (float v : host.Out(c)) ASSERT_EQ(v, 0.0f);
  }
}

TEST(ManyWayBlend, TheTableHasRatioModeAndCyclicAndNoInputSide) {
  RManyWayBlend blend;
  blend.InitParameters();
  EXPECT_FALSE(blend.HasInputSide());
  EXPECT_EQ(blend.GetGain(), nullptr);
  EXPECT_LT(blend.GetParameterIndex(RString("Ratio")), blend.GetParameterIndex(RString("Mode")));
  EXPECT_LT(blend.GetParameterIndex(RString("Mode")), blend.GetParameterIndex(RString("Cyclic mode")));
  EXPECT_EQ(blend.GetParameterIndex(RString("Volume")), -1);

  blend.GetCyclic().SetValueNow(1.0);
  blend.GetMode().SetValueNow(double(int32_t(RBlendMode::kFade)));
  RTagItem tree;
  blend.SaveStateTree(tree);
  ASSERT_NE(tree.FindAttribute(RHashedString("#Cyclic")), nullptr);
  EXPECT_EQ(tree.FindAttribute(RHashedString("#Mode"))->ToText(), RString("Fade"));
  RManyWayBlend copy;
  copy.InitParameters();
  copy.LoadStateTree(tree);
  EXPECT_TRUE(copy.GetCyclic().IsOn());
  EXPECT_EQ(copy.GetMode().GetIndex(), int32_t(RBlendMode::kFade));
}

// --- inside a graph

namespace {

RAudioPlugin::Options Awake() {
  RAudioPlugin::Options options;
  options.sleep = false;
  return options;
}

} // namespace

TEST(ManyWayBlendInGraph, ASlotReadingSeventeenLanesWalksThemByItsRatio) {
  RegisterManyWayBlend();
  constexpr int32_t kBuses = 17, kFrames = 128;
  RAudioPluginModular graph(RString("Graph"), 32, false, Awake());
  graph.SetHostFormat(48000.0, kFrames, 2, kBuses, 1);
  const PluginDescriptor* row = graph.FindDescriptor(RString("ManyWayBlend"));
  ASSERT_NE(row, nullptr);
  RPluginSlot* slot = graph.CreateSlot(0, 0, *row, false);
  ASSERT_NE(slot, nullptr);
  slot->MaskIn = 131071;
  graph.RebuildProcessors(true);
  EXPECT_EQ(slot->InputCountUsed, kBuses);
  auto& blend = dynamic_cast<RManyWayBlend&>(slot->GetModule());
  EXPECT_EQ(blend.GetInputBuses(), kBuses);

  std::vector<std::vector<float>> in(size_t(kBuses * 2), std::vector<float>(kFrames));
  std::vector<std::vector<float>> out(2, std::vector<float>(kFrames));
  float* inputs[kBuses * 2];
  float* outputs[2] = {out[0].data(), out[1].data()};
  for (int32_t k = 0; k < kBuses; ++k) {
    std::fill(in[size_t(2 * k)].begin(), in[size_t(2 * k)].end(), float(k + 1));
    std::fill(in[size_t(2 * k + 1)].begin(), in[size_t(2 * k + 1)].end(), float(-(k + 1)));
    inputs[2 * k] = in[size_t(2 * k)].data();
    inputs[2 * k + 1] = in[size_t(2 * k + 1)].data();
  }

  Settle(blend.GetRatio(), 0.875);
  graph.ProcessCycle(inputs, outputs, kFrames, nullptr);
  EXPECT_EQ(out[0][kFrames - 1], 15.0f);
  EXPECT_EQ(out[1][0], -15.0f);

  Settle(blend.GetRatio(), 1.0);
  graph.ProcessCycle(inputs, outputs, kFrames, nullptr);
  EXPECT_EQ(out[0][5], 17.0f);

  blend.GetCyclic().SetValueNow(1.0);
  graph.ProcessCycle(inputs, outputs, kFrames, nullptr);
  EXPECT_EQ(out[0][5], 1.0f);
}
