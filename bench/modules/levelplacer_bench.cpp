// Cost of the level placer per stereo frame through its whole cycle, 48 kHz, 512-frame
// blocks: typical settings (a gain, a pan with a law, some widening) standing still, and
// every stage gliding each block.
#include <benchmark/benchmark.h>

#include <cmath>
#include <random>
#include <vector>

#include "modules/levelplacer/levelplacer.h"

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
    std::mt19937 random(3);
    std::uniform_real_distribution<float> uniform(-0.8f, 0.8f);
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

void BM_LevelPlacer_Typical(benchmark::State& state) {
  RLevelPlacer placer;
  placer.InitParameters();
  placer.SetHostFormat(kRate, kBlock, 2);
  Settle(placer.GetGain(), 0.7);
  Settle(placer.GetPanorama(), -0.3);
  Settle(placer.GetPanoramaLaw(), 1.4);
  Settle(placer.GetWidening(), 0.5);
  StereoNoise block;
  for (auto _ : state) {
    placer.ProcessCycle(block.inputs, block.outputs, kBlock, nullptr);
    benchmark::DoNotOptimize(block.outLeft.data());
  }
  PerFrame(state, kBlock);
}
BENCHMARK(BM_LevelPlacer_Typical);

void BM_LevelPlacer_Ramping(benchmark::State& state) {
  RLevelPlacer placer;
  placer.InitParameters();
  placer.SetHostFormat(kRate, kBlock, 2);
  StereoNoise block;
  int32_t round = 0;
  for (auto _ : state) {
    const double phase = 0.5 + 0.45 * std::sin(0.3 * ++round);
    placer.GetGain().SetValueNow(0.5 + phase);
    placer.GetVolume().SetValueNow(phase);
    placer.GetGainLeft().SetValueNow(1.5 - phase);
    placer.GetGainRight().SetValueNow(0.5 + phase);
    placer.GetPanorama().SetValueNow(2.0 * phase - 1.0);
    placer.GetPanoramaLaw().SetValueNow(0.5 + phase);
    placer.GetWidening().SetValueNow(3.0 * phase - 1.0);
    placer.ProcessCycle(block.inputs, block.outputs, kBlock, nullptr);
    benchmark::DoNotOptimize(block.outLeft.data());
  }
  PerFrame(state, kBlock);
}
BENCHMARK(BM_LevelPlacer_Ramping);

} // namespace
