#pragma once
// RModuleRegistry: the process-wide table of module creators by catalogue Id. Module files
// register their classes once at start; each graph copies the creators of its rows when it
// builds its catalogue, so a module registered later reaches only graphs built later.
//
// A nested graph registers two creators: one for a graph inside a plug-in with a side-chain
// input and one without; a catalogue built with the side-chain flag takes the first.
//
// [any-thread]: one process-wide lock guards the table. Never the audio thread.

#include <memory>

#include "base/string.h"
#include "graph/audiopluginmodular.h"
#include "graph/plugindescriptor.h"

class RModuleRegistry {
public:
  struct Entry {
    RModuleCreator Creator;
    RModuleCreator SideChainCreator;  // empty: Creator serves both
  };

  // Sets (or replaces) the creators of the row with this Id.
  static void Register(const RString& id, RModuleCreator creator, RModuleCreator sideChainCreator = {});
  // Removes the creators of this Id; graphs built afterwards fail it as an unknown name.
  static void Unregister(const RString& id);
  // The creator a catalogue of that kind gives the row; empty when nothing is registered.
  static RModuleCreator Find(const RString& id, bool sideChain);

  // The usual creator: a Module built by its default constructor, with the graph as parent.
  template <class Module>
  static void RegisterClass(const RString& id) {
    Register(id, [](RAudioPluginModular& graph) -> std::unique_ptr<RAudioPlugin> {
      auto module = std::make_unique<Module>();
      module->AttachToParent(graph);
      return module;
    });
  }
};
