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
  int32_t GetDelay() const noexcept { return delay_; }
  bool IsGliding() const noexcept { return glideLeft_ > 0; }

  // source and destination may be the same buffer.
  void Process(const float* source, float* destination, int32_t count) noexcept;

private:
  // The ring grows to ringSize (at least twice its size), keeping the samples at their
  // distances behind the write index; allocates only beyond the capacity.
  void Grow(int32_t ringSize);
  // At least ringSize samples of storage, keeping the present ring.
  void Allocate(int32_t ringSize);
  void ProcessGlide(const float* source, float* destination, int32_t count) noexcept;
  void ProcessFixed(const float* source, float* destination, int32_t count) noexcept;
  // count samples from the ring at index, wrapped, and the other way.
  void ReadRing(int32_t index, float* destination, int32_t count) const noexcept;
  void WriteRing(int32_t index, const float* source, int32_t count) noexcept;

  std::unique_ptr<float[]> buffer_;
  int32_t capacity_ = 0;  // samples allocated
  int32_t delay_ = 0;     // 0: a plain copy
  int32_t ringSize_ = 0;  // a power of two above the delay, or 0
  int32_t writeIndex_ = 0;
  int32_t readIndex_ = 0;
  double readPosition_ = 0.0;  // the read point while gliding
  double readSpeed_ = 0.0;
  int32_t glideLeft_ = 0;
};
