// RWordMangler on the audio thread: the block's preparation, the band process and the core.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

#include "modules/dsp/gainstages.h"
#include "modules/wordmangler/wordmangler.h"

void RWordMangler::BeforeBlock(float* const*, float* const*) {
  inputBusesInUse_ = std::min(inputBuses_, sideChain_.IsProcessingOn() ? 2 : 1);
}

void RWordMangler::PrepareBands(int32_t frames) noexcept {
  gainInRamp_ = TakeBlockRamp(gainIn_, frames);
  gainOutRamp_ = TakeBlockRamp(gainOut_, frames);
  dryWetRamp_ = TakeBlockRamp(dryWet_, frames);

  sideChainOn_ = sideChain_.IsProcessingOn();
  autoGainOn_ = autoGain_.IsProcessingOn();
  dcBlockerOn_ = dcBlocker_.IsProcessingOn();

  int64_t delay = 0;
  if (tempoSync_.IsOn()) {
    // Half the synced note: a quarter note at 120 bpm delays the control by a quarter second.
    delay = tempoSync_.Samples(GetTimeInfo().Tempo, GetSampleRate()) / 2;
  } else {
    delay = std::llround(GetSampleRate() * delay_.GetProcessing());
  }
  controlDelay_ = int32_t(std::clamp<int64_t>(delay, 0, std::numeric_limits<int32_t>::max()));

  plan_.Reset(int32_t(std::lround(bits_.GetProcessing())), sideChainOn_ || controlDelay_ > 0);
  for (int32_t k = 0; k < kOperations; ++k) {
    const Operation& op = operations_[k];
    if (!op.Enable->IsProcessingOn()) continue;
    bool switches[kMaskSwitches];
    for (int32_t i = 0; i < kMaskSwitches; ++i) switches[i] = op.Mask[i]->IsProcessingOn();
    plan_.Enable(RWordOperationKind(k), switches, int32_t(std::lround(op.Shift->GetProcessing())),
                 op.Rotate->IsProcessingOn());
  }
}

void RWordMangler::Process(float* const* inputs, float* const* outputs, int32_t frames) noexcept {
  PrepareBands(frames);
  if (frames <= 0) return;
  const int32_t channels = state_ ? std::min(state_->GetChannels(), GetProcessChannels()) : 0;
  const bool silenceFits = size_t(frames) <= silence_.size();
  const float* main[kMaxChannelPointers];
  const float* side[kMaxChannelPointers];
  bool complete = state_ != nullptr && channels == state_->GetChannels();
  for (int32_t c = 0; c < channels; ++c) {
    main[c] = inputs && inputs[c] ? inputs[c] : (silenceFits ? silence_.data() : nullptr);
    complete = complete && main[c] && outputs[c];
    const int32_t sideIndex = GetChannelStride() + c;
    side[c] = inputs && inputBusesInUse_ >= 2 && sideIndex < kMaxChannelPointers ? inputs[sideIndex] : nullptr;
  }
  if (!complete) {
    // A block longer than set-up promised, or channels the state doesn't have: silence
    // rather than read past a buffer.
    for (int32_t c = 0; c < GetProcessChannels(); ++c) {
      if (outputs[c]) std::memset(outputs[c], 0, size_t(frames) * sizeof(float));
    }
    return;
  }
  ProcessBand(*state_, main, side, outputs, frames);
}

void RWordMangler::ProcessBand(RWordManglerState& state, const float* const* inputs, const float* const* sideChain,
                               float* const* outputs, int32_t frames) noexcept {
  if (frames <= 0) return;
  const int32_t channels = state.GetChannels();
  // The inputs stay as they are: the control path and the dry mix read them.
  for (int32_t c = 0; c < channels; ++c) {
    GainStage(inputs[c], outputs[c], frames, gainInRamp_.start, gainInRamp_.step);
  }
  ProcessCore(state, inputs, sideChain, outputs, frames);
  for (int32_t c = 0; c < channels; ++c) {
    GainStage(outputs[c], outputs[c], frames, gainOutRamp_.start, gainOutRamp_.step);
  }
  for (int32_t c = 0; c < channels; ++c) {
    DryWetStage(inputs[c], outputs[c], outputs[c], frames, dryWetRamp_.start, dryWetRamp_.step,
                RDryWetLaw::kLinear);
  }
}

void RWordMangler::ProcessCore(RWordManglerState& state, const float* const* inputs, const float* const* sideChain,
                               float* const* outputs, int32_t frames) noexcept {
  const int32_t channels = state.GetChannels();
  // The automatic gain compares the raw input with the core's output.
  if (autoGainOn_) state.GetAutoGain().MeasureInput(inputs, frames);
  for (int32_t c = 0; c < channels; ++c) state.GetDelayLine(c).SetDelay(controlDelay_);
  for (int32_t c = 0; c < channels; ++c) {
    // The control source is the input before GainIn, or the side-chain channel of the same number.
    const float* source = sideChainOn_ ? (sideChain ? sideChain[c] : nullptr) : inputs[c];
    ProcessWords(state, c, source, outputs[c], frames);
  }
  if (lowPassOn_) RunFilter(lowPassFilter_, &state.GetLowPass(0), outputs, channels, frames);
  if (dcBlockerOn_) RunFilter(dcFilter_, &state.GetDCBlocker(0), outputs, channels, frames);
  if (autoGainOn_) state.GetAutoGain().Apply(outputs, frames);
}

void RWordMangler::RunFilter(const RBiquad& filter, RBiquadState* states, float* const* outputs, int32_t channels,
                             int32_t frames) noexcept {
  // Channels two at a time, side by side in one vector; the result is that of one at a time.
  int32_t c = 0;
  for (; c + 1 < channels; c += 2) {
    filter.RunPair(states[c], states[c + 1], outputs[c], outputs[c + 1], outputs[c], outputs[c + 1], frames);
  }
  if (c < channels) filter.Run(states[c], outputs[c], outputs[c], frames);
}

void RWordMangler::ProcessWords(RWordManglerState& state, int32_t channel, const float* controlSource,
                                  float* output, int32_t frames) noexcept {
  // 3 KiB of stack: the words, the control words and the delayed control samples of a chunk.
  alignas(64) uint32_t words[kChunk];
  alignas(64) uint32_t control[kChunk];
  alignas(64) float delayed[kChunk];
  const uint32_t full = plan_.Full;
  RDelayLine& line = state.GetDelayLine(channel);
  for (int32_t offset = 0; offset < frames; offset += kChunk) {
    const int32_t n = std::min(kChunk, frames - offset);
    float* out = output + offset;
    if (plan_.HasControl) {
      const float* controlSamples = delayed;
      if (controlSource && line.GetDelay() == 0) {
        // A line of length 0 is a plain copy: the source is read as it stands.
        controlSamples = controlSource + offset;
      } else if (controlSource) {
        line.Process(controlSource + offset, delayed, n);
      } else {
        // An absent side-chain is silence, and the line keeps time with it.
        std::memset(delayed, 0, sizeof(float) * size_t(n));
        line.Process(delayed, delayed, n);
      }
      QuantiseToWords(controlSamples, control, n, full);
    }
    QuantiseToWords(out, words, n, full);
    RunWordOperations(plan_, words, control, n);
    WordsToSamples(words, out, n, full);
  }
}
