// RLevelPlacer allocates nothing once set up, with every stage gliding at once, and lets
// nothing undefined out whatever comes in.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "modules/levelplacer/levelplacer.h"
#include "tests/modules/blend/modulehost.h"
#include "tests/support/allocationcounter.h"

TEST(LevelPlacerRealtime, EveryStageGlidesWithoutAllocating) {
  constexpr int32_t kBlock = 512;
  constexpr int32_t kSizes[] = {kBlock, 1, 257, 96, 511};
  RLevelPlacer placer;
  RModuleHost host(placer, 1, 2, kBlock);
  host.SetChannel(0, 0, [](int32_t i) {
    switch (i % 5) {
      case 0: return std::numeric_limits<float>::quiet_NaN();
      case 1: return -std::numeric_limits<float>::infinity();
      case 2: return 1e30f;
      case 3: return 1e-42f;
      default: return std::sin(0.01f * float(i));
    }
  });
  host.SetChannel(0, 1, [](int32_t i) { return std::cos(0.02f * float(i)); });
  host.Run(kBlock);

  RCountingScope scope;
  for (int32_t round = 0; round < 40; ++round) {
    const double t = round / 40.0;
    placer.GetGain().SetValueNow(0.1 + 4.0 * t);
    placer.GetVolume().SetValueNow(1.0 - t);
    placer.GetGainLeft().SetValueNow(0.5 + t);
    placer.GetGainRight().SetValueNow(2.0 - t);
    placer.GetPanorama().SetValueNow(std::sin(round * 0.9));
    placer.GetPanoramaLaw().SetValueNow(0.3 + 2.0 * t);
    placer.GetWidening().SetValueNow(-1.0 + 3.0 * std::fabs(std::sin(round * 0.4)));
    host.Run(kSizes[round % 5]);
    for (int32_t c = 0; c < 2; ++c) {
      for (float v : host.Out(c)) ASSERT_TRUE(std::isfinite(v));
    }
  }
  EXPECT_EQ(scope.Allocations(), 0);
}
