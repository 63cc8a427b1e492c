// The module catalogue: its rows and menu, exact lookup through old and import names, and
// module classes plugged in through the registry.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "graph/catalogue.h"
#include "graph/moduleregistry.h"
#include "kernel/audioplugin.h"

namespace {

using CreatorFunction = std::unique_ptr<RAudioPlugin> (*)(RAudioPluginModular&);

std::unique_ptr<RAudioPlugin> CreatePlain(RAudioPluginModular&) { return std::make_unique<RAudioPlugin>("Plain"); }
std::unique_ptr<RAudioPlugin> CreateSideChain(RAudioPluginModular&) {
  return std::make_unique<RAudioPlugin>("SideChain");
}

// Which of the two test creators a row was given, without needing a graph to call it with.
CreatorFunction CreatorOf(const PluginDescriptor* row) {
  if (!row) return nullptr;
  const CreatorFunction* target = row->Creator.target<CreatorFunction>();
  return target ? *target : nullptr;
}

// The registry is process-wide and other tests of this binary register the nested graphs: a
// test sets what it needs for its own span and puts back what was there.
class ScopedRegistration {
public:
  // Without a creator: the Id is absent for the span.
  explicit ScopedRegistration(const RString& id, RModuleCreator creator = {}, RModuleCreator sideChainCreator = {})
      : id_(id), previous_(RModuleRegistry::Find(id, false)), previousSideChain_(RModuleRegistry::Find(id, true)) {
    if (creator) RModuleRegistry::Register(id, std::move(creator), std::move(sideChainCreator));
    else RModuleRegistry::Unregister(id);
  }
  ~ScopedRegistration() {
    if (previous_) RModuleRegistry::Register(id_, previous_, previousSideChain_);
    else RModuleRegistry::Unregister(id_);
  }
  ScopedRegistration(const ScopedRegistration&) = delete;
  ScopedRegistration& operator=(const ScopedRegistration&) = delete;

private:
  RString id_;
  RModuleCreator previous_;
  RModuleCreator previousSideChain_;
};

std::string Utf8(const RString& text) { return text.ToUTF8(); }

PluginDescriptor Row(const RString& id, const RString& name, const RString& displayName, bool available = true) {
  PluginDescriptor row;
  row.Id = id;
  row.Name = name;
  row.DisplayName = displayName;
  row.Category = "Test";
  if (available) row.Creator = &CreatePlain;
  return row;
}

struct ExpectedRow {
  const char* id;
  const char* name;
  const char* displayName;
  const char* category;
  int32_t inputs;
  int32_t outputs;
};

constexpr int32_t V = PluginDescriptor::kVariable;

const ExpectedRow kExpected[] = {
    {"SqueezeStage", "SqueezeStage", "SqueezeStage", "Dynamics", 2, 1},
    {"SpanFilter", "SpanFilter", "SpanFilter", "EQ & filters", 1, 1},
    {"EchoTaps", "EchoTaps", "EchoTaps", "Reverb & delay", 1, 1},
    {"EchoTapsMB", "EchoTapsMB", "EchoTapsMB", "Reverb & delay", 2, 1},
    {"GrainCloud", "GrainCloud", "GrainCloud", "Reverb & delay", 2, V},
    {"GrainClMB", "GrainCloudMB", "GrainCloudMB", "Reverb & delay", 2, 1},
    {"WordMangler", "WordMangler", "WordMangler", "Distortion", 2, 1},
    {"WordManglerMB", "WordManglerMB", "WordManglerMB", "Distortion", 2, 1},
    {"Decimator", "Decimator", "Decimator", "Distortion", 1, 1},
    {"WarmthStage", "WarmthStage", "WarmthStage", "Distortion", 1, 1},
    {"WarmMB", "WarmthStageMB", "WarmthStageMB", "Distortion", 2, 1},
    {"TBender", "TransferBender", "TransferBender", "Distortion", 1, 1},
    {"TBendMB", "TransferBenderMB", "TransferBenderMB", "Distortion", 2, 1},
    {"HzSlide", "HertzSlider", "HertzSlider", "Spectral", 1, 1},
    {"HzSlMB", "HertzSliderMB", "HertzSliderMB", "Spectral", 2, 1},
    {"TwoWayBlend", "TwoWayBlend", "TwoWayBlend", "Building blocks", 2, 1},
    {"TwoWayBlendMB", "TwoWayBlendMB", "TwoWayBlendMB", "Building blocks", 2, 1},
    {"ManyWayBlend", "ManyWayBlend", "ManyWayBlend", "Building blocks", V, 1},
    {"Nest6", "Nest6", "Nest6", "Modular", 2, 1},
    {"Nest16", "Nest16", "Nest16", "Modular", 2, 1},
    {"Nest32", "Nest32", "Nest32", "Modular", 2, 1},
    {"NestEx", "NestEx", "NestEx", "Modular", 2, 1},
    {"ChannelTool", "ChannelTool", "ChannelTool", "Utility", 1, 1},
    {"LevelPlacer", "LevelPlacer", "Volume & Panorama", "Utility", 1, 1},
};

TEST(CatalogueRows, EveryRowIsListedInItsOrderWithItsCategoryAndCounts) {
  const RCatalogue catalogue(true);
  const auto& rows = catalogue.GetRows();
  ASSERT_EQ(rows.size(), std::size(kExpected));
  for (size_t i = 0; i < rows.size(); ++i) {
    SCOPED_TRACE(kExpected[i].id);
    EXPECT_EQ(Utf8(rows[i]->Id), kExpected[i].id);
    EXPECT_EQ(Utf8(rows[i]->Name), kExpected[i].name);
    EXPECT_EQ(Utf8(rows[i]->DisplayName), kExpected[i].displayName);
    EXPECT_EQ(Utf8(rows[i]->Category), kExpected[i].category);
    EXPECT_EQ(rows[i]->InputCount, kExpected[i].inputs);
    EXPECT_EQ(rows[i]->OutputCount, kExpected[i].outputs);
    EXPECT_EQ(rows[i]->EnableMIDIInputDefault, 0);
  }
  // Variable counts read as variable whatever negative value stands for them.
  EXPECT_TRUE(rows[4]->HasVariableOutputs());
  EXPECT_TRUE(rows[17]->HasVariableInputs());
  EXPECT_FALSE(rows[17]->HasVariableOutputs());
}

TEST(CatalogueRows, CategoriesFollowTheirFirstRowAndKeepRowOrderWithin) {
  const RCatalogue catalogue(false);
  const std::vector<RCatalogue::Category> categories = catalogue.GetCategories();
  std::vector<std::string> names;
  for (const auto& category : categories) names.push_back(Utf8(category.Name));
  EXPECT_EQ(names, (std::vector<std::string>{"Dynamics", "EQ & filters", "Reverb & delay", "Distortion", "Spectral",
                                             "Building blocks", "Modular", "Utility", "Synthesis"}));
  EXPECT_TRUE(categories.back().Rows.empty());

  std::vector<std::string> distortion;
  for (const PluginDescriptor* row : categories[3].Rows) distortion.push_back(Utf8(row->Id));
  EXPECT_EQ(distortion, (std::vector<std::string>{"WordMangler", "WordManglerMB", "Decimator", "WarmthStage",
                                                  "WarmMB", "TBender", "TBendMB"}));
  size_t listed = 0;
  for (const auto& category : categories) listed += category.Rows.size();
  EXPECT_EQ(listed, catalogue.GetRows().size());
}

TEST(CatalogueRows, AppendedRowsTakeTheirNameFromIdAndTheirDisplayNameFromName) {
  RCatalogue catalogue;
  const PluginDescriptor& bare = catalogue.Append(Row("Gain", "", ""));
  const PluginDescriptor& named = catalogue.Append(Row("Dly", "Delay", ""));
  EXPECT_EQ(Utf8(bare.Name), "Gain");
  EXPECT_EQ(Utf8(bare.DisplayName), "Gain");
  EXPECT_EQ(Utf8(named.DisplayName), "Delay");
  // Earlier rows keep their address while later ones are added: slots hold these pointers.
  for (int i = 0; i < 100; ++i) catalogue.Append(Row("Filler", "", ""));
  EXPECT_EQ(catalogue.FindDescriptor("Gain"), &bare);
}

TEST(CatalogueLookup, RowsWithoutAClassFailAsUnknownNames) {
  // With no creator registered, every row of the build is listed but none is found.
  std::vector<std::unique_ptr<ScopedRegistration>> absent;
  for (const ExpectedRow& row : kExpected) {
    absent.push_back(std::make_unique<ScopedRegistration>(RString::FromUTF8(row.id)));
  }
  const RCatalogue catalogue(true);
  EXPECT_EQ(catalogue.GetRows().size(), std::size(kExpected));
  for (const PluginDescriptor* row : catalogue.GetRows()) {
    SCOPED_TRACE(Utf8(row->Id));
    EXPECT_FALSE(row->IsAvailable());
    EXPECT_EQ(catalogue.FindDescriptor(row->Name), nullptr);
    EXPECT_EQ(catalogue.FindDescriptor(row->Id), nullptr);
  }
  EXPECT_EQ(catalogue.FindDescriptor("NoSuchModule"), nullptr);
  EXPECT_EQ(catalogue.FindDescriptor(""), nullptr);
}

TEST(CatalogueLookup, NameIdAndDisplayNameFindTheRowButOnlyExactly) {
  const ScopedRegistration placer("LevelPlacer", &CreatePlain);
  const ScopedRegistration bender("TBender", &CreatePlain);
  const RCatalogue catalogue(true);
  const PluginDescriptor* levelPlacer = catalogue.GetRows()[23];
  const PluginDescriptor* transferBender = catalogue.GetRows()[11];

  EXPECT_EQ(catalogue.FindDescriptor("Volume & Panorama"), levelPlacer);
  EXPECT_EQ(catalogue.FindDescriptor("LevelPlacer"), levelPlacer);
  EXPECT_EQ(catalogue.FindDescriptor("TransferBender"), transferBender);
  EXPECT_EQ(catalogue.FindDescriptor("TBender"), transferBender);
  // The rest of the system compares without case; a module key does not.
  EXPECT_EQ(catalogue.FindDescriptor("levelplacer"), nullptr);
  EXPECT_EQ(catalogue.FindDescriptor("volume & panorama"), nullptr);
  EXPECT_EQ(catalogue.FindDescriptor("TransferBender "), nullptr);
  EXPECT_EQ(catalogue.FindDescriptor("Transfer"), nullptr);
  // The multi-band wrapper of a registered module is a row of its own and stays unknown.
  EXPECT_EQ(catalogue.FindDescriptor("TransferBenderMB"), nullptr);
}

TEST(CatalogueLookup, NamesOfAllRowsWinOverIdsAndDisplayNames) {
  RCatalogue catalogue;
  const PluginDescriptor& first = catalogue.Append(Row("Echo", "Repeat", "Delay"));
  const PluginDescriptor& second = catalogue.Append(Row("Delay", "Echo", ""));
  EXPECT_EQ(catalogue.FindDescriptor("Echo"), &second);
  EXPECT_EQ(catalogue.FindDescriptor("Delay"), &first);  // DisplayName of the first row, Id of the second
  EXPECT_EQ(catalogue.FindDescriptor("Repeat"), &first);
}

TEST(CatalogueLookup, OldNamesLeadToTheCurrentRowStepByStep) {
  RCatalogue catalogue;
  const PluginDescriptor& current = catalogue.Append(Row("Crush", "Crusher", "Bit Crusher"));
  catalogue.Append(Row("Other", "", ""));
  catalogue.Append(Row("Third", "", ""));
  catalogue.AddOldName("BitKiller", "Crusher");
  catalogue.AddOldName("Bitter", "BitKiller");
  catalogue.AddOldName("Smasher", "Bit Crusher");

  EXPECT_EQ(catalogue.FindDescriptor("BitKiller"), &current);
  EXPECT_EQ(catalogue.FindDescriptor("Bitter"), &current);   // two steps
  EXPECT_EQ(catalogue.FindDescriptor("Smasher"), &current);  // lands on a DisplayName
  EXPECT_EQ(catalogue.FindDescriptor("bitkiller"), nullptr);
}

TEST(CatalogueLookup, OldNameChainsEndAtLoopsDeadEndsAndTheRowCount) {
  RCatalogue catalogue;
  const PluginDescriptor& target = catalogue.Append(Row("Target", "", ""));
  catalogue.Append(Row("Pad", "", ""));
  catalogue.AddOldName("Same", "Same");
  catalogue.AddOldName("Ping", "Pong");
  catalogue.AddOldName("Pong", "Ping");
  catalogue.AddOldName("Lost", "Nowhere");
  EXPECT_EQ(catalogue.FindDescriptor("Same"), nullptr);
  EXPECT_EQ(catalogue.FindDescriptor("Ping"), nullptr);
  EXPECT_EQ(catalogue.FindDescriptor("Lost"), nullptr);

  // Two rows allow two steps: a third is not taken.
  catalogue.AddOldName("A", "B");
  catalogue.AddOldName("B", "Target");
  catalogue.AddOldName("Z", "A");
  EXPECT_EQ(catalogue.FindDescriptor("A"), &target);
  EXPECT_EQ(catalogue.FindDescriptor("Z"), nullptr);
}

TEST(CatalogueLookup, AnOldNameLeadingToARowWithoutAClassFindsNothing) {
  RCatalogue catalogue;
  catalogue.Append(Row("Missing", "", "", false));
  catalogue.AddOldName("Ancient", "Missing");
  EXPECT_EQ(catalogue.FindDescriptor("Ancient"), nullptr);
}

TEST(CatalogueLookup, ImportedPresetNamesMapToTheirRows) {
  const ScopedRegistration warmth("WarmthStage", &CreatePlain);
  const ScopedRegistration mangler("WordMangler", &CreatePlain);
  const RCatalogue catalogue(false);
  const PluginDescriptor* warmthStage = catalogue.GetRows()[9];
  EXPECT_EQ(catalogue.FindImportDescriptor("Limiter"), warmthStage);
  // No row is called Equalizer: the import of a filter preset fails as unknown.
  EXPECT_EQ(catalogue.FindImportDescriptor("Filter"), nullptr);
  // Names without an entry are looked up as they are.
  EXPECT_EQ(catalogue.FindImportDescriptor("WordMangler"), catalogue.GetRows()[6]);
  EXPECT_EQ(catalogue.FindImportDescriptor("limiter"), nullptr);
  // The import table is for foreign presets only: a slot called Limiter is unknown.
  EXPECT_EQ(catalogue.FindDescriptor("Limiter"), nullptr);
}

TEST(CatalogueRegistry, AGraphBuiltAfterRegistrationCanCreateTheModule) {
  const ScopedRegistration absent("WordMangler");
  const RCatalogue before(true);
  {
    const ScopedRegistration mangler("WordMangler", &CreatePlain);
    const RCatalogue after(true);
    EXPECT_EQ(CreatorOf(after.FindDescriptor("WordMangler")), &CreatePlain);
    // A catalogue copies its creators when it is built.
    EXPECT_EQ(before.FindDescriptor("WordMangler"), nullptr);
  }
  const RCatalogue unregistered(true);
  EXPECT_EQ(unregistered.FindDescriptor("WordMangler"), nullptr);
}

TEST(CatalogueRegistry, NestedRowsTakeTheCreatorOfTheirKindOfGraph) {
  const ScopedRegistration nest("Nest6", &CreatePlain, &CreateSideChain);
  const ScopedRegistration channelTool("ChannelTool", &CreatePlain);
  const RCatalogue withSideChain(true);
  const RCatalogue plain(false);
  EXPECT_EQ(CreatorOf(withSideChain.FindDescriptor("Nest6")), &CreateSideChain);
  EXPECT_EQ(CreatorOf(plain.FindDescriptor("Nest6")), &CreatePlain);
  // A module with one creator serves both kinds.
  EXPECT_EQ(CreatorOf(withSideChain.FindDescriptor("ChannelTool")), &CreatePlain);
  EXPECT_EQ(CreatorOf(plain.FindDescriptor("ChannelTool")), &CreatePlain);
  // Ids are exact keys in the registry too.
  const ScopedRegistration absent("Nest16");
  const ScopedRegistration lower("nest16", &CreatePlain);
  EXPECT_EQ(RCatalogue(true).FindDescriptor("Nest16"), nullptr);
}

TEST(CatalogueRegistry, RegisteringAgainReplacesTheCreator) {
  const ScopedRegistration first("Decimator", &CreatePlain);
  {
    const ScopedRegistration second("Decimator", &CreateSideChain);
    EXPECT_EQ(CreatorOf(RCatalogue(false).FindDescriptor("Decimator")), &CreateSideChain);
  }
  EXPECT_EQ(CreatorOf(RCatalogue(false).FindDescriptor("Decimator")), &CreatePlain);
}

}  // namespace
