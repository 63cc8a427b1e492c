// Cost of the clipper per stereo frame through its whole cycle, 48 kHz, 512-frame blocks: the
// product's kind of setting (a soft knee a few dB under full scale, some drive) standing
// still, the hard clip, and every value gliding each block.
#include "bench/modules/modulebench.h"
#include "modules/transferbender/transferbender.h"

namespace {

using namespace modulebench;

void RunStill(benchmark::State& state, double shape) {
  RTransferBender bender;
  Prepare(bender);
  Settle(bender.GetShape(), shape);
  Settle(bender.GetClip(), FromDecibels(-3.0));
  Settle(bender.GetDrive(), FromDecibels(6.0));
  Settle(bender.GetOutputGain(), FromDecibels(-1.0));
  RBlock block(2, 0.9f, 9);
  RunBlocks(state, bender, block);
}

void BM_TransferBender_Typical(benchmark::State& state) { RunStill(state, 0.5); }
BENCHMARK(BM_TransferBender_Typical);

void BM_TransferBender_HardClip(benchmark::State& state) { RunStill(state, 0.0); }
BENCHMARK(BM_TransferBender_HardClip);

void BM_TransferBender_Ramping(benchmark::State& state) {
  RTransferBender bender;
  Prepare(bender);
  Settle(bender.GetLevelMatch(), 1.0);
  RBlock block(2, 0.9f, 9);
  RunBlocks(state, bender, block, [&](int64_t index) {
    const double phase = Phase(index);
    bender.GetShape().SetValueNow(phase);
    bender.GetClip().SetValueNow(FromDecibels(-12.0 * phase));
    bender.GetDrive().SetValueNow(FromDecibels(20.0 * phase));
    bender.GetOutputGain().SetValueNow(0.5 + phase);
    bender.GetDryWet().SetValueNow(phase);
  });
}
BENCHMARK(BM_TransferBender_Ramping);

} // namespace
