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
#include "kernel/drydelay.h"
#include "kernel/sharedblockdata.h"

class RMultiParameter;
class ROversampler;
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
    // The highest oversampling factor offered; 1 offers none (the choices stay out of the table).
    int32_t maxOversampling = 1;
    // A factor every Setup applies to both choices (0: none).
    int32_t forcedOversampling = 0;
    // The first Setup chooses 2x above 80 kHz and 1x below for both choices.
    bool automaticOversampling = false;
  };

  // Surround channels the settings can describe: one bit, one volume each.
  static constexpr int32_t kMaxSurroundChannels = 64;
  // The surround modes' own settings, stored with the mode.
  struct SurroundSettings {
    uint64_t enabled = ~uint64_t(0);  // bit c: host channel c is processed
    int32_t ambisonicsOrder = 0;       // index: 4, 9, ... 64 channels, 7 the custom count
    int32_t ambisonicsCustomChannels = 10;
    float volume[kMaxSurroundChannels];  // linear gain per channel, after processing
    SurroundSettings() {
      for (float& v : volume) v = 1.0f;
    }
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
  // Offline rendering: the next Setup runs the offline oversampling factor.
  void SetOffline(bool offline) noexcept { shared_->Offline = offline; }
  bool IsOffline() const noexcept { return shared_->Offline; }
  // Nothing while the host rate is below 1; else takes the audio and automation locks
  // (waiting) and runs Setup_Locked. [host-thread], never the audio thread.
  virtual void Setup();
  virtual void Setup_Locked();
  void InitParameters() override;
  // What the host side does in its idle time: a Setup when the channel mode or an oversampling
  // choice changed since the last one. A graph adds its slot switches. [host-thread] or
  // [editor-thread], never the audio thread.
  virtual void DeliverPendingChanges();
  // Whether the chosen channel mode or oversampling differ from what the running Setup made.
  bool NeedsSetupForChoices() const;

  // --- channel modes: a change leads to a full Setup. [host-thread]
  int32_t GetChannelMode() const noexcept { return channelMode_; }
  int32_t GetActiveChannelMode() const noexcept { return activeChannelMode_; }
  void SetChannelMode(int32_t mode);
  const SurroundSettings& GetSurroundSettings() const noexcept { return surround_; }
  void SetSurroundSettings(const SurroundSettings& settings);

  // --- oversampling: the choices, the factor and the filters' delay of the running Setup.
  // The highest factor offered (a definition's); rebuilds the two choices' items, which the
  // table shows only when it is above 1. [editor-thread], before InitParameters.
  void SetMaxOversampling(int32_t maxFactor);
  RChoiceValue* GetOversamplingValue(bool offline) noexcept {
    return offline ? oversamplingOffline_.get() : oversamplingNormal_.get();
  }
  RBoolValue* GetHQOversamplingValue() noexcept { return hqOversampling_.get(); }
  // Delay of the oversampling filters in host samples; 0 at 1x.
  int32_t GetOversamplingDelay() const noexcept;
  // The plug-in's latency in host samples whatever is reported: GetLatency / Oversampling plus
  // the filters' delay. The dry paths run on it.
  int32_t GetTrueLatency() const;

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
  // The DSP of one sub-block, on Channels channels. The kernel's own: a plain copy of inputs to
  // outputs.
  virtual void Process(float* const* inputs, float* const* outputs, int32_t frames);
  // The dry path: the main bus's processed channels from dry (the input through the dry delay
  // lines) to outputs; the other buses straight from inputs.
  virtual void ProcessBypassed(const float* const* dry, float* const* inputs, float* const* outputs, int32_t frames);
  // The channel a mono-like mode left unprocessed, after it came back dry (or as silence) and
  // before the mode's decode: a plug-in may treat it. The kernel leaves it.
  virtual void ProcessUnprocessedChannel(float* channel, int32_t frames) { (void)channel; (void)frames; }
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
  // The channels the plug-in itself processes: 1 in a mono-like mode, the enabled ones in surround.
  int32_t GetChannels() const noexcept { return channels_; }
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
  // The surround modes' settings, stored with a mode above the stereo ones.
  void StoreSurround(RStoreContext& context);
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
  // The factor this Setup runs at: the offline choice's when offline, else the normal one's.
  virtual int32_t ResolveOversampling() const;
  // Builds the bypass and oversampling values and enters them in the table, in the kernel's
  // order (after the plug-in's own values, before the multi-parameters).
  void RegisterKernelValues();
  // Sizes the dry paths for the true latency; tells the host when top-level.
  void PrepareDryPaths();
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
  void RunBypassCrossfade(const float* const* dry, float* const* outputs, int32_t frames);
  // The processed and extra channels of the main bus through the dry delay lines: dry[c] is
  // channel c of this block delayed by the true latency (the input itself without a latency).
  void PushDry(float* const* inputs, const float** dry, int32_t frames) noexcept;
  // Scheduler steps around the oversampler: the channel mode's transform of the input copy and
  // of the output pointers, and its undoing on the outputs. [audio-thread]
  void ApplyChannelMode(float* const* inputs, float* const* outputs, float** pluginInputs, float** pluginOutputs,
                        int32_t frames) noexcept;
  void UndoChannelMode(const float* const* dry, float* const* outputs, int32_t frames) noexcept;
  // Setup's choice of mode, channel counts and surround packing.
  void ResolveChannels();
  // The scheduler at the oversampled rate on the oversampler's buffers, between up- and
  // down-sampling of the Channels channels. [audio-thread]
  void RunOversampled(float* const* inputs, float* const* outputs, int32_t frames);
  // Setup's first steps for oversampling: the definition's forced and automatic factors, then
  // the filters for the resolved factor.
  void ApplyOversamplingOptions();
  void SetUpOversampler();
  void ZeroOutputs(float* const* outputs, int32_t frames) const noexcept;
  // Every host channel from input to output, nothing else touched.
  void PassDry(float* const* inputs, float* const* outputs, int32_t frames) const noexcept;
  void ClampOutputs(float* const* outputs, int32_t frames) const noexcept;
  // The first index below i whose pointer is the same non-null buffer as pointers[i]; -1 if none.
  static int32_t FindSameBuffer(float* const* pointers, int32_t i) noexcept;
  bool ChannelsSilent(float* const* channels, int32_t buses, int32_t frames) const noexcept;
  void PassExtraChannels(float* const* inputs, const float* const* dry, float* const* outputs, int32_t frames) noexcept;

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
  SurroundSettings surround_;
  // Surround packing: the plug-in's channel k is host channel packedChannels_[k].
  int32_t packedChannels_[kMaxSurroundChannels] = {};
  // The host channel that the plug-in's channel k reads and writes, in any mode.
  int32_t sourceChannels_[kMaxSurroundChannels] = {};
  bool packsChannels_ = false;

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
  // The bypass crossfade's dry delay: the true latency with SmartBypass, else 0.
  int32_t bypassDelay_ = 0;
  RDryDelay dryDelay_;
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
  // oversampling: the choices, and what the running Setup made of them
  std::unique_ptr<RChoiceValue> oversamplingNormal_;
  std::unique_ptr<RChoiceValue> oversamplingOffline_;
  std::unique_ptr<RBoolValue> hqOversampling_;
  std::unique_ptr<ROversampler> oversampler_;
  bool activeHQ_ = true;
  bool automaticOversamplingDone_ = false;
  // The choices as the running Setup saw them.
  int32_t setupChannelMode_ = 0;
  SurroundSettings setupSurround_;
  int32_t midiControllers_[16] = {1, 2, 11, 135, 135, 135, 135, 135, 135, 135, 135, 135, 135, 135, 135, 135};
  int32_t midiControllerMPE_ = 0;
};
