// After Setup the audio path must not touch the heap: this binary replaces the global
// allocation functions with counting ones, builds a plug-in of the product's size in its
// host-side object and runs blocks the way hosts do (automation on every parameter, bypass
// switched, sleep and wake, odd block sizes, garbage input), counting every allocation the
// audio thread makes.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <limits>
#include <random>
#include <vector>

#include "kernel/channelmodes.h"
#include "tests/kernel/realtimetestplugin.h"
#include "tests/support/allocationcounter.h"

namespace {

constexpr int32_t kEndOfBlock = 0x7fffffff;
constexpr int32_t kMaxBlock = 512;

class RealtimeCycle : public ::testing::Test {
protected:
  RealtimeCycle() : random_(20261122), left_(4096), right_(4096), outLeft_(4096), outRight_(4096) {}

  void SetUp() override {
    bypassIndex_ = host_.plugin->GetParameterIndexOf(host_.plugin->GetBypassValue());
    watchedIndex_ = host_.plugin->GetParameterIndexOf(host_.plugin->reals.back().get());
    ASSERT_GE(bypassIndex_, 0);
    ASSERT_GE(watchedIndex_, 0);
    // The first blocks may settle whatever grows on first use; nothing after them may.
    for (int32_t i = 0; i < 4; ++i) Block(kMaxBlock, 0.25f, true);
  }

  // Fills the input with a tone of this level (0: silence) and runs one host block.
  void Block(int32_t frames, float level, bool automate) {
    for (int32_t i = 0; i < frames; ++i) {
      const auto x = level * std::sin(float(phase_++) * 0.05f);
      left_[size_t(i)] = x;
      right_[size_t(i)] = 0.5f * x;
    }
    if (automate) AutomateEverything(frames);
    Run(frames);
  }

  void Run(int32_t frames) {
    float* inputs[2] = {left_.data(), right_.data()};
    float* outputs[2] = {outLeft_.data(), outRight_.data()};
    host_.adapter.ProcessAudio(inputs, outputs, frames);
    for (int32_t i = 0; i < frames; ++i) {
      ASSERT_TRUE(std::isfinite(outLeft_[size_t(i)]) && std::isfinite(outRight_[size_t(i)]))
          << "sample " << i << " of a block of " << frames;
    }
  }

  // What a host sends for a block with automation on every parameter: points at the start,
  // inside the block and at its end.
  void AutomateEverything(int32_t frames) {
    std::uniform_real_distribution<double> uniform(0.0, 1.0);
    RRealtimeTestPlugin& plugin = *host_.plugin;
    const int32_t count = plugin.GetAutomatableCount();
    for (int32_t index = 0; index < count; ++index) {
      if (index == bypassIndex_) continue;
      for (int32_t offset : {0, frames / 3, frames - 1, kEndOfBlock}) {
        plugin.ScheduleAutomationEvent(offset, index, uniform(random_));
      }
    }
  }

  RRealtimeTestHost host_;
  std::mt19937 random_;
  std::vector<float> left_, right_, outLeft_, outRight_;
  int32_t bypassIndex_ = -1;
  int32_t watchedIndex_ = -1;
  int64_t phase_ = 0;
};

TEST_F(RealtimeCycle, AutomationOnEveryParameterAtOddBlockSizesAllocatesNothing) {
  const int32_t sizes[] = {512, 1, 7, 333, 511, 64, 2, 128, 1000, 4096, 97};
  RCountingScope scope;
  for (int32_t round = 0; round < 40; ++round) {
    for (int32_t frames : sizes) {
      Block(frames, 0.5f, true);
      if (HasFatalFailure()) return;
    }
  }
  // The automation reaches the DSP: a lone end-of-block point is where the value stands after.
  host_.plugin->ScheduleAutomationEvent(kEndOfBlock, watchedIndex_, 0.8125);
  Block(kMaxBlock, 0.5f, false);
  EXPECT_EQ(scope.Allocations(), 0);
  EXPECT_NEAR(host_.plugin->reals.back()->GetProcessingNormalised(), 0.8125, 1e-9);
}

TEST_F(RealtimeCycle, BypassSwitchingSleepAndWakeAllocateNothing) {
  RRealtimeTestPlugin& plugin = *host_.plugin;
  RCountingScope scope;
  for (int32_t round = 0; round < 6; ++round) {
    plugin.ScheduleAutomationEvent(0, bypassIndex_, round % 2 == 0 ? 1.0 : 0.0);
    // Longer than the 50 ms fade, so that each switch finishes its crossfade.
    for (int32_t i = 0; i < 10; ++i) Block(kMaxBlock, 0.5f, i % 3 == 0);
    EXPECT_EQ(plugin.IsBypassed(), round % 2 == 0) << "round " << round;
  }
  // Silence for over the two seconds of the countdown puts the instance to sleep...
  for (int32_t i = 0; i < 48000 * 3 / kMaxBlock && !plugin.IsAsleep(); ++i) Block(kMaxBlock, 0.0f, false);
  EXPECT_TRUE(plugin.IsAsleep());
  // ...automation while asleep is taken in, and one audible block wakes it.
  for (int32_t i = 0; i < 20; ++i) Block(kMaxBlock, 0.0f, true);
  EXPECT_TRUE(plugin.IsAsleep());
  Block(kMaxBlock, 0.5f, true);
  EXPECT_FALSE(plugin.IsAsleep());
  for (int32_t i = 0; i < 20; ++i) Block(kMaxBlock - 1, 0.5f, true);
  EXPECT_EQ(scope.Allocations(), 0);
}

TEST_F(RealtimeCycle, NonFiniteAndRunawayInputsGiveFiniteOutputWithoutAllocating) {
  const float garbage[] = {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(),
                           -std::numeric_limits<float>::infinity(), 1e30f, -3e38f,
                           std::numeric_limits<float>::denorm_min()};
  RCountingScope scope;
  for (int32_t round = 0; round < 12; ++round) {
    const float bad = garbage[round % 6];
    const int32_t frames = round % 2 == 0 ? kMaxBlock : 129;
    Block(frames, 0.5f, true);
    // At the first sample, where the host guard looks, and inside the block, where it doesn't.
    left_[0] = bad;
    right_[size_t(frames / 2)] = bad;
    left_[size_t(frames - 1)] = bad;
    AutomateEverything(frames);
    Run(frames);
    if (HasFatalFailure()) return;
  }
  // Clean input afterwards still comes through finite (checked in Run).
  for (int32_t i = 0; i < 8; ++i) Block(kMaxBlock, 0.5f, true);
  EXPECT_EQ(scope.Allocations(), 0);
}

TEST(RealtimeOversampled, EveryFactorAndAChannelModeAllocateNothingAndStayFinite) {
  // Oversampling and a mode that changes the input's samples, with every parameter automated
  // at odd block sizes and garbage now and then.
  RAudioPlugin::Options options;
  options.maxOversampling = 8;
  for (const int32_t index : {1, 2, 3, 7}) {
    RRealtimeTestHost host(48000.0, kMaxBlock, options);
    RRealtimeTestPlugin& plugin = *host.plugin;
    plugin.GetOversamplingValue(false)->SetValueNow(double(index));
    plugin.GetHQOversamplingValue()->SetValueNow(index % 2 == 0 ? 1.0 : 0.0);
    plugin.SetChannelMode(RChannelModes::kMonoStereo);
    plugin.SetHostFormat(48000.0, kMaxBlock, 2);
    ASSERT_EQ(plugin.GetOversampling(), index + 1);
    ASSERT_GT(plugin.GetReportedLatency(), 0);

    std::vector<float> left(kMaxBlock), right(kMaxBlock), outLeft(kMaxBlock), outRight(kMaxBlock);
    std::mt19937 random(index);
    std::uniform_real_distribution<double> uniform(0.0, 1.0);
    const int32_t sizes[] = {512, 1, 7, 333, 64, 97};
    auto block = [&](int32_t frames, bool garbage) {
      for (int32_t i = 0; i < frames; ++i) {
        left[size_t(i)] = 0.5f * std::sin(0.05f * float(i));
        right[size_t(i)] = -0.25f * std::sin(0.03f * float(i));
      }
      if (garbage) left[size_t(frames / 2)] = std::numeric_limits<float>::quiet_NaN();
      for (int32_t p = 0; p < plugin.GetAutomatableCount(); ++p) {
        if (p != plugin.GetParameterIndexOf(plugin.GetBypassValue()))
          plugin.ScheduleAutomationEvent(frames / 2, p, uniform(random));
      }
      float* inputs[2] = {left.data(), right.data()};
      float* outputs[2] = {outLeft.data(), outRight.data()};
      host.adapter.ProcessAudio(inputs, outputs, frames);
      for (int32_t i = 0; i < frames; ++i) ASSERT_TRUE(std::isfinite(outLeft[size_t(i)]) && std::isfinite(outRight[size_t(i)]));
    };
    for (int32_t i = 0; i < 4; ++i) block(kMaxBlock, false);
    RCountingScope scope;
    for (int32_t round = 0; round < 10; ++round) {
      for (int32_t frames : sizes) {
        block(frames, round % 3 == 1 && frames > 2);
        if (::testing::Test::HasFatalFailure()) return;
      }
    }
    EXPECT_EQ(scope.Allocations(), 0) << "factor index " << index;
  }
}

TEST(RealtimeCounting, TheCounterSeesAnAllocationOnTheCountingThread) {
  // Through volatile pointers, so that the compiler can't drop the pairs.
  RCountingScope scope;
  std::vector<int>* volatile p = new std::vector<int>(100);
  delete p;
  void* volatile q = std::malloc(16);
  std::free(q);
  EXPECT_GE(scope.Allocations(), 2);
}

} // namespace
