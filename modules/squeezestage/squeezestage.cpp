#include "modules/squeezestage/squeezestage.h"

#include <algorithm>
#include <cmath>
#include <memory>

#include "graph/audiopluginmodular.h"
#include "graph/moduleregistry.h"
#include "kernel/blockstages.h"
#include "modules/dsp/gainstages.h"

namespace {

constexpr double kButterworthQ = 0.7071067811865476;
// A link this close to 0 or 1 takes the cheaper pure form.
constexpr double kLinkEdge = 1e-6;
// The floor of a blended level: -200 dB.
constexpr float kLevelFloor = 1e-10f;

// A detector level in dB, held above the floor where silence would have no logarithm.
float Decibels(float level) noexcept { return 20.0f * std::log10(std::max(level, kLevelFloor)); }

// Applies per-frame gains to one channel; a missing input is silence.
void ApplyGains(const float* in, const float* gains, float* out, int32_t frames) noexcept {
  if (!in) {
    std::fill(out, out + frames, 0.0f);
    return;
  }
  for (int32_t i = 0; i < frames; ++i) out[i] = in[i] * gains[i];
}

} // namespace

RSqueezeStage::RSqueezeStage()
    : RAudioPlugin(RString("SqueezeStage")),
      threshold_(this, RString("Threshold"), -60.0, 0.0, -18.0, RString("{0.1} dB"), RString("Threshold"),
                 RString("The level above which the signal is pressed down.")),
      ratio_(this, RString("Ratio"), 1.0, 20.0, 4.0, RString("{0.1}:1"), RString("Ratio"),
             RString("How many dB over the threshold go in for each dB that comes out.")),
      knee_(this, RString("Knee"), 0.0, 24.0, 6.0, RString("{0.1} dB"), RString("Knee"),
            RString("Width of the soft bend around the threshold; 0 bends sharply.")),
      attack_(this, RString("Attack"), 0.0001, 0.2, 0.01, RString(), RString("Attack"),
              RString("Time the gain reduction takes to reach two thirds of a step up.")),
      release_(this, RString("Release"), 0.005, 2.0, 0.12, RString(), RString("Release"),
               RString("Time the gain reduction takes to fall back by two thirds of a step down.")),
      makeup_(this, RString("Makeup"), 0.0, 24.0, 0.0, RString(), RString("Makeup"),
              RString("Gain after the compression, added to the automatic makeup.")),
      autoMakeup_(this, RString("Auto makeup"), true, RString("AutoMakeup"),
                  RString("Makeup from threshold, ratio and knee: a signal peaking at -6 dBFS keeps its level, so "
                          "pressing harder makes the signal denser, not louder.")),
      mix_(this, RString("Mix"), 0.0, 1.0, 1.0, RString("Mix"),
           RString("The compressed part against the dry input: below 100% a parallel compression.")),
      sideChain_(this, RString("Side-chain"), false, RString("SideChain"),
                 RString("The detector listens to the second input instead of the signal it presses.")),
      detectorHighPass_(this, RString("Detector high-pass"), kHighPassOff, 500.0, kHighPassOff, RString(),
                        RString("DetectorHP"),
                        RString("Takes the lows out of what the detector hears, so that bass doesn't pump the "
                                "whole mix. 20 Hz is off.")),
      detectorLowPass_(this, RString("Detector low-pass"), 1000.0, kLowPassOff, kLowPassOff, RString("Off"),
                       RString("DetectorLP"), RString("Takes the highs out of what the detector hears.")),
      stereoLink_(this, RString("Stereo link"), 0.0, 1.0, 1.0, RString("StereoLink"),
                  RString("100%: every channel is pressed by the loudest one, which keeps the stereo image; 0%: "
                          "each channel by itself.")),
      output_(this, RString("Output gain"), -24.0, 24.0, 0.0, RString(), RString("Output"),
              RString("defines the output gain.")) {
  output_.SetAltName(RString("Output"));
  detectorHighPass_.SetFlag(RValue::kFineRamp, true);
  detectorLowPass_.SetFlag(RValue::kFineRamp, true);
}

void RSqueezeStage::Setup_Locked() {
  RAudioPlugin::Setup_Locked();
  const auto count = size_t(std::max(processChannels_, 0));
  channels_.assign(count, Channel());
  filtered_.assign(count * size_t(kChunk), 0.0f);
  levels_.assign(size_t(kChunk), 0.0f);
  loudest_.assign(size_t(kChunk), 0.0f);
  gains_.assign(size_t(kChunk), 0.0f);
  silence_.assign(size_t(kChunk), 0.0f);
  sources_.assign(count, nullptr);
  chunkSources_.assign(count, nullptr);
  highPassOn_ = lowPassOn_ = false;
  rested_ = false;
  Refresh();
}

void RSqueezeStage::ClearState() {
  std::fill(channels_.begin(), channels_.end(), Channel());
  rested_ = false;
  gainReduction_.store(0.0f, std::memory_order_relaxed);
}

void RSqueezeStage::Reset() {
  RAudioPlugin::Reset();
  ClearState();
}

void RSqueezeStage::Refresh() noexcept {
  RSqueezeCurve curve;
  curve.threshold = threshold_.GetProcessing();
  curve.ratio = ratio_.GetProcessing();
  curve.knee = knee_.GetProcessing();
  detector_.Configure(curve, autoMakeup_.IsProcessingOn(), attack_.GetProcessing(), release_.GetProcessing(),
                      sampleRate_);
  for (RRangedValue* value : {static_cast<RRangedValue*>(&threshold_), static_cast<RRangedValue*>(&ratio_),
                              static_cast<RRangedValue*>(&knee_), static_cast<RRangedValue*>(&attack_),
                              static_cast<RRangedValue*>(&release_), static_cast<RRangedValue*>(&detectorHighPass_),
                              static_cast<RRangedValue*>(&detectorLowPass_),
                              static_cast<RRangedValue*>(&stereoLink_)}) {
    value->MarkRampDone();
  }
  if (sampleRate_ <= 0.0) return;

  // A filter that comes back on starts from a cleared state rather than one left from long ago.
  const auto refreshFilter = [&](RBiquad& filter, bool on, bool& wasOn, int32_t type, double hertz,
                                 RBiquadState Channel::*state) {
    if (on && (!wasOn || filter.GetFrequency() != hertz || filter.GetSampleRate() != sampleRate_)) {
      filter.Design(type, 0.0, hertz, sampleRate_, kButterworthQ);
      if (!wasOn) {
        for (Channel& channel : channels_) (channel.*state).Clear();
      }
    }
    wasOn = on;
  };
  const double highPass = detectorHighPass_.GetProcessing();
  const double lowPass = detectorLowPass_.GetProcessing();
  refreshFilter(highPass_, highPass > kHighPassOff + 1e-6, highPassOn_, RBiquad::kHighPass, highPass,
                &Channel::highPass);
  refreshFilter(lowPass_, lowPass < kLowPassOff - 1e-6, lowPassOn_, RBiquad::kLowPass, lowPass, &Channel::lowPass);
}

void RSqueezeStage::ChangeForm(LinkForm form, int32_t channels) noexcept {
  if (channels <= 0) return;
  if (form == LinkForm::kLinked) {
    // The shared envelope goes on from the most reduced channel.
    for (int32_t c = 1; c < channels; ++c) {
      if (channels_[size_t(c)].envelope.smoothed > channels_[0].envelope.smoothed) {
        channels_[0].envelope = channels_[size_t(c)].envelope;
      }
    }
  } else if (lastForm_ == LinkForm::kLinked) {
    for (int32_t c = 1; c < channels; ++c) channels_[size_t(c)].envelope = channels_[0].envelope;
  }
  lastForm_ = form;
}

void RSqueezeStage::Process(float* const* inputs, float* const* outputs, int32_t frames) {
  if (frames <= 0 || !outputs) return;
  const int32_t channels = std::min(processChannels_, int32_t(channels_.size()));
  Refresh();
  if (!rested_) {
    for (Channel& channel : channels_) channel.envelope.Rest(detector_.GetMakeupDb());
    rested_ = true;
  }

  const bool side = inputs && sideChain_.IsProcessingOn() && inputBuses_ >= 2;
  for (int32_t c = 0; c < channels; ++c) {
    const float* main = inputs ? inputs[c] : nullptr;
    const float* key = side ? inputs[channelStride_ + c] : nullptr;
    sources_[size_t(c)] = key ? key : main;
  }
  const double link = stereoLink_.GetProcessing();
  const LinkForm form = (channels < 2 || link >= 1.0 - kLinkEdge) ? LinkForm::kLinked
                        : link <= kLinkEdge                      ? LinkForm::kApart
                                                                 : LinkForm::kBlended;
  if (form != lastForm_) ChangeForm(form, channels);

  double deepest = 0.0;
  for (int32_t offset = 0; offset < frames; offset += kChunk) {
    RunChunk(inputs, outputs, channels, offset, std::min(kChunk, frames - offset), form, deepest);
  }
  gainReduction_.store(float(deepest), std::memory_order_relaxed);

  ApplyGain(makeup_, outputs, channels, frames);
  ApplyDryWet(mix_, 1.0, inputs, outputs, channels, frames, RDryWetLaw::kLinear);
  ApplyGain(output_, outputs, channels, frames);
}

void RSqueezeStage::RunChunk(const float* const* inputs, float* const* outputs, int32_t channels, int32_t offset,
                             int32_t frames, LinkForm form, double& deepest) noexcept {
  // The detector signal of each channel: the source itself, or its filtered copy.
  for (int32_t c = 0; c < channels; ++c) {
    const float* source = sources_[size_t(c)] ? sources_[size_t(c)] + offset : silence_.data();
    if (highPassOn_ || lowPassOn_) {
      float* filtered = filtered_.data() + size_t(c) * size_t(kChunk);
      Channel& state = channels_[size_t(c)];
      if (highPassOn_) {
        highPass_.Run(state.highPass, source, filtered, frames);
        source = filtered;
      }
      if (lowPassOn_) lowPass_.Run(state.lowPass, source, filtered, frames);
      source = filtered;
    }
    chunkSources_[size_t(c)] = source;
  }

  const auto input = [&](int32_t c) -> const float* { return (inputs && inputs[c]) ? inputs[c] + offset : nullptr; };
  float* loudest = loudest_.data();
  if (form != LinkForm::kApart) {
    for (int32_t i = 0; i < frames; ++i) loudest[i] = RSqueezeDetector::Level(chunkSources_[0][i]);
    for (int32_t c = 1; c < channels; ++c) {
      const float* source = chunkSources_[size_t(c)];
      for (int32_t i = 0; i < frames; ++i) loudest[i] = std::max(loudest[i], RSqueezeDetector::Level(source[i]));
    }
  }

  float* gains = gains_.data();
  if (form == LinkForm::kLinked) {
    deepest = std::max(deepest, detector_.Run(loudest, gains, frames, channels_[0].envelope));
    for (int32_t c = 0; c < channels; ++c) {
      if (outputs[c]) ApplyGains(input(c), gains, outputs[c] + offset, frames);
    }
    return;
  }

  const auto link = float(stereoLink_.GetProcessing());
  float* levels = levels_.data();
  if (form == LinkForm::kBlended) {
    // Between the channel's own level and the loudest, in dB; the loudest's once per frame.
    for (int32_t i = 0; i < frames; ++i) loudest[i] = Decibels(loudest[i]);
  }
  for (int32_t c = 0; c < channels; ++c) {
    const float* source = chunkSources_[size_t(c)];
    double reduction = 0.0;
    if (form == LinkForm::kApart) {
      for (int32_t i = 0; i < frames; ++i) levels[i] = RSqueezeDetector::Level(source[i]);
      reduction = detector_.Run(levels, gains, frames, channels_[size_t(c)].envelope);
    } else {
      for (int32_t i = 0; i < frames; ++i) {
        const float own = Decibels(RSqueezeDetector::Level(source[i]));
        levels[i] = own + link * (loudest[i] - own);
      }
      reduction = detector_.RunDecibels(levels, gains, frames, channels_[size_t(c)].envelope);
    }
    deepest = std::max(deepest, reduction);
    if (outputs[c]) ApplyGains(input(c), gains, outputs[c] + offset, frames);
  }
}

void RegisterSqueezeStage() {
  RModuleRegistry::RegisterClass<RSqueezeStage>(RString("SqueezeStage"));
}
