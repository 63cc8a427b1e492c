#pragma once
// The graph classes that know they are Switchyard, the modular host, between the bare graph
// and the product:
//   RSwitchyardBase  every nested graph (the catalogue's Nest6, Nest16, Nest32) and the base
//                    of the host: a graph given its lane count and whether it has a side-chain;
//   RSwitchyard      the top-level host: 6 lanes, a side-chain bus named "Sidechain", room
//                    for 100 multi-parameters by default and 128 at most, 16 modulator slots.
// The product class derives from RSwitchyard and reads its counts from its definition.
//
// Names: GetName() is what log paths, the settings root (GetName() + "settings") and the
// import of a single-module preset use. A nested graph keeps its catalogue row as its name,
// as every module does, so that a log line says "Nest32"; the host is "Switchyard", so that
// its states have the root "Switchyardsettings" whatever class builds it. The class name and
// the internal id are kept beside it.
//
// [host-thread] [editor-thread]; never the audio thread.

#include <cstdint>

#include "graph/audiopluginmodular.h"

class RSwitchyardBase : public RAudioPluginModular {
public:
  RSwitchyardBase(const RString& name, int32_t laneCount, bool sideChain, const Options& options = Options());

  // "Switchyard" for every graph of the family but the product's own class.
  const RString& GetClassName() const noexcept { return className_; }
  // "SwitchyardCreative" for a nested graph, "Switchyard1" for the host.
  const RString& GetInternalId() const noexcept { return internalId_; }

protected:
  RString className_;
  RString internalId_;
};

class RSwitchyard : public RSwitchyardBase {
public:
  static constexpr int32_t kLanes = 6;
  static constexpr int32_t kDefaultMultiParameters = 100;
  static constexpr int32_t kMaxMultiParameters = 128;
  static constexpr int32_t kActiveModulators = 16;
  // The host's buses before a definition or a host says otherwise: main and side-chain in,
  // two out.
  static constexpr int32_t kInputLanes = 2;
  static constexpr int32_t kOutputLanes = 2;

  RSwitchyard();

  int32_t GetModulatorCount() const noexcept { return modulatorCount_; }
  int32_t GetMIDIParameterCount() const noexcept { return midiParameterCount_; }

  // The counts a nested host takes from its parent; the product's definition sets them on top.
  void CreateProcessors() override;

protected:
  int32_t modulatorCount_ = kActiveModulators;
  int32_t midiParameterCount_ = 0;
};
