// Cost of the frequency shifter per stereo frame through its whole cycle, 48 kHz, 512-frame
// blocks: typical settings (shift 100 Hz, prefilter on, no feedback), and every stage engaged
// (feedback through a 1 ms loop, so that the block runs in 48-sample pieces, shift and
// dry/wet gliding each block). The oscillator alone shows what the mix costs.
#include <benchmark/benchmark.h>

#include <random>
#include <vector>

#include "modules/hertzslider/hertzslider.h"

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

RRangedValue& ValueOf(RHertzSlider& module, const char* label) {
  return *static_cast<RRangedValue*>(module.GetParameterValue(module.GetParameterIndex(RString::FromUTF8(label))));
}

void Set(RHertzSlider& module, const char* label, double real) {
  ValueOf(module, label).SetValueNow(real);
  ValueOf(module, label).ResetRamp();
}

void Run(benchmark::State& state, bool everything, double delaySeconds = 0.001) {
  RHertzSlider module;
  module.InitParameters();
  module.SetHostFormat(kRate, kBlock, 2);
  Set(module, "Shift", RShiftRange::FromHertz(100.0));
  if (everything) {
    Set(module, "Feedback", 0.7);
    Set(module, "Delay", delaySeconds);
    Set(module, "Width", -1.0);
    Set(module, "Dry/Wet", 0.8);
  }
  std::vector<float> left = Noise(1), right = Noise(2), outLeft(kBlock), outRight(kBlock);
  float* inputs[2] = {left.data(), right.data()};
  float* outputs[2] = {outLeft.data(), outRight.data()};
  const int32_t shift = module.GetParameterIndex(RString("Shift"));
  const int32_t mix = module.GetParameterIndex(RString("Dry/Wet"));
  int32_t round = 0;
  for (auto _ : state) {
    if (everything) {
      ++round;
      module.SetParameterEdited(kBlock - 1, shift, round % 2 ? 0.56 : 0.54);
      module.SetParameterEdited(kBlock - 1, mix, round % 2 ? 0.7 : 0.9);
    }
    module.ProcessCycle(inputs, outputs, kBlock, nullptr);
    benchmark::DoNotOptimize(outLeft.data());
  }
  PerFrame(state, kBlock);
}

void BM_HertzSlider_Typical(benchmark::State& state) { Run(state, false); }
BENCHMARK(BM_HertzSlider_Typical);

void BM_HertzSlider_FeedbackEveryStage(benchmark::State& state) { Run(state, true); }
BENCHMARK(BM_HertzSlider_FeedbackEveryStage);

// The product's own delay: 0, a loop of one sample, run sample by sample.
void BM_HertzSlider_FeedbackOneSample(benchmark::State& state) { Run(state, true, 0.0); }
BENCHMARK(BM_HertzSlider_FeedbackOneSample);

void BM_HertzSlider_Oscillator(benchmark::State& state) {
  RQuadratureOscillator oscillator;
  std::vector<float> c(kBlock), s(kBlock);
  for (auto _ : state) {
    oscillator.Run(c.data(), s.data(), kBlock, 100.0, 100.0, kRate);
    benchmark::DoNotOptimize(c.data());
  }
  PerFrame(state, kBlock);
}
BENCHMARK(BM_HertzSlider_Oscillator);

} // namespace
