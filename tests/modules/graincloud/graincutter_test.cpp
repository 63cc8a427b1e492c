// The cutter: grain sizes, the rule for a size that changes while a grain is cut, fades, the
// side chain cut in step with the main input, and what enters a grain.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "modules/graincloud/graincutter.h"

namespace {

struct Cutting {
  RGrainPool pool;
  RGrainCutter cutter;
  RGrainRandom random;
  std::vector<int32_t> lengths;

  Cutting() { pool.Setup(1, 1 << 16, 256); }
  ~Cutting() { cutter.Reset(pool); }

  void Sizes(int32_t min, int32_t max, int32_t fade = 0) { cutter.SetSizes(RGrainSizes{min, max, fade}, random); }
  // Cuts frames of a ramp in blocks, noting each finished grain's length.
  void Cut(int32_t frames, int32_t block = 64, const float* const* side = nullptr) {
    std::vector<float> x(size_t(block), 0.25f);
    for (int32_t done = 0; done < frames; done += block) {
      const float* main[1] = {x.data()};
      cutter.Cut(main, side, 1, std::min(block, frames - done), pool, random);
      for (int32_t i = 0; i < cutter.GetFinishedCount(); ++i) lengths.push_back(cutter.GetFinished(0, i)->Length);
    }
  }
};

} // namespace

TEST(GrainCutter, GrainsTakeSizesBetweenTheLimitsAndFadeAtMostHalfTheGrain) {
  Cutting c;
  c.Sizes(100, 100, 80);
  c.Cut(1000, 37);
  ASSERT_EQ(c.lengths.size(), 10u);
  for (int32_t length : c.lengths) EXPECT_EQ(length, 100);

  Cutting r;
  r.Sizes(100, 200, 30);
  r.Cut(20000);
  int32_t shortest = 1 << 30, longest = 0;
  for (int32_t length : r.lengths) {
    shortest = std::min(shortest, length);
    longest = std::max(longest, length);
  }
  EXPECT_GE(shortest, 100);
  EXPECT_LE(longest, 200);
  EXPECT_GT(longest - shortest, 50) << "sizes are drawn over the range";

  // The fade of a grain: the setting, or half the grain when that is less.
  RGrainPool pool;
  pool.Setup(1, 4096, 16);
  RGrainCutter cutter;
  RGrainRandom random;
  cutter.SetSizes(RGrainSizes{40, 40, 30}, random);
  std::vector<float> x(40, 1.0f);
  const float* main[1] = {x.data()};
  cutter.Cut(main, nullptr, 1, 40, pool, random);
  ASSERT_EQ(cutter.GetFinishedCount(), 1);
  EXPECT_EQ(cutter.GetFinished(0, 0)->FadeLength, 20);
  cutter.Reset(pool);
  EXPECT_EQ(pool.GetLiveCount(), 0);
}

TEST(GrainCutter, ASizeBelowSixteenFramesNeverTakesEffect) {
  Cutting c;
  c.Sizes(100, 100);
  c.Cut(250);
  c.Sizes(8, 8);
  c.Cut(550);
  ASSERT_EQ(c.lengths.size(), 8u);
  for (int32_t length : c.lengths) EXPECT_EQ(length, 100);
}

TEST(GrainCutter, ANewSizeAppliesToTheGrainUnderWayOnlyWhenItDoesNotCutBelowWhatStands) {
  Cutting c;
  c.Sizes(100, 100);
  c.Cut(170, 10);  // the second grain holds 70 frames
  ASSERT_EQ(c.cutter.GetWritten(), 70);
  c.Sizes(50, 50);
  EXPECT_EQ(c.cutter.GetSize(), 100) << "50 would cut below the 70 frames that stand";
  c.Cut(130, 10);
  ASSERT_EQ(c.lengths.size(), 4u);
  EXPECT_EQ(c.lengths[1], 100);
  EXPECT_EQ(c.lengths[2], 50);

  Cutting d;
  d.Sizes(100, 100);
  d.Cut(120, 10);  // 20 frames stand
  d.Sizes(60, 60);
  EXPECT_EQ(d.cutter.GetSize(), 60);
  d.Cut(40, 10);
  ASSERT_EQ(d.lengths.size(), 2u);
  EXPECT_EQ(d.lengths[1], 60);
}

TEST(GrainCutter, TheSideChainIsCutInStepAndJoinsMidGrainWithSilence) {
  RGrainPool pool;
  pool.Setup(1, 1 << 14, 64);
  RGrainCutter cutter;
  RGrainRandom random;
  cutter.SetSizes(RGrainSizes{64, 64, 0}, random);
  std::vector<float> main(32, 1.0f), side(32, -1.0f);
  const float* m[1] = {main.data()};
  const float* s[1] = {side.data()};
  cutter.Cut(m, nullptr, 1, 32, pool, random);
  cutter.Cut(m, s, 1, 32, pool, random);
  ASSERT_EQ(cutter.GetFinishedCount(), 1);
  const RGrain* mainGrain = cutter.GetFinished(0, 0);
  const RGrain* sideGrain = cutter.GetFinished(1, 0);
  ASSERT_NE(sideGrain, nullptr);
  EXPECT_EQ(sideGrain->Length, mainGrain->Length);
  EXPECT_EQ(sideGrain->Serial, mainGrain->Serial);
  EXPECT_EQ(sideGrain->Channel(0)[31], 0.0f);
  EXPECT_EQ(sideGrain->Channel(0)[32], -1.0f);
  EXPECT_EQ(mainGrain->Channel(0)[0], 1.0f);

  // Without the side chain the side entries are empty.
  cutter.Cut(m, nullptr, 1, 32, pool, random);
  cutter.Cut(m, nullptr, 1, 32, pool, random);
  ASSERT_EQ(cutter.GetFinishedCount(), 1);
  EXPECT_EQ(cutter.GetFinished(1, 0), nullptr);
  cutter.Reset(pool);
  EXPECT_EQ(pool.GetLiveCount(), 0);
}

TEST(GrainCutter, SamplesThatAreNoNumberOrBeyondTheClampEnterTamed) {
  RGrainPool pool;
  pool.Setup(1, 4096, 8);
  RGrainCutter cutter;
  RGrainRandom random;
  cutter.SetSizes(RGrainSizes{16, 16, 0}, random);
  const float inf = std::numeric_limits<float>::infinity();
  std::vector<float> x = {std::nanf(""), inf, -inf, 1e30f, -1e30f, 1e-40f, 0.5f, 0, 0, 0, 0, 0, 0, 0, 0, 0};
  const float* m[1] = {x.data()};
  cutter.Cut(m, nullptr, 1, 16, pool, random);
  ASSERT_EQ(cutter.GetFinishedCount(), 1);
  const float* held = cutter.GetFinished(0, 0)->Channel(0);
  EXPECT_EQ(held[0], 0.0f);
  EXPECT_EQ(held[1], 100000.0f);
  EXPECT_EQ(held[2], -100000.0f);
  EXPECT_EQ(held[3], 100000.0f);
  EXPECT_EQ(held[4], -100000.0f);
  EXPECT_EQ(held[6], 0.5f);
  cutter.Reset(pool);
}
