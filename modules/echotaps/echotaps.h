#pragma once
// REchoTaps: a delay with two taps, each with its own feedback, gain, panorama, time, mode and
// tempo sync, sharing a band-pass (on the input or inside every feedback) and a saturation
// in the feedback. The dry signal is the input times Dry; the taps add on top. In "Serial"
// mode the second tap echoes the first tap's output instead of the input.
//
// No latency: the dry path is immediate and every echo comes at its set time.
//
// Scenarios worth keeping in mind:
//   I.   Idle in a product slot: feedback 0 in "Default" mode gives no echo at all, and a
//        time of 0 makes the tap a plain copy of its input.
//   II.  A time is turned while echoes ring: "Tape" glides (the pitch slides), "Modern"
//        crossfades to the new read point (the pitch stays).
//   III. Freeze: the rings repeat what they hold; new input and feedback changes don't reach
//        them, and the time holds until the freeze ends.
//   IV.  An older state with "classicmode"/"serialmode" switches loads into the mode lists.
//
// Threads: as every RAudioPlugin. SetDelayBySync is [editor-thread]; Process [audio-thread].

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

#include "kernel/audioplugin.h"
#include "modules/common/modulevalues.h"
#include "modules/dsp/biquad.h"
#include "modules/echotaps/echotap.h"

class REchoTaps : public RAudioPlugin {
public:
  enum DelayMode : int32_t { kParallel = 0, kSerial = 1 };
  enum FilterMode : int32_t { kInputFilter = 0, kFeedbackFilter = 1 };
  static constexpr int32_t kTaps = 2;
  // The sub-block is worked in chunks of this many samples, so the scratch is fixed.
  static constexpr int32_t kChunk = 256;
  static constexpr double kMinFrequency = 20.0;
  static constexpr double kMaxFrequency = 20000.0;

  REchoTaps();
  ~REchoTaps() override;

  void InitParameters() override;
  void Setup_Locked() override;
  void Update() override;
  void ClearState() override;
  void Process(float* const* inputs, float* const* outputs, int32_t frames) override;
  int32_t GetLatency() const override { return 0; }
  // Echoes outlast the input by up to the longest tap time.
  int32_t GetTailLength() const override;
  void StoreGlobal(RStoreContext& context) override;

  // The "Set delay by sync" button of a tap: its time becomes its sync group's note length at
  // the present tempo. False when the tempo is unknown.
  bool SetDelayBySync(int32_t tap);

  RPercentValue& Dry() noexcept { return *dry_; }
  RModuleChoiceValue& DelayModeValue() noexcept { return *delayMode_; }
  RModuleChoiceValue& FilterModeValue() noexcept { return *filterMode_; }
  RFrequencyValue& MinFrequency() noexcept { return *minFrequency_; }
  RFrequencyValue& MaxFrequency() noexcept { return *maxFrequency_; }
  RPercentValue& Resonance() noexcept { return *resonance_; }
  RPercentValue& Saturation() noexcept { return *saturation_; }
  REchoTap& Tap(int32_t index) noexcept { return *taps_[size_t(index)]; }
  // Whether the band-pass does anything: not with both edges at the ends of their ranges.
  bool IsFilterActive() const noexcept { return filterActive_; }

private:
  // Old states' switches onto the lists that replaced them.
  void ReadOldSwitches(RStoreContext& context);

  std::unique_ptr<RPercentValue> dry_;
  std::unique_ptr<RModuleChoiceValue> delayMode_;
  std::unique_ptr<RModuleChoiceValue> filterMode_;
  std::unique_ptr<RFrequencyValue> minFrequency_;
  std::unique_ptr<RFrequencyValue> maxFrequency_;
  std::unique_ptr<RPercentValue> resonance_;
  std::unique_ptr<RPercentValue> saturation_;
  std::array<std::unique_ptr<REchoTap>, kTaps> taps_;

  // The band-pass: high-pass at the lower edge, low-pass at the upper.
  RBiquad bandPass_[2];
  RBiquadCoefficients bandPassCoefficients_[2];
  bool filterActive_ = false;
  std::vector<RBiquadState> inputFilterStates_;  // channel x stage

  // Scratch of kChunk samples per channel: the taps' input, the first tap's output (serial),
  // and silence.
  std::vector<float> tapInput_;
  std::vector<float> firstTapOutput_;
  std::vector<float> silence_;
};

// Enters the module into the process-wide registry under its catalogue Id "EchoTaps".
void RegisterEchoTaps();
