// Cost of the decimator per stereo frame through its whole cycle, 48 kHz, 512-frame blocks:
// typical settings (8 bits, a quarter of the rate), the product's own settings (word stage
// off, rate at 48 kHz), and every stage engaged with every continuous value ramping each
// block. The core's two stages alone show what the cycle and the gains add.
#include <benchmark/benchmark.h>

#include <cmath>
#include <random>
#include <vector>

#include "modules/decimator/decimator.h"

namespace {

constexpr int32_t kBlock = 512;
constexpr double kRate = 48000.0;

std::vector<float> Noise(uint32_t seed) {
  std::mt19937 random(seed);
  std::uniform_real_distribution<float> uniform(-0.8f, 0.8f);
  std::vector<float> x(static_cast<size_t>(kBlock));
  for (float& v : x) v = uniform(random);
  return x;
}

void PerFrame(benchmark::State& state, int64_t framesPerIteration) {
  state.SetItemsProcessed(int64_t(state.iterations()) * framesPerIteration);
  state.counters["per_frame"] = benchmark::Counter(double(framesPerIteration),
                                                   benchmark::Counter::kIsIterationInvariantRate |
                                                       benchmark::Counter::kInvert);
}

RRangedValue& ValueOf(RDecimator& module, const char* key) {
  for (RValue* value : module.GetOwnValues()) {
    if (value->GetKey().ToUTF8() == key) return static_cast<RRangedValue&>(*value);
  }
  return static_cast<RRangedValue&>(*module.GetOwnValues().front());
}

void Set(RDecimator& module, const char* key, double real) {
  ValueOf(module, key).SetValueNow(real);
  ValueOf(module, key).ResetRamp();
}

struct Stereo {
  std::vector<float> left = Noise(1), right = Noise(2);
  std::vector<float> outLeft = std::vector<float>(kBlock), outRight = std::vector<float>(kBlock);
  float* inputs[2] = {left.data(), right.data()};
  float* outputs[2] = {outLeft.data(), outRight.data()};
};

void RunModule(benchmark::State& state, RDecimator& module, bool ramping) {
  Stereo block;
  int32_t round = 0;
  for (auto _ : state) {
    if (ramping) {
      state.PauseTiming();
      const double phase = 0.5 + 0.45 * std::sin(0.3 * ++round);
      for (RValue* value : module.GetOwnValues()) {
        if (!value->HasFlag(RValue::kNoRamp)) {
          module.SetParameterEdited(RAudioPluginBase::kEndOfBlock, module.GetParameterIndexOf(value), phase);
        }
      }
      state.ResumeTiming();
    }
    module.ProcessCycle(block.inputs, block.outputs, kBlock, nullptr);
    benchmark::DoNotOptimize(block.outLeft.data());
  }
  PerFrame(state, kBlock);
}

void BM_Decimator_Typical(benchmark::State& state) {
  RDecimator module;
  module.InitParameters();
  module.SetHostFormat(kRate, kBlock, 2);
  Set(module, "Bits", 8.0);
  Set(module, "SampleRate", kRate / 4.0);
  RunModule(state, module, false);
}
BENCHMARK(BM_Decimator_Typical);

void BM_Decimator_ProductSettings(benchmark::State& state) {
  RDecimator module;
  module.InitParameters();
  module.SetHostFormat(kRate, kBlock, 2);
  Set(module, "BitReduction", 0.0);
  RunModule(state, module, false);
}
BENCHMARK(BM_Decimator_ProductSettings);

void BM_Decimator_EveryStageRamping(benchmark::State& state) {
  RDecimator module;
  module.InitParameters();
  module.SetHostFormat(kRate, kBlock, 2);
  Set(module, "DryWet", 0.7);
  Set(module, "BitsWidth", 1.0);
  Set(module, "SampleRateWidth", 0.5);
  RunModule(state, module, true);
}
BENCHMARK(BM_Decimator_EveryStageRamping);

void BM_Decimator_CoreStages(benchmark::State& state) {
  const bool word = state.range(0) != 0, rate = state.range(1) != 0;
  RDecimatorSettings settings;
  settings.wordStage = word;
  settings.rateStage = rate;
  settings.bits = {8.0};
  settings.sampleRate = {kRate / 4.0};
  Stereo block;
  RDecimatorChannelState states[2];
  for (auto _ : state) {
    // The stages work in place: start each round from the same input.
    block.outLeft = block.left;
    block.outRight = block.right;
    RunDecimatorCore(block.outputs, 2, kBlock, kRate, settings, states);
    benchmark::DoNotOptimize(block.outLeft.data());
  }
  PerFrame(state, kBlock);
}
BENCHMARK(BM_Decimator_CoreStages)->Args({1, 0})->Args({0, 1})->Args({1, 1});

} // namespace
