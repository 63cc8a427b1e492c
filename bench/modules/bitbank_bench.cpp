// Cost of the product's morph per stereo frame: one bank of the bit blend as the product
// builds it, a level placer and sixteen word manglers on one row of a 32-lane graph, each
// mangler replacing one more bit of A by B, and the many-way blend below walking the 17
// lanes. Measured through the graph's audio walk, with the morph at rest and moving.
#include <memory>
#include <string>

#include "base/memorystream.h"
#include "base/tagitem.h"
#include "bench/modules/modulebench.h"
#include "graph/audiopluginmodular.h"
#include "graph/pluginslot.h"
#include "kernel/value.h"
#include "modules/registermodules.h"
#include "tests/support/bitbankstate.h"

namespace {

using namespace modulebench;

constexpr int32_t kBits = 16;

std::unique_ptr<RAudioPluginModular> MakeBank() {
  RegisterModules();
  RAudioPlugin::Options options;
  options.sleep = false;
  auto graph = std::make_unique<RAudioPluginModular>(RString("Bit Blend"), 32, true, options);
  graph->InitParameters();
  graph->SetHostFormat(kRate, kBlock, 2, 2, 1);
  const std::string xml = BitBankState();
  RMemoryStream stream(xml.data(), int64_t(xml.size()));
  RTagItem root;
  root.Load(stream);
  graph->LoadStateTree(root);
  return graph;
}

// The main bus, then the side chain.
RBlock Buses() { return RBlock(4, 0.5f, 3); }

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
  RBlock buses = Buses();
  if (RRangedValue* ratio = Ratio(*graph)) ratio->SetValueNow(0.4);
  RunBlocks(state, *graph, buses);
}
BENCHMARK(BM_BitBank_MorphAtRest);

// The morph automated by the host: a new Ratio at the start of every block, so the blend ramps
// through each block.
void BM_BitBank_MorphMoving(benchmark::State& state) {
  auto graph = MakeBank();
  if (!Complete(state, *graph)) return;
  RBlock buses = Buses();
  const int32_t ratio = graph->GetParameterIndex(RString("ManyWayBlend 1 - Ratio"));
  RunBlocks(state, *graph, buses, [&](int64_t index) {
    const double position = 0.5 + 0.5 * std::sin(double(index) * 0.01);
    if (ratio >= 0) graph->SetParameterEdited(0, ratio, position);
  });
}
BENCHMARK(BM_BitBank_MorphMoving);

} // namespace
