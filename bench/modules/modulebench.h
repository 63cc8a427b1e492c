// What every module benchmark shares: the block format (48 kHz, 512-frame blocks), channels of
// noise with the pointer arrays a host hands in, the loop that runs a module's cycle block after
// block, and the "per_frame" counter that scripts/compare-peers.sh reads. Benchmarks only; every
// call here runs on the benchmark's own thread.
#pragma once

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <random>
#include <utility>
#include <vector>

#include "kernel/value.h"

namespace modulebench {

constexpr int32_t kBlock = 512;
constexpr double kRate = 48000.0;

// Channels of one block and the pointer array over them. A move keeps the pointers valid (the
// buffers stay where they are), a copy would not, so copies are not allowed.
class RChannels {
public:
  // `count` channels of silence.
  explicit RChannels(int32_t count) : channels_(size_t(count), std::vector<float>(size_t(kBlock))) {
    for (auto& channel : channels_) pointers_.push_back(channel.data());
  }
  // `count` channels of uniform noise in [-amplitude, amplitude]: one generator seeded with
  // `seed` fills them channel after channel, so each figure always sees the same signal.
  RChannels(int32_t count, float amplitude, uint32_t seed) : RChannels(count) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> uniform(-amplitude, amplitude);
    for (auto& channel : channels_)
      for (float& v : channel) v = uniform(random);
  }
  RChannels(const RChannels&) = delete;
  RChannels& operator=(const RChannels&) = delete;
  RChannels(RChannels&&) = default;
  RChannels& operator=(RChannels&&) = default;

  float** Pointers() { return pointers_.data(); }
  std::vector<float>& operator[](size_t channel) { return channels_[channel]; }

private:
  std::vector<std::vector<float>> channels_;
  std::vector<float*> pointers_;
};

// A module's buses for one block: `inputs` channels of noise (main bus, then a side chain if
// any) and `outputs` channels it writes.
struct RBlock {
  RBlock(int32_t inputs, float amplitude, uint32_t seed, int32_t outputs = 2)
      : in(inputs, amplitude, seed), out(outputs) {}
  // Silent inputs, for a benchmark that writes a signal of its own.
  RBlock(int32_t inputs, int32_t outputs) : in(inputs), out(outputs) {}
  RChannels in;
  RChannels out;
};

// Makes the module's parameters and sets the block format, stereo with `inputBuses` buses, as a
// host does before any setting.
template <typename Module>
void Prepare(Module& module, int32_t inputBuses = 1) {
  module.InitParameters();
  module.SetHostFormat(kRate, kBlock, 2, inputBuses);
}

// Sets a value without a glide, so the first timed block does not ramp to it.
inline void Settle(RRangedValue& value, double real) {
  value.SetValueNow(real);
  value.ResetRamp();
}

inline double FromDecibels(double decibels) { return std::pow(10.0, decibels / 20.0); }

// Items are stereo frames, so items/s reads as frames per second and "per_frame" as the time
// one frame takes.
inline void CountPerFrame(benchmark::State& state) {
  state.SetItemsProcessed(int64_t(state.iterations()) * kBlock);
  state.counters["per_frame"] = benchmark::Counter(
      double(kBlock), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

// Runs the module's whole cycle once per iteration over `block`, after `beforeBlock(index)`
// (the block's index from 0) has had its say, e.g. to move values; then counts per frame.
template <typename Module, typename BeforeBlock>
void RunBlocks(benchmark::State& state, Module& module, RBlock& block, BeforeBlock&& beforeBlock) {
  int64_t index = 0;
  for (auto _ : state) {
    beforeBlock(index++);
    module.ProcessCycle(block.in.Pointers(), block.out.Pointers(), kBlock, nullptr);
    benchmark::DoNotOptimize(block.out[0].data());
  }
  CountPerFrame(state);
}

template <typename Module>
void RunBlocks(benchmark::State& state, Module& module, RBlock& block) {
  RunBlocks(state, module, block, [](int64_t) {});
}

// The usual glide of the ramping benchmarks: a phase in [0.05, 0.95] that moves every block.
inline double Phase(int64_t index) { return 0.5 + 0.45 * std::sin(0.3 * double(index + 1)); }

} // namespace modulebench
