#pragma once
// RDelayLine: a delay of a whole number of samples over a power-of-two ring, whose length
// glides instead of jumping. A new length makes the read point travel at old / new speed for
// exactly new-length samples, like a tape whose speed changes, and arrive at the new
// distance; while it travels the read point is interpolated linearly. Without a glide the
// line is block copies with no per-sample work.
//
// Reserve allocates (setup); SetDelay allocates only when the new length is beyond the ring,
// which happens on a parameter change and is the one allocation allowed on the audio thread.
// Process and Clear are [audio-thread], allocation-free and noexcept.

#include <cstdint>
#include <memory>

#include "modules/dsp/glidering.h"

class RDelayLine {
public:
  // Makes room for delays up to maxDelay samples, so that SetDelay never allocates below it.
  void Reserve(int32_t maxDelay);
  // Silence in the ring, no glide; the length stays.
  void Clear() noexcept;

  // Below 1 the line becomes a plain copy at once. The same length changes nothing, also
  // during a glide. A new length glides from wherever the read point is now; when the line
  // was shorter than 3 samples (or the read point is that close) the ring is filled with the
  // newest sample instead, since there is nothing to glide over.
  void SetDelay(int32_t samples);
  int32_t GetDelay() const noexcept { return glide_.GetDelay(); }
  bool IsGliding() const noexcept { return glide_.IsGliding(); }

  // source and destination may be the same buffer.
  void Process(const float* source, float* destination, int32_t count) noexcept;

private:
  // At least ringSize samples of storage, keeping the first keep samples.
  void Allocate(int32_t ringSize, int32_t keep);
  // Does to the ring what a change of length asks.
  void Apply(const RRingChange& change);
  void ProcessGlide(const float* source, float* destination, int32_t count) noexcept;
  void ProcessFixed(const float* source, float* destination, int32_t count) noexcept;
  // count samples from the ring at index, wrapped, and the other way.
  void ReadRing(int32_t index, float* destination, int32_t count) const noexcept;
  void WriteRing(int32_t index, const float* source, int32_t count) noexcept;

  std::unique_ptr<float[]> buffer_;
  int32_t capacity_ = 0;  // samples allocated
  RGlideRing glide_;
  RRingCursor cursor_;
};
