// The multi-parameters' stages run per sub-block on the audio thread: they must not touch the
// heap. This binary replaces the global allocation functions with counting ones, as the
// kernel's real-time test does, and runs blocks through the host-side object while
// multi-parameters glide, switch, trigger, randomise, morph banks in a row and on the pad,
// evaluate expressions and read meters.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <memory>
#include <random>
#include <vector>

#include "kernel/audioplugininterface.h"
#include "modulation/random48.h"
#include "tests/modulation/multitestplugin.h"
#include "tests/support/allocationcounter.h"

namespace {

constexpr int32_t kMaxBlock = 512;

class MultiParameterRealtime : public ::testing::Test {
protected:
  MultiParameterRealtime()
      : plugin_(new RMultiTestPlugin(81)), host_(std::unique_ptr<RAudioPlugin>(plugin_)), random_(7081),
        left_(kMaxBlock), right_(kMaxBlock), outLeft_(kMaxBlock), outRight_(kMaxBlock) {}

  void SetUp() override {
    RMultiTestPlugin& p = *plugin_;
    p.Prepare(48000.0, kMaxBlock);
    // A glide, a switch with travel, a randomising trigger at SwitchTime 0, a row of banks,
    // a pad over five banks and its second axis, an expression reading others, a meter.
    p.Multi(0).Speed = 0.05;
    p.Target(0, "Gain");
    p.Multi(1).Mode = RMultiParameter::kSwitch;
    p.Multi(1).SwitchTime = 0.01;
    p.Target(1, "Mix");
    p.Multi(2).Mode = RMultiParameter::kTrigger;
    p.Multi(2).Randomizer = true;
    p.Target(2, "Shape");
    p.Multi(3).Mode = RMultiParameter::kBanks;
    p.Multi(3).Speed = 0.02;
    p.Target(3, "Freeze");
    p.Target(3, "Mix").Interpolate = true;
    p.Multi(4).Mode = RMultiParameter::kBanks;
    p.Multi(4).XYPad4Banks = true;
    p.Multi(4).BankCount = 5;
    RMultiParameterTarget& pad = p.Target(4, "Gain");
    for (int32_t i = 0; i < 5; ++i) pad.BankValues[i] = i * 0.2;
    RMultiParameterTarget& formula = p.Target(6, "Mix");
    formula.SetExpression(RString("x * p1 + t1 / 2"));
    formula.ParameterExpressionEnabled = true;
    p.Multi(7).Mode = RMultiParameter::kMeter;
    p.Target(7, "Gain");
    for (int32_t i = 0; i < 7; ++i) indexes_.push_back(p.GetParameterIndexOf(&p.Multi(i).GetValue()));
    // The first blocks may settle whatever grows on first use; nothing after them may.
    for (int32_t i = 0; i < 4; ++i) Block(kMaxBlock, true);
  }

  void Block(int32_t frames, bool automate) {
    for (int32_t i = 0; i < frames; ++i) {
      left_[size_t(i)] = 0.25f * std::sin(float(phase_++) * 0.05f);
      right_[size_t(i)] = left_[size_t(i)];
    }
    if (automate) {
      std::uniform_real_distribution<double> uniform(0.0, 1.0);
      for (int32_t index : indexes_) {
        for (int32_t offset : {0, frames / 2, 0x7fffffff}) plugin_->ScheduleAutomationEvent(offset, index, uniform(random_));
      }
    }
    float* inputs[2] = {left_.data(), right_.data()};
    float* outputs[2] = {outLeft_.data(), outRight_.data()};
    host_.ProcessAudio(inputs, outputs, frames);
  }

  RMultiTestPlugin* plugin_;
  RAudioPluginInterface host_;
  std::mt19937 random_;
  std::vector<float> left_, right_, outLeft_, outRight_;
  std::vector<int32_t> indexes_;
  int64_t phase_ = 0;
};

TEST_F(MultiParameterRealtime, StagesOfEveryModeAllocateNothing) {
  const int32_t sizes[] = {512, 1, 7, 333, 64, 2, 128, 97};

  RCountingScope scope;
  for (int32_t round = 0; round < 30; ++round) {
    for (int32_t frames : sizes) Block(frames, true);
  }
  // Blocks without automation: the glides and travels finish on their own.
  for (int32_t i = 0; i < 20; ++i) Block(kMaxBlock, false);
  EXPECT_EQ(scope.Allocations(), 0);
  // The stages did run: the glide arrived, and the meter follows its target.
  EXPECT_FALSE(plugin_->Multi(0).IsGliding());
  EXPECT_FALSE(plugin_->Multi(1).IsSwitchRunning());
  EXPECT_NEAR(plugin_->Multi(7).GetValue().GetNormalised(), plugin_->gain.GetNormalised(), 1e-12);

}

TEST(MultiParameterRealtimeCounting, TheCounterSeesAnAllocationOnTheCountingThread) {
  RCountingScope scope;
  std::vector<int>* volatile p = new std::vector<int>(100);
  delete p;
  EXPECT_GE(scope.Allocations(), 1);
}

} // namespace
