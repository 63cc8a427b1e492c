// The processing cycle of a plug-in: sub-blocks cut at events and ramp points, the MIDI
// queue, sleep on silence, the bypass crossfade, the limiter, the lock that a block may not
// get, and Setup.
#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <thread>

#include "cycletestplugin.h"
#include "kernel/channelmodes.h"

namespace {

constexpr double kPi = 3.14159265358979323846;

// A plug-in that has seen one block of signal: awake, so that changes are planned as ramps.
void Wake(RCycleTestPlugin& plugin, int32_t frames = 512) {
  RTestBlock block(2, frames);
  block.Fill(0.25f);
  block.Run(plugin);
  plugin.calls.clear();
}

int32_t LevelIndex(RCycleTestPlugin& plugin) { return plugin.GetParameterIndexOf(&plugin.level); }

// --- sub-blocks

TEST(RAudioPluginScheduler, ABlockOfNoFramesRunsThroughWithoutMovingTime) {
  RCycleTestPlugin plugin;
  plugin.Prepare();
  RTestBlock full(2, 480), empty(2, 0);
  full.Fill(0.5f);
  full.Run(plugin);
  empty.Run(plugin);
  EXPECT_EQ(plugin.GetTimeInfo().SamplePosition, 480);  // the first block's length, taken on
  empty.Run(plugin);
  full.Run(plugin);
  EXPECT_EQ(plugin.GetTimeInfo().SamplePosition, 480);  // the empty blocks added nothing
  full.Run(plugin);
  EXPECT_EQ(plugin.GetTimeInfo().SamplePosition, 960);
  EXPECT_EQ(full.out[0][0], 0.5f);
}

TEST(RAudioPluginScheduler, AnEndOfBlockChangeRampsAcrossTheWholeBlock) {
  RCycleTestPlugin plugin;
  plugin.Prepare();
  plugin.UpdateMaxBlockSize(32);
  ASSERT_EQ(plugin.GetStepLimit(), 32);
  Wake(plugin);

  plugin.SetParameterEdited(RAudioPluginBase::kEndOfBlock, LevelIndex(plugin), 1.0);
  RTestBlock block(2, 128);
  block.Run(plugin);
  // Each sub-block sees the value at its own end; the last one ends on the target.
  ASSERT_EQ(plugin.calls.size(), 4u);
  for (size_t i = 0; i < 4; ++i) {
    EXPECT_EQ(plugin.calls[i].offset, int32_t(i) * 32);
    EXPECT_EQ(plugin.calls[i].frames, 32);
    EXPECT_NEAR(plugin.calls[i].level, 0.25 * double(i + 1), 1e-12);
  }
  EXPECT_FALSE(plugin.HasActiveRamps());
}

TEST(RAudioPluginScheduler, SubBlocksEndAtEveryRampPoint) {
  RCycleTestPlugin plugin;
  plugin.Prepare();
  Wake(plugin);
  ASSERT_EQ(plugin.GetStepLimit(), 1024);

  plugin.SetParameterEdited(100, LevelIndex(plugin), 0.5);
  plugin.SetParameterEdited(300, LevelIndex(plugin), 1.0);
  RTestBlock block(2, 512);
  block.Fill(0.125f);
  block.Run(plugin);
  ASSERT_EQ(plugin.calls.size(), 3u);
  EXPECT_EQ(plugin.calls[0].frames, 100);
  EXPECT_NEAR(plugin.calls[0].level, 0.5, 1e-12);
  EXPECT_EQ(plugin.calls[1].offset, 100);
  EXPECT_EQ(plugin.calls[1].frames, 200);
  EXPECT_NEAR(plugin.calls[1].level, 1.0, 1e-12);
  EXPECT_EQ(plugin.calls[2].offset, 300);
  EXPECT_EQ(plugin.calls[2].frames, 212);
  // The cut block still reaches every output sample.
  EXPECT_EQ(block.out[1][511], 0.125f);
  EXPECT_EQ(block.out[0][299], 0.125f);
}

TEST(RAudioPluginScheduler, AdvancesThePositionSubBlockBySubBlock) {
  RCycleTestPlugin plugin;
  plugin.Prepare();
  plugin.UpdateMaxBlockSize(100);
  Wake(plugin, 480);
  const int64_t start = plugin.GetTimeInfo().BlockStartSample + 480;
  RTestBlock block(2, 480);
  block.Fill(0.1f);
  block.Run(plugin);
  // Five sub-blocks; the position stands at the start of the last one.
  ASSERT_EQ(plugin.calls.size(), 5u);
  EXPECT_EQ(plugin.calls[4].offset, 400);
  EXPECT_EQ(plugin.GetTimeInfo().SamplePosition, start + 400);
  EXPECT_NEAR(plugin.GetTimeInfo().PPQPosition - plugin.GetTimeInfo().BlockStartPPQ, 400 * 2.0 / 48000.0, 1e-12);
}

// --- the MIDI queue

TEST(RAudioPluginEvents, AnEventAtZeroComesFirstAndDoesNotSplitTheBlock) {
  RCycleTestPlugin plugin;
  plugin.Prepare();
  Wake(plugin);
  plugin.ScheduleMIDIEvent(0, 7);
  RTestBlock block(2, 256);
  block.Run(plugin);
  ASSERT_EQ(plugin.events.size(), 1u);
  EXPECT_EQ(plugin.events[0].event, 7u);
  EXPECT_EQ(plugin.events[0].callsBefore, 0u);
  ASSERT_EQ(plugin.calls.size(), 1u);
  EXPECT_EQ(plugin.calls[0].frames, 256);
}

TEST(RAudioPluginEvents, AnEventAtTheLastSampleCutsOffASubBlockOfOne) {
  RCycleTestPlugin plugin;
  plugin.Prepare();
  Wake(plugin);
  plugin.ScheduleMIDIEvent(255, 9);
  RTestBlock block(2, 256);
  block.Run(plugin);
  ASSERT_EQ(plugin.calls.size(), 2u);
  EXPECT_EQ(plugin.calls[0].frames, 255);
  EXPECT_EQ(plugin.calls[1].offset, 255);
  EXPECT_EQ(plugin.calls[1].frames, 1);
  ASSERT_EQ(plugin.events.size(), 1u);
  EXPECT_EQ(plugin.events[0].offset, 255);
  EXPECT_EQ(plugin.events[0].callsBefore, 1u);
}

TEST(RAudioPluginEvents, EventsAtOneOffsetKeepTheirOrderAndLaterOnesWaitForTheirBlock) {
  RCycleTestPlugin plugin;
  plugin.Prepare();
  Wake(plugin);
  plugin.ScheduleMIDIEvent(100, 1);
  plugin.ScheduleMIDIEvent(50, 2);
  plugin.ScheduleMIDIEvent(100, 3);
  plugin.ScheduleMIDIEvent(100, 4);
  plugin.ScheduleMIDIEvent(300, 5);  // past this block
  RTestBlock block(2, 200);
  block.Run(plugin);
  ASSERT_EQ(plugin.events.size(), 4u);
  const uint32_t expected[] = {2, 1, 3, 4};
  for (size_t i = 0; i < 4; ++i) EXPECT_EQ(plugin.events[i].event, expected[i]);
  EXPECT_EQ(plugin.events[1].offset, 100);
  EXPECT_EQ(plugin.events[3].offset, 100);
  EXPECT_EQ(plugin.GetQueuedEventCount(), 1);

  block.Run(plugin);
  ASSERT_EQ(plugin.events.size(), 5u);
  EXPECT_EQ(plugin.events[4].event, 5u);
  EXPECT_EQ(plugin.events[4].offset, 100);  // 300 samples after the first block began
}

TEST(RAudioPluginEvents, AQueueThatOverflowsLosesItsWholeContent) {
  RCycleTestPlugin plugin;
  plugin.Prepare();
  Wake(plugin);
  for (uint32_t i = 0; i <= uint32_t(RAudioPlugin::kMaxQueuedEvents); ++i) plugin.ScheduleMIDIEvent(10, i);
  EXPECT_EQ(plugin.GetQueuedEventCount(), RAudioPlugin::kMaxQueuedEvents + 1);
  plugin.ScheduleMIDIEvent(20, 5000);
  EXPECT_EQ(plugin.GetQueuedEventCount(), 1);
  RTestBlock block(2, 64);
  block.Run(plugin);
  ASSERT_EQ(plugin.events.size(), 1u);
  EXPECT_EQ(plugin.events[0].event, 5000u);
}

// --- sleep on silence

TEST(RAudioPluginSleep, SleepsAfterTwoSecondsOfSilenceAndTheTail) {
  RCycleTestPlugin plugin;
  plugin.tail = 4800;
  plugin.Prepare(48000.0, 480);
  EXPECT_TRUE(plugin.IsAsleep());
  Wake(plugin, 480);
  EXPECT_FALSE(plugin.IsAsleep());

  // 96000 samples of silence bring the tail phase, 4800 more the sleep: 210 blocks of 480.
  RTestBlock silence(2, 480);
  for (int32_t i = 1; i < 210; ++i) {
    silence.Run(plugin);
    ASSERT_FALSE(plugin.IsAsleep()) << "block " << i;
  }
  silence.Run(plugin);
  EXPECT_TRUE(plugin.IsAsleep());
  EXPECT_TRUE(plugin.TakeStateChanged());

  // Asleep, the plug-in isn't run at all.
  const size_t calls = plugin.calls.size();
  silence.Run(plugin);
  EXPECT_EQ(plugin.calls.size(), calls);
}

TEST(RAudioPluginSleep, OneQuietSampleWakesItInThatBlock) {
  RCycleTestPlugin plugin;
  plugin.Prepare(48000.0, 480);
  ASSERT_TRUE(plugin.IsAsleep());
  RTestBlock block(2, 480);
  block.Run(plugin);
  EXPECT_TRUE(plugin.IsAsleep());
  EXPECT_TRUE(plugin.calls.empty());

  block.in[1][300] = 1e-7f;
  block.Run(plugin);
  EXPECT_FALSE(plugin.IsAsleep());
  ASSERT_EQ(plugin.calls.size(), 1u);
  EXPECT_EQ(block.out[1][300], 1e-7f);
}

TEST(RAudioPluginSleep, StaysAwakeWhenSleepIsSwitchedOffOrThePluginCannotSleep) {
  // Three seconds of silence each.
  RAudioPlugin::Options options;
  options.sleep = false;
  RCycleTestPlugin noSleep(options);
  noSleep.Prepare(48000.0, 480);
  RTestBlock silence(2, 480);
  for (int32_t i = 0; i < 300; ++i) silence.Run(noSleep);
  EXPECT_FALSE(noSleep.IsAsleep());
  EXPECT_EQ(noSleep.calls.size(), 300u);

  RCycleTestPlugin busy;
  busy.canSleep = false;
  busy.Prepare(48000.0, 480);
  Wake(busy, 480);
  for (int32_t i = 0; i < 300; ++i) silence.Run(busy);
  EXPECT_FALSE(busy.IsAsleep());
  busy.canSleep = true;
  silence.Run(busy);
  EXPECT_TRUE(busy.IsAsleep());
}

// --- bypass

// Runs blocks of a constant input through a plug-in whose own output is silence, so that
// the output is the dry part of the mix.
TEST(RAudioPluginBypass, FadesOverFiftyMillisecondsFromTheNextBlock) {
  for (const double rate : {48000.0, 44100.0}) {
    RCycleTestPlugin plugin;
    plugin.mode = RCycleTestPlugin::Mode::Silence;
    plugin.Prepare(rate, 512);
    plugin.bypassAtCall = 1;  // from inside the second block's Process
    RTestBlock block(2, 512);
    block.Fill(1.0f);
    block.Run(plugin);
    block.Run(plugin);
    EXPECT_EQ(block.out[0][511], 0.0f) << "switched mid-block: this block is all wet";
    EXPECT_FALSE(plugin.IsBypassed());

    // The fade to dry: rate / 20 samples long.
    const int32_t fade = int32_t(std::lround(rate / 20.0));
    std::vector<float> out;
    for (int32_t i = 0; i < 6; ++i) {
      block.Run(plugin);
      out.insert(out.end(), block.out[0].begin(), block.out[0].end());
    }
    EXPECT_TRUE(plugin.IsBypassed());
    EXPECT_EQ(out[0], 0.0f);
    EXPECT_NEAR(out[size_t(fade / 2)], 0.5f, 1e-3f) << rate;
    EXPECT_LT(out[size_t(fade - 2)], 1.0f) << rate;
    EXPECT_FLOAT_EQ(out[size_t(fade + 1)], 1.0f) << rate;
    EXPECT_FLOAT_EQ(out.back(), 1.0f);
    EXPECT_FLOAT_EQ(plugin.GetBypassMix(), 1.0f);

    // Faded out, the plug-in's own processing no longer runs.
    const size_t calls = plugin.calls.size();
    block.Run(plugin);
    EXPECT_EQ(plugin.calls.size(), calls);

    // And back, switched between blocks: the block it was switched for stays dry (the fade
    // never starts before the switch's point), the next one fades from dry to wet.
    plugin.GetBypassValue()->SetProcessing(0.0);
    block.Run(plugin);
    EXPECT_FLOAT_EQ(block.out[0][511], 1.0f);
    block.Run(plugin);
    EXPECT_FLOAT_EQ(block.out[0][0], 1.0f);
    EXPECT_LT(block.out[0][511], 1.0f);
    EXPECT_GT(block.out[0][511], 0.0f);
  }
}

TEST(RAudioPluginBypass, ASwitchMadeWhileAsleepHoldsAtOnceOnWaking) {
  // A graph's modules sleep through silence while their switches move (a product's controls
  // bypass what they don't use): the first sound after it must not fade from the old state.
  RCycleTestPlugin plugin;
  plugin.mode = RCycleTestPlugin::Mode::Silence;
  plugin.Prepare(48000.0, 256);
  RTestBlock block(2, 256);
  block.Run(plugin);
  ASSERT_TRUE(plugin.IsAsleep());
  plugin.GetBypassValue()->SetProcessing(1.0);
  block.Run(plugin);
  block.Fill(0.5f);
  block.Run(plugin);
  EXPECT_FALSE(plugin.IsAsleep());
  EXPECT_TRUE(plugin.IsBypassed());
  EXPECT_FLOAT_EQ(block.out[0][0], 0.5f);
  EXPECT_FLOAT_EQ(block.out[1][255], 0.5f);
  EXPECT_TRUE(plugin.calls.empty());

  // Awake, a switch fades as before.
  plugin.GetBypassValue()->SetProcessing(0.0);
  block.Run(plugin);
  block.Run(plugin);
  EXPECT_LT(block.out[0][255], 0.5f);
  EXPECT_GT(block.out[0][255], 0.0f);
}

TEST(RAudioPluginBypass, WithLatencyTheDryPathIsDelayedByIt) {
  RCycleTestPlugin plugin;
  plugin.latency = 100;
  plugin.mode = RCycleTestPlugin::Mode::Silence;
  plugin.Prepare(48000.0, 256);
  ASSERT_EQ(plugin.GetBypassDelay(), 100);
  RTestBlock block(2, 256);
  for (int32_t i = 0; i < 256; ++i) block.in[0][size_t(i)] = float(i + 1);
  block.Run(plugin);
  plugin.GetBypassValue()->SetProcessing(1.0);
  for (int32_t i = 0; i < 20; ++i) block.Run(plugin);  // past the fade
  ASSERT_TRUE(plugin.IsBypassed());
  // Bypassed, the rings still run: the dry signal is the input of 100 samples ago.
  EXPECT_FLOAT_EQ(block.out[0][100], 1.0f);
  EXPECT_FLOAT_EQ(block.out[0][200], 101.0f);
  EXPECT_FLOAT_EQ(block.out[0][50], 207.0f);
}

// --- output guard

TEST(RAudioPluginLimiter, HoldsALoudSineUnderTheCeiling) {
  RAudioPlugin::Options options;
  options.limiter = true;
  RCycleTestPlugin plugin(options);
  plugin.EnableLimiter();
  plugin.Prepare(48000.0, 512);
  RTestBlock block(2, 512);
  float loudest = 0.0f;
  for (int32_t b = 0; b < 20; ++b) {
    for (int32_t i = 0; i < 512; ++i) {
      const float x = float(4.0 * std::sin(2.0 * kPi * 997.0 * (b * 512 + i) / 48000.0));
      block.in[0][size_t(i)] = block.in[1][size_t(i)] = x;
    }
    block.Run(plugin);
    for (float y : block.out[0]) loudest = std::max(loudest, std::fabs(y));
  }
  EXPECT_LE(loudest, 0.9942601f);
  EXPECT_GT(loudest, 0.99f);

  // A quiet signal after the 10 ms release passes untouched.
  block.Fill(0.5f);
  for (int32_t b = 0; b < 4; ++b) block.Run(plugin);
  EXPECT_FLOAT_EQ(block.out[1][100], 0.5f);
}

TEST(RAudioPluginOutputGuard, ClampsRunawayOutputAndDropsNaN) {
  RCycleTestPlugin plugin;
  plugin.mode = RCycleTestPlugin::Mode::Gain;
  plugin.gain = 1e6f;
  plugin.Prepare();
  RTestBlock block(2, 64);
  block.Fill(1.0f);
  block.in[1][3] = -2.0f;
  block.in[1][4] = std::nanf("");
  block.Run(plugin);
  EXPECT_EQ(block.out[0][10], 100000.0f);
  EXPECT_EQ(block.out[1][3], -100000.0f);
  EXPECT_EQ(block.out[1][4], 0.0f);
}

// --- locks

TEST(RAudioPluginLocks, ABlockThatCannotGetTheAudioLockPassesTheDryInput) {
  RCycleTestPlugin plugin;
  plugin.mode = RCycleTestPlugin::Mode::Gain;
  plugin.gain = 0.5f;
  plugin.Prepare();
  RTestBlock block(2, 128);
  block.Fill(0.8f);
  block.Run(plugin);
  ASSERT_FLOAT_EQ(block.out[0][0], 0.4f);
  const size_t calls = plugin.calls.size();

  // The lock is recursive: another thread must run the block while this one holds it.
  ASSERT_TRUE(plugin.GetAudioLock().Lock());
  std::thread audio([&] { block.Run(plugin); });
  audio.join();
  plugin.GetAudioLock().Unlock();
  EXPECT_FLOAT_EQ(block.out[0][0], 0.8f);
  EXPECT_FLOAT_EQ(block.out[1][127], 0.8f);
  EXPECT_EQ(plugin.calls.size(), calls);

  block.Run(plugin);
  EXPECT_FLOAT_EQ(block.out[0][0], 0.4f);
}

TEST(RAudioPluginLocks, AnInPlaceBlockReadsACopyOfItsInput) {
  RCycleTestPlugin plugin;
  plugin.mode = RCycleTestPlugin::Mode::Swap;
  plugin.Prepare();
  RTestBlock block(2, 256);
  for (int32_t i = 0; i < 256; ++i) {
    block.in[0][size_t(i)] = 1.0f;
    block.in[1][size_t(i)] = -1.0f;
  }
  plugin.ProcessCycle(block.inputs.data(), block.inputs.data(), 256, nullptr);
  EXPECT_EQ(block.in[0][0], -1.0f);
  EXPECT_EQ(block.in[1][0], 1.0f);
  EXPECT_EQ(block.in[1][255], 1.0f);
}

TEST(RAudioPluginLocks, AnOpenSideChainStaysTheMainBufferInTheCopy) {
  RCycleTestPlugin plugin;
  plugin.InitParameters();
  plugin.SetHostFormat(48000.0, 256, 2, 2, 1);
  RTestBlock block(2, 256);
  block.Fill(0.5f);
  // An unconnected second bus arrives as the main bus's own buffers, processed in place.
  float* inputs[4] = {block.inputs[0], block.inputs[1], block.inputs[0], block.inputs[1]};
  plugin.ProcessCycle(inputs, block.inputs.data(), 256, nullptr);
  ASSERT_NE(plugin.seenInputs[0], nullptr);
  EXPECT_NE(plugin.seenInputs[0], block.inputs[0]) << "an in-place block must read a copy";
  EXPECT_EQ(plugin.seenInputs[2], plugin.seenInputs[0]);
  EXPECT_EQ(plugin.seenInputs[3], plugin.seenInputs[1]);
}

// --- setup

TEST(RAudioPluginSetup, DoesNothingBelowOneHertz) {
  RCycleTestPlugin plugin;
  plugin.Prepare(0.5, 512);
  EXPECT_EQ(plugin.updates, 0);
  EXPECT_EQ(plugin.GetSampleRate(), 0.0);
  plugin.SetHostFormat(44100.0, 512, 2);
  EXPECT_EQ(plugin.updates, 1);
  EXPECT_EQ(plugin.GetSampleRate(), 44100.0);
  EXPECT_NEAR(plugin.GetSmoothingCoefficient(), std::exp(-1.0 / 44100.0), 1e-15);
  EXPECT_NEAR(plugin.GetSmoothingSlope(), 40.0 / 44100.0, 1e-15);
  // The same format again is no change.
  plugin.SetHostFormat(44100.0, 512, 2);
  EXPECT_EQ(plugin.updates, 1);
}

TEST(RAudioPluginSetup, BlockCapShrinksWithManyChannels) {
  const std::pair<int32_t, int32_t> cases[] = {{2, 1024}, {8, 512}, {16, 256}, {32, 128}};
  for (const auto& [channels, cap] : cases) {
    RCycleTestPlugin plugin;
    // Past a pair, only an ambisonic stream has the plug-in process every channel.
    RAudioPlugin::SurroundSettings surround;
    surround.ambisonicsOrder = RChannelModes::kAmbisonicOrders;
    surround.ambisonicsCustomChannels = channels;
    plugin.SetSurroundSettings(surround);
    plugin.SetChannelMode(channels > 2 ? RChannelModes::kAmbisonics : RChannelModes::kLeftRight);
    plugin.Prepare(48000.0, 512, channels);
    EXPECT_EQ(plugin.GetChannels(), channels);
    EXPECT_EQ(plugin.GetBlockCap(), cap) << channels;
    EXPECT_EQ(plugin.GetStepLimit(), cap) << channels;
    EXPECT_EQ(plugin.GetFineLimit(), std::min(cap, 256)) << channels;
  }
  RCycleTestPlugin offline;
  offline.SetOffline(true);
  offline.GetSharedData().MaxLFOBlockSizeOffline = 16;
  offline.Prepare();
  EXPECT_EQ(offline.GetFineLimit(), 16);
}

TEST(RAudioPluginSetup, TheBypassValueComesAfterTheOwnValues) {
  RCycleTestPlugin plugin;
  plugin.Prepare();
  ASSERT_EQ(plugin.GetParameterCount(), 2);
  EXPECT_EQ(plugin.GetParameterValue(0), &plugin.level);
  EXPECT_EQ(plugin.GetParameterValue(1), plugin.GetBypassValue());
  EXPECT_FALSE(plugin.GetBypassValue()->HasFlag(RValue::kStored));

  RAudioPlugin::Options none;
  none.bypass = false;
  RCycleTestPlugin plain(none);
  plain.Prepare();
  EXPECT_EQ(plain.GetParameterCount(), 1);
}

} // namespace
