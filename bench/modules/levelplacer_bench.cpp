// Cost of the level placer per stereo frame through its whole cycle, 48 kHz, 512-frame
// blocks: typical settings (a gain, a pan with a law, some widening) standing still, and
// every stage gliding each block.
#include "bench/modules/modulebench.h"
#include "modules/levelplacer/levelplacer.h"

namespace {

using namespace modulebench;

void BM_LevelPlacer_Typical(benchmark::State& state) {
  RLevelPlacer placer;
  Prepare(placer);
  Settle(placer.GetGain(), 0.7);
  Settle(placer.GetPanorama(), -0.3);
  Settle(placer.GetPanoramaLaw(), 1.4);
  Settle(placer.GetWidening(), 0.5);
  RBlock block(2, 0.8f, 3);
  RunBlocks(state, placer, block);
}
BENCHMARK(BM_LevelPlacer_Typical);

void BM_LevelPlacer_Ramping(benchmark::State& state) {
  RLevelPlacer placer;
  Prepare(placer);
  RBlock block(2, 0.8f, 3);
  RunBlocks(state, placer, block, [&](int64_t index) {
    const double phase = Phase(index);
    placer.GetGain().SetValueNow(0.5 + phase);
    placer.GetVolume().SetValueNow(phase);
    placer.GetGainLeft().SetValueNow(1.5 - phase);
    placer.GetGainRight().SetValueNow(0.5 + phase);
    placer.GetPanorama().SetValueNow(2.0 * phase - 1.0);
    placer.GetPanoramaLaw().SetValueNow(0.5 + phase);
    placer.GetWidening().SetValueNow(3.0 * phase - 1.0);
  });
}
BENCHMARK(BM_LevelPlacer_Ramping);

} // namespace
