#pragma once
// A plug-in for the cycle tests: one watched value, a Process that records every sub-block it
// is given and shapes its output by a chosen mode, and the hooks (tail, latency, events)
// opened up; plus stereo buffers with the pointer arrays a host hands in.
#include <cstdint>
#include <vector>

#include "kernel/audioplugin.h"
#include "kernel/audioplugininterface.h"

class RCycleTestPlugin : public RAudioPlugin {
public:
  enum class Mode { Copy, Silence, Gain, Swap };

  explicit RCycleTestPlugin(const Options& options = Options()) : RAudioPlugin(RString("Cycle"), options) {
    calls.reserve(4096);
    events.reserve(4096);
  }

  RRealValue level{this, RString("Level"), 0.0, 1.0, 0.0};

  struct Call {
    int32_t offset;  // SubBlockOffset while the sub-block runs
    int32_t frames;
    double level;    // the watched value's processing value
  };
  struct Event {
    int32_t offset;
    uint32_t event;
    size_t callsBefore;  // how many sub-blocks had run when it arrived
  };
  std::vector<Call> calls;
  std::vector<Event> events;
  int32_t updates = 0;

  Mode mode = Mode::Copy;
  float gain = 1.0f;
  int32_t tail = 0;
  int32_t latency = 0;
  bool canSleep = true;
  // Switches the bypass on from inside Process when the call with this number runs.
  int32_t bypassAtCall = -1;
  // The input pointers of the last sub-block, as Process was handed them.
  const float* seenInputs[4] = {};

  void Prepare(double rate = 48000.0, int32_t maxBlock = 512, int32_t channels = 2) {
    InitParameters();
    SetHostFormat(rate, maxBlock, channels);
  }
  void EnableLimiter() { limiter_ = true; }

  int32_t GetTailLength() const override { return tail; }
  int32_t GetLatency() const override { return latency; }
  bool CanSleep() const override { return canSleep; }
  void Update() override { ++updates; }

  void Process(float* const* inputs, float* const* outputs, int32_t frames) override {
    if (int32_t(calls.size()) == bypassAtCall && GetBypassValue()) GetBypassValue()->SetProcessing(1.0);
    calls.push_back({GetSubBlockOffset(), frames, level.GetProcessingNormalised()});
    for (int32_t k = 0; k < 4; ++k) seenInputs[k] = inputs && k < GetInputBuses() * GetChannelStride() ? inputs[k] : nullptr;
    switch (mode) {
      case Mode::Copy:
        RAudioPlugin::Process(inputs, outputs, frames);
        break;
      case Mode::Silence:
        for (int32_t c = 0; c < GetChannels(); ++c)
          for (int32_t i = 0; i < frames; ++i) outputs[c][i] = 0.0f;
        break;
      case Mode::Gain:
        for (int32_t c = 0; c < GetChannels(); ++c)
          for (int32_t i = 0; i < frames; ++i) outputs[c][i] = inputs[c][i] * gain;
        break;
      case Mode::Swap:
        // Writes channel 0 before it reads channel 0: wrong unless the input is a copy.
        for (int32_t i = 0; i < frames; ++i) outputs[0][i] = inputs[1][i];
        for (int32_t i = 0; i < frames; ++i) outputs[1][i] = inputs[0][i];
        break;
    }
  }

protected:
  void ProcessMIDIEvent(const MIDIEvent& e) override { events.push_back({GetSubBlockOffset(), e.event, calls.size()}); }
};

// What a host hands in: one buffer per channel and the arrays of their addresses.
struct RTestBlock {
  std::vector<std::vector<float>> in, out;
  std::vector<float*> inputs, outputs;

  RTestBlock(int32_t channels, int32_t frames) : in(size_t(channels)), out(size_t(channels)) {
    for (int32_t c = 0; c < channels; ++c) {
      in[size_t(c)].assign(size_t(frames), 0.0f);
      out[size_t(c)].assign(size_t(frames), 0.0f);
      inputs.push_back(in[size_t(c)].data());
      outputs.push_back(out[size_t(c)].data());
    }
  }
  int32_t Frames() const { return int32_t(in[0].size()); }
  void Fill(float value) {
    for (auto& channel : in) channel.assign(channel.size(), value);
  }
  void Run(RAudioPlugin& plugin, const RHostTimeInfo* host = nullptr) {
    plugin.ProcessCycle(inputs.data(), outputs.data(), Frames(), host);
  }
  void Run(RAudioPluginInterface& adapter, const RHostTimeInfo* host = nullptr) {
    adapter.ProcessAudio(inputs.data(), outputs.data(), Frames(), host);
  }
};
