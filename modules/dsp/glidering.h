#pragma once
// RGlideRing: the index side of a delay over power-of-two rings whose length glides: ring
// size, read and write indices, the fractional read point and its speed, the samples left of
// a glide and the delay. It decides what a change of length does and moves the indices; the
// sample memory stays with its owner, one ring or several that move in lockstep, which does
// to every ring what the returned RRingChange asks. So a single-channel line and a
// multi-channel echo line follow exactly the same rules.
//
// Nothing here allocates; all of it is allocation-free and noexcept. The owner allocates
// when a change asks for more storage, which happens only on a parameter change.

#include <cstdint>

// The indices a per-sample loop runs on. A loop may copy them to locals and store them back.
struct RRingCursor {
  int32_t mask = 0;
  int32_t read = 0;
  int32_t write = 0;
  double position = 0.0;  // glide: the fractional read point
  double speed = 1.0;
  double size = 0.0;      // ring size, for the position's wrap
};

// A ring grows from oldSize to newSize: sample k behind the write index (k = 1..oldSize) moves
// to newSize - k and the write index to 0, so every distance stays; the new older part is
// silence. newSize is at least twice oldSize, so the moved samples never overlap the old ring.
struct RRingGrowth {
  int32_t oldSize = 0;  // 0: no growth
  int32_t newSize = 0;
  int32_t write = 0;    // the write index before the growth

  explicit operator bool() const noexcept { return oldSize > 0; }
  // Moves one ring's samples; the ring has storage for newSize samples.
  void MoveSamples(float* ring) const noexcept;
  // Where a read point lands, before wrapping into the new ring.
  double Moved(double position) const noexcept;
  int32_t MovedIndex(int32_t index) const noexcept { return int32_t(Moved(double(index))) & (newSize - 1); }
};

// What the owner does to its rings for a change of length, in this order: first the growth,
// then silence or the newest sample over [0, ringSize).
struct RRingChange {
  enum Kind : int32_t {
    kNone,    // nothing changed
    kCopy,    // the line became a copy; the rings may stay allocated
    kStart,   // storage for ringSize samples, silent
    kGlide,   // a glide started; only the growth (if any) touches memory
    kFill,    // every ring filled with its sample at newest, after the growth
  };
  Kind kind = kNone;
  int32_t ringSize = 0;
  int32_t newest = 0;  // kFill: the index of the newest sample
  RRingGrowth growth;
};

class RGlideRing {
public:
  // The smallest power of two above n, at least 2: a ring holds the delay plus the sample
  // being written.
  static int32_t RingSizeFor(int32_t n) noexcept;

  int32_t GetDelay() const noexcept { return delay_; }
  int32_t GetRingSize() const noexcept { return ringSize_; }
  bool IsGliding() const noexcept { return glideLeft_ > 0; }
  int32_t GlideLeft() const noexcept { return glideLeft_; }

  // Below 1 the line becomes a copy. The same length changes nothing, also during a glide.
  // The first length starts over silent rings. A new length glides from the distance in effect
  // now, at the old over the new length's speed for new-length samples; a line shorter than 3
  // samples (or a read point that close) has nothing to glide over, so every ring is filled
  // with its newest sample and the read index jumps.
  RRingChange SetDelay(int32_t n, RRingCursor& cursor) noexcept;
  // The line becomes a copy at once.
  void MakeCopy(RRingCursor& cursor) noexcept;
  // Grows the ring when n doesn't fit in it; the caller moves the samples.
  RRingGrowth Fit(int32_t n, RRingCursor& cursor) noexcept;
  // The read index at once at n behind the write index, any glide dropped; no growth.
  void JumpTo(int32_t n, RRingCursor& cursor) noexcept;
  // The same, but a running glide runs on from its position: for a crossfade that an owner
  // starts at the new distance while the old read point fades out.
  void MoveRead(int32_t n, RRingCursor& cursor) noexcept;
  // After a loop ran count samples of the glide: at its end the read index settles on the
  // nearest sample. True when the glide ended.
  bool AdvanceGlide(int32_t count, RRingCursor& cursor) noexcept;
  // The still form of the cursor at its read index: speed 1, position on the read index.
  void Settle(RRingCursor& cursor) const noexcept;

private:
  int32_t ringSize_ = 0;  // a power of two above the delay, or 0
  int32_t delay_ = 0;     // 0: a copy
  int32_t glideLeft_ = 0;
};
