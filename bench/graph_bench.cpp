// The graph's two halves: how long a compile of a full grid takes, and what the audio walk
// adds per processor and block on top of the modules' own work.
#include <benchmark/benchmark.h>

#include <memory>
#include <vector>

#include "graph/audiopluginmodular.h"
#include "graph/plugindescriptor.h"

namespace {
// The cheapest module there is: a copy, so that what is measured is the walk around it.
class RBenchModule : public RAudioPlugin {
public:
  explicit RBenchModule(RAudioPluginModular& graph) : RAudioPlugin(RString("BenchModule")) { AttachToParent(graph); }
};

RAudioPlugin::Options Awake() {
  RAudioPlugin::Options options;
  options.sleep = false;
  return options;
}

// A graph of rows × lanes test modules, each reading its own column.
std::unique_ptr<RAudioPluginModular> MakeGraph(int32_t rows, int32_t lanes, int32_t block) {
  auto graph = std::make_unique<RAudioPluginModular>(RString("Bench"), lanes, false, Awake());
  PluginDescriptor row;
  row.Id = RString("Copy");
  row.Category = RString("Bench");
  row.Creator = [](RAudioPluginModular& g) { return std::make_unique<RBenchModule>(g); };
  const PluginDescriptor& descriptor = graph->GetCatalogue().Append(row);
  graph->SetHostFormat(48000.0, block, 2, 1, 1);
  for (int32_t y = 0; y < rows; ++y) {
    for (int32_t x = 0; x < lanes; ++x) {
      graph->PlaceSlot(std::make_unique<RPluginSlot>(*graph, descriptor, std::make_unique<RBenchModule>(*graph), x, y,
                                                     RString("Copy")));
    }
  }
  graph->RebuildProcessors(true);
  return graph;
}

void BM_CompileFullGrid(benchmark::State& state) {
  auto graph = MakeGraph(RAudioPluginModular::kRows, 32, 512);
  for (auto _ : state) graph->RebuildProcessors(false);
  state.counters["processors"] = double(graph->GetProcessors().size());
}
BENCHMARK(BM_CompileFullGrid)->Unit(benchmark::kMicrosecond);

// Per processor and block: the walk over n processors at 48 kHz stereo, block 512, minus
// nothing; divide the time by the processor count (the counter does).
void BM_WalkPerProcessor(benchmark::State& state) {
  const int32_t lanes = int32_t(state.range(0));
  constexpr int32_t kBlock = 512;
  auto graph = MakeGraph(RAudioPluginModular::kRows, lanes, kBlock);
  std::vector<float> left(kBlock, 0.25f), right(kBlock, 0.25f), outLeft(kBlock), outRight(kBlock);
  float* inputs[2] = {left.data(), right.data()};
  float* outputs[2] = {outLeft.data(), outRight.data()};
  for (auto _ : state) {
    graph->ProcessCycle(inputs, outputs, kBlock, nullptr);
    benchmark::DoNotOptimize(outLeft.data());
  }
  const double processors = double(graph->GetProcessors().size());
  state.counters["processors"] = processors;
  state.counters["ns_per_processor_block"] =
      benchmark::Counter(double(state.iterations()) * processors, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}
BENCHMARK(BM_WalkPerProcessor)->Arg(1)->Arg(6)->Arg(32)->Unit(benchmark::kMicrosecond);
}  // namespace
