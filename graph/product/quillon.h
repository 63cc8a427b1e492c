#pragma once
// RQuillon: the product. A Switchyard host whose whole character comes from two trees built
// into the program: the definition (name, counts, buses, options, the editor's data) and the
// default state (the graph, the multi-parameters, every module's settings). It adds no DSP.
//
// Life of an instance:
//   1. the constructor reads the definition into its holder and takes its shared options;
//   2. CreateProcessors sets the counts the definition gives: multi-parameters, modulators,
//      input buses (a side-chain or not), the modulation's time grid, and how many of the
//      multi-parameters a host sees;
//   3. InitParameters fills the table, the public multi-parameters' values first;
//   4. ResetToDefaults loads the default state. So a new instance is the default state.
// Create does all four.
//
// What a host sees: the first GetAutomatableCount() records of the table, one per public
// multi-parameter, named by the multi-parameter's Name ("Morph"), with its Group in front
// where the name alone is not unique among them ("A Gain", "Master HP"). Their names arrive
// with a state, so every load ends with the table rebuilt.
//
// [host-thread] [editor-thread] for everything but GetOutputCeiling, which the audio thread
// calls under the audio lock.

#include <cstdint>
#include <memory>
#include <vector>

#include "graph/product/productdefinition.h"
#include "graph/switchyard.h"

class RTagItem;

class RQuillon : public RSwitchyard {
public:
  // A slot of the definition's storemodule list, found in the present graph.
  struct StoredModule {
    RString Name;
    RAudioPlugin* Module = nullptr;  // the slot's module; null when the present graph lacks the slot
    bool Presets = true;
  };

  // The product as a host gets it, from the built-in definition, default state loaded.
  static std::unique_ptr<RQuillon> Create();
  // The same from another `plugin` tree (variants of the product, tests).
  static std::unique_ptr<RQuillon> Create(const RTagItem& definition);

  // The constructors only read the definition; the module registry must be filled before
  // (Create does both).
  RQuillon();
  explicit RQuillon(const RTagItem& definition);

  const RProductDefinition& GetDefinition() const noexcept { return *definition_; }
  const RSharedOptions& GetSharedOptions() const noexcept { return definition_->GetSharedOptions(); }
  // "QUILLON": what the user reads, and the preset folder's name.
  RString GetProductName() const { return definition_->GetName(); }
  int32_t GetPublicMultiParameterCount() const noexcept { return publicMultiParameters_; }
  bool GetResetOnPreset() const noexcept { return resetOnPreset_; }
  const std::vector<StoredModule>& GetStoredModules() const noexcept { return storedModules_; }
  // Index of the parameter the definition's CeilingParam names; -1 when none.
  int32_t GetCeilingIndex() const noexcept { return ceilingIndex_; }
  // True while ResetToDefaults loads the default state.
  bool IsLoadingDefaults() const noexcept { return loadingDefaults_; }

  // Loads the built-in default state over whatever the instance holds, then what the
  // definition says about it: latency reporting, the stored modules, the ceiling parameter.
  // Throws "Module with id {0} has not been found." or "Ceiling parameter has not been found."
  // when the definition names what the state lacks.
  void ResetToDefaults();

  // --- kernel and graph operations
  void CreateProcessors() override;
  void InitParameters() override;
  int32_t GetAutomatableCount() const override;
  // States name a public multi-parameter's value by its general name
  // ("MultiParameters - Param 1 - Position"); the table calls it by its public one.
  bool TranslateParameterName(RString& name) override;
  void Store(RStoreContext& context) override;
  // The processing value of the ceiling parameter (a level, as a linear factor); -1 without one.
  // [audio-thread] under the audio lock.
  double GetOutputCeiling() const override;

private:
  // The host's names of the public multi-parameters, from their Name and Group.
  void NamePublicMultiParameters();
  // Finds the definition's stored modules and its ceiling parameter in the present graph;
  // with required, a missing one throws.
  void FindDefinedParts(bool required);
  // Index of a table record by its full name, without the log line of a miss; -1 when absent.
  int32_t FindParameterQuietly(const RString& name) const;

  std::unique_ptr<RProductDefinition> definition_;
  int32_t publicMultiParameters_ = 0;
  std::vector<RString> publicNames_;
  bool resetOnPreset_ = false;
  bool loadingDefaults_ = false;
  std::vector<StoredModule> storedModules_;
  int32_t ceilingIndex_ = -1;
};
