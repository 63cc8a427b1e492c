#include "modules/dsp/delayline.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace {

// The smallest power of two above n, at least 2: the ring always holds the delay plus the
// sample being written.
int32_t RingSizeFor(int32_t n) {
  int32_t size = 2;
  while (size <= n) size <<= 1;
  return size;
}

// Below this length the per-sample loop beats chunked copies of that length.
constexpr int32_t kShortDelay = 17;
// In-place blocks go through a stack copy of this many samples at a time.
constexpr int32_t kInPlaceChunk = 256;

} // namespace

void RDelayLine::Reserve(int32_t maxDelay) { Allocate(RingSizeFor(std::max(maxDelay, 1))); }

void RDelayLine::Allocate(int32_t ringSize) {
  if (ringSize <= capacity_) return;
  auto grown = std::make_unique<float[]>(size_t(ringSize));  // zeroed
  if (ringSize_ > 0) std::memcpy(grown.get(), buffer_.get(), size_t(ringSize_) * sizeof(float));
  buffer_ = std::move(grown);
  capacity_ = ringSize;
}

void RDelayLine::Clear() noexcept {
  if (buffer_) std::fill(buffer_.get(), buffer_.get() + capacity_, 0.0f);
  if (glideLeft_ > 0) {
    readIndex_ = (writeIndex_ - delay_) & (ringSize_ - 1);
    glideLeft_ = 0;
  }
}

void RDelayLine::Grow(int32_t ringSize) {
  // Sample k behind the write index (k = 1..old size) moves to ringSize - k and the write
  // index to 0, so every distance stays; the new older part is silence. The new size is at
  // least twice the old, so the moved samples land above the old ring and never overlap it.
  Allocate(ringSize);
  float* ring = buffer_.get();
  const int32_t oldSize = ringSize_;
  const int32_t newest = writeIndex_;  // [newest, oldSize) is the older part, [0, newest) the newer
  std::memcpy(ring + ringSize - oldSize, ring + newest, size_t(oldSize - newest) * sizeof(float));
  std::memcpy(ring + ringSize - newest, ring, size_t(newest) * sizeof(float));
  std::fill(ring, ring + ringSize - oldSize, 0.0f);
  const auto moved = [&](double position) {
    double distance = double(newest) - position;
    if (distance <= 0.0) distance += oldSize;
    return double(ringSize) - distance;
  };
  readIndex_ = int32_t(moved(readIndex_)) & (ringSize - 1);
  if (glideLeft_ > 0) readPosition_ = std::fmod(moved(readPosition_), double(ringSize));
  writeIndex_ = 0;
  ringSize_ = ringSize;
}

void RDelayLine::SetDelay(int32_t n) {
  if (n < 1) {
    delay_ = ringSize_ = readIndex_ = writeIndex_ = glideLeft_ = 0;
    return;
  }
  if (n == delay_) return;
  if (delay_ == 0) {
    Allocate(RingSizeFor(n));
    ringSize_ = RingSizeFor(n);
    std::fill(buffer_.get(), buffer_.get() + ringSize_, 0.0f);
    readIndex_ = 0;
    writeIndex_ = n;
    glideLeft_ = 0;
    delay_ = n;
    return;
  }
  if (n > delay_ && n >= ringSize_) {
    Grow(RingSizeFor(n));
  }
  const int32_t mask = ringSize_ - 1;
  if (glideLeft_ > 0) {
    // The distance in effect right now; a new glide starts from it.
    const double inEffect = std::fmod(double(ringSize_) - readPosition_ + double(writeIndex_), double(ringSize_));
    if (inEffect > 2.0) {
      readSpeed_ = inEffect / double(n);
      glideLeft_ = n;
      delay_ = n;
      return;
    }
  } else if (delay_ >= 3) {
    readPosition_ = double(readIndex_);
    readSpeed_ = double(delay_) / double(n);
    glideLeft_ = n;
    delay_ = n;
    return;
  }
  // Too short to glide over: hold the newest sample everywhere and jump.
  const float newest = buffer_[size_t((writeIndex_ - 1) & mask)];
  std::fill(buffer_.get(), buffer_.get() + ringSize_, newest);
  readIndex_ = (writeIndex_ - n) & mask;
  glideLeft_ = 0;
  delay_ = n;
}

void RDelayLine::Process(const float* source, float* destination, int32_t count) noexcept {
  if (count <= 0) return;
  if (delay_ == 0) {
    if (source != destination) std::memmove(destination, source, size_t(count) * sizeof(float));
    return;
  }
  int32_t done = 0;
  if (glideLeft_ > 0) {
    done = std::min(count, glideLeft_);
    ProcessGlide(source, destination, done);
  }
  if (done < count) ProcessFixed(source + done, destination + done, count - done);
}

void RDelayLine::ProcessGlide(const float* source, float* destination, int32_t count) noexcept {
  float* ring = buffer_.get();
  const int32_t mask = ringSize_ - 1;
  const auto size = double(ringSize_);
  double position = readPosition_;
  int32_t write = writeIndex_;
  for (int32_t i = 0; i < count; ++i) {
    const auto index = int32_t(position);
    const double fraction = position - double(index);
    const float a = ring[index & mask];
    const float b = ring[(index + 1) & mask];
    const float x = source[i];  // read before the write, for in-place use
    destination[i] = float(a + (b - a) * fraction);
    position += readSpeed_;
    if (position >= size) position -= size;
    ring[write] = x;
    write = (write + 1) & mask;
  }
  readPosition_ = position;
  writeIndex_ = write;
  glideLeft_ -= count;
  if (glideLeft_ == 0) readIndex_ = int32_t(std::lround(position)) & mask;
}

void RDelayLine::ReadRing(int32_t index, float* destination, int32_t count) const noexcept {
  const int32_t first = std::min(count, ringSize_ - index);
  std::memcpy(destination, buffer_.get() + index, size_t(first) * sizeof(float));
  std::memcpy(destination + first, buffer_.get(), size_t(count - first) * sizeof(float));
}

void RDelayLine::WriteRing(int32_t index, const float* source, int32_t count) noexcept {
  const int32_t first = std::min(count, ringSize_ - index);
  std::memcpy(buffer_.get() + index, source, size_t(first) * sizeof(float));
  std::memcpy(buffer_.get(), source + first, size_t(count - first) * sizeof(float));
}

void RDelayLine::ProcessFixed(const float* source, float* destination, int32_t count) noexcept {
  const int32_t mask = ringSize_ - 1;
  if (delay_ < kShortDelay) {
    float* ring = buffer_.get();
    int32_t read = readIndex_, write = writeIndex_;
    for (int32_t i = 0; i < count; ++i) {
      const float x = source[i];
      destination[i] = ring[read];
      ring[write] = x;
      read = (read + 1) & mask;
      write = (write + 1) & mask;
    }
    readIndex_ = read;
    writeIndex_ = write;
    return;
  }
  // A chunk no longer than the delay reads only samples written before the chunk, so all of
  // its reads may come before all of its writes. In place, the source is kept on the stack.
  const bool inPlace = source == destination;
  float kept[kInPlaceChunk];
  const int32_t chunk = inPlace ? std::min(delay_, kInPlaceChunk) : delay_;
  for (int32_t done = 0; done < count;) {
    const int32_t n = std::min(chunk, count - done);
    const float* from = source + done;
    if (inPlace) {
      std::memcpy(kept, from, size_t(n) * sizeof(float));
      from = kept;
    }
    ReadRing(readIndex_, destination + done, n);
    WriteRing(writeIndex_, from, n);
    readIndex_ = (readIndex_ + n) & mask;
    writeIndex_ = (writeIndex_ + n) & mask;
    done += n;
  }
}
