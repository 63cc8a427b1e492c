// Every vector build this processor can run against the scalar form of each kernel, over
// sizes around the vector widths and from misaligned pointers, with nothing written past the end.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "hwy/targets.h"
#include "modules/dsp/dspkernels.h"
#include "tests/modules/dsp/dsptestsignals.h"

namespace {

const int32_t kSizes[] = {0, 1, 3, 4, 5, 7, 8, 9, 15, 16, 17, 31, 33, 64, 65, 255, 257};
constexpr int32_t kGuard = 16;
constexpr float kSentinel = -12345.0f;

template <class Check>
void ForEachTarget(const Check& check) {
  for (int64_t target : hwy::SupportedAndGeneratedTargets()) {
    hwy::SetSupportedTargetsForTest(target);
    SCOPED_TRACE(hwy::TargetName(target));
    check();
  }
  hwy::SetSupportedTargetsForTest(0);
}

// Runs kernel(a, b, out, size) at each size and misalignment and compares with reference(a, b, i).
template <class Kernel, class Reference>
void ExpectMatches(const Kernel& kernel, const Reference& reference, double tolerance) {
  const std::vector<float> a = dsptest::Noise(300, 21), b = dsptest::Noise(300, 22);
  ForEachTarget([&] {
    for (int32_t size : kSizes) {
      for (int32_t misalign = 0; misalign < 3; ++misalign) {
        std::vector<float> out(size_t(size + misalign + kGuard), kSentinel);
        kernel(a.data() + misalign, b.data() + misalign, out.data() + misalign, size);
        for (int32_t i = 0; i < size; ++i) {
          ASSERT_NEAR(out[size_t(misalign + i)], reference(a[size_t(misalign + i)], b[size_t(misalign + i)], i),
                      tolerance)
              << "size " << size << " misalign " << misalign << " at " << i;
        }
        for (int32_t i = size; i < size + kGuard; ++i) ASSERT_EQ(out[size_t(misalign + i)], kSentinel);
      }
    }
  });
}

} // namespace

TEST(DspKernels, GainRampIntoAnotherBuffer) {
  ExpectMatches([](const float* a, const float*, float* out, int32_t n) {
    RDspKernels::ScaleRampInto(a, out, n, 0.75f, -0.003f);
  },
                [](float a, float, int32_t i) { return double(a) * (0.75 - 0.003 * i); }, 1e-6);
}

TEST(DspKernels, MixesAtConstantAndRampedShares) {
  ExpectMatches([](const float* a, const float* b, float* out, int32_t n) { RDspKernels::Mix(a, b, out, n, 0.3f, 0.6f); },
                [](float a, float b, int32_t) { return 0.3 * a + 0.6 * b; }, 1e-6);
  for (bool equalPower : {false, true}) {
    ExpectMatches([equalPower](const float* a, const float* b, float* out, int32_t n) {
      RDspKernels::MixRamp(a, b, out, n, -0.1f, 0.01f, equalPower);
    },
                  [equalPower](float a, float b, int32_t i) {
                    const double w = std::clamp(-0.1 + 0.01 * i, 0.0, 1.0);
                    if (!equalPower) return (1.0 - w) * a + w * b;
                    return std::cos(w * 1.5707963267948966) * a + std::sin(w * 1.5707963267948966) * b;
                  },
                  2e-6);
  }
}

TEST(DspKernels, SumsOfSquaresOverChannelsAndOverABuffer) {
  const std::vector<float> c = dsptest::Noise(300, 23);
  ExpectMatches([&c](const float* a, const float* b, float* out, int32_t n) {
    const size_t offset = size_t(out - out);  // channels share the misalignment of a and b
    const float* channels[3] = {a, b, c.data() + offset};
    RDspKernels::SumSquaresOverChannels(channels, 3, out, n, 1.0f / 3.0f);
  },
                [&c](float a, float b, int32_t i) {
                  const double z = c[size_t(i)];
                  return (double(a) * a + double(b) * b + z * z) / 3.0;
                },
                2e-6);
  const std::vector<float> x = dsptest::Noise(1001, 24);
  ForEachTarget([&] {
    for (int32_t size : kSizes) {
      double expected = 0.0;
      for (int32_t i = 0; i < size; ++i) expected += double(x[size_t(i)]) * x[size_t(i)];
      EXPECT_NEAR(RDspKernels::SumOfSquares(x.data(), size), expected, 1e-12 * (1.0 + expected)) << size;
    }
  });
}

TEST(DspKernels, LogCoshMatchesTheLibraryFormEverywhereTheSaturatorReaches) {
  ForEachTarget([] {
    for (const int32_t size : kSizes) {
      std::vector<double> x(size_t(size) + kGuard), out(size_t(size) + kGuard, -1.0);
      for (int32_t i = 0; i < size; ++i) {
        // From the tiny to the saturator's limit, both signs.
        const double magnitude = std::pow(10.0, -6.0 + 10.0 * double(i) / std::max(size - 1, 1));
        x[size_t(i)] = i % 2 ? magnitude : -magnitude;
      }
      RDspKernels::LogCosh(x.data(), out.data(), size);
      for (int32_t i = 0; i < size; ++i) {
        const double a = std::fabs(x[size_t(i)]);
        const double expected = a + std::log1p(std::exp(-2.0 * a)) - std::log(2.0);
        ASSERT_NEAR(out[size_t(i)], expected, 1e-14 * (1.0 + expected)) << x[size_t(i)];
      }
      for (int32_t i = size; i < size + kGuard; ++i) ASSERT_EQ(out[size_t(i)], -1.0) << "written past the end";
    }
  });
}
