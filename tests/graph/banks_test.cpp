// Banks of a slot: whole module states switched by the Bank parameter, filled when the slot
// is saved, and empty banks loading as defaults.
#include <gtest/gtest.h>

#include "base/tagitem.h"
#include "graph/banks.h"
#include "graph/pluginslot.h"
#include "kernel/storecontext.h"
#include "modulation/multiparameter.h"
#include "storetestmodules.h"

using namespace storetest;

namespace {

// A slot of three banks whose stored states hold gains 0.25 and 0.75 in banks 0 and 1; bank
// 2 was never written.
RPluginSlot& LoadBankedSlot(RAudioPluginModular& graph) {
  RTagItem root(RString("RTestGraphsettings"));
  RTagItem* item = root.AddSubItem(RString("Plugins"))->AddSubItem(RString("Plugin"));
  item->SetAttribute(RHashedString("X"), 0);
  item->SetAttribute(RHashedString("Y"), 0);
  item->SetAttribute(RHashedString("Name"), RString("TestGain"));
  item->SetAttribute(RHashedString("BankCount"), 3);
  item->AddSubItem(RString("Bank0"))->SetAttribute(RHashedString("#Gain"), 0.25);
  item->AddSubItem(RString("Bank1"))->SetAttribute(RHashedString("#Gain"), 0.75);
  item->AddSubItem(RString("PluginSettings"))->SetAttribute(RHashedString("#Gain"), 0.25);
  graph.LoadStateTree(root);
  return *graph.GetCell(0, 0);
}

// As a host or a multi-parameter moves it; the switch itself is heard on the editor's side.
void MoveBank(RPluginSlot& slot, int32_t bank) {
  const RValueRange& range = *slot.Bank->GetRange();
  const double normalised = (double(bank) - range.GetMin()) / (range.GetMax() - range.GetMin());
  slot.Bank->SetNormalised(normalised);
  slot.Bank->SetProcessing(normalised);
  slot.GetGraph().DeliverSlotChanges();
}

} // namespace

TEST(GraphBanks, MovingTheBankParameterLoadsThatBanksState) {
  auto graph = MakeGraph();
  RPluginSlot& slot = LoadBankedSlot(*graph);
  ASSERT_EQ(slot.BankCount, 3);
  EXPECT_DOUBLE_EQ(slot.Bank->GetRange()->GetMax(), 2.0);
  EXPECT_DOUBLE_EQ(GainOf(slot).Gain.GetValue(), 0.25);

  MoveBank(slot, 1);
  EXPECT_EQ(slot.CurrentBank, 1);
  EXPECT_DOUBLE_EQ(GainOf(slot).Gain.GetValue(), 0.75);
  // A bank never written loads as an empty element: the module's defaults.
  MoveBank(slot, 2);
  EXPECT_EQ(slot.CurrentBank, 2);
  EXPECT_DOUBLE_EQ(GainOf(slot).Gain.GetValue(), 1.0);
  MoveBank(slot, 0);
  EXPECT_DOUBLE_EQ(GainOf(slot).Gain.GetValue(), 0.25);
}

TEST(GraphBanks, ASwitchFromTheAudioThreadWaitsForTheEditorSide) {
  auto graph = MakeGraph();
  RPluginSlot& slot = LoadBankedSlot(*graph);
  // What a multi-parameter does on the audio thread: both values move, nothing loads there.
  const double second = 1.0 / slot.Bank->GetRange()->GetMax();
  slot.Bank->SetNormalised(second);
  slot.Bank->SetProcessing(second);
  EXPECT_EQ(slot.CurrentBank, 0);
  EXPECT_DOUBLE_EQ(GainOf(slot).Gain.GetValue(), 0.25);
  graph->DeliverSlotChanges();
  EXPECT_EQ(slot.CurrentBank, 1);
  EXPECT_DOUBLE_EQ(GainOf(slot).Gain.GetValue(), 0.75);
}

TEST(GraphBanks, ASingleBankOrTheSameBankChangesNothing) {
  auto graph = MakeGraph();
  RPluginSlot& banked = LoadBankedSlot(*graph);
  GainOf(banked).Gain.SetValueNow(1.5);
  banked.BankChanged(0);
  EXPECT_DOUBLE_EQ(GainOf(banked).Gain.GetValue(), 1.5);

  RPluginSlot& plain = *Place(*graph, "TestGain", 1, 0);
  GainOf(plain).Gain.SetValueNow(1.5);
  plain.BankChanged(1);
  EXPECT_EQ(plain.CurrentBank, 0);
  EXPECT_DOUBLE_EQ(GainOf(plain).Gain.GetValue(), 1.5);
}

TEST(GraphBanks, SavingFillsTheCurrentBankWithWhatIsHeard) {
  auto graph = MakeGraph();
  RPluginSlot& slot = LoadBankedSlot(*graph);
  MoveBank(slot, 1);
  GainOf(slot).Gain.SetValueNow(1.25);
  RTagItem tree;
  graph->SaveStateTree(tree);

  auto loaded = MakeGraph();
  loaded->LoadStateTree(tree);
  RPluginSlot& copy = *loaded->GetCell(0, 0);
  EXPECT_EQ(copy.CurrentBank, 1);
  EXPECT_DOUBLE_EQ(GainOf(copy).Gain.GetValue(), 1.25);
  MoveBank(copy, 0);
  EXPECT_DOUBLE_EQ(GainOf(copy).Gain.GetValue(), 0.25);
  MoveBank(copy, 1);
  EXPECT_DOUBLE_EQ(GainOf(copy).Gain.GetValue(), 1.25);
}

TEST(GraphBanks, MultiParameterListsReadNumbersBetweenCommas) {
  EXPECT_EQ(RBanks::ParseNumbers(RString("1,4, 7")), (std::vector<int32_t>{1, 4, 7}));
  EXPECT_EQ(RBanks::ParseNumbers(RString("x,,3,2b,-1")), (std::vector<int32_t>{3, -1}));
  EXPECT_TRUE(RBanks::ParseNumbers(RString()).empty());
}

TEST(GraphBanks, NamedMultiParametersPushTheirValuesAgainAfterAChange) {
  auto graph = std::make_unique<RAudioPluginModular>(RString("RTestGraph"), 6, false);
  AddTestRows(*graph);
  graph->SetMultiParameterCount(2);
  graph->InitParameters();
  RPluginSlot& slot = LoadBankedSlot(*graph);
  RMultiParameter* control = graph->GetMultiParameter(1);
  ASSERT_NE(control, nullptr);
  control->AddTarget(RString("TestGain 1 - Gain"));
  Prepare(*graph);
  control->SetValueNow(0.25);
  ASSERT_DOUBLE_EQ(GainOf(slot).Gain.GetProcessing(), 0.5);

  // Without the list the bank's own gain stands.
  MoveBank(slot, 1);
  EXPECT_DOUBLE_EQ(GainOf(slot).Gain.GetProcessing(), 0.75);
  // Numbers count from 1; those out of range are passed over.
  slot.BankUpdateMP = RString("7,2,0");
  MoveBank(slot, 0);
  EXPECT_DOUBLE_EQ(GainOf(slot).Gain.GetProcessing(), 0.5);
}
