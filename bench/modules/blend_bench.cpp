// Cost of the blends per stereo frame through their whole cycle, 48 kHz, 512-frame blocks:
// the two-way blend standing still and with every value gliding each block, and the many-way
// blend over the product's 17 buses standing still and gliding across several buses a block.
#include "bench/modules/modulebench.h"
#include "modules/blend/manywayblend.h"
#include "modules/blend/twowayblend.h"

namespace {

using namespace modulebench;

void BM_TwoWayBlend_Static(benchmark::State& state) {
  RTwoWayBlend blend;
  Prepare(blend, 2);
  Settle(*blend.GetGain(), 1.5);
  RBlock buses(4, 0.8f, 7);
  RunBlocks(state, blend, buses);
}
BENCHMARK(BM_TwoWayBlend_Static);

void BM_TwoWayBlend_Ramping(benchmark::State& state) {
  RTwoWayBlend blend;
  Prepare(blend, 2);
  RBlock buses(4, 0.8f, 7);
  RunBlocks(state, blend, buses, [&](int64_t index) {
    const double phase = Phase(index);
    blend.GetRatio().SetValueNow(phase);
    blend.GetGain()->SetValueNow(0.5 + phase);
    blend.GetVolume()->SetValueNow(phase);
    blend.GetPanorama()->SetValueNow(phase - 0.5);
  });
}
BENCHMARK(BM_TwoWayBlend_Ramping);

void RunManyWay(benchmark::State& state, bool ramping) {
  constexpr int32_t kBuses = 17;
  RManyWayBlend blend;
  Prepare(blend, kBuses);
  Settle(blend.GetRatio(), 0.4);
  RBlock buses(2 * kBuses, 0.8f, 7);
  RunBlocks(state, blend, buses, [&](int64_t index) {
    // A sweep of a tenth of the travel per block crosses one or two of the 16 steps.
    if (ramping) blend.GetRatio().SetValueNow(0.5 + 0.45 * std::sin(0.7 * double(index + 1)));
  });
}

void BM_ManyWayBlend_17Buses_Static(benchmark::State& state) { RunManyWay(state, false); }
BENCHMARK(BM_ManyWayBlend_17Buses_Static);

void BM_ManyWayBlend_17Buses_Ramping(benchmark::State& state) { RunManyWay(state, true); }
BENCHMARK(BM_ManyWayBlend_17Buses_Ramping);

} // namespace
