// Cost of the frequency shifter per stereo frame through its whole cycle, 48 kHz, 512-frame
// blocks: typical settings (shift 100 Hz, prefilter on, no feedback); the product's setting
// (Ugly, prefilter on, no feedback, a shift of +750 Hz, held or gliding over every block);
// every stage engaged (feedback through a 1 ms loop, so that the block runs in 48-sample
// pieces, shift and dry/wet gliding each block). The prefilter, the phase network and the
// oscillators alone show what each costs of the whole.
#include "bench/modules/modulebench.h"
#include "modules/hertzslider/hertzslider.h"
#include "modules/hertzslider/hilbertnetwork.h"

namespace {

using namespace modulebench;

constexpr int32_t kUgly = 3;

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

// As the product runs it: Ugly, prefilter on, delay 0 and no feedback, width 1.
void RunProduct(benchmark::State& state, bool gliding) {
  RHertzSlider module;
  Prepare(module);
  Set(module, "Character", kUgly);
  Set(module, "Delay", 0.0);
  Set(module, "Shift", RShiftRange::FromHertz(750.0));
  RBlock block(2, 0.8f, 1);
  const int32_t shift = module.GetParameterIndex(RString("Shift"));
  const double up = RShiftRange::FromHertz(800.0), down = RShiftRange::FromHertz(700.0);
  RunBlocks(state, module, block, [&](int64_t index) {
    // Between 700 and 800 Hz and back, so that the oscillator glides through every block.
    if (gliding) module.SetParameterEdited(kBlock - 1, shift, index % 2 == 0 ? up : down);
  });
}

void BM_HertzSlider_Typical(benchmark::State& state) { Run(state, false); }
BENCHMARK(BM_HertzSlider_Typical);

void BM_HertzSlider_Product(benchmark::State& state) { RunProduct(state, false); }
BENCHMARK(BM_HertzSlider_Product);

void BM_HertzSlider_ProductGliding(benchmark::State& state) { RunProduct(state, true); }
BENCHMARK(BM_HertzSlider_ProductGliding);

void BM_HertzSlider_FeedbackEveryStage(benchmark::State& state) { Run(state, true); }
BENCHMARK(BM_HertzSlider_FeedbackEveryStage);

// The feedback loop at its shortest: one sample, run sample by sample.
void BM_HertzSlider_FeedbackOneSample(benchmark::State& state) { Run(state, true, 0.0); }
BENCHMARK(BM_HertzSlider_FeedbackOneSample);

// The parts on their own, a stereo pair each as the module runs them.
void BM_HertzSlider_Prefilter(benchmark::State& state) {
  RShifterPrefilter prefilter;
  prefilter.Design(kRate);
  RShifterPrefilter::State left, right;
  RBlock block(2, 0.8f, 1);
  for (auto _ : state) {
    prefilter.RunPair(left, right, block.in[0].data(), block.in[1].data(), block.out[0].data(), block.out[1].data(),
                      kBlock);
    benchmark::DoNotOptimize(block.out[0].data());
  }
  CountPerFrame(state);
}
BENCHMARK(BM_HertzSlider_Prefilter);

void BM_HertzSlider_Network(benchmark::State& state) {
  RHilbertNetwork network;
  network.Design(kUgly);
  RHilbertNetwork::State left, right;
  RBlock block(2, 0.8f, 1);
  RChannels quadrature(2);
  for (auto _ : state) {
    network.RunPair(left, right, block.in[0].data(), block.in[1].data(), block.out[0].data(), quadrature[0].data(),
                    block.out[1].data(), quadrature[1].data(), kBlock);
    benchmark::DoNotOptimize(block.out[0].data());
  }
  CountPerFrame(state);
}
BENCHMARK(BM_HertzSlider_Network);

void BM_HertzSlider_Oscillators(benchmark::State& state) {
  RQuadratureOscillator left, right;
  RChannels quadrature(4);
  for (auto _ : state) {
    RQuadratureOscillator::RunPair(left, right, quadrature[0].data(), quadrature[1].data(), quadrature[2].data(),
                                   quadrature[3].data(), kBlock, 750.0, 750.0, 750.0, 750.0, kRate);
    benchmark::DoNotOptimize(quadrature[0].data());
  }
  CountPerFrame(state);
}
BENCHMARK(BM_HertzSlider_Oscillators);

} // namespace
