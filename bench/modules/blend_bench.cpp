// Cost of the blends per stereo frame through their whole cycle, 48 kHz, 512-frame blocks:
// the two-way blend standing still and with every value gliding each block, and the many-way
// blend over the product's 17 buses standing still and gliding across several buses a block.
#include <benchmark/benchmark.h>

#include <cmath>
#include <random>
#include <vector>

#include "modules/blend/manywayblend.h"
#include "modules/blend/twowayblend.h"

namespace {

constexpr int32_t kBlock = 512;
constexpr double kRate = 48000.0;

void PerFrame(benchmark::State& state, int64_t framesPerIteration) {
  state.SetItemsProcessed(int64_t(state.iterations()) * framesPerIteration);
  state.counters["per_frame"] = benchmark::Counter(double(framesPerIteration),
                                                   benchmark::Counter::kIsIterationInvariantRate |
                                                       benchmark::Counter::kInvert);
}

// Stereo buses of noise with the pointer array a host hands in, bus by bus.
struct Buses {
  explicit Buses(int32_t count) : channels(size_t(count * 2), std::vector<float>(kBlock)), inputs(size_t(count * 2)) {
    std::mt19937 random(7);
    std::uniform_real_distribution<float> uniform(-0.8f, 0.8f);
    for (size_t c = 0; c < channels.size(); ++c) {
      for (float& v : channels[c]) v = uniform(random);
      inputs[c] = channels[c].data();
    }
  }
  std::vector<std::vector<float>> channels;
  std::vector<float*> inputs;
  std::vector<float> left = std::vector<float>(kBlock), right = std::vector<float>(kBlock);
  float* outputs[2] = {left.data(), right.data()};
};

void BM_TwoWayBlend_Static(benchmark::State& state) {
  RTwoWayBlend blend;
  blend.InitParameters();
  blend.SetHostFormat(kRate, kBlock, 2, 2);
  blend.GetGain()->SetValueNow(1.5);
  blend.GetGain()->ResetRamp();
  Buses buses(2);
  for (auto _ : state) {
    blend.ProcessCycle(buses.inputs.data(), buses.outputs, kBlock, nullptr);
    benchmark::DoNotOptimize(buses.left.data());
  }
  PerFrame(state, kBlock);
}
BENCHMARK(BM_TwoWayBlend_Static);

void BM_TwoWayBlend_Ramping(benchmark::State& state) {
  RTwoWayBlend blend;
  blend.InitParameters();
  blend.SetHostFormat(kRate, kBlock, 2, 2);
  Buses buses(2);
  int32_t round = 0;
  for (auto _ : state) {
    const double phase = 0.5 + 0.45 * std::sin(0.3 * ++round);
    blend.GetRatio().SetValueNow(phase);
    blend.GetGain()->SetValueNow(0.5 + phase);
    blend.GetVolume()->SetValueNow(phase);
    blend.GetPanorama()->SetValueNow(phase - 0.5);
    blend.ProcessCycle(buses.inputs.data(), buses.outputs, kBlock, nullptr);
    benchmark::DoNotOptimize(buses.left.data());
  }
  PerFrame(state, kBlock);
}
BENCHMARK(BM_TwoWayBlend_Ramping);

void RunManyWay(benchmark::State& state, bool ramping) {
  constexpr int32_t kBuses = 17;
  RManyWayBlend blend;
  blend.InitParameters();
  blend.SetHostFormat(kRate, kBlock, 2, kBuses);
  blend.GetRatio().SetValueNow(0.4);
  blend.GetRatio().ResetRamp();
  Buses buses(kBuses);
  int32_t round = 0;
  for (auto _ : state) {
    // A sweep of a tenth of the travel per block crosses one or two of the 16 steps.
    if (ramping) blend.GetRatio().SetValueNow(0.5 + 0.45 * std::sin(0.7 * ++round));
    blend.ProcessCycle(buses.inputs.data(), buses.outputs, kBlock, nullptr);
    benchmark::DoNotOptimize(buses.left.data());
  }
  PerFrame(state, kBlock);
}

void BM_ManyWayBlend_17Buses_Static(benchmark::State& state) { RunManyWay(state, false); }
BENCHMARK(BM_ManyWayBlend_17Buses_Static);

void BM_ManyWayBlend_17Buses_Ramping(benchmark::State& state) { RunManyWay(state, true); }
BENCHMARK(BM_ManyWayBlend_17Buses_Ramping);

} // namespace
