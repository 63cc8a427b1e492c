#pragma once
// Small modules and helpers for the tests of the graph's store, banks, names and nesting: a
// gain module with one stored value, a many-input module of variable input count, a graph
// with their catalogue rows, and a log captured into a temporary file.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "base/log.h"
#include "graph/audiopluginmodular.h"
#include "kernel/audioplugin.h"

namespace storetest {

class RGainModule : public RAudioPlugin {
public:
  RGainModule() : RAudioPlugin(RString("TestGain")) {}
  RRealValue Gain{this, RString("Gain"), 0.0, 2.0, 1.0};

  void Process(float* const* inputs, float* const* outputs, int32_t frames) override {
    const float g = float(Gain.GetProcessing());
    for (int32_t c = 0; c < GetProcessChannels(); ++c)
      for (int32_t i = 0; i < frames; ++i) outputs[c][i] = inputs[c][i] * g;
  }
  // The MIDI events queued for the next block, as the trigger tests read them.
  const std::vector<MIDIEvent>& QueuedEvents() const { return events_; }
};

// Reads any number of lanes, writes one.
class RManyModule : public RAudioPlugin {
public:
  RManyModule() : RAudioPlugin(RString("TestMany")) {}
};

inline std::unique_ptr<RAudioPlugin> CreateGain(RAudioPluginModular&) {
  auto module = std::make_unique<RGainModule>();
  module->InitParameters();
  return module;
}
inline std::unique_ptr<RAudioPlugin> CreateMany(RAudioPluginModular&) {
  auto module = std::make_unique<RManyModule>();
  module->InitParameters();
  return module;
}

// Adds the test rows to a graph's catalogue: "TestGain" (1 in, 1 out), "TestSide" (the gain
// with 2 fixed inputs) and "TestMany" (variable inputs, 1 out).
inline void AddTestRows(RAudioPluginModular& graph) {
  PluginDescriptor gain;
  gain.Id = RString("TestGain");
  gain.Category = RString("Test");
  gain.Creator = &CreateGain;
  graph.GetCatalogue().Append(gain);

  PluginDescriptor side = gain;
  side.Id = RString("TestSide");
  side.Name = RString();
  side.DisplayName = RString();
  side.InputCount = 2;
  graph.GetCatalogue().Append(side);

  PluginDescriptor many;
  many.Id = RString("TestMany");
  many.Category = RString("Test");
  many.Creator = &CreateMany;
  many.InputCount = PluginDescriptor::kVariable;
  graph.GetCatalogue().Append(many);
}

// A top-level graph with the test rows.
inline std::unique_ptr<RAudioPluginModular> MakeGraph(int32_t lanes = 6, bool sideChain = false) {
  auto graph = std::make_unique<RAudioPluginModular>(RString("RTestGraph"), lanes, sideChain);
  AddTestRows(*graph);
  graph->InitParameters();
  return graph;
}

inline void Prepare(RAudioPluginModular& graph, int32_t channels = 2) {
  graph.SetHostFormat(48000.0, 256, channels, graph.GetInputLaneCount(), 1);
}

inline RPluginSlot* Place(RAudioPluginModular& graph, const char* name, int32_t x, int32_t y, bool batch = true) {
  const PluginDescriptor* row = graph.FindDescriptor(RString::FromLatin1(name));
  return row ? graph.CreateSlot(x, y, *row, batch) : nullptr;
}

inline RGainModule& GainOf(RPluginSlot& slot) { return static_cast<RGainModule&>(slot.GetModule()); }

inline std::string Utf8(const RString& text) { return text.ToUTF8(); }

// Points the process log at a temporary file for the life of the object.
class CapturedLog {
public:
  CapturedLog() {
    char name[] = "/tmp/graphstore-log-XXXXXX";
    const int fd = mkstemp(name);
    if (fd >= 0) close(fd);
    path_ = name;
    RLog::SetPath(path_);
  }
  ~CapturedLog() {
    RLog::SetPath(std::string());
    std::remove(path_.c_str());
  }
  std::string Text() const {
    std::ifstream in(path_);
    std::stringstream all;
    all << in.rdbuf();
    return all.str();
  }

private:
  std::string path_;
};

} // namespace storetest
