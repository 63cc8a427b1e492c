// After setup the span filter must not touch the heap, whatever moves: this binary counts
// every allocation while both sides at their steepest, the gain and the mix ramp under host
// automation at odd block sizes, and feeds it hostile input.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "tests/modules/dsp/dsptestsignals.h"
#include "tests/modules/spanfilter/spanfiltertest.h"
#include "tests/support/allocationcounter.h"

using namespace spanfiltertest;

TEST(SpanFilterRealtime, RampingEverythingAllocatesNothingAndHostileInputStaysFinite) {
  Rig rig(48000.0, 2, 512);
  rig.Set("High-pass slope", "HP 120");
  rig.Set("Low-pass slope", "LP 120");
  rig.Set("High-pass Q", "8");
  rig.Set("Low-pass Q", "30");
  const auto x = dsptest::Noise(512, 9);
  // The first blocks may take the ramp records every parameter gets on first use.
  for (int32_t i = 0; i < 4; ++i) {
    rig.Automate("High-pass", "200 Hz", 100);
    rig.Automate("Low-pass", "3 kHz", 100);
    rig.Automate("Output", "+3", 100);
    rig.Automate("Dry/Wet", "70", 100);
    rig.RunAll(x);
  }

  const int32_t sizes[] = {512, 1, 7, 255, 64, 3, 300};
  std::vector<float> in(512), outLeft(512), outRight(512);
  float* inputs[2] = {in.data(), in.data()};
  float* outputs[2] = {outLeft.data(), outRight.data()};
  long allocations = 0;
  {
    RCountingScope scope;
    for (int32_t round = 0; round < 20; ++round) {
      const bool up = round % 2 == 0;
      for (int32_t frames : sizes) {
        for (int32_t i = 0; i < frames; ++i) in[size_t(i)] = x[size_t(i)];
        rig.filter.SetParameterEdited(frames / 2 + 1, rig.Index("High-pass"), up ? 0.7 : 0.1);
        rig.filter.SetParameterEdited(frames, rig.Index("Low-pass"), up ? 0.3 : 0.95);
        rig.filter.SetParameterEdited(frames, rig.Index("High-pass Q"), up ? 0.2 : 0.01);
        rig.filter.SetParameterEdited(frames, rig.Index("Output"), up ? 0.9 : 0.4);
        rig.filter.SetParameterEdited(frames, rig.Index("Dry/Wet"), up ? 0.6 : 1.0);
        rig.filter.ProcessCycle(inputs, outputs, frames, nullptr);
      }
    }
    allocations = scope.Allocations();
  }
  EXPECT_EQ(allocations, 0);

  const float hostile[] = {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(),
                           -std::numeric_limits<float>::infinity(), 1e30f, -1e30f, 1e-40f, -1e-42f};
  for (int32_t block = 0; block < 8; ++block) {
    for (size_t i = 0; i < in.size(); ++i) in[i] = hostile[(i + size_t(block)) % std::size(hostile)];
    rig.filter.ProcessCycle(inputs, outputs, 512, nullptr);
    for (size_t i = 0; i < outLeft.size(); ++i) {
      ASSERT_TRUE(std::isfinite(outLeft[i])) << block << " " << i;
      ASSERT_TRUE(std::isfinite(outRight[i])) << block << " " << i;
    }
  }
  // And it recovers: ordinary input gives ordinary output again.
  for (int32_t block = 0; block < 200; ++block) {
    for (size_t i = 0; i < in.size(); ++i) in[i] = x[i];
    rig.filter.ProcessCycle(inputs, outputs, 512, nullptr);
  }
  for (float v : outLeft) ASSERT_LT(std::fabs(v), 10.0f);
}
