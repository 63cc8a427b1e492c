// The always-on stages of the channel tool on a known stereo input: placement of the inputs,
// levels, panorama and its law, polarity, swap and the silence switches.
#include <gtest/gtest.h>

#include "tests/modules/channeltool/channeltoolrig.h"

using namespace channeltooltest;

namespace {

constexpr size_t kLength = 2000;

RStereo Input() { return {Ramp(kLength, -0.5f, 0.0005f), Sine(440.0, 48000.0, kLength, 0.25)}; }

void ExpectSame(const std::vector<float>& actual, const std::vector<float>& expected, const char* what) {
  ASSERT_EQ(actual.size(), expected.size());
  for (size_t i = 0; i < actual.size(); ++i) {
    ASSERT_FLOAT_EQ(actual[i], expected[i]) << what << " at " << i;
  }
}

} // namespace

TEST(ChannelToolBasic, DefaultsPassTheStereoPairUnchanged) {
  RChannelToolRig rig;
  const RStereo in = Input();
  const RStereo out = rig.Run(in);
  ExpectSame(out.first, in.first, "left");
  ExpectSame(out.second, in.second, "right");
  EXPECT_EQ(rig.Tool().GetLatency(), 0);
}

TEST(ChannelToolBasic, LevelsMultiplyBothChannelsAndEachChannelAlone) {
  RChannelToolRig rig;
  rig.Set("Volume", 0.5);
  rig.Set("Gain", 2.0);  // a gain value holds its linear factor
  rig.Set("VolumeLeft", 0.25);
  rig.Set("VolumeRight", 1.5);
  const RStereo in = Input();
  const RStereo out = rig.Run(in);
  for (size_t i = 0; i < kLength; ++i) {
    ASSERT_NEAR(out.first[i], in.first[i] * 0.5f * 2.0f * 0.25f, 1e-6f) << i;
    ASSERT_NEAR(out.second[i], in.second[i] * 0.5f * 2.0f * 1.5f, 1e-6f) << i;
  }
}

TEST(ChannelToolBasic, InputPlacementSpreadsEachChannelAndKeepsTheSum) {
  const RStereo in = Input();
  {
    // Both inputs in the centre: each output is half the sum.
    RChannelToolRig rig;
    rig.Set("panoramaleft", 0.0);
    rig.Set("panoramaright", 0.0);
    const RStereo out = rig.Run(in);
    for (size_t i = 0; i < kLength; ++i) {
      ASSERT_NEAR(out.first[i], 0.5f * (in.first[i] + in.second[i]), 1e-6f);
      ASSERT_NEAR(out.second[i], 0.5f * (in.first[i] + in.second[i]), 1e-6f);
    }
  }
  {
    // Each input placed on the other side: the pair swaps.
    RChannelToolRig rig;
    rig.Set("panoramaleft", 1.0);
    rig.Set("panoramaright", -1.0);
    const RStereo out = rig.Run(in);
    ExpectSame(out.first, in.second, "left from right");
    ExpectSame(out.second, in.first, "right from left");
  }
  {
    // Half way: a quarter of the left input reaches the right, the sum stays.
    RChannelToolRig rig;
    rig.Set("panoramaleft", -0.5);
    const RStereo out = rig.Run(in);
    for (size_t i = 0; i < kLength; ++i) {
      ASSERT_NEAR(out.first[i], 0.75f * in.first[i], 1e-6f);
      ASSERT_NEAR(out.second[i], 0.25f * in.first[i] + in.second[i], 1e-6f);
      ASSERT_NEAR(out.first[i] + out.second[i], in.first[i] + in.second[i], 1e-6f);
    }
  }
}

TEST(ChannelToolBasic, PanoramaMovesTheFarChannelOverAndItsLawRaisesTheSides) {
  const RStereo in = Input();
  {
    RChannelToolRig rig;
    rig.Set("panorama", 1.0);
    const RStereo out = rig.Run(in);
    for (size_t i = 0; i < kLength; ++i) {
      ASSERT_NEAR(out.first[i], 0.0f, 1e-7f);
      ASSERT_NEAR(out.second[i], in.first[i] + in.second[i], 1e-6f);
    }
  }
  {
    // A law of 12 dB is 6 dB above the plain law: the hard-panned pair comes out 6 dB up.
    RChannelToolRig rig;
    rig.Set("panorama", -1.0);
    rig.Set("panlaw2", std::pow(10.0, 12.0 / 20.0));
    const RStereo out = rig.Run(in);
    const float law = float(std::pow(10.0, 6.0 / 20.0));
    for (size_t i = 0; i < kLength; ++i) {
      ASSERT_NEAR(out.first[i], law * (in.first[i] + in.second[i]), 1e-5f);
      ASSERT_NEAR(out.second[i], 0.0f, 1e-7f);
    }
  }
}

TEST(ChannelToolBasic, InvertNegatesItsChannelAndSwapExchangesThePair) {
  const RStereo in = Input();
  auto negated = [](std::vector<float> s) {
    for (float& v : s) v = -v;
    return s;
  };
  {
    RChannelToolRig rig;
    rig.Set("InvertLeft", 1.0);
    const RStereo out = rig.Run(in);
    ExpectSame(out.first, negated(in.first), "inverted left");
    ExpectSame(out.second, in.second, "untouched right");
  }
  {
    RChannelToolRig rig;
    rig.Set("InvertRight", 1.0);
    const RStereo out = rig.Run(in);
    ExpectSame(out.first, in.first, "untouched left");
    ExpectSame(out.second, negated(in.second), "inverted right");
  }
  {
    // The product's "Invert" slot: both switches on.
    RChannelToolRig rig;
    rig.Set("InvertLeft", 1.0);
    rig.Set("InvertRight", 1.0);
    const RStereo out = rig.Run(in);
    ExpectSame(out.first, negated(in.first), "inverted left");
    ExpectSame(out.second, negated(in.second), "inverted right");
  }
  {
    RChannelToolRig rig;
    rig.Set("SwapLeftRight", 1.0);
    rig.Set("InvertLeft", 1.0);  // inverts before the swap: the inverted left ends on the right
    const RStereo out = rig.Run(in);
    ExpectSame(out.first, in.second, "left from right");
    ExpectSame(out.second, negated(in.first), "right from inverted left");
  }
}

TEST(ChannelToolBasic, SilenceSwitchesFollowTransportAndRenderMode) {
  const RStereo in = Input();
  RHostTimeInfo playing;
  playing.flags = RHostTimeInfo::kPlaying;
  RHostTimeInfo stopped;
  stopped.flags = 0;
  auto silent = [](const RStereo& out) {
    return Rms(out.first, 0, out.first.size()) == 0.0 && Rms(out.second, 0, out.second.size()) == 0.0;
  };
  struct Case {
    const char* key;
    bool offline;
    const RHostTimeInfo* transport;
    bool expectSilence;
  };
  const Case cases[] = {
      {"SilencePlaybackOn", false, &playing, true},   {"SilencePlaybackOn", false, &stopped, false},
      {"SilencePlaybackOff", false, &stopped, true},  {"SilencePlaybackOff", false, &playing, false},
      {"SilenceOnline", false, &playing, true},       {"SilenceOnline", true, &playing, false},
      {"SilenceOffline", true, &stopped, true},       {"SilenceOffline", false, &stopped, false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.key << (c.offline ? " offline" : " realtime")
                                    << (c.transport == &playing ? " playing" : " stopped"));
    RChannelToolRig rig;
    rig.Tool().SetOffline(c.offline);
    rig.Set(c.key, 1.0);
    const RStereo out = rig.Run(in, c.transport);
    EXPECT_EQ(silent(out), c.expectSilence);
    if (!c.expectSilence) ExpectSame(out.first, in.first, "left");
  }
}

TEST(ChannelToolBasic, OneChannelTakesTheChannelStagesAndPassesThePairStages) {
  RChannelToolRig rig(48000.0, 256, 1);
  rig.Set("InvertLeft", 1.0);
  rig.Set("VolumeLeft", 0.5);
  rig.Set("SwapLeftRight", 1.0);
  rig.Set("panorama", 1.0);
  rig.Set("Coder", 1.0);
  std::vector<float> in = Ramp(700, 0.1f, 0.001f), out(700);
  for (size_t at = 0; at < in.size(); at += 256) {
    const int32_t frames = int32_t(std::min<size_t>(256, in.size() - at));
    float* inputs[1] = {in.data() + at};
    float* outputs[1] = {out.data() + at};
    rig.Tool().ProcessCycle(inputs, outputs, frames, nullptr);
  }
  for (size_t i = 0; i < in.size(); ++i) ASSERT_FLOAT_EQ(out[i], -0.5f * in[i]) << i;
}
