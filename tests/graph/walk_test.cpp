// The audio walk: what reaches the host's output, per block, from the compiled lists.
#include <gtest/gtest.h>

#include "tests/graph/testmodules.h"

namespace {
uint64_t Bit(int32_t lane) { return uint64_t(1) << lane; }
void OnlyOutputs(RAudioPluginModular& graph, uint64_t lanes) {
  for (int32_t lane = 0; lane < graph.GetLaneCount(); ++lane) graph.SetOutputEnabled(lane, (lanes & Bit(lane)) != 0);
}
}  // namespace

TEST(GraphWalk, TheLastWriterOfTheOutputLaneWritesStraightIntoTheHostBuffer) {
  RGraphFixture f;
  f.Add(0, 0, 2.0f);
  f.Add(0, 1, 3.0f);
  f.Compile();
  const auto& processors = f.graph.GetProcessors();
  ASSERT_EQ(processors.size(), 2u);
  EXPECT_EQ(processors[1]->OutputHostIndex[0], 0);
  EXPECT_EQ(processors[1]->OutputHostIndex[1], 1);
  EXPECT_EQ(processors[0]->OutputHostIndex[0], -1);
  EXPECT_TRUE(f.graph.GetMixList().empty());
  auto out = f.Run({0.5f});
  EXPECT_FLOAT_EQ(out[0][0], 3.0f);
  EXPECT_FLOAT_EQ(out[1][255], 3.0f);
}

TEST(GraphWalk, ALaneReadAfterItsLastWriteIsAddedOntoTheDirectlyWrittenOutput) {
  RGraphFixture f;
  OnlyOutputs(f.graph, Bit(0) | Bit(1));
  f.Add(0, 0, 2.0f);
  f.Add(1, 1, 0.5f);  // reads lane 0 after its last write: lane 0 can't go direct
  f.Slot(1, 1).InputIndex[0] = 0;
  f.Compile();
  ASSERT_EQ(f.graph.GetMixList().size(), 1u);
  EXPECT_EQ(f.graph.GetMixList()[0].Lane, 0);
  EXPECT_EQ(f.graph.GetProcessors()[1]->OutputHostIndex[0], 0);
  auto out = f.Run({0.25f});
  EXPECT_FLOAT_EQ(out[0][9], 0.5f + 0.25f);
}

TEST(GraphWalk, AnOutputBusThatNothingWritesIsSilentRatherThanStale) {
  RGraphFixture f(6, false, 1, 2);
  f.Add(0, 0, 2.0f);
  f.Compile();
  EXPECT_TRUE(f.graph.GetClearedOutputs() & 2);
  auto out = f.Run({0.25f});
  EXPECT_FLOAT_EQ(out[0][9], 0.5f);
  EXPECT_FLOAT_EQ(out[2][9], 0.0f);
  EXPECT_FLOAT_EQ(out[3][255], 0.0f);
}

TEST(GraphWalk, MuteRunsTheModuleAndClearsItsOutput) {
  RGraphFixture f;
  RTestModule& m = f.Add(0, 0, 2.0f);
  f.Slot(0, 0).Mute = true;
  f.Compile();
  auto out = f.Run({0.5f});
  EXPECT_EQ(m.Calls, 1);
  EXPECT_FLOAT_EQ(out[0][0], 0.0f);
  EXPECT_FLOAT_EQ(out[1][200], 0.0f);
}

TEST(GraphWalk, DoNothingWhenBypassedSkipsTheModuleCallAltogether) {
  RGraphFixture f;
  OnlyOutputs(f.graph, Bit(0));
  f.Add(0, 0, 2.0f);
  RTestModule& bypassed = f.Add(0, 1, 5.0f);
  bypassed.GetBypassValue()->SetNormalised(1.0);
  bypassed.GetBypassValue()->SyncProcessing();
  f.Compile();
  f.Run({0.5f}, 2);
  const int32_t callsWithoutDWB = bypassed.Calls;
  f.Slot(0, 1).DWB = true;
  f.Run({0.5f}, 3);
  ASSERT_TRUE(bypassed.IsBypassed());
  EXPECT_EQ(bypassed.Calls, callsWithoutDWB);
}

TEST(GraphWalk, AModuleThatThrowsDoesNotStopTheNextProcessor) {
  RGraphFixture f;
  OnlyOutputs(f.graph, Bit(0) | Bit(1));
  RTestModule& failing = f.Add(0, 0, 2.0f);
  RTestModule& next = f.Add(1, 0, 3.0f);
  failing.Throws = true;
  f.Compile();
  f.Run({0.5f}, 2);
  EXPECT_EQ(failing.Calls, 2);
  EXPECT_EQ(next.Calls, 2);
  EXPECT_FLOAT_EQ(next.FirstInput[0], 0.5f);
}

TEST(GraphWalk, AFeedbackSendHoldsTheOutputTimesItsGain) {
  RGraphFixture f;
  f.Add(0, 0, 2.0f);
  f.Slot(0, 0).FeedbackChannel = 3;
  f.Slot(0, 0).FeedbackGain = 0.5;
  f.Compile();
  f.Run({0.25f}, 1, 100);
  const auto& entry = f.graph.GetFeedbackTable()[3];
  EXPECT_EQ(entry.Frames, 100);
  EXPECT_EQ(entry.Channels, 2);
  EXPECT_FLOAT_EQ(entry.Samples[0], 0.25f);
  EXPECT_FLOAT_EQ(entry.Samples[199], 0.25f);
  EXPECT_EQ(f.graph.GetFeedbackTable()[2].Frames, 0);
}

TEST(GraphWalk, DelayedLanesStayAlignedAcrossOddBlockSizes) {
  RGraphFixture f;
  OnlyOutputs(f.graph, Bit(0) | Bit(1));
  f.Add(0, 0, 1.0f, 37);
  f.Add(1, 0, 1.0f, 5);
  f.Compile();
  std::vector<float> response;
  int32_t sample = 0;
  for (int32_t size : {1, 7, 64, 255, 3, 256}) {
    std::vector<std::vector<float>> in(2, std::vector<float>(size_t(size), 0.0f));
    std::vector<std::vector<float>> out(2, std::vector<float>(size_t(size), 0.0f));
    for (int32_t i = 0; i < size; ++i) {
      // A ramp, so that any misalignment between the two lanes shows as a wrong sum.
      in[0][size_t(i)] = in[1][size_t(i)] = float(sample + i + 1) * 1e-3f;
    }
    f.RunBuffers(in, out, size);
    for (float v : out[0]) response.push_back(v);
    sample += size;
  }
  for (size_t i = 0; i < response.size(); ++i) {
    const float expected = i < 37 ? 0.0f : 2.0f * float(i - 37 + 1) * 1e-3f;
    ASSERT_NEAR(response[i], expected, 1e-6f) << i;
  }
}
