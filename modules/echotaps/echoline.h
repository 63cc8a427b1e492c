#pragma once
// REchoLine: the rings of one delay line of a tap, one ring per channel, with one set of read
// and write indices for all of them: the channels of a tap always share its time, so they
// move in lockstep and a stereo kernel reads both rings at the same index.
//
// A feedback path can't run in blocks (each write needs the sample just read), so the echo
// kernels read and write the rings per sample through an REchoCursor. A change of length is
// a motion of the read point that the kernels follow:
//   glide  (tape)   the read point travels at old / new speed for new-length samples, with
//                   linear interpolation, and arrives at the new distance; the pitch slides;
//   fade   (modern) a second read point starts at the new distance and the output crossfades
//                   from the old one to it; both step at speed 1, so the pitch stays.
//
// SetChannels and Reserve allocate (setup). SetDelay* allocate only when the new length is
// beyond the ring, which happens on a parameter change. Everything else is [audio-thread],
// allocation-free and noexcept.

#include <cstdint>
#include <memory>
#include <vector>

#include "modules/dsp/glidering.h"

// What a kernel needs of a line while it runs: indices and the state of the motion. A line
// that doesn't move still has a valid glide (speed 1 at the read index) and fade (weight 1 on
// the read index), so a kernel may read it in any form and get exactly ring[read].
struct REchoCursor : RRingCursor {
  int32_t fadeRead = 0;   // fade: the read point faded out
  float fade = 1.0f;      // weight of the read point at read
  float fadeStep = 0.0f;
};

class REchoLine {
public:
  enum Motion : int32_t { kStill = 0, kGlide = 1, kFade = 2 };

  // Drops the rings and makes room for channels; the line becomes a copy. [setup]
  void SetChannels(int32_t channels);
  int32_t GetChannels() const noexcept { return int32_t(rings_.size()); }
  // Room for delays up to maxDelay samples, so that SetDelay below it never allocates. [setup]
  void Reserve(int32_t maxDelay);
  // Silence in the rings, the motion finished at its target; the length stays.
  void Clear() noexcept;

  // Below 1 the line becomes a copy at once; the same length changes nothing. A new length
  // glides from wherever the read point is now; a line shorter than 3 samples (or a read
  // point that close) has nothing to glide over and is filled with the newest sample instead.
  void SetDelayGlide(int32_t samples);
  // The modern change: a crossfade of fadeLength samples to a read point at the new distance.
  // A change during a crossfade waits for it to end and then fades on from there.
  void SetDelayFade(int32_t samples, int32_t fadeLength);

  int32_t GetDelay() const noexcept { return glide_.GetDelay(); }
  Motion GetMotion() const noexcept { return glide_.IsGliding() ? kGlide : fadeLeft_ > 0 ? kFade : kStill; }
  // Samples until the running motion ends; a large number when still.
  int32_t MotionLeft() const noexcept;

  REchoCursor& Cursor() noexcept { return cursor_; }
  float* const* Rings() noexcept { return ringPointers_.data(); }
  // After a kernel ran count samples in the given form: counts the motion down and, at its
  // end, settles the read index (glide) or starts the waiting crossfade (fade).
  void Advance(int32_t count, Motion form);

private:
  // At least ringSize samples of storage in every ring, keeping the first keep samples.
  void Allocate(int32_t ringSize, int32_t keep);
  // Moves every ring's samples the same way; the fade's read point moves with them.
  void Grow(const RRingGrowth& growth);
  void StartFade(int32_t n);
  void MakeCopy() noexcept;
  // The still forms of the cursor at the present read index.
  void Settle() noexcept;

  std::vector<std::unique_ptr<float[]>> rings_;
  std::vector<float*> ringPointers_;
  int32_t capacity_ = 0;
  RGlideRing glide_;
  int32_t fadeLeft_ = 0;
  int32_t fadeLength_ = 0;
  int32_t pendingDelay_ = 0;  // 0: none waits
  REchoCursor cursor_;
};
