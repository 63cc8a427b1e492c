#include "modules/dsp/delayline.h"

#include <algorithm>
#include <cstring>

namespace {

// Below this length the per-sample loop beats chunked copies of that length.
constexpr int32_t kShortDelay = 17;
// In-place blocks go through a stack copy of this many samples at a time.
constexpr int32_t kInPlaceChunk = 256;

} // namespace

void RDelayLine::Reserve(int32_t maxDelay) {
  Allocate(RGlideRing::RingSizeFor(std::max(maxDelay, 1)), glide_.GetRingSize());
}

void RDelayLine::Allocate(int32_t ringSize, int32_t keep) {
  if (ringSize <= capacity_) return;
  auto grown = std::make_unique<float[]>(size_t(ringSize));  // zeroed
  if (keep > 0) std::memcpy(grown.get(), buffer_.get(), size_t(keep) * sizeof(float));
  buffer_ = std::move(grown);
  capacity_ = ringSize;
}

void RDelayLine::Clear() noexcept {
  if (buffer_) std::fill(buffer_.get(), buffer_.get() + capacity_, 0.0f);
  if (glide_.IsGliding()) glide_.JumpTo(glide_.GetDelay(), cursor_);
}

void RDelayLine::SetDelay(int32_t n) { Apply(glide_.SetDelay(n, cursor_)); }

void RDelayLine::Apply(const RRingChange& change) {
  if (change.growth) {
    Allocate(change.growth.newSize, change.growth.oldSize);
    change.growth.MoveSamples(buffer_.get());
  }
  if (change.kind == RRingChange::kStart) {
    Allocate(change.ringSize, 0);
    std::fill(buffer_.get(), buffer_.get() + change.ringSize, 0.0f);
  } else if (change.kind == RRingChange::kFill) {
    std::fill(buffer_.get(), buffer_.get() + change.ringSize, buffer_[size_t(change.newest)]);
  }
}

void RDelayLine::Process(const float* source, float* destination, int32_t count) noexcept {
  if (count <= 0) return;
  if (glide_.GetDelay() == 0) {
    if (source != destination) std::memmove(destination, source, size_t(count) * sizeof(float));
    return;
  }
  int32_t done = 0;
  if (glide_.IsGliding()) {
    done = std::min(count, glide_.GlideLeft());
    ProcessGlide(source, destination, done);
  }
  if (done < count) ProcessFixed(source + done, destination + done, count - done);
}

void RDelayLine::ProcessGlide(const float* source, float* destination, int32_t count) noexcept {
  float* ring = buffer_.get();
  const int32_t mask = cursor_.mask;
  const double size = cursor_.size;
  const double speed = cursor_.speed;
  double position = cursor_.position;
  int32_t write = cursor_.write;
  for (int32_t i = 0; i < count; ++i) {
    const auto index = int32_t(position);
    const double fraction = position - double(index);
    const float a = ring[index & mask];
    const float b = ring[(index + 1) & mask];
    const float x = source[i];  // read before the write, for in-place use
    destination[i] = float(a + (b - a) * fraction);
    position += speed;
    if (position >= size) position -= size;
    ring[write] = x;
    write = (write + 1) & mask;
  }
  cursor_.position = position;
  cursor_.write = write;
  glide_.AdvanceGlide(count, cursor_);
}

void RDelayLine::ReadRing(int32_t index, float* destination, int32_t count) const noexcept {
  const int32_t first = std::min(count, glide_.GetRingSize() - index);
  std::memcpy(destination, buffer_.get() + index, size_t(first) * sizeof(float));
  std::memcpy(destination + first, buffer_.get(), size_t(count - first) * sizeof(float));
}

void RDelayLine::WriteRing(int32_t index, const float* source, int32_t count) noexcept {
  const int32_t first = std::min(count, glide_.GetRingSize() - index);
  std::memcpy(buffer_.get() + index, source, size_t(first) * sizeof(float));
  std::memcpy(buffer_.get(), source + first, size_t(count - first) * sizeof(float));
}

void RDelayLine::ProcessFixed(const float* source, float* destination, int32_t count) noexcept {
  const int32_t mask = cursor_.mask;
  const int32_t delay = glide_.GetDelay();
  if (delay < kShortDelay) {
    float* ring = buffer_.get();
    int32_t read = cursor_.read, write = cursor_.write;
    for (int32_t i = 0; i < count; ++i) {
      const float x = source[i];
      destination[i] = ring[read];
      ring[write] = x;
      read = (read + 1) & mask;
      write = (write + 1) & mask;
    }
    cursor_.read = read;
    cursor_.write = write;
    return;
  }
  // A chunk no longer than the delay reads only samples written before the chunk, so all of
  // its reads may come before all of its writes. In place, the source is kept on the stack.
  const bool inPlace = source == destination;
  float kept[kInPlaceChunk];
  const int32_t chunk = inPlace ? std::min(delay, kInPlaceChunk) : delay;
  for (int32_t done = 0; done < count;) {
    const int32_t n = std::min(chunk, count - done);
    const float* from = source + done;
    if (inPlace) {
      std::memcpy(kept, from, size_t(n) * sizeof(float));
      from = kept;
    }
    ReadRing(cursor_.read, destination + done, n);
    WriteRing(cursor_.write, from, n);
    cursor_.read = (cursor_.read + n) & mask;
    cursor_.write = (cursor_.write + n) & mask;
    done += n;
  }
}
