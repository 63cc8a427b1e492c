// Cost of the channel tool per stereo frame through its whole cycle, 48 kHz, 512-frame blocks:
// the product's setting (both channels inverted, nothing else), and every stage engaged (a
// reported delay, a 36 dB/octave DC blocker, RMS, envelope, math, an expression and the coder).
#include <benchmark/benchmark.h>

#include <random>
#include <vector>

#include "modules/channeltool/channeltool.h"

namespace {

constexpr int32_t kBlock = 512;
constexpr double kRate = 48000.0;

void PerFrame(benchmark::State& state, int64_t framesPerIteration) {
  state.SetItemsProcessed(int64_t(state.iterations()) * framesPerIteration);
  state.counters["per_frame"] = benchmark::Counter(double(framesPerIteration),
                                                   benchmark::Counter::kIsIterationInvariantRate |
                                                       benchmark::Counter::kInvert);
}

struct ToolBlock {
  ToolBlock() {
    std::mt19937 random(5);
    std::uniform_real_distribution<float> uniform(-0.8f, 0.8f);
    for (float& v : left) v = uniform(random);
    for (float& v : right) v = uniform(random);
    tool.InitParameters();
    tool.SetHostFormat(kRate, kBlock, 2);
  }
  void Set(const char* key, double real) {
    for (RValue* value : tool.GetOwnValues()) {
      if (value->GetKey().ToUTF8() != key) continue;
      auto& ranged = static_cast<RRangedValue&>(*value);
      ranged.SetValueNow(real);
      ranged.ResetRamp();
    }
  }
  void Run() {
    tool.ProcessCycle(inputs, outputs, kBlock, nullptr);
    benchmark::DoNotOptimize(outLeft.data());
  }

  RChannelTool tool;
  std::vector<float> left = std::vector<float>(kBlock), right = std::vector<float>(kBlock);
  std::vector<float> outLeft = std::vector<float>(kBlock), outRight = std::vector<float>(kBlock);
  float* inputs[2] = {left.data(), right.data()};
  float* outputs[2] = {outLeft.data(), outRight.data()};
};

void BM_ChannelTool_ProductInvert(benchmark::State& state) {
  ToolBlock block;
  block.Set("InvertLeft", 1.0);
  block.Set("InvertRight", 1.0);
  for (auto _ : state) block.Run();
  PerFrame(state, kBlock);
}
BENCHMARK(BM_ChannelTool_ProductInvert);

void BM_ChannelTool_EveryStage(benchmark::State& state) {
  ToolBlock block;
  for (const char* panel : {"DCBlocker", "DelayEnabled", "DelayReportLatency", "RMSEnabled", "EnvelopeEnabled",
                            "MathEnabled", "ExpressionEnabled", "Coder", "InvertLeft", "InvertRight",
                            "SwapLeftRight"}) {
    block.Set(panel, 1.0);
  }
  block.Set("Volume", 0.8);
  block.Set("panorama", 0.3);
  block.Set("DelaySamples", 480.0);
  block.Set("DCBlockerAttenuation", 5.0);
  block.Set("Exp", 0.3);
  block.Set("Log", 0.2);
  block.Set("Param1", 0.5);
  block.tool.SetExpressionText(RString("x * p1 + 0.1 * sin(x)"));
  for (auto _ : state) block.Run();
  PerFrame(state, kBlock);
}
BENCHMARK(BM_ChannelTool_EveryStage);

} // namespace
