// Cost of the product's morph per stereo frame: one bank of the bit blend as the product
// builds it, a level placer and sixteen word manglers on one row of a 32-lane graph, each
// mangler replacing one more bit of A by B, and the many-way blend below walking the 17
// lanes. Measured through the graph's audio walk, with the morph at rest and moving.
#include <benchmark/benchmark.h>

#include <cmath>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "base/memorystream.h"
#include "base/tagitem.h"
#include "graph/audiopluginmodular.h"
#include "graph/pluginslot.h"
#include "kernel/value.h"
#include "modules/registermodules.h"
#include "tests/support/bitbankstate.h"

namespace {

constexpr int32_t kBlock = 512;
constexpr int32_t kBits = 16;

std::unique_ptr<RAudioPluginModular> MakeBank() {
  RegisterModules();
  RAudioPlugin::Options options;
  options.sleep = false;
  auto graph = std::make_unique<RAudioPluginModular>(RString("Bit Blend"), 32, true, options);
  graph->InitParameters();
  graph->SetHostFormat(48000.0, kBlock, 2, 2, 1);
  const std::string xml = BitBankState();
  RMemoryStream stream(xml.data(), int64_t(xml.size()));
  RTagItem root;
  root.Load(stream);
  graph->LoadStateTree(root);
  return graph;
}

struct Buffers {
  std::vector<std::vector<float>> in = std::vector<std::vector<float>>(4, std::vector<float>(size_t(kBlock)));
  std::vector<std::vector<float>> out = std::vector<std::vector<float>>(2, std::vector<float>(size_t(kBlock)));
  float* inputs[4];
  float* outputs[2];
  Buffers() {
    std::mt19937 random(3);
    std::uniform_real_distribution<float> uniform(-0.5f, 0.5f);
    for (auto& channel : in)
      for (float& v : channel) v = uniform(random);
    for (int32_t c = 0; c < 4; ++c) inputs[c] = in[size_t(c)].data();
    for (int32_t c = 0; c < 2; ++c) outputs[c] = out[size_t(c)].data();
  }
};

void PerFrame(benchmark::State& state) {
  state.SetItemsProcessed(int64_t(state.iterations()) * kBlock);
  state.counters["per_frame"] = benchmark::Counter(
      double(kBlock), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

RRangedValue* Ratio(RAudioPluginModular& graph) {
  const int32_t index = graph.GetParameterIndex(RString("ManyWayBlend 1 - Ratio"));
  return index >= 0 ? dynamic_cast<RRangedValue*>(graph.GetParameterValue(index)) : nullptr;
}

// The figures mean nothing unless every slot of the bank loaded.
bool Complete(benchmark::State& state, const RAudioPluginModular& graph) {
  if (graph.GetSlots().size() == size_t(kBits + 2)) return true;
  state.SkipWithError("the bank did not load all of its 18 slots");
  return false;
}

void BM_BitBank_MorphAtRest(benchmark::State& state) {
  auto graph = MakeBank();
  if (!Complete(state, *graph)) return;
  Buffers buffers;
  if (RRangedValue* ratio = Ratio(*graph)) ratio->SetValueNow(0.4);
  for (auto _ : state) {
    graph->ProcessCycle(buffers.inputs, buffers.outputs, kBlock, nullptr);
    benchmark::DoNotOptimize(buffers.out[0].data());
  }
  PerFrame(state);
}
BENCHMARK(BM_BitBank_MorphAtRest);

// The morph automated by the host: a new Ratio at the start of every block, so the blend ramps
// through each block.
void BM_BitBank_MorphMoving(benchmark::State& state) {
  auto graph = MakeBank();
  if (!Complete(state, *graph)) return;
  Buffers buffers;
  const int32_t index = graph->GetParameterIndex(RString("ManyWayBlend 1 - Ratio"));
  int64_t block = 0;
  for (auto _ : state) {
    const double position = 0.5 + 0.5 * std::sin(double(block++) * 0.01);
    if (index >= 0) graph->SetParameterEdited(0, index, position);
    graph->ProcessCycle(buffers.inputs, buffers.outputs, kBlock, nullptr);
    benchmark::DoNotOptimize(buffers.out[0].data());
  }
  PerFrame(state);
}
BENCHMARK(BM_BitBank_MorphMoving);

} // namespace
