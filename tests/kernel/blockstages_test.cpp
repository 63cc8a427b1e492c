// Gain, panorama and width stages: what a listener would check (levels, mono sums, the pan
// extremes, the width's level compensation), ramps that glide from one block's value to the
// next, and every vector build of the kernels against a scalar reference at awkward sizes.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <random>
#include <vector>

#include "hwy/targets.h"
#include "kernel/blockkernels.h"
#include "kernel/blockstages.h"
#include "kernel/value.h"

namespace {

constexpr float kTolerance = 2e-5f;

// A value whose processing value and last block's value both stand at real.
void Settle(RRangedValue& value, double real) {
  value.SetValueNow(real);
  value.MarkRampDone();
}

std::vector<float> Noise(size_t count, uint32_t seed) {
  std::mt19937 random(seed);
  std::uniform_real_distribution<float> uniform(-1.0f, 1.0f);
  std::vector<float> out(count);
  for (float& x : out) x = uniform(random);
  return out;
}

double Decibels(double gain) { return std::pow(10.0, gain / 20.0); }

// The documented forms, sample by sample in double precision.
void ReferencePan(double p, double law, double& l, double& r) {
  p = std::clamp(p, -1.0, 1.0);
  const double scale = 1.0 + (law - 1.0) * std::fabs(p);
  const double left = p >= 0 ? (1 - p) * l : l - p * r;
  const double right = p >= 0 ? r + p * l : (1 + p) * r;
  l = scale * left;
  r = scale * right;
}

void ReferenceWidth(double f, double& l, double& r) {
  f = std::clamp(f, -1.0, 1.0);
  const double gain = Decibels(f >= 0 ? 0.55 * f * f - 4.85 * f : -2.3 * f);
  const double mid = (l + r) / 2, side = (l - r) / 2 * (f + 1);
  l = gain * (mid + side);
  r = gain * (mid - side);
}

// --- the stages through their values

TEST(GainStage, AConstantFactorScalesEveryChannelAndSkipsMissingOnes) {
  RRealValue gain(nullptr, "Gain", 0.0, 4.0, 1.0);
  Settle(gain, 2.0);
  std::vector<float> a = Noise(100, 1), b = Noise(100, 2);
  const std::vector<float> a0 = a, b0 = b;
  float* channels[3] = {a.data(), nullptr, b.data()};
  ApplyGain(gain, channels, 3, 100);
  for (size_t i = 0; i < a.size(); ++i) {
    ASSERT_FLOAT_EQ(a[i], 2 * a0[i]);
    ASSERT_FLOAT_EQ(b[i], 2 * b0[i]);
  }
  Settle(gain, 1.0);
  ApplyGain(gain, channels, 3, 100);
  EXPECT_EQ(a[7], 2 * a0[7]) << "unity gain leaves the block alone";
}

TEST(GainStage, AMovingFactorGlidesAcrossTheBlockAndHoldsItsEndInTheNext) {
  RRealValue gain(nullptr, "Gain", 0.0, 4.0, 1.0);
  gain.SetValueNow(3.0);  // last block ended at 1
  std::vector<float> ones(64, 1.0f);
  float* channels[1] = {ones.data()};
  ApplyGain(gain, channels, 1, 0);
  EXPECT_EQ(ones[0], 1.0f) << "an empty block leaves the ramp for the next";
  ApplyGain(gain, channels, 1, 64);
  for (int32_t i = 0; i < 64; ++i) ASSERT_NEAR(ones[size_t(i)], 1.0 + 2.0 * i / 64.0, 1e-5) << i;
  std::fill(ones.begin(), ones.end(), 1.0f);
  ApplyGain(gain, channels, 1, 64);
  for (float x : ones) ASSERT_FLOAT_EQ(x, 3.0f);
}

TEST(PanoramaStage, ThePairKeepsItsMonoSumAndHardPansFoldOntoOneSide) {
  RRealValue pan(nullptr, "Panorama", -1.0, 1.0, 0.0);
  const std::vector<float> l0 = Noise(50, 3), r0 = Noise(50, 4);
  for (double p : {-1.0, -0.6, -0.2, 0.0, 0.3, 1.0}) {
    SCOPED_TRACE(p);
    Settle(pan, p);
    std::vector<float> l = l0, r = r0;
    ApplyPanorama(pan, l.data(), r.data(), 50);
    for (size_t i = 0; i < l.size(); ++i) {
      ASSERT_NEAR(l[i] + r[i], l0[i] + r0[i], kTolerance);
      if (p == 1.0) {
        ASSERT_EQ(l[i], 0.0f);
      } else if (p == -1.0) {
        ASSERT_EQ(r[i], 0.0f);
      } else if (p == 0.0) {
        ASSERT_EQ(l[i], l0[i]);
      } else if (p == 0.3) {
        ASSERT_NEAR(l[i], 0.7f * l0[i], kTolerance);
      } else if (p == -0.6) {
        ASSERT_NEAR(l[i], l0[i] + 0.6f * r0[i], kTolerance);
      }
    }
  }
}

TEST(PanoramaStage, ALawGainRaisesTheSidesOnly) {
  RRealValue pan(nullptr, "Panorama", -1.0, 1.0, 0.0);
  std::vector<float> l(8, 0.5f), r(8, 0.25f);
  Settle(pan, 1.0);
  ApplyPanorama(pan, l.data(), r.data(), 8, 2.0);
  EXPECT_FLOAT_EQ(r[3], 1.5f);
  Settle(pan, -0.5);
  std::fill(l.begin(), l.end(), 1.0f);
  std::fill(r.begin(), r.end(), 1.0f);
  ApplyPanorama(pan, l.data(), r.data(), 8, 2.0);
  EXPECT_FLOAT_EQ(l[0], 1.5f * 1.5f);
  EXPECT_FLOAT_EQ(r[0], 1.5f * 0.5f);
  ApplyPanorama(pan, l.data(), r.data(), 8, 1.000001);  // within 1e-5: no law
  EXPECT_FLOAT_EQ(l[0], 2.25f + 0.5f * 0.75f);
}

TEST(PanoramaStage, ASweepFromLeftToRightMovesPerSampleAndStaysInRange) {
  RRealValue pan(nullptr, "Panorama", -1.0, 1.0, 0.0);
  Settle(pan, -1.0);
  pan.SetValueNow(1.0);
  std::vector<float> l(200, 1.0f), r(200, 1.0f);
  ApplyPanorama(pan, l.data(), r.data(), 200);
  for (int32_t i = 0; i < 200; ++i) {
    double el = 1.0, er = 1.0;
    ReferencePan(-1.0 + 2.0 * i / 200.0, 1.0, el, er);
    ASSERT_NEAR(l[size_t(i)], el, kTolerance) << i;
    ASSERT_NEAR(r[size_t(i)], er, kTolerance) << i;
  }
  EXPECT_DOUBLE_EQ(pan.GetLastValue(), 1.0);
}

TEST(WidthStage, NarrowingToMonoAndWideningCompensateTheLevel) {
  RRealValue width(nullptr, "Width", -1.0, 1.0, 0.0);
  const std::vector<float> l0 = Noise(40, 5), r0 = Noise(40, 6);
  std::vector<float> l = l0, r = r0;
  Settle(width, 0.0);
  ApplyWidth(width, l.data(), r.data(), 40);
  EXPECT_EQ(l, l0);
  EXPECT_EQ(r, r0);
  Settle(width, -1.0);
  ApplyWidth(width, l.data(), r.data(), 40);
  for (size_t i = 0; i < l.size(); ++i) {
    ASSERT_FLOAT_EQ(l[i], r[i]) << "fully narrowed is mono";
    ASSERT_NEAR(l[i], (l0[i] + r0[i]) / 2 * Decibels(2.3), kTolerance);
  }
  l = l0;
  r = r0;
  Settle(width, 1.0);
  ApplyWidth(width, l.data(), r.data(), 40);
  for (size_t i = 0; i < l.size(); ++i) {
    ASSERT_NEAR(l[i], (1.5 * l0[i] - 0.5 * r0[i]) * Decibels(-4.3), kTolerance);
    ASSERT_NEAR(r[i], (1.5 * r0[i] - 0.5 * l0[i]) * Decibels(-4.3), kTolerance);
  }
  EXPECT_NEAR(WidthCompensation(0.5), Decibels(0.55 * 0.25 - 4.85 * 0.5), 1e-12);
}

TEST(WidthStage, AMovingWidthStartsWhereTheConstantFormStandsAndEndsAtTheNewValue) {
  RRealValue width(nullptr, "Width", -1.0, 1.0, 0.0);
  const std::vector<float> l0 = Noise(96, 7), r0 = Noise(96, 8);
  Settle(width, -0.4);
  std::vector<float> lc = l0, rc = r0;
  ApplyWidth(width, lc.data(), rc.data(), 96);
  width.SetValueNow(0.8);
  std::vector<float> l = l0, r = r0;
  ApplyWidth(width, l.data(), r.data(), 96);
  EXPECT_NEAR(l[0], lc[0], kTolerance);
  EXPECT_NEAR(r[0], rc[0], kTolerance);
  for (int32_t i = 0; i < 96; ++i) {
    double el = l0[size_t(i)], er = r0[size_t(i)];
    ReferenceWidth(-0.4 + 1.2 * i / 96.0, el, er);
    ASSERT_NEAR(l[size_t(i)], el, kTolerance) << i;
    ASSERT_NEAR(r[size_t(i)], er, kTolerance) << i;
  }
  l = l0;
  r = r0;
  ApplyWidth(width, l.data(), r.data(), 96);
  double el = l0[50], er = r0[50];
  ReferenceWidth(0.8, el, er);
  EXPECT_NEAR(l[50], el, kTolerance);
  EXPECT_NEAR(r[50], er, kTolerance);
}

// --- every vector build against the reference

class BlockKernelsTargets : public ::testing::Test {
protected:
  void TearDown() override { hwy::SetSupportedTargetsForTest(0); }

  template <class Check>
  void ForEachTarget(const Check& check) {
    const std::vector<int64_t> targets = hwy::SupportedAndGeneratedTargets();
    ASSERT_FALSE(targets.empty());
    for (int64_t target : targets) {
      hwy::SetSupportedTargetsForTest(target);
      SCOPED_TRACE(hwy::TargetName(target));
      check();
    }
  }
};

// Runs kernel on a pair at every size and misalignment and compares each sample with
// reference(index, left, right); the samples around the block must stay untouched.
using PairKernel = std::function<void(float*, float*, int32_t)>;
using PairReference = std::function<void(int32_t, double&, double&)>;

void ExpectPairMatches(const PairKernel& kernel, const PairReference& reference) {
  const int32_t sizes[] = {0, 1, 2, 3, 4, 5, 7, 8, 9, 15, 16, 17, 31, 32, 33, 63, 64, 65, 511, 512, 513};
  constexpr float kSentinel = -12345.0f;
  const std::vector<float> l0 = Noise(520, 9), r0 = Noise(520, 10);
  for (int32_t size : sizes) {
    for (int32_t misalign = 0; misalign < 4; ++misalign) {
      std::vector<float> l(540, kSentinel), r(540, kSentinel);
      std::copy(l0.begin(), l0.begin() + size, l.begin() + misalign);
      std::copy(r0.begin(), r0.begin() + size, r.begin() + misalign);
      kernel(l.data() + misalign, r.data() + misalign, size);
      for (int32_t i = 0; i < int32_t(l.size()); ++i) {
        if (i < misalign || i >= misalign + size) {
          ASSERT_EQ(l[size_t(i)], kSentinel) << "outside the block, size " << size;
          ASSERT_EQ(r[size_t(i)], kSentinel) << "outside the block, size " << size;
          continue;
        }
        double el = l0[size_t(i - misalign)], er = r0[size_t(i - misalign)];
        reference(i - misalign, el, er);
        ASSERT_NEAR(l[size_t(i)], el, kTolerance) << "size " << size << ", sample " << i - misalign;
        ASSERT_NEAR(r[size_t(i)], er, kTolerance) << "size " << size << ", sample " << i - misalign;
      }
    }
  }
}

TEST_F(BlockKernelsTargets, EveryBuildMatchesTheReferenceFormsAtAwkwardSizes) {
  ForEachTarget([] {
    // The one-buffer kernels run on the left, the right must come through as it was.
    ExpectPairMatches([](float* l, float*, int32_t n) { RBlockKernels::Scale(l, n, -0.75f); },
                      [](int32_t, double& l, double&) { l *= -0.75; });
    ExpectPairMatches([](float* l, float*, int32_t n) { RBlockKernels::ScaleRamp(l, n, 0.5f, 0.002f); },
                      [](int32_t i, double& l, double&) { l *= 0.5 + 0.002 * i; });
    ExpectPairMatches([](float* l, float* r, int32_t n) { RBlockKernels::MixPair(l, r, n, 0.1f, 0.2f, 0.3f, 0.4f); },
                      [](int32_t, double& l, double& r) {
                        const double left = 0.1 * l + 0.2 * r;
                        r = 0.3 * l + 0.4 * r;
                        l = left;
                      });
    // The sweep overshoots both ends, which must hold at -1 and 1.
    ExpectPairMatches([](float* l, float* r, int32_t n) { RBlockKernels::PanRamp(l, r, n, -1.2f, 0.005f, 1.5f); },
                      [](int32_t i, double& l, double& r) { ReferencePan(-1.2 + 0.005 * i, 1.5, l, r); });
    ExpectPairMatches([](float* l, float* r, int32_t n) { RBlockKernels::WidthRamp(l, r, n, -1.1f, 0.005f); },
                      [](int32_t i, double& l, double& r) { ReferenceWidth(-1.1 + 0.005 * i, l, r); });
  });
}

} // namespace
