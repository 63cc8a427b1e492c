// The blends allocate nothing once set up, with every value gliding and the ratio crossing
// buses each block, and let nothing undefined out whatever comes in.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "modules/blend/manywayblend.h"
#include "modules/blend/twowayblend.h"
#include "tests/modules/blend/modulehost.h"
#include "tests/support/allocationcounter.h"

namespace {

constexpr int32_t kBlock = 512;

// Odd sizes, a single frame and a whole block, so the glides cut the stack chunks anywhere.
constexpr int32_t kSizes[] = {kBlock, 1, 257, 96, 511};

float Hostile(int32_t i) {
  switch (i % 6) {
    case 0: return std::numeric_limits<float>::quiet_NaN();
    case 1: return std::numeric_limits<float>::infinity();
    case 2: return -1e30f;
    case 3: return 1e-41f;  // denormal
    default: return float(i % 17) * 0.1f - 0.8f;
  }
}

void ExpectFinite(const RModuleHost& host) {
  for (int32_t c = 0; c < 2; ++c) {
    for (float v : host.Out(c)) ASSERT_TRUE(std::isfinite(v));
  }
}

} // namespace

TEST(BlendRealtime, TwoWayBlendGlidesEveryValueWithoutAllocating) {
  RTwoWayBlend blend;
  RModuleHost host(blend, 2, 2, kBlock);
  host.SetChannel(0, 0, [](int32_t i) { return std::sin(0.01f * float(i)); });
  host.SetChannel(0, 1, [](int32_t i) { return std::cos(0.02f * float(i)); });
  host.SetChannel(1, 0, Hostile);
  host.SetChannel(1, 1, [](int32_t i) { return Hostile(i + 3); });
  host.Run(kBlock);

  RCountingScope scope;
  for (int32_t round = 0; round < 40; ++round) {
    const double t = round / 40.0;
    blend.GetRatio().SetValueNow(std::fmod(t * 3.0, 1.0));
    blend.GetGain()->SetValueNow(0.1 + 3.0 * t);
    blend.GetVolume()->SetValueNow(1.0 - t);
    blend.GetPanorama()->SetValueNow(std::sin(round * 0.7));
    blend.GetMode().SetValueNow(double(round % kBlendModeCount));
    host.Run(kSizes[round % 5], round % 7 == 3);
    ExpectFinite(host);
  }
  EXPECT_EQ(scope.Allocations(), 0);
}

TEST(BlendRealtime, ManyWayBlendGlidesAcrossSeventeenBusesWithoutAllocating) {
  RManyWayBlend blend;
  RModuleHost host(blend, 17, 2, kBlock);
  for (int32_t k = 0; k < 17; ++k) {
    host.SetChannel(k, 0, [k](int32_t i) { return Hostile(i + k); });
    host.SetChannel(k, 1, [k](int32_t i) { return float(k) * std::sin(0.001f * float(i)); });
  }
  host.Run(kBlock);

  RCountingScope scope;
  for (int32_t round = 0; round < 40; ++round) {
    blend.GetRatio().SetValueNow(std::fabs(std::sin(round * 0.37)));
    blend.GetCyclic().SetValueNow(round % 3 == 0 ? 1.0 : 0.0);
    blend.GetMode().SetValueNow(double(round % kBlendModeCount));
    host.Run(kSizes[round % 5]);
    ExpectFinite(host);
  }
  EXPECT_EQ(scope.Allocations(), 0);
}
