// Cost of the frequency shifter per stereo frame through its whole cycle, 48 kHz, 512-frame
// blocks: typical settings (shift 100 Hz, prefilter on, no feedback), and every stage engaged
// (feedback through a 1 ms loop, so that the block runs in 48-sample pieces, shift and
// dry/wet gliding each block). The oscillator alone shows what the mix costs.
#include "bench/modules/modulebench.h"
#include "modules/hertzslider/hertzslider.h"

namespace {

using namespace modulebench;

void Set(RHertzSlider& module, const char* label, double real) {
  const int32_t index = module.GetParameterIndex(RString::FromUTF8(label));
  Settle(*static_cast<RRangedValue*>(module.GetParameterValue(index)), real);
}

void Run(benchmark::State& state, bool everything, double delaySeconds = 0.001) {
  RHertzSlider module;
  Prepare(module);
  Set(module, "Shift", RShiftRange::FromHertz(100.0));
  if (everything) {
    Set(module, "Feedback", 0.7);
    Set(module, "Delay", delaySeconds);
    Set(module, "Width", -1.0);
    Set(module, "Dry/Wet", 0.8);
  }
  RBlock block(2, 0.8f, 1);
  const int32_t shift = module.GetParameterIndex(RString("Shift"));
  const int32_t mix = module.GetParameterIndex(RString("Dry/Wet"));
  RunBlocks(state, module, block, [&](int64_t index) {
    if (!everything) return;
    // Alternates every block, so both values glide through each one.
    const bool even = index % 2 == 0;
    module.SetParameterEdited(kBlock - 1, shift, even ? 0.56 : 0.54);
    module.SetParameterEdited(kBlock - 1, mix, even ? 0.7 : 0.9);
  });
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
  RChannels quadrature(2);
  for (auto _ : state) {
    oscillator.Run(quadrature[0].data(), quadrature[1].data(), kBlock, 100.0, 100.0, kRate);
    benchmark::DoNotOptimize(quadrature[0].data());
  }
  CountPerFrame(state);
}
BENCHMARK(BM_HertzSlider_Oscillator);

} // namespace
