// After setup and the compile the audio walk must not touch the heap: this binary replaces
// the global allocation functions with counting ones and runs a graph with every kind of
// compiled path (host inputs, lane buffers, the direct path, the mix list, aligners, mute,
// a feedback send) at odd block sizes.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <vector>

#include "tests/graph/testmodules.h"
#include "tests/support/allocationcounter.h"

TEST(GraphRealtime, TheAudioWalkAllocatesNothingAfterTheCompile) {
  RGraphFixture f(6, true, 2, 1);
  for (int32_t lane = 0; lane < 6; ++lane) f.graph.SetOutputEnabled(lane, lane == 0 || lane == 1 || lane == 3);
  f.Add(0, 0, 0.5f);
  f.Add(1, 0, 1.0f, 64);                   // a row with latency: an aligner
  f.Add(3, 0, 0.25f);                      // hears the side-chain
  f.Add(0, 1, 1.0f, 0, "Side");            // two inputs, lane 0 and lane 3
  f.Slot(0, 1).InputIndex[1] = 3;
  f.Add(1, 2, 2.0f);
  f.Slot(1, 2).FeedbackChannel = 5;
  f.Add(3, 3, 1.0f);
  f.Slot(3, 3).Mute = true;
  f.Compile();
  ASSERT_GE(f.graph.GetProcessors().size(), 5u);
  ASSERT_GT(f.graph.GetTotalLatency(), 0);
  ASSERT_FALSE(f.graph.GetMixList().empty());

  const int32_t sizes[] = {256, 1, 7, 255, 64, 3, 256, 100};
  std::vector<std::vector<float>> in(4, std::vector<float>(256)), out(2, std::vector<float>(256));
  int64_t phase = 0;
  auto block = [&](int32_t frames) {
    for (int32_t i = 0; i < frames; ++i, ++phase) {
      for (auto& channel : in) channel[size_t(i)] = 0.5f * std::sin(float(phase) * 0.03f);
    }
    f.RunBuffers(in, out, frames);
  };
  // The first blocks may settle whatever grows on first use.
  for (int32_t i = 0; i < 4; ++i) block(256);

  long allocations = 0;
  {
    RCountingScope scope;
    for (int32_t round = 0; round < 20; ++round) {
      for (int32_t frames : sizes) block(frames);
    }
    allocations = scope.Allocations();
  }
  EXPECT_EQ(allocations, 0);
  for (float v : out[0]) EXPECT_TRUE(std::isfinite(v));
}
