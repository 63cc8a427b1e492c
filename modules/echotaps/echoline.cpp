#include "modules/echotaps/echoline.h"

#include <algorithm>
#include <climits>
#include <cstring>

void REchoLine::SetChannels(int32_t channels) {
  rings_.clear();
  rings_.resize(size_t(std::max(channels, 0)));
  ringPointers_.assign(rings_.size(), nullptr);
  capacity_ = 0;
  fadeLeft_ = pendingDelay_ = 0;
  glide_.MakeCopy(cursor_);
  cursor_ = REchoCursor();
}

void REchoLine::Reserve(int32_t maxDelay) {
  Allocate(RGlideRing::RingSizeFor(std::max(maxDelay, 1)), glide_.GetRingSize());
}

void REchoLine::Allocate(int32_t ringSize, int32_t keep) {
  if (ringSize <= capacity_) return;
  for (size_t c = 0; c < rings_.size(); ++c) {
    auto grown = std::make_unique<float[]>(size_t(ringSize));  // zeroed
    if (keep > 0) std::memcpy(grown.get(), rings_[c].get(), size_t(keep) * sizeof(float));
    rings_[c] = std::move(grown);
    ringPointers_[c] = rings_[c].get();
  }
  capacity_ = ringSize;
}

void REchoLine::Settle() noexcept {
  glide_.Settle(cursor_);
  cursor_.fadeRead = cursor_.read;
  cursor_.fade = 1.0f;
  cursor_.fadeStep = 0.0f;
}

void REchoLine::Clear() noexcept {
  for (auto& ring : rings_) std::fill(ring.get(), ring.get() + capacity_, 0.0f);
  // A waiting length only waits while a crossfade runs; it takes effect with the silence.
  const int32_t delay = pendingDelay_ > 0 ? pendingDelay_ : glide_.GetDelay();
  if (delay > 0 && (glide_.IsGliding() || fadeLeft_ > 0)) glide_.JumpTo(delay, cursor_);
  fadeLeft_ = pendingDelay_ = 0;
  Settle();
}

void REchoLine::MakeCopy() noexcept {
  // The rings stay allocated for the next length.
  glide_.MakeCopy(cursor_);
  fadeLeft_ = pendingDelay_ = 0;
  cursor_ = REchoCursor();
}

void REchoLine::Grow(const RRingGrowth& growth) {
  if (!growth) return;
  Allocate(growth.newSize, growth.oldSize);
  for (float* ring : ringPointers_) growth.MoveSamples(ring);
  cursor_.fadeRead = growth.MovedIndex(cursor_.fadeRead);
}

void REchoLine::SetDelayGlide(int32_t n) {
  if (n < 1) {
    MakeCopy();
    return;
  }
  const RRingChange change = glide_.SetDelay(n, cursor_);
  Grow(change.growth);
  switch (change.kind) {
  case RRingChange::kStart:
    Allocate(change.ringSize, 0);
    for (float* ring : ringPointers_) std::fill(ring, ring + change.ringSize, 0.0f);
    fadeLeft_ = pendingDelay_ = 0;
    Settle();
    break;
  case RRingChange::kFill:
    for (float* ring : ringPointers_) std::fill(ring, ring + change.ringSize, ring[change.newest]);
    Settle();
    break;
  default:
    break;
  }
}

void REchoLine::SetDelayFade(int32_t n, int32_t fadeLength) {
  if (n < 1) {
    MakeCopy();
    return;
  }
  fadeLength_ = std::max(fadeLength, 1);
  if (glide_.GetDelay() == 0) {
    SetDelayGlide(n);  // the first length starts over silent rings either way
    return;
  }
  if (fadeLeft_ > 0) {
    pendingDelay_ = n == glide_.GetDelay() ? 0 : n;
    return;
  }
  if (n == glide_.GetDelay()) return;
  StartFade(n);
}

void REchoLine::StartFade(int32_t n) {
  // The one allocation a length change may make: a ring too short for the new distance.
  Grow(glide_.Fit(n, cursor_));
  cursor_.fadeRead = cursor_.read;
  glide_.MoveRead(n, cursor_);
  cursor_.fade = 0.0f;
  cursor_.fadeStep = 1.0f / float(fadeLength_);
  fadeLeft_ = fadeLength_;
}

int32_t REchoLine::MotionLeft() const noexcept {
  if (glide_.IsGliding()) return glide_.GlideLeft();
  if (fadeLeft_ > 0) return fadeLeft_;
  return INT32_MAX;
}

void REchoLine::Advance(int32_t count, Motion form) {
  if (glide_.GetDelay() == 0) return;
  switch (form) {
  case kStill:
    break;
  case kGlide:
    if (glide_.IsGliding()) {
      if (!glide_.AdvanceGlide(count, cursor_)) return;
    } else {
      // A still line read in the glide form stepped its position by exactly 1.
      cursor_.read = int32_t(cursor_.position) & cursor_.mask;
    }
    break;
  case kFade:
    if (fadeLeft_ > 0) {
      fadeLeft_ -= count;
      if (fadeLeft_ > 0) return;
      if (pendingDelay_ > 0) {
        const int32_t next = pendingDelay_;
        pendingDelay_ = 0;
        Settle();
        if (next != glide_.GetDelay()) StartFade(next);
        return;
      }
    }
    break;
  }
  Settle();
}
