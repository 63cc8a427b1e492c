#pragma once
// RProductDefinition: the product's definition, the `plugin` tree that says what the modular
// host is as this product: name and publisher, how many multi-parameters exist and how many
// of them a host sees, buses and processing limits, the editor's colours and, later, its
// controls and menus. It is read once at construction and kept whole; the editor reads its
// own elements from the same tree.
//
// Absent keys take the defaults below, so a definition names only what differs.
//
// [host-thread] at construction; read-only afterwards.

#include <cstdint>
#include <vector>

#include "base/string.h"
#include "base/tagitem.h"
#include "graph/product/sharedoptions.h"

class RProductDefinition {
public:
  // A slot whose module's state goes with presets (or, with Presets off, only with the host's
  // chunk), named by its FullName.
  struct StoreModule {
    RString Name;
    bool Presets = true;
  };

  RProductDefinition() = default;
  RProductDefinition(const RProductDefinition&) = delete;
  RProductDefinition& operator=(const RProductDefinition&) = delete;

  // Takes a copy of a `plugin` tree, then reads the shared options and the stored modules
  // from it.
  void Read(const RTagItem& plugin);
  const RTagItem& GetTree() const noexcept { return tree_; }

  // --- typed reads of the attributes; absent keys give the default
  bool Has(const char* key) const;
  RString GetText(const char* key, const RString& defaultText = RString()) const;
  int32_t GetInt(const char* key, int32_t defaultValue) const;
  double GetDouble(const char* key, double defaultValue) const;

  RString GetName() const { return GetText("name"); }
  RString GetCompany() const { return GetText("company"); }
  int32_t GetMultiParameterCount() const { return GetInt("multi", 0); }
  int32_t GetPublicMultiParameterCount() const { return GetInt("publicmulti", 0); }
  int32_t GetModulatorCount() const { return GetInt("mod", 0); }
  int32_t GetMIDIParameterCount() const { return GetInt("midi", 0); }
  bool GetResetOnPreset() const { return GetInt("resetonpreset", 0) != 0; }
  bool HasSideChain() const { return GetInt("sidechain", 0) != 0; }
  // 0 when the definition leaves it to the kernel.
  int32_t GetMaxOversampling() const { return GetInt("maxoversampling", 0); }
  bool IsResizable() const { return GetInt("resizable", 0) != 0; }
  // The modulation's time grid in samples, live and offline.
  int32_t GetSmartInterpolation() const { return GetInt("smartinterpolation", kDefaultSmartInterpolation); }
  int32_t GetPresetFolders() const { return GetInt("presetfolders", 1); }
  // Empty when the product names no ceiling parameter.
  RString GetCeilingParam() const { return GetText("CeilingParam"); }

  const RSharedOptions& GetSharedOptions() const noexcept { return sharedOptions_; }
  const std::vector<StoreModule>& GetStoreModules() const noexcept { return storeModules_; }

  static constexpr int32_t kDefaultSmartInterpolation = 32;

private:
  RTagItem tree_;
  RSharedOptions sharedOptions_;
  std::vector<StoreModule> storeModules_;
};
