// The product oversampled: its reported latency lines its output up with its input to the
// sample, so that the dry copy inside it and a host's dry track sum without a comb, and its
// default state sounds the same at every factor.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "tests/resources/product/productrig.h"

namespace producttest {
namespace {

constexpr int64_t kImpulseAt = 24000;
constexpr double kImpulse = 0.5;

// Magnitude in dB of the response x (an impulse of kImpulse at `at`) at one frequency.
double ResponseDb(const std::vector<float>& x, int64_t at, double hertz) {
  double re = 0.0, im = 0.0;
  for (int64_t n = at - 2048; n < at + 6144 && n < int64_t(x.size()); ++n) {
    const double phase = 2.0 * kPi * hertz * double(n - at) / kRate;
    re += x[size_t(n)] * std::cos(phase);
    im += x[size_t(n)] * std::sin(phase);
  }
  return 20.0 * std::log10(std::hypot(re, im) / kImpulse + 1e-30);
}

struct Take {
  int32_t index;
  bool hq;
};

class ProductOversampling : public ::testing::TestWithParam<Take> {};

TEST_P(ProductOversampling, AnImpulseAtHalfDryWetComesBackAsOnePeakAtTheReportedLatency) {
  ProductRig rig;
  rig.Oversample(GetParam().index, GetParam().hq);
  RQuillon& product = rig.Product();
  ASSERT_EQ(product.GetOversampling(), GetParam().index + 1);
  rig.Set("Dry/Wet", 0.5);
  const int32_t latency = product.GetReportedLatency();
  EXPECT_EQ(latency, product.GetOversamplingDelay());
  EXPECT_EQ(latency == 0, GetParam().index == 0);

  rig.Play([](int64_t n) { return n == kImpulseAt ? kImpulse : 0.0; }, Silence(), 1.0, 1.0);
  const std::vector<float>& out = rig.Left();
  ASSERT_GT(out.size(), size_t(kImpulseAt + 8192));
  size_t peak = 0;
  for (size_t n = 0; n < out.size(); ++n) {
    if (std::fabs(out[n]) > std::fabs(out[peak])) peak = n;
  }
  EXPECT_EQ(int64_t(peak), kImpulseAt + latency);
  // Band-limited by the filters, the peak gives up what lay above 20 kHz.
  EXPECT_GT(out[peak], 0.95 * kImpulse);
  EXPECT_LE(out[peak], 1.001 * kImpulse);
  // The dry and the wet halves meet in time: the sum is flat, where a comb would notch.
  for (double hertz = 100.0; hertz < 18000.0; hertz *= 1.3) {
    EXPECT_NEAR(ResponseDb(out, kImpulseAt + latency, hertz), 0.0, 0.25) << hertz << " Hz";
  }
}

TEST_P(ProductOversampling, TheDefaultStatePassesItsInputAtEveryFactor) {
  ProductRig rig;
  rig.Oversample(GetParam().index, GetParam().hq);
  for (const double hertz : {1000.0, 15000.0}) {
    rig.Play(Sine(hertz, 0.25), Silence(), 0.5);
    EXPECT_NEAR(rig.ToneDb(hertz), 20.0 * std::log10(0.25), 0.1) << hertz << " Hz";
  }
}

INSTANTIATE_TEST_SUITE_P(Factors, ProductOversampling,
                         ::testing::Values(Take{0, true}, Take{1, true}, Take{3, true}, Take{3, false}, Take{7, true}),
                         [](const ::testing::TestParamInfo<Take>& info) {
                           return std::to_string(info.param.index + 1) + "x" + (info.param.hq ? "HQ" : "");
                         });

} // namespace
} // namespace producttest
