#include "modules/blend/twowayblend.h"

#include <algorithm>

#include "graph/audiopluginmodular.h"
#include "graph/moduleregistry.h"
#include "kernel/blockstages.h"
#include "modules/dsp/dspkernels.h"
#include "modules/dsp/gainstages.h"
#include "modules/dsp/vectorops.h"

RTwoWayBlend::RTwoWayBlend() : RTwoWayBlend(RString("TwoWayBlend"), true) {}

RTwoWayBlend::RTwoWayBlend(const RString& name, bool inputSide) : RAudioPlugin(name), inputSide_(inputSide) {
  // Values enter the table in the order they are made.
  ratio_ = std::make_unique<RPercentValue>(this, RString("Ratio"), 0.0, 1.0, 0.5, RString(),
                                           RString("Position of the blend: 0% is the main input alone, 100% the "
                                                   "side chain alone."));
  if (inputSide_) {
    gain_ = std::make_unique<RGainValue>(this, RString("Gain"), -24.0, 24.0, 0.0, RString(), RString(),
                                         RString("Gain of the main input."));
    gain_->SetAltName(RString("Input"));
    volume_ = std::make_unique<RVolumeValue>(this, RString("Volume"), 1.0, 1.0, RString(),
                                             RString("Level of the main input. It is basically only alternative "
                                                     "to gain with different range."));
    panorama_ = std::make_unique<RPanValue>(this, RString("Panorama"), -1.0, 1.0, 0.0, RString("panorama"),
                                            RString("Panorama of the main input."));
  }
  mode_ = std::make_unique<RModuleChoiceValue>(this, RString("Mode"), BlendModeItems(), int32_t(kDefaultBlendMode),
                                               RString(), RString("Profile of the mix."));
}

void RTwoWayBlend::BeforeBlock(float* const* inputs, float* const* outputs) {
  RAudioPlugin::BeforeBlock(inputs, outputs);
  sideApart_ = inputs && inputBuses_ >= 2 && inputs[channelStride_] != inputs[0];
}

void RTwoWayBlend::Process(float* const* inputs, float* const* outputs, int32_t frames) {
  if (frames <= 0) return;
  LevelMainInput(inputs, outputs, frames);
  const bool connected = sideApart_ && inputs && inputBuses_ >= 2 && inputs[channelStride_] &&
                         inputs[channelStride_] != inputs[0];
  if (connected) {
    BlendSideChain(inputs + channelStride_, outputs, frames);
  } else {
    // Nothing on the second bus: the levelled main input is the output, and the ratio's
    // ramp is spent so that a later connection doesn't glide from a stale position.
    ratio_->MarkRampDone();
  }
}

void RTwoWayBlend::LevelMainInput(float* const* inputs, float* const* outputs, int32_t frames) noexcept {
  const int32_t channels = processChannels_;
  double start = 1.0, step = 0.0;
  if (volume_ && !volume_->GetRamp(frames, start, step)) start = volume_->GetProcessing();
  for (int32_t c = 0; c < channels; ++c) {
    if (!outputs[c]) continue;
    GainStage(inputs ? inputs[c] : nullptr, outputs[c], frames, start, step);
  }
  if (!inputSide_) return;
  volume_->MarkRampDone();
  if (channels >= 2) {
    ApplyPanorama(*panorama_, outputs[0], outputs[1], frames);
  } else {
    panorama_->MarkRampDone();
  }
  ApplyGain(*gain_, outputs, channels, frames);
}

void RTwoWayBlend::BlendSideChain(float* const* side, float* const* outputs, int32_t frames) noexcept {
  const int32_t channels = processChannels_;
  const RBlendMode mode = ProcessingMode();
  double start = 0.0, step = 0.0;
  if (!ratio_->GetRamp(frames, start, step)) {
    const RBlendGains g = BlendGainsAt(mode, ratio_->GetProcessing());
    for (int32_t c = 0; c < channels; ++c) {
      float* out = outputs[c];
      if (!out) continue;
      if (side[c] && g.a != 0.0) {
        RDspKernels::Mix(out, side[c], out, frames, float(g.b), float(g.a));
      } else if (g.b != 1.0) {
        // The side chain doesn't sound: skipping it also keeps whatever it holds out of the output.
        RVectorOps::MultiplyByConstant(out, out, frames, float(g.b));
      }
    }
  } else {
    float r[kChunk], a[kChunk], b[kChunk];
    for (int32_t offset = 0; offset < frames; offset += kChunk) {
      const int32_t n = std::min(kChunk, frames - offset);
      for (int32_t i = 0; i < n; ++i) r[i] = float(start + double(offset + i) * step);
      BlendGainsOver(mode, r, a, b, n);
      for (int32_t c = 0; c < channels; ++c) {
        float* out = outputs[c];
        if (!out) continue;
        if (side[c]) {
          BlendMix(out + offset, side[c] + offset, out + offset, a, b, n);
        } else {
          RVectorOps::Multiply(out + offset, b, out + offset, n);
        }
      }
    }
  }
  ratio_->MarkRampDone();
}

void RegisterTwoWayBlend() {
  RModuleRegistry::RegisterClass<RTwoWayBlend>(RString("TwoWayBlend"));
}
