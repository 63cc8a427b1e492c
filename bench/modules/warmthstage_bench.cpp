// Cost of the saturator per stereo frame through its whole cycle, 48 kHz, 512-frame blocks:
// typical settings standing still (drive, tone and bias engaged), and drive, bias and tone
// gliding every block (the level match then follows sample by sample).
#include "bench/modules/modulebench.h"
#include "modules/warmthstage/warmthstage.h"

namespace {

using namespace modulebench;

void BM_WarmthStage_Typical(benchmark::State& state) {
  RWarmthStage stage;
  Prepare(stage);
  Settle(stage.GetDrive(), FromDecibels(12.0));
  Settle(stage.GetTone(), 0.3);
  Settle(stage.GetBias(), 0.2);
  Settle(stage.GetDryWet(), 0.8);
  RBlock block(2, 0.5f, 5);
  RunBlocks(state, stage, block);
}
BENCHMARK(BM_WarmthStage_Typical);

void BM_WarmthStage_Ramping(benchmark::State& state) {
  RWarmthStage stage;
  Prepare(stage);
  RBlock block(2, 0.5f, 5);
  RunBlocks(state, stage, block, [&](int64_t index) {
    const double phase = Phase(index);
    stage.GetDrive().SetValueNow(FromDecibels(30.0 * phase));
    stage.GetTone().SetValueNow(2.0 * phase - 1.0);
    stage.GetBias().SetValueNow(phase);
    stage.GetOutput().SetValueNow(0.5 + phase);
    stage.GetDryWet().SetValueNow(phase);
  });
}
BENCHMARK(BM_WarmthStage_Ramping);

} // namespace
