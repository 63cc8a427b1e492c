// Display names of slots and slot creation: unique names on load, numbered names of new
// slots, and what creation does in and out of batch mode.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "base/tagitem.h"
#include "graph/pluginslot.h"
#include "storetestmodules.h"

using namespace storetest;

namespace {

void FillWithNames(RTagItem& root, std::initializer_list<const char*> names) {
  root.SetName(RString("RTestGraphsettings"));
  RTagItem* plugins = root.AddSubItem(RString("Plugins"));
  int32_t x = 0;
  for (const char* name : names) {
    RTagItem* item = plugins->AddSubItem(RString("Plugin"));
    item->SetAttribute(RHashedString("X"), x++);
    item->SetAttribute(RHashedString("Y"), 0);
    item->SetAttribute(RHashedString("Name"), RString("TestGain"));
    item->SetAttribute(RHashedString("FullName"), RString::FromLatin1(name));
  }
}

std::vector<std::string> FullNames(const RAudioPluginModular& graph) {
  std::vector<std::string> names;
  for (const auto& slot : graph.GetSlots()) names.push_back(Utf8(slot->FullName));
  return names;
}

void CountCall(void* receiver, void*, int32_t, const REventPayload&) { ++*static_cast<int*>(receiver); }

} // namespace

TEST(GraphNames, DuplicateNamesInAFileBecomeNumbered) {
  auto graph = MakeGraph();
  RTagItem two;
  FillWithNames(two, {"D", "D"});
  graph->LoadStateTree(two);
  EXPECT_EQ(FullNames(*graph), (std::vector<std::string>{"D", "D 1"}));

  // The renaming starts from the slot's own name and skips numbers already taken.
  RTagItem many;
  FillWithNames(many, {"D", "D 1", "D", "E", "d"});
  graph->LoadStateTree(many);
  EXPECT_EQ(FullNames(*graph), (std::vector<std::string>{"D", "D 1", "D 2", "E", "d 3"}));
}

TEST(GraphNames, NewSlotsAreNumberedFromOne) {
  auto graph = MakeGraph();
  EXPECT_EQ(Utf8(Place(*graph, "TestGain", 0, 0)->FullName), "TestGain 1");
  EXPECT_EQ(Utf8(Place(*graph, "TestGain", 1, 0)->FullName), "TestGain 2");
  // Replacing the first frees its number for the newcomer.
  EXPECT_EQ(Utf8(Place(*graph, "TestGain", 0, 0)->FullName), "TestGain 1");
  EXPECT_EQ(graph->GetSlots().size(), 2u);
  EXPECT_EQ(Utf8(graph->FindUniqueName(RString("Other"))), "Other 1");
}

TEST(GraphNames, CreationOutsideBatchModeCompilesAndTellsListeners) {
  auto graph = MakeGraph();
  Prepare(*graph);
  int before = 0, after = 0;
  graph->BeforeChange.Subscribe(&before, nullptr, 0, &CountCall);
  graph->AfterChange.Subscribe(&after, nullptr, 0, &CountCall);

  const int32_t version = graph->GetGraphVersion();
  RPluginSlot* batch = Place(*graph, "TestGain", 0, 0, true);
  ASSERT_NE(batch, nullptr);
  EXPECT_EQ(graph->GetGraphVersion(), version);
  EXPECT_EQ(before + after, 0);
  EXPECT_TRUE(graph->GetProcessors().empty());

  RPluginSlot* live = Place(*graph, "TestGain", 0, 1, false);
  ASSERT_NE(live, nullptr);
  EXPECT_EQ(graph->GetGraphVersion(), version + 1);
  EXPECT_EQ(before, 1);
  EXPECT_EQ(after, 1);
  EXPECT_EQ(graph->GetProcessors().size(), 2u);
  // The host's table reaches the new slot's parameters.
  EXPECT_GE(graph->GetParameterIndex(RString("TestGain 2 - Gain")), 0);
  EXPECT_GE(graph->GetParameterIndex(RString("TestGain 2 - Enabled")), 0);
}

TEST(GraphNames, CreationWaitsForTheRootsEventLock) {
  auto graph = MakeGraph();
  Prepare(*graph);
  std::atomic<bool> held{false}, release{false};
  std::thread holder([&] {
    graph->GetEventLock().Lock();
    held = true;
    while (!release) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    graph->GetEventLock().Unlock();
  });
  while (!held) std::this_thread::sleep_for(std::chrono::milliseconds(1));

  std::atomic<bool> created{false};
  std::thread creator([&] {
    Place(*graph, "TestGain", 0, 0, false);
    created = true;
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  EXPECT_FALSE(created.load());
  release = true;
  creator.join();
  holder.join();
  EXPECT_TRUE(created.load());
  EXPECT_EQ(graph->GetSlots().size(), 1u);
}
