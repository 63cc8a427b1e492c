// The run functions of the DSP primitives must not touch the heap: this binary replaces the
// global allocation functions with counting ones and runs every primitive after its setup.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <vector>

#include "modules/dsp/autogain.h"
#include "modules/dsp/biquad.h"
#include "modules/dsp/delayline.h"
#include "modules/dsp/gainstages.h"
#include "modules/dsp/movingsum.h"
#include "tests/modules/dsp/dsptestsignals.h"
#include "tests/support/allocationcounter.h"

TEST(DspRealtime, RunsAllocateNothingAfterSetup) {
  constexpr int32_t kBlock = 512;
  std::vector<float> left = dsptest::Noise(kBlock, 1), right = dsptest::Noise(kBlock, 2);
  std::vector<float> outLeft(kBlock), outRight(kBlock);
  RBiquad stages[4];
  for (int32_t s = 0; s < 4; ++s) stages[s].Design(RBiquad::kPeak, 3.0, 500.0 * (s + 1), 48000.0, 1.0);
  RBiquadState states[4], pairLeft, pairRight;
  RDelayLine line;
  line.Reserve(20000);
  line.SetDelay(100);
  RMovingSum sum;
  sum.SetWindow(0.4, 48000.0);
  RAutoGain gain;
  gain.Setup(2, 48000.0);
  const float* inputs[2] = {left.data(), right.data()};
  float* outputs[2] = {outLeft.data(), outRight.data()};

  RCountingScope scope;
  for (int32_t round = 0; round < 50; ++round) {
    RBiquad::RunCascade(stages, states, 4, left.data(), outLeft.data(), kBlock);
    stages[0].RunPair(pairLeft, pairRight, left.data(), right.data(), outLeft.data(), outRight.data(), kBlock);
    stages[round % 4].Design(RBiquad::kLowPass, 0.0, 1000.0 + round, 48000.0, 0.7);
    // Lengths within the reserve, gliding and fixed, growing the ring in place.
    if (round % 10 == 0) line.SetDelay(100 + round * 350);
    line.Process(left.data(), outLeft.data(), kBlock);
    line.Process(outLeft.data(), outLeft.data(), kBlock);
    sum.Process(left.data(), kBlock);
    gain.MeasureInput(inputs, kBlock);
    gain.Apply(outputs, kBlock);
    GainStage(left.data(), outLeft.data(), kBlock, 0.5, 0.001);
    DryWetStage(left.data(), right.data(), outRight.data(), kBlock, 0.2, 0.001, RDryWetLaw::kEqualPower);
  }
  EXPECT_EQ(scope.Allocations(), 0);
  for (float v : outLeft) ASSERT_TRUE(std::isfinite(v));
}
