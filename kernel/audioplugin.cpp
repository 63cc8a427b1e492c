#include "kernel/audioplugin.h"

#include <algorithm>
#include <cmath>

#include "kernel/audioplugininterface.h"
#include "kernel/bufferpool.h"
#include "kernel/globalconfig.h"
#include "kernel/oversampler.h"
#include "modulation/multiparameter.h"

namespace {

// Events a block may carry before the queue counts as runaway; room beyond it so that the
// host thread never grows the queue.
constexpr size_t kEventReserve = 2 * size_t(RAudioPlugin::kMaxQueuedEvents);
// Temporary input copies one plug-in may hold at once (its own block and one nested level).
constexpr int32_t kInputCopies = 2;
// The limiter's release: a 10 ms fall at the host rate.
constexpr double kLimiterReleasePerSecond = 100.0;
// An edit glides over 20 ms at the effective rate.
constexpr double kEditRampSeconds = 0.02;
// Value smoothing moves at most this much of the range per second.
constexpr double kSmoothingSlopePerSecond = 40.0;

} // namespace

RAudioPlugin::RAudioPlugin(const RString& name) : RAudioPlugin(name, Options()) {}

RAudioPlugin::RAudioPlugin(const RString& name, const Options& options)
    : RAudioPluginBase(name), options_(options), shared_(std::make_shared<RSharedBlockData>()) {
  events_.reserve(kEventReserve);
  if (options_.bypass) {
    // Built without an owner so that it doesn't join the own values ahead of the derived
    // classes' values; InitParameters enters it after them. "~": StoreGlobal writes it.
    bypassValue_ = std::make_unique<RBoolValue>(nullptr, RString("Bypass"), false, RString("~"));
    bypassValue_->SetOwner(this);
  }
  SetMultiParameterCount(options_.multiParameters);
  SetMaxOversampling(options_.maxOversampling);
  // Loads the configuration here, so that the cycle's reads of its switches never do.
  RGlobalConfiguration::Get();
  // An instance costs nothing until the first block that isn't silent.
  asleep_ = true;
  tailPhase_ = true;
  silenceCountdown_ = kAsleepCount;
}

RAudioPlugin::~RAudioPlugin() = default;

void RAudioPlugin::AttachToParent(RAudioPlugin& parent) {
  SetParent(&parent);
  if (!options_.ownSharedData) {
    shared_ = parent.shared_;
    sharesParentData_ = true;
  }
}

void RAudioPlugin::InitParameters() {
  RAudioPluginBase::InitParameters();
  RegisterKernelValues();
  for (auto& multi : multiParameters_) multi->RegisterValues();
}

void RAudioPlugin::RegisterKernelValues() {
  if (bypassValue_) RegisterParameter(bypassValue_.get());
  if (options_.maxOversampling > 1) {
    RegisterParameter(oversamplingNormal_.get());
    RegisterParameter(oversamplingOffline_.get());
    RegisterParameter(hqOversampling_.get());
  }
}

void RAudioPlugin::SetMultiParameterCount(int32_t count) {
  count = std::max(count, 0);
  RLockGuard audio(GetAudioLock());
  multiParameters_.resize(size_t(std::min<int32_t>(count, GetMultiParameterCount())));
  while (GetMultiParameterCount() < count) {
    multiParameters_.push_back(std::make_unique<RMultiParameter>(*this, GetMultiParameterCount()));
  }
}

RMultiParameter* RAudioPlugin::GetMultiParameter(int32_t index) noexcept {
  return index >= 0 && index < GetMultiParameterCount() ? multiParameters_[size_t(index)].get() : nullptr;
}

const RMultiParameter* RAudioPlugin::GetMultiParameter(int32_t index) const noexcept {
  return index >= 0 && index < GetMultiParameterCount() ? multiParameters_[size_t(index)].get() : nullptr;
}

void RAudioPlugin::SetHostFormat(double hostSampleRate, int32_t maxBlockSize, int32_t hostChannels,
                                 int32_t inputBuses, int32_t outputBuses) {
  hostChannels = std::clamp(hostChannels, 0, kMaxChannelPointers);
  const int32_t busLimit = hostChannels > 0 ? kMaxChannelPointers / hostChannels : kMaxChannelPointers;
  inputBuses = std::clamp(inputBuses, 0, busLimit);
  outputBuses = std::clamp(outputBuses, 0, busLimit);
  maxBlockSize = std::max(maxBlockSize, 1);
  if (interface_) interface_->PrepareBuffers(maxBlockSize);

  const bool changed = hostSampleRate != hostSampleRate_ || maxBlockSize != maxHostBlock_ ||
                       hostChannels != hostChannels_ || inputBuses != inputBuses_ || outputBuses != outputBuses_;
  if (!changed) return;
  {
    // The cycle reads these; they change only with the audio lock held.
    RLockGuard audio(GetAudioLock());
    hostSampleRate_ = hostSampleRate;
    maxHostBlock_ = maxBlockSize;
    hostChannels_ = hostChannels;
    channelStride_ = hostChannels;
    inputBuses_ = inputBuses;
    outputBuses_ = outputBuses;
  }
  Setup();
}

void RAudioPlugin::Setup() {
  if (hostSampleRate_ < 1.0) return;
  RLockGuard audio(GetAudioLock());
  RLockGuard automation(GetAutomationLock());
  struct Running {
    bool& flag;
    explicit Running(bool& f) : flag(f) { flag = true; }
    ~Running() { flag = false; }
  } running(setupRunning_);
  Setup_Locked();
}

void RAudioPlugin::Setup_Locked() {
  ApplyOversamplingOptions();
  oversampling_ = std::max(ResolveOversampling(), 1);
  activeHQ_ = hqOversampling_->IsOn();
  sampleRate_ = hostSampleRate_ * oversampling_;
  time_.Reset();
  firstBlock_ = true;
  editRamp_ = int32_t(sampleRate_ * kEditRampSeconds);
  lastBlockSize_ = 0;
  if (bypassValue_) bypassRequest_ = bypassValue_->IsProcessingOn();
  // Setup leaves the plug-in asleep: the switch holds without a fade.
  bypassState_ = bypassRequest_;
  bypassMix_ = 1.0f;

  ResolveChannels();
  SetUpOversampler();

  // A block whose input is its output needs a copy of the input; the pools hold it so that
  // the audio thread never allocates.
  // Twice: a channel mode transforms a second copy and keeps the first as the dry input.
  const int32_t copyFloats = 2 * std::max(inputBuses_ * processChannels_, 1) * std::max(maxHostBlock_, 1);
  RBufferPools::Get().Reserve(kInputCopies, copyFloats);
  inputCopy_.assign(size_t(copyFloats), 0.0f);

  for (auto& multi : multiParameters_) multi->Setup(sampleRate_);

  agcOn_ = options_.agc && agc_;
  auditionOn_ = options_.auditionDifference && auditionDifference_;
  limiterOn_ = options_.limiter && limiter_;
  if (limiterOn_) {
    // A hard peak limiter: s jumps to a peak at once (no attack) and falls over 10 ms.
    limiterA_ = 1.0;
    limiterB_ = 0.0;
    limiterD_ = 0.0;
    limiterAttack_ = 0.0;
    limiterRelease_ = std::exp(-kLimiterReleasePerSecond / hostSampleRate_);
    limiterState_.assign(size_t(std::max(outputBuses_ * processChannels_, 0)), LimiterState{});
  }

  events_.clear();

  ClearState();
  Update();
  ClearSetupPending();

  PrepareDryPaths();

  silenceCountdown_ = kAsleepCount;
  tailPhase_ = true;
  asleep_ = true;

  UpdateBlockLimits();

  Reset();
  ResetParameters();
  smoothingCoefficient_ = std::exp(-1.0 / sampleRate_);
  smoothingSlope_ = kSmoothingSlopePerSecond / sampleRate_;
  if (IsSetupPending()) {
    ClearSetupPending();
    Update();
  }
}

void RAudioPlugin::PrepareDryPaths() {
  // Whatever leaves unprocessed is delayed by the latency, so that switching bypass or a
  // channel the mode leaves dry doesn't move the audio in time.
  const int32_t latency = GetTrueLatency();
  bypassDelay_ = smartBypass_ ? latency : 0;
  dryDelay_.Setup(hostChannels_, latency, maxHostBlock_);
  if (!parent_) UpdateLatency(false, true);
}

bool RAudioPlugin::UpdateLatency(bool lock, bool force) {
  if (!force && !MayReportLatency()) return false;
  // From the audio thread the lock is only tried: a report that can't have it waits a block.
  RTryLockGuard audio(GetAudioLock());
  if (lock && !audio.Owns()) return false;
  const int32_t latency = enableLatencyReporting_ ? GetTrueLatency() : 0;
  if (!force && latency == reportedLatency_) return true;
  reportedLatency_ = latency;
  if (interface_) interface_->LatencyChanged(latency);
  return true;
}

void RAudioPlugin::UpdateBlockLimits() {
  // Modulators set anyLFOActive_ when they exist. Idle multi-parameters cost nothing: the
  // stages run only while one moves, reads a meter or has an Apply to retry.
  bool active = false, pending = false;
  for (const auto& multi : multiParameters_) {
    active = active || multi->IsActive();
    pending = pending || multi->IsPending();
  }
  anyMultiActive_ = active;
  anyMultiOrPending_ = active || pending;

  int32_t lfoBlock = std::max(shared_->MaxLFOBlockSize, 1);
  if (shared_->Offline) lfoBlock = std::min(lfoBlock, std::max(shared_->MaxLFOBlockSizeOffline, 1));

  // Many channels make a sub-block's working set large: keep it in cache.
  blockCap_ = std::max(1, maxBlock_);
  if (channels_ >= 8) blockCap_ = std::min(blockCap_, 512);
  if (channels_ >= 16) blockCap_ = std::min(blockCap_, 256);
  if (channels_ >= 32) blockCap_ = std::min(blockCap_, 128);

  fineLimit_ = std::min(blockCap_, lfoBlock);
  stepLimit_ = (anyLFOActive_ || anyMultiActive_) ? fineLimit_ : blockCap_;
}

void RAudioPlugin::UpdateMaxBlockSize(int32_t maxBlock) {
  maxBlock_ = std::max(maxBlock, 1);
  UpdateBlockLimits();
}

void RAudioPlugin::ScheduleMIDIEvent(int32_t offset, uint32_t event) {
  if (eventsDisabled_) return;
  // A host that floods the queue loses what was queued rather than growing it.
  if (events_.size() > size_t(kMaxQueuedEvents)) events_.clear();
  const int64_t scaled = int64_t(std::max(offset, 0)) * oversampling_ + eventShift_;
  events_.push_back(MIDIEvent{int32_t(std::min<int64_t>(scaled, kEndOfBlock)), event});
}

bool RAudioPlugin::AppliesChangesAtOnce() const {
  return !sampleAccurateEvents_ || (asleep_ && SleepAllowed());
}

bool RAudioPlugin::SleepAllowed() const noexcept {
  return RGlobalConfiguration::Get().GetSwitch(RGlobalConfiguration::kSleepOnSilence, true) && sleepOnSilence_ && options_.sleep && (!parent_ || options_.nestedSleep);
}
