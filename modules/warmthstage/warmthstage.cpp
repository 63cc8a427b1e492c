#include "modules/warmthstage/warmthstage.h"

#include <algorithm>
#include <cmath>
#include <memory>

#include "graph/audiopluginmodular.h"
#include "graph/moduleregistry.h"
#include "modules/dsp/gainstages.h"

namespace {

// A gentle shelf: the tilt spreads over a few octaves around the pivot.
constexpr double kToneQ = 0.5;

} // namespace

RWarmthStage::RWarmthStage()
    : RAudioPlugin(RString("WarmthStage")),
      drive_(this, RString("Drive"), 0.0, RWarmthLevelMatch::kMaxDriveDb, 0.0, RString(), RString("Drive"),
             RString("How hard the signal is driven into the curve. The level is matched after it, so Drive changes "
                     "the colour more than the loudness.")),
      tone_(this, RString("Tone"), -1.0, 1.0, 0.0, RString("{+0.2}"), RString("Tone"),
            RString("Which band saturates first: above 0 the highs, below 0 the lows. The balance of a clean "
                    "signal stays as it is.")),
      bias_(this, RString("Bias"), 0.0, 1.0, 0.0, RString("Bias"),
            RString("Asymmetry of the curve, which adds even harmonics.")),
      output_(this, RString("Output gain"), -24.0, 24.0, 0.0, RString(), RString("Output"),
              RString("defines the output gain.")),
      dryWet_(this, RString("Dry/Wet"), 0.0, 1.0, 1.0, RString("DryWet")) {
  output_.SetAltName(RString("Output"));
  tone_.SetFlag(RValue::kFineRamp, true);
  // Builds the level-match table here rather than on the audio thread's first block.
  (void)RWarmthLevelMatch::Makeup(1.0, 0.0);
}

void RWarmthStage::DesignTone(double tone) {
  const double rate = GetSampleRate();
  const double tilt = std::pow(10.0, -0.5 * kToneSwingDb * tone / 20.0);
  preEmphasis_.Design(RBiquad::kHighShelf, kToneSwingDb * tone, kTonePivotHz, rate, kToneQ);
  preEmphasis_.ScaleNumerator(tilt);
  deEmphasis_.Design(RBiquad::kHighShelf, -kToneSwingDb * tone, kTonePivotHz, rate, kToneQ);
  deEmphasis_.ScaleNumerator(1.0 / tilt);
  designedTone_ = tone;
}

void RWarmthStage::Setup_Locked() {
  RAudioPlugin::Setup_Locked();
  channels_.assign(size_t(std::max(processChannels_, 0)), Channel());
  dcBlock_.Design(RBiquad::kHighPass, 0.0, kDcBlockHz, GetSampleRate(), 0.7071067811865476);
  DesignTone(tone_.GetProcessing());
}

void RWarmthStage::ClearState() { std::fill(channels_.begin(), channels_.end(), Channel()); }

void RWarmthStage::Reset() {
  RAudioPlugin::Reset();
  ClearState();
}

void RWarmthStage::Process(float* const* inputs, float* const* outputs, int32_t frames) {
  if (frames <= 0 || !outputs) return;
  const int32_t channels = std::min(processChannels_, int32_t(channels_.size()));

  const RBlockRamp drive = TakeBlockRamp(drive_, frames);
  const RBlockRamp bias = TakeBlockRamp(bias_, frames);
  const RBlockRamp output = TakeBlockRamp(output_, frames);
  // Tone follows its value per sub-block; the cycle cuts them finely while it glides.
  const double tone = tone_.GetProcessing();
  tone_.MarkRampDone();
  if (tone != designedTone_) DesignTone(tone);
  const bool emphasis = tone != 0.0;

  for (int32_t c = 0; c < channels; ++c) {
    float* y = outputs[c];
    if (!y) continue;
    GainStage(inputs ? inputs[c] : nullptr, y, frames, drive.start, drive.step);
    Channel& state = channels_[size_t(c)];
    if (emphasis) preEmphasis_.Run(state.pre, y, y, frames);
    RunWarmthCurve(y, frames, drive, bias, state.curve);
    if (emphasis) deEmphasis_.Run(state.post, y, y, frames);
    dcBlock_.Run(state.dcBlock, y, y, frames);
    GainStage(y, y, frames, output.start, output.step);
  }

  // Linear law: the wet part and the dry part are the same signal at low drive, so their sum
  // keeps its level. A channel without input has a silent dry part.
  ApplyDryWet(dryWet_, 1.0, inputs, outputs, channels, frames, RDryWetLaw::kLinear);
}

void RegisterWarmthStage() {
  RModuleRegistry::RegisterClass<RWarmthStage>(RString("WarmthStage"));
}
