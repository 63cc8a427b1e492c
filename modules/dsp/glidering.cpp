#include "modules/dsp/glidering.h"

#include <algorithm>
#include <cmath>
#include <cstring>

void RRingGrowth::MoveSamples(float* ring) const noexcept {
  // [write, oldSize) is the older part, [0, write) the newer.
  std::memcpy(ring + newSize - oldSize, ring + write, size_t(oldSize - write) * sizeof(float));
  std::memcpy(ring + newSize - write, ring, size_t(write) * sizeof(float));
  std::fill(ring, ring + newSize - oldSize, 0.0f);
}

double RRingGrowth::Moved(double position) const noexcept {
  double distance = double(write) - position;
  if (distance <= 0.0) distance += oldSize;
  return double(newSize) - distance;
}

int32_t RGlideRing::RingSizeFor(int32_t n) noexcept {
  int32_t size = 2;
  while (size <= n) size <<= 1;
  return size;
}

void RGlideRing::Settle(RRingCursor& cursor) const noexcept {
  cursor.mask = ringSize_ - 1;
  cursor.size = double(ringSize_);
  cursor.position = double(cursor.read);
  cursor.speed = 1.0;
}

void RGlideRing::MakeCopy(RRingCursor& cursor) noexcept {
  ringSize_ = delay_ = glideLeft_ = 0;
  cursor = RRingCursor();
}

RRingGrowth RGlideRing::Fit(int32_t n, RRingCursor& cursor) noexcept {
  if (n < ringSize_) return {};
  const RRingGrowth growth{ringSize_, RingSizeFor(n), cursor.write};
  const auto size = double(growth.newSize);
  const double position = std::fmod(growth.Moved(cursor.position), size);
  cursor.read = growth.MovedIndex(cursor.read);
  cursor.write = 0;
  cursor.mask = growth.newSize - 1;
  cursor.size = size;
  cursor.position = glideLeft_ > 0 ? position : double(cursor.read);
  ringSize_ = growth.newSize;
  return growth;
}

void RGlideRing::MoveRead(int32_t n, RRingCursor& cursor) noexcept {
  cursor.read = (cursor.write - n) & (ringSize_ - 1);
  delay_ = n;
}

void RGlideRing::JumpTo(int32_t n, RRingCursor& cursor) noexcept {
  MoveRead(n, cursor);
  glideLeft_ = 0;
}

RRingChange RGlideRing::SetDelay(int32_t n, RRingCursor& cursor) noexcept {
  RRingChange change;
  if (n < 1) {
    MakeCopy(cursor);
    change.kind = RRingChange::kCopy;
    return change;
  }
  if (n == delay_) return change;
  if (delay_ == 0) {
    ringSize_ = RingSizeFor(n);
    cursor.read = 0;
    cursor.write = n;
    glideLeft_ = 0;
    delay_ = n;
    Settle(cursor);
    change.kind = RRingChange::kStart;
    change.ringSize = ringSize_;
    return change;
  }
  // A length beyond the ring is longer than the delay too, since the ring holds the delay.
  change.growth = Fit(n, cursor);
  change.ringSize = ringSize_;
  if (glideLeft_ > 0) {
    // The distance in effect right now; the new glide starts from it.
    const double inEffect = std::fmod(cursor.size - cursor.position + double(cursor.write), cursor.size);
    if (inEffect > 2.0) {
      cursor.speed = inEffect / double(n);
      glideLeft_ = delay_ = n;
      change.kind = RRingChange::kGlide;
      return change;
    }
  } else if (delay_ >= 3) {
    cursor.position = double(cursor.read);
    cursor.speed = double(delay_) / double(n);
    glideLeft_ = delay_ = n;
    change.kind = RRingChange::kGlide;
    return change;
  }
  // Too short to glide over: hold the newest sample everywhere and jump.
  change.kind = RRingChange::kFill;
  change.newest = (cursor.write - 1) & (ringSize_ - 1);
  JumpTo(n, cursor);
  Settle(cursor);
  return change;
}

bool RGlideRing::AdvanceGlide(int32_t count, RRingCursor& cursor) noexcept {
  if (glideLeft_ <= 0) return false;
  glideLeft_ = std::max(glideLeft_ - count, 0);
  if (glideLeft_ > 0) return false;
  cursor.read = int32_t(std::lround(cursor.position)) & cursor.mask;
  return true;
}
