// GrainCloud as a slot of the modular host: made from the registry's row, run by the walk.
#include <gtest/gtest.h>

#include <cmath>

#include "tests/graph/testmodules.h"
#include "modules/graincloud/graincloud.h"

TEST(GrainCloudGraph, TheRegisteredRowMakesAModuleThatTheGraphRuns) {
  RegisterGrainCloud();
  RGraphFixture f;  // built after the registration: it copies the registry
  const PluginDescriptor* row = f.graph.FindDescriptor(RString("GrainCloud"));
  ASSERT_NE(row, nullptr);
  EXPECT_EQ(row->InputCount, 2);
  RPluginSlot* slot = f.graph.CreateSlot(0, 0, *row, false);
  ASSERT_NE(slot, nullptr);
  auto* module = dynamic_cast<RGrainCloud*>(&slot->GetModule());
  ASSERT_NE(module, nullptr);
  EXPECT_EQ(module->GetSampleRate(), 48000.0);
  EXPECT_GE(f.graph.GetParameterIndex(RString("GrainCloud 1 - Pitch 2")), 0);

  // 50 ms grains of a constant: after the first grains the output is the input.
  const auto out = f.Run({0.5f}, 40);
  EXPECT_NEAR(out[0][RGraphFixture::kBlock - 1], 0.5f, 1e-4);
  EXPECT_NEAR(out[1][0], 0.5f, 1e-4);
  EXPECT_GT(module->GetEngine().GetPool().GetLiveCount(), 0);
}
