// Slot creation and display names. Outside batch mode a new slot is a structure change of its
// own: the root's event lock and both audio locks are held from the removal of the old slot to
// the end of the compile, so a block sees the old list or the new one. A load creates its
// slots in batch mode and compiles once at the end.

#include <optional>
#include <string>

#include "base/exception.h"
#include "base/format.h"
#include "base/lock.h"
#include "graph/audiopluginmodular.h"
#include "graph/nestedgraph.h"
#include "graph/pluginslot.h"

namespace {

// A bank switch loads a whole module state (a whole nested graph for a Nest row): it is heard
// editor-side like Enabled, never on the audio thread, where a host's automation of the bank
// (through a multi-parameter) would otherwise allocate and compile.
void BankMoved(void* receiver, void*, int32_t, const REventPayload&) {
  RPluginSlot& slot = *static_cast<RPluginSlot*>(receiver);
  slot.BankChanged(int32_t(slot.Bank->GetValue() + 0.5));
}

} // namespace

RString RAudioPluginModular::FindUniqueName(const RString& name) const {
  for (int32_t n = 1;; ++n) {
    RString candidate = name;
    candidate += RString(" ");
    candidate += RString::FromLatin1(std::to_string(n));
    if (!FindSlot(candidate)) return candidate;
  }
}

RPluginSlot* RAudioPluginModular::CreateSlot(int32_t x, int32_t y, const PluginDescriptor& descriptor, bool isBatch) {
  if (x < 0 || x >= lanes_ || y < 0 || y >= rows_) {
    throw RException(RFormat("Cell {0}, {1} lies outside the grid.") << x << y);
  }
  if (!descriptor.IsAvailable()) throw RException(RString("Module not found: ") + descriptor.Name);

  // Parameter lock first: the table is rebuilt at the end, and every thread takes the
  // parameter lock before the audio locks.
  std::optional<RLockGuard> parameters, events, audio, automation;
  if (!isBatch) {
    parameters.emplace(GetParameterLock());
    events.emplace(GetEventLock());
    audio.emplace(GetAudioLock());
    automation.emplace(GetAutomationLock());
    BeforeChange.ExecuteImmediately();
  }

  // The tables name the replaced slot's values: they go before the slot does.
  if (GetCell(x, y)) ReleaseParameterTables(*this);
  RemoveSlot(x, y);
  RPluginSlot* placed = nullptr;
  try {
    const RString fullName = FindUniqueName(descriptor.DisplayName);
    std::unique_ptr<RAudioPlugin> module = descriptor.Creator(*this);
    if (!module) throw RException(RString("Module not found: ") + descriptor.Name);
    if (module->GetParent() != this) module->AttachToParent(*this);
    // A creator may hand over a module whose table is still empty.
    if (module->GetParameterCount() == 0) module->InitParameters();
    placed = &PlaceSlot(std::make_unique<RPluginSlot>(*this, descriptor, std::move(module), x, y, fullName));
    placed->Bank->Changed.Subscribe(placed, nullptr, 0, &BankMoved);
  } catch (...) {
    // The replaced slot is gone either way; the graph compiles without it.
    if (!isBatch) {
      AfterChange.ExecuteImmediately();
      Recompile(true);
      RefreshParameterTables(*this);
    }
    throw;
  }

  if (!isBatch) {
    AfterChange.ExecuteImmediately();
    Recompile(true);
    RefreshParameterTables(*this);
  }
  return placed;
}
