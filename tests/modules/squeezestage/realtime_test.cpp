// RSqueezeStage allocates nothing once set up, with every stage engaged and every value
// gliding, and lets nothing undefined out or into its state whatever comes in.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "modules/squeezestage/squeezestage.h"
#include "tests/support/hostilerounds.h"

TEST(SqueezeStageRealtime, EveryStageGlidesWithoutAllocatingAndHostileInputStaysFinite) {
  constexpr int32_t kBlock = 512;
  RAwake<RSqueezeStage> stage;
  RModuleHost host(stage, 2, 2, kBlock);
  host.SetChannel(0, 0, HostileSample);
  host.SetChannel(0, 1, [](int32_t i) { return 0.9f * std::cos(0.02f * float(i)); });
  host.SetChannel(1, 0, [](int32_t i) { return 0.5f * std::sin(0.003f * float(i)); });
  host.SetChannel(1, 1, HostileSample);
  stage.GetSideChain().SetValueNow(1.0);
  host.Run(kBlock);

  const auto move = [&](int32_t round) {
    const double t = round / 60.0;
    stage.GetThreshold().SetValueNow(-60.0 * std::fabs(std::sin(round * 0.7)));
    stage.GetRatio().SetValueNow(1.0 + 19.0 * t);
    stage.GetKnee().SetValueNow(24.0 * (1.0 - t));
    stage.GetAttack().SetValueNow(0.0001 + 0.05 * t);
    stage.GetRelease().SetValueNow(0.005 + t);
    stage.GetMakeup().SetValueNow(std::pow(10.0, 24.0 * t / 20.0));
    stage.GetAutoMakeup().SetValueNow(round % 3 == 0 ? 0.0 : 1.0);
    stage.GetMix().SetValueNow(0.2 + 0.8 * t);
    stage.GetSideChain().SetValueNow(round % 4 == 0 ? 0.0 : 1.0);
    stage.GetDetectorHighPass().SetValueNow(20.0 + 400.0 * t);
    stage.GetDetectorLowPass().SetValueNow(20000.0 - 18000.0 * t);
    // Every link form in turn: linked, apart, between.
    stage.GetStereoLink().SetValueNow(round % 3 == 0 ? 1.0 : round % 3 == 1 ? 0.0 : t);
    stage.GetOutput().SetValueNow(std::pow(10.0, (24.0 - 48.0 * t) / 20.0));
  };
  ASSERT_NO_FATAL_FAILURE(RunHostileRounds(host, 60, move, [&](int32_t round) {
    ASSERT_TRUE(std::isfinite(stage.GetGainReduction())) << round;
  }));

  // Once the garbage has gone, a plain signal comes through compressed and nothing of it stayed.
  host.SetChannel(0, 0, [](int32_t i) { return 0.5f * std::sin(0.05f * float(i)); });
  host.SetChannel(0, 1, [](int32_t i) { return 0.5f * std::sin(0.05f * float(i)); });
  host.SetChannel(1, 0, [](int32_t i) { return 0.5f * std::sin(0.05f * float(i)); });
  host.SetChannel(1, 1, [](int32_t i) { return 0.5f * std::sin(0.05f * float(i)); });
  stage.GetRelease().SetValueNow(0.005);
  for (int32_t round = 0; round < 200; ++round) host.Run(kBlock);
  double peak = 0.0;
  for (float v : host.Out(0)) peak = std::max(peak, double(std::fabs(v)));
  EXPECT_GT(peak, 0.01);
  EXPECT_LT(peak, 10.0);
}
