// Cost of the decimator per stereo frame through its whole cycle, 48 kHz, 512-frame blocks:
// typical settings (8 bits, a quarter of the rate), the product's own settings (word stage
// off, rate at 48 kHz), and every stage engaged with every continuous value ramping each
// block. The core's two stages alone show what the cycle and the gains add.
#include "bench/modules/modulebench.h"
#include "modules/decimator/decimator.h"

namespace {

using namespace modulebench;

RRangedValue& ValueOf(RDecimator& module, const char* key) {
  for (RValue* value : module.GetOwnValues()) {
    if (value->GetKey().ToUTF8() == key) return static_cast<RRangedValue&>(*value);
  }
  return static_cast<RRangedValue&>(*module.GetOwnValues().front());
}

void Set(RDecimator& module, const char* key, double real) { Settle(ValueOf(module, key), real); }

void RunModule(benchmark::State& state, RDecimator& module, bool ramping) {
  RBlock block(2, 0.8f, 1);
  RunBlocks(state, module, block, [&](int64_t index) {
    if (!ramping) return;
    state.PauseTiming();
    const double phase = Phase(index);
    for (RValue* value : module.GetOwnValues()) {
      if (!value->HasFlag(RValue::kNoRamp)) {
        module.SetParameterEdited(RAudioPluginBase::kEndOfBlock, module.GetParameterIndexOf(value), phase);
      }
    }
    state.ResumeTiming();
  });
}

void BM_Decimator_Typical(benchmark::State& state) {
  RDecimator module;
  Prepare(module);
  Set(module, "Bits", 8.0);
  Set(module, "SampleRate", kRate / 4.0);
  RunModule(state, module, false);
}
BENCHMARK(BM_Decimator_Typical);

void BM_Decimator_ProductSettings(benchmark::State& state) {
  RDecimator module;
  Prepare(module);
  Set(module, "BitReduction", 0.0);
  RunModule(state, module, false);
}
BENCHMARK(BM_Decimator_ProductSettings);

void BM_Decimator_EveryStageRamping(benchmark::State& state) {
  RDecimator module;
  Prepare(module);
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
  RBlock block(2, 0.8f, 1);
  RDecimatorChannelState states[2];
  for (auto _ : state) {
    // The stages work in place: start each round from the same input.
    block.out[0] = block.in[0];
    block.out[1] = block.in[1];
    RunDecimatorCore(block.out.Pointers(), 2, kBlock, kRate, settings, states);
    benchmark::DoNotOptimize(block.out[0].data());
  }
  CountPerFrame(state);
}
BENCHMARK(BM_Decimator_CoreStages)->Args({1, 0})->Args({0, 1})->Args({1, 1});

} // namespace
