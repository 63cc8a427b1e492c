// RTransferBender allocates nothing once set up, with every value gliding and level match on,
// and lets nothing undefined out whatever comes in.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "modules/transferbender/transferbender.h"
#include "tests/modules/blend/modulehost.h"
#include "tests/support/allocationcounter.h"

TEST(TransferBenderRealtime, EveryStageGlidesWithoutAllocatingAndHostileInputStaysFinite) {
  constexpr int32_t kBlock = 512;
  constexpr int32_t kSizes[] = {kBlock, 1, 257, 96, 511};
  RAwake<RTransferBender> bender;
  RModuleHost host(bender, 1, 2, kBlock);
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
  host.SetChannel(0, 1, [](int32_t i) { return 3.0f * std::cos(0.02f * float(i)); });
  bender.GetLevelMatch().SetValueNow(1.0);
  host.Run(kBlock);

  RCountingScope scope;
  for (int32_t round = 0; round < 40; ++round) {
    const double t = round / 40.0;
    bender.GetShape().SetValueNow(std::fabs(std::sin(round * 0.9)));
    bender.GetClip().SetValueNow(std::pow(10.0, -24.0 * t / 20.0));
    bender.GetDrive().SetValueNow(std::pow(10.0, 24.0 * std::fabs(std::sin(round * 0.7)) / 20.0));
    bender.GetOutputGain().SetValueNow(0.1 + 4.0 * t);
    // Nearly fully wet: the hostile input's dry part isn't what is under test.
    bender.GetDryWet().SetValueNow(0.999 + 0.001 * t);
    host.Run(kSizes[round % 5]);
    for (int32_t c = 0; c < 2; ++c) {
      for (float v : host.Out(c)) ASSERT_TRUE(std::isfinite(v)) << round;
    }
  }
  EXPECT_EQ(scope.Allocations(), 0);
}
