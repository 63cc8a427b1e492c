#include "graph/nestedgraph.h"

#include "base/lock.h"
#include "graph/moduleregistry.h"
#include "graph/pluginslot.h"
#include "modulation/multiparameter.h"

namespace {

struct NestedRow {
  const char* id;
  int32_t lanes;
};
constexpr NestedRow kNestedRows[] = {{"Nest6", 6}, {"Nest16", 16}, {"Nest32", 32}};

RModuleCreator MakeCreator(const RString& id, int32_t lanes, bool sideChain) {
  return [id, lanes, sideChain](RAudioPluginModular& parent) -> std::unique_ptr<RAudioPlugin> {
    auto graph = std::make_unique<RSwitchyardBase>(id, lanes, sideChain);
    graph->AttachToParent(parent);
    graph->InitParameters();
    return graph;
  };
}

RString SlotPrefix(const RPluginSlot& slot) { return slot.FullName + RString(" - "); }

void RebuildTable(RAudioPluginModular& graph) {
  graph.ClearParameters();
  graph.InitParameters();
  for (const auto& slot : graph.GetSlots()) {
    const RString prefix = SlotPrefix(*slot);
    if (slot->Enabled) graph.RegisterParameter(slot->Enabled.get(), prefix);
    if (slot->Bank) graph.RegisterParameter(slot->Bank.get(), prefix);
    graph.MirrorParameters(slot->GetModule(), prefix);
  }
  // Targets hold indexes into the table just rebuilt; their names still say what they meant.
  for (int32_t i = 0; i < graph.GetMultiParameterCount(); ++i)
    if (RMultiParameter* multi = graph.GetMultiParameter(i)) multi->ResolveTargets();
}

} // namespace

void RegisterNestedGraphs() {
  for (const NestedRow& row : kNestedRows) {
    const RString id = RString::FromLatin1(row.id);
    RModuleRegistry::Register(id, MakeCreator(id, row.lanes, false), MakeCreator(id, row.lanes, true));
  }
}

void RefreshParameterTables(RAudioPluginModular& graph) {
  RLockGuard parameters(graph.GetParameterLock());
  // Bottom up: each parent mirrors the table its child has just rebuilt.
  for (RAudioPluginBase* level = &graph; level; level = level->GetParent()) {
    if (auto* modular = dynamic_cast<RAudioPluginModular*>(level)) RebuildTable(*modular);
  }
}

void ReleaseParameterTables(RAudioPluginModular& graph) {
  RLockGuard parameters(graph.GetParameterLock());
  for (RAudioPluginBase* level = &graph; level; level = level->GetParent()) {
    if (auto* modular = dynamic_cast<RAudioPluginModular*>(level)) modular->ClearParameters();
  }
}
