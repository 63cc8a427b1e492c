#include "modules/decimator/decimator.h"

#include <algorithm>
#include <memory>

#include "graph/audiopluginmodular.h"
#include "graph/moduleregistry.h"
#include "modules/dsp/gainstages.h"

namespace {

constexpr char kBitsHelp[] =
    "<name>Bits</name> controls the number of bits in each sample that are represented. The lower the number, the "
    "lower the accuracy and more lo-fi the sound becomes.";
constexpr char kWidthHelp[] =
    "<name>Width</name> lets you apply different bit reduction to different channels, producing a stereo expansion "
    "effect.";

} // namespace

RDecimator::RDecimator()
    : RAudioPlugin(RString("Decimator")),
      gainIn_(this, RString("Input gain"), -24.0, 24.0, 0.0, RString(), RString("GainIn")),
      gainOut_(this, RString("Output gain"), -24.0, 24.0, 0.0, RString(), RString("GainOut")),
      dryWet_(this, RString("Dry/Wet"), 0.0, 1.0, 1.0, RString("DryWet")),
      bitReduction_(this, RString("Bit reduction"), true, RString("BitReduction")),
      bits_(this, RString("Bits"), 1.0, 16.0, 16.0, RString(), RString("Bits"), RString(kBitsHelp)),
      bitsWidth_(this, RString("Width"), -4.0, 4.0, 0.0, RString(), RString("BitsWidth"), RString(kWidthHelp)),
      sampleRateReduction_(this, RString("Sample rate reduction"), true, RString("SampleRateReduction")),
      sampleRate_(this, RString("Sample rate"), 20.0, 48000.0, 48000.0, RString(), RString("SampleRate")),
      sampleRateWidth_(this, RString("Width"), -1.0, 1.0, 0.0, RString(), RString("SampleRateWidth")) {
  gainIn_.SetAltName(RString("Input"));
  gainOut_.SetAltName(RString("Output"));
}

void RDecimator::Setup_Locked() {
  RAudioPlugin::Setup_Locked();
  states_.assign(size_t(std::max(processChannels_, 0)), RDecimatorChannelState());
}

void RDecimator::ClearState() { std::fill(states_.begin(), states_.end(), RDecimatorChannelState()); }

void RDecimator::Reset() {
  RAudioPlugin::Reset();
  ClearState();
}

void RDecimator::Process(float* const* inputs, float* const* outputs, int32_t frames) {
  if (frames <= 0 || !outputs) return;
  const int32_t channels = std::min(processChannels_, int32_t(states_.size()));

  // The cycle never hands over outputs that alias the inputs, so the input stays untouched
  // for the dry part at the end.
  const RBlockRamp gainIn = TakeBlockRamp(gainIn_, frames);
  for (int32_t c = 0; c < channels; ++c) {
    if (!outputs[c]) continue;
    GainStage(inputs ? inputs[c] : nullptr, outputs[c], frames, gainIn.start, gainIn.step);
  }

  RDecimatorSettings settings;
  settings.wordStage = bitReduction_.IsProcessingOn();
  settings.rateStage = sampleRateReduction_.IsProcessingOn();
  // Ramps are consumed whether or not their stage runs, so that switching a stage on never
  // replays a glide that ended long ago.
  settings.bits = TakeBlockRamp(bits_, frames);
  settings.bitsWidth = TakeBlockRamp(bitsWidth_, frames);
  settings.sampleRate = TakeBlockRamp(sampleRate_, frames);
  settings.sampleRateWidth = TakeBlockRamp(sampleRateWidth_, frames);
  RunDecimatorCore(outputs, channels, frames, GetSampleRate(), settings, states_.data());

  const RBlockRamp gainOut = TakeBlockRamp(gainOut_, frames);
  for (int32_t c = 0; c < channels; ++c) {
    if (outputs[c]) GainStage(outputs[c], outputs[c], frames, gainOut.start, gainOut.step);
  }

  // Linear law: wet w plus dry 1 - w. A channel without input has a silent dry part.
  ApplyDryWet(dryWet_, 1.0, inputs, outputs, channels, frames, RDryWetLaw::kLinear);
}

void RegisterDecimator() {
  RModuleRegistry::RegisterClass<RDecimator>(RString("Decimator"));
}
