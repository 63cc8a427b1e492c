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

#include "kernel/audiopluginbase.h"
#include "kernel/sharedblockdata.h"

class RStoreContext;
class RTagItem;

class RAudioPlugin : public RAudioPluginBase {
public:
  static constexpr float kOutputClamp = 100000.0f;
  static constexpr float kSilence = 1e-8f;
  static constexpr int32_t kAsleepCount = -100000000;
  static constexpr int32_t kMaxQueuedEvents = 1024;
  static constexpr int32_t kWriterVersion = 1050368;

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
  // Host rate, block size and channel layout; Setup follows when any changed.
  void SetHostFormat(double hostSampleRate, int32_t maxBlockSize, int32_t hostChannels, int32_t inputBuses = 1,
                     int32_t outputBuses = 1);
  void SetOffline(bool offline) noexcept { shared_->Offline = offline; }
  bool IsOffline() const noexcept { return shared_->Offline; }
  // Nothing while the host rate is below 1; else takes the audio and automation locks
  // (waiting) and runs Setup_Locked.
  virtual void Setup();
  virtual void Setup_Locked();
  void InitParameters() override;

  // --- the cycle
  // From the host side (RAudioPluginInterface::ProcessAudio): the whole cycle of one block.
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
  // Clears the DSP state (delay lines, filters) at Setup.
  virtual void ClearState() {}
  virtual void Reset() {}
  // Reports GetLatency / Oversampling plus the oversampling filters' delay to the adapter;
  // 0 when latency reporting is off. Returns false when the report must wait.
  virtual bool UpdateLatency(bool lock, bool force);
  void ScheduleMIDIEvent(int32_t offset, uint32_t event);
  void UpdateMaxBlockSize(int32_t maxBlock);

  // --- state of the cycle, for the adapter, the command line and tests
  double GetHostSampleRate() const noexcept { return hostSampleRate_; }
  double GetSampleRate() const noexcept { return sampleRate_; }
  int32_t GetHostChannels() const noexcept { return hostChannels_; }
  int32_t GetProcessChannels() const noexcept { return processChannels_; }
  int32_t GetInputBuses() const noexcept { return inputBuses_; }
  int32_t GetOutputBuses() const noexcept { return outputBuses_; }
  int32_t GetChannelStride() const noexcept { return channelStride_; }
  bool IsAsleep() const noexcept { return asleep_; }
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

  // bypass
  std::unique_ptr<RBoolValue> bypassValue_;
  bool bypassState_ = false;
  float bypassMix_ = 1.0f;
  bool smartBypass_ = true;
  int32_t bypassDelay_ = 0;

  // output guard
  bool agc_ = false;
  bool limiter_ = false;
  bool auditionDifference_ = false;
  struct LimiterState {
    double r = 0.0;
    double s = 0.0;
  };
  std::vector<LimiterState> limiterState_;
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
