// The channel tool's block must not touch the heap once set up, with every stage engaged and
// its values moving, and must give finite output whatever comes in: this binary counts every
// allocation.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "tests/modules/channeltool/channeltoolrig.h"
#include "tests/support/allocationcounter.h"

using namespace channeltooltest;

TEST(ChannelToolRealtime, EveryStageEngagedAllocatesNothingAndGivesFiniteOutputForHostileInput) {
  RChannelToolRig rig(48000.0, 512);
  for (const char* panel : {"DCBlocker", "DelayEnabled", "DelayReportLatency", "RMSEnabled", "EnvelopeEnabled",
                            "MathEnabled", "ExpressionEnabled", "Coder", "InvertLeft", "InvertRight",
                            "SwapLeftRight"}) {
    rig.Set(panel, 1.0);
  }
  rig.Set("DelaySamples", 300.0);
  rig.Set("DelayMilliseconds", 0.001);
  rig.Set("DCBlockerAttenuation", 5.0);
  rig.Set("Exp", 0.5);
  rig.Set("Log", 0.5);
  rig.Set("Add", 0.1);
  ASSERT_TRUE(rig.Tool().SetExpressionText(RString("x / (x - x) + log(x) + p1 * sin(x) / p2")));
  // The editor side makes room for the delay as its change events arrive.
  for (RValue* value : rig.Tool().GetOwnValues()) {
    while (value->Changed.ExecutePendingEvent()) {
    }
  }

  constexpr int32_t kMax = 512;
  std::vector<float> left(kMax), right(kMax), outLeft(kMax), outRight(kMax);
  const float hostile[] = {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(),
                           -std::numeric_limits<float>::infinity(), 1e30f, -1e30f, 1e-40f, -1e-42f};
  auto fill = [&](int32_t round) {
    for (int32_t i = 0; i < kMax; ++i) {
      const float tone = 0.5f * std::sin(0.05f * float(i + round * kMax));
      left[size_t(i)] = (i % 7 == round % 7) ? hostile[size_t((i + round) % 7)] : tone;
      right[size_t(i)] = (i % 11 == 0) ? hostile[size_t(round % 7)] : -tone;
    }
  };
  const int32_t sizes[] = {512, 37, 1, 300, 129};
  auto run = [&](int32_t round) {
    fill(round);
    const int32_t frames = sizes[round % 5];
    float* inputs[2] = {left.data(), right.data()};
    float* outputs[2] = {outLeft.data(), outRight.data()};
    rig.Tool().ProcessCycle(inputs, outputs, frames, nullptr);
    for (int32_t i = 0; i < frames; ++i) {
      ASSERT_TRUE(std::isfinite(outLeft[size_t(i)])) << round << " " << i;
      ASSERT_TRUE(std::isfinite(outRight[size_t(i)])) << round << " " << i;
    }
  };
  run(0);
  run(1);

  // What the scheduler does on the audio thread: processing values move, stages ramp.
  const char* moving[] = {"Volume", "Gain", "panorama", "panlaw2", "panoramaleft", "panoramaright", "VolumeLeft",
                          "VolumeRight", "DCBlockerQuality", "DelaySamples", "RMSLength", "RMSHold", "Attack",
                          "Release", "Add", "Exp", "Log", "Param1", "Param2", "CoderMode", "DCBlockerAttenuation"};
  std::vector<RRangedValue*> values;
  for (const char* key : moving) values.push_back(&rig.Value(key));

  RCountingScope scope;
  for (int32_t round = 2; round < 300; ++round) {
    for (size_t v = 0; v < values.size(); ++v) {
      values[v]->SetProcessing(0.5 + 0.45 * std::sin(0.1 * double(round) + double(v)));
    }
    run(round);
  }
  EXPECT_EQ(scope.Allocations(), 0);
}
