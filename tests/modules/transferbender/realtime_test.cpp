// RTransferBender allocates nothing once set up, with every value gliding and level match on,
// and lets nothing undefined out whatever comes in.
#include <gtest/gtest.h>

#include <cmath>

#include "modules/transferbender/transferbender.h"
#include "tests/support/hostilerounds.h"

TEST(TransferBenderRealtime, EveryStageGlidesWithoutAllocatingAndHostileInputStaysFinite) {
  RAwake<RTransferBender> bender;
  RModuleHost host(bender, 1, 2, 512);
  host.SetChannel(0, 0, HostileSample);
  host.SetChannel(0, 1, [](int32_t i) { return 3.0f * std::cos(0.02f * float(i)); });
  bender.GetLevelMatch().SetValueNow(1.0);
  host.Run(512);

  ASSERT_NO_FATAL_FAILURE(RunHostileRounds(host, 40, [&](int32_t round) {
    const double t = round / 40.0;
    bender.GetShape().SetValueNow(std::fabs(std::sin(round * 0.9)));
    bender.GetClip().SetValueNow(std::pow(10.0, -24.0 * t / 20.0));
    bender.GetDrive().SetValueNow(std::pow(10.0, 24.0 * std::fabs(std::sin(round * 0.7)) / 20.0));
    bender.GetOutputGain().SetValueNow(0.1 + 4.0 * t);
    // Nearly fully wet: the hostile input's dry part isn't what is under test.
    bender.GetDryWet().SetValueNow(0.999 + 0.001 * t);
  }));
}
