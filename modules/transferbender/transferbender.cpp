#include "modules/transferbender/transferbender.h"

#include <algorithm>
#include <memory>

#include "graph/audiopluginmodular.h"
#include "graph/moduleregistry.h"
#include "modules/dsp/gainstages.h"

namespace {

} // namespace

RTransferBender::RTransferBender()
    : RAudioPlugin(RString("TransferBender")),
      shape_(this, RString("Shape"), 0.0, 1.0, 0.5, RString("{0.2}"), RString("Shape"),
             RString("The curve's knee: 0 clips hard at the threshold, 1 bends smoothly into it.")),
      clip_(this, RString("Clip"), -24.0, 0.0, 0.0, RString(), RString("Clip"),
            RString("The threshold: the curve's output never passes it.")),
      drive_(this, RString("Drive"), 0.0, 24.0, 0.0, RString(), RString("Drive"),
             RString("Gain into the curve.")),
      outputGain_(this, RString("Output gain"), -24.0, 24.0, 0.0, RString(), RString("OutputGain"),
                  RString("defines the output gain.")),
      dryWet_(this, RString("Dry/Wet"), 0.0, 1.0, 1.0, RString("DryWet")),
      levelMatch_(this, RString("Level match"), false, RString("LevelMatch"),
                  RString("Takes the drive's gain off again after the curve, so that Drive changes how hard the "
                          "signal bends and not its level.")) {
  shape_.SetFlag(RValue::kFineRamp, true);
}

void RTransferBender::Setup_Locked() {
  RAudioPlugin::Setup_Locked();
  states_.assign(size_t(std::max(processChannels_, 0)), RAntiderivativeState());
}

void RTransferBender::ClearState() { std::fill(states_.begin(), states_.end(), RAntiderivativeState()); }

void RTransferBender::Reset() {
  RAudioPlugin::Reset();
  ClearState();
}

void RTransferBender::Process(float* const* inputs, float* const* outputs, int32_t frames) {
  if (frames <= 0 || !outputs) return;
  const int32_t channels = std::min(processChannels_, int32_t(states_.size()));

  const double shape = shape_.GetProcessing();
  shape_.MarkRampDone();
  const bool reshaped = shape != curve_.GetShape();
  if (reshaped) curve_.SetShape(shape);
  const RBlockRamp drive = TakeBlockRamp(drive_, frames);
  const RBlockRamp ceiling = TakeBlockRamp(clip_, frames);
  RBlockRamp output = TakeBlockRamp(outputGain_, frames);
  if (levelMatch_.IsProcessingOn()) {
    // Output gain over drive, moved linearly between the block's ends.
    const double first = output.start / drive.start;
    output = {first, (output.At(frames) / drive.At(frames) - first) / double(frames)};
  }

  for (int32_t c = 0; c < channels; ++c) {
    float* y = outputs[c];
    if (!y) continue;
    GainStage(inputs ? inputs[c] : nullptr, y, frames, drive.start, drive.step);
    RAntiderivativeState& state = states_[size_t(c)];
    if (reshaped) state.Rebase(curve_);
    RunBenderCurve(curve_, y, frames, ceiling, state);
    GainStage(y, y, frames, output.start, output.step);
  }

  // Linear law, as in the other modules of the chain. A channel without input has a silent
  // dry part.
  ApplyDryWet(dryWet_, 1.0, inputs, outputs, channels, frames, RDryWetLaw::kLinear);
}

void RegisterTransferBender() {
  RModuleRegistry::RegisterClass<RTransferBender>(RString("TBender"));
}
