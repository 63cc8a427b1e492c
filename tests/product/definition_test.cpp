// The product's definition as the program reads it: the attributes of the built-in tree, the
// shared options and their defaults, the stored modules, and the two failures a definition
// can cause against the default state.

#include <gtest/gtest.h>

#include <string>

#include "base/exception.h"
#include "base/memorystream.h"
#include "base/tagitem.h"
#include "graph/product/embeddedtree.h"
#include "graph/product/productdefinition.h"
#include "graph/product/quillon.h"
#include "modules/registermodules.h"
#include "tests/product/producttest.h"

namespace {

std::string Text(const RString& text) { return text.ToUTF8(); }

TEST(ProductDefinitionTest, TheBuiltInDefinitionSaysWhatTheProductIs) {
  RTagItem plugin;
  product_test::ReadBuiltInDefinition(plugin);
  RProductDefinition definition;
  definition.Read(plugin);
  EXPECT_EQ(Text(definition.GetTree().GetName()), "plugin");
  EXPECT_EQ(Text(definition.GetName()), "QUILLON");
  EXPECT_EQ(Text(definition.GetCompany()), "VarnholtStudios");
  EXPECT_EQ(definition.GetMultiParameterCount(), 81);
  EXPECT_EQ(definition.GetPublicMultiParameterCount(), 52);
  EXPECT_EQ(definition.GetModulatorCount(), 0);
  EXPECT_EQ(definition.GetMIDIParameterCount(), 0);
  EXPECT_TRUE(definition.HasSideChain());
  EXPECT_EQ(definition.GetMaxOversampling(), 8);
  EXPECT_EQ(definition.GetSmartInterpolation(), 256);
  EXPECT_EQ(definition.GetPresetFolders(), 1);
  EXPECT_EQ(Text(definition.GetCeilingParam()), "Clip - Output gain");
  for (const char* key : {"www", "wwwhelp", "email", "color0", "color1", "color2", "color3", "disabledalpha"})
    EXPECT_FALSE(definition.GetText(key).IsEmpty()) << key;
  EXPECT_GT(definition.GetDouble("disabledalpha", 0.0), 0.0);
  EXPECT_LT(definition.GetDouble("disabledalpha", 1.0), 1.0);
  EXPECT_TRUE(definition.GetStoreModules().empty());
}

TEST(ProductDefinitionTest, TheEmbeddedTreesExpandToTheSizesRecordedWithThem) {
  for (const REmbeddedTree* embedded : {&kProductDefinitionTree, &kProductDefaultStateTree}) {
    RTagItem root;
    ReadEmbeddedTree(*embedded, root);
    RMemoryStream binary;
    root.WriteBinary(binary);
    EXPECT_EQ(size_t(binary.GetSize()), embedded->DecompressedSize);
    EXPECT_LT(embedded->CompressedSize, embedded->DecompressedSize);
  }
  RTagItem state;
  ReadEmbeddedTree(kProductDefaultStateTree, state);
  EXPECT_EQ(Text(state.GetName()), "Switchyardsettings");
}

// The keys as the product's description lists them, in their reading order.
constexpr const char* kSharedOptionKeys[] = {
    "OscAutomateStepSequencer", "OscAutomateCustomShape", "OscAutomateTransform", "OscAutomateShapeHarmonics",
    "OscAutomateHarmonics", "ModulatorAutomateShape", "ModularExMods", "ModularExMPs", "FreeformEqAutomateShape",
    "DynamicsAutomateCustomShape", "DynamicsAutomateEq", "DenseVerbAutomateTaps", "DenseVerbAutomateMPRanges",
    "SqueezeStageAutomateMPRanges", "SqueezeStageAutomateFollowerEq", "SqueezeStageAutomateFollowerTransform",
    "SqueezeStageModulators", "DenseVerbModulators", "SpectralDynamicsAutomateShapes", "TransientAutomateShapes",
    "TransformerAutomateShapes"};
static_assert(std::size(kSharedOptionKeys) == RSharedOptions::kKeyCount);

TEST(SharedOptionsTest, EveryKeyIsReadUnderItsNameInItsPlace) {
  RTagItem plugin(RString("plugin"));
  for (int32_t k = 0; k < RSharedOptions::kKeyCount; ++k)
    plugin.SetAttribute(RHashedString(RShortString::FromLatin1(kSharedOptionKeys[k])), k + 2);
  RSharedOptions options;
  options.Read(plugin);
  for (int32_t k = 0; k < RSharedOptions::kKeyCount; ++k)
    EXPECT_EQ(options.Get(RSharedOptions::Key(k)), k + 2) << kSharedOptionKeys[k];
}

TEST(SharedOptionsTest, AbsentKeysAreOffButOneModulatorSlotStaysAndTheProductSwitchesOneOn) {
  RSharedOptions blank;
  blank.Read(RTagItem(RString("plugin")));
  RegisterModules();
  RQuillon product;
  for (int32_t k = 0; k < RSharedOptions::kKeyCount; ++k) {
    const auto key = RSharedOptions::Key(k);
    SCOPED_TRACE(kSharedOptionKeys[k]);
    EXPECT_EQ(blank.Get(key), key == RSharedOptions::kModularExMods ? 1 : 0);
    EXPECT_EQ(product.GetSharedOptions().Get(key), key == RSharedOptions::kSqueezeStageAutomateFollowerEq ? 1 : blank.Get(key));
  }
}

TEST(ProductDefinitionTest, StoredModulesAreFoundInTheDefaultGraph) {
  RTagItem plugin;
  product_test::ReadBuiltInDefinition(plugin);
  plugin.AddSubItem(RString("storemodule"))->SetAttribute(RHashedString("name"), RString("Clip"));
  RTagItem* byText = plugin.AddSubItem(RString("storemodule"));
  byText->Value().SetText(RShortString("Press"));
  byText->SetAttribute(RHashedString("presets"), 0);

  auto product = RQuillon::Create(plugin);
  const auto& stored = product->GetStoredModules();
  ASSERT_EQ(stored.size(), 2u);
  EXPECT_EQ(Text(stored[0].Name), "Clip");
  EXPECT_EQ(stored[0].Module, &product->FindSlot(RString("Clip"))->GetModule());
  EXPECT_TRUE(stored[0].Presets);
  EXPECT_EQ(Text(stored[1].Name), "Press");
  EXPECT_EQ(stored[1].Module, &product->FindSlot(RString("Press"))->GetModule());
  EXPECT_FALSE(stored[1].Presets);
}

// The message of the failure that building a product from plugin throws; empty when none.
std::string CreationFailure(const RTagItem& plugin) {
  try {
    RQuillon::Create(plugin);
  } catch (const RException& e) {
    return e.GetMessage().ToUTF8();
  }
  return std::string();
}

TEST(ProductDefinitionTest, NamesTheDefaultStateLacksAreReportedAsTheirMessagesSay) {
  RTagItem unknownModule;
  product_test::ReadBuiltInDefinition(unknownModule);
  unknownModule.AddSubItem(RString("storemodule"))->SetAttribute(RHashedString("name"), RString("Nowhere"));
  EXPECT_EQ(CreationFailure(unknownModule), "Module with id Nowhere has not been found.");

  RTagItem unknownCeiling;
  product_test::ReadBuiltInDefinition(unknownCeiling);
  unknownCeiling.SetAttribute(RHashedString("CeilingParam"), RString("Clip - Nothing"));
  EXPECT_EQ(CreationFailure(unknownCeiling), "Ceiling parameter has not been found.");

  RTagItem noCeiling;
  product_test::ReadBuiltInDefinition(noCeiling);
  noCeiling.RemoveAttribute(RHashedString("CeilingParam"));
  EXPECT_EQ(CreationFailure(noCeiling), "");
}

TEST(ProductDefinitionTest, LatencyReportingFollowsTheDefinitionOnlyWhereItSaysSo) {
  RTagItem plugin;
  product_test::ReadBuiltInDefinition(plugin);
  plugin.SetAttribute(RHashedString("latencyreporting"), 0);
  auto silent = RQuillon::Create(plugin);
  RTagItem state;
  silent->SaveStateTree(state);
  bool reporting = true;
  EXPECT_TRUE(state.ReadAttribute(RHashedString("EnableLatencyReporting"), reporting));
  EXPECT_FALSE(reporting);

  auto product = RQuillon::Create();
  product->SaveStateTree(state);
  EXPECT_FALSE(state.FindAttribute(RHashedString("EnableLatencyReporting"))) << "the default: on";
}

TEST(ProductDefinitionTest, SmartInterpolationSetsBothModulationIntervalsUntilTheStateSaysOtherwise) {
  RTagItem plugin;
  product_test::ReadBuiltInDefinition(plugin);
  plugin.SetAttribute(RHashedString("smartinterpolation"), 64);
  RegisterModules();
  RQuillon product(plugin);
  product.CreateProcessors();
  EXPECT_EQ(product.GetSharedData().MaxLFOBlockSize, 64);
  EXPECT_EQ(product.GetSharedData().MaxLFOBlockSizeOffline, 64);
  product.InitParameters();
  product.ResetToDefaults();
  EXPECT_EQ(product.GetSharedData().MaxLFOBlockSize, 32);
  EXPECT_EQ(product.GetSharedData().MaxLFOBlockSizeOffline, 1);
}

} // namespace
