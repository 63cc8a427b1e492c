#include "modules/graincloud/graincutter.h"

#include <algorithm>
#include <cstring>

namespace {

// A grain takes at most a quarter of the arena, so that a few of the longest can be held while
// the next one is cut.
int32_t LongestGrain(const RGrainPool& pool) noexcept { return std::max(pool.GetMaxFrames() / 4, 1); }

// Grains are replayed, delayed and summed many times over: a sample that isn't a number would
// poison every copy that plays it, so it enters as 0, and anything beyond the output clamp
// enters at the clamp.
void CopyHeld(const float* source, float* target, int32_t count) noexcept {
  constexpr float kLimit = 100000.0f;
  for (int32_t i = 0; i < count; ++i) {
    const float v = source[i];
    target[i] = v >= -kLimit && v <= kLimit ? v : (v > 0.0f ? kLimit : (v < 0.0f ? -kLimit : 0.0f));
  }
}

} // namespace

void RGrainCutter::ReleaseFinished(RGrainPool& pool) noexcept {
  for (int32_t i = 0; i < finishedCount_; ++i) {
    for (int32_t bus = 0; bus < kBuses; ++bus) {
      pool.Release(finished_[bus][i]);
      finished_[bus][i] = nullptr;
    }
  }
  finishedCount_ = 0;
}

void RGrainCutter::Reset(RGrainPool& pool) noexcept {
  ReleaseFinished(pool);
  for (RGrain*& grain : building_) {
    pool.Release(grain);
    grain = nullptr;
  }
  size_ = 0;
  written_ = 0;
  started_ = false;
}

int32_t RGrainCutter::DrawSize(RGrainRandom& random, int32_t limit) const noexcept {
  const int64_t lo = std::max(sizes_.SizeMin, 0);
  const int64_t hi = std::max<int64_t>(sizes_.SizeMax, lo);
  int64_t size = lo + int64_t(random.Next() * double(hi - lo + 1));
  size = std::min(std::min(size, hi), int64_t(limit));
  return int32_t(size);
}

void RGrainCutter::SetSizes(const RGrainSizes& sizes, RGrainRandom& random) noexcept {
  const bool changed = sizes.SizeMin != sizes_.SizeMin || sizes.SizeMax != sizes_.SizeMax;
  sizes_ = sizes;
  if (!started_ || !changed || (size_ >= sizes_.SizeMin && size_ <= sizes_.SizeMax)) return;
  int32_t capacity = 0;
  for (RGrain* grain : building_) {
    if (grain) capacity = capacity == 0 ? grain->Capacity : std::min(capacity, grain->Capacity);
  }
  const int32_t size = DrawSize(random, capacity > 0 ? capacity : sizes_.SizeMax);
  if (size >= kMinFrames && size >= written_) size_ = size;
}

void RGrainCutter::Begin(int32_t bus, RGrainPool& pool) noexcept {
  RGrain* grain = pool.Take(size_);
  building_[bus] = grain;
  if (!grain) return;
  grain->Length = size_;
  grain->Serial = serial_;
  // A side chain that joins in the middle of a grain starts it with silence.
  for (int32_t c = 0; c < grain->Channels && written_ > 0; ++c) std::memset(grain->Channel(c), 0, size_t(written_) * 4);
}

void RGrainCutter::Finish(RGrainPool& pool) noexcept {
  const bool room = finishedCount_ < kMaxFinished;
  for (int32_t bus = 0; bus < kBuses; ++bus) {
    RGrain* grain = building_[bus];
    building_[bus] = nullptr;
    if (!grain) continue;
    grain->Length = written_;
    grain->FadeLength = std::clamp(sizes_.FadeLength, 0, written_ / 2);
    if (room) finished_[bus][finishedCount_] = grain;
    else pool.Release(grain);
  }
  if (room) ++finishedCount_;
  ++serial_;
}

void RGrainCutter::Cut(const float* const* main, const float* const* side, int32_t channels, int32_t frames,
                       RGrainPool& pool, RGrainRandom& random) noexcept {
  ReleaseFinished(pool);
  if (frames <= 0) return;
  const int32_t poolChannels = pool.GetChannels();
  const float* const* inputs[kBuses] = {main, side};
  if (!side && building_[1]) {
    pool.Release(building_[1]);
    building_[1] = nullptr;
  }
  if (!started_) {
    const int32_t size = DrawSize(random, LongestGrain(pool));
    size_ = std::max(size, kMinFrames);
    written_ = 0;
    started_ = true;
    Begin(0, pool);
    if (side) Begin(1, pool);
  } else if (side && !building_[1]) {
    Begin(1, pool);
  }

  int32_t done = 0;
  while (done < frames) {
    const int32_t count = std::min(frames - done, size_ - written_);
    for (int32_t bus = 0; bus < kBuses; ++bus) {
      RGrain* grain = building_[bus];
      if (!grain) continue;
      for (int32_t c = 0; c < poolChannels; ++c) {
        float* target = grain->Channel(c) + written_;
        const float* source = (c < channels && inputs[bus]) ? inputs[bus][c] : nullptr;
        if (source) CopyHeld(source + done, target, count);
        else std::memset(target, 0, size_t(count) * 4);
      }
    }
    written_ += count;
    done += count;
    if (written_ < size_) continue;
    Finish(pool);
    const int32_t size = DrawSize(random, LongestGrain(pool));
    if (size >= kMinFrames) size_ = size;
    written_ = 0;
    Begin(0, pool);
    if (side) Begin(1, pool);
  }
}
