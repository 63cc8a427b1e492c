// The offline host through its public operations, with small plug-ins whose output makes the
// host's work visible: a polarity flip shows the bypass crossfade, a gain shows where
// automation lands, a delay shows the latency compensation.

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "base/filestream.h"
#include "base/memorystream.h"
#include "kernel/audioplugin.h"
#include "kernel/blockstages.h"
#include "tools/quillon/commands.h"
#include "tools/quillon/offlinehost.h"
#include "tools/quillon/product.h"
#include "tools/quillon/progress.h"
#include "tools/quillon/signals.h"

namespace quillon_cli {
namespace {

class RHostTestPlugin : public RAudioPlugin {
public:
  enum class Mode { Invert, Gain, Delay, Sidechain };

  explicit RHostTestPlugin(Mode mode, int32_t latency = 0)
      : RAudioPlugin(RString("HostTest")), mode_(mode), latency_(latency) {}

  RRealValue gain{this, RString("Gain"), 0.0, 1.0, 0.0};

  struct Transport {
    int64_t samplePosition;
    double ppq;
    bool playing;
  };
  std::vector<Transport> transport;

  int32_t GetLatency() const override { return latency_; }

  void BeforeBlock(float* const*, float* const*) override {
    const RTimeInfo& time = GetTimeInfo();
    transport.push_back({time.SamplePosition, time.PPQPosition, time.IsPlaying()});
  }

  void Process(float* const* inputs, float* const* outputs, int32_t frames) override {
    const int32_t channels = GetProcessChannels();
    for (int32_t c = 0; c < channels; ++c) {
      for (int32_t i = 0; i < frames; ++i) {
        switch (mode_) {
          case Mode::Invert:
            outputs[c][i] = -inputs[c][i];
            break;
          case Mode::Gain:
            outputs[c][i] = inputs[c][i];
            break;
          case Mode::Delay: {
            std::vector<float>& line = lines_[size_t(c)];
            const float delayed = line[size_t(position_[size_t(c)])];
            line[size_t(position_[size_t(c)])] = inputs[c][i];
            position_[size_t(c)] = (position_[size_t(c)] + 1) % latency_;
            outputs[c][i] = delayed;
            break;
          }
          case Mode::Sidechain:
            outputs[c][i] = inputs[GetChannelStride() + c][i];
            break;
        }
      }
    }
    // As a module's gain stage does: a glide over the sub-block to the value at its end.
    if (mode_ == Mode::Gain) ApplyGain(gain, outputs, channels, frames);
  }

  void Setup_Locked() override {
    RAudioPlugin::Setup_Locked();
    if (latency_ > 0) {
      lines_.assign(size_t(GetHostChannels()), std::vector<float>(size_t(latency_), 0.0f));
      position_.assign(size_t(GetHostChannels()), 0);
    }
  }

private:
  Mode mode_;
  int32_t latency_;
  std::vector<std::vector<float>> lines_;
  std::vector<int32_t> position_;
};

struct TestHost {
  explicit TestHost(std::unique_ptr<RAudioPlugin> made) {
    made->InitParameters();
    host = std::make_unique<ROfflineHost>(std::move(made));
  }
  TestHost(RHostTestPlugin::Mode mode, int32_t latency = 0)
      : TestHost(std::make_unique<RHostTestPlugin>(mode, latency)) {}

  RHostTestPlugin& Plugin() { return static_cast<RHostTestPlugin&>(host->GetPlugin()); }

  RAudioData Render(const RAudioData& input, int32_t block, const RAudioData* sidechain = nullptr,
                    bool raw = false, bool offline = false) {
    ROfflineHost::Format format;
    format.rate = input.rate;
    format.block = block;
    format.channels = input.GetChannelCount();
    format.sidechain = sidechain != nullptr;
    format.offline = offline;
    host->Prepare(format);
    RProgressBar quiet(false);
    RProcessTimer timer;
    RAudioData output = host->Render(input, sidechain, raw, quiet, timer);
    cpuSeconds = timer.GetSeconds();
    return output;
  }

  std::unique_ptr<ROfflineHost> host;
  double cpuSeconds = 0.0;
};

RAudioData Constant(float level, int64_t frames, int32_t channels = 1, double rate = 48000.0) {
  RAudioData audio;
  audio.rate = rate;
  audio.channels.assign(size_t(channels), std::vector<float>(size_t(frames), level));
  return audio;
}

TEST(OfflineHostTest, TheProductRendersWithTheInputsLengthRateAndChannels) {
  const RAudioData stereo = GenerateSignal(ParseSignal("noise:0.25"), 44100.0, 2);
  const RAudioData mono = GenerateSignal(ParseSignal("sweep:0.25"), 96000.0, 1);
  for (const RAudioData* input : {&stereo, &mono}) {
    for (int32_t block : {1, 7, 512, 4096}) {
      SCOPED_TRACE(testing::Message() << input->GetChannelCount() << " channels, block " << block);
      TestHost test(CreateProductPlugin());
      RAudioData output = test.Render(*input, block);
      EXPECT_EQ(input->rate, output.rate);
      ASSERT_EQ(input->GetChannelCount(), output.GetChannelCount());
      ASSERT_EQ(input->GetFrameCount(), output.GetFrameCount());
      for (const std::vector<float>& channel : output.channels)
        EXPECT_TRUE(std::all_of(channel.begin(), channel.end(), [](float x) { return std::isfinite(x); }));
      EXPECT_GT(test.cpuSeconds, 0.0);
    }
  }
}

TEST(OfflineHostTest, AutomationPointsLandOnTheirSampleInTimeOrder) {
  TestHost test(RHostTestPlugin::Mode::Gain);
  // Given out of order: the host sends them by time. 0.5 s is frame 24000, offset 448 of the
  // block at 23552; 0.75 s is frame 36000, offset 160 of the block at 35840. A point is
  // reached at its own sample, after a glide over the stretch of its block before it.
  test.host->AddAutomation("Gain=@0.25,0.75");
  test.host->AddAutomation("gain=@1,0.5");
  test.host->AddAutomation("Gain=@0.5,0");
  RAudioData output = test.Render(Constant(1.0f, 48000), 512);
  const std::vector<float>& out = output.channels[0];
  // The point at 0 applies before the first block, which glides to it from the silent start.
  EXPECT_NEAR(0.5f, out[511], 1e-3f);
  for (size_t f = 512; f < 23552; ++f) ASSERT_EQ(0.5f, out[f]) << f;
  for (size_t f = 23552; f < 24000; ++f) ASSERT_TRUE(out[f] >= 0.5f && out[f] < 1.0f) << f << ": " << out[f];
  EXPECT_GT(out[23999], 0.99f);
  for (size_t f = 24000; f < 35840; ++f) ASSERT_EQ(1.0f, out[f]) << f;
  for (size_t f = 35840; f < 36000; ++f) ASSERT_TRUE(out[f] > 0.25f && out[f] <= 1.0f) << f << ": " << out[f];
  for (size_t f = 36000; f < 48000; ++f) ASSERT_EQ(0.25f, out[f]) << f;
}

// The last frame of the wholly inverted signal, before the fade turns it towards the dry one.
int64_t CrossfadeOnset(const std::vector<float>& out, float wet) {
  for (size_t f = 0; f < out.size(); ++f) {
    if (std::fabs(out[f] - wet) > 1e-6f) return int64_t(f) - 1;
  }
  return -1;
}

TEST(OfflineHostTest, BypassAutomationCrossfadesOver50MillisecondsFromTheNextBlock) {
  // 1.0 s at 48 kHz is frame 48000: mid-block with 512-frame blocks (the block at 47616 holds
  // it), the start of a block with 500-frame blocks. The bypass is read as it stood when a
  // block ended, so the fade starts with the block after the one that holds the point, never
  // before the point.
  struct Case {
    int32_t block;
    int64_t onset;
  };
  for (const Case& test : {Case{512, 48128}, Case{500, 48500}, Case{4096, 49152}}) {
    SCOPED_TRACE(testing::Message() << "block " << test.block);
    TestHost host(RHostTestPlugin::Mode::Invert);
    host.host->AddAutomation("Bypass=On,1.0");
    RAudioData output = host.Render(Constant(0.5f, 72000, 2), test.block);
    for (const std::vector<float>& out : output.channels) {
      ASSERT_EQ(test.onset, CrossfadeOnset(out, -0.5f));
      // Wet is -0.5 and dry +0.5: the fade crosses zero after 25 ms and is dry after 50 ms.
      EXPECT_NEAR(0.0f, out[size_t(test.onset + 1200)], 1e-3f);
      EXPECT_LT(out[size_t(test.onset + 2390)], 0.5f);
      for (size_t f = size_t(test.onset + 2400); f < out.size(); ++f) ASSERT_NEAR(0.5f, out[f], 1e-6f) << f;
    }
    EXPECT_TRUE(host.Plugin().IsBypassed());
  }
}

TEST(OfflineHostTest, ReportedLatencyIsCompensatedUnlessKeptRaw) {
  RAudioData impulse = GenerateSignal(ParseSignal("impulse:0.02"), 48000.0, 2);  // 960 frames
  for (bool raw : {false, true}) {
    SCOPED_TRACE(raw ? "raw" : "compensated");
    TestHost test(RHostTestPlugin::Mode::Delay, 100);
    RAudioData output = test.Render(impulse, 64, nullptr, raw);
    EXPECT_EQ(100, test.host->GetRenderLatency());
    ASSERT_EQ(impulse.GetFrameCount(), output.GetFrameCount());
    const size_t peak = raw ? 100 : 0;
    for (const std::vector<float>& out : output.channels) {
      for (size_t f = 0; f < out.size(); ++f) ASSERT_EQ(f == peak ? 1.0f : 0.0f, out[f]) << f;
    }
  }
}

TEST(OfflineHostTest, TheSidechainFeedsTheSecondBusPaddedToTheInput) {
  TestHost test(RHostTestPlugin::Mode::Sidechain);
  const RAudioData main = Constant(0.25f, 2000, 2);
  const RAudioData sidechain = GenerateSignal(ParseSignal("noise:0.03125"), 48000.0, 1);  // 1500 frames
  RAudioData output = test.Render(main, 256, &sidechain);
  EXPECT_EQ(2, test.Plugin().GetInputBuses());
  for (const std::vector<float>& out : output.channels) {
    ASSERT_EQ(2000u, out.size());
    for (size_t f = 0; f < 1500; ++f) ASSERT_EQ(sidechain.channels[0][f], out[f]) << f;
    for (size_t f = 1500; f < 2000; ++f) ASSERT_EQ(0.0f, out[f]) << f;
  }
}

TEST(OfflineHostTest, TheTransportPlaysFromTheStartAt120Bpm) {
  TestHost test(RHostTestPlugin::Mode::Gain);
  test.Render(Constant(0.5f, 4800), 480, nullptr, false, true);
  EXPECT_TRUE(test.Plugin().IsOffline());
  const auto& transport = test.Plugin().transport;
  ASSERT_EQ(10u, transport.size());
  for (size_t b = 0; b < transport.size(); ++b) {
    EXPECT_EQ(int64_t(b * 480), transport[b].samplePosition);
    // 480 frames at 48 kHz are 10 ms, a fiftieth of a beat at 120 bpm.
    EXPECT_NEAR(double(b) * 0.02, transport[b].ppq, 1e-9);
    EXPECT_TRUE(transport[b].playing);
  }
}

template <typename Call>
std::string RefusalOf(Call call) {
  try {
    call();
  } catch (const CommandError& e) {
    return e.what();
  }
  ADD_FAILURE() << "no CommandError";
  return std::string();
}

TEST(OfflineHostTest, ParametersAreFoundByNameOrIndexAndValuesByTextOrNormalised) {
  TestHost test(RHostTestPlugin::Mode::Gain);
  ROfflineHost& host = *test.host;
  EXPECT_EQ(0, host.FindParameter("Gain"));
  EXPECT_EQ(0, host.FindParameter("GAIN"));
  EXPECT_EQ(1, host.FindParameter("Bypass"));
  EXPECT_EQ(1, host.FindParameter("1"));
  EXPECT_NE(RefusalOf([&] { host.FindParameter("Nope"); }).find("unknown parameter 'Nope'"), std::string::npos);
  EXPECT_NE(RefusalOf([&] { host.FindParameter("2"); }).find("no parameter 2"), std::string::npos);
  RefusalOf([&] { host.FindParameter(""); });

  EXPECT_EQ(0.25, host.ParseValue(0, "@0.25"));
  EXPECT_NEAR(0.5, host.ParseValue(0, "0.5"), 1e-12);
  EXPECT_EQ(1.0, host.ParseValue(1, "On"));
  EXPECT_EQ(0.0, host.ParseValue(1, "off"));
  EXPECT_EQ(1.0, host.ParseValue(1, "1"));
  for (const char* bad : {"@1.5", "@-0.1", "@", "@x"}) RefusalOf([&] { host.ParseValue(0, bad); });
  EXPECT_NE(RefusalOf([&] { host.ParseValue(0, "loud"); }).find("bad value 'loud' for Gain"), std::string::npos);
  EXPECT_NE(RefusalOf([&] { host.ParseValue(1, "maybe"); }).find("'Off', 'On'"), std::string::npos);
  RefusalOf([&] { host.ParseValue(1, "2"); });

  host.SetParameter("Gain=@0.75");
  host.SetParameter("Bypass=On");
  EXPECT_EQ(0.75, test.Plugin().gain.GetNormalised());
  EXPECT_EQ(0.75, test.Plugin().gain.GetProcessing());
  EXPECT_TRUE(test.Plugin().GetBypassValue()->IsProcessingOn());
  host.SetParameter("1=Off");
  EXPECT_FALSE(test.Plugin().GetBypassValue()->IsOn());
  for (const char* bad : {"Gain", "Gain=", "=1", "Gain=@2"}) RefusalOf([&] { host.SetParameter(bad); });
}

TEST(OfflineHostTest, AutomationTextsAreCheckedWhenGiven) {
  TestHost test(RHostTestPlugin::Mode::Gain);
  ROfflineHost& host = *test.host;
  host.AddAutomation("Gain=@0.5,1.25");
  ASSERT_EQ(1u, host.GetAutomation().size());
  EXPECT_EQ(0, host.GetAutomation()[0].index);
  EXPECT_EQ(0.5, host.GetAutomation()[0].normalised);
  EXPECT_EQ(1.25, host.GetAutomation()[0].seconds);
  for (const char* bad : {"Gain=@0.5", "Gain@0.5,1", "Gain=@0.5,-1", "Gain=@0.5,soon", "Gain=@0.5,", "Nope=@1,1",
                          "Gain=@3,1"}) {
    RefusalOf([&] { host.AddAutomation(bad); });
  }
  EXPECT_EQ(1u, host.GetAutomation().size());
}

class StateFileTest : public ::testing::Test {
protected:
  void SetUp() override {
    folder_ = std::filesystem::temp_directory_path() / ("quillon-state-" + std::to_string(getpid()));
    std::filesystem::create_directories(folder_);
  }
  void TearDown() override { std::filesystem::remove_all(folder_); }
  std::string Path(const char* name) const { return (folder_ / name).string(); }
  std::filesystem::path folder_;
};

TEST_F(StateFileTest, AChunkWrittenByOneHostRestoresAnother) {
  TestHost first(RHostTestPlugin::Mode::Gain);
  first.host->SetParameter("Gain=@0.3");
  first.host->SetParameter("Bypass=On");
  RMemoryStream chunk;
  ASSERT_TRUE(first.host->SaveState(chunk));
  {
    RFileStream file(RString::FromUTF8(Path("state.chunk")), RFileStream::kWrite | RFileStream::kReplace);
    file.Write(chunk.GetData(), chunk.GetSize());
    file.Close();
  }
  TestHost second(RHostTestPlugin::Mode::Gain);
  second.host->LoadStateFile(Path("state.chunk"));
  EXPECT_NEAR(0.3, second.Plugin().gain.GetNormalised(), 1e-12);
  EXPECT_TRUE(second.Plugin().GetBypassValue()->IsOn());
}

TEST_F(StateFileTest, FilesThatHoldNoStateAreRefusedAndChangeNothing) {
  TestHost test(RHostTestPlugin::Mode::Gain);
  test.host->SetParameter("Gain=@0.6");
  std::ofstream(Path("empty"));
  std::ofstream(Path("noise"), std::ios::binary) << std::string("\x01\x02\xff\xfe not a tree", 15);
  EXPECT_NE(RefusalOf([&] { test.host->LoadStateFile(Path("missing")); }).find("no such file"), std::string::npos);
  EXPECT_NE(RefusalOf([&] { test.host->LoadStateFile(Path("empty")); }).find("empty"), std::string::npos);
  EXPECT_NE(RefusalOf([&] { test.host->LoadStateFile(Path("noise")); }).find("no stored state"), std::string::npos);
  EXPECT_NE(RefusalOf([&] { test.host->LoadStateFile(folder_.string()); }).find("not a file"), std::string::npos);
  EXPECT_NEAR(0.6, test.Plugin().gain.GetNormalised(), 1e-12);
}

} // namespace
} // namespace quillon_cli
