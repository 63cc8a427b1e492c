// The crossfade laws by their values at the edges and on the way, their mirror symmetry, and
// the per-sample form against the single one.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "hwy/targets.h"
#include "modules/blend/blendlaws.h"

namespace {

struct Point {
  double r, a, b;
};
struct LawCase {
  RBlendMode mode;
  const char* name;
  std::vector<Point> points;
};

// Worked by hand from the laws' definitions: sin(pi/16) = 0.19509, sin(pi/8) = 0.38268,
// sin(pi/4) = 0.70711, 0.5 - 0.5 sin(pi/4) = 0.14645.
const std::vector<LawCase>& Cases() {
  static const std::vector<LawCase> cases = {
      {RBlendMode::kSquared, "Squared",
       {{0, 0, 1}, {0.125, 0.015625, 0.765625}, {0.25, 0.0625, 0.5625}, {0.5, 0.25, 0.25}, {0.75, 0.5625, 0.0625},
        {1, 1, 0}}},
      {RBlendMode::kLinear, "Linear", {{0, 0, 1}, {0.25, 0.25, 0.75}, {0.5, 0.5, 0.5}, {0.875, 0.875, 0.125}, {1, 1, 0}}},
      {RBlendMode::kConstantPower, "Constant power",
       {{0, 0, 1}, {0.125, 0.19509, 0.98079}, {0.25, 0.38268, 0.92388}, {0.5, 0.70711, 0.70711},
        {0.75, 0.92388, 0.38268}, {1, 1, 0}}},
      {RBlendMode::kTransition, "Transition",
       {{0, 0, 1}, {0.125, 0.25, 1}, {0.25, 0.5, 1}, {0.5, 1, 1}, {0.75, 1, 0.5}, {0.875, 1, 0.25}, {1, 1, 0}}},
      {RBlendMode::kFade, "Fade",
       {{0, 0, 1}, {0.125, 0.38268, 1}, {0.25, 0.70711, 1}, {0.5, 1, 1}, {0.75, 1, 0.70711}, {1, 1, 0}}},
      {RBlendMode::kFadeSmooth, "Fade smooth",
       {{0, 0, 1}, {0.125, 0.14645, 1}, {0.25, 0.5, 1}, {0.5, 1, 1}, {0.75, 1, 0.5}, {0.875, 1, 0.14645}, {1, 1, 0}}},
      {RBlendMode::kCut, "Cut",
       {{0, 0, 1}, {0.125, 0.70711, 1}, {0.25, 1, 1}, {0.5, 1, 1}, {0.75, 1, 1}, {0.875, 1, 0.70711}, {1, 1, 0}}},
      {RBlendMode::kCutSmooth, "Cut smooth",
       {{0, 0, 1}, {0.0625, 0.14645, 1}, {0.125, 0.5, 1}, {0.25, 1, 1}, {0.75, 1, 1}, {0.875, 1, 0.5}, {1, 1, 0}}},
  };
  return cases;
}

} // namespace

TEST(BlendLaws, EveryLawMeetsItsValuesAtTheEdgesAndOnTheWay) {
  for (const LawCase& law : Cases()) {
    SCOPED_TRACE(law.name);
    EXPECT_STREQ(BlendModeName(law.mode), law.name);
    for (const Point& p : law.points) {
      const RBlendGains g = BlendGainsAt(law.mode, p.r);
      EXPECT_NEAR(g.a, p.a, 1e-5) << "A at " << p.r;
      EXPECT_NEAR(g.b, p.b, 1e-5) << "B at " << p.r;
    }
  }
}

TEST(BlendLaws, EachLawIsItsOwnMirrorAndStaysWithinUnity) {
  for (const LawCase& law : Cases()) {
    SCOPED_TRACE(law.name);
    for (int32_t i = 0; i <= 200; ++i) {
      const double r = i / 200.0;
      const RBlendGains g = BlendGainsAt(law.mode, r), mirror = BlendGainsAt(law.mode, 1.0 - r);
      ASSERT_NEAR(g.a, mirror.b, 1e-12) << r;
      ASSERT_GE(g.a, 0.0);
      ASSERT_LE(g.a, 1.0);
      ASSERT_GE(g.b, 0.0);
      ASSERT_LE(g.b, 1.0);
    }
  }
}

TEST(BlendLaws, PositionsOutsideTheTravelHoldToItsEnds) {
  const RBlendGains below = BlendGainsAt(RBlendMode::kLinear, -0.5), above = BlendGainsAt(RBlendMode::kLinear, 3.0);
  EXPECT_EQ(below.a, 0.0);
  EXPECT_EQ(below.b, 1.0);
  EXPECT_EQ(above.a, 1.0);
  EXPECT_EQ(above.b, 0.0);
  const RBlendGains nan = BlendGainsAt(RBlendMode::kConstantPower, std::nan(""));
  EXPECT_EQ(nan.a, 0.0);
  EXPECT_EQ(nan.b, 1.0);
}

TEST(BlendLaws, EveryBuildOfThePerSampleGainsFollowsTheSingleForm) {
  // Beyond both ends of the travel, at sizes that leave every kind of vector tail.
  std::vector<float> r(531), a(r.size()), b(r.size());
  for (size_t i = 0; i < r.size(); ++i) r[i] = -0.1f + 1.2f * float(i) / float(r.size() - 1);
  constexpr float kSentinel = -7.0f;
  for (int64_t target : hwy::SupportedAndGeneratedTargets()) {
    hwy::SetSupportedTargetsForTest(target);
    SCOPED_TRACE(hwy::TargetName(target));
    for (const LawCase& law : Cases()) {
      SCOPED_TRACE(law.name);
      for (int32_t size : {1, 3, 4, 5, 8, 9, 16, 17, 31, 33, 530}) {
        std::fill(a.begin(), a.end(), kSentinel);
        std::fill(b.begin(), b.end(), kSentinel);
        BlendGainsOver(law.mode, r.data(), a.data(), b.data(), size);
        for (int32_t i = 0; i < size; ++i) {
          const RBlendGains g = BlendGainsAt(law.mode, double(r[size_t(i)]));
          ASSERT_NEAR(a[size_t(i)], g.a, 2e-6) << i;
          ASSERT_NEAR(b[size_t(i)], g.b, 2e-6) << i;
        }
        ASSERT_EQ(a[size_t(size)], kSentinel) << "written past the end at size " << size;
        ASSERT_EQ(b[size_t(size)], kSentinel) << "written past the end at size " << size;
      }
    }
  }
  hwy::SetSupportedTargetsForTest(0);
}

TEST(BlendLaws, ModeItemsFollowTheTableAndOutOfRangeIndexesHold) {
  const RArray<RString> items = BlendModeItems();
  ASSERT_EQ(items.Count(), kBlendModeCount);
  EXPECT_EQ(items[2], RString("Constant power"));
  EXPECT_EQ(items[7], RString("Cut smooth"));
  EXPECT_EQ(BlendModeOf(-3), RBlendMode::kSquared);
  EXPECT_EQ(BlendModeOf(99), RBlendMode::kCutSmooth);
  EXPECT_EQ(kDefaultBlendMode, RBlendMode::kConstantPower);
}
