// Cost of the compressor per stereo frame through its whole cycle, 48 kHz, 512-frame blocks:
// typical settings standing still (linked, compressing a noise a few dB over the threshold),
// and with the side chain, both detector filters, a blended link and every value moving.
#include <benchmark/benchmark.h>

#include <cmath>
#include <random>
#include <vector>

#include "modules/squeezestage/squeezestage.h"

namespace {

constexpr int32_t kBlock = 512;
constexpr double kRate = 48000.0;

void PerFrame(benchmark::State& state, int64_t framesPerIteration) {
  state.SetItemsProcessed(int64_t(state.iterations()) * framesPerIteration);
  state.counters["per_frame"] = benchmark::Counter(double(framesPerIteration),
                                                   benchmark::Counter::kIsIterationInvariantRate |
                                                       benchmark::Counter::kInvert);
}

// Main and side-chain buses of noise at about -10 dBFS RMS.
struct Buses {
  Buses() {
    std::mt19937 random(7);
    std::uniform_real_distribution<float> uniform(-0.5f, 0.5f);
    for (auto* channel : {&left, &right, &sideLeft, &sideRight}) {
      for (float& v : *channel) v = uniform(random);
    }
  }
  std::vector<float> left = std::vector<float>(kBlock), right = std::vector<float>(kBlock);
  std::vector<float> sideLeft = std::vector<float>(kBlock), sideRight = std::vector<float>(kBlock);
  std::vector<float> outLeft = std::vector<float>(kBlock), outRight = std::vector<float>(kBlock);
  float* inputs[4] = {left.data(), right.data(), sideLeft.data(), sideRight.data()};
  float* outputs[2] = {outLeft.data(), outRight.data()};
};

void Settle(RRangedValue& value, double real) {
  value.SetValueNow(real);
  value.ResetRamp();
}

void BM_SqueezeStage_Typical(benchmark::State& state) {
  RSqueezeStage stage;
  stage.InitParameters();
  stage.SetHostFormat(kRate, kBlock, 2, 2);
  Settle(stage.GetThreshold(), -24.0);
  Buses buses;
  for (auto _ : state) {
    stage.ProcessCycle(buses.inputs, buses.outputs, kBlock, nullptr);
    benchmark::DoNotOptimize(buses.outLeft.data());
  }
  PerFrame(state, kBlock);
}
BENCHMARK(BM_SqueezeStage_Typical);

void BM_SqueezeStage_Everything(benchmark::State& state) {
  RSqueezeStage stage;
  stage.InitParameters();
  stage.SetHostFormat(kRate, kBlock, 2, 2);
  Settle(stage.GetSideChain(), 1.0);
  Buses buses;
  int32_t round = 0;
  for (auto _ : state) {
    const double phase = 0.5 + 0.45 * std::sin(0.3 * ++round);
    stage.GetThreshold().SetValueNow(-40.0 * phase);
    stage.GetRatio().SetValueNow(1.5 + 10.0 * phase);
    stage.GetKnee().SetValueNow(12.0 * phase);
    stage.GetAttack().SetValueNow(0.001 + 0.02 * phase);
    stage.GetRelease().SetValueNow(0.05 + 0.2 * phase);
    stage.GetMakeup().SetValueNow(1.0 + phase);
    stage.GetMix().SetValueNow(phase);
    stage.GetDetectorHighPass().SetValueNow(60.0 + 200.0 * phase);
    stage.GetDetectorLowPass().SetValueNow(4000.0 + 8000.0 * phase);
    stage.GetStereoLink().SetValueNow(0.2 + 0.6 * phase);
    stage.GetOutput().SetValueNow(0.5 + phase);
    stage.ProcessCycle(buses.inputs, buses.outputs, kBlock, nullptr);
    benchmark::DoNotOptimize(buses.outLeft.data());
  }
  PerFrame(state, kBlock);
}
BENCHMARK(BM_SqueezeStage_Everything);

} // namespace
