#pragma once
// A module outside any graph, fed the way a host feeds a plug-in: input buses of constant or
// generated channels, the pointer arrays by bus, one ProcessCycle per block. Shared by the
// blend and level placer tests.
#include <cstdint>
#include <functional>
#include <vector>

#include "kernel/audioplugin.h"
#include "tests/support/everychannel.h"

// Keeps a module from sleeping on silence, so that every block reaches its Process.
template <class Module>
class RAwake : public Module {
public:
  RAwake() { this->options_.sleep = false; }
};

class RModuleHost {
public:
  RModuleHost(RAudioPlugin& module, int32_t buses, int32_t channels = 2, int32_t maxBlock = 512,
              double rate = 48000.0)
      : module_(module), buses_(buses), channels_(channels) {
    if (module.GetParameterCount() == 0) module.InitParameters();
    ProcessEveryChannel(module, channels);
    module.SetHostFormat(rate, maxBlock, channels, buses);
    in_.assign(size_t(std::max(buses, 1) * channels), std::vector<float>(size_t(maxBlock), 0.0f));
    out_.assign(size_t(channels), std::vector<float>(size_t(maxBlock), 0.0f));
  }

  // Every channel of the bus holds value.
  void SetBus(int32_t bus, float value) {
    for (int32_t c = 0; c < channels_; ++c) std::fill(In(bus, c).begin(), In(bus, c).end(), value);
  }
  // Channel c of the bus: sample i is f(i).
  void SetChannel(int32_t bus, int32_t c, const std::function<float(int32_t)>& f) {
    std::vector<float>& x = In(bus, c);
    for (size_t i = 0; i < x.size(); ++i) x[i] = f(int32_t(i));
  }
  std::vector<float>& In(int32_t bus, int32_t c) { return in_[size_t(bus * channels_ + c)]; }
  const std::vector<float>& Out(int32_t c) const { return out_[size_t(c)]; }

  // One block; sideIsMain hands the second bus in as the main bus's own buffers, as a graph
  // does with a side chain left unconnected.
  void Run(int32_t frames, bool sideIsMain = false) {
    float* inputs[RAudioPlugin::kMaxChannelPointers] = {};
    float* outputs[RAudioPlugin::kMaxChannelPointers] = {};
    for (int32_t b = 0; b < buses_; ++b) {
      for (int32_t c = 0; c < channels_; ++c) {
        const int32_t source = (sideIsMain && b == 1) ? c : b * channels_ + c;
        inputs[b * channels_ + c] = in_[size_t(source)].data();
      }
    }
    for (int32_t c = 0; c < channels_; ++c) outputs[c] = out_[size_t(c)].data();
    module_.ProcessCycle(buses_ > 0 ? inputs : nullptr, outputs, frames, nullptr);
  }

private:
  RAudioPlugin& module_;
  int32_t buses_;
  int32_t channels_;
  std::vector<std::vector<float>> in_;
  std::vector<std::vector<float>> out_;
};
