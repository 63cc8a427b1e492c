// The oversampler's audio-thread operations after Setup: every factor the product offers,
// both qualities, odd and changing block sizes, silent and garbage input, must not touch the
// heap. Lives in the counting binary, whose allocator counts the calls of this thread.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "kernel/oversampler.h"
#include "tests/support/allocationcounter.h"

namespace {

constexpr int32_t kMaxBlock = 512;

// One host block through two channels each way; the right channel has no input.
void Block(ROversampler& oversampler, const float* left, float* outLeft, float* outRight, int32_t frames) {
  oversampler.Upsample(0, left, frames);
  oversampler.Advance(1, frames);
  const int32_t length = frames * oversampler.GetFactor();
  for (int32_t channel = 0; channel < 2; ++channel) {
    const float* up = oversampler.GetUpBuffer(channel);
    float* down = oversampler.GetDownBuffer(channel);
    for (int32_t i = 0; i < length; ++i) down[i] = up[i] * 0.5f;
  }
  oversampler.Downsample(0, outLeft, frames);
  oversampler.Downsample(1, outRight, frames);
}

TEST(OversamplerRealtime, UpAdvanceAndDownAllocateNothingAtAnyFactorOrBlockSize) {
  std::mt19937 random(20261123);
  std::uniform_real_distribution<float> uniform(-1.0f, 1.0f);
  std::vector<float> input(kMaxBlock), outLeft(kMaxBlock), outRight(kMaxBlock);
  for (float& x : input) x = uniform(random);
  std::vector<float> garbage = input;
  garbage[3] = std::numeric_limits<float>::quiet_NaN();
  garbage[100] = std::numeric_limits<float>::infinity();

  const int32_t sizes[] = {512, 1, 7, 333, 511, 64, 2, 97};
  for (bool hq : {false, true}) {
    for (int32_t factor : {2, 3, 4, 5, 6, 7, 8, 16}) {
      SCOPED_TRACE(testing::Message() << (hq ? "HQ " : "standard ") << factor << "x");
      ROversampler oversampler;
      oversampler.Setup(48000.0, factor, hq, 2, 2, kMaxBlock);
      RCountingScope scope;
      for (int32_t frames : sizes) {
        Block(oversampler, input.data(), outLeft.data(), outRight.data(), frames);
        Block(oversampler, garbage.data(), outLeft.data(), outRight.data(), frames);
        for (int32_t i = 0; i < frames; ++i) {
          ASSERT_TRUE(std::isfinite(outLeft[size_t(i)]) && std::isfinite(outRight[size_t(i)])) << "sample " << i;
        }
      }
      oversampler.Reset();
      Block(oversampler, nullptr, outLeft.data(), outRight.data(), kMaxBlock);
      EXPECT_EQ(scope.Allocations(), 0);
    }
  }
}

TEST(OversamplerRealtime, SetupAllocatesWhereTheCounterSeesIt) {
  // The counter must see the allocations that Setup is allowed to make, or the zero above
  // proves nothing.
  ROversampler oversampler;
  RCountingScope scope;
  oversampler.Setup(48000.0, 4, true, 2, 2, kMaxBlock);
  EXPECT_GE(scope.Allocations(), 4);
}

} // namespace
