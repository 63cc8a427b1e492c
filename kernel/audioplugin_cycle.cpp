// The processing cycle of RAudioPlugin: what happens to one host block, all of it on the
// audio thread: no allocation, no waiting lock, nothing thrown past the interface's guard.
#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstring>

#include "base/platform/clock.h"
#include "kernel/audioplugin.h"
#include "kernel/audioplugininterface.h"
#include "kernel/blockkernels.h"
#include "kernel/bufferpool.h"
#include "kernel/channelmodes.h"
#include "modulation/multiparameter.h"

namespace {

// Read by tempo-synchronised code that has no plug-in at hand.
std::atomic<double> gPublishedTempo{120.0};

// The limiter's ceiling, just under 0 dBFS (-0.05 dB).
constexpr double kLimiterCeiling = 0.9942600727081299;
// A bypass crossfade takes 50 ms at the host rate.
constexpr double kBypassFadePerSecond = 20.0;

bool Silent(const float* channel, int32_t frames) noexcept {
  for (int32_t i = 0; i < frames; ++i) {
    if (std::fabs(channel[i]) >= RAudioPlugin::kSilence) return false;
  }
  return true;
}

void CopyChannel(const float* from, float* to, int32_t frames) noexcept {
  if (from == to || frames <= 0) return;
  std::memmove(to, from, size_t(frames) * sizeof(float));
}

void ZeroChannel(float* channel, int32_t frames) noexcept {
  if (channel && frames > 0) std::memset(channel, 0, size_t(frames) * sizeof(float));
}

} // namespace

int32_t RAudioPlugin::FindSameBuffer(float* const* pointers, int32_t i) noexcept {
  if (!pointers[i]) return -1;
  for (int32_t j = 0; j < i; ++j) {
    if (pointers[j] == pointers[i]) return j;
  }
  return -1;
}

double RAudioPlugin::GetPublishedTempo() noexcept { return gPublishedTempo.load(std::memory_order_relaxed); }

// --- the block

void RAudioPlugin::ProcessCycle(float* const* inputs, float* const* outputs, int32_t frames,
                                const RHostTimeInfo* host) {
  if (!outputs || frames < 0) return;
  const bool sleepAllowed = SleepAllowed();
  const bool hasInputs = inputs && inputBuses_ > 0;

  if (suspended_) {
    ZeroOutputs(outputs, frames);
  } else if (sleepAllowed && asleep_ && events_.empty() &&
             (!hasInputs || ChannelsSilent(inputs, inputBuses_, frames))) {
    // Asleep on silence: the output is silence, and only the transport and the modulators
    // move on so that they are in time when the signal comes back.
    ZeroOutputs(outputs, frames);
    RTryLockGuard audio(GetAudioLock());
    if (audio.Owns()) {
      time_.Advance(host, lastBlockSize_, hostSampleRate_);
      lastBlockSize_ = frames;
      UpdateBlockLimits();
      RunModulators(nullptr, frames * oversampling_);
      RunMultiParameterStages(frames * oversampling_);
    }
  } else {
    if (asleep_) WakeUp();
    RTryLockGuard audio(GetAudioLock());
    // Ramps are only ever touched for a moment under this lock; should it be busy, the block
    // goes dry like one that found a setup under way, rather than wait on the audio thread.
    RTryLockGuard automation(GetAutomationLock());
    if (!audio.Owns() || !automation.Owns()) {
      if (hostChannels_ == 0 || outputBuses_ == 0) return;
      if (!hasInputs) {
        ZeroOutputs(outputs, frames);
      } else {
        // Plainly, not through the plug-in's own dry path: whoever holds the lock may be
        // rebuilding it.
        PassDry(inputs, outputs, frames);
      }
    } else {
      RunActiveCycle(hasInputs ? inputs : nullptr, outputs, frames, host);
      ClampOutputs(outputs, frames);
      if (sleepAllowed) SleepTest(hasInputs ? inputs : nullptr, outputs, frames);
    }
  }

  if (bypassValue_) bypassRequest_ = bypassValue_->IsProcessingOn();
  // Asleep, the output is silence whatever the switch says: it takes the switch at once, so
  // that the first block after waking doesn't fade from a state the user left long ago.
  if (asleep_) {
    bypassState_ = bypassRequest_;
    bypassMix_ = 1.0f;
  }

  if (latencyCountdown_ >= 0) {
    latencyCountdown_ -= frames;
    if (latencyCountdown_ < 0) {
      if (!UpdateLatency(true, false)) {
        latencyCountdown_ = 0;
      } else if (interface_) {
        interface_->SetLatencyChangePending(true);
      }
    }
  }
}

bool RAudioPlugin::SleepTest(float* const* inputs, float* const* outputs, int32_t frames) {
  if (!ChannelsSilent(outputs, outputBuses_, frames) || (inputs && !ChannelsSilent(inputs, inputBuses_, frames))) {
    WakeUp();
    return false;
  }
  if (silenceCountdown_ > 0) silenceCountdown_ -= frames;
  if (!tailPhase_ && silenceCountdown_ <= 0) {
    // Two seconds of silence are over; now wait for the plug-in's own tail to die away.
    tailPhase_ = true;
    silenceCountdown_ = GetTailLength();
  }
  if (tailPhase_ && silenceCountdown_ <= 0 && CanSleep()) {
    silenceCountdown_ = kAsleepCount;
    if (!asleep_) {
      asleep_ = true;
      stateChanged_ = true;
    }
  }
  if (silenceCountdown_ == kAsleepCount) asleep_ = true;
  return asleep_;
}

void RAudioPlugin::WakeUp() noexcept {
  asleep_ = false;
  stateChanged_ = true;
  silenceCountdown_ = int32_t(std::lround(hostSampleRate_)) * 2;
  tailPhase_ = false;
}

void RAudioPlugin::RunActiveCycle(float* const* inputs, float* const* outputs, int32_t frames,
                                  const RHostTimeInfo* host) {
  time_.Advance(host, lastBlockSize_, hostSampleRate_);
  lastBlockSize_ = frames;

  if (bypassValue_) {
    const bool on = bypassRequest_;
    if (on != bypassState_) {
      bypassState_ = on;
      bypassMix_ = 0.0f;
    }
  }
  if (!smartBypass_) bypassMix_ = 1.0f;

  // The main bus through the dry delay lines, once a block whatever runs: the rings always
  // hold the latest input for the moment something passes dry.
  const float* dry[kMaxChannelPointers];
  PushDry(inputs, dry, frames);
  PassExtraChannels(inputs, dry, outputs, frames);

  if (bypassState_ && (!smartBypass_ || (bypassDelay_ <= 0 && bypassMix_ >= 1.0f))) {
    ProcessBypassed(smartBypass_ ? dry : inputs, inputs, outputs, frames);
    return;
  }

  UpdateBlockLimits();
  BeforeBlock(inputs, outputs);
  if (agcOn_) MeasureAGC(inputs, frames);

  // The processor writes its outputs while it reads its inputs: when they are the same
  // buffers, it reads a copy. A channel mode that changes the input's samples works on a copy
  // too, in a second half, so that the first stays the dry input.
  const int32_t inputCount = inputs ? inputBuses_ * hostChannels_ : 0;
  const bool transforms = RChannelModes::ChangesInput(activeChannelMode_) && processChannels_ >= 2 && inputCount > 0;
  bool inPlace = transforms;
  for (int32_t b = 0; inputs && b < std::min(inputBuses_, outputBuses_) && !inPlace; ++b) {
    for (int32_t c = 0; c < processChannels_ && !inPlace; ++c) {
      const int32_t i = b * hostChannels_ + c;
      inPlace = inputs[i] && inputs[i] == outputs[i];
    }
  }
  float* copy = nullptr;
  float* copied[kMaxChannelPointers];
  // The plug-in's own arrays, bus b's channel k at b * Channels + k: what the mode shows it.
  float* in[kMaxChannelPointers];
  float* out[kMaxChannelPointers];
  float* work[kMaxChannelPointers];
  if (inPlace) {
    // Always the size Setup reserved: the pools serve each size class from its own buffers.
    const int32_t floats = inputBuses_ * processChannels_ * frames;
    copy = RBufferPools::Get().TryTake(int32_t(inputCopy_.size()));
    float* target = copy;
    if (!copy && size_t(2 * floats) <= inputCopy_.size()) target = inputCopy_.data();
    if (!target) {
      // A block longer than Setup was told of: dry rather than read half-written input.
      PassDry(inputs, outputs, frames);
      return;
    }
    for (int32_t i = 0; i < inputCount; ++i) copied[i] = inputs[i];
    for (int32_t b = 0; b < inputBuses_; ++b) {
      for (int32_t c = 0; c < processChannels_; ++c) {
        const int32_t i = b * hostChannels_ + c;
        float* channel = target + (b * processChannels_ + c) * frames;
        // A bus that arrives as another bus's very buffer (a side-chain left unconnected)
        // must still be that buffer in the copy: modules tell an open bus by it.
        const int32_t same = FindSameBuffer(inputs, i);
        if (same >= 0 && same % hostChannels_ < processChannels_) {
          channel = copied[same];
        } else if (inputs[i]) {
          CopyChannel(inputs[i], channel, frames);
        } else {
          ZeroChannel(channel, frames);
        }
        copied[i] = channel;
      }
    }
    inputs = copied;
    // Without a latency the dry signal is the input itself: the copy, now that the outputs
    // may overwrite the host's buffers.
    if (dryDelay_.GetDelay() <= 0) {
      for (int32_t c = 0; c < processChannels_; ++c) dry[c] = copied[c];
    }
    std::copy(copied, copied + inputCount, work);
    if (transforms) {
      for (int32_t b = 0; b < inputBuses_; ++b) {
        for (int32_t c = 0; c < processChannels_; ++c) {
          const int32_t i = b * hostChannels_ + c;
          if (!work[i]) continue;
          if (const int32_t same = FindSameBuffer(copied, i); same >= 0) {
            work[i] = work[same];
            continue;
          }
          float* channel = target + floats + (b * processChannels_ + c) * frames;
          CopyChannel(work[i], channel, frames);
          work[i] = channel;
        }
      }
    }
  } else if (inputCount > 0) {
    std::copy(inputs, inputs + inputCount, work);
  }
  ApplyChannelMode(inputCount > 0 ? work : nullptr, outputs, in, out, frames);

  if (oversampling_ >= 2 && oversampler_) {
    RunOversampled(inputCount > 0 ? in : nullptr, out, frames);
  } else {
    RunScheduler(inputCount > 0 ? in : nullptr, out, frames);
  }
  UndoChannelMode(dry, outputs, frames);

  if (auditionOn_ && inputs) {
    // What the effect adds: the output less its input, in time with it.
    for (int32_t b = 0; b < std::min(inputBuses_, outputBuses_); ++b) {
      for (int32_t c = 0; c < processChannels_; ++c) {
        const float* x = b == 0 ? dry[c] : inputs[b * hostChannels_ + c];
        float* y = outputs[b * hostChannels_ + c];
        if (!x || !y) continue;
        for (int32_t i = 0; i < frames; ++i) y[i] -= x[i];
      }
    }
  }

  if (agcOn_) ApplyAGC(outputs, frames);
  if (limiterOn_) RunLimiter(outputs, frames);

  if (bypassState_ || bypassMix_ < 1.0f) RunBypassCrossfade(smartBypass_ ? dry : inputs, outputs, frames);

  if (copy) RBufferPools::Get().Give(copy);
}

void RAudioPlugin::RunScheduler(float* const* inputs, float* const* outputs, int32_t frames) {
  gPublishedTempo.store(time_.Tempo, std::memory_order_relaxed);
  lastProcessTime_ = RPlatform::GetMilliseconds();
  firstBlock_ = false;

  int32_t limit = stepLimit_;
  int32_t n = std::max(InterpolationPrepare(frames, limit, fineLimit_), 1);

  if (!eventsDisabled_) {
    // Stable, so that events at one offset keep the order the host sent them in; the queue is
    // short and nearly sorted, which insertion sort likes.
    for (size_t i = 1; i < events_.size(); ++i) {
      const MIDIEvent e = events_[i];
      size_t j = i;
      for (; j > 0 && events_[j - 1].offset > e.offset; --j) events_[j] = events_[j - 1];
      events_[j] = e;
    }
    for (const MIDIEvent& e : events_) {
      if (e.offset > 0) {
        n = std::min(n, e.offset);
        break;
      }
    }
  }

  subBlockOffset_ = 0;
  float* const* blockInputs = inputBuses_ > 0 ? inputs : nullptr;

  if (n >= frames) {
    int32_t count = frames;
    if (!eventsDisabled_) DispatchEvents(count, false);
    InterpolationProcess(frames, frames);
    ProcessAudio(blockInputs, outputs, frames);
  } else {
    float* in[kMaxChannelPointers];
    float* out[kMaxChannelPointers];
    const int32_t inputCount = blockInputs ? inputBuses_ * channelStride_ : 0;
    const int32_t outputCount = outputBuses_ * channelStride_;
    std::copy(blockInputs, blockInputs + inputCount, in);
    std::copy(outputs, outputs + outputCount, out);
    // Tempo and rate as they stood at the block's start.
    const double ppqPerSample = time_.Tempo * (1.0 / 60.0) * (1.0 / sampleRate_);

    int32_t remaining = frames;
    while (remaining > 0) {
      int32_t count = std::max(std::min(n, remaining), 1);
      if (!eventsDisabled_) DispatchEvents(count, true);
      n = InterpolationProcess(count, limit);
      ProcessAudio(blockInputs ? in : nullptr, out, count);
      remaining -= count;
      if (remaining > 0) {
        time_.SamplePosition += count;
        subBlockOffset_ += count;
        time_.PPQPosition += count * ppqPerSample;
        for (int32_t i = 0; i < inputCount; ++i) {
          if (in[i]) in[i] += count;
        }
        for (int32_t i = 0; i < outputCount; ++i) {
          if (out[i]) out[i] += count;
        }
      }
    }
  }

  InterpolationFinish();
}

bool RAudioPlugin::DispatchEvents(int32_t& count, bool limitToRamps) {
  size_t due = 0;
  while (due < events_.size() && events_[due].offset <= 0) {
    ProcessMIDIEvent(events_[due]);
    ++due;
  }
  if (due < events_.size()) count = std::min(count, events_[due].offset);
  if (due > 0 && limitToRamps) {
    const int32_t next = NearestRampTime();
    if (next > 0) count = std::min(count, next);
  }
  // Erasing from the front moves the rest down; the storage stays.
  events_.erase(events_.begin(), events_.begin() + ptrdiff_t(due));
  for (MIDIEvent& e : events_) e.offset -= count;
  return due > 0;
}

void RAudioPlugin::RunLimiter(float* const* outputs, int32_t frames) {
  const double a = limiterA_, b = limiterB_, d = limiterD_;
  const size_t stateCount = limiterState_.size();
  for (int32_t bus = 0; bus < outputBuses_; ++bus) {
    for (int32_t c = 0; c < processChannels_; ++c) {
      const size_t index = size_t(bus * processChannels_ + c);
      float* y = outputs[bus * hostChannels_ + c];
      if (!y || index >= stateCount) continue;
      double r = limiterState_[index].r;
      double s = limiterState_[index].s;
      for (int32_t i = 0; i < frames; ++i) {
        const double x = y[i];
        const double p = r * b + x * x * a;
        r *= d;
        if (r <= p) r = p;
        const double q = std::sqrt(r);
        const double k = q <= s ? limiterRelease_ : limiterAttack_;
        s = (s - q) * k + q;
        if (s >= kLimiterCeiling) y[i] = float(x * (kLimiterCeiling / s));
      }
      limiterState_[index].r = r;
      limiterState_[index].s = s;
    }
  }
}

void RAudioPlugin::RunBypassCrossfade(const float* const* dry, float* const* outputs, int32_t frames) {
  const double step = hostSampleRate_ >= 1.0 ? kBypassFadePerSecond / hostSampleRate_ : 1.0;
  const double start = bypassMix_;
  for (int32_t bus = 0; bus < outputBuses_; ++bus) {
    for (int32_t c = 0; c < processChannels_; ++c) {
      float* y = outputs[bus * hostChannels_ + c];
      if (!y) continue;
      // Only the main bus has a dry path; the others fade against silence.
      const float* x = (dry && bus == 0) ? dry[c] : nullptr;
      for (int32_t i = 0; i < frames; ++i) {
        // The fade's position at this sample, and from it the weight of the wet signal:
        // falling towards bypass, rising away from it.
        const double position = std::min(start + step * i, 1.0);
        const float mix = float(bypassState_ ? 1.0 - position : position);
        const float d = x ? x[i] : 0.0f;
        y[i] = (y[i] - d) * mix + d;
      }
    }
  }
  bypassMix_ = float(std::min(start + step * frames, 1.0));
}

// --- a sub-block

void RAudioPlugin::ProcessAudio(float* const* inputs, float* const* outputs, int32_t frames) {
  ProcessAudio_Prepare(inputs, frames);
  if (IsSetupPending()) {
    ClearSetupPending();
    Update();
  }
  Process(inputs, outputs, frames);
  ProcessAudio_Finish();
}

void RAudioPlugin::ProcessAudio_Prepare(float* const* inputs, int32_t frames) {
  // A nested plug-in that shares its parent's data finds the arenas already reset by it.
  if (!sharesParentData_) {
    for (RScratchArena& arena : shared_->Arenas) arena.Reset();
    shared_->ArenasResetBy = this;
  }
  if (anyLFOActive_) RunModulators(inputs, frames);
  RunMultiParameterStages(frames);
}

void RAudioPlugin::RunMultiParameterStages(int32_t frames) noexcept {
  if (anyMultiOrPending_) {
    for (auto& multi : multiParameters_) multi->UpdateFirstStage(frames);
  }
  if (anyMultiActive_) {
    for (auto& multi : multiParameters_) multi->UpdateSecondStage(frames);
  }
}

void RAudioPlugin::ProcessAudio_Finish() {}

void RAudioPlugin::BeforeBlock(float* const*, float* const*) {}

void RAudioPlugin::Update() {}

void RAudioPlugin::Process(float* const* inputs, float* const* outputs, int32_t frames) {
  for (int32_t b = 0; b < outputBuses_; ++b) {
    for (int32_t c = 0; c < channels_; ++c) {
      float* y = outputs[b * channelStride_ + c];
      if (!y) continue;
      const float* x = (inputs && b < inputBuses_) ? inputs[b * channelStride_ + c] : nullptr;
      if (x) {
        CopyChannel(x, y, frames);
      } else {
        ZeroChannel(y, frames);
      }
    }
  }
}

void RAudioPlugin::ProcessBypassed(const float* const* dry, float* const* inputs, float* const* outputs,
                                   int32_t frames) {
  for (int32_t b = 0; b < outputBuses_; ++b) {
    for (int32_t c = 0; c < processChannels_; ++c) {
      float* y = outputs[b * hostChannels_ + c];
      if (!y) continue;
      const float* x = b == 0 ? (dry ? dry[c] : nullptr) : (inputs && b < inputBuses_ ? inputs[b * hostChannels_ + c] : nullptr);
      if (x) {
        CopyChannel(x, y, frames);
      } else {
        ZeroChannel(y, frames);
      }
    }
  }
}

// --- helpers over the channel arrays

void RAudioPlugin::ZeroOutputs(float* const* outputs, int32_t frames) const noexcept {
  const int32_t count = std::min(outputBuses_ * hostChannels_, kMaxChannelPointers);
  for (int32_t i = 0; i < count; ++i) ZeroChannel(outputs[i], frames);
}

void RAudioPlugin::ClampOutputs(float* const* outputs, int32_t frames) const noexcept {
  for (int32_t b = 0; b < outputBuses_; ++b) {
    for (int32_t c = 0; c < hostChannels_; ++c) {
      float* y = outputs[b * hostChannels_ + c];
      // Nothing undefined leaves the block: NaN becomes 0, the rest is held within the clamp.
      if (y) RBlockKernels::Clamp(y, frames, kOutputClamp);
    }
  }
}

bool RAudioPlugin::ChannelsSilent(float* const* channels, int32_t buses, int32_t frames) const noexcept {
  for (int32_t b = 0; b < buses; ++b) {
    for (int32_t c = 0; c < hostChannels_; ++c) {
      const float* x = channels[b * hostChannels_ + c];
      if (x && !Silent(x, frames)) return false;
    }
  }
  return true;
}

void RAudioPlugin::PassDry(float* const* inputs, float* const* outputs, int32_t frames) const noexcept {
  for (int32_t b = 0; b < outputBuses_; ++b) {
    for (int32_t c = 0; c < hostChannels_; ++c) {
      float* y = outputs[b * hostChannels_ + c];
      const float* x = (inputs && b < inputBuses_) ? inputs[b * hostChannels_ + c] : nullptr;
      if (!y) continue;
      if (x) {
        CopyChannel(x, y, frames);
      } else {
        ZeroChannel(y, frames);
      }
    }
  }
}
