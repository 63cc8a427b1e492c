// The decimator's block must not touch the heap: this binary replaces the global allocation
// functions with counting ones and runs the module with both stages on and every continuous
// value ramping, at odd block sizes, alone and in a graph.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "graph/audiopluginmodular.h"
#include "graph/pluginslot.h"
#include "tests/modules/decimator/decimatorreference.h"
#include "tests/modules/decimator/decimatortestrig.h"
#include "tests/support/allocationcounter.h"

namespace {

// Moves every continuous value somewhere new, as a host's automation does each block.
void AutomateAll(RAudioPluginBase& module, int32_t round) {
  const double phase = 0.5 + 0.45 * std::sin(0.7 * round);
  for (RValue* value : module.GetOwnValues()) {
    if (value->HasFlag(RValue::kNoRamp)) continue;
    module.SetParameterEdited(RAudioPluginBase::kEndOfBlock, module.GetParameterIndexOf(value), phase);
  }
}

TEST(DecimatorRealtime, EveryStageRampingAllocatesNothingAfterSetup) {
  decimatortest::RDecimatorRig rig(48000.0, 512);
  const int32_t sizes[] = {512, 1, 7, 255, 64, 3, 511, 100};
  std::vector<float> left = decimatortest::Noise(512, 1), right = decimatortest::Noise(512, 2);
  std::vector<float> outLeft(512), outRight(512);
  float* inputs[2] = {left.data(), right.data()};
  float* outputs[2] = {outLeft.data(), outRight.data()};
  // A parameter's first ramp may take its record from the heap; later ones reuse it.
  for (int32_t round = 0; round < 4; ++round) {
    AutomateAll(rig.module, round);
    rig.module.ProcessCycle(inputs, outputs, 512, nullptr);
  }

  long allocations = 0;
  {
    RCountingScope scope;
    for (int32_t round = 0; round < 40; ++round) {
      AutomateAll(rig.module, round);
      rig.module.ProcessCycle(inputs, outputs, sizes[round % 8], nullptr);
    }
    allocations = scope.Allocations();
  }
  EXPECT_EQ(allocations, 0);
  EXPECT_TRUE(rig.Value("BitReduction").GetProcessing() >= 0.5 && rig.Value("SampleRateReduction").GetProcessing() >= 0.5);
  for (float v : outLeft) ASSERT_TRUE(std::isfinite(v));
}

TEST(DecimatorRealtime, AGraphWithTheDecimatorAllocatesNothingAfterTheCompile) {
  RegisterDecimator();
  RAudioPlugin::Options options;
  options.sleep = false;
  RAudioPluginModular graph(RString("Graph"), 6, false, options);
  graph.SetHostFormat(96000.0, 256, 2);
  RPluginSlot* slot = graph.CreateSlot(0, 0, *graph.FindDescriptor(RString("Decimator")), false);
  ASSERT_NE(slot, nullptr);
  decimatortest::SetNow(slot->GetModule(), "Bits", 4.5);
  decimatortest::SetNow(slot->GetModule(), "SampleRate", 3000.0);

  std::vector<float> left = decimatortest::Noise(256, 3), right = decimatortest::Noise(256, 4);
  std::vector<float> outLeft(256), outRight(256);
  float* inputs[2] = {left.data(), right.data()};
  float* outputs[2] = {outLeft.data(), outRight.data()};
  for (int32_t round = 0; round < 4; ++round) graph.ProcessCycle(inputs, outputs, 256, nullptr);

  const int32_t sizes[] = {256, 1, 7, 255, 3, 100};
  long allocations = 0;
  {
    RCountingScope scope;
    for (int32_t round = 0; round < 30; ++round) graph.ProcessCycle(inputs, outputs, sizes[round % 6], nullptr);
    allocations = scope.Allocations();
  }
  EXPECT_EQ(allocations, 0);
  for (float v : outLeft) ASSERT_TRUE(std::isfinite(v));
}

} // namespace
