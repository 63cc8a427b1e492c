// Automatic gain: the loudness weighting against the published K-weighting, and the gain it
// applies for silent, quiet and loud outputs, with the warm-up limit.
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <vector>

#include "modules/dsp/autogain.h"
#include "tests/modules/dsp/dsptestsignals.h"

namespace {

constexpr double kRate = 48000.0;

// The K-weighting as BS.1770 publishes it for 48 kHz, both stages.
double PublishedWeighting(double f) {
  const std::complex<double> z1 = std::polar(1.0, -2.0 * 3.141592653589793 * f / kRate);
  const std::complex<double> z2 = z1 * z1;
  const auto shelf = (1.53512485958697 - 2.69169618940638 * z1 + 1.19839281085285 * z2) /
                     (1.0 - 1.69065929318241 * z1 + 0.73248077421585 * z2);
  const auto highPass = (1.0 - 2.0 * z1 + z2) / (1.0 - 1.99004745483398 * z1 + 0.99007225036621 * z2);
  return std::abs(shelf * highPass);
}

// Feeds seconds of a stereo tone to both sides; output = input * outputScale.
void Feed(RAutoGain& gain, double frequency, double inputLevel, double outputLevel, double seconds,
          std::vector<float>* lastOutput = nullptr) {
  const int32_t block = 480;
  int64_t position = 0;
  std::vector<float> in(block), out(block);
  for (int64_t done = 0; done < int64_t(seconds * kRate); done += block) {
    for (int32_t i = 0; i < block; ++i) {
      const double s = std::sin(2.0 * 3.141592653589793 * frequency * double(position + i) / kRate);
      in[size_t(i)] = float(inputLevel * s);
      out[size_t(i)] = float(outputLevel * s);
    }
    position += block;
    std::vector<float> inRight = in, outRight = out;
    const float* inputs[2] = {in.data(), inRight.data()};
    float* outputs[2] = {out.data(), outRight.data()};
    gain.MeasureInput(inputs, block);
    gain.Apply(outputs, block);
    if (lastOutput) *lastOutput = out;
  }
}

} // namespace

TEST(AutoGain, TheWeightingIsTheKWeightingOfLoudnessMeters) {
  for (double f : {20.0, 60.0, 997.0, 4000.0, 15000.0}) {
    RAutoGain gain;
    gain.Setup(2, kRate);
    Feed(gain, f, 1.0, 1.0, 1.0);
    const double expected = 0.5 * PublishedWeighting(f) * PublishedWeighting(f);
    EXPECT_NEAR(10.0 * std::log10(gain.GetInputPower()), 10.0 * std::log10(expected), 0.1) << f << " Hz";
  }
  // A full-scale 997 Hz sine reads -3.01 LKFS: -0.691 dB plus the weighted power.
  RAutoGain gain;
  gain.Setup(2, kRate);
  Feed(gain, 997.0, 1.0, 1.0, 1.0);
  EXPECT_NEAR(-0.691 + 10.0 * std::log10(gain.GetInputPower()), -3.01, 0.05);
}

TEST(AutoGain, WithoutWeightingThePowerIsTheMeanSquare) {
  RAutoGain gain;
  gain.Setup(2, kRate);
  gain.SetWeighting(false);
  Feed(gain, 50.0, 0.5, 0.5, 1.0);
  EXPECT_NEAR(gain.GetInputPower(), 0.125, 1e-4);
}

TEST(AutoGain, CompensatesAQuieterOutputOnlyAfterTheWarmUp) {
  RAutoGain gain;
  gain.Setup(2, kRate);
  std::vector<float> out;
  Feed(gain, 440.0, 0.5, 0.05, 1.9, &out);
  EXPECT_LE(gain.GetGain(), 1.0f);
  Feed(gain, 440.0, 0.5, 0.05, 1.0, &out);
  EXPECT_NEAR(gain.GetGain(), 10.0f, 0.2f);
  // The output is brought back to the input's level.
  EXPECT_NEAR(dsptest::MeasureLevel(out, 440.0, kRate, 0), 0.5, 0.02);
}

TEST(AutoGain, SilentOutputIsLeftAloneAndSilentInputPullsTheOutputDown) {
  RAutoGain silentOutput;
  silentOutput.Setup(2, kRate);
  Feed(silentOutput, 440.0, 0.5, 0.0, 3.0);
  EXPECT_EQ(silentOutput.GetGain(), 1.0f);

  RAutoGain silentInput;
  silentInput.Setup(2, kRate);
  std::vector<float> out;
  Feed(silentInput, 440.0, 0.0, 0.5, 3.0, &out);
  EXPECT_FLOAT_EQ(silentInput.GetGain(), 0.01f);
  EXPECT_NEAR(dsptest::MeasureLevel(out, 440.0, kRate, 0), 0.005, 1e-4);
}

TEST(AutoGain, GainMovesAsARampWithoutSteps) {
  RAutoGain gain;
  gain.Setup(1, kRate);
  gain.SetWeighting(false);
  std::vector<float> in(4800, 0.5f), out(4800, 0.25f);
  const float* inputs[1] = {in.data()};
  float* outputs[1] = {out.data()};
  gain.MeasureInput(inputs, 4800);
  gain.Apply(outputs, 4800);
  // From the start value 0 up to the gain over the block, in equal steps.
  const float target = gain.GetGain();
  EXPECT_GT(target, 0.0f);
  for (size_t i = 1; i < out.size(); ++i) {
    ASSERT_NEAR(out[i] - out[i - 1], 0.25f * target / 4800.0f, 1e-6f) << i;
  }
}
