// The echo module must not touch the heap once set up: this binary counts every allocation
// while blocks run with every stage engaged, times and levels ramping, and hostile input.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "tests/modules/echotaps/echorig.h"
#include "tests/support/allocationcounter.h"

using namespace echotest;

TEST(EchoTapsRealtime, EveryStageRampingAllocatesNothingAndStaysFinite) {
  REchoRig rig;
  REchoTaps& m = rig.module;
  m.Dry().SetValueNow(0.7);
  m.FilterModeValue().SetValueNow(REchoTaps::kFeedbackFilter);
  m.MinFrequency().SetValueNow(200.0);
  m.MaxFrequency().SetValueNow(8000.0);
  m.Saturation().SetValueNow(0.6);
  m.DelayModeValue().SetValueNow(REchoTaps::kSerial);
  for (int32_t t = 0; t < 2; ++t) {
    REchoTap& tap = m.Tap(t);
    tap.Tap().SetValueNow(1.0);
    tap.Feedback().SetValueNow(0.95);
    tap.Mode().SetValueNow(t == 0 ? 2 : 0);
    tap.AlgorithmValue().SetValueNow(t == 0 ? REchoTap::kTape : REchoTap::kModern);
    tap.Shuffle().SetValueNow(t == 0 ? 1.5 : -0.7);
    tap.LeftOffset().SetValueNow(0.02);
    tap.RightOffset().SetValueNow(-0.01);
    // The longest times first: the rings reach their size before the count starts.
    tap.Delay().SetValueNow(0.4);
  }
  rig.Start(48000.0, 2, 512);
  const std::vector<float> noise = Noise(512, 21);
  Channels block(2, noise);
  rig.Run(block);
  rig.Run(block);

  const int32_t delays[2] = {m.GetParameterIndexOf(&m.Tap(0).Delay()), m.GetParameterIndexOf(&m.Tap(1).Delay())};
  const int32_t levels[3] = {m.GetParameterIndexOf(&m.Tap(0).Feedback()), m.GetParameterIndexOf(&m.Tap(1).Gain()),
                             m.GetParameterIndexOf(&m.Tap(0).Panorama())};
  const int32_t edge = m.GetParameterIndexOf(&m.MinFrequency());
  const float hostile[] = {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(),
                           -std::numeric_limits<float>::infinity(), 1e30f, 1e-40f};
  Channels out(2, std::vector<float>(512, 0.0f));
  float* inputs[2] = {block[0].data(), block[1].data()};
  float* outputs[2] = {out[0].data(), out[1].data()};
  {
    RCountingScope scope;
    for (int32_t round = 0; round < 200; ++round) {
      // Times sweep within the rings' size; levels and the filter edge ramp every block.
      const double phase = 0.5 + 0.5 * std::sin(round * 0.1);
      m.ScheduleAutomationEvent(17, delays[0], 0.01 + 0.03 * phase);
      m.ScheduleAutomationEvent(300, delays[1], 0.04 - 0.03 * phase);
      m.ScheduleAutomationEvent(100, levels[round % 3], phase);
      m.ScheduleAutomationEvent(400, edge, 0.2 + 0.3 * phase);
      if (round % 40 == 20) m.Tap(1).Freeze().SetValueNow(1.0);
      if (round % 40 == 30) m.Tap(1).Freeze().SetValueNow(0.0);
      if (round % 50 == 25) m.Tap(0).Silence().SetValueNow(round % 100 == 25 ? 1.0 : 0.0);
      block[0][size_t(round % 512)] = hostile[round % 5];
      block[1][size_t((round * 7) % 512)] = hostile[(round + 2) % 5];
      m.ProcessCycle(inputs, outputs, 512, nullptr);
      for (const auto& channel : out)
        for (float v : channel) ASSERT_TRUE(std::isfinite(v)) << round;
    }
    EXPECT_EQ(scope.Allocations(), 0);
  }
}
