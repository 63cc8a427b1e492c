#pragma once
// RAudioPlugin: the processing cycle and the stored state of a plug-in, top-level or nested
// in a graph. Between the host's call with a block and its return, a block passes: sleep on
// silence, the audio lock (tried, never waited for), the transport update, the bypass
// crossfade, extra channels, the sub-block scheduler that cuts the block at events and ramp
// points, and per sub-block Update when needed and the virtual Process; then the limiter,
// the output clamp and the sleep test.
//
// Audio is 32-bit float, one buffer per channel. A block is an array of channel pointers by
// bus: channel c of bus b is entry b * ChannelStride + c; bus 0 is the main bus, further
// input buses are side chains.
//
// Lifecycle: constructed asleep. Setup (under the audio and automation locks, waiting) runs
// on every change of rate, block size, channels or oversampling; then the plug-in cycles
// among running, tail and asleep.

#include <cstdint>
#include <memory>
#include <vector>

#include "kernel/audiopluginbase.h"
#include "kernel/sharedblockdata.h"

class RMultiParameter;
class RStoreContext;
class RTagItem;

class RAudioPlugin : public RAudioPluginBase {
public:
  static constexpr float kOutputClamp = 100000.0f;
  static constexpr float kSilence = 1e-8f;
  static constexpr int32_t kAsleepCount = -100000000;
  static constexpr int32_t kMaxQueuedEvents = 1024;
  static constexpr int32_t kWriterVersion = 1050368;
  // Bound of the channel pointer arrays built on the stack: buses times channels per bus.
  static constexpr int32_t kMaxChannelPointers = 128;

  // Options a definition switches on; a plain plug-in has none.
  struct Options {
    bool bypass = true;          // has a Bypass value and SmartBypass
    bool agc = false;
    bool limiter = false;
    bool auditionDifference = false;
    bool parallelization = false;
    bool sleep = true;           // the definition allows sleeping on silence
    bool nestedSleep = false;    // a nested plug-in may sleep on its own
    bool midiThru = false;
    bool sinc = false;
    bool synchronizePhase = false;
    bool ownSharedData = false;  // a nested plug-in keeps block data of its own
    int32_t multiParameters = 0; // multi-parameters made at construction
  };

  struct MIDIEvent {
    int32_t offset;
    uint32_t event;
  };

  explicit RAudioPlugin(const RString& name);
  RAudioPlugin(const RString& name, const Options& options);
  ~RAudioPlugin() override;

  const Options& GetOptions() const noexcept { return options_; }

  // --- set-up
  // Host rate, block size and channel layout; Setup follows when any changed. [host-thread]
  void SetHostFormat(double hostSampleRate, int32_t maxBlockSize, int32_t hostChannels, int32_t inputBuses = 1,
                     int32_t outputBuses = 1);
  void SetOffline(bool offline) noexcept { shared_->Offline = offline; }
  bool IsOffline() const noexcept { return shared_->Offline; }
  // Nothing while the host rate is below 1; else takes the audio and automation locks
  // (waiting) and runs Setup_Locked. [host-thread], never the audio thread.
  virtual void Setup();
  virtual void Setup_Locked();
  void InitParameters() override;

  // --- the cycle
  // From the host side (RAudioPluginInterface::ProcessAudio): the whole cycle of one block.
  // [audio-thread]: allocates nothing, never waits; a block that can't have the locks goes dry.
  void ProcessCycle(float* const* inputs, float* const* outputs, int32_t frames, const RHostTimeInfo* host);
  // Per sub-block: prepare, Update when a NeedsSetup value moved, Process, finish.
  virtual void ProcessAudio(float* const* inputs, float* const* outputs, int32_t frames);
  virtual void ProcessAudio_Prepare(float* const* inputs, int32_t frames);
  virtual void ProcessAudio_Finish();
  virtual void UpdateBlockLimits();
  virtual void BeforeBlock(float* const* inputs, float* const* outputs);
  // Parameters changed: recompute coefficients.
  virtual void Update();
  // The DSP of one sub-block. The kernel's own: a plain copy of inputs to outputs.
  virtual void Process(float* const* inputs, float* const* outputs, int32_t frames);
  // The dry path: inputs to outputs (through the bypass rings when they run).
  virtual void ProcessBypassed(float* const* inputs, float* const* outputs, int32_t frames);
  virtual int32_t GetLatency() const { return 0; }
  virtual int32_t GetTailLength() const { return 0; }
  virtual bool CanSleep() const { return true; }
  // Negative: no ceiling.
  virtual double GetOutputCeiling() const { return -1.0; }
  // The input buses the next block will read, bit b for bus b; by default all of them. A graph
  // leaves out a module whose every reader ignores it (a blend that holds two of its seventeen
  // inputs), so an answer must cover the whole block, ramps included. [audio-thread], between
  // blocks; allocation-free.
  virtual uint64_t GetInputsInUse() const noexcept { return ~uint64_t(0); }
  // Clears the DSP state (delay lines, filters) at Setup.
  virtual void ClearState() {}
  virtual void Reset() {}
  // Builds what the counts of a configuration decide (buses, multi-parameters), once after
  // construction and before InitParameters. The kernel has nothing of the kind.
  virtual void CreateProcessors() {}
  // Reports GetLatency / Oversampling plus the oversampling filters' delay to the adapter;
  // 0 when latency reporting is off. Returns false when the report must wait.
  virtual bool UpdateLatency(bool lock, bool force);
  // Queues an event for the next block, offset in host samples. [host-thread], before the block.
  void ScheduleMIDIEvent(int32_t offset, uint32_t event);
  // The sub-block cap (MaxBlock, 1024 to start); a graph passes on the smallest of its modules.
  virtual void UpdateMaxBlockSize(int32_t maxBlock);
  // A latency change to tell the host once afterFrames more samples have been processed.
  void RequestLatencyReport(int32_t afterFrames = 0) noexcept { latencyCountdown_ = afterFrames < 0 ? 0 : afterFrames; }
  // Nests this plug-in in a graph: the parent's locks and, unless the options give it its
  // own, the parent's shared block data. [host-thread], before Setup.
  void AttachToParent(RAudioPlugin& parent);
  // The tempo of the block most recently scheduled by any plug-in in the process.
  static double GetPublishedTempo() noexcept;

  // --- multi-parameters (modulation/multiparameter.h): made at construction from the
  // options' count or by SetMultiParameterCount before InitParameters. [editor-thread]
  void SetMultiParameterCount(int32_t count);
  int32_t GetMultiParameterCount() const noexcept { return int32_t(multiParameters_.size()); }
  // Null out of range. [any-thread]
  RMultiParameter* GetMultiParameter(int32_t index) noexcept;
  const RMultiParameter* GetMultiParameter(int32_t index) const noexcept;
  // A multi-parameter began to glide or travel: the stages run from this sub-block on, until
  // UpdateBlockLimits finds them all at rest. [any-thread]
  void MultiParameterStarted() noexcept { anyMultiActive_ = anyMultiOrPending_ = true; }
  bool IsAnyMultiActive() const noexcept { return anyMultiActive_; }
  bool IsAnyMultiOrPending() const noexcept { return anyMultiOrPending_; }

  // --- state of the cycle, for the adapter, the command line and tests
  double GetHostSampleRate() const noexcept { return hostSampleRate_; }
  double GetSampleRate() const noexcept { return sampleRate_; }
  int32_t GetHostChannels() const noexcept { return hostChannels_; }
  int32_t GetProcessChannels() const noexcept { return processChannels_; }
  int32_t GetInputBuses() const noexcept { return inputBuses_; }
  int32_t GetOutputBuses() const noexcept { return outputBuses_; }
  int32_t GetChannelStride() const noexcept { return channelStride_; }
  bool IsAsleep() const noexcept { return asleep_; }
  // True while Setup_Locked runs (under both locks).
  bool IsSetupRunning() const noexcept { return setupRunning_; }
  bool IsSuspended() const noexcept { return suspended_; }
  void SetSuspended(bool suspended) noexcept { suspended_ = suspended; }
  int32_t GetStepLimit() const noexcept { return stepLimit_; }
  int32_t GetFineLimit() const noexcept { return fineLimit_; }
  int32_t GetBlockCap() const noexcept { return blockCap_; }
  RBoolValue* GetBypassValue() noexcept { return bypassValue_.get(); }
  bool IsBypassed() const noexcept { return bypassState_; }
  float GetBypassMix() const noexcept { return bypassMix_; }
  int32_t GetReportedLatency() const noexcept { return reportedLatency_; }
  RSharedBlockData& GetSharedData() noexcept { return *shared_; }
  int32_t GetMaxBlock() const noexcept { return maxBlock_; }
  int32_t GetLastBlockSize() const noexcept { return lastBlockSize_; }
  int32_t GetSubBlockOffset() const noexcept { return subBlockOffset_; }
  int32_t GetQueuedEventCount() const noexcept { return int32_t(events_.size()); }
  int32_t GetBypassDelay() const noexcept { return bypassDelay_; }
  bool IsSmartBypass() const noexcept { return smartBypass_; }
  void SetSmartBypass(bool on) noexcept { smartBypass_ = on; }
  // Set whenever the plug-in falls asleep or wakes; the adapter clears it once it has looked.
  bool TakeStateChanged() noexcept {
    const bool changed = stateChanged_;
    stateChanged_ = false;
    return changed;
  }
  // Value smoothing of this rate: the one-pole coefficient exp(-1 / SampleRate) and the
  // per-sample slope 40 / SampleRate, both set by Setup.
  double GetSmoothingCoefficient() const noexcept { return smoothingCoefficient_; }
  double GetSmoothingSlope() const noexcept { return smoothingSlope_; }

  // --- stored state (one body for both directions)
  virtual void Store(RStoreContext& context);
  // Runs after a read of this level's keys.
  virtual void PostLoad() {}
  virtual void StoreGlobal(RStoreContext& context);
  virtual void StoreMultiParameters(RStoreContext& context);
  virtual void StoreLFO(RStoreContext& context);
  virtual void StoreParamLock(RStoreContext& context);
  virtual void StoreArp(RStoreContext& context);
  virtual void StoreControllers(RStoreContext& context);
  // The whole state as a tree (writing, new keys) and back (reading). Reading keeps the
  // previous state when the tree can't be applied.
  void SaveStateTree(RTagItem& root);
  void LoadStateTree(const RTagItem& root);

protected:
  // The factor this Setup runs at; 1 until oversampling is configured.
  virtual int32_t ResolveOversampling() const { return 1; }
  // Whether the host may be told about a latency change now (some hosts only between blocks).
  virtual bool MayReportLatency() const { return true; }
  // Modulators and the arpeggiator over a sub-block (or, asleep, over a whole block with no
  // audio, so that they keep time). The kernel has none.
  virtual void RunModulators(float* const* inputs, int32_t frames) { (void)inputs; (void)frames; }
  // The multi-parameters' two stages over frames, as the flags of UpdateBlockLimits allow.
  void RunMultiParameterStages(int32_t frames) noexcept;
  // The compact form of the multi-parameters' values (presets) on element, both directions.
  void StoreMultiParameterValues(RStoreContext& context);
  // Automatic gain: measure the input before the block, apply to the output after it. The
  // kernel has none; a definition's AGC option overrides both.
  virtual void MeasureAGC(float* const* inputs, int32_t frames) { (void)inputs; (void)frames; }
  virtual void ApplyAGC(float* const* outputs, int32_t frames) { (void)outputs; (void)frames; }
  bool SleepAllowed() const noexcept;
  bool AppliesChangesAtOnce() const override;
  // The sleep test after a block; returns whether the plug-in sleeps.
  bool SleepTest(float* const* inputs, float* const* outputs, int32_t frames);
  void WakeUp() noexcept;
  void RunActiveCycle(float* const* inputs, float* const* outputs, int32_t frames, const RHostTimeInfo* host);
  void RunScheduler(float* const* inputs, float* const* outputs, int32_t frames);
  // Sends due events; shortens count to the next event (and the nearest ramp time when
  // limitToRamps). Returns whether one was sent.
  bool DispatchEvents(int32_t& count, bool limitToRamps);
  virtual void ProcessMIDIEvent(const MIDIEvent&) {}
  void RunLimiter(float* const* outputs, int32_t frames);
  void RunBypassCrossfade(float* const* inputs, float* const* outputs, int32_t frames);
  // Keeps the dry rings filled with the latest input while no crossfade runs.
  void FeedBypassRings(float* const* inputs, int32_t frames);
  void ZeroOutputs(float* const* outputs, int32_t frames) const noexcept;
  // Every host channel from input to output, nothing else touched.
  void PassDry(float* const* inputs, float* const* outputs, int32_t frames) const noexcept;
  void ClampOutputs(float* const* outputs, int32_t frames) const noexcept;
  bool ChannelsSilent(float* const* channels, int32_t buses, int32_t frames) const noexcept;
  void PassExtraChannels(float* const* inputs, float* const* outputs, int32_t frames) noexcept;

  Options options_;
  std::shared_ptr<RSharedBlockData> shared_;

  // rates and channels
  double hostSampleRate_ = 0.0;
  double sampleRate_ = 0.0;
  int32_t maxHostBlock_ = 0;
  int32_t hostChannels_ = 2;
  int32_t channels_ = 2;
  int32_t channelStride_ = 2;
  int32_t inputBuses_ = 1;
  int32_t outputBuses_ = 1;
  int32_t processChannels_ = 2;
  int32_t channelMode_ = 0;
  int32_t activeChannelMode_ = 0;

  // last block and limits
  int32_t lastBlockSize_ = 0;
  int32_t subBlockOffset_ = 0;
  int32_t maxBlock_ = 1024;
  int32_t blockCap_ = 1024;
  int32_t stepLimit_ = 1024;
  int32_t fineLimit_ = 256;

  // MIDI queue, reserved at construction
  std::vector<MIDIEvent> events_;
  int32_t eventsDisabled_ = 0;

  // sleep
  bool suspended_ = false;
  bool asleep_ = true;
  bool tailPhase_ = true;
  bool stateChanged_ = false;
  int32_t silenceCountdown_ = kAsleepCount;

  bool setupRunning_ = false;
  bool sharesParentData_ = false;

  std::vector<std::unique_ptr<RMultiParameter>> multiParameters_;
  // modulators: what UpdateBlockLimits and the sub-block look at
  bool anyLFOActive_ = false;
  bool anyMultiActive_ = false;
  bool anyMultiOrPending_ = false;

  // value smoothing constants of the rate
  double smoothingCoefficient_ = 0.0;
  double smoothingSlope_ = 0.0;

  // bypass
  std::unique_ptr<RBoolValue> bypassValue_;
  bool bypassState_ = false;
  // The switch as it stood when the last block ended: a change that arrives for a block, at
  // whatever offset, fades from the next block on, never before its point.
  bool bypassRequest_ = false;
  float bypassMix_ = 1.0f;
  bool smartBypass_ = true;
  int32_t bypassDelay_ = 0;
  // Dry rings of bypassDelay_ samples, one per processed channel of the main bus, so that
  // the dry signal lines up with the latency of the wet one.
  struct BypassRing {
    std::vector<float> samples;
    int32_t position = 0;
  };
  std::vector<BypassRing> bypassRings_;
  // The input copy of an in-place block when the process-wide pools have none free (more
  // instances at once than they hold, or a taker on another thread): sized by Setup.
  std::vector<float> inputCopy_;

  // output guard
  bool agc_ = false;
  bool limiter_ = false;
  bool auditionDifference_ = false;
  struct LimiterState {
    double r = 0.0;
    double s = 0.0;
  };
  std::vector<LimiterState> limiterState_;
  // What this Setup runs: the stored switches where the definition has the option.
  bool agcOn_ = false;
  bool limiterOn_ = false;
  bool auditionOn_ = false;
  double limiterA_ = 1.0, limiterB_ = 0.0, limiterD_ = 0.0, limiterAttack_ = 0.0, limiterRelease_ = 0.0;

  // latency
  int32_t latencyCountdown_ = -1;
  int32_t reportedLatency_ = 0;

  // stored switches of this level
  bool randomizerCompensation_ = true;
  bool enableLatencyReporting_ = true;
  bool sleepOnSilence_ = true;
  bool parallelization_ = false;
  bool midiThru_ = false;
  int32_t upsampling_ = 1;
  int32_t upsamplingOffline_ = 1;
  bool hqUpsampling_ = true;
  int32_t midiControllers_[16] = {1, 2, 11, 135, 135, 135, 135, 135, 135, 135, 135, 135, 135, 135, 135, 135};
  int32_t midiControllerMPE_ = 0;
};
