// Nested graphs: the catalogue's Nest rows, locks reached through the parent chain, parameter
// tables mirrored with the slots' names as prefixes, and a nested graph's slots in the store.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "base/tagitem.h"
#include "graph/moduleregistry.h"
#include "graph/nestedgraph.h"
#include "graph/pluginslot.h"
#include "modulation/multiparameter.h"
#include "storetestmodules.h"

using namespace storetest;

namespace {

// The registry is process-wide: the nested rows' creators are put back as they were after
// each test, so that tests of the catalogue see the registry they expect.
class NestingTest : public ::testing::Test {
protected:
  static constexpr const char* kRows[] = {"Nest6", "Nest16", "Nest32"};

  void SetUp() override {
    for (const char* id : kRows) {
      const RString row = RString::FromLatin1(id);
      saved_.push_back({RModuleRegistry::Find(row, false), RModuleRegistry::Find(row, true)});
    }
    RegisterNestedGraphs();
  }
  void TearDown() override {
    for (size_t i = 0; i < saved_.size(); ++i) {
      const RString row = RString::FromLatin1(kRows[i]);
      if (saved_[i].first)
        RModuleRegistry::Register(row, saved_[i].first, saved_[i].second);
      else
        RModuleRegistry::Unregister(row);
    }
  }

  // A product-like graph with a Nest32 at (0, 0) holding a gain at (2, 1).
  std::unique_ptr<RAudioPluginModular> MakeNestedPair(RAudioPluginModular*& inner) {
    auto outer = MakeGraph(6, true);
    RPluginSlot* nest = Place(*outer, "Nest32", 0, 0, false);
    inner = nest ? dynamic_cast<RAudioPluginModular*>(&nest->GetModule()) : nullptr;
    if (inner) {
      AddTestRows(*inner);
      Place(*inner, "TestGain", 2, 1, false);
    }
    return outer;
  }

private:
  std::vector<std::pair<RModuleCreator, RModuleCreator>> saved_;
};

} // namespace

TEST_F(NestingTest, NestRowsBuildGraphsOfTheirLaneCounts) {
  auto graph = MakeGraph(6, true);
  const std::pair<const char*, int32_t> rows[] = {{"Nest6", 6}, {"Nest16", 16}, {"Nest32", 32}};
  int32_t x = 0;
  for (const auto& [name, lanes] : rows) {
    RPluginSlot* slot = Place(*graph, name, x++, 0);
    ASSERT_NE(slot, nullptr) << name;
    auto* nested = dynamic_cast<RAudioPluginModular*>(&slot->GetModule());
    ASSERT_NE(nested, nullptr) << name;
    EXPECT_EQ(nested->GetLaneCount(), lanes);
    // Built inside a graph with a side-chain, it has two inputs of its own.
    EXPECT_EQ(nested->GetInputNames().size(), 2u);
    EXPECT_EQ(nested->GetParent(), graph.get());
  }
}

TEST_F(NestingTest, ANestedGraphLocksThroughTheRoot) {
  RAudioPluginModular* inner = nullptr;
  auto outer = MakeNestedPair(inner);
  ASSERT_NE(inner, nullptr);
  EXPECT_EQ(&inner->GetRootModular(), outer.get());

  // While another thread holds the root's locks, the nested graph can't have its own.
  std::atomic<bool> held{false}, release{false};
  std::thread holder([&] {
    outer->GetAudioLock().Lock();
    outer->GetEventLock().Lock();
    held = true;
    while (!release) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    outer->GetEventLock().Unlock();
    outer->GetAudioLock().Unlock();
  });
  while (!held) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  const bool audioFree = inner->GetAudioLock().TryLock();
  const bool eventFree = inner->GetEventLock().TryLock();
  release = true;
  holder.join();
  EXPECT_FALSE(audioFree);
  EXPECT_FALSE(eventFree);
  EXPECT_TRUE(inner->GetAudioLock().TryLock());
  inner->GetAudioLock().Unlock();
}

TEST_F(NestingTest, NestedParametersAreMirroredWithPrefixes) {
  RAudioPluginModular* inner = nullptr;
  auto outer = MakeNestedPair(inner);
  ASSERT_NE(inner, nullptr);
  RGainModule& gain = GainOf(*inner->GetCell(2, 1));

  const int32_t innerIndex = inner->GetParameterIndex(RString("TestGain 1 - Gain"));
  const int32_t outerIndex = outer->GetParameterIndex(RString("Nest32 1 - TestGain 1 - Gain"));
  ASSERT_GE(innerIndex, 0);
  ASSERT_GE(outerIndex, 0);
  EXPECT_EQ(outer->GetParameterValue(outerIndex), &gain.Gain);
  EXPECT_TRUE(outer->GetParameter(outerIndex)->Mirrored);
  EXPECT_GE(outer->GetParameterIndex(RString("Nest32 1 - Enabled")), 0);
  EXPECT_GE(outer->GetParameterIndex(RString("Nest32 1 - TestGain 1 - Enabled")), 0);

  // A change through the root's table reaches the module inside.
  outer->GetParameterValue(outerIndex)->SetNormalised(0.25);
  EXPECT_DOUBLE_EQ(gain.Gain.GetValue(), 0.5);
}

TEST_F(NestingTest, ANestedGraphsSlotsTravelInTheStore) {
  // Graphs built while this holds find the gain under a row every catalogue has, so the
  // nested graph that a load builds can create it too.
  const RModuleCreator previous = RModuleRegistry::Find(RString("ChannelTool"), false);
  RModuleRegistry::Register(RString("ChannelTool"), &CreateGain);
  auto outer = MakeGraph(6, true);
  auto* inner = dynamic_cast<RAudioPluginModular*>(&Place(*outer, "Nest16", 1, 3, false)->GetModule());
  ASSERT_NE(inner, nullptr);
  RPluginSlot* gainSlot = Place(*inner, "ChannelTool", 4, 2, false);
  ASSERT_NE(gainSlot, nullptr);
  GainOf(*gainSlot).Gain.SetValueNow(1.5);
  inner->SetOutputEnabled(5, false);
  RTagItem tree;
  outer->SaveStateTree(tree);

  auto loaded = MakeGraph(6, true);
  loaded->LoadStateTree(tree);
  if (previous) RModuleRegistry::Register(RString("ChannelTool"), previous);
  else RModuleRegistry::Unregister(RString("ChannelTool"));

  ASSERT_NE(loaded->GetCell(1, 3), nullptr);
  auto* copy = dynamic_cast<RAudioPluginModular*>(&loaded->GetCell(1, 3)->GetModule());
  ASSERT_NE(copy, nullptr);
  EXPECT_EQ(copy->GetLaneCount(), 16);
  ASSERT_NE(copy->GetCell(4, 2), nullptr);
  EXPECT_DOUBLE_EQ(GainOf(*copy->GetCell(4, 2)).Gain.GetValue(), 1.5);
  EXPECT_FALSE(copy->GetOutputEnabled(5));
  EXPECT_GE(loaded->GetParameterIndex(RString("Nest16 1 - ChannelTool 1 - Gain")), 0);
}

TEST_F(NestingTest, MultiParameterTargetsFollowTheTableWhenSlotsChange) {
  auto graph = std::make_unique<RAudioPluginModular>(RString("RTestGraph"), 6, false);
  AddTestRows(*graph);
  graph->SetMultiParameterCount(1);
  graph->InitParameters();
  Prepare(*graph);
  Place(*graph, "TestGain", 0, 0, false);
  RPluginSlot* second = Place(*graph, "TestGain", 1, 0, false);
  RMultiParameter* control = graph->GetMultiParameter(0);
  control->AddTarget(RString("TestGain 2 - Gain"));
  // Replacing the first slot moves the second one's records up the table; the newcomer's
  // take their place at the end.
  RPluginSlot* newcomer = Place(*graph, "TestGain", 0, 0, false);
  ASSERT_EQ(Utf8(newcomer->FullName), "TestGain 1");
  control->SetValueNow(0.75);
  EXPECT_DOUBLE_EQ(GainOf(*second).Gain.GetProcessing(), 1.5);
  EXPECT_DOUBLE_EQ(GainOf(*newcomer).Gain.GetProcessing(), 1.0);
}
