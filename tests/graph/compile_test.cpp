// The compile: which slots run, what each reads and writes, how rows line up in latency and
// where the result reaches the host.
#include <gtest/gtest.h>

#include "tests/graph/testmodules.h"

namespace {
uint64_t Bit(int32_t lane) { return uint64_t(1) << lane; }
void OnlyOutputs(RAudioPluginModular& graph, uint64_t lanes) {
  for (int32_t lane = 0; lane < graph.GetLaneCount(); ++lane) graph.SetOutputEnabled(lane, (lanes & Bit(lane)) != 0);
}
}  // namespace

TEST(GraphCompile, AnEmptyGraphPassesAudioAndEachInputLaneToItsOutputLane) {
  RGraphFixture f(6, true, 2, 2);
  auto out = f.Run({0.25f, -0.5f});
  EXPECT_FLOAT_EQ(out[0][10], 0.25f);
  EXPECT_FLOAT_EQ(out[1][10], 0.25f);
  EXPECT_FLOAT_EQ(out[2][10], -0.5f);
  EXPECT_FLOAT_EQ(out[3][10], -0.5f);
}

TEST(GraphCompile, AGraphWithEveryModuleDisabledCopiesTheInputAndNeverCallsAModule) {
  RGraphFixture f;
  RTestModule& m = f.Add(0, 0, 4.0f);
  f.Slot(0, 0).Enabled->SetNormalised(0.0);
  f.Compile();
  EXPECT_TRUE(f.graph.GetProcessors().empty());
  EXPECT_TRUE(f.graph.GetDirectCopy(0));
  EXPECT_EQ(f.graph.GetTotalLatency(), 0);
  auto out = f.Run({0.5f});
  EXPECT_FLOAT_EQ(out[0][0], 0.5f);
  EXPECT_FLOAT_EQ(out[1][255], 0.5f);
  EXPECT_EQ(m.Calls, 0);
}

TEST(GraphCompile, ADisabledSlotInTheMiddleOfALaneLeavesTheSignalUntouched) {
  RGraphFixture f;
  f.Add(0, 0, 0.5f);
  RTestModule& middle = f.Add(0, 5, 0.0f);
  f.Add(0, 9, 0.5f);
  f.Slot(0, 5).Enabled->SetNormalised(0.0);
  f.Compile();
  EXPECT_EQ(f.graph.GetProcessors().size(), 2u);
  auto out = f.Run({1.0f});
  EXPECT_FLOAT_EQ(out[0][100], 0.25f);
  EXPECT_FLOAT_EQ(out[1][100], 0.25f);
  EXPECT_EQ(middle.Calls, 0);
}

TEST(GraphCompile, ASlotWhoseOutputNobodyNeedsHasNoProcessorAndIsNeverCalled) {
  RGraphFixture f;
  OnlyOutputs(f.graph, Bit(0));
  RTestModule& used = f.Add(0, 2, 2.0f);
  RTestModule& unused = f.Add(2, 1, 3.0f);
  // Reads lane 1, writes lane 2 which nothing below reads: what it alone read isn't needed.
  f.Slot(2, 1).InputIndex[0] = 1;
  f.Compile();
  ASSERT_EQ(f.graph.GetProcessors().size(), 1u);
  EXPECT_FALSE(f.graph.GetNeededLanes(1) & Bit(1));
  EXPECT_FALSE(f.Listed("Gain 2.1"));
  auto out = f.Run({0.5f});
  EXPECT_FLOAT_EQ(out[0][3], 1.0f);
  EXPECT_EQ(used.Calls, 1);
  EXPECT_EQ(unused.Calls, 0);
}

TEST(GraphCompile, TwoSlotsOfOneRowReadTheSameSamplesWhileOneRewritesTheLane) {
  RGraphFixture f;
  OnlyOutputs(f.graph, Bit(0) | Bit(1));
  f.Add(0, 0, 3.0f);                          // lane 0 from a buffer from here on
  RTestModule& writer = f.Add(0, 1, 2.0f);    // rewrites lane 0
  RTestModule& reader = f.Add(1, 1, 1.0f);    // reads lane 0, right of the writer
  f.Slot(1, 1).InputIndex[0] = 0;
  f.Compile();
  auto out = f.Run({0.5f});
  EXPECT_FLOAT_EQ(writer.FirstInput[0], 1.5f);
  EXPECT_FLOAT_EQ(reader.FirstInput[0], 1.5f);
  // Lane 0 carries 3.0, lane 1 the reader's 1.5; one output lane sums them.
  EXPECT_FLOAT_EQ(out[0][7], 4.5f);
  const auto& processors = f.graph.GetProcessors();
  ASSERT_EQ(processors.size(), 3u);
  EXPECT_NE(processors[1]->OutputSelect[0], processors[2]->InputSelect[0]);
  EXPECT_EQ(processors[1]->InputSelect[0], processors[2]->InputSelect[0]);
}

TEST(GraphCompile, WithASideChainLaneThreeHearsTheSideChainAndLaneFourTheMainInput) {
  RGraphFixture f(6, true, 2, 1);
  RTestModule& three = f.Add(3, 0);
  RTestModule& four = f.Add(4, 0);
  f.Compile();
  f.Run({0.25f, 0.75f});
  EXPECT_FLOAT_EQ(three.FirstInput[0], 0.75f);
  EXPECT_FLOAT_EQ(four.FirstInput[0], 0.25f);
}

TEST(GraphCompile, ARowIsAlignedToItsSlowestModuleAndRowsAddUp) {
  RGraphFixture f;
  OnlyOutputs(f.graph, Bit(0) | Bit(1));
  f.Add(0, 0, 1.0f, 100);
  f.Add(1, 0, 1.0f, 40);
  f.Compile();
  EXPECT_EQ(f.graph.GetTotalLatency(), 100);
  EXPECT_TRUE(f.graph.IsClearOutputFirst());
  const auto& last = f.graph.GetProcessors().back();
  ASSERT_TRUE(last->Aligner);
  EXPECT_EQ(last->Aligner->GetLane(0).Delay, 0);
  EXPECT_EQ(last->Aligner->GetLane(1).Delay, 60);
  EXPECT_EQ(last->Aligner->GetLane(2).Delay, 100);

  std::vector<std::vector<float>> in(2, std::vector<float>(256, 0.0f)), out(2, std::vector<float>(256, 0.0f));
  in[0][5] = 1.0f;
  in[1][5] = 1.0f;
  f.RunBuffers(in, out, 256);
  for (int32_t i = 0; i < 256; ++i) {
    // Both lanes' impulses arrive together, 100 samples late, and sum in the one output.
    EXPECT_FLOAT_EQ(out[0][size_t(i)], i == 105 ? 2.0f : 0.0f) << i;
  }

  f.Add(0, 3, 1.0f, 40);
  f.Compile();
  EXPECT_EQ(f.graph.GetTotalLatency(), 140);
  EXPECT_EQ(f.graph.GetLatency(), 140);
}

TEST(GraphCompile, ALaneStolenAndNotRewrittenHasVanishedBelow) {
  RGraphFixture f;
  OnlyOutputs(f.graph, Bit(0) | Bit(2));
  f.Add(0, 0, 1.0f, 0, "Side");
  f.Slot(0, 0).InputIndex[1] = 2;
  f.Slot(0, 0).InputSteal[1] = 1;
  RTestModule& below = f.Add(2, 3);
  f.Compile();
  EXPECT_EQ(f.graph.GetStolenLanes(0), Bit(2));
  EXPECT_FALSE(f.graph.GetNeededLanes(1) & Bit(2));
  EXPECT_EQ(f.graph.GetProcessors().size(), 1u);
  f.Run({0.5f});
  EXPECT_EQ(below.Calls, 0);

  // Without the steal the same module runs.
  f.Slot(0, 0).InputSteal[1] = 0;
  f.Compile();
  EXPECT_EQ(f.graph.GetProcessors().size(), 2u);
}

TEST(GraphCompile, OutputsAlwaysLandOnTheColumnWhateverTheStoredMaskSaid) {
  RGraphFixture f;
  f.Add(2, 0);
  RPluginSlot& slot = f.Slot(2, 0);
  slot.MaskOut = Bit(5);
  slot.OutputIndex[0] = 4;
  f.Compile();
  EXPECT_EQ(slot.MaskOut, Bit(2));
  EXPECT_EQ(slot.OutputIndex[0], 2);
  EXPECT_EQ(slot.MaskIn, Bit(2));
}

TEST(GraphRouting, VariableInputsFollowTheMaskLowestLaneFirst) {
  RGraphFixture f(32);
  f.Add(0, 0, 1.0f, 0, "Many");
  RPluginSlot& slot = f.Slot(0, 0);
  slot.MaskIn = 131071;
  slot.MaskInSteal = Bit(3);
  f.graph.ResolveRouting(slot, 0);
  ASSERT_EQ(slot.InputCount, 17);
  EXPECT_EQ(slot.InputCountUsed, 17);
  for (int32_t i = 0; i < 17; ++i) EXPECT_EQ(slot.InputIndex[size_t(i)], i);
  EXPECT_EQ(slot.InputSteal[3], 1);
  EXPECT_EQ(slot.InputSteal[4], 0);
}

TEST(GraphRouting, ASecondFixedInputLeftOpenListensToTheFirstInputsLane) {
  RGraphFixture f;
  f.Add(1, 0, 1.0f, 0, "Side");
  RPluginSlot& slot = f.Slot(1, 0);
  slot.InputIndex[0] = 4;
  f.graph.ResolveRouting(slot, 1);
  EXPECT_EQ(slot.MaskIn, Bit(4));
  slot.InputIndex[1] = 2;
  slot.InputSteal[1] = 1;
  f.graph.ResolveRouting(slot, 1);
  EXPECT_EQ(slot.MaskIn, Bit(4) | Bit(2));
  EXPECT_EQ(slot.MaskInSteal, Bit(2));
}

TEST(GraphCompile, WithoutInputLanesASlotReadingAnUnwrittenLaneIsDropped) {
  RGraphFixture f(6, false, 0, 1);
  OnlyOutputs(f.graph, Bit(0) | Bit(1));
  RTestModule& source = f.Add(0, 0, 1.0f, 0, "Source");
  RTestModule& starved = f.Add(1, 0);
  f.Compile();
  EXPECT_TRUE(f.Slot(0, 0).Active);
  EXPECT_FALSE(f.Slot(1, 0).Active);
  ASSERT_EQ(f.graph.GetProcessors().size(), 1u);
  f.Run({});
  EXPECT_EQ(source.Calls, 1);
  EXPECT_EQ(starved.Calls, 0);
}

TEST(GraphCompile, TheVersionMovesOncePerCompileAndNotBeforeTheFirstSetup) {
  RAudioPluginModular unprepared(RString("Graph"));
  unprepared.RebuildProcessors(true);
  EXPECT_EQ(unprepared.GetGraphVersion(), 0);

  RGraphFixture f;
  const int32_t before = f.graph.GetGraphVersion();
  f.Add(0, 0);
  f.Compile();
  f.Compile(false);
  EXPECT_EQ(f.graph.GetGraphVersion(), before + 2);
}

TEST(GraphCompile, ALatencyChangeIsAnnouncedOnRecompile) {
  RGraphFixture f;
  RTestModule& m = f.Add(0, 0, 1.0f, 10);
  f.Compile();
  int32_t heard = -1;
  f.graph.LatencyChanged.Subscribe(&heard, nullptr, 0, [](void* receiver, void*, int32_t, const REventPayload& p) {
    *static_cast<int32_t*>(receiver) = p.As<int32_t>();
  });
  m.SetLatency(32);
  f.graph.Recompile(false);
  EXPECT_EQ(heard, 32);
  EXPECT_EQ(f.graph.GetTotalLatency(), 32);
}

TEST(GraphCompile, TheDumpListsEachProcessorThenTheMixListAndDirectCopy) {
  RGraphFixture f;
  OnlyOutputs(f.graph, Bit(0) | Bit(1));
  f.Add(0, 0, 1.0f, 100);
  f.Add(1, 0, 1.0f, 40);
  f.Compile();
  const std::string text = f.graph.DescribeProcessors().ToUTF8();
  EXPECT_NE(text.find("row 0 col 0 Gain 0.0: in [host 0] out [L0/B1] latency 100"), std::string::npos) << text;
  EXPECT_NE(text.find("row 0 col 1 Gain 1.0: in [host 0] out [L1/B1] latency 40 aligner [L1+60"), std::string::npos)
      << text;
  EXPECT_NE(text.find("mix L0/B1 -> out 0"), std::string::npos) << text;
  EXPECT_NE(text.find("mix L1/B1 -> out 1"), std::string::npos) << text;
  EXPECT_NE(text.find("direct copy: none"), std::string::npos) << text;
}
