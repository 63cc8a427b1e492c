#include "kernel/audioplugininterface.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "base/guard.h"
#include "kernel/audioplugin.h"
#include "kernel/denormals.h"

namespace {

// A host's runaway input: a first sample beyond this silences the channel for the block.
constexpr float kInputGuard = 100000.0f;
// Gap buffers before the host has announced a block size.
constexpr int32_t kDefaultGapFrames = 1024;

} // namespace

struct RAudioPluginInterface::GapBuffers {
  std::vector<float> silent;   // never written: inputs only read
  std::vector<float> discard;  // outputs nobody listens to
  int32_t capacity = 0;
};

RAudioPluginInterface::RAudioPluginInterface(std::unique_ptr<RAudioPlugin> plugin)
    : plugin_(std::move(plugin)), gaps_(std::make_unique<GapBuffers>()) {
  plugin_->SetInterface(this);
  PrepareBuffers(kDefaultGapFrames);
}

RAudioPluginInterface::~RAudioPluginInterface() {
  // The plug-in outlives this object's derived parts; it must not call back into them.
  if (plugin_) plugin_->SetInterface(nullptr);
}

void RAudioPluginInterface::PrepareBuffers(int32_t maxFrames) {
  maxFrames = std::max(maxFrames, 1);
  // Blocks are cut to the announced size (the plug-in's own scratch memory is sized for it);
  // storage only grows. New storage is zeroed; a silent buffer is never written.
  if (size_t(maxFrames) > gaps_->silent.size()) {
    gaps_->silent.assign(size_t(maxFrames), 0.0f);
    gaps_->discard.assign(size_t(maxFrames), 0.0f);
  }
  gaps_->capacity = maxFrames;
}

void RAudioPluginInterface::AutomationChanged(int32_t, double) {}
void RAudioPluginInterface::BeginGesture(int32_t) {}
void RAudioPluginInterface::EndGesture(int32_t) {}

void RAudioPluginInterface::ProcessAudio(float* const* inputs, float* const* outputs, int32_t frames,
                                         const RHostTimeInfo* host) noexcept {
  RDenormalGuard denormals;
  if (!outputs || frames < 0) return;
  RGuarded("RAudioPluginInterface::ProcessAudio", [&] {
    RAudioPlugin& plugin = *plugin_;
    // The host's arrays: bus b's channel c at b * HostChannels + c.
    const int32_t stride = std::max(plugin.GetHostChannels(), 1);
    const int32_t hostChannels = plugin.GetHostChannels();
    const int32_t inputCount = std::min(plugin.GetInputBuses() * stride, RAudioPlugin::kMaxChannelPointers);
    const int32_t outputCount = std::min(plugin.GetOutputBuses() * stride, RAudioPlugin::kMaxChannelPointers);

    // Only the first sample is looked at: a full scan would cost as much as the effect.
    if (inputs && frames > 0) {
      for (int32_t i = 0; i < inputCount; ++i) {
        if (i % stride < hostChannels && inputs[i] && std::fabs(inputs[i][0]) > kInputGuard)
          std::fill(inputs[i], inputs[i] + frames, 0.0f);
      }
    }

    // The transport, pulled back by the reported latency so that the DSP sees the position
    // of the samples it is working on.
    RHostTimeInfo time;
    const RHostTimeInfo* timePointer = nullptr;
    if (host) {
      time = *host;
      timePointer = &time;
      const int32_t latency = plugin.GetReportedLatency();
      const double rate = plugin.GetHostSampleRate();
      if (latency > 0 && time.ppqPosition >= 0.0 && rate >= 1.0) {
        const double tempo = time.tempo >= 0.0 ? time.tempo : plugin.GetTimeInfo().Tempo;
        const int32_t numerator = time.numerator > 0 ? time.numerator : plugin.GetTimeInfo().Numerator;
        time.ppqPosition += latency * tempo / (rate * -60.0);
        time.barStart = RTimeInfo::BarStartOf(time.ppqPosition, numerator);
      }
    }

    float* in[RAudioPlugin::kMaxChannelPointers];
    float* out[RAudioPlugin::kMaxChannelPointers];
    float* const silent = gaps_->silent.data();
    float* const discard = gaps_->discard.data();
    const int32_t capacity = gaps_->capacity;
    int32_t done = 0;
    do {
      const int32_t piece = std::min(frames - done, capacity);
      for (int32_t i = 0; i < inputCount; ++i) {
        float* channel = inputs ? inputs[i] : nullptr;
        if (channel) {
          in[i] = channel + done;
        } else {
          in[i] = i % stride < hostChannels ? silent : nullptr;
        }
      }
      for (int32_t i = 0; i < outputCount; ++i) {
        float* channel = outputs[i];
        if (channel) {
          out[i] = channel + done;
        } else {
          out[i] = i % stride < hostChannels ? discard : nullptr;
        }
      }
      plugin.ProcessCycle(inputCount > 0 ? in : nullptr, out, piece, timePointer);
      done += piece;
      if (done < frames && timePointer) {
        // Later pieces carry the positions on from the first; the host's marks belong to the
        // block's start.
        time.ppqPosition = time.barStart = time.samplePosition = -1.0;
        if (time.flags >= 0) time.flags &= RHostTimeInfo::kPlaying;
      }
    } while (done < frames);
  });
}
