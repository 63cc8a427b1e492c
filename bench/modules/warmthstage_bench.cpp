// Cost of the saturator per stereo frame through its whole cycle, 48 kHz, 512-frame blocks:
// typical settings standing still (drive, tone and bias engaged), and drive, bias and tone
// gliding every block (the level match then follows sample by sample).
#include <benchmark/benchmark.h>

#include <cmath>
#include <random>
#include <vector>

#include "modules/warmthstage/warmthstage.h"

namespace {

constexpr int32_t kBlock = 512;
constexpr double kRate = 48000.0;

void PerFrame(benchmark::State& state, int64_t framesPerIteration) {
  state.SetItemsProcessed(int64_t(state.iterations()) * framesPerIteration);
  state.counters["per_frame"] = benchmark::Counter(double(framesPerIteration),
                                                   benchmark::Counter::kIsIterationInvariantRate |
                                                       benchmark::Counter::kInvert);
}

struct StereoNoise {
  StereoNoise() {
    std::mt19937 random(5);
    std::uniform_real_distribution<float> uniform(-0.5f, 0.5f);
    for (float& v : left) v = uniform(random);
    for (float& v : right) v = uniform(random);
  }
  std::vector<float> left = std::vector<float>(kBlock), right = std::vector<float>(kBlock);
  std::vector<float> outLeft = std::vector<float>(kBlock), outRight = std::vector<float>(kBlock);
  float* inputs[2] = {left.data(), right.data()};
  float* outputs[2] = {outLeft.data(), outRight.data()};
};

void Settle(RRangedValue& value, double real) {
  value.SetValueNow(real);
  value.ResetRamp();
}

double FromDecibels(double decibels) { return std::pow(10.0, decibels / 20.0); }

void BM_WarmthStage_Typical(benchmark::State& state) {
  RWarmthStage stage;
  stage.InitParameters();
  stage.SetHostFormat(kRate, kBlock, 2);
  Settle(stage.GetDrive(), FromDecibels(12.0));
  Settle(stage.GetTone(), 0.3);
  Settle(stage.GetBias(), 0.2);
  Settle(stage.GetDryWet(), 0.8);
  StereoNoise block;
  for (auto _ : state) {
    stage.ProcessCycle(block.inputs, block.outputs, kBlock, nullptr);
    benchmark::DoNotOptimize(block.outLeft.data());
  }
  PerFrame(state, kBlock);
}
BENCHMARK(BM_WarmthStage_Typical);

void BM_WarmthStage_Ramping(benchmark::State& state) {
  RWarmthStage stage;
  stage.InitParameters();
  stage.SetHostFormat(kRate, kBlock, 2);
  StereoNoise block;
  int32_t round = 0;
  for (auto _ : state) {
    const double phase = 0.5 + 0.45 * std::sin(0.3 * ++round);
    stage.GetDrive().SetValueNow(FromDecibels(30.0 * phase));
    stage.GetTone().SetValueNow(2.0 * phase - 1.0);
    stage.GetBias().SetValueNow(phase);
    stage.GetOutput().SetValueNow(0.5 + phase);
    stage.GetDryWet().SetValueNow(phase);
    stage.ProcessCycle(block.inputs, block.outputs, kBlock, nullptr);
    benchmark::DoNotOptimize(block.outLeft.data());
  }
  PerFrame(state, kBlock);
}
BENCHMARK(BM_WarmthStage_Ramping);

} // namespace
