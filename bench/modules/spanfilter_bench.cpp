// Cost of the span filter per stereo frame at 48 kHz in host blocks of 512, through its whole
// cycle: a gentle band (12 dB/octave on both sides, two stages) and a steep one (48 dB/octave,
// eight stages). Items are frames, so items/s is frames per second and "per_frame" its inverse.
#include <benchmark/benchmark.h>

#include <random>
#include <vector>

#include "modules/spanfilter/spanfilter.h"

namespace {

constexpr int32_t kBlock = 512;

void SetText(RSpanFilter& filter, const char* name, const char* text) {
  const int32_t index = filter.GetParameterIndex(RString::FromUTF8(name));
  RValue* value = filter.GetParameterValue(index);
  double normalised = 0.0;
  if (value && value->ParseToNormalised(RString::FromUTF8(text), normalised)) {
    value->SetNormalised(normalised);
    filter.SetParameterEdited(0, index, normalised);
  }
}

void RunBand(benchmark::State& state, const char* hpSlope, const char* lpSlope) {
  RSpanFilter filter;
  filter.InitParameters();
  filter.SetHostFormat(48000.0, kBlock, 2);
  SetText(filter, "High-pass", "80 Hz");
  SetText(filter, "Low-pass", "12 kHz");
  SetText(filter, "High-pass slope", hpSlope);
  SetText(filter, "Low-pass slope", lpSlope);

  std::mt19937 random(7);
  std::uniform_real_distribution<float> uniform(-0.5f, 0.5f);
  std::vector<float> left(kBlock), right(kBlock), outLeft(kBlock), outRight(kBlock);
  for (int32_t i = 0; i < kBlock; ++i) {
    left[size_t(i)] = uniform(random);
    right[size_t(i)] = uniform(random);
  }
  float* inputs[2] = {left.data(), right.data()};
  float* outputs[2] = {outLeft.data(), outRight.data()};
  for (auto _ : state) {
    filter.ProcessCycle(inputs, outputs, kBlock, nullptr);
    benchmark::DoNotOptimize(outLeft.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(int64_t(state.iterations()) * kBlock);
  state.counters["per_frame"] =
      benchmark::Counter(kBlock, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void BM_SpanFilter_HP12_LP12(benchmark::State& state) { RunBand(state, "HP 12", "LP 12"); }
BENCHMARK(BM_SpanFilter_HP12_LP12);

void BM_SpanFilter_HP48_LP48(benchmark::State& state) { RunBand(state, "HP 48", "LP 48"); }
BENCHMARK(BM_SpanFilter_HP48_LP48);

} // namespace
