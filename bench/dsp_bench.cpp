// Per-sample cost of the DSP primitives over 512-sample blocks: filter runs (one stage, a
// cascade of four, a stereo pair), the delay line fixed and gliding, the moving sum and the
// automatic gain on a stereo pair.
#include <benchmark/benchmark.h>

#include <random>
#include <vector>

#include "modules/dsp/autogain.h"
#include "modules/dsp/biquad.h"
#include "modules/dsp/delayline.h"
#include "modules/dsp/movingsum.h"

namespace {

constexpr int32_t kBlock = 512;

std::vector<float> Noise(uint32_t seed) {
  std::mt19937 random(seed);
  std::uniform_real_distribution<float> uniform(-1.0f, 1.0f);
  std::vector<float> x(static_cast<size_t>(kBlock));
  for (float& v : x) v = uniform(random);
  return x;
}

void PerSample(benchmark::State& state, int64_t samplesPerIteration) {
  state.SetItemsProcessed(int64_t(state.iterations()) * samplesPerIteration);
}

void BM_BiquadCascade(benchmark::State& state) {
  const auto stageCount = int32_t(state.range(0));
  std::vector<RBiquad> stages(static_cast<size_t>(stageCount));
  for (int32_t s = 0; s < stageCount; ++s) stages[size_t(s)].Design(RBiquad::kPeak, 4.0, 300.0 * (s + 1), 48000.0, 1.0);
  std::vector<RBiquadState> states(static_cast<size_t>(stageCount));
  std::vector<float> x = Noise(1), y(static_cast<size_t>(kBlock));
  for (auto _ : state) {
    RBiquad::RunCascade(stages.data(), states.data(), stageCount, x.data(), y.data(), kBlock);
    benchmark::DoNotOptimize(y.data());
  }
  PerSample(state, kBlock);
}
BENCHMARK(BM_BiquadCascade)->Arg(1)->Arg(4);

void BM_BiquadPair(benchmark::State& state) {
  RBiquad stage;
  stage.Design(RBiquad::kLowPass, 0.0, 2000.0, 48000.0, 0.7);
  RBiquadState left, right;
  std::vector<float> a = Noise(2), b = Noise(3), outA(static_cast<size_t>(kBlock)), outB(static_cast<size_t>(kBlock));
  for (auto _ : state) {
    stage.RunPair(left, right, a.data(), b.data(), outA.data(), outB.data(), kBlock);
    benchmark::DoNotOptimize(outA.data());
  }
  PerSample(state, 2 * kBlock);  // per channel sample
}
BENCHMARK(BM_BiquadPair);

void BM_DelayFixed(benchmark::State& state) {
  RDelayLine line;
  line.SetDelay(int32_t(state.range(0)));
  std::vector<float> x = Noise(4), y(static_cast<size_t>(kBlock));
  for (auto _ : state) {
    line.Process(x.data(), y.data(), kBlock);
    benchmark::DoNotOptimize(y.data());
  }
  PerSample(state, kBlock);
}
BENCHMARK(BM_DelayFixed)->Arg(7)->Arg(4800);

void BM_DelayGliding(benchmark::State& state) {
  RDelayLine line;
  line.Reserve(48000);
  line.SetDelay(4800);
  std::vector<float> x = Noise(5), y(static_cast<size_t>(kBlock));
  int32_t round = 0;
  for (auto _ : state) {
    // A new length every block keeps the line gliding all the time.
    line.SetDelay(4800 + (++round % 2) * 1000);
    line.Process(x.data(), y.data(), kBlock);
    benchmark::DoNotOptimize(y.data());
  }
  PerSample(state, kBlock);
}
BENCHMARK(BM_DelayGliding);

void BM_MovingSum(benchmark::State& state) {
  RMovingSum sum;
  sum.SetWindow(0.4, 48000.0);
  std::vector<float> x = Noise(6);
  for (auto _ : state) {
    sum.Process(x.data(), kBlock);
    benchmark::DoNotOptimize(sum.GetTotal());
  }
  PerSample(state, kBlock);
}
BENCHMARK(BM_MovingSum);

void BM_AutoGainStereo(benchmark::State& state) {
  RAutoGain gain;
  gain.Setup(2, 48000.0);
  std::vector<float> a = Noise(7), b = Noise(8), outA = Noise(9), outB = Noise(10);
  const float* inputs[2] = {a.data(), b.data()};
  float* outputs[2] = {outA.data(), outB.data()};
  for (auto _ : state) {
    gain.MeasureInput(inputs, kBlock);
    gain.Apply(outputs, kBlock);
    benchmark::DoNotOptimize(outA.data());
  }
  PerSample(state, kBlock);  // per frame of the pair
}
BENCHMARK(BM_AutoGainStereo);

} // namespace
