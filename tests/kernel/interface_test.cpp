// The host-side object: the input guard, missing buffers, blocks longer than announced, the
// position pulled back by the latency, and latency reports to the adapter.
#include <gtest/gtest.h>

#include <memory>

#include "cycletestplugin.h"
#include "kernel/denormals.h"

namespace {

class RRecordingInterface : public RAudioPluginInterface {
public:
  explicit RRecordingInterface(std::unique_ptr<RAudioPlugin> plugin) : RAudioPluginInterface(std::move(plugin)) {}
  std::vector<int32_t> latencies;
  void LatencyChanged(int32_t samples) override { latencies.push_back(samples); }
  RCycleTestPlugin& Plugin() { return static_cast<RCycleTestPlugin&>(GetPlugin()); }
};

std::unique_ptr<RRecordingInterface> MakeAdapter(int32_t latency = 0, int32_t maxBlock = 512) {
  auto plugin = std::make_unique<RCycleTestPlugin>();
  plugin->latency = latency;
  auto adapter = std::make_unique<RRecordingInterface>(std::move(plugin));
  adapter->Plugin().Prepare(48000.0, maxBlock);
  return adapter;
}

TEST(RAudioPluginInterfaceGuard, SilencesAChannelWhoseFirstSampleRunsAway) {
  auto adapter = MakeAdapter();
  RTestBlock block(2, 64);
  block.Fill(0.5f);
  block.in[0][0] = 100001.0f;
  block.in[1][7] = 100001.0f;  // a later sample is only clipped at the output
  block.in[1][8] = -3e9f;
  block.Run(*adapter);
  for (float y : block.out[0]) EXPECT_EQ(y, 0.0f);
  EXPECT_EQ(block.out[1][0], 0.5f);
  EXPECT_EQ(block.out[1][7], 100000.0f);
  EXPECT_EQ(block.out[1][8], -100000.0f);

  // Exactly at the limit is not runaway.
  block.Fill(0.5f);
  block.in[0][0] = 100000.0f;
  block.Run(*adapter);
  EXPECT_EQ(block.out[0][0], 100000.0f);
  EXPECT_EQ(block.out[0][1], 0.5f);
}

TEST(RAudioPluginInterfaceGaps, MissingBuffersAreSilentInOrDiscardedOut) {
  auto adapter = MakeAdapter();
  RTestBlock block(2, 256);
  block.Fill(0.25f);
  float* inputs[2] = {block.inputs[0], nullptr};
  float* outputs[2] = {nullptr, block.outputs[1]};
  adapter->Plugin().mode = RCycleTestPlugin::Mode::Swap;
  adapter->ProcessAudio(inputs, outputs, 256);
  // Channel 1 took channel 0's input; channel 0 read silence into a throw-away buffer.
  EXPECT_EQ(block.out[1][0], 0.25f);
  EXPECT_EQ(block.out[1][255], 0.25f);

  // No output array at all: nothing runs.
  const size_t calls = adapter->Plugin().calls.size();
  adapter->ProcessAudio(block.inputs.data(), nullptr, 256);
  EXPECT_EQ(adapter->Plugin().calls.size(), calls);
}

TEST(RAudioPluginInterfaceGaps, ABlockLongerThanAnnouncedRunsInPieces) {
  auto adapter = MakeAdapter(0, 256);
  RTestBlock block(2, 1000);
  for (int32_t i = 0; i < 1000; ++i) block.in[0][size_t(i)] = block.in[1][size_t(i)] = float(i + 1);
  block.Run(*adapter);
  auto& calls = adapter->Plugin().calls;
  ASSERT_EQ(calls.size(), 4u);
  EXPECT_EQ(calls[0].frames, 256);
  EXPECT_EQ(calls[3].frames, 1000 - 3 * 256);
  for (int32_t i = 0; i < 1000; ++i) ASSERT_EQ(block.out[0][size_t(i)], float(i + 1)) << i;
  // The pieces carry the position on as one block would.
  EXPECT_EQ(adapter->Plugin().GetTimeInfo().SamplePosition, 768);
}

TEST(RAudioPluginInterfaceTime, PullsThePositionBackByTheLatency) {
  auto adapter = MakeAdapter(4800);
  ASSERT_EQ(adapter->Plugin().GetReportedLatency(), 4800);
  RHostTimeInfo host;
  host.tempo = 120.0;
  host.ppqPosition = 10.0;
  host.barStart = 8.0;
  host.numerator = 4;
  RTestBlock block(2, 128);
  block.Fill(0.5f);
  block.Run(*adapter, &host);
  // 4800 samples at 48 kHz and 120 bpm are 0.2 quarter notes; the bar start follows.
  EXPECT_NEAR(adapter->Plugin().GetTimeInfo().PPQPosition, 9.8, 1e-12);
  EXPECT_DOUBLE_EQ(adapter->Plugin().GetTimeInfo().BarStart, 8.0);

  host.ppqPosition = 8.1;
  block.Run(*adapter, &host);
  EXPECT_NEAR(adapter->Plugin().GetTimeInfo().PPQPosition, 7.9, 1e-12);
  EXPECT_DOUBLE_EQ(adapter->Plugin().GetTimeInfo().BarStart, 4.0);
}

TEST(RAudioPluginInterfaceTime, WithoutLatencyThePositionIsTheHosts) {
  auto adapter = MakeAdapter(0);
  RHostTimeInfo host;
  host.ppqPosition = 10.0;
  RTestBlock block(2, 128);
  block.Fill(0.5f);
  block.Run(*adapter, &host);
  EXPECT_DOUBLE_EQ(adapter->Plugin().GetTimeInfo().PPQPosition, 10.0);
}

TEST(RAudioPluginInterfaceLatency, ReportsAtSetupAndAfterTheRequestedFrames) {
  auto adapter = MakeAdapter(64);
  ASSERT_EQ(adapter->latencies.size(), 1u);
  EXPECT_EQ(adapter->latencies[0], 64);

  adapter->Plugin().latency = 32;
  adapter->Plugin().RequestLatencyReport(300);
  RTestBlock block(2, 128);
  block.Fill(0.5f);
  block.Run(*adapter);
  block.Run(*adapter);
  EXPECT_EQ(adapter->latencies.size(), 1u);
  EXPECT_FALSE(adapter->IsLatencyChangePending());
  block.Run(*adapter);  // 384 frames: past the countdown
  ASSERT_EQ(adapter->latencies.size(), 2u);
  EXPECT_EQ(adapter->latencies[1], 32);
  EXPECT_TRUE(adapter->IsLatencyChangePending());
  EXPECT_EQ(adapter->Plugin().GetReportedLatency(), 32);
}

// Records whether denormals were flushed while the plug-in processed.
class RDenormalProbe : public RCycleTestPlugin {
public:
  bool flushing = false;
  void Process(float* const* inputs, float* const* outputs, int32_t frames) override {
    flushing = RDenormalGuard::IsFlushing();
    RCycleTestPlugin::Process(inputs, outputs, frames);
  }
};

TEST(RAudioPluginInterfaceGuard, ProcessesWithDenormalsFlushed) {
  auto plugin = std::make_unique<RDenormalProbe>();
  RDenormalProbe* probe = plugin.get();
  RAudioPluginInterface adapter(std::move(plugin));
  probe->Prepare();
  RTestBlock block(2, 32);
  block.Fill(0.5f);
  block.Run(adapter);
#if defined(__x86_64__) || defined(_M_X64)
  EXPECT_TRUE(probe->flushing);
  EXPECT_FALSE(RDenormalGuard::IsFlushing());  // the host's own setting is back
#endif
  EXPECT_EQ(block.out[0][31], 0.5f);
}

} // namespace
