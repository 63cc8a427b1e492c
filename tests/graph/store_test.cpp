// The graph's stored state: slots with their attributes, modules this build doesn't know,
// limits of the bank keys, the outputs' switches, older keys, the single-module import, and a
// graph that compiles to the same list after a store and a load.
#include <gtest/gtest.h>

#include "base/tagitem.h"
#include "graph/pluginslot.h"
#include "kernel/storecontext.h"
#include "storetestmodules.h"

using namespace storetest;

namespace {

RTagItem* AddPlugin(RTagItem& plugins, const char* name, int32_t x, int32_t y) {
  RTagItem* item = plugins.AddSubItem(RString("Plugin"));
  item->SetAttribute(RHashedString("X"), x);
  item->SetAttribute(RHashedString("Y"), y);
  item->SetAttribute(RHashedString("Name"), RString::FromLatin1(name));
  item->SetAttribute(RHashedString("FullName"), RString::FromLatin1(name));
  return item;
}

void WriteSlot(RPluginSlot& slot, RTagItem& element) {
  RStoreContext context(element, RStoreContext::kWriting | RStoreContext::kNewKeys);
  slot.Store(context);
}

void ReadSlot(RPluginSlot& slot, RTagItem& element) {
  RStoreContext context(element, RStoreContext::kNewKeys);
  slot.Store(context);
}

bool Has(const RTagItem& element, const char* key) {
  return element.FindAttribute(RHashedString(RShortString::FromLatin1(key))) != nullptr;
}

} // namespace

TEST(GraphStore, UnknownModuleIsSkippedWithItsLogLineAndTheRestLoads) {
  CapturedLog log;
  auto graph = MakeGraph();
  RTagItem root(RString("RTestGraphsettings"));
  RTagItem* plugins = root.AddSubItem(RString("Plugins"));
  AddPlugin(*plugins, "NoSuchModule", 0, 0);
  AddPlugin(*plugins, "TestGain", 1, 2);
  graph->LoadStateTree(root);

  ASSERT_EQ(graph->GetSlots().size(), 1u);
  EXPECT_EQ(graph->GetCell(1, 2), graph->GetSlots()[0].get());
  EXPECT_EQ(graph->GetCell(0, 0), nullptr);
  EXPECT_NE(log.Text().find("Module not found: NoSuchModule"), std::string::npos);
}

TEST(GraphStore, BankKeysAreClampedOnLoad) {
  auto graph = MakeGraph();
  RTagItem root(RString("RTestGraphsettings"));
  RTagItem* plugins = root.AddSubItem(RString("Plugins"));
  RTagItem* item = AddPlugin(*plugins, "TestGain", 0, 0);
  item->SetAttribute(RHashedString("BankCount"), 100);
  item->SetAttribute(RHashedString("CurrentBank"), 70);
  RTagItem* low = AddPlugin(*plugins, "TestGain", 1, 0);
  low->SetAttribute(RHashedString("BankCount"), -3);
  low->SetAttribute(RHashedString("CurrentBank"), -8);
  graph->LoadStateTree(root);

  RPluginSlot& slot = *graph->GetCell(0, 0);
  EXPECT_EQ(slot.BankCount, 64);
  EXPECT_EQ(slot.CurrentBank, 63);
  EXPECT_EQ(slot.Banks.size(), 64u);
  EXPECT_DOUBLE_EQ(slot.Bank->GetRange()->GetMax(), 63.0);
  RPluginSlot& other = *graph->GetCell(1, 0);
  EXPECT_EQ(other.BankCount, 1);
  EXPECT_EQ(other.CurrentBank, 0);
  // One bank still selects between two positions.
  EXPECT_DOUBLE_EQ(other.Bank->GetRange()->GetMax(), 1.0);
}

TEST(GraphStore, SlotAttributesRoundTripAndDefaultsStayOut) {
  auto graph = MakeGraph();
  RPluginSlot& slot = *Place(*graph, "TestGain", 2, 3);

  RTagItem fresh(RString("Plugin"));
  WriteSlot(slot, fresh);
  for (const char* key : {"Enabled", "Mute", "DWB", "BankCount", "MaskIn", "MaskOut", "InputIndex0", "FeedbackChannel",
                          "FeedbackGain", "EnableMIDIInput", "TNoteOn", "TVOBy", "TProbability", "InputCount"}) {
    EXPECT_FALSE(Has(fresh, key)) << key;
  }
  EXPECT_TRUE(Has(fresh, "Name"));
  EXPECT_TRUE(Has(fresh, "FullName"));

  slot.Enabled->SetValueNow(0.0);
  slot.Mute = true;
  slot.DWB = true;
  slot.BankUpdateMP = RString("2,5");
  slot.BankUpdateLevel = 1;
  slot.MaskIn = 0x8000000000000005ull;
  slot.MaskInSteal = 4;
  slot.InputIndex[0] = 2;
  slot.InputSteal[0] = 1;
  slot.FeedbackChannel = 3;
  slot.FeedbackGain = 0.5;
  slot.EnableMIDIInput = true;
  slot.MIDIChannel = 10;
  slot.NoteMin = 36;
  slot.NoteMax = 48;
  slot.SynchronizePhaseIndex = 2;
  slot.Notes = RString("kick");
  slot.TNoteOn = false;
  slot.TNoteOff = true;
  slot.TCC = 12;
  slot.TProbability = 0.25;
  slot.TVOBy = RMIDITriggerSink::kVelocityOfHoldTime;
  slot.Renamed = true;
  GainOf(slot).Gain.SetValueNow(0.5);
  RTagItem written(RString("Plugin"));
  WriteSlot(slot, written);

  RPluginSlot& copy = *Place(*graph, "TestGain", 4, 4);
  ReadSlot(copy, written);
  EXPECT_FALSE(copy.IsEnabled());
  EXPECT_TRUE(copy.Mute);
  EXPECT_TRUE(copy.DWB);
  EXPECT_EQ(Utf8(copy.BankUpdateMP), "2,5");
  EXPECT_EQ(copy.BankUpdateLevel, 1);
  EXPECT_EQ(copy.MaskIn, 0x8000000000000005ull);
  EXPECT_EQ(copy.MaskInSteal, 4u);
  EXPECT_EQ(copy.InputIndex[0], 2);
  EXPECT_EQ(copy.InputSteal[0], 1);
  EXPECT_EQ(copy.FeedbackChannel, 3);
  EXPECT_DOUBLE_EQ(copy.FeedbackGain, 0.5);
  EXPECT_TRUE(copy.EnableMIDIInput);
  EXPECT_EQ(copy.MIDIChannel, 10);
  EXPECT_EQ(copy.NoteMin, 36);
  EXPECT_EQ(copy.NoteMax, 48);
  EXPECT_EQ(copy.SynchronizePhaseIndex, 2);
  EXPECT_EQ(Utf8(copy.Notes), "kick");
  EXPECT_FALSE(copy.TNoteOn);
  EXPECT_TRUE(copy.TNoteOff);
  EXPECT_EQ(copy.TCC, 12);
  EXPECT_DOUBLE_EQ(copy.TProbability, 0.25);
  EXPECT_EQ(copy.TVOBy, RMIDITriggerSink::kVelocityOfHoldTime);
  EXPECT_TRUE(copy.Renamed);
  EXPECT_DOUBLE_EQ(GainOf(copy).Gain.GetValue(), 0.5);
  // The velocity source is stored by its name.
  EXPECT_EQ(written.GetAttributeText(RHashedString("TVOBy")).ToUTF8(), "Hold time");
}

TEST(GraphStore, OutputIndexKeysRunToTheInputCount) {
  auto graph = MakeGraph(32);
  RPluginSlot& slot = *Place(*graph, "TestMany", 0, 0);
  slot.InputCount = 17;
  for (int32_t i = 0; i < 32; ++i) slot.OutputIndex[size_t(i)] = i;
  RTagItem written(RString("Plugin"));
  WriteSlot(slot, written);
  EXPECT_EQ(written.GetAttributeText(RHashedString("InputCount")).ToUTF8(), "17");
  EXPECT_TRUE(Has(written, "OutputIndex16"));
  EXPECT_FALSE(Has(written, "OutputIndex17"));

  // A fixed one-input module stores one of each, whatever the lists hold beyond.
  RPluginSlot& gain = *Place(*graph, "TestGain", 1, 0);
  for (int32_t i = 0; i < 32; ++i) gain.OutputIndex[size_t(i)] = i;
  RTagItem fixed(RString("Plugin"));
  WriteSlot(gain, fixed);
  EXPECT_FALSE(Has(fixed, "InputCount"));
  EXPECT_FALSE(Has(fixed, "OutputIndex1"));
}

TEST(GraphStore, OlderKeysOfASlotAreRead) {
  auto graph = MakeGraph();
  RPluginSlot& slot = *Place(*graph, "TestGain", 0, 0);
  RTagItem old(RString("Plugin"));
  old.SetAttribute(RHashedString("BankUpdateRoot"), true);
  old.SetAttribute(RHashedString("Bypass"), true);
  ReadSlot(slot, old);
  EXPECT_EQ(slot.BankUpdateLevel, RPluginSlot::kBankUpdateToRoot);
  EXPECT_TRUE(slot.GetModule().GetBypassValue()->IsOn());

  RTagItem notRoot(RString("Plugin"));
  notRoot.SetAttribute(RHashedString("BankUpdateRoot"), false);
  ReadSlot(slot, notRoot);
  EXPECT_EQ(slot.BankUpdateLevel, 0);
}

TEST(GraphStore, OutputSwitchesAndCellsKeepTheirPlaces) {
  auto graph = MakeGraph();
  Place(*graph, "TestGain", 3, 5);
  Place(*graph, "TestGain", 0, 5);
  Place(*graph, "TestGain", 1, 1);
  graph->SetOutputEnabled(2, false);
  RTagItem tree;
  graph->SaveStateTree(tree);

  // Row-major order, not creation order.
  const RTagItem* plugins = tree.FindSubItem(RString("Plugins"));
  ASSERT_NE(plugins, nullptr);
  std::vector<std::string> cells;
  for (const RTagItem* p = plugins->GetFirstSubItem(); p; p = p->GetNext())
    cells.push_back(p->GetAttributeText(RHashedString("X")).ToUTF8() + "," + p->GetAttributeText(RHashedString("Y")).ToUTF8());
  EXPECT_EQ(cells, (std::vector<std::string>{"1,1", "0,5", "3,5"}));
  // Only the switched-off output is written.
  EXPECT_NE(tree.FindSubItem(RString("Output2")), nullptr);
  EXPECT_EQ(tree.FindSubItem(RString("Output0")), nullptr);

  auto loaded = MakeGraph();
  loaded->LoadStateTree(tree);
  EXPECT_FALSE(loaded->GetOutputEnabled(2));
  EXPECT_TRUE(loaded->GetOutputEnabled(0));
  EXPECT_NE(loaded->GetCell(3, 5), nullptr);
  EXPECT_NE(loaded->GetCell(0, 5), nullptr);
  EXPECT_NE(loaded->GetCell(1, 1), nullptr);
  EXPECT_EQ(loaded->GetSlots().size(), 3u);
}

TEST(GraphStore, AGraphStoredAndLoadedCompilesToTheSameList) {
  auto graph = MakeGraph(6, true);
  Prepare(*graph);
  Place(*graph, "TestGain", 0, 0, false);
  Place(*graph, "TestSide", 1, 2, false);
  RPluginSlot* stealing = Place(*graph, "TestGain", 3, 4, false);
  stealing->InputSteal[0] = 1;
  Place(*graph, "TestMany", 2, 6, false)->MaskIn = 0b1011;
  GainOf(*graph->GetCell(0, 0)).Gain.SetValueNow(0.25);
  graph->Recompile(true);
  const std::string before = Utf8(graph->DescribeProcessors());
  ASSERT_FALSE(before.empty());

  RTagItem tree;
  graph->SaveStateTree(tree);
  auto loaded = MakeGraph(6, true);
  Prepare(*loaded);
  loaded->LoadStateTree(tree);
  EXPECT_EQ(Utf8(loaded->DescribeProcessors()), before);
  EXPECT_DOUBLE_EQ(GainOf(*loaded->GetCell(0, 0)).Gain.GetValue(), 0.25);
}

TEST(GraphStore, APresetOfOneModuleOpensAsThatModule) {
  CapturedLog log;
  auto graph = MakeGraph();
  RTagItem preset(RString("MTestSideMultiBandsettings"));
  preset.SetAttribute(RHashedString("#Gain"), 0.75);
  graph->LoadStateTree(preset);

  EXPECT_NE(log.Text().find("Modular with incorrect settings."), std::string::npos);
  ASSERT_EQ(graph->GetSlots().size(), 1u);
  RPluginSlot* slot = graph->GetCell(0, 1);
  ASSERT_NE(slot, nullptr);
  EXPECT_EQ(Utf8(slot->Name), "TestSide");
  EXPECT_DOUBLE_EQ(GainOf(*slot).Gain.GetValue(), 0.75);
  // Its side input listens to the last lane.
  EXPECT_EQ(slot->InputIndex[1], graph->GetLaneCount() - 1);

  // A tree of an unknown plug-in leaves an empty graph.
  RTagItem foreign(RString("SomethingElsesettings"));
  graph->LoadStateTree(foreign);
  EXPECT_TRUE(graph->GetSlots().empty());
}
