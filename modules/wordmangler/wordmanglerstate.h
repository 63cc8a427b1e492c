#pragma once
// RWordManglerState: everything of RWordMangler that changes while audio runs, for one band:
// per channel a control delay line, a low-pass filter state and a DC blocker state, and one
// automatic gain. A band engine keeps one state per band in memory of its own, so the record
// is built by placement: GetSize tells the bytes for a channel count, Construct builds it
// there and Destroy takes it down (the memory stays the caller's).
//
// In memory, behind the header: the delay lines, the low-pass states, the automatic gain,
// the DC blocker states.
//
// Construct, Destroy and Setup allocate or free ([host-thread], under the owner's locks);
// Clear and the accessors are [audio-thread] safe.

#include <cstddef>
#include <cstdint>

#include "modules/dsp/autogain.h"
#include "modules/dsp/biquadstate.h"
#include "modules/dsp/delayline.h"

class RWordManglerState {
public:
  // Memory handed to Construct must be aligned to this.
  static constexpr size_t kAlignment = alignof(std::max_align_t);

  static size_t GetSize(int32_t channels) noexcept;
  // Builds a state for channels (at least 1) in memory of GetSize(channels) bytes.
  static RWordManglerState* Construct(void* memory, int32_t channels);
  static void Destroy(RWordManglerState* state) noexcept;

  RWordManglerState(const RWordManglerState&) = delete;
  RWordManglerState& operator=(const RWordManglerState&) = delete;

  // Delay lines released (a plain copy again), filter states zeroed, the automatic gain set
  // up for the channel count and rate.
  void Setup(double sampleRate);
  // Silence in every delay line and filter, the automatic gain back to its start; the lengths
  // and allocations stay.
  void Clear() noexcept;

  int32_t GetChannels() const noexcept { return channels_; }
  RDelayLine& GetDelayLine(int32_t channel) noexcept { return delayLines_[channel]; }
  // The filter states of the channels lie side by side: &GetLowPass(0) is the array.
  RBiquadState& GetLowPass(int32_t channel) noexcept { return lowPass_[channel]; }
  RAutoGain& GetAutoGain() noexcept { return *autoGain_; }
  RBiquadState& GetDCBlocker(int32_t channel) noexcept { return dcBlocker_[channel]; }

private:
  explicit RWordManglerState(int32_t channels) noexcept : channels_(channels) {}
  ~RWordManglerState() = default;

  struct Layout;

  int32_t channels_;
  RDelayLine* delayLines_ = nullptr;
  RBiquadState* lowPass_ = nullptr;
  RAutoGain* autoGain_ = nullptr;
  RBiquadState* dcBlocker_ = nullptr;
};
