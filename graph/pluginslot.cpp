#include "graph/pluginslot.h"

#include <algorithm>

#include "base/tagitem.h"
#include "graph/audiopluginmodular.h"
#include "graph/plugindescriptor.h"

namespace {
// Enabled's change arrives editor-side (Changed is posted): the compile never runs on the
// audio thread, and modules that keep running keep their state.
void EnabledChanged(void* receiver, void*, int32_t, const REventPayload&) {
  static_cast<RAudioPluginModular*>(receiver)->Recompile(false);
}
}  // namespace

RPluginSlot::RPluginSlot(RAudioPluginModular& graph, const PluginDescriptor& descriptor,
                         std::unique_ptr<RAudioPlugin> module, int32_t x, int32_t y, const RString& fullName)
    : Name(descriptor.Name), FullName(fullName), graph_(&graph), descriptor_(&descriptor), module_(std::move(module)),
      x_(x), y_(y) {
  if (!module_->GetParent()) module_->AttachToParent(graph);
  // The slot writes these two itself, next to its other attributes.
  Enabled = std::make_unique<RBoolValue>(nullptr, RString("Enabled"), true);
  Enabled->SetFlag(RValue::kStored, false);
  Enabled->Changed.Subscribe(&graph, this, 0, &EnabledChanged);
  Bank = std::make_unique<RRealValue>(nullptr, RString("Bank"), 0.0, 1.0, 0.0);
  Bank->SetFlag(RValue::kStored, false);
  const size_t lanes = size_t(graph.GetLaneCount());
  InputIndex.assign(lanes, -1);
  InputSteal.assign(lanes, 0);
  OutputIndex.assign(lanes, -1);
  EnableMIDIInput = descriptor.EnableMIDIInputDefault != 0;
}

RPluginSlot::~RPluginSlot() {
  if (Enabled) Enabled->Changed.Unsubscribe(graph_);
}

int32_t RPluginSlot::GetDescriptorInputCount() const noexcept { return descriptor_->InputCount; }

int32_t RPluginSlot::GetDescriptorOutputCount() const noexcept { return descriptor_->OutputCount; }

int32_t RPluginSlot::GetEffectiveOutputCount() const noexcept {
  const int32_t count = descriptor_->HasVariableOutputs() ? OutputCount : descriptor_->OutputCount;
  return std::clamp(count, 0, graph_->GetLaneCount());
}
