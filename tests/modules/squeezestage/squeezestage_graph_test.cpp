// RSqueezeStage as a slot of a graph with a side chain: its second input reads lane 3, and
// its parameters are the graph's.
#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "graph/audiopluginmodular.h"
#include "graph/moduleregistry.h"
#include "graph/nestedgraph.h"
#include "graph/pluginslot.h"
#include "tests/modules/squeezestage/squeezetest.h"

using namespace squeezetest;

TEST(SqueezeStageInGraph, ASlotReadingLanesZeroAndThreeIsKeyedByTheSideChainAtEveryRate) {
  RegisterSqueezeStage();
  for (double rate : {44100.0, 48000.0, 88200.0, 96000.0, 192000.0}) {
    SCOPED_TRACE(rate);
    RAudioPlugin::Options options;
    options.sleep = false;
    RAudioPluginModular graph(RString("Graph"), 6, true, options);
    constexpr int32_t kBlock = 256;
    graph.SetHostFormat(rate, kBlock, 2, 2, 1);
    const PluginDescriptor* row = graph.FindDescriptor(RString("SqueezeStage"));
    ASSERT_NE(row, nullptr);
    EXPECT_EQ(row->Category, RString("Dynamics"));
    EXPECT_EQ(row->InputCount, 2);
    RPluginSlot* slot = graph.CreateSlot(0, 0, *row, false);
    ASSERT_NE(slot, nullptr);
    auto* stage = dynamic_cast<RSqueezeStage*>(&slot->GetModule());
    ASSERT_NE(stage, nullptr);
    slot->InputIndex[1] = 3;
    graph.RebuildProcessors(true);
    RefreshParameterTables(graph);
    const int32_t sideChain = graph.GetParameterIndex(slot->FullName + RString(" - Side-chain"));
    ASSERT_GE(sideChain, 0);
    EXPECT_EQ(graph.GetParameterValue(sideChain), &stage->GetSideChain());
    stage->GetAutoMakeup().SetValueNow(0.0);
    stage->GetSideChain().SetValueNow(1.0);

    const auto length = int32_t(rate / 2);
    const auto main = Sine(1000.0, rate, length, -30.0);
    const auto key = Sine(300.0, rate, length, -6.0);
    std::vector<float> left(main), right(main), sideLeft(key), sideRight(key);
    std::vector<float> outLeft(main.size()), outRight(main.size());
    for (int32_t start = 0; start < length; start += kBlock) {
      const int32_t frames = std::min(kBlock, length - start);
      float* inputs[4] = {left.data() + start, right.data() + start, sideLeft.data() + start, sideRight.data() + start};
      float* outputs[2] = {outLeft.data() + start, outRight.data() + start};
      graph.ProcessCycle(inputs, outputs, frames, nullptr);
    }
    const auto settled = size_t(rate / 4);
    EXPECT_NEAR(Decibels(Rms(outLeft, settled, settled) / Rms(main, settled, settled)), -9.0, 0.3);
    EXPECT_NEAR(stage->GetGainReduction(), 9.0, 0.3);
  }
}
