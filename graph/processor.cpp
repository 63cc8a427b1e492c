// The audio walk: the processors in compiled order, then the mix list. Nothing here
// allocates or decides what the compile could have decided.
#include <algorithm>
#include <cstring>

#include "base/guard.h"
#include "graph/audiopluginmodular.h"

namespace {
void Clear(float* buffer, int32_t frames) noexcept {
  if (buffer) std::memset(buffer, 0, size_t(frames) * sizeof(float));
}

void Copy(float* destination, const float* source, int32_t frames) noexcept {
  if (!destination) return;
  if (!source) {
    Clear(destination, frames);
  } else if (destination != source) {
    std::memcpy(destination, source, size_t(frames) * sizeof(float));
  }
}

void Add(float* destination, const float* source, int32_t frames) noexcept {
  if (!destination || !source) return;
  for (int32_t i = 0; i < frames; ++i) destination[i] += source[i];
}

RHostTimeInfo TransportOf(const RTimeInfo& time) noexcept {
  RHostTimeInfo host;
  host.tempo = time.Tempo;
  host.ppqPosition = time.PPQPosition;
  host.barStart = time.BarStart;
  host.samplePosition = double(time.SamplePosition);
  host.numerator = time.Numerator;
  host.denominator = time.Denominator;
  host.loopStart = time.LoopStart;
  host.loopEnd = time.LoopEnd;
  host.flags = time.state & (RTimeInfo::kPlaying | RTimeInfo::kJumped | RTimeInfo::kTransportChanged);
  return host;
}
}  // namespace

void RAudioPluginModular::Processor::Process(float* const* hostInputs, float* const* hostOutputs, int32_t frames,
                                             const RHostTimeInfo& transport) noexcept {
  RAudioPlugin& module = Slot->GetModule();
  if (Slot->DWB && module.IsBypassed()) return;

  for (size_t k = 0; k < InputHostIndex.size(); ++k) {
    const int32_t host = InputHostIndex[k];
    if (host >= 0) InputPointers[k] = hostInputs ? hostInputs[host] : nullptr;
  }
  for (size_t k = 0; k < OutputHostIndex.size(); ++k) {
    const int32_t host = OutputHostIndex[k];
    if (host >= 0) OutputPointers[k] = hostOutputs[host];
  }

  float* const* inputs = InputCount > 0 ? InputPointers.data() : nullptr;
  float* const* outputs = OutputPointers.data();
  RGuarded("RAudioPluginModular::Processor::Process plugin",
           [&] { module.ProcessCycle(inputs, outputs, frames, &transport); });

  if (Slot->Mute) {
    for (float* channel : OutputPointers) Clear(channel, frames);
  }

  const int32_t feedback = Slot->FeedbackChannel;
  if (feedback >= 0 && feedback < kFeedbackChannels && OutputCount > 0) {
    FeedbackEntry& entry = Graph->GetFeedbackTable()[size_t(feedback)];
    // Sized at setup for every channel of a block; a send that would not fit is dropped
    // rather than grow the table here.
    if (size_t(Stride) * size_t(frames) <= entry.Samples.size()) {
      entry.Channels = Stride;
      entry.Frames = frames;
      const float gain = float(Slot->FeedbackGain);
      for (int32_t c = 0; c < Stride; ++c) {
        const float* source = OutputPointers[size_t(c)];
        float* destination = entry.Samples.data() + size_t(c) * size_t(frames);
        if (!source) continue;
        for (int32_t i = 0; i < frames; ++i) destination[i] = source[i] * gain;
      }
    }
  }

  if (Aligner) Aligner->Process(hostInputs, frames);
}

bool RAudioPluginModular::Processor::IsUnread() const noexcept {
  if (Readers.empty()) return false;
  for (const Reader& reader : Readers) {
    if ((reader.Module->Slot->GetModule().GetInputsInUse() >> std::min(reader.Input, 63)) & 1) return false;
  }
  return true;
}

void RAudioPluginModular::Process(float* const* inputs, float* const* outputs, int32_t frames) {
  const int32_t stride = std::max(channelStride_, 1);
  const int32_t outputLanes = std::max(outputBuses_, 1);
  const int32_t inputLanes = inputs ? inputBuses_ : 0;

  if (slots_.empty()) {
    for (int32_t lane = 0; lane < outputLanes; ++lane) {
      for (int32_t c = 0; c < stride; ++c) {
        float* out = outputs[lane * stride + c];
        if (SumAllLanes) {
          Clear(out, frames);
          for (int32_t in = 0; in < std::min(inputLanes, lanes_); ++in) {
            if (outputEnabled_[size_t(in)]) Add(out, inputs[in * stride + c], frames);
          }
        } else {
          Copy(out, lane < inputLanes ? inputs[lane * stride + c] : nullptr, frames);
        }
      }
    }
    return;
  }

  bool copied = false;
  for (int32_t lane = 0; lane < std::min(outputLanes, lanes_); ++lane) {
    if (!directCopy_[size_t(lane)] || lane >= inputLanes) continue;
    for (int32_t c = 0; c < stride; ++c) Copy(outputs[lane * stride + c], inputs[lane * stride + c], frames);
    copied = true;
  }
  if (!copied && processors_.empty()) {
    for (int32_t k = 0; k < outputLanes * stride; ++k) Clear(outputs[k], frames);
    return;
  }
  for (int32_t bus = 0; bus < outputLanes; ++bus) {
    if (!(clearOutputs_ & (uint64_t(1) << std::min(bus, kMaxLanes - 1)))) continue;
    for (int32_t c = 0; c < stride; ++c) Clear(outputs[bus * stride + c], frames);
  }

  const RHostTimeInfo transport = TransportOf(time_);
  // A module that nobody listens to in this block is left out: of the bit blend's seventeen
  // words only the two the morph stands between run. It picks up where it stopped when a
  // reader turns back to it.
  for (const auto& processor : processors_) {
    if (processor->IsUnread()) continue;
    processor->Process(inputs, outputs, frames, transport);
  }

  if (clearOutputFirst_) {
    for (int32_t c = 0; c < stride; ++c) Clear(outputs[c], frames);
  }
  for (const MixEntry& entry : mix_) {
    const int32_t bus = entry.OutputLane % outputLanes;
    for (int32_t c = 0; c < stride; ++c) {
      Add(outputs[bus * stride + c], GetLaneBufferAt(entry.Lane * stride + c, entry.BufferSelect), frames);
    }
  }
}
