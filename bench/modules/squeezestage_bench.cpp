// Cost of the compressor per stereo frame through its whole cycle, 48 kHz, 512-frame blocks:
// typical settings standing still (linked, compressing a noise a few dB over the threshold),
// and with the side chain, both detector filters, a blended link and every value moving.
#include "bench/modules/modulebench.h"
#include "modules/squeezestage/squeezestage.h"

namespace {

using namespace modulebench;

// Main and side-chain buses of noise at about -10 dBFS RMS.
RBlock Buses() { return RBlock(4, 0.5f, 7); }

void BM_SqueezeStage_Typical(benchmark::State& state) {
  RSqueezeStage stage;
  Prepare(stage, 2);
  Settle(stage.GetThreshold(), -24.0);
  RBlock buses = Buses();
  RunBlocks(state, stage, buses);
}
BENCHMARK(BM_SqueezeStage_Typical);

void BM_SqueezeStage_Everything(benchmark::State& state) {
  RSqueezeStage stage;
  Prepare(stage, 2);
  Settle(stage.GetSideChain(), 1.0);
  RBlock buses = Buses();
  RunBlocks(state, stage, buses, [&](int64_t index) {
    const double phase = Phase(index);
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
  });
}
BENCHMARK(BM_SqueezeStage_Everything);

} // namespace
