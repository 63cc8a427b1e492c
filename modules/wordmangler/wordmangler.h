#pragma once
// RWordMangler: the bit-level effect. Every sample becomes an unsigned word of Bits bits; up
// to four operations (XOR, Replace, AND, OR) change it against the mask of their 16 switches
// and a control word; the word becomes a sample again, and a low-pass and a DC blocker
// filter the result. The control word comes from the side-chain, from the input delayed by
// Delay (or half a synced note), or, when neither is in use, from the word itself, which a
// nonzero Shift then moves against itself.
//
// A block: input gain (ramped) into the outputs, the word stage in place, output gain
// (ramped), then the linear dry/wet mix with the untouched input. No latency: Delay acts on
// the control signal alone.
//
// For a band engine the DSP is split into a per-block prepare (ramps and the word plan, shared
// by every band) and a per-band process on an RWordManglerState of the engine's own; the
// module's Process is the same two steps on its own state.
//
// Threads: parameters as every value (kernel/value.h); Setup_Locked and the state hooks that
// allocate are [host-thread] under the audio lock; Update, PrepareBands, ProcessBand and
// Process are [audio-thread], allocation-free (but for a delay line growing past its ring on
// a change of Delay) and noexcept.

#include <cstdint>
#include <memory>
#include <vector>

#include "kernel/audioplugin.h"
#include "modules/common/modulevalues.h"
#include "modules/dsp/biquad.h"
#include "modules/dsp/gainstages.h"
#include "modules/dsp/temposync.h"
#include "modules/wordmangler/wordcore.h"
#include "modules/wordmangler/wordmanglerstate.h"

class RWordMangler : public RAudioPlugin {
public:
  static constexpr int32_t kOperations = RWordPlan::kOperations;
  static constexpr int32_t kMaskSwitches = 16;
  // Samples the word stage takes at a time: its scratch words live on the stack.
  static constexpr int32_t kChunk = 256;
  static constexpr double kFilterQ = 0.7071067811865476;
  static constexpr double kDCBlockerHertz = 10.0;

  // One operation's panel: its switch, shift, rotation and mask.
  struct Operation {
    std::unique_ptr<RBoolValue> Enable;
    std::unique_ptr<RIntegerValue> Shift;
    std::unique_ptr<RBoolValue> Rotate;
    std::unique_ptr<RBoolValue> Mask[kMaskSwitches];  // Mask[i - 1] is switch "Bit{i}X{k}"
  };

  explicit RWordMangler(const Options& options = Options());
  ~RWordMangler() override;

  // Designs the DC blocker and builds the module's own state for the channel count.
  void Setup_Locked() override;
  // Tempo-sync divisor, low-pass switch and design.
  void Update() override;
  void ClearState() override;
  // Settles the input buses in use for the block: 2 with the side-chain on (when the host
  // gives two), else 1.
  void BeforeBlock(float* const* inputs, float* const* outputs) override;
  void Process(float* const* inputs, float* const* outputs, int32_t frames) noexcept override;

  // --- band engine
  static size_t GetStateSize(int32_t channels) noexcept { return RWordManglerState::GetSize(channels); }
  // Builds a state in memory (aligned to RWordManglerState::kAlignment) and sets it up for
  // this module's present sample rate. [host-thread]
  RWordManglerState* ConstructState(void* memory, int32_t channels);
  static void DestroyState(RWordManglerState* state) noexcept { RWordManglerState::Destroy(state); }
  // Once per block before the bands: takes the ramps of GainIn, GainOut and DryWet (a change
  // below 1e-10 is none) and reads every other parameter into the block's plan.
  void PrepareBands(int32_t frames) noexcept;
  // One band: inputs holds the state's channels of main input, sideChain the side-chain
  // channels or null (silence). Inputs are read, never written, and must not be the outputs.
  void ProcessBand(RWordManglerState& state, const float* const* inputs, const float* const* sideChain,
                   float* const* outputs, int32_t frames) noexcept;

  // --- values, in the table's order
  RGainValue& GetGainIn() noexcept { return gainIn_; }
  RGainValue& GetGainOut() noexcept { return gainOut_; }
  RPercentValue& GetDryWet() noexcept { return dryWet_; }
  RBoolValue& GetSideChain() noexcept { return sideChain_; }
  RBoolValue& GetAGC() noexcept { return autoGain_; }
  RBoolValue& GetDCBlocker() noexcept { return dcBlocker_; }
  RIntegerValue& GetBits() noexcept { return bits_; }
  RTimeValue& GetDelay() noexcept { return delay_; }
  RLog10FrequencyValue& GetLowPass() noexcept { return lowPass_; }
  RTempoSync& GetTempoSync() noexcept { return tempoSync_; }
  Operation& GetOperation(RWordOperationKind kind) noexcept { return operations_[int32_t(kind)]; }

  // --- what the last prepare settled, for tests and the editor
  const RWordPlan& GetPlan() const noexcept { return plan_; }
  int32_t GetControlDelay() const noexcept { return controlDelay_; }
  bool IsLowPassOn() const noexcept { return lowPassOn_; }
  RWordManglerState* GetState() noexcept { return state_; }
  // The input buses this block reads, set anew before every block. The host's bus count
  // (GetInputBuses) stays as the host set it, so that a repeated SetHostFormat still compares
  // against what the host gave.
  int32_t GetInputBusesInUse() const noexcept { return inputBusesInUse_; }

private:
  // The core on the outputs, in place: the control delay and the word stage per channel, then
  // the filters and the automatic gain.
  void ProcessCore(RWordManglerState& state, const float* const* inputs, const float* const* sideChain,
                   float* const* outputs, int32_t frames) noexcept;
  // The control delay and the word stage of one channel, in place on its output.
  void ProcessWords(RWordManglerState& state, int32_t channel, const float* controlSource, float* output,
                    int32_t frames) noexcept;
  // A filter over every channel, each with its state.
  static void RunFilter(const RBiquad& filter, RBiquadState* states, float* const* outputs, int32_t channels,
                        int32_t frames) noexcept;
  void ReleaseState() noexcept;


  RGainValue gainIn_;
  RGainValue gainOut_;
  RPercentValue dryWet_;
  RBoolValue sideChain_;
  RBoolValue autoGain_;
  RBoolValue dcBlocker_;
  RIntegerValue bits_;
  RTimeValue delay_;
  RLog10FrequencyValue lowPass_;
  RTempoSync tempoSync_;
  Operation operations_[kOperations];

  RBiquad lowPassFilter_;
  RBiquad dcFilter_;
  bool lowPassOn_ = false;

  // The module's own state, in memory it owns, as a band engine would hold it.
  std::unique_ptr<std::byte[]> stateMemory_;
  RWordManglerState* state_ = nullptr;
  // Silence for absent inputs, one host block long.
  std::vector<float> silence_;
  int32_t inputBusesInUse_ = 1;

  // The block as PrepareBands settled it.
  RWordPlan plan_;
  int32_t controlDelay_ = 0;
  bool sideChainOn_ = false;
  bool autoGainOn_ = false;
  bool dcBlockerOn_ = false;
  RBlockRamp gainInRamp_{1.0, 0.0};
  RBlockRamp gainOutRamp_{1.0, 0.0};
  RBlockRamp dryWetRamp_{1.0, 0.0};
};

// Enters RWordMangler into the module registry as "WordMangler".
void RegisterWordMangler();
