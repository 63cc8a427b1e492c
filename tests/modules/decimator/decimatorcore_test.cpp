// The decimator's two stages against the scalar reference and against the facts a listener
// relies on: the grid of the word stage, ties to even, the clamp at one bit, the rate stage's
// leaning shape, its period and its spread between channels, channels run in pairs.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

#include "modules/decimator/decimatorcore.h"
#include "tests/modules/decimator/decimatorreference.h"

namespace {

using decimatortest::Noise;

constexpr double kGrid16 = 1.0 / 65536.0;

std::vector<float> Word(std::vector<float> x, int32_t channel, RBlockRamp bits, RBlockRamp width = {}) {
  RunWordStage(x.data(), int32_t(x.size()), channel, bits, width);
  return x;
}

std::vector<float> Rate(std::vector<float> x, int32_t channel, double fs, RBlockRamp rate, RBlockRamp width = {}) {
  RDecimatorChannelState state;
  RunRateStage(x.data(), int32_t(x.size()), channel, fs, rate, width, state);
  return x;
}

bool SameBits(float a, float b) { return std::memcmp(&a, &b, sizeof(float)) == 0; }

// --- word stage

TEST(DecimatorWordStage, SixteenBitsRoundEverySampleToTheGridAndKeepAHalf) {
  std::vector<float> x = Noise(4096, 11);
  x[0] = 0.5f;
  x[1] = -0.5f;
  x[2] = 1.0f;
  const std::vector<float> y = Word(x, 0, {16.0});
  EXPECT_EQ(y[0], 0.5f);
  EXPECT_EQ(y[1], -0.5f);
  EXPECT_EQ(y[2], 1.0f);
  for (size_t i = 0; i < x.size(); ++i) {
    const double steps = double(y[i]) / kGrid16;
    ASSERT_EQ(steps, std::floor(steps)) << i;
    ASSERT_LE(std::fabs(double(y[i]) - double(x[i])), kGrid16 / 2) << i;
  }
}

TEST(DecimatorWordStage, HalfwaySamplesGoToTheEvenStepNotAwayFromZero) {
  // At one bit the scale e^(ln 2) is exactly 2, so quarter samples are exact ties; rounding
  // half away from zero would give the odd neighbour for half of them.
  ASSERT_EQ(std::exp(std::log(2.0)), 2.0);
  std::vector<float> x;
  for (int32_t k = -6; k <= 6; ++k) x.push_back(float((k + 0.5) * 0.5));
  const std::vector<float> y = Word(x, 0, {1.0});
  for (size_t i = 0; i < x.size(); ++i) {
    const double steps = double(y[i]) * 2.0;
    EXPECT_EQ(std::fmod(std::fabs(steps), 2.0), 0.0) << "sample " << x[i] << " went to " << steps << " steps";
    EXPECT_EQ(std::fabs(steps - double(x[i]) * 2.0), 0.5);
  }
  // The sign of a sample that rounds to nothing stays, as the processor's rounding keeps it.
  const std::vector<float> small = Word({-0.2f * float(kGrid16), 0.2f * float(kGrid16)}, 0, {16.0});
  EXPECT_TRUE(std::signbit(small[0]));
  EXPECT_FALSE(std::signbit(small[1]));
}

TEST(DecimatorWordStage, OneBitIsTheFloorOfTheWordLength) {
  // Bits 1 with width -4: the even channel asks for -3 bits and gets 1, steps of a half, and
  // samples beyond full scale land on further multiples; the odd channel gets 5 bits.
  const std::vector<float> x = {0.2f, 0.3f, -0.74f, -0.76f, 0.99f, 1.3f, 2.2f, -1.6f, 0.0f};
  const std::vector<float> even = Word(x, 0, {1.0}, {-4.0});
  const std::vector<float> expected = {0.0f, 0.5f, -0.5f, -1.0f, 1.0f, 1.5f, 2.0f, -1.5f, 0.0f};
  EXPECT_EQ(even, expected);
  const std::vector<float> odd = Word(x, 1, {1.0}, {-4.0});
  for (size_t i = 0; i < x.size(); ++i) {
    EXPECT_EQ(odd[i], float(std::nearbyint(double(x[i]) * 32.0) / 32.0)) << i;
  }
  // And a width that leaves both channels above one bit spreads them apart.
  EXPECT_DOUBLE_EQ(ChannelBits(8.0, 3.0, 0), 11.0);
  EXPECT_DOUBLE_EQ(ChannelBits(8.0, 3.0, 1), 5.0);
  EXPECT_DOUBLE_EQ(ChannelBits(2.0, 3.0, 1), 1.0);
}

TEST(DecimatorWordStage, FractionalBitsGiveAStepBetweenThePowersOfTwo) {
  const double step = std::exp(-2.5 * std::log(2.0));  // 2^-2.5, about 0.177
  const std::vector<float> x = Noise(2000, 5);
  const std::vector<float> y = Word(x, 0, {2.5});
  int32_t levels[64] = {};
  for (size_t i = 0; i < x.size(); ++i) {
    const double steps = double(y[i]) / step;
    ASSERT_NEAR(steps, std::nearbyint(steps), 1e-5) << i;
    ASSERT_LE(std::fabs(double(y[i]) - double(x[i])), step / 2 + 1e-7);
    ++levels[int32_t(std::nearbyint(steps)) + 32];
  }
  // -1..1 reaches -6..6 steps of 2^-2.5; a grid of 2 or 3 bits would have 9 or 17 levels.
  int32_t used = 0;
  for (int32_t count : levels) used += count > 0 ? 1 : 0;
  EXPECT_EQ(used, 13);
}

TEST(DecimatorWordStage, HeldAndRampedSettingsFollowTheReferenceExactly) {
  // Ties included: every 16th sample sits halfway between steps of its word length.
  struct Case {
    RBlockRamp bits, width;
  };
  const Case cases[] = {{{16.0}, {0.0}},          {{8.0}, {0.0}},           {{3.7}, {1.3}},
                        {{12.0}, {-4.0}},         {{1.0}, {4.0}},           {{16.0, -15.0 / 700}, {0.0}},
                        {{2.0, 0.01}, {-2.0, 0.005}}, {{9.5}, {0.0, 0.0113}}};
  for (const Case& k : cases) {
    for (int32_t c = 0; c < 4; ++c) {
      std::vector<float> x = Noise(700, uint32_t(40 + c), 1.5);
      for (size_t i = 0; i < x.size(); i += 16) {
        const double b = ChannelBits(k.bits.At(int32_t(i)), k.width.At(int32_t(i)), c);
        const double r = std::exp(-b * std::log(2.0));
        x[i] = float((std::floor(double(x[i]) / r) + 0.5) * r);
      }
      const std::vector<float> y = Word(x, c, k.bits, k.width);
      for (size_t i = 0; i < x.size(); ++i) {
        const float expected = decimatortest::Word(x[i], k.bits.At(int32_t(i)), k.width.At(int32_t(i)), c);
        ASSERT_TRUE(SameBits(y[i], expected)) << "bits " << k.bits.start << " channel " << c << " sample " << i
                                              << ": " << y[i] << " vs " << expected;
      }
    }
  }
}

TEST(DecimatorWordStage, RoundingMatchesTheLibraryForAwkwardMagnitudes) {
  const double values[] = {0.5,  1.5,  2.5,  -2.5, 4503599627370495.5, 4503599627370497.0, 9007199254740993.0,
                           -0.0, 1e300, -1e300, 2147483648.5, 0.49999999999999994};
  for (double v : values) EXPECT_EQ(RoundToEven(v), std::nearbyint(v)) << v;
  EXPECT_TRUE(std::isinf(RoundToEven(std::numeric_limits<double>::infinity())));
  EXPECT_TRUE(std::isnan(RoundToEven(std::numeric_limits<double>::quiet_NaN())));
}

// --- rate stage

TEST(DecimatorRateStage, AtOrAboveTheCycleRateItGivesTwiceTheOlderTakeLessTheNewer) {
  // P is clamped to 1 and a value is taken every sample; the output is 2A - B, a first-order
  // extrapolation one sample late, not the input.
  const std::vector<float> x = {3.0f, -1.0f, 4.0f, 1.0f, -5.0f, 9.0f, 2.0f, 6.0f};
  for (double rate : {48000.0, 20000.0}) {
    const std::vector<float> y = Rate(x, 0, rate == 48000.0 ? 48000.0 : 10000.0, {rate});
    ASSERT_EQ(ChannelPeriod(rate == 48000.0 ? 48000.0 : 10000.0, rate, 0.0, 0), 1.0f);
    float A = 0.0f, B = 0.0f, previous = 0.0f;
    for (size_t i = 0; i < x.size(); ++i) {
      A = B;
      B = previous;  // the take at an integer place reads the sample before
      EXPECT_EQ(y[i], 2.0f * A - B) << i;
      previous = x[i];
    }
    EXPECT_NE(y, x);
  }
}

TEST(DecimatorRateStage, ALinearInputComesOutTwoPeriodsLate) {
  // Between takes the output leans back from the newest take by one period's slope: for a
  // straight line that is exactly the line, two periods late. A hold would give steps, an
  // interpolation between the takes a lag of one period. (Periods with fractions that never
  // add up to a whole place: a take at a whole place reads the sample before it.)
  const double fs = 48000.0;
  for (double period : {7.3, 2.6, 41.3}) {
    std::vector<float> x(2000);
    for (size_t i = 0; i < x.size(); ++i) x[i] = float(i) * 0.001f;
    const std::vector<float> y = Rate(x, 0, fs, {fs / period});
    const float P = ChannelPeriod(fs, fs / period, 0.0, 0);
    for (size_t i = 200; i < x.size(); ++i) {
      ASSERT_NEAR(double(y[i]), (double(i) - 2.0 * P) * 0.001, 2e-5) << "period " << period << " sample " << i;
    }
  }
}

TEST(DecimatorRateStage, WidthOfOneOctaveDoublesTheRateOfEvenChannelsAndHalvesOdd) {
  const double fs = 48000.0, period = 7.3;
  std::vector<float> x(3000);
  for (size_t i = 0; i < x.size(); ++i) x[i] = float(i) * 0.001f;
  const std::vector<float> even = Rate(x, 0, fs, {fs / period}, {1.0});
  const std::vector<float> odd = Rate(x, 1, fs, {fs / period}, {1.0});
  const std::vector<float> swapped = Rate(x, 0, fs, {fs / period}, {-1.0});
  for (size_t i = 500; i < x.size(); ++i) {
    ASSERT_NEAR(double(even[i]), (double(i) - 2.0 * period / 2.0) * 0.001, 2e-5) << i;
    ASSERT_NEAR(double(odd[i]), (double(i) - 2.0 * period * 2.0) * 0.001, 2e-5) << i;
    ASSERT_EQ(swapped[i], odd[i]) << i;
  }
  EXPECT_FLOAT_EQ(ChannelPeriod(fs, 4800.0, 1.0, 0), 5.0f);
  EXPECT_FLOAT_EQ(ChannelPeriod(fs, 4800.0, 1.0, 1), 20.0f);
  EXPECT_FLOAT_EQ(ChannelPeriod(192000.0, 20.0, 0.0, 0), 9600.0f);
}

TEST(DecimatorRateStage, FollowsTheReferenceWithHeldAndRampedSettings) {
  struct Case {
    double fs;
    RBlockRamp rate, width;
  };
  const Case cases[] = {{48000.0, {48000.0}, {0.0}},          {44100.0, {11025.0}, {0.0}},
                        {96000.0, {3333.3}, {0.37}},          {192000.0, {20.0}, {-1.0}},
                        {88200.0, {500.0, 7.5}, {0.0}},       {48000.0, {12000.0, -9.0}, {-0.5, 0.0011}},
                        {48000.0, {900.0}, {1.0, -0.0019}}};
  for (const Case& k : cases) {
    for (int32_t c = 0; c < 2; ++c) {
      const std::vector<float> x = Noise(1024, uint32_t(7 + c));
      const std::vector<float> y = Rate(x, c, k.fs, k.rate, k.width);
      std::vector<float> expected = x;
      decimatortest::RateState state;
      decimatortest::Channel(expected, c, k.fs, false, {16.0}, {0.0}, true, {k.rate.start, k.rate.step},
                             {k.width.start, k.width.step}, state);
      for (size_t i = 0; i < x.size(); ++i) {
        ASSERT_TRUE(SameBits(y[i], expected[i])) << "fs " << k.fs << " rate " << k.rate.start << " channel " << c
                                                 << " sample " << i << ": " << y[i] << " vs " << expected[i];
      }
    }
  }
}

TEST(DecimatorCore, RampedSettingsAndMissingChannelsFollowTheReferenceOnEveryChannel) {
  // Channels run the rate stage in pairs; a pair with a missing channel, an odd channel count
  // and ramps must all give what each channel would give on its own.
  const double fs = 96000.0;
  RDecimatorSettings settings;
  settings.bits = {12.0, -0.01};
  settings.bitsWidth = {-1.0, 0.003};
  settings.sampleRate = {9000.0, -6.5};
  settings.sampleRateWidth = {0.9, -0.002};
  std::vector<std::vector<float>> x;
  for (uint32_t c = 0; c < 5; ++c) x.push_back(Noise(800, 60 + c));
  std::vector<std::vector<float>> expected = x;
  float* channels[5] = {x[0].data(), x[1].data(), nullptr, x[3].data(), x[4].data()};
  RDecimatorChannelState states[5];
  RunDecimatorCore(channels, 5, 800, fs, settings, states);
  for (int32_t c = 0; c < 5; ++c) {
    if (c == 2) continue;
    decimatortest::RateState state;
    decimatortest::Channel(expected[size_t(c)], c, fs, true, {12.0, -0.01}, {-1.0, 0.003}, true, {9000.0, -6.5},
                           {0.9, -0.002}, state);
    EXPECT_EQ(x[size_t(c)], expected[size_t(c)]) << c;
    EXPECT_EQ(states[c].Next, state.B) << c;
    EXPECT_EQ(states[c].Last, state.A) << c;
    EXPECT_EQ(states[c].PreviousInput, state.p) << c;
    EXPECT_EQ(states[c].Position, state.t) << c;
    EXPECT_EQ(states[c].NextTake, state.T) << c;
  }
  EXPECT_EQ(states[2].NextTake, 0.0f);
}

} // namespace
