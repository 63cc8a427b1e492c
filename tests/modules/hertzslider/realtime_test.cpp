// The frequency shifter allocates nothing once set up, with every stage engaged and its
// parameters gliding, and gives no NaN or infinity for hostile input.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "modules/hertzslider/hertzslider.h"
#include "tests/support/allocationcounter.h"

namespace {

void EngageEverything(RHertzSlider& module) {
  auto set = [&](const char* label, double normalised) {
    const int32_t index = module.GetParameterIndex(RString::FromUTF8(label));
    ASSERT_GE(index, 0) << label;
    module.GetParameterValue(index)->SetNormalised(normalised);
    module.GetParameterValue(index)->SyncProcessing();
  };
  set("Shift", 0.7);
  set("Width", 0.2);
  set("Feedback", 1.0);
  set("Delay", 0.3);
  set("Dry/Wet", 0.8);
  set("Prefiltering", 1.0);
}

} // namespace

TEST(HertzSliderRealtime, ProcessAllocatesNothingWithEveryStageEngagedAndValuesGliding) {
  RHertzSlider module;
  module.InitParameters();
  module.SetHostFormat(48000.0, 512, 2);
  EngageEverything(module);
  std::vector<float> left(512), right(512), outLeft(512), outRight(512);
  for (int32_t i = 0; i < 512; ++i) left[size_t(i)] = right[size_t(i)] = float(std::sin(i * 0.05));
  float* inputs[2] = {left.data(), right.data()};
  float* outputs[2] = {outLeft.data(), outRight.data()};
  const int32_t shift = module.GetParameterIndex(RString("Shift"));
  const int32_t width = module.GetParameterIndex(RString("Width"));
  const int32_t feedback = module.GetParameterIndex(RString("Feedback"));
  const int32_t mix = module.GetParameterIndex(RString("Dry/Wet"));
  const int32_t delay = module.GetParameterIndex(RString("Delay"));
  const int32_t character = module.GetParameterIndex(RString("Character"));
  module.ProcessCycle(inputs, outputs, 512, nullptr);

  RCountingScope scope;
  for (int32_t round = 0; round < 60; ++round) {
    // Glides planned inside the block, a Character change and a new delay length now and then.
    module.SetParameterEdited(100, shift, 0.2 + 0.01 * (round % 50));
    module.SetParameterEdited(200, width, round % 2 ? 0.1 : 0.9);
    module.SetParameterEdited(300, feedback, round % 3 ? 1.0 : 0.5);
    module.SetParameterEdited(50, mix, round % 2 ? 0.3 : 1.0);
    if (round % 10 == 0) module.SetParameterEdited(0, character, (round / 10 % 4) / 3.0);
    if (round % 15 == 0) module.SetParameterEdited(10, delay, 0.1 + 0.02 * round / 15);
    module.ProcessCycle(inputs, outputs, round % 2 ? 512 : 301, nullptr);
  }
  EXPECT_EQ(scope.Allocations(), 0);
  for (float v : outLeft) ASSERT_TRUE(std::isfinite(v));
}

TEST(HertzSliderRealtime, HostileInputGivesFiniteOutput) {
  RHertzSlider module;
  module.InitParameters();
  module.SetHostFormat(44100.0, 256, 2);
  EngageEverything(module);
  const float hostile[] = {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(),
                           -std::numeric_limits<float>::infinity(), 1e30f, -1e30f, 1e-40f, -1e-42f, 0.5f};
  std::vector<float> in(256), outLeft(256), outRight(256);
  float* inputs[2] = {in.data(), in.data()};
  float* outputs[2] = {outLeft.data(), outRight.data()};
  for (int32_t round = 0; round < 40; ++round) {
    for (int32_t i = 0; i < 256; ++i) in[size_t(i)] = hostile[(i * 7 + round) % 8];
    module.ProcessCycle(inputs, outputs, 256, nullptr);
    for (int32_t i = 0; i < 256; ++i) {
      ASSERT_TRUE(std::isfinite(outLeft[size_t(i)]) && std::isfinite(outRight[size_t(i)])) << round << " " << i;
    }
  }
  // Ordinary input afterwards comes out ordinary again.
  for (int32_t i = 0; i < 256; ++i) in[size_t(i)] = 0.25f * float(std::sin(i * 0.1));
  for (int32_t round = 0; round < 200; ++round) module.ProcessCycle(inputs, outputs, 256, nullptr);
  for (float v : outLeft) EXPECT_LT(std::fabs(v), 20.0f);
}
