#include "graph/catalogue.h"

#include <cstring>
#include <utility>

#include "graph/moduleregistry.h"

namespace {

constexpr int32_t kVariable = PluginDescriptor::kVariable;

struct RowEntry {
  const char* id;
  const char* name;          // empty: the Id
  const char* displayName;   // empty: the Name
  const char* category;
  int32_t inputs;
  int32_t outputs;
};

// Menu order within each category is this order. A module with a side-chain input has two
// inputs. A row ending in MB is the multi-band wrapper of the row before it.
constexpr RowEntry kRows[] = {
    {"SqueezeStage", "", "", "Dynamics", 2, 1},
    {"SpanFilter", "", "", "EQ & filters", 1, 1},
    {"EchoTaps", "", "", "Reverb & delay", 1, 1},
    {"EchoTapsMB", "", "", "Reverb & delay", 2, 1},
    {"GrainCloud", "", "", "Reverb & delay", 2, kVariable},
    {"GrainClMB", "GrainCloudMB", "", "Reverb & delay", 2, 1},
    {"WordMangler", "", "", "Distortion", 2, 1},
    {"WordManglerMB", "", "", "Distortion", 2, 1},
    {"Decimator", "", "", "Distortion", 1, 1},
    {"WarmthStage", "", "", "Distortion", 1, 1},
    {"WarmMB", "WarmthStageMB", "", "Distortion", 2, 1},
    {"TBender", "TransferBender", "", "Distortion", 1, 1},
    {"TBendMB", "TransferBenderMB", "", "Distortion", 2, 1},
    {"HzSlide", "HertzSlider", "", "Spectral", 1, 1},
    {"HzSlMB", "HertzSliderMB", "", "Spectral", 2, 1},
    {"TwoWayBlend", "", "", "Building blocks", 2, 1},
    {"TwoWayBlendMB", "", "", "Building blocks", 2, 1},
    {"ManyWayBlend", "", "", "Building blocks", kVariable, 1},
    {"Nest6", "", "", "Modular", 2, 1},
    {"Nest16", "", "", "Modular", 2, 1},
    {"Nest32", "", "", "Modular", 2, 1},
    {"NestEx", "", "", "Modular", 2, 1},
    {"ChannelTool", "", "", "Utility", 1, 1},
    {"LevelPlacer", "", "Volume & Panorama", "Utility", 1, 1},
};

// Categories the menu knows although no row of this build fills them.
constexpr const char* kEmptyCategories[] = {"Synthesis"};

// Foreign presets name some modules by their own keys.
constexpr const char* kImportNames[][2] = {
    {"Limiter", "WarmthStage"},
    {"Filter", "Equalizer"},
};

bool Same(const RString& a, const RString& b) noexcept { return a.CompareExact(b) == 0; }

// The tables above live as long as the process: their texts are kept by pointer.
RString Text(const char* text) noexcept { return RString::Literal(text, int(std::strlen(text))); }

}  // namespace

RCatalogue::RCatalogue(bool sideChain) {
  // The keys older releases wrote are all of modules this build does not carry, so the
  // old-name table starts empty; AddOldName is where a rename of a later release goes.
  for (const auto& pair : kImportNames) importNames_.push_back(NamePair{Text(pair[0]), Text(pair[1])});

  for (const RowEntry& entry : kRows) {
    PluginDescriptor row;
    row.Id = Text(entry.id);
    row.Name = Text(entry.name);
    row.DisplayName = Text(entry.displayName);
    row.Category = Text(entry.category);
    row.InputCount = entry.inputs;
    row.OutputCount = entry.outputs;
    row.Creator = RModuleRegistry::Find(row.Id, sideChain);
    Append(std::move(row));
  }
}

const PluginDescriptor& RCatalogue::Append(PluginDescriptor row) {
  if (row.Name.IsEmpty()) row.Name = row.Id;
  if (row.DisplayName.IsEmpty()) row.DisplayName = row.Name;
  rows_.push_back(std::make_unique<PluginDescriptor>(std::move(row)));
  order_.push_back(rows_.back().get());
  return *rows_.back();
}

void RCatalogue::AddOldName(const RString& oldName, const RString& currentName) {
  oldNames_.push_back(NamePair{oldName, currentName});
}

const PluginDescriptor* RCatalogue::FindInRows(const RString& name) const {
  for (const PluginDescriptor* row : order_) {
    if (row->IsAvailable() && Same(row->Name, name)) return row;
  }
  for (const PluginDescriptor* row : order_) {
    if (row->IsAvailable() && (Same(row->Id, name) || Same(row->DisplayName, name))) return row;
  }
  return nullptr;
}

const PluginDescriptor* RCatalogue::FindDescriptor(const RString& name) const {
  if (const PluginDescriptor* row = FindInRows(name)) return row;
  // Bounded by the row count so that a cycle in the old names ends.
  RString present = name;
  for (size_t step = 0; step < order_.size(); ++step) {
    const NamePair* next = nullptr;
    for (const NamePair& pair : oldNames_) {
      if (Same(pair.From, present)) {
        next = &pair;
        break;
      }
    }
    if (!next || Same(next->To, present)) break;
    present = next->To;
    if (const PluginDescriptor* row = FindInRows(present)) return row;
  }
  return nullptr;
}

const PluginDescriptor* RCatalogue::FindImportDescriptor(const RString& name) const {
  for (const NamePair& pair : importNames_) {
    if (Same(pair.From, name)) return FindDescriptor(pair.To);
  }
  return FindDescriptor(name);
}

std::vector<RCatalogue::Category> RCatalogue::GetCategories() const {
  std::vector<Category> categories;
  auto entry = [&categories](const RString& name) -> Category& {
    for (Category& category : categories) {
      if (Same(category.Name, name)) return category;
    }
    categories.push_back(Category{name, {}});
    return categories.back();
  };
  for (const PluginDescriptor* row : order_) entry(row->Category).Rows.push_back(row);
  for (const char* name : kEmptyCategories) entry(Text(name));
  return categories;
}
