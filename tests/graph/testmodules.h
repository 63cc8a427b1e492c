#pragma once
// Small modules for graph tests: a gain with an optional pure delay (its latency), which
// counts its calls and remembers the first sample it saw on each input bus; and a graph
// fixture that places them in cells the way a load does.
#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <vector>

#include "base/exception.h"
#include "base/format.h"
#include "graph/audiopluginmodular.h"
#include "graph/plugindescriptor.h"

class RTestModule : public RAudioPlugin {
public:
  RTestModule(RAudioPluginModular& graph, float gain, int32_t latency)
      : RAudioPlugin(RString("TestModule")), gain_(gain), latency_(latency) {
    AttachToParent(graph);
  }

  int32_t GetLatency() const override { return latency_; }
  void SetLatency(int32_t latency) { latency_ = latency; }

  void Setup_Locked() override {
    RAudioPlugin::Setup_Locked();
    rings_.assign(size_t(processChannels_), std::vector<float>(size_t(latency_ + 1), 0.0f));
    write_ = 0;
  }
  void ClearState() override {
    for (auto& ring : rings_) std::fill(ring.begin(), ring.end(), 0.0f);
    write_ = 0;
  }

  void Process(float* const* inputs, float* const* outputs, int32_t frames) override {
    ++Calls;
    for (int32_t bus = 0; bus < 4; ++bus) {
      FirstInput[bus] = (inputs && bus < inputBuses_ && inputs[bus * channelStride_]) ? inputs[bus * channelStride_][0]
                                                                                      : NAN;
    }
    if (Throws) throw RException(RString("test module failure"));
    const int32_t size = latency_ + 1;
    int32_t write = write_;
    for (int32_t c = 0; c < processChannels_; ++c) {
      write = write_;
      std::vector<float>& ring = rings_[size_t(c)];
      for (int32_t i = 0; i < frames; ++i) {
        ring[size_t(write)] = (inputs && inputs[c]) ? inputs[c][i] : 0.0f;
        const int32_t read = (write + size - latency_) % size;
        outputs[c][i] = ring[size_t(read)] * gain_;
        write = (write + 1) % size;
      }
    }
    write_ = write;
  }

  int32_t Calls = 0;
  float FirstInput[4] = {NAN, NAN, NAN, NAN};
  bool Throws = false;

private:
  float gain_;
  int32_t latency_;
  std::vector<std::vector<float>> rings_;
  int32_t write_ = 0;
};

// A graph at 48 kHz, stereo, with the test rows in its catalogue: "Gain" (1 in, 1 out),
// "Side" (2 fixed inputs), "Source" (no input), "Many" (variable inputs).
class RGraphFixture {
public:
  static constexpr int32_t kBlock = 256;

  explicit RGraphFixture(int32_t lanes = 6, bool sideChain = false, int32_t inputBuses = 1, int32_t outputBuses = 1)
      : graph(RString("Graph"), lanes, sideChain, Awake()) {
    for (auto [name, inputs] : {std::pair{"Gain", 1}, std::pair{"Side", 2}, std::pair{"Source", 0},
                                std::pair{"Many", PluginDescriptor::kVariable}}) {
      PluginDescriptor row;
      row.Id = RString::FromUTF8(name);
      row.Category = RString("Test");
      row.InputCount = inputs;
      row.OutputCount = 1;
      row.Creator = [](RAudioPluginModular& g) { return std::make_unique<RTestModule>(g, 1.0f, 0); };
      graph.GetCatalogue().Append(row);
    }
    graph.SetHostFormat(48000.0, kBlock, 2, inputBuses, outputBuses);
    inputBuses_ = inputBuses;
    outputBuses_ = outputBuses;
  }

  RTestModule& Add(int32_t x, int32_t y, float gain = 1.0f, int32_t latency = 0, const char* kind = "Gain") {
    const PluginDescriptor* row = graph.FindDescriptor(RString::FromUTF8(kind));
    EXPECT_NE(row, nullptr);
    auto module = std::make_unique<RTestModule>(graph, gain, latency);
    RTestModule& result = *module;
    RString name = RFormat("{0} {1}.{2}") << RString::FromUTF8(kind) << x << y;
    graph.PlaceSlot(std::make_unique<RPluginSlot>(graph, *row, std::move(module), x, y, name));
    return result;
  }
  RPluginSlot& Slot(int32_t x, int32_t y) { return *graph.GetCell(x, y); }
  void Compile(bool reset = true) { graph.RebuildProcessors(reset); }

  // Runs blocks of a constant per bus (bus b holds busValue[b]); returns the output per
  // output bus channel 0 of the last block.
  std::vector<std::vector<float>> Run(const std::vector<float>& busValue, int32_t blocks = 1, int32_t frames = kBlock) {
    std::vector<std::vector<float>> in(size_t(inputBuses_ * 2), std::vector<float>(size_t(frames)));
    std::vector<std::vector<float>> out(size_t(outputBuses_ * 2), std::vector<float>(size_t(frames), -99.0f));
    for (int32_t b = 0; b < inputBuses_; ++b) {
      for (int32_t c = 0; c < 2; ++c) std::fill(in[size_t(b * 2 + c)].begin(), in[size_t(b * 2 + c)].end(), busValue[size_t(b)]);
    }
    for (int32_t block = 0; block < blocks; ++block) RunBuffers(in, out, frames);
    return out;
  }

  void RunBuffers(std::vector<std::vector<float>>& in, std::vector<std::vector<float>>& out, int32_t frames) {
    // On the stack: the real-time test counts every allocation around this call.
    float* inputs[16] = {};
    float* outputs[16] = {};
    Fill(inputs, in);
    Fill(outputs, out);
    graph.ProcessCycle(in.empty() ? nullptr : inputs, outputs, frames, nullptr);
  }

  // Not inlined: GCC 12 at -O3 unrolls the loop to the array's 16 entries and then warns that
  // a two-channel vector has no third.
  [[gnu::noinline]] static void Fill(float* (&pointers)[16], std::vector<std::vector<float>>& channels) {
    size_t k = 0;
    for (auto& channel : channels) {
      if (k == 16) break;
      pointers[k++] = channel.data();
    }
  }

  bool Listed(const char* fullName) const {
    return graph.DescribeProcessors().ToUTF8().find(fullName) != std::string::npos;
  }

  RAudioPluginModular graph;

private:
  // Sleeping on silence would hide what the graph does with silent or absent input.
  static RAudioPlugin::Options Awake() {
    RAudioPlugin::Options options;
    options.sleep = false;
    return options;
  }

  int32_t inputBuses_;
  int32_t outputBuses_;
};
