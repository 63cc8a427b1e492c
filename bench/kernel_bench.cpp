// Per-sample cost of turning a block of normalised values into real values: one virtual call
// per sample (what a caller without block forms would do), the block form on the build chosen
// for this processor, and the block form forced to Highway's portable scalar build.
// The "s/sample" counter is the figure to compare.
#include <benchmark/benchmark.h>

#include <memory>
#include <random>
#include <vector>

#include "hwy/targets.h"
#include "kernel/frequencyrange.h"
#include "kernel/timerange.h"
#include "kernel/valuerange.h"

namespace {

constexpr int32_t kBlock = 512;

std::vector<float> Normalised() {
  std::mt19937 random(512);
  std::uniform_real_distribution<float> uniform(0.0f, 1.0f);
  std::vector<float> in(kBlock);
  for (float& v : in) v = uniform(random);
  return in;
}

std::unique_ptr<RValueRange> MakeRange(int kind) {
  switch (kind) {
    case 0: return std::make_unique<RValueRange>(-48.0, 12.0, 0.0);
    case 1: return std::make_unique<RTimeRange>(0.001, 5.0, 0.2);
    default: return std::make_unique<RFrequencyRange>(20.0, 20000.0, 1000.0);
  }
}

void SetCounters(benchmark::State& state) {
  state.counters["s/sample"] =
      benchmark::Counter(kBlock, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void PerSampleCall(benchmark::State& state) {
  const std::unique_ptr<RValueRange> range = MakeRange(int(state.range(0)));
  const RValueRange* r = range.get();
  const std::vector<float> in = Normalised();
  std::vector<float> out(kBlock);
  for (auto _ : state) {
    for (int32_t i = 0; i < kBlock; ++i) out[size_t(i)] = float(r->NormalisedToReal(double(in[size_t(i)])));
    benchmark::DoNotOptimize(out.data());
    benchmark::ClobberMemory();
  }
  SetCounters(state);
}

void Block(benchmark::State& state, int64_t forcedTarget) {
  const std::unique_ptr<RValueRange> range = MakeRange(int(state.range(0)));
  const std::vector<float> in = Normalised();
  std::vector<float> out(kBlock);
  if (forcedTarget != 0) hwy::SetSupportedTargetsForTest(forcedTarget);
  for (auto _ : state) {
    range->NormalisedToReal(in.data(), out.data(), kBlock);
    benchmark::DoNotOptimize(out.data());
    benchmark::ClobberMemory();
  }
  hwy::SetSupportedTargetsForTest(0);
  SetCounters(state);
}

void BlockDispatched(benchmark::State& state) { Block(state, 0); }
void BlockScalarBuild(benchmark::State& state) { Block(state, HWY_SCALAR); }

// Argument: 0 linear, 1 time, 2 frequency.
BENCHMARK(PerSampleCall)->DenseRange(0, 2)->ArgName("kind");
BENCHMARK(BlockDispatched)->DenseRange(0, 2)->ArgName("kind");
BENCHMARK(BlockScalarBuild)->DenseRange(0, 2)->ArgName("kind");

} // namespace
