// Channel modes through the whole cycle: which signals a plug-in sees in each mode, how they
// come back, surround packing, and the dry paths of what a mode leaves unprocessed.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <functional>
#include <vector>

#include "base/tagitem.h"
#include "cycletestplugin.h"
#include "kernel/channelmodes.h"

namespace {

constexpr float kGain = 3.0f;
constexpr int32_t kFrames = 64;

// Exactly representable inputs, so that every sum and half below is exact in float.
float Left(int32_t i) { return 0.25f * float(i + 1); }
float Right(int32_t i) { return -0.5f * float(i % 7) + 0.125f; }

// A plug-in that triples what it is given, and records what it was given.
class RTripler : public RCycleTestPlugin {
public:
  RTripler() {
    mode = Mode::Gain;
    gain = kGain;
  }
  int32_t unprocessedCalls = 0;
  bool silenceUnprocessed = false;

protected:
  void ProcessUnprocessedChannel(float* channel, int32_t frames) override {
    ++unprocessedCalls;
    if (silenceUnprocessed) std::fill(channel, channel + frames, 0.0f);
  }
};

RTestBlock StereoBlock() {
  RTestBlock block(2, kFrames);
  for (int32_t i = 0; i < kFrames; ++i) {
    block.in[0][size_t(i)] = Left(i);
    block.in[1][size_t(i)] = Right(i);
  }
  return block;
}

struct Expected {
  int32_t mode;
  int32_t channels;
  std::function<std::array<float, 2>(float l, float r)> output;
};

float Mid(float l, float r) { return (l + r) * 0.5f; }
float Side(float l, float r) { return (l - r) * 0.5f; }

const std::vector<Expected>& Table() {
  using namespace RChannelModes;
  static const std::vector<Expected> table = {
      {kLeftRight, 2, [](float l, float r) { return std::array{l * kGain, r * kGain}; }},
      {kLeft, 1, [](float l, float r) { return std::array{l * kGain, r}; }},
      {kRight, 1, [](float l, float r) { return std::array{l, r * kGain}; }},
      {kMono, 1,
       [](float l, float r) {
         const float m = Mid(l, r) * kGain, s = Side(l, r);
         return std::array{m + s, m - s};
       }},
      {kStereo, 1,
       [](float l, float r) {
         const float m = Mid(l, r), s = Side(l, r) * kGain;
         return std::array{m + s, m - s};
       }},
      {kMonoStereo, 2,
       [](float l, float r) {
         const float m = Mid(l, r) * kGain, s = Side(l, r) * kGain;
         return std::array{m + s, m - s};
       }},
      {kLeftRightNegated, 2, [](float l, float r) { return std::array{l * kGain, -r * kGain}; }},
      {kLeftZeroRight, 1, [](float l, float) { return std::array{l * kGain, 0.0f}; }},
      {kRightZeroLeft, 1, [](float, float r) { return std::array{0.0f, r * kGain}; }},
      {kMonoZeroStereo, 1,
       [](float l, float r) {
         const float m = Mid(l, r) * kGain;
         return std::array{m, m};
       }},
      {kStereoZeroMono, 1,
       [](float l, float r) {
         const float s = Side(l, r) * kGain;
         return std::array{s, -s};
       }},
  };
  return table;
}

void ExpectModeOutput(const Expected& expected, const RTestBlock& block, const char* how) {
  for (int32_t i = 0; i < kFrames; ++i) {
    const auto want = expected.output(Left(i), Right(i));
    ASSERT_EQ(block.out[0][size_t(i)], want[0]) << RChannelModes::GetText(expected.mode).ToUTF8() << " " << how << " " << i;
    ASSERT_EQ(block.out[1][size_t(i)], want[1]) << RChannelModes::GetText(expected.mode).ToUTF8() << " " << how << " " << i;
  }
}

} // namespace

TEST(ChannelModes, EachStereoModeSeesAndReturnsItsSignalsExactly) {
  for (const Expected& expected : Table()) {
    RTripler plugin;
    plugin.SetChannelMode(expected.mode);
    plugin.Prepare(48000.0, kFrames);
    EXPECT_EQ(plugin.GetActiveChannelMode(), expected.mode);
    EXPECT_EQ(plugin.GetProcessChannels(), 2);
    EXPECT_EQ(plugin.GetChannels(), expected.channels) << expected.mode;

    RTestBlock block = StereoBlock();
    block.Run(plugin);
    ExpectModeOutput(expected, block, "apart");
    // The unprocessed signal went through the hook once a block, in the modes that have one.
    EXPECT_EQ(plugin.unprocessedCalls, expected.channels == 1 ? 1 : 0) << expected.mode;

    // The same with the host's output buffers being its inputs.
    RTripler inPlace;
    inPlace.SetChannelMode(expected.mode);
    inPlace.Prepare(48000.0, kFrames);
    RTestBlock shared = StereoBlock();
    shared.outputs = shared.inputs;
    shared.Run(inPlace);
    shared.out = shared.in;
    ExpectModeOutput(expected, shared, "in place");
  }
}

TEST(ChannelModes, TheHookMayTreatTheUnprocessedSignal) {
  RTripler plugin;
  plugin.silenceUnprocessed = true;
  plugin.SetChannelMode(RChannelModes::kLeft);
  plugin.Prepare(48000.0, kFrames);
  RTestBlock block = StereoBlock();
  block.Run(plugin);
  EXPECT_EQ(block.out[0][5], Left(5) * kGain);
  EXPECT_EQ(block.out[1][5], 0.0f);
}

TEST(ChannelModes, AMonoHostInThePlainModeProcessesOneChannel) {
  RTripler plugin;
  plugin.Prepare(48000.0, kFrames, 1);
  EXPECT_EQ(plugin.GetProcessChannels(), 1);
  EXPECT_EQ(plugin.GetChannels(), 1);
  RTestBlock block(1, kFrames);
  block.Fill(0.5f);
  block.Run(plugin);
  EXPECT_EQ(block.out[0][10], 1.5f);
}

TEST(ChannelModes, SurroundModesNeedThreeHostChannels) {
  RTripler plugin;
  plugin.SetChannelMode(RChannelModes::kSurround);
  plugin.Prepare(48000.0, kFrames, 2);
  EXPECT_EQ(plugin.GetChannelMode(), RChannelModes::kSurround);
  EXPECT_EQ(plugin.GetActiveChannelMode(), RChannelModes::kLeftRight);
  plugin.SetHostFormat(48000.0, kFrames, 6);
  EXPECT_EQ(plugin.GetActiveChannelMode(), RChannelModes::kSurround);
  EXPECT_EQ(plugin.GetProcessChannels(), 6);
}

TEST(ChannelModes, SurroundPacksTheEnabledChannelsAndPassesTheOthersDry) {
  RTripler plugin;
  RAudioPlugin::SurroundSettings settings;
  settings.enabled = 0b1011;  // channel 2 off
  settings.volume[3] = 0.5f;
  plugin.SetSurroundSettings(settings);
  plugin.SetChannelMode(RChannelModes::kSurround);
  plugin.Prepare(48000.0, kFrames, 4);
  EXPECT_EQ(plugin.GetProcessChannels(), 4);
  EXPECT_EQ(plugin.GetChannels(), 3);

  RTestBlock block(4, kFrames);
  for (int32_t c = 0; c < 4; ++c) block.in[size_t(c)].assign(size_t(kFrames), float(c + 1));
  block.Run(plugin);
  // What the plug-in saw: host channels 0, 1 and 3, side by side.
  EXPECT_EQ(plugin.seenInputs[0], block.inputs[0]);
  EXPECT_EQ(plugin.seenInputs[1], block.inputs[1]);
  EXPECT_EQ(plugin.seenInputs[2], block.inputs[3]);
  EXPECT_EQ(block.out[0][7], 1.0f * kGain);
  EXPECT_EQ(block.out[1][7], 2.0f * kGain);
  EXPECT_EQ(block.out[2][7], 3.0f);
  EXPECT_EQ(block.out[3][7], 4.0f * kGain * 0.5f);

  // None enabled: the first one still is.
  settings.enabled = 0;
  plugin.SetSurroundSettings(settings);
  EXPECT_EQ(plugin.GetChannels(), 1);
}

TEST(ChannelModes, AmbisonicsProcessesTheChannelsOfItsOrder) {
  RTripler plugin;
  RAudioPlugin::SurroundSettings settings;
  settings.ambisonicsOrder = 1;  // second order: 9 channels
  plugin.SetSurroundSettings(settings);
  plugin.SetChannelMode(RChannelModes::kAmbisonics);
  plugin.Prepare(48000.0, kFrames, 16);
  EXPECT_EQ(plugin.GetProcessChannels(), 9);
  EXPECT_EQ(plugin.GetChannels(), 9);
  RTestBlock block(16, kFrames);
  block.Fill(1.0f);
  block.Run(plugin);
  EXPECT_EQ(block.out[8][3], kGain);
  EXPECT_EQ(block.out[9][3], 1.0f) << "past the order's channels: dry";
}

TEST(ChannelModes, WithALatencyTheDrySignalIsDelayedByIt) {
  RTripler plugin;
  plugin.latency = 40;
  plugin.SetChannelMode(RChannelModes::kLeft);
  plugin.Prepare(48000.0, kFrames);
  ASSERT_EQ(plugin.GetTrueLatency(), 40);
  RTestBlock block(2, kFrames);
  std::vector<float> right;
  for (int32_t b = 0; b < 3; ++b) {
    for (int32_t i = 0; i < kFrames; ++i) {
      block.in[0][size_t(i)] = 1.0f;
      block.in[1][size_t(i)] = float(b * kFrames + i + 1);
    }
    block.Run(plugin);
    right.insert(right.end(), block.out[1].begin(), block.out[1].end());
  }
  EXPECT_EQ(right[39], 0.0f);
  EXPECT_EQ(right[40], 1.0f);
  EXPECT_EQ(right[150], 111.0f);
}

TEST(ChannelModes, TheModeAndSurroundSettingsAreStoredAndAChangeSetsUpAgain) {
  RTripler plugin;
  plugin.Prepare(48000.0, kFrames, 6);
  RAudioPlugin::SurroundSettings settings;
  settings.enabled = ~uint64_t(0) & ~(uint64_t(1) << 4);
  settings.ambisonicsCustomChannels = 12;
  settings.volume[2] = 0.25f;
  plugin.SetSurroundSettings(settings);
  plugin.SetChannelMode(RChannelModes::kSurround);
  EXPECT_EQ(plugin.GetChannels(), 5);

  RTagItem tree;
  plugin.SaveStateTree(tree);
  EXPECT_EQ(tree.GetAttributeText(RHashedString("ChannelMode")).ToUTF8(), "Surround");
  EXPECT_EQ(tree.GetAttributeText(RHashedString("SurroundChannelsEnable")).ToUTF8(), "11110");

  RTripler copy;
  copy.Prepare(48000.0, kFrames, 6);
  copy.LoadStateTree(tree);
  EXPECT_EQ(copy.GetActiveChannelMode(), RChannelModes::kSurround);
  EXPECT_EQ(copy.GetChannels(), 5);
  EXPECT_EQ(copy.GetSurroundSettings().ambisonicsCustomChannels, 12);
  EXPECT_EQ(copy.GetSurroundSettings().volume[2], 0.25f);
  EXPECT_EQ(copy.GetSurroundSettings().volume[3], 1.0f);

  // Back to the plain mode: the surround settings are not written.
  copy.SetChannelMode(RChannelModes::kLeftRight);
  RTagItem plain;
  copy.SaveStateTree(plain);
  EXPECT_EQ(plain.FindAttribute(RHashedString("SurroundChannelsEnable")), nullptr);
  EXPECT_EQ(plain.FindAttribute(RHashedString("ChannelMode")), nullptr);
}

TEST(ChannelModes, MidAndSideRoundTripExactlyOnRepresentableSignals) {
  std::vector<float> a(kFrames), b(kFrames);
  for (int32_t i = 0; i < kFrames; ++i) {
    a[size_t(i)] = Left(i);
    b[size_t(i)] = Right(i);
  }
  std::vector<float> x = a, y = b;
  RChannelModes::EncodeMidSide(x.data(), y.data(), kFrames);
  EXPECT_EQ(x[3], (a[3] + b[3]) * 0.5f);
  EXPECT_EQ(y[3], (a[3] - b[3]) * 0.5f);
  RChannelModes::DecodeMidSide(x.data(), y.data(), kFrames);
  EXPECT_EQ(x, a);
  EXPECT_EQ(y, b);
}
