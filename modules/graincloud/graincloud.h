#pragma once
// RGrainCloud: the granular module. It cuts its input into short grains and plays them back
// through four voices, each with its own pitch, panorama, gain, delay and copies; the stutter
// and glitch of the product's signal path. A voice may take a share of its grains from the
// side-chain input, when one is connected.
//
// Parameters: the global ones (mix, cross-fade, grain size and its random part, the random
// sequence switch, the tempo-sync group), then twenty per voice with the voice's number (1..4)
// behind their keys. With each voice the stored state keeps a VoicePitch element: the pitch
// sequencer's steps (RGrainSequencer's packing) and sixteen transformation shapes.
//
// Scenarios:
//   I.   A block: sizes from the time values, a pending reset done, the engine's block, then
//        the dry/wet mix on the main output bus.
//   II.  The editor draws a transformation or a step: SetTransform / SetStep build off the
//        audio thread and swap in under the audio lock.
//   III. The transport starts or the graph resets: every grain goes, delay lines fall silent,
//        and with "Random every time" off the random sequence starts over.
//
// Threads: construction, Store, SetTransform and SetStep [editor-thread]/[host-thread];
// Setup_Locked under the audio lock; Process [audio-thread], allocation-free and noexcept.

#include <cstdint>
#include <memory>
#include <vector>

#include "kernel/audioplugin.h"
#include "modules/common/modulevalues.h"
#include "modules/dsp/temposync.h"
#include "modules/graincloud/grainengine.h"

class RGrainCloud : public RAudioPlugin {
public:
  static constexpr int32_t kVoices = RGrainEngine::kVoices;
  // Limits of the voice parameters whose range is this module's choice.
  static constexpr double kMaxDelaySeconds = 1.0;   // Delay and Max copy delay
  static constexpr int32_t kMaxGrainsPerStep = 64;
  static constexpr int32_t kMaxOutputBuses = 8;

  // The values of one voice, in the order of the parameter table.
  struct VoiceValues {
    std::unique_ptr<RBoolValue> Enable;
    std::unique_ptr<RBoolValue> Freeze;
    std::unique_ptr<RPercentValue> Gain;
    std::unique_ptr<RTimeValue> Delay;
    std::unique_ptr<RIntegerValue> GrainCount;
    std::unique_ptr<RRealValue> SideChain;
    std::unique_ptr<RRealValue> Pitch;
    std::unique_ptr<RRealValue> PitchRandom;
    std::unique_ptr<RModuleChoiceValue> PitchMode;
    std::unique_ptr<RIntegerValue> SequencerCount;
    std::unique_ptr<RIntegerValue> SequencerGrainsPerItem;
    std::unique_ptr<RRealValue> Pan;
    std::unique_ptr<RPercentValue> PanRandom;
    std::unique_ptr<RRealValue> Copies;
    std::unique_ptr<RTimeValue> CopyMaxDelay;
    std::unique_ptr<RPercentValue> CopyDelayRand;
    std::unique_ptr<RPercentValue> GainMin;
    std::unique_ptr<RPercentValue> GainRandom;
    std::unique_ptr<RIntegerValue> OutputChannel;
    std::unique_ptr<RModuleChoiceValue> Transformation;
  };

  RGrainCloud();
  ~RGrainCloud() override;

  RPercentValue& GetDryWet() noexcept { return *dryWet_; }
  RPercentValue& GetCrossFade() noexcept { return *crossFade_; }
  RTimeValue& GetGrainSize() noexcept { return *grainSize_; }
  RTimeValue& GetGrainSizeRandom() noexcept { return *grainSizeRandom_; }
  RBoolValue& GetRandomEveryTime() noexcept { return *randomEveryTime_; }
  RTempoSync& GetTempoSync() noexcept { return *sync_; }
  VoiceValues& GetVoiceValues(int32_t voice) noexcept { return voices_[voice]; }

  // The sequencer step (RGrainSequencer packing) and transformation shapes of a voice.
  // The setters take the audio lock for the swap. [editor-thread]
  uint64_t GetStep(int32_t voice, int32_t step) const noexcept;
  void SetStep(int32_t voice, int32_t step, uint64_t packed);
  const RShape& GetTransform(int32_t voice, int32_t index) const noexcept;
  void SetTransform(int32_t voice, int32_t index, const RShape& shape);
  // The title of a transformation's editing panel: "Voice 1 transformation 3".
  static RString GetTransformTitle(int32_t voice, int32_t index);

  // The engine, for tests and meters. [audio-thread] for anything that changes it.
  RGrainEngine& GetEngine() noexcept { return *engine_; }

  void Setup_Locked() override;
  void ClearState() override;
  void Reset() override;
  void Process(float* const* inputs, float* const* outputs, int32_t frames) override;
  void Store(RStoreContext& context) override;

private:
  void MakeVoiceValues(int32_t voice);
  // The voice's parameters as the engine takes them for a block of frames; marks the gain ramp
  // consumed.
  void FillVoiceSettings(int32_t voice, int32_t frames) noexcept;
  RGrainSizes ComputeSizes() const noexcept;
  void StoreVoicePitch(RStoreContext& context, int32_t voice);

  std::unique_ptr<RPercentValue> dryWet_;
  std::unique_ptr<RPercentValue> crossFade_;
  std::unique_ptr<RTimeValue> grainSize_;
  std::unique_ptr<RTimeValue> grainSizeRandom_;
  std::unique_ptr<RBoolValue> randomEveryTime_;
  std::unique_ptr<RTempoSync> sync_;
  VoiceValues voices_[kVoices];

  std::unique_ptr<RGrainEngine> engine_;
  // Set by a reset of the graph or of the transport, done at the start of the next block.
  bool resetPending_ = true;
  bool wasPlaying_ = false;
};

// Enters the "GrainCloud" row's creator in the module registry.
void RegisterGrainCloud();
