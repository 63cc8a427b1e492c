// Cost of the clipper per stereo frame through its whole cycle, 48 kHz, 512-frame blocks: the
// product's kind of setting (a soft knee a few dB under full scale, some drive) standing
// still, the hard clip, and every value gliding each block.
#include <benchmark/benchmark.h>

#include <cmath>
#include <random>
#include <vector>

#include "modules/transferbender/transferbender.h"

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
    std::mt19937 random(9);
    std::uniform_real_distribution<float> uniform(-0.9f, 0.9f);
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

void RunStill(benchmark::State& state, double shape) {
  RTransferBender bender;
  bender.InitParameters();
  bender.SetHostFormat(kRate, kBlock, 2);
  Settle(bender.GetShape(), shape);
  Settle(bender.GetClip(), FromDecibels(-3.0));
  Settle(bender.GetDrive(), FromDecibels(6.0));
  Settle(bender.GetOutputGain(), FromDecibels(-1.0));
  StereoNoise block;
  for (auto _ : state) {
    bender.ProcessCycle(block.inputs, block.outputs, kBlock, nullptr);
    benchmark::DoNotOptimize(block.outLeft.data());
  }
  PerFrame(state, kBlock);
}

void BM_TransferBender_Typical(benchmark::State& state) { RunStill(state, 0.5); }
BENCHMARK(BM_TransferBender_Typical);

void BM_TransferBender_HardClip(benchmark::State& state) { RunStill(state, 0.0); }
BENCHMARK(BM_TransferBender_HardClip);

void BM_TransferBender_Ramping(benchmark::State& state) {
  RTransferBender bender;
  bender.InitParameters();
  bender.SetHostFormat(kRate, kBlock, 2);
  Settle(bender.GetLevelMatch(), 1.0);
  StereoNoise block;
  int32_t round = 0;
  for (auto _ : state) {
    const double phase = 0.5 + 0.45 * std::sin(0.3 * ++round);
    bender.GetShape().SetValueNow(phase);
    bender.GetClip().SetValueNow(FromDecibels(-12.0 * phase));
    bender.GetDrive().SetValueNow(FromDecibels(20.0 * phase));
    bender.GetOutputGain().SetValueNow(0.5 + phase);
    bender.GetDryWet().SetValueNow(phase);
    bender.ProcessCycle(block.inputs, block.outputs, kBlock, nullptr);
    benchmark::DoNotOptimize(block.outLeft.data());
  }
  PerFrame(state, kBlock);
}
BENCHMARK(BM_TransferBender_Ramping);

} // namespace
