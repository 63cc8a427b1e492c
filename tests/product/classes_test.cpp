// The class chain from the bare graph to the product: names, ids, counts and buses at each
// level, and what the product's definition changes of them.

#include <gtest/gtest.h>

#include "base/memorystream.h"
#include "base/tagitem.h"
#include "graph/product/quillon.h"
#include "graph/switchyard.h"
#include "modules/registermodules.h"
#include "tests/product/producttest.h"

namespace {

std::string Text(const RString& text) { return text.ToUTF8(); }

TEST(SwitchyardClassesTest, TheHostIsSwitchyardWithItsLanesBusesAndCounts) {
  RegisterModules();
  RSwitchyard host;
  EXPECT_EQ(Text(host.GetName()), "Switchyard");
  EXPECT_EQ(Text(host.GetClassName()), "Switchyard");
  EXPECT_EQ(Text(host.GetInternalId()), "Switchyard1");
  EXPECT_EQ(host.GetLaneCount(), 6);
  EXPECT_EQ(host.GetMultiParameterCount(), 100);
  EXPECT_EQ(host.GetModulatorCount(), 16);
  ASSERT_EQ(host.GetInputNames().size(), 2u);
  EXPECT_EQ(Text(host.GetInputNames()[0]), "Input");
  EXPECT_EQ(Text(host.GetInputNames()[1]), "Sidechain");
  EXPECT_EQ(host.GetInputLaneCount(), 2);
  EXPECT_EQ(host.GetOutputLaneCount(), 2);

  host.InitParameters();
  RTagItem state;
  host.SaveStateTree(state);
  EXPECT_EQ(Text(state.GetName()), "Switchyardsettings");
}

TEST(SwitchyardClassesTest, ANestedGraphIsASwitchyardBaseNamedByItsCatalogueRow) {
  RegisterModules();
  RSwitchyard host;
  host.InitParameters();
  for (const auto& [row, lanes] : {std::pair{"Nest6", 6}, std::pair{"Nest16", 16}, std::pair{"Nest32", 32}}) {
    SCOPED_TRACE(row);
    const PluginDescriptor* descriptor = host.FindDescriptor(RString::FromLatin1(row));
    ASSERT_NE(descriptor, nullptr);
    RPluginSlot* slot = host.CreateSlot(0, 0, *descriptor, true);
    auto* nested = dynamic_cast<RSwitchyardBase*>(&slot->GetModule());
    ASSERT_NE(nested, nullptr);
    EXPECT_EQ(dynamic_cast<RSwitchyard*>(nested), nullptr) << "a nested graph is no host";
    EXPECT_EQ(Text(nested->GetName()), row);
    EXPECT_EQ(Text(nested->GetClassName()), "Switchyard");
    EXPECT_EQ(Text(nested->GetInternalId()), "SwitchyardCreative");
    EXPECT_EQ(nested->GetLaneCount(), lanes);
    EXPECT_EQ(nested->GetParent(), &host);
  }
}

TEST(SwitchyardClassesTest, TheProductTakesItsCountsFromItsDefinition) {
  auto product = RQuillon::Create();
  EXPECT_EQ(Text(product->GetClassName()), "Quillon");
  EXPECT_EQ(Text(product->GetInternalId()), "Switchyard1");
  EXPECT_EQ(Text(product->GetName()), "Switchyard") << "its states keep the host's root";
  EXPECT_EQ(Text(product->GetProductName()), "QUILLON");
  EXPECT_EQ(product->GetMultiParameterCount(), 81);
  EXPECT_EQ(product->GetPublicMultiParameterCount(), 52);
  EXPECT_EQ(product->GetAutomatableCount(), 52);
  EXPECT_EQ(product->GetModulatorCount(), 0);
  EXPECT_EQ(product->GetMIDIParameterCount(), 0);
  EXPECT_FALSE(product->GetResetOnPreset());
  EXPECT_EQ(product->GetLaneCount(), 6);
}

TEST(SwitchyardClassesTest, TheDefinitionsCountsAreCutToTheHostsAndAbsentOnesLeaveItsDefault) {
  RTagItem plugin;
  product_test::ReadBuiltInDefinition(plugin);
  plugin.SetAttribute(RHashedString("multi"), 500);
  plugin.SetAttribute(RHashedString("publicmulti"), 300);
  plugin.SetAttribute(RHashedString("mod"), 40);
  auto large = RQuillon::Create(plugin);
  EXPECT_EQ(large->GetMultiParameterCount(), RSwitchyard::kMaxMultiParameters);
  EXPECT_EQ(large->GetPublicMultiParameterCount(), RSwitchyard::kMaxMultiParameters);
  EXPECT_EQ(large->GetModulatorCount(), RSwitchyard::kActiveModulators);

  plugin.RemoveAttribute(RHashedString("multi"));
  plugin.RemoveAttribute(RHashedString("publicmulti"));
  auto plain = RQuillon::Create(plugin);
  EXPECT_EQ(plain->GetMultiParameterCount(), RSwitchyard::kDefaultMultiParameters);
  EXPECT_EQ(plain->GetAutomatableCount(), plain->GetParameterCount()) << "no public list: the host sees all";
}

} // namespace
