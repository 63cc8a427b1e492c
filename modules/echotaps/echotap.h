#pragma once
// REchoTap: one tap of the echo module: its values (a panel "Tap 1" or "Tap 2"), its tempo
// sync group, and its working state: the main and shuffle lines, the left/right predelays
// and the band-pass states of its feedback.
//
// The values are made without an owner and entered into the module's table by Register, so
// that the second tap's records can carry their panel in the name ("Tap 2 - Feedback") while
// the label stays "Feedback". Keys of the second tap end in "1".
//
// Construction, Register and StoreSyncGroup: with the module's other values. Setup: under the
// module's setup. BeginBlock, Process, EndBlock and Clear: [audio-thread], allocation-free
// except a ring growing for a longer time, and noexcept in effect.

#include <cstdint>
#include <memory>
#include <vector>

#include "modules/common/modulevalues.h"
#include "modules/dsp/biquadstate.h"
#include "modules/dsp/delayline.h"
#include "modules/dsp/temposync.h"
#include "modules/echotaps/echokernels.h"
#include "modules/echotaps/echoline.h"

class RAudioPluginBase;
class RStoreContext;

class REchoTap {
public:
  enum Algorithm : int32_t { kTape = 0, kModern = 1 };
  static constexpr double kMaxDelaySeconds = 10.0;
  static constexpr double kMaxOffsetSeconds = 0.1;
  // A modern time change crossfades over this long: short enough to follow a turned knob,
  // long enough not to click.
  static constexpr double kFadeSeconds = 0.03;
  // Shuffle -2..2 moves every other echo by up to half the tap's time.
  static constexpr double kShufflePerUnit = 0.25;

  // What the module shares with both taps for one run.
  struct Context {
    bool stereo = true;
    bool feedbackFilter = false;
    const RBiquadCoefficients* bandPass = nullptr;
    double saturation = 0.0;
    const float* silence = nullptr;  // a chunk of zeros
  };

  explicit REchoTap(int32_t index);
  ~REchoTap();

  void Register(RAudioPluginBase& owner);
  // The second tap's sync group under keys with "1" behind them (the group's own keys are
  // the first tap's); the first tap's group stores with the table.
  void StoreSyncGroup(RStoreContext& context);

  // Sizes the lines for the channels and the present time; clears everything.
  void Setup(int32_t channels, double sampleRate, int32_t chunk);
  void Clear() noexcept;

  bool IsOn() const noexcept { return on_; }
  // The time the tap's values ask for, in samples: the sync group's note length at this
  // tempo when it is on (and the tempo known), else the delay value; within 0..10 s.
  int32_t TargetDelay(double tempo) const noexcept;
  // The delay value that equals the sync group's note length at this tempo; false, nothing
  // changed, when the tempo is unknown. [editor-thread]
  bool SetDelayBySync(double tempo);

  // Once per sub-block before its chunks: switches, times, ramps.
  void BeginBlock(int32_t frames, double tempo);
  // count samples from input (channel buffers) added to output; offset is the chunk's place
  // in the sub-block, for the ramps.
  void Process(const float* const* input, float* const* output, int32_t channels, int32_t offset, int32_t count,
               const Context& context) noexcept;
  // The ramps of the sub-block are used up.
  void EndBlock() noexcept;

  // For tests and the editor.
  const REchoLine& GetMainLine() const noexcept { return main_; }
  RBoolValue& Tap() noexcept { return *tap_; }
  RPercentValue& Feedback() noexcept { return *feedback_; }
  RVolumeValue& Gain() noexcept { return *gain_; }
  RPanValue& Panorama() noexcept { return *panorama_; }
  RTimeValue& Delay() noexcept { return *delay_; }
  RTimeValue& LeftOffset() noexcept { return *leftOffset_; }
  RTimeValue& RightOffset() noexcept { return *rightOffset_; }
  RModuleChoiceValue& AlgorithmValue() noexcept { return *algorithm_; }
  RModuleChoiceValue& Mode() noexcept { return *mode_; }
  RBoolValue& Freeze() noexcept { return *freeze_; }
  RBoolValue& Silence() noexcept { return *silence_; }
  RRealValue& Shuffle() noexcept { return *shuffle_; }
  RTempoSync& Sync() noexcept { return *sync_; }

private:
  std::vector<RValue*> Values() const;
  void ApplyTimes(double tempo);
  void SetLineDelay(REchoLine& line, int32_t samples);
  // The predelay of each side in samples from the two offsets.
  void ApplyOffsets();

  int32_t index_;
  std::unique_ptr<RBoolValue> tap_;
  std::unique_ptr<RPercentValue> feedback_;
  std::unique_ptr<RVolumeValue> gain_;
  std::unique_ptr<RPanValue> panorama_;
  std::unique_ptr<RTimeValue> delay_;
  std::unique_ptr<RTimeValue> leftOffset_;
  std::unique_ptr<RTimeValue> rightOffset_;
  std::unique_ptr<RModuleChoiceValue> algorithm_;
  std::unique_ptr<RModuleChoiceValue> mode_;
  std::unique_ptr<RBoolValue> freeze_;
  std::unique_ptr<RBoolValue> silence_;
  std::unique_ptr<RRealValue> shuffle_;
  std::unique_ptr<RTempoSync> sync_;

  double sampleRate_ = 44100.0;
  int32_t channels_ = 0;
  REchoLine main_;
  REchoLine shuffleLine_;
  std::vector<RDelayLine> predelays_;  // stereo: left, right
  std::vector<RBiquadState> filterStates_;  // line x channel x stage
  std::vector<float> predelayed_;           // channels x chunk
  int32_t chunk_ = 0;

  // The sub-block as BeginBlock found it.
  bool on_ = false;
  bool frozen_ = false;
  bool silenced_ = false;
  bool shuffling_ = false;
  bool offsets_ = false;
  int32_t modeIndex_ = REchoKernels::kClassic;
  double feedbackStart_ = 0.0, feedbackStep_ = 0.0;
  double gainStart_ = 0.0, gainStep_ = 0.0;
  double panStart_ = 0.0, panStep_ = 0.0;
};
