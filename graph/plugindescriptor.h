#pragma once
// PluginDescriptor: one row of a graph's module catalogue, the record by which a slot's Name
// becomes a running module. A graph owns its rows (RCatalogue); slots keep a pointer to theirs
// for as long as the graph lives.
//
// A module is a class derived from RAudioPlugin, constructed with the owning graph as its
// parent: the creator returns it fully constructed, parameters created, not yet set up. What
// the graph asks of a module is the kernel's virtual interface (kernel/audioplugin.h):
//   Update          recompute what follows from parameters (filter design, sizes)
//   Store           only where it has state beyond its parameters; it calls the kernel's
//   Process         the DSP of one sub-block; the slot calls the kernel's wrapper, never this
//   Setup_Locked    build what depends on channel count and oversampling
//   ClearState      after setup: clear delay lines and filters, size per-channel state
//   GetLatency      the latency the graph aligns the other lanes of a row to
// The module's own settings live in the slot's PluginSettings element.

#include <cstdint>
#include <functional>
#include <memory>

#include "base/string.h"

class RAudioPlugin;
class RAudioPluginModular;

// Builds one module for the graph given. Throws RException when the module can't be built;
// the exception goes up to the caller of CreateSlot. [editor-thread] or [host-thread].
using RModuleCreator = std::function<std::unique_ptr<RAudioPlugin>(RAudioPluginModular& graph)>;

struct PluginDescriptor {
  // A count of this value (any negative) means: variable, taken from the slot.
  static constexpr int32_t kVariable = -1;

  RString Id;           // short key, always given
  RString Name;         // the slot's Name attribute; Id when given empty
  RString DisplayName;  // start of a new slot's FullName; Name when given empty
  RString Category;     // the group in the module menu
  // Empty while the module's class is not part of the build: such a row is listed but
  // FindDescriptor does not find it, so loading it fails as an unknown name.
  RModuleCreator Creator;
  int32_t InputCount = 1;
  int32_t OutputCount = 1;
  uint8_t EnableMIDIInputDefault = 0;  // the slot's EnableMIDIInput at creation

  bool HasVariableInputs() const noexcept { return InputCount < 0; }
  bool HasVariableOutputs() const noexcept { return OutputCount < 0; }
  bool IsAvailable() const noexcept { return bool(Creator); }
};
