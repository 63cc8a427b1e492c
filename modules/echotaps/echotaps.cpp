#include "modules/echotaps/echotaps.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "base/array.h"
#include "base/tagitem.h"
#include "graph/audiopluginmodular.h"
#include "graph/moduleregistry.h"
#include "kernel/storecontext.h"
#include "modules/dsp/gainstages.h"

namespace {

RArray<RString> Items(std::initializer_list<const char*> texts) {
  RArray<RString> items;
  for (const char* text : texts) items.Add(RString::FromUTF8(text));
  return items;
}

// The edges of the band-pass stay clear of the top of the band, where the designs cramp.
constexpr double kHighestEdge = 0.45;

} // namespace

REchoTaps::REchoTaps() : RAudioPlugin(RString("EchoTaps")) {
  dry_ = std::make_unique<RPercentValue>(
      this, RString("Dry"), 0.0, 1.0, 1.0, RString("Dry"),
      RString("Use <reference>Gain</reference> to control each of the tap outputs, thus the amount of wet signal."));
  delayMode_ = std::make_unique<RModuleChoiceValue>(
      this, RString("Delay mode"), Items({"Parallel", "Serial"}), kParallel, RString("DelayMode"),
      RString("<value>Serial</value> mode produces a higher density of echoes when both tap are used, because it "
              "makes the second tap process the signal output from the first one."));
  filterMode_ = std::make_unique<RModuleChoiceValue>(
      this, RString("Filter mode"), Items({"Input filter", "Feedback filter"}), kInputFilter, RString("FilterMode"),
      RString("Where the band-pass works: on the input, or inside the feedback, where it filters every echo again."));
  minFrequency_ = std::make_unique<RFrequencyValue>(this, RString("Min frequency"), kMinFrequency, kMaxFrequency,
                                                    kMinFrequency, RString(), RString("MinFrequency"),
                                                    RString("Lower edge of the band-pass."));
  minFrequency_->SetAltName(RString("Min"));
  maxFrequency_ = std::make_unique<RFrequencyValue>(this, RString("Max frequency"), kMinFrequency, kMaxFrequency,
                                                    kMaxFrequency, RString(), RString("MaxFrequency"),
                                                    RString("Upper edge of the band-pass."));
  maxFrequency_->SetAltName(RString("Max"));
  resonance_ = std::make_unique<RPercentValue>(this, RString("Resonance"), 0.0, 1.0, 0.5, RString("Resonance"),
                                               RString("Band-pass resonance."));
  saturation_ = std::make_unique<RPercentValue>(this, RString("Saturation"), 0.0, 1.0, 0.0, RString("Saturation"),
                                                RString("Saturation in the feedback, so it grows with every echo."));
  for (int32_t t = 0; t < kTaps; ++t) taps_[size_t(t)] = std::make_unique<REchoTap>(t);
}

REchoTaps::~REchoTaps() = default;

void REchoTaps::InitParameters() {
  RAudioPlugin::InitParameters();
  for (auto& tap : taps_) tap->Register(*this);
}

void REchoTaps::Setup_Locked() {
  RAudioPlugin::Setup_Locked();
  const auto channels = size_t(std::max(processChannels_, 0));
  for (auto& tap : taps_) tap->Setup(processChannels_, sampleRate_, kChunk);
  inputFilterStates_.assign(channels * 2, RBiquadState());
  tapInput_.assign(channels * kChunk, 0.0f);
  firstTapOutput_.assign(channels * kChunk, 0.0f);
  silence_.assign(kChunk, 0.0f);
  ClearState();
  Update();
}

void REchoTaps::ClearState() {
  for (auto& tap : taps_)
    if (tap) tap->Clear();
  for (RBiquadState& state : inputFilterStates_) state.Clear();
}

void REchoTaps::Update() {
  const double sampleRate = sampleRate_ > 0.0 ? sampleRate_ : 44100.0;
  const double top = kHighestEdge * sampleRate;
  const double low = minFrequency_->GetProcessing(), high = maxFrequency_->GetProcessing();
  filterActive_ = low > kMinFrequency * 1.0001 || high < kMaxFrequency * 0.9999;
  // Resonance 0.5 is a flat (Butterworth) edge; 0 a soft one, 1 a peak of about 9 dB.
  const double q = 0.70710678118654752 * std::pow(4.0, 2.0 * resonance_->GetProcessing() - 1.0);
  bandPass_[0].Design(RBiquad::kHighPass, 0.0, std::min(low, top), sampleRate, q);
  bandPass_[1].Design(RBiquad::kLowPass, 0.0, std::min(high, top), sampleRate, q);
  for (int32_t s = 0; s < 2; ++s) bandPassCoefficients_[s] = bandPass_[s].GetCoefficients();
  for (auto& tap : taps_) tap->Sync().Refresh();
}

int32_t REchoTaps::GetTailLength() const {
  int32_t longest = 0;
  for (const auto& tap : taps_)
    if (tap->IsOn()) longest = std::max(longest, tap->GetMainLine().GetDelay());
  return longest / std::max(GetOversampling(), 1);
}

bool REchoTaps::SetDelayBySync(int32_t tap) {
  if (tap < 0 || tap >= kTaps) return false;
  return taps_[size_t(tap)]->SetDelayBySync(GetTimeInfo().Tempo);
}

void REchoTaps::Process(float* const* inputs, float* const* outputs, int32_t frames) {
  const int32_t channels = std::min(processChannels_, kMaxChannelPointers);
  const double tempo = GetTimeInfo().Tempo;
  for (auto& tap : taps_) tap->BeginBlock(frames, tempo);
  double dryStart = 0.0, dryStep = 0.0;
  if (!dry_->GetRamp(frames, dryStart, dryStep)) dryStart = dry_->GetProcessing();

  REchoTap& first = *taps_[0];
  REchoTap& second = *taps_[1];
  const bool serial = delayMode_->GetProcessingIndex() == kSerial && first.IsOn();
  const bool filterOnInput = filterActive_ && filterMode_->GetProcessingIndex() == kInputFilter;
  REchoTap::Context context;
  context.stereo = channels == 2;
  context.feedbackFilter = filterActive_ && filterMode_->GetProcessingIndex() == kFeedbackFilter;
  context.bandPass = bandPassCoefficients_;
  context.saturation = saturation_->GetProcessing();
  context.silence = silence_.data();

  const float* tapIn[kMaxChannelPointers];
  float* out[kMaxChannelPointers];
  float* firstOut[kMaxChannelPointers];
  for (int32_t offset = 0; offset < frames; offset += kChunk) {
    const int32_t n = std::min(kChunk, frames - offset);
    for (int32_t c = 0; c < channels; ++c) {
      float* x = tapInput_.data() + size_t(c) * kChunk;
      const float* source = inputs ? inputs[c] : nullptr;
      // The taps' input is taken before the dry part overwrites an in-place buffer.
      if (!source)
        std::fill(x, x + n, 0.0f);
      else if (filterOnInput)
        RBiquad::RunCascade(bandPass_, inputFilterStates_.data() + size_t(c) * 2, 2, source + offset, x, n);
      else
        std::memcpy(x, source + offset, size_t(n) * sizeof(float));
      tapIn[c] = x;
      out[c] = outputs[c] + offset;
      if (source)
        GainStage(source + offset, out[c], n, dryStart + offset * dryStep, dryStep);
      else
        std::fill(out[c], out[c] + n, 0.0f);
    }
    if (serial) {
      for (int32_t c = 0; c < channels; ++c) {
        firstOut[c] = firstTapOutput_.data() + size_t(c) * kChunk;
        std::fill(firstOut[c], firstOut[c] + n, 0.0f);
      }
      first.Process(tapIn, firstOut, channels, offset, n, context);
      for (int32_t c = 0; c < channels; ++c)
        for (int32_t i = 0; i < n; ++i) out[c][i] += firstOut[c][i];
      second.Process(firstOut, out, channels, offset, n, context);
    } else {
      first.Process(tapIn, out, channels, offset, n, context);
      second.Process(tapIn, out, channels, offset, n, context);
    }
  }
  for (auto& tap : taps_) tap->EndBlock();
  dry_->MarkRampDone();
}

void REchoTaps::StoreGlobal(RStoreContext& context) {
  RAudioPlugin::StoreGlobal(context);
  taps_[1]->StoreSyncGroup(context);
  if (context.IsReading()) ReadOldSwitches(context);
}

void REchoTaps::ReadOldSwitches(RStoreContext& context) {
  // Before the lists, each tap had a "classic" switch (off: the first echo scaled by the
  // feedback) and the module a "serial" switch. A list key in the same state wins.
  const RTagItem& element = context.GetElement();
  const auto load = [&](const char* oldKey, RChoiceValue& value) {
    const RVariant* old = element.FindAttribute(RHashedString(RString::FromUTF8(oldKey)));
    if (!old || element.FindAttribute(RHashedString(context.ValueKey(value.GetKey())))) return;
    value.SetValueNow(old->ToBool() ? 1.0 : 0.0);
  };
  load("parameterclassicmode", taps_[0]->Mode());
  load("parameterclassicmode1", taps_[1]->Mode());
  load("parameterserialmode", *delayMode_);
}

void RegisterEchoTaps() {
  RModuleRegistry::RegisterClass<REchoTaps>(RString("EchoTaps"));
}
