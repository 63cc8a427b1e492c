// Cost of the oversampler's filters per host stereo frame: a stereo pair up-sampled and
// down-sampled (two channels each way) at 48 kHz in host blocks of 512, per factor and
// quality. Items are host frames, so items/s is stereo frames per second and "s/frame" its
// inverse; the plug-in's own work at the oversampled rate comes on top.
#include <benchmark/benchmark.h>

#include <random>
#include <vector>

#include "kernel/oversampler.h"

namespace {

constexpr int32_t kBlock = 512;

void BM_OversamplerStereoRoundTrip(benchmark::State& state) {
  const int32_t factor = int32_t(state.range(0));
  const bool hq = state.range(1) != 0;
  ROversampler oversampler;
  oversampler.Setup(48000.0, factor, hq, 2, 2, kBlock);
  std::mt19937 random(48000);
  std::uniform_real_distribution<float> uniform(-0.5f, 0.5f);
  std::vector<float> left(kBlock), right(kBlock), outLeft(kBlock), outRight(kBlock);
  for (int32_t i = 0; i < kBlock; ++i) {
    left[size_t(i)] = uniform(random);
    right[size_t(i)] = uniform(random);
  }
  // What the plug-in would have written: the down buffers hold noise throughout.
  for (int32_t channel = 0; channel < 2; ++channel) {
    float* down = oversampler.GetDownBuffer(channel);
    for (int32_t i = 0; i < kBlock * factor; ++i) down[i] = uniform(random);
  }
  for (auto _ : state) {
    oversampler.Upsample(0, left.data(), kBlock);
    oversampler.Upsample(1, right.data(), kBlock);
    oversampler.Downsample(0, outLeft.data(), kBlock);
    oversampler.Downsample(1, outRight.data(), kBlock);
    benchmark::DoNotOptimize(outLeft.data());
    benchmark::DoNotOptimize(outRight.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(int64_t(state.iterations()) * kBlock);
  state.counters["s/frame"] =
      benchmark::Counter(kBlock, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
  state.SetLabel(hq ? "HQ" : "standard");
}
BENCHMARK(BM_OversamplerStereoRoundTrip)
    ->ArgNames({"factor", "hq"})
    ->ArgsProduct({{2, 3, 4, 8, 16}, {0, 1}});

} // namespace
