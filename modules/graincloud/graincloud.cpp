#include "modules/graincloud/graincloud.h"

#include <algorithm>
#include <cmath>

#include "base/array.h"
#include "base/format.h"
#include "base/lock.h"
#include "graph/audiopluginmodular.h"
#include "graph/moduleregistry.h"
#include "modules/dsp/gainstages.h"

namespace {

RArray<RString> PitchModeItems() {
  RArray<RString> items;
  for (const char* text : {"Any pitch (no sequencer)", "Random (limited)", "Lowest (limited)", "Highest (limited)",
                           "Random (unlimited)", "Lowest (unlimited)", "Highest (unlimited)"}) {
    items.Add(RString::FromUTF8(text));
  }
  return items;
}

RArray<RString> TransformationItems() {
  RArray<RString> items;
  for (int32_t i = 1; i <= RGrainEngine::kTransforms; ++i) items.Add(RString(RFormat("Transformation {0}") << i));
  return items;
}

RString Numbered(const char* label, int32_t number) { return RFormat("{0} {1}") << RString::FromUTF8(label) << number; }
RString Keyed(const char* key, int32_t number) { return RFormat("{0}{1}") << RString::FromUTF8(key) << number; }

const char* const kPitchModeHelp =
    "How a grain's pitch is chosen. \"Random\" picks any of the enabled notes of the sequencer, \"Lowest\" the "
    "lowest and \"Highest\" the highest; \"limited\" keeps the pitch within the range of Pitch and Pitch random, "
    "\"unlimited\" doesn't.";

} // namespace

RGrainCloud::RGrainCloud() : RAudioPlugin(RString("GrainCloud")), engine_(std::make_unique<RGrainEngine>()) {
  dryWet_ = std::make_unique<RPercentValue>(this, RString("Dry/Wet"), 0.0, 1.0, 1.0, RString("DryWet"));
  crossFade_ = std::make_unique<RPercentValue>(
      this, RString("Cross-fade"), 0.0, 1.0, 1.0, RString("CrossFade"),
      RString("<name>Cross-fade</name> defines the cross-fade region size. For 0% no cross-fade is used which may "
              "result in clicking and glitches."));
  grainSize_ = std::make_unique<RTimeValue>(this, RString("Grain size"), 0.001, 10.0, 0.05, RString(),
                                            RString("GrainSize"));
  grainSizeRandom_ = std::make_unique<RTimeValue>(this, RString("Random"), 0.0, 10.0, 0.0, RString(),
                                                  RString("GrainSizeRandom"));
  randomEveryTime_ = std::make_unique<RBoolValue>(this, RString("Random every time"), false, RString("RandomEveryTime"));
  sync_ = std::make_unique<RTempoSync>(this);
  for (int32_t v = 0; v < kVoices; ++v) MakeVoiceValues(v);
}

RGrainCloud::~RGrainCloud() = default;

void RGrainCloud::MakeVoiceValues(int32_t voice) {
  // Names carry the voice's number, so that the four voices' parameters stay apart in the
  // table and in automation; the editor's tabs show the labels alone.
  const int32_t n = voice + 1;
  VoiceValues& w = voices_[voice];
  const auto real = [&](const char* label, const char* key, double min, double max, double def, const char* format) {
    return std::make_unique<RRealValue>(this, Numbered(label, n), min, max, def, RString::FromUTF8(format), Keyed(key, n));
  };
  const auto ratio = [&](const char* label, const char* key, double def) {
    return std::make_unique<RPercentValue>(this, Numbered(label, n), 0.0, 1.0, def, Keyed(key, n));
  };
  const auto whole = [&](const char* label, const char* key, int32_t min, int32_t max, int32_t def) {
    return std::make_unique<RIntegerValue>(this, Numbered(label, n), min, max, def, Keyed(key, n));
  };
  const auto time = [&](const char* label, const char* key) {
    return std::make_unique<RTimeValue>(this, Numbered(label, n), 0.0, kMaxDelaySeconds, 0.0, RString(), Keyed(key, n));
  };
  w.Enable = std::make_unique<RBoolValue>(this, Numbered("Voice", n), voice == 0, Keyed("Enable", n));
  w.Freeze = std::make_unique<RBoolValue>(this, Numbered("Freeze", n), false, Keyed("Freeze", n));
  w.Gain = ratio("Output", "Gain", 1.0);
  w.Delay = time("Delay", "Delay");
  w.GrainCount = whole("Grain count", "GrainCount", 1, RGrainEngine::kMaxGrainCount, 4);
  w.SideChain = real("Side-chain", "SideChain", 0.0, 1.0, 0.0, "{+0.02}");
  w.Pitch = real("Pitch", "Pitch", -24.0, 24.0, 0.0, "{+0.02}");
  w.PitchRandom = real("Pitch random", "PitchRandom", 0.0, 24.0, 0.0, "{0.02}");
  w.PitchMode = std::make_unique<RModuleChoiceValue>(this, Numbered("Random mode", n), PitchModeItems(), 0,
                                                     Keyed("PitchMode", n), RString::FromUTF8(kPitchModeHelp));
  w.SequencerCount = whole("Sequencer count", "SequencerCount", 1, RGrainSequencer::kMaxSteps, 1);
  w.SequencerGrainsPerItem = whole("Sequencer grains per item", "SequencerGrainsPerItem", 1, kMaxGrainsPerStep, 1);
  w.Pan = real("Pan", "Pan", -1.0, 1.0, 0.0, "{0.2}");
  w.PanRandom = ratio("Pan random", "PanRandom", 0.0);
  w.Copies = real("Copies", "Copies", 1.0, double(RGrainEngine::kMaxCopies), 1.0, "{0.2}");
  w.CopyMaxDelay = time("Max copy delay", "CopyMaxDelay");
  w.CopyDelayRand = ratio("Copy delay rand", "CopyDelayRand", 0.0);
  w.GainMin = ratio("Gain center", "GainMin", 1.0);
  w.GainRandom = ratio("Gain random", "GainRandom", 0.0);
  w.OutputChannel = whole("Output channel", "OutputChannel", 1, kMaxOutputBuses, 1);
  w.Transformation = std::make_unique<RModuleChoiceValue>(this, Numbered("Transformation", n), TransformationItems(), 0,
                                                          Keyed("Transformation", n));
}

uint64_t RGrainCloud::GetStep(int32_t voice, int32_t step) const noexcept {
  return engine_->GetVoice(std::clamp(voice, 0, kVoices - 1)).Steps[std::clamp(step, 0, RGrainSequencer::kMaxSteps - 1)];
}

void RGrainCloud::SetStep(int32_t voice, int32_t step, uint64_t packed) {
  if (voice < 0 || voice >= kVoices || step < 0 || step >= RGrainSequencer::kMaxSteps) return;
  RLockGuard guard(GetAudioLock());
  engine_->GetVoice(voice).Steps[step] = packed & RGrainSequencer::kNoteMask;
}

const RShape& RGrainCloud::GetTransform(int32_t voice, int32_t index) const noexcept {
  return engine_->GetVoice(std::clamp(voice, 0, kVoices - 1))
      .Transforms[std::clamp(index, 0, RGrainEngine::kTransforms - 1)];
}

void RGrainCloud::SetTransform(int32_t voice, int32_t index, const RShape& shape) {
  if (voice < 0 || voice >= kVoices || index < 0 || index >= RGrainEngine::kTransforms) return;
  // Built here, so that the audio thread only waits for a swap.
  RShape built = shape;
  built.Rebuild();
  RLockGuard guard(GetAudioLock());
  std::swap(engine_->GetVoice(voice).Transforms[index], built);
}

RString RGrainCloud::GetTransformTitle(int32_t voice, int32_t index) {
  return RFormat("Voice {0} transformation {1}") << (voice + 1) << (index + 1);
}

void RGrainCloud::Setup_Locked() {
  RAudioPlugin::Setup_Locked();
  for (int32_t v = 0; v < kVoices; ++v) FillVoiceSettings(v, 1);
  engine_->Setup(GetSampleRate(), GetProcessChannels());
  resetPending_ = true;
}

void RGrainCloud::ClearState() { resetPending_ = true; }

void RGrainCloud::Reset() { resetPending_ = true; }

RGrainSizes RGrainCloud::ComputeSizes() const noexcept {
  const double fs = GetSampleRate();
  const double crossFade = crossFade_->GetProcessing();
  RGrainSizes sizes;
  if (sync_->IsOn()) SyncedGrainSizes(sync_->Samples(GetTimeInfo().Tempo, fs), crossFade, sizes);
  // The plain rule runs after the synced one and wins: grain sizes follow "Grain size" alone,
  // as every stored state has been made to sound.
  sizes = PlainGrainSizes(fs, grainSize_->GetProcessing(), grainSizeRandom_->GetProcessing(), crossFade);
  return sizes;
}

void RGrainCloud::FillVoiceSettings(int32_t voice, int32_t frames) noexcept {
  VoiceValues& w = voices_[voice];
  RGrainVoiceSettings& s = engine_->GetVoice(voice).Settings;
  const double fs = GetSampleRate();
  s.Enable = w.Enable->IsProcessingOn();
  s.Freeze = w.Freeze->IsProcessingOn();
  double start = w.Gain->GetProcessing(), step = 0.0;
  if (w.Gain->GetRamp(frames, start, step)) {
    s.GainStart = start;
    s.GainEnd = start + step * double(frames);
  } else {
    s.GainStart = s.GainEnd = w.Gain->GetProcessing();
  }
  w.Gain->MarkRampDone();
  s.DelayFrames = w.Delay->GetProcessing() * fs;
  s.CopyMaxDelayFrames = w.CopyMaxDelay->GetProcessing() * fs;
  s.CopyDelayRand = w.CopyDelayRand->GetProcessing();
  s.GrainCount = w.GrainCount->GetProcessingInt();
  s.SideShare = w.SideChain->GetProcessing();
  s.Pitch = w.Pitch->GetProcessing();
  s.PitchRandom = w.PitchRandom->GetProcessing();
  s.PitchMode = w.PitchMode->GetProcessingIndex();
  s.SequencerCount = w.SequencerCount->GetProcessingInt();
  s.GrainsPerStep = w.SequencerGrainsPerItem->GetProcessingInt();
  s.Pan = w.Pan->GetProcessing();
  s.PanRandom = w.PanRandom->GetProcessing();
  s.Copies = w.Copies->GetProcessing();
  s.GainMin = w.GainMin->GetProcessing();
  s.GainRandom = w.GainRandom->GetProcessing();
  s.OutputBus = w.OutputChannel->GetProcessingInt() - 1;
  s.Transformation = w.Transformation->GetProcessingIndex();
}

void RGrainCloud::Process(float* const* inputs, float* const* outputs, int32_t frames) {
  if (frames <= 0 || !outputs) return;
  const int32_t channels = GetProcessChannels();
  const int32_t stride = GetChannelStride();

  sync_->Refresh();
  engine_->SetSizes(ComputeSizes());
  // A transport that starts playing is a playback reset, as is a reset of the graph.
  const bool playing = GetTimeInfo().IsPlaying();
  if (playing && !wasPlaying_) resetPending_ = true;
  wasPlaying_ = playing;
  if (resetPending_) {
    engine_->Reset(!randomEveryTime_->IsProcessingOn());
    resetPending_ = false;
  }
  for (int32_t v = 0; v < kVoices; ++v) FillVoiceSettings(v, frames);

  const float* const* main = inputs;
  const float* const* side = nullptr;
  if (inputs && GetInputBuses() > 1 && inputs[stride]) side = inputs + stride;
  engine_->Process(main, side, outputs, GetOutputBuses(), stride, channels, frames);

  // Further output buses carry the wet part alone; the main bus mixes in the dry input.
  double start = dryWet_->GetProcessing(), step = 0.0;
  if (!dryWet_->GetRamp(frames, start, step)) step = 0.0;
  for (int32_t b = 1; b < GetOutputBuses(); ++b) {
    for (int32_t c = 0; c < channels; ++c) {
      if (float* out = outputs[b * stride + c]) GainStage(out, out, frames, start, step);
    }
  }
  if (inputs) {
    ApplyDryWet(*dryWet_, 1.0, inputs, outputs, channels, frames, RDryWetLaw::kLinear);
  } else {
    for (int32_t c = 0; c < channels; ++c) {
      if (outputs[c]) GainStage(outputs[c], outputs[c], frames, start, step);
    }
    dryWet_->MarkRampDone();
  }
}

void RegisterGrainCloud() {
  RModuleRegistry::RegisterClass<RGrainCloud>(RString("GrainCloud"));
}
