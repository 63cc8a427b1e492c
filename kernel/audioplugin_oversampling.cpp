// Oversampling of RAudioPlugin: the two choices of factor (normal and offline) and the HQ
// switch, the factor a Setup runs at, and the cycle's run of the scheduler at that factor
// between the oversampler's filters.
#include <algorithm>

#include "kernel/audioplugin.h"
#include "kernel/blockkernels.h"
#include "kernel/oversampler.h"
#include "kernel/oversamplingchoice.h"

namespace {

// The automatic choice takes 2x above this host rate and 1x below it.
constexpr double kAutomaticOversamplingRate = 80000.0;

RArray<RString> FactorItems(int32_t count) {
  RArray<RString> items;
  for (int32_t i = 0; i < count; ++i) items.Add(ROversamplingChoice::GetText(i));
  return items;
}

} // namespace

void RAudioPlugin::SetMaxOversampling(int32_t maxFactor) {
  options_.maxOversampling = std::max(maxFactor, 1);
  const RArray<RString> items = FactorItems(ROversamplingChoice::CountUpTo(options_.maxOversampling));
  // Built without an owner, like Bypass, so that they don't join the plug-in's own values;
  // "~": StoreGlobal writes them as factors.
  oversamplingNormal_ =
      std::make_unique<RChoiceValue>(nullptr, RString("Oversampling (normal)"), items, 0, RString("~"));
  oversamplingOffline_ =
      std::make_unique<RChoiceValue>(nullptr, RString("Oversampling (offline)"), items, 0, RString("~"));
  if (!hqOversampling_) hqOversampling_ = std::make_unique<RBoolValue>(nullptr, RString("HQ oversampling"), true, RString("~"));
  oversamplingNormal_->SetOwner(this);
  oversamplingOffline_->SetOwner(this);
  hqOversampling_->SetOwner(this);
}

int32_t RAudioPlugin::ResolveOversampling() const {
  const RChoiceValue& choice = shared_->Offline ? *oversamplingOffline_ : *oversamplingNormal_;
  return ROversamplingChoice::GetFactor(choice.GetIndex());
}

void RAudioPlugin::ApplyOversamplingOptions() {
  if (options_.forcedOversampling > 0) {
    const double index = ROversamplingChoice::GetIndex(options_.forcedOversampling);
    oversamplingNormal_->SetValueNow(index);
    oversamplingOffline_->SetValueNow(index);
  }
  if (options_.automaticOversampling && !automaticOversamplingDone_) {
    const double index = hostSampleRate_ > kAutomaticOversamplingRate ? 1.0 : 0.0;
    oversamplingNormal_->SetValueNow(index);
    oversamplingOffline_->SetValueNow(index);
    automaticOversamplingDone_ = true;
  }
}

void RAudioPlugin::SetUpOversampler() {
  // Made on first need and kept: a factor back at 1 costs nothing but the memory.
  if (oversampling_ >= 2 && !oversampler_) oversampler_ = std::make_unique<ROversampler>();
  if (oversampler_) {
    oversampler_->Setup(hostSampleRate_, oversampling_, activeHQ_, std::max(inputBuses_, 0) * channels_,
                        std::max(outputBuses_, 0) * channels_, std::max(maxHostBlock_, 1));
  }
  // Events land where the up-sampled signal does: half the filters' delay later.
  eventShift_ = oversampling_ >= 2 ? GetOversamplingDelay() * oversampling_ / 2 : 0;
}

int32_t RAudioPlugin::GetOversamplingDelay() const noexcept {
  return oversampling_ >= 2 && oversampler_ ? oversampler_->GetDelay() : 0;
}

int32_t RAudioPlugin::GetTrueLatency() const {
  return std::max(GetLatency(), 0) / std::max(oversampling_, 1) + GetOversamplingDelay();
}

void RAudioPlugin::RunOversampled(float* const* inputs, float* const* outputs, int32_t frames) {
  ROversampler& filters = *oversampler_;
  float* in[kMaxChannelPointers];
  float* out[kMaxChannelPointers];
  const int32_t inputCount = inputs ? inputBuses_ * channelStride_ : 0;
  const int32_t outputCount = outputBuses_ * channelStride_;
  std::fill(in, in + inputCount, nullptr);
  std::fill(out, out + outputCount, nullptr);

  for (int32_t b = 0; b < (inputs ? inputBuses_ : 0); ++b) {
    for (int32_t c = 0; c < channels_; ++c) {
      const int32_t i = b * channelStride_ + c;
      // An open side-chain is the main bus's very buffer, and stays so up here.
      if (const int32_t same = FindSameBuffer(inputs, i); same >= 0 && in[same]) {
        in[i] = in[same];
        continue;
      }
      const int32_t channel = b * channels_ + c;
      if (inputs[i]) {
        filters.Upsample(channel, inputs[i], frames);
      } else {
        filters.Advance(channel, frames);
      }
      in[i] = filters.GetUpBuffer(channel);
    }
  }
  for (int32_t b = 0; b < outputBuses_; ++b) {
    for (int32_t c = 0; c < channels_; ++c) {
      if (outputs[b * channelStride_ + c]) out[b * channelStride_ + c] = filters.GetDownBuffer(b * channels_ + c);
    }
  }

  RunScheduler(inputs ? in : nullptr, out, frames * oversampling_);

  // The filters ring a little past a ceiling the plug-in held: hold it again at the host rate.
  const double ceiling = GetOutputCeiling();
  for (int32_t b = 0; b < outputBuses_; ++b) {
    for (int32_t c = 0; c < channels_; ++c) {
      float* y = outputs[b * channelStride_ + c];
      if (!y) continue;
      filters.Downsample(b * channels_ + c, y, frames);
      if (b == 0 && ceiling >= 0.0) RBlockKernels::Clamp(y, frames, float(ceiling));
    }
  }
}
