// Per-sample cost of the processing cycle on a plug-in of the product's size (52 continuous
// parameters, stereo, 48 kHz, host blocks of 512): idle pass-through, every parameter ramping
// under host automation, and asleep on silence; then the block stages alone. Items are
// frames, so items/s is samples per second of one channel pair and "s/sample" its inverse.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <random>
#include <vector>

#include "kernel/blockstages.h"
#include "tests/kernel/realtimetestplugin.h"

namespace {

constexpr int32_t kBlock = 512;
constexpr int32_t kEndOfBlock = 0x7fffffff;

void SetCounters(benchmark::State& state) {
  state.SetItemsProcessed(int64_t(state.iterations()) * kBlock);
  state.counters["s/sample"] =
      benchmark::Counter(kBlock, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

// A stereo host block with a quiet noise in (or silence), run through the host-side object.
struct RBenchBlock {
  std::vector<float> left, right, outLeft, outRight;
  float* inputs[2];
  float* outputs[2];

  explicit RBenchBlock(float level) : left(kBlock), right(kBlock), outLeft(kBlock), outRight(kBlock) {
    std::mt19937 random(48000);
    std::uniform_real_distribution<float> uniform(-level, level);
    for (int32_t i = 0; i < kBlock; ++i) {
      left[size_t(i)] = uniform(random);
      right[size_t(i)] = uniform(random);
    }
    inputs[0] = left.data();
    inputs[1] = right.data();
    outputs[0] = outLeft.data();
    outputs[1] = outRight.data();
  }
  void Run(RAudioPluginInterface& adapter) {
    adapter.ProcessAudio(inputs, outputs, kBlock);
    benchmark::DoNotOptimize(outLeft.data());
    benchmark::ClobberMemory();
  }
};

void BM_CycleIdle(benchmark::State& state) {
  RRealtimeTestHost host;
  RBenchBlock block(0.1f);
  for (auto _ : state) block.Run(host.adapter);
  SetCounters(state);
}
BENCHMARK(BM_CycleIdle);

void BM_CycleRampingAll(benchmark::State& state) {
  RRealtimeTestHost host;
  RBenchBlock block(0.1f);
  RRealtimeTestPlugin& plugin = *host.plugin;
  std::vector<int32_t> indexes;
  for (const auto& value : plugin.reals) indexes.push_back(plugin.GetParameterIndexOf(value.get()));
  int64_t round = 0;
  for (auto _ : state) {
    // Each parameter moves every block: a point halfway through and one at the block's end.
    const double target = (round++ % 2 == 0) ? 0.3 : 0.7;
    for (int32_t index : indexes) {
      plugin.ScheduleAutomationEvent(kBlock / 2, index, 0.5);
      plugin.ScheduleAutomationEvent(kEndOfBlock, index, target);
    }
    block.Run(host.adapter);
  }
  SetCounters(state);
}
BENCHMARK(BM_CycleRampingAll);

void BM_CycleAsleep(benchmark::State& state) {
  RRealtimeTestHost host;
  RBenchBlock block(0.0f);
  for (int32_t i = 0; i < 48000 * 3 / kBlock && !host.plugin->IsAsleep(); ++i) block.Run(host.adapter);
  if (!host.plugin->IsAsleep()) state.SkipWithError("the instance didn't fall asleep on silence");
  for (auto _ : state) block.Run(host.adapter);
  SetCounters(state);
}
BENCHMARK(BM_CycleAsleep);

// --- the stages alone on a stereo block: constant (0) or ramping (1) values. Each block
// starts from fresh input, since a stage applied to its own output over millions of blocks
// would run the samples into infinities or zeros; BM_StageCopyOnly is that copy alone, to be
// taken off the figures of the others.

struct RStageBench {
  std::vector<float> sourceLeft, sourceRight, left, right;
  float* channels[2];
  RRealValue value;
  bool moving;
  int64_t round = 0;

  RStageBench(double min, double max, double settled, bool moves)
      : sourceLeft(kBlock), sourceRight(kBlock), left(kBlock), right(kBlock),
        value(nullptr, RString("Stage"), min, max, settled), moving(moves) {
    std::mt19937 random(512);
    std::uniform_real_distribution<float> uniform(-0.5f, 0.5f);
    for (int32_t i = 0; i < kBlock; ++i) {
      sourceLeft[size_t(i)] = uniform(random);
      sourceRight[size_t(i)] = uniform(random);
    }
    channels[0] = left.data();
    channels[1] = right.data();
  }
  // Fresh input; a moving value gets a new target each block.
  void Next(double a, double b) {
    std::copy(sourceLeft.begin(), sourceLeft.end(), left.begin());
    std::copy(sourceRight.begin(), sourceRight.end(), right.begin());
    if (moving) value.SetValueNow((round++ % 2 == 0) ? a : b);
  }
};

void BM_StageCopyOnly(benchmark::State& state) {
  RStageBench stage(0.0, 2.0, 1.0, false);
  for (auto _ : state) {
    stage.Next(1.0, 1.0);
    benchmark::ClobberMemory();
  }
  SetCounters(state);
}
BENCHMARK(BM_StageCopyOnly);

void BM_StageGain(benchmark::State& state) {
  RStageBench stage(0.0, 2.0, 0.5, state.range(0) != 0);
  for (auto _ : state) {
    stage.Next(0.5, 0.9);
    ApplyGain(stage.value, stage.channels, 2, kBlock);
    benchmark::ClobberMemory();
  }
  SetCounters(state);
}
BENCHMARK(BM_StageGain)->Arg(0)->Arg(1);

void BM_StagePanorama(benchmark::State& state) {
  RStageBench stage(-1.0, 1.0, 0.3, state.range(0) != 0);
  for (auto _ : state) {
    stage.Next(-0.3, 0.3);
    ApplyPanorama(stage.value, stage.left.data(), stage.right.data(), kBlock);
    benchmark::ClobberMemory();
  }
  SetCounters(state);
}
BENCHMARK(BM_StagePanorama)->Arg(0)->Arg(1);

void BM_StageWidth(benchmark::State& state) {
  RStageBench stage(-1.0, 1.0, 0.4, state.range(0) != 0);
  for (auto _ : state) {
    stage.Next(-0.4, 0.4);
    ApplyWidth(stage.value, stage.left.data(), stage.right.data(), kBlock);
    benchmark::ClobberMemory();
  }
  SetCounters(state);
}
BENCHMARK(BM_StageWidth)->Arg(0)->Arg(1);

} // namespace
