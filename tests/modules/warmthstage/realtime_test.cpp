// RWarmthStage allocates nothing once set up, with every stage engaged and every value
// gliding, and lets nothing undefined out whatever comes in.
#include <gtest/gtest.h>

#include <cmath>

#include "modules/warmthstage/warmthstage.h"
#include "tests/support/hostilerounds.h"

TEST(WarmthStageRealtime, EveryStageGlidesWithoutAllocatingAndHostileInputStaysFinite) {
  RAwake<RWarmthStage> stage;
  RModuleHost host(stage, 1, 2, 512);
  host.SetChannel(0, 0, HostileSample);
  host.SetChannel(0, 1, [](int32_t i) { return 0.9f * std::cos(0.02f * float(i)); });
  stage.GetDryWet().SetValueNow(1.0);
  host.Run(512);

  ASSERT_NO_FATAL_FAILURE(RunHostileRounds(host, 40, [&](int32_t round) {
    const double t = round / 40.0;
    stage.GetDrive().SetValueNow(std::pow(10.0, 36.0 * std::fabs(std::sin(round * 0.7)) / 20.0));
    stage.GetTone().SetValueNow(std::sin(round * 0.9));
    stage.GetBias().SetValueNow(t);
    stage.GetOutput().SetValueNow(0.1 + 4.0 * t);
    // Fully wet: the hostile input's dry part isn't what is under test.
    stage.GetDryWet().SetValueNow(0.999 + 0.001 * t);
  }));
}
