// Gain and dry/wet stages: copies, constants and ramps, both mix laws, and the vector layer.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "kernel/value.h"
#include "modules/dsp/gainstages.h"
#include "modules/dsp/vectorops.h"
#include "tests/modules/dsp/dsptestsignals.h"

TEST(GainStage, UnityCopiesConstantsMultiplyAndStepsRamp) {
  const std::vector<float> x = dsptest::Noise(333, 1);
  std::vector<float> y(x.size(), 7.0f);
  GainStage(x.data(), y.data(), 333, 1.0, 0.0);
  EXPECT_EQ(y, x);
  GainStage(x.data(), y.data(), 333, 0.5, 1e-12);  // a step this small is no step
  for (size_t i = 0; i < x.size(); ++i) ASSERT_EQ(y[i], x[i] * 0.5f);
  GainStage(x.data(), y.data(), 333, 1.0, -1.0 / 333.0);
  for (size_t i = 0; i < x.size(); ++i) ASSERT_NEAR(y[i], x[i] * (1.0f - float(i) / 333.0f), 1e-6f) << i;
  std::vector<float> inPlace = x;
  GainStage(inPlace.data(), inPlace.data(), 333, 1.0, -1.0 / 333.0);
  EXPECT_EQ(inPlace, y);
  // An input that is not connected is silence, whatever the gain.
  GainStage(nullptr, y.data(), 333, 2.0, 0.01);
  EXPECT_EQ(y, std::vector<float>(333, 0.0f));
}

TEST(DryWetStage, LinearAndEqualPowerLawsAtTheEndsTheMiddleAndWhileRamping) {
  const std::vector<float> dry = dsptest::Noise(200, 2), wet = dsptest::Noise(200, 3);
  std::vector<float> out(200);
  for (RDryWetLaw law : {RDryWetLaw::kLinear, RDryWetLaw::kEqualPower}) {
    DryWetStage(dry.data(), wet.data(), out.data(), 200, 0.0, 0.0, law);
    EXPECT_EQ(out, dry);
    DryWetStage(dry.data(), wet.data(), out.data(), 200, 1.0, 0.0, law);
    EXPECT_EQ(out, wet);
  }
  DryWetStage(dry.data(), wet.data(), out.data(), 200, 0.5, 0.0, RDryWetLaw::kLinear);
  for (size_t i = 0; i < 200; ++i) ASSERT_NEAR(out[i], 0.5f * (dry[i] + wet[i]), 1e-6f);
  DryWetStage(dry.data(), wet.data(), out.data(), 200, 0.5, 0.0, RDryWetLaw::kEqualPower);
  for (size_t i = 0; i < 200; ++i) ASSERT_NEAR(out[i], 0.70710678f * (dry[i] + wet[i]), 1e-6f);
  // Ramping from dry to wet, in place on the wet buffer.
  for (RDryWetLaw law : {RDryWetLaw::kLinear, RDryWetLaw::kEqualPower}) {
    std::vector<float> mixed = wet;
    DryWetStage(dry.data(), mixed.data(), mixed.data(), 200, 0.0, 1.0 / 199.0, law);
    for (size_t i = 0; i < 200; ++i) {
      const double w = double(i) / 199.0;
      const double dryGain = law == RDryWetLaw::kLinear ? 1.0 - w : std::cos(w * 1.5707963267948966);
      const double wetGain = law == RDryWetLaw::kLinear ? w : std::sin(w * 1.5707963267948966);
      ASSERT_NEAR(mixed[i], dry[i] * dryGain + wet[i] * wetGain, 2e-6) << i;
    }
  }
}

TEST(ApplyDryWet, MixesEachChannelTakesTheRampOnceAndTreatsAMissingDryAsSilence) {
  const std::vector<float> dry = dsptest::Noise(100, 4), wet = dsptest::Noise(100, 5);
  for (RDryWetLaw law : {RDryWetLaw::kLinear, RDryWetLaw::kEqualPower}) {
    RRealValue mix(nullptr, RString("Mix"), 0.0, 1.0, 0.5);
    mix.SyncProcessing();
    std::vector<float> left = wet, right = wet;
    const float* dryChannels[2] = {dry.data(), nullptr};
    float* wetChannels[2] = {left.data(), right.data()};
    ApplyDryWet(mix, 1.0, dryChannels, wetChannels, 2, 100, law);
    const float wetPart = law == RDryWetLaw::kLinear ? 0.5f : 0.70710678f;
    const float dryPart = wetPart;
    for (size_t i = 0; i < 100; ++i) {
      ASSERT_NEAR(left[i], dryPart * dry[i] + wetPart * wet[i], 1e-6f) << i;
      // No dry signal on this channel: only its wet part remains.
      ASSERT_NEAR(right[i], wetPart * wet[i], 1e-6f) << i;
    }
    // A move to 1 ramps over the next block and is consumed: the block after holds at 1.
    mix.SetProcessing(1.0);
    left = wet;
    ApplyDryWet(mix, 1.0, dryChannels, wetChannels, 1, 100, law);
    EXPECT_NE(left[0], wet[0]);
    left = wet;
    ApplyDryWet(mix, 1.0, dryChannels, wetChannels, 1, 100, law);
    EXPECT_EQ(left, wet);
  }
}

TEST(VectorOps, EachOperationDoesWhatItsNameSays) {
  const std::vector<float> a = dsptest::Noise(37, 4), b = dsptest::Noise(37, 5);
  std::vector<float> y(37);
  RVectorOps::Copy(a.data(), y.data(), 37);
  EXPECT_EQ(y, a);
  RVectorOps::MultiplyByConstant(a.data(), y.data(), 37, -2.0f);
  for (size_t i = 0; i < 37; ++i) ASSERT_EQ(y[i], a[i] * -2.0f);
  RVectorOps::MultiplyAdd(b.data(), y.data(), 37, 3.0f);
  for (size_t i = 0; i < 37; ++i) ASSERT_EQ(y[i], a[i] * -2.0f + b[i] * 3.0f);
  RVectorOps::Multiply(a.data(), b.data(), y.data(), 37);
  RVectorOps::AddProduct(a.data(), b.data(), y.data(), 37);
  for (size_t i = 0; i < 37; ++i) ASSERT_EQ(y[i], 2.0f * a[i] * b[i]);
  RVectorOps::Square(a.data(), y.data(), 37);
  double sum = 0.0;
  for (size_t i = 0; i < 37; ++i) {
    ASSERT_EQ(y[i], a[i] * a[i]);
    sum += double(a[i]) * a[i];
  }
  EXPECT_NEAR(RVectorOps::SumOfSquares(a.data(), 37), sum, 1e-12);
  RVectorOps::UpperLimit(y.data(), 37, 0.25f);
  for (size_t i = 0; i < 37; ++i) ASSERT_EQ(y[i], std::min(a[i] * a[i], 0.25f));
  RVectorOps::Set(y.data(), 36, 9.0f);
  RVectorOps::Zero(y.data(), 5);
  EXPECT_EQ(y[4], 0.0f);
  EXPECT_EQ(y[5], 9.0f);
  EXPECT_EQ(y[36], std::min(a[36] * a[36], 0.25f));
}
