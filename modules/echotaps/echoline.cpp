#include "modules/echotaps/echoline.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>

namespace {

// The smallest power of two above n, at least 2: the ring holds the delay plus the sample
// being written.
int32_t RingSizeFor(int32_t n) {
  int32_t size = 2;
  while (size <= n) size <<= 1;
  return size;
}

} // namespace

void REchoLine::SetChannels(int32_t channels) {
  rings_.clear();
  rings_.resize(size_t(std::max(channels, 0)));
  ringPointers_.assign(rings_.size(), nullptr);
  capacity_ = ringSize_ = delay_ = 0;
  glideLeft_ = fadeLeft_ = pendingDelay_ = 0;
  cursor_ = REchoCursor();
}

void REchoLine::Reserve(int32_t maxDelay) { Allocate(RingSizeFor(std::max(maxDelay, 1))); }

void REchoLine::Allocate(int32_t ringSize) {
  if (ringSize <= capacity_) return;
  for (size_t c = 0; c < rings_.size(); ++c) {
    auto grown = std::make_unique<float[]>(size_t(ringSize));  // zeroed
    if (ringSize_ > 0) std::memcpy(grown.get(), rings_[c].get(), size_t(ringSize_) * sizeof(float));
    rings_[c] = std::move(grown);
    ringPointers_[c] = rings_[c].get();
  }
  capacity_ = ringSize;
}

void REchoLine::Settle() noexcept {
  cursor_.mask = ringSize_ - 1;
  cursor_.size = double(ringSize_);
  cursor_.position = double(cursor_.read);
  cursor_.speed = 1.0;
  cursor_.fadeRead = cursor_.read;
  cursor_.fade = 1.0f;
  cursor_.fadeStep = 0.0f;
}

void REchoLine::Clear() noexcept {
  for (auto& ring : rings_) std::fill(ring.get(), ring.get() + capacity_, 0.0f);
  if (pendingDelay_ > 0) delay_ = pendingDelay_;
  if (delay_ > 0 && (glideLeft_ > 0 || fadeLeft_ > 0)) cursor_.read = (cursor_.write - delay_) & (ringSize_ - 1);
  glideLeft_ = fadeLeft_ = pendingDelay_ = 0;
  Settle();
}

void REchoLine::MakeCopy() noexcept {
  // The rings stay allocated for the next length.
  ringSize_ = delay_ = 0;
  glideLeft_ = fadeLeft_ = pendingDelay_ = 0;
  cursor_ = REchoCursor();
}

void REchoLine::Start(int32_t n) {
  const int32_t size = RingSizeFor(n);
  Allocate(size);
  ringSize_ = size;
  for (auto& ring : rings_) std::fill(ring.get(), ring.get() + size, 0.0f);
  cursor_.read = 0;
  cursor_.write = n;
  delay_ = n;
  glideLeft_ = fadeLeft_ = pendingDelay_ = 0;
  Settle();
}

void REchoLine::Grow(int32_t ringSize) {
  // Sample k behind the write index moves to ringSize - k and the write index to 0, so every
  // distance stays. The new size is at least twice the old, so nothing overlaps.
  Allocate(ringSize);
  const int32_t oldSize = ringSize_;
  const int32_t newest = cursor_.write;
  for (float* ring : ringPointers_) {
    std::memcpy(ring + ringSize - oldSize, ring + newest, size_t(oldSize - newest) * sizeof(float));
    std::memcpy(ring + ringSize - newest, ring, size_t(newest) * sizeof(float));
    std::fill(ring, ring + ringSize - oldSize, 0.0f);
  }
  const auto moved = [&](double position) {
    double distance = double(newest) - position;
    if (distance <= 0.0) distance += oldSize;
    return double(ringSize) - distance;
  };
  const double position = std::fmod(moved(cursor_.position), double(ringSize));
  cursor_.read = int32_t(moved(cursor_.read)) & (ringSize - 1);
  cursor_.fadeRead = int32_t(moved(cursor_.fadeRead)) & (ringSize - 1);
  cursor_.write = 0;
  cursor_.mask = ringSize - 1;
  cursor_.size = double(ringSize);
  cursor_.position = glideLeft_ > 0 ? position : double(cursor_.read);
  ringSize_ = ringSize;
}

void REchoLine::SetDelayGlide(int32_t n) {
  if (n < 1) {
    MakeCopy();
    return;
  }
  if (n == delay_) return;
  if (delay_ == 0) {
    Start(n);
    return;
  }
  if (n > delay_ && n >= ringSize_) Grow(RingSizeFor(n));
  const int32_t mask = ringSize_ - 1;
  if (glideLeft_ > 0) {
    // The distance in effect right now; the new glide starts from it.
    const double inEffect = std::fmod(cursor_.size - cursor_.position + double(cursor_.write), cursor_.size);
    if (inEffect > 2.0) {
      cursor_.speed = inEffect / double(n);
      glideLeft_ = delay_ = n;
      return;
    }
  } else if (delay_ >= 3) {
    cursor_.position = double(cursor_.read);
    cursor_.speed = double(delay_) / double(n);
    glideLeft_ = delay_ = n;
    return;
  }
  // Too short to glide over: hold the newest sample everywhere and jump.
  for (float* ring : ringPointers_) std::fill(ring, ring + ringSize_, ring[(cursor_.write - 1) & mask]);
  cursor_.read = (cursor_.write - n) & mask;
  glideLeft_ = 0;
  delay_ = n;
  Settle();
}

void REchoLine::SetDelayFade(int32_t n, int32_t fadeLength) {
  if (n < 1) {
    MakeCopy();
    return;
  }
  fadeLength_ = std::max(fadeLength, 1);
  if (delay_ == 0) {
    Start(n);
    return;
  }
  if (fadeLeft_ > 0) {
    pendingDelay_ = n == delay_ ? 0 : n;
    return;
  }
  if (n == delay_) return;
  StartFade(n);
}

void REchoLine::StartFade(int32_t n) {
  // The one allocation a length change may make: a ring too short for the new distance.
  if (n >= ringSize_) Grow(RingSizeFor(n));
  cursor_.fadeRead = cursor_.read;
  cursor_.read = (cursor_.write - n) & (ringSize_ - 1);
  cursor_.fade = 0.0f;
  cursor_.fadeStep = 1.0f / float(fadeLength_);
  fadeLeft_ = fadeLength_;
  delay_ = n;
}

int32_t REchoLine::MotionLeft() const noexcept {
  if (glideLeft_ > 0) return glideLeft_;
  if (fadeLeft_ > 0) return fadeLeft_;
  return INT32_MAX;
}

void REchoLine::Advance(int32_t count, Motion form) {
  if (delay_ == 0) return;
  switch (form) {
  case kStill:
    break;
  case kGlide:
    if (glideLeft_ > 0) {
      glideLeft_ -= count;
      if (glideLeft_ > 0) return;
      cursor_.read = int32_t(std::lround(cursor_.position)) & cursor_.mask;
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
        if (next != delay_) StartFade(next);
        return;
      }
    }
    break;
  }
  Settle();
}
