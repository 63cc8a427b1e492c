// The grain read kernels: every vector build this processor can run against the scalar form,
// over sizes around the vector widths, whole and fractional positions, several rates, reads
// that end at the grain's last frame, and nothing written past the end.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "hwy/targets.h"
#include "modules/graincloud/grainkernels.h"

namespace {

constexpr float kSentinel = -777.0f;
constexpr int32_t kGuard = 16;

std::vector<float> Noise(size_t count, uint32_t seed) {
  std::mt19937 random(seed);
  std::uniform_real_distribution<float> uniform(-1.0f, 1.0f);
  std::vector<float> x(count);
  for (float& v : x) v = uniform(random);
  return x;
}

// Linear interpolation in double precision, the upper neighbour held at the last frame.
double Reference(const std::vector<float>& x, int32_t length, double position) {
  const auto index = std::clamp(int32_t(position), 0, length - 1);
  const int32_t next = std::min(index + 1, length - 1);
  return x[size_t(index)] + (position - index) * (double(x[size_t(next)]) - x[size_t(index)]);
}

template <class Check>
void ForEachTarget(const Check& check) {
  for (int64_t target : hwy::SupportedAndGeneratedTargets()) {
    hwy::SetSupportedTargetsForTest(target);
    SCOPED_TRACE(hwy::TargetName(target));
    check();
  }
  hwy::SetSupportedTargetsForTest(0);
}

} // namespace

TEST(GrainKernels, EveryBuildReadsAsTheScalarFormAtAnyRateAndPosition) {
  const int32_t length = 1200;
  const std::vector<float> left = Noise(size_t(length), 5), right = Noise(size_t(length), 6);
  const std::vector<float> envelope = Noise(300, 7);
  const struct {
    double position;
    double rate;
  } reads[] = {{0.0, 1.0}, {17.0, 1.0}, {3.25, 1.0}, {10.5, 2.0}, {0.0, 0.5}, {99.123, 1.4983070768766815},
               {800.7, 3.9999}, {1000.0, 0.25}};
  ForEachTarget([&] {
    for (const auto& read : reads) {
      for (int32_t frames : {0, 1, 3, 4, 5, 7, 8, 9, 15, 16, 17, 31, 33, 64, 65, 100}) {
        // Keep the last read below the grain's end, as a copy does.
        if (read.position + (frames - 1) * read.rate >= length) continue;
        std::vector<float> mono(size_t(frames + kGuard), kSentinel);
        std::vector<float> outLeft(size_t(frames + kGuard), 0.5f), outRight(size_t(frames + kGuard), -0.5f);
        std::fill(outLeft.begin() + frames, outLeft.end(), kSentinel);
        std::fill(outRight.begin() + frames, outRight.end(), kSentinel);
        std::fill(mono.begin(), mono.begin() + frames, 0.25f);
        RGrainKernels::AddMono(left.data(), length, read.position, read.rate, envelope.data(), 0.7f, mono.data(),
                               frames);
        RGrainKernels::AddStereo(left.data(), right.data(), length, read.position, read.rate, envelope.data(), 0.3f,
                                 1.1f, outLeft.data(), outRight.data(), frames);
        for (int32_t i = 0; i < frames; ++i) {
          const double p = read.position + i * read.rate;
          const double e = envelope[size_t(i)];
          ASSERT_NEAR(mono[size_t(i)], 0.25 + Reference(left, length, p) * e * 0.7, 2e-6)
              << "rate " << read.rate << " frames " << frames << " at " << i;
          ASSERT_NEAR(outLeft[size_t(i)], 0.5 + Reference(left, length, p) * e * 0.3, 2e-6) << i;
          ASSERT_NEAR(outRight[size_t(i)], -0.5 + Reference(right, length, p) * e * 1.1, 2e-6) << i;
        }
        for (int32_t i = frames; i < frames + kGuard; ++i) {
          ASSERT_EQ(mono[size_t(i)], kSentinel) << "written past the end";
          ASSERT_EQ(outLeft[size_t(i)], kSentinel);
          ASSERT_EQ(outRight[size_t(i)], kSentinel);
        }
      }
    }
  });
}

TEST(GrainKernels, AReadNearTheLastFrameHoldsItsUpperNeighbour) {
  const std::vector<float> x = {0.0f, 1.0f, 2.0f, 3.0f};
  const std::vector<float> envelope(40, 1.0f);
  ForEachTarget([&] {
    std::vector<float> out(20, 0.0f);
    // From 3.0 on the reads fall in the last frame: x[3] stands for its missing neighbour.
    RGrainKernels::AddMono(x.data(), 4, 2.5, 0.0625, envelope.data(), 1.0f, out.data(), 16);
    EXPECT_FLOAT_EQ(out[0], 2.5f);
    EXPECT_FLOAT_EQ(out[8], 3.0f);
    EXPECT_FLOAT_EQ(out[15], 3.0f);
  });
}
