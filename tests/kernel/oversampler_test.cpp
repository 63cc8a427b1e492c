// The oversampler as a listener and the plug-in's cycle meet it: the filters' own figures
// from their impulse responses, a flat and exactly delayed round trip for every factor, no
// image or alias below 20 kHz around a hard clipper, ring-out and silence, non-finite input,
// and every vector build against a direct double-precision convolution at awkward block sizes.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>
#include <numbers>
#include <random>
#include <vector>

#include "hwy/targets.h"
#include "kernel/oversampler.h"
#include "kernel/oversamplingfilter.h"

namespace {

constexpr double kPi = std::numbers::pi;
constexpr double kRate = 48000.0;
const int32_t kFactors[] = {1, 2, 3, 4, 5, 6, 7, 8, 16, 32, 64, 128, 256, 512, 1024};

double Decibels(double ratio) { return 20.0 * std::log10(ratio); }

// The discrete-time Fourier transform of x at f cycles per sample.
std::complex<double> Spectrum(const std::vector<float>& x, double f) {
  std::complex<double> sum = 0.0;
  for (size_t i = 0; i < x.size(); ++i) sum += double(x[i]) * std::polar(1.0, -2.0 * kPi * f * double(i));
  return sum;
}

std::vector<float> Noise(size_t count, uint32_t seed) {
  std::mt19937 random(seed);
  std::uniform_real_distribution<float> uniform(-1.0f, 1.0f);
  std::vector<float> out(count);
  for (float& x : out) x = uniform(random);
  return out;
}

std::vector<float> Impulse(size_t count) {
  std::vector<float> x(count, 0.0f);
  x[0] = 1.0f;
  return x;
}

// Upsamples input block by block and returns the concatenated up buffers.
std::vector<float> Upsampled(ROversampler& oversampler, const std::vector<float>& input, int32_t block) {
  const int32_t factor = oversampler.GetFactor();
  std::vector<float> up;
  for (size_t position = 0; position < input.size(); position += size_t(block)) {
    const int32_t frames = int32_t(std::min(input.size() - position, size_t(block)));
    oversampler.Upsample(0, input.data() + position, frames);
    const float* buffer = oversampler.GetUpBuffer(0);
    up.insert(up.end(), buffer, buffer + ptrdiff_t(frames) * factor);
  }
  return up;
}

// Up, then down, with shape applied to each oversampled sample in between (none: the
// identity path of a plug-in that does nothing).
template <class Shape>
std::vector<float> RoundTrip(ROversampler& oversampler, const std::vector<float>& input, int32_t block,
                             const Shape& shape) {
  const int32_t factor = oversampler.GetFactor();
  std::vector<float> output(input.size());
  for (size_t position = 0; position < input.size(); position += size_t(block)) {
    const int32_t frames = int32_t(std::min(input.size() - position, size_t(block)));
    oversampler.Upsample(0, input.data() + position, frames);
    const float* up = oversampler.GetUpBuffer(0);
    float* down = oversampler.GetDownBuffer(0);
    for (int32_t i = 0; i < frames * factor; ++i) down[i] = shape(up[i]);
    oversampler.Downsample(0, output.data() + position, frames);
  }
  return output;
}

std::vector<float> RoundTrip(ROversampler& oversampler, const std::vector<float>& input, int32_t block) {
  return RoundTrip(oversampler, input, block, [](float x) { return x; });
}

std::vector<float> Sine(size_t count, double cyclesPerSample) {
  std::vector<float> x(count);
  for (size_t i = 0; i < count; ++i) x[i] = float(std::sin(2.0 * kPi * cyclesPerSample * double(i)));
  return x;
}

// The round trip in double precision straight from the prototype: zero-stuffing, the up
// filter at gain L, the down filter at gain 1, every L-th sample.
std::vector<double> ReferenceRoundTrip(const std::vector<float>& input, int32_t factor, bool hq) {
  if (factor == 1) return std::vector<double>(input.begin(), input.end());
  const auto& quality = hq ? ROversamplingFilter::HQ() : ROversamplingFilter::Standard();
  const std::vector<double> h = ROversamplingFilter::DesignPrototype(factor, quality.tapsPerPhase, quality.kaiserBeta);
  const size_t length = input.size() * size_t(factor);
  std::vector<double> up(length, 0.0);
  for (size_t n = 0; n < input.size(); ++n) {
    for (size_t k = 0; k < h.size() && n * size_t(factor) + k < length; ++k) {
      up[n * size_t(factor) + k] += h[k] * double(input[n]);
    }
  }
  std::vector<double> out(input.size(), 0.0);
  for (size_t m = 0; m < input.size(); ++m) {
    const size_t i = m * size_t(factor);
    for (size_t k = 0; k < h.size() && k <= i; ++k) out[m] += h[k] * up[i - k] / double(factor);
  }
  return out;
}

// ---------------------------------------------------------------------------------------

TEST(OversamplerFilters, EachQualityMeetsItsPassbandAndStopbandFigures) {
  for (bool hq : {false, true}) {
    const auto& quality = hq ? ROversamplingFilter::HQ() : ROversamplingFilter::Standard();
    const double ripple = hq ? 0.0002 : 0.01;
    const double attenuation = hq ? 100.0 : 63.0;
    for (int32_t factor : {2, 3, 4, 8}) {
      SCOPED_TRACE(testing::Message() << (hq ? "HQ " : "standard ") << factor << "x");
      ROversampler oversampler;
      oversampler.Setup(kRate, factor, hq, 1, 1, 64);
      ASSERT_EQ(oversampler.GetDelay(), quality.tapsPerPhase);
      // The up buffer's response to an impulse is the up filter itself, at a gain of L.
      const std::vector<float> h = Upsampled(oversampler, Impulse(size_t(quality.tapsPerPhase) + 8), 64);
      auto gain = [&](double f) { return std::abs(Spectrum(h, f / factor)) / factor; };
      double worstRipple = 0.0;
      for (int32_t i = 0; i <= 200; ++i) {
        worstRipple = std::max(worstRipple, std::fabs(Decibels(gain(quality.passbandEdge * i / 200.0))));
      }
      EXPECT_LT(worstRipple, ripple);
      double leastAttenuation = std::numeric_limits<double>::infinity();
      const double top = factor * 0.5;
      for (int32_t i = 0; i <= 4000; ++i) {
        const double f = quality.stopbandEdge + (top - quality.stopbandEdge) * i / 4000.0;
        leastAttenuation = std::min(leastAttenuation, -Decibels(gain(f)));
      }
      EXPECT_GT(leastAttenuation, attenuation);
    }
  }
}

TEST(OversamplerFilters, TheRoundTripIsFlatThroughTheAudioBand) {
  for (bool hq : {false, true}) {
    const double edge = hq ? 20000.0 : 0.4 * kRate;
    const double limit = hq ? 0.001 : 0.02;
    for (int32_t factor : {2, 4, 8}) {
      SCOPED_TRACE(testing::Message() << (hq ? "HQ " : "standard ") << factor << "x");
      ROversampler oversampler;
      oversampler.Setup(kRate, factor, hq, 1, 1, 512);
      const std::vector<float> y = RoundTrip(oversampler, Impulse(256), 512);
      double worst = 0.0;
      for (int32_t i = 0; i <= 400; ++i) {
        const double hertz = 20.0 * std::pow(edge / 20.0, i / 400.0);
        worst = std::max(worst, std::fabs(Decibels(std::abs(Spectrum(y, hertz / kRate)))));
      }
      EXPECT_LT(worst, limit);
    }
  }
}

TEST(OversamplerFilters, AnImpulseComesBackAtTheDelayAndSymmetricAboutIt) {
  for (bool hq : {false, true}) {
    for (int32_t factor : kFactors) {
      SCOPED_TRACE(testing::Message() << (hq ? "HQ " : "standard ") << factor << "x");
      ROversampler oversampler;
      oversampler.Setup(kRate, factor, hq, 1, 1, 96);
      ASSERT_EQ(oversampler.GetFactor(), factor);
      ASSERT_EQ(oversampler.IsHQ(), hq);
      const int32_t delay = oversampler.GetDelay();
      ASSERT_EQ(delay, factor == 1 ? 0 : (hq ? 40 : 20));
      const std::vector<float> y = RoundTrip(oversampler, Impulse(96), 96);
      auto louder = [](float a, float b) { return std::fabs(a) < std::fabs(b); };
      const auto peak = std::max_element(y.begin(), y.end(), louder);
      ASSERT_EQ(peak - y.begin(), delay);
      double sum = 0.0;
      for (float x : y) sum += x;
      EXPECT_NEAR(sum, 1.0, 1e-4) << "unity at DC";
      for (int32_t k = 1; k <= delay; ++k) ASSERT_NEAR(y[size_t(delay - k)], y[size_t(delay + k)], 2e-6) << k;
      for (size_t i = size_t(2 * delay + 1); i < y.size(); ++i) ASSERT_EQ(y[i], 0.0f) << "past the response, " << i;
    }
  }
}

TEST(OversamplerFilters, FactorsAreHeldWithinTheOfferedRange) {
  ROversampler oversampler;
  oversampler.Setup(kRate, 0, true, 1, 1, 16);
  EXPECT_EQ(oversampler.GetFactor(), 1);
  EXPECT_EQ(oversampler.GetDelay(), 0);
  oversampler.Setup(kRate, 4096, false, 1, 1, 16);
  EXPECT_EQ(oversampler.GetFactor(), ROversampler::kMaxFactor);
  EXPECT_EQ(oversampler.GetDelay(), 20);
}

// ---------------------------------------------------------------------------------------

// A full-scale 15 kHz sine at 48 kHz, 4x: 15 kHz at 192 kHz repeats every 64 samples (5
// cycles), so a whole number of periods needs no window.
constexpr double kToneCycles = 15000.0 / kRate;

TEST(OversamplerImages, NoImageAbove28kHzComesWithin80dBOfTheTone) {
  ROversampler oversampler;
  oversampler.Setup(kRate, 4, true, 1, 1, 512);
  const std::vector<float> up = Upsampled(oversampler, Sine(2048, kToneCycles), 512);
  // Steady state, 8 periods of 64 samples: bin k lies at k * 375 Hz.
  const std::vector<float> window(up.end() - 512, up.end());
  const double tone = std::abs(Spectrum(window, 40.0 / 512.0));
  EXPECT_NEAR(Decibels(2.0 * tone / 512.0), 0.0, 0.001) << "the tone keeps its level";
  for (int32_t bin = 0; bin <= 256; ++bin) {
    const double hertz = bin * 375.0;
    if (hertz <= 28000.0) continue;
    ASSERT_LT(Decibels(std::abs(Spectrum(window, bin / 512.0)) / tone), -80.0) << hertz << " Hz";
  }
}

// The hard clipper's harmonics up to 96 kHz fold back at 192 kHz whatever the filters do, so
// the reference is the ideal path: the exact 4x sine, the same clip, then all above 24 kHz
// removed and every 4th sample kept. What differs from it below 20 kHz is the oversampler's
// doing: images that reached the clipper and aliases that came back down.
double WorstErrorBelow20kHz(bool hq) {
  constexpr int32_t kPeriod = 64;
  static constexpr float kCeiling = 0.5f;
  auto clip = [](float x) { return std::clamp(x, -kCeiling, kCeiling); };
  std::vector<std::complex<double>> bins(kPeriod);
  for (int32_t k = 0; k < kPeriod; ++k) {
    for (int32_t i = 0; i < kPeriod; ++i) {
      const double x = clip(float(std::sin(2.0 * kPi * 5.0 * i / kPeriod)));
      bins[size_t(k)] += x * std::polar(1.0, -2.0 * kPi * k * i / kPeriod);
    }
  }
  // Bin k is k * 3 kHz; 8 (24 kHz) is the highest kept, 56..63 are the negative side.
  std::vector<double> ideal(kPeriod / 4);
  for (int32_t m = 0; m < kPeriod / 4; ++m) {
    std::complex<double> sum = 0.0;
    for (int32_t k = 0; k < kPeriod; ++k) {
      if (k > 8 && k < kPeriod - 8) continue;
      sum += bins[size_t(k)] * std::polar(1.0, 2.0 * kPi * k * 4 * m / kPeriod);
    }
    ideal[size_t(m)] = sum.real() / kPeriod;
  }

  ROversampler oversampler;
  oversampler.Setup(kRate, 4, hq, 1, 1, 512);
  const std::vector<float> y = RoundTrip(oversampler, Sine(2048, kToneCycles), 512, clip);
  const int32_t delay = oversampler.GetDelay();
  const size_t start = y.size() - 16 * 8;
  std::vector<float> error(16 * 8);
  std::vector<float> reference(16 * 8);
  for (size_t i = 0; i < error.size(); ++i) {
    const int64_t input = int64_t(start + i) - delay;
    reference[i] = float(ideal[size_t(((input % 16) + 16) % 16)]);
    error[i] = y[start + i] - reference[i];
  }
  // Bin k of 128 samples is k * 375 Hz; the signal lives on every 8th bin (3 kHz).
  const double tone = std::abs(Spectrum(reference, 40.0 / 128.0));
  double worst = -std::numeric_limits<double>::infinity();
  for (int32_t bin = 0; bin * 375.0 <= 20000.0; ++bin) {
    worst = std::max(worst, Decibels(std::abs(Spectrum(error, bin / 128.0)) / tone));
  }
  return worst;
}

TEST(OversamplerImages, AHardClipperGetsNoImageOrAliasBelow20kHzBeyondTheIdealPath) {
  const double hq = WorstErrorBelow20kHz(true);
  EXPECT_LT(hq, -80.0);
  // The standard filters let more through, near 28 kHz on both ways.
  const double standard = WorstErrorBelow20kHz(false);
  EXPECT_GT(standard, hq + 10.0);
}

// ---------------------------------------------------------------------------------------

TEST(OversamplerState, AdvanceRingsOutToExactZerosAndResetClearsTheHistory) {
  for (int32_t factor : {2, 3, 8}) {
    SCOPED_TRACE(testing::Message() << factor << "x");
    ROversampler oversampler;
    oversampler.Setup(kRate, factor, true, 2, 1, 128);
    const int32_t delay = oversampler.GetDelay();
    const int32_t length = 128 * factor;
    // A fresh channel advanced gives silence, whatever its buffer held before.
    std::fill_n(oversampler.GetUpBuffer(0), length, 0.75f);
    oversampler.Advance(0, 128);
    EXPECT_TRUE(std::all_of(oversampler.GetUpBuffer(0), oversampler.GetUpBuffer(0) + length,
                            [](float x) { return x == 0.0f; }));

    // After the input stops, the tail rings for T host samples, then the output is exactly 0,
    // as an Upsample of silence gives it.
    const std::vector<float> noise = Noise(128, 3), silence(128, 0.0f);
    oversampler.Upsample(0, noise.data(), 128);
    oversampler.Upsample(1, noise.data(), 128);
    oversampler.Advance(0, 128);
    oversampler.Upsample(1, silence.data(), 128);
    const float* advanced = oversampler.GetUpBuffer(0);
    EXPECT_TRUE(std::equal(advanced, advanced + length, oversampler.GetUpBuffer(1)));
    EXPECT_TRUE(std::any_of(advanced, advanced + delay * factor, [](float x) { return x != 0.0f; }));
    EXPECT_TRUE(std::all_of(advanced + delay * factor, advanced + length, [](float x) { return x == 0.0f; }));

    // Reset forgets the up and down histories.
    oversampler.Upsample(0, noise.data(), 128);
    std::copy_n(noise.begin(), 128, oversampler.GetDownBuffer(0));
    std::vector<float> out(128);
    oversampler.Downsample(0, out.data(), 128);
    oversampler.Reset();
    oversampler.Upsample(0, silence.data(), 128);
    EXPECT_TRUE(std::all_of(advanced, advanced + length, [](float x) { return x == 0.0f; }));
    std::fill_n(oversampler.GetDownBuffer(0), length, 0.0f);
    oversampler.Downsample(0, out.data(), 128);
    EXPECT_TRUE(std::all_of(out.begin(), out.end(), [](float x) { return x == 0.0f; }));
  }
}

TEST(OversamplerState, NonFiniteSamplesLeaveNoTraceOnceTheInputIsFiniteAgain) {
  constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
  constexpr float kInfinity = std::numeric_limits<float>::infinity();
  std::vector<float> input = Noise(64 * 6, 5);
  std::vector<float> bad = input;
  bad[10] = kNaN;
  bad[11] = kInfinity;
  bad[40] = -kInfinity;
  for (int32_t factor : {3, 4, 8}) {
    SCOPED_TRACE(testing::Message() << factor << "x");
    ROversampler clean, poisoned;
    clean.Setup(kRate, factor, true, 1, 1, 64);
    poisoned.Setup(kRate, factor, true, 1, 1, 64);
    auto cleanOut = RoundTrip(clean, input, 64);
    // The plug-in's inner cycle may blow up as well: non-finite samples in the first down
    // buffer.
    int32_t count = 0;
    auto poisonedOut = RoundTrip(poisoned, bad, 64, [&count](float x) {
      ++count;
      return count == 1 ? kNaN : count == 30 ? -kInfinity : x;
    });
    EXPECT_TRUE(std::all_of(poisonedOut.begin(), poisonedOut.end(), [](float x) { return std::isfinite(x); }));
    // Once both histories have moved past the bad samples (T host samples each way), the two
    // agree.
    const size_t settled = 64 + 2 * size_t(poisoned.GetDelay()) + 1;
    for (size_t i = settled; i < input.size(); ++i) ASSERT_EQ(poisonedOut[i], cleanOut[i]) << i;
  }
}

TEST(OversamplerState, ChannelsAreIndependentAndOutOfRangeOnesAreIgnored) {
  ROversampler both, alone;
  both.Setup(kRate, 3, false, 2, 2, 100);
  alone.Setup(kRate, 3, false, 1, 1, 100);
  EXPECT_EQ(both.GetUpBuffer(2), nullptr);
  EXPECT_EQ(both.GetDownBuffer(-1), nullptr);
  const std::vector<float> left = Noise(100, 7), right = Noise(100, 8);
  std::vector<float> out(100), outAlone(100), sentinel(200, 9.0f);
  both.Upsample(2, left.data(), 100);
  both.Advance(-1, 100);
  both.Downsample(2, sentinel.data(), 100);
  EXPECT_TRUE(std::all_of(sentinel.begin(), sentinel.end(), [](float x) { return x == 9.0f; }));
  for (int32_t block = 0; block < 3; ++block) {
    both.Upsample(0, right.data(), 100);
    both.Upsample(1, left.data(), 100);
    alone.Upsample(0, left.data(), 100);
    ASSERT_TRUE(std::equal(alone.GetUpBuffer(0), alone.GetUpBuffer(0) + 300, both.GetUpBuffer(1)));
    std::copy_n(both.GetUpBuffer(0), 300, both.GetDownBuffer(0));
    std::copy_n(both.GetUpBuffer(1), 300, both.GetDownBuffer(1));
    std::copy_n(alone.GetUpBuffer(0), 300, alone.GetDownBuffer(0));
    both.Downsample(1, out.data(), 100);
    alone.Downsample(0, outAlone.data(), 100);
    ASSERT_EQ(out, outAlone);
  }
  // A block longer than the buffers is cut to them: nothing is written past maxHostBlock.
  both.Downsample(0, sentinel.data(), 200);
  EXPECT_TRUE(std::all_of(sentinel.begin() + 100, sentinel.end(), [](float x) { return x == 9.0f; }));
}

// ---------------------------------------------------------------------------------------

class OversamplerTargets : public ::testing::Test {
protected:
  void TearDown() override { hwy::SetSupportedTargetsForTest(0); }
};

TEST_F(OversamplerTargets, EveryBuildMatchesADirectConvolutionAtAwkwardBlockSizes) {
  const std::vector<float> input = Noise(300, 11);
  const int32_t blocks[] = {1, 7, 64, 65, 300};
  // Taken once: choosing a target for the test narrows what the list reports afterwards.
  const std::vector<int64_t> targets = hwy::SupportedAndGeneratedTargets();
  ASSERT_FALSE(targets.empty());
  for (bool hq : {false, true}) {
    for (int32_t factor : {1, 2, 3, 4, 5, 8}) {
      const std::vector<double> reference = ReferenceRoundTrip(input, factor, hq);
      for (int64_t target : targets) {
        hwy::SetSupportedTargetsForTest(target);
        for (int32_t block : blocks) {
          SCOPED_TRACE(testing::Message() << hwy::TargetName(target) << ", " << (hq ? "HQ " : "standard ") << factor
                                          << "x, block " << block);
          ROversampler oversampler;
          oversampler.Setup(kRate, factor, hq, 1, 1, block);
          const std::vector<float> y = RoundTrip(oversampler, input, block);
          for (size_t i = 0; i < y.size(); ++i) ASSERT_NEAR(y[i], reference[i], 2e-5) << "sample " << i;
        }
      }
    }
  }
}

} // namespace
