// RWarmthStage allocates nothing once set up, with every stage engaged and every value
// gliding, and lets nothing undefined out whatever comes in.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "modules/warmthstage/warmthstage.h"
#include "tests/modules/blend/modulehost.h"
#include "tests/support/allocationcounter.h"

TEST(WarmthStageRealtime, EveryStageGlidesWithoutAllocatingAndHostileInputStaysFinite) {
  constexpr int32_t kBlock = 512;
  constexpr int32_t kSizes[] = {kBlock, 1, 257, 96, 511};
  RAwake<RWarmthStage> stage;
  RModuleHost host(stage, 1, 2, kBlock);
  host.SetChannel(0, 0, [](int32_t i) {
    switch (i % 6) {
      case 0: return std::numeric_limits<float>::quiet_NaN();
      case 1: return -std::numeric_limits<float>::infinity();
      case 2: return 1e30f;
      case 3: return 1e-42f;
      case 4: return std::numeric_limits<float>::infinity();
      default: return std::sin(0.01f * float(i));
    }
  });
  host.SetChannel(0, 1, [](int32_t i) { return 0.9f * std::cos(0.02f * float(i)); });
  stage.GetDryWet().SetValueNow(1.0);
  host.Run(kBlock);

  RCountingScope scope;
  for (int32_t round = 0; round < 40; ++round) {
    const double t = round / 40.0;
    stage.GetDrive().SetValueNow(std::pow(10.0, 36.0 * std::fabs(std::sin(round * 0.7)) / 20.0));
    stage.GetTone().SetValueNow(std::sin(round * 0.9));
    stage.GetBias().SetValueNow(t);
    stage.GetOutput().SetValueNow(0.1 + 4.0 * t);
    // Fully wet: the hostile input's dry part isn't what is under test.
    stage.GetDryWet().SetValueNow(0.999 + 0.001 * t);
    host.Run(kSizes[round % 5]);
    for (int32_t c = 0; c < 2; ++c) {
      for (float v : host.Out(c)) ASSERT_TRUE(std::isfinite(v)) << round;
    }
  }
  EXPECT_EQ(scope.Allocations(), 0);
}
