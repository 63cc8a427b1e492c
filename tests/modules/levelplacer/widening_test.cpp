// The widening kernel in every vector build against the form in double precision, at awkward
// sizes and misalignments, with a sweep that overshoots both ends of the range.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "hwy/targets.h"
#include "modules/levelplacer/widening.h"

namespace {

void ReferenceWidening(double w, double& l, double& r) {
  const double k = std::clamp(w, -1.0, 2.0) + 1.0;
  const double c = 0.5 / std::sqrt(0.5 * k * k + 0.5);
  const double left = c * (1 + k) * l + c * (1 - k) * r;
  r = c * (1 - k) * l + c * (1 + k) * r;
  l = left;
}

std::vector<float> Noise(size_t count, uint32_t seed) {
  std::mt19937 random(seed);
  std::uniform_real_distribution<float> uniform(-1.0f, 1.0f);
  std::vector<float> out(count);
  for (float& x : out) x = uniform(random);
  return out;
}

class WideningTargets : public ::testing::Test {
protected:
  void TearDown() override { hwy::SetSupportedTargetsForTest(0); }
};

} // namespace

TEST_F(WideningTargets, EveryBuildFollowsTheFormAtAwkwardSizesAndTouchesNothingElse) {
  const std::vector<int64_t> targets = hwy::SupportedAndGeneratedTargets();
  ASSERT_FALSE(targets.empty());
  const std::vector<float> l0 = Noise(520, 3), r0 = Noise(520, 4);
  constexpr float kSentinel = -12345.0f;
  for (int64_t target : targets) {
    hwy::SetSupportedTargetsForTest(target);
    SCOPED_TRACE(hwy::TargetName(target));
    for (int32_t size : {0, 1, 3, 4, 5, 7, 8, 9, 15, 16, 17, 33, 63, 64, 65, 511, 512, 513}) {
      for (int32_t misalign = 0; misalign < 3; ++misalign) {
        std::vector<float> l(540, kSentinel), r(540, kSentinel);
        std::copy(l0.begin(), l0.begin() + size, l.begin() + misalign);
        std::copy(r0.begin(), r0.begin() + size, r.begin() + misalign);
        // From beyond mono to beyond 200%: the ends hold.
        RWideningKernels::WideningRamp(l.data() + misalign, r.data() + misalign, size, -1.3f, 0.007f);
        for (int32_t i = 0; i < int32_t(l.size()); ++i) {
          if (i < misalign || i >= misalign + size) {
            ASSERT_EQ(l[size_t(i)], kSentinel) << size;
            ASSERT_EQ(r[size_t(i)], kSentinel) << size;
            continue;
          }
          const int32_t n = i - misalign;
          double el = l0[size_t(n)], er = r0[size_t(n)];
          ReferenceWidening(-1.3 + 0.007 * n, el, er);
          ASSERT_NEAR(l[size_t(i)], el, 2e-5) << "size " << size << ", sample " << n;
          ASSERT_NEAR(r[size_t(i)], er, 2e-5) << "size " << size << ", sample " << n;
        }
      }
    }
  }
}
