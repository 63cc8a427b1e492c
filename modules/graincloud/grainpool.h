#pragma once
// RGrainPool: where every grain of a GrainCloud lives. A grain is a stretch of input audio that
// voices and copies share by reference: a list that holds a grain holds one reference, and a
// grain whose last reference goes returns to the pool. Grains are never copied, so twenty
// copies of four voices playing the same grain cost only their read positions.
//
// The pool is sized once at Setup: a fixed table of grain records and one arena of audio cut
// into pages of kPageFrames frames. A grain takes a contiguous run of pages (first fit from
// where the last one ended, which suits grains that are mostly released oldest first), each
// channel one after the other. When no run is free, Take returns null and the grain is simply
// not made: the cloud thins out, nothing is reported.
//
// Threads: Setup allocates (setup, under the audio lock); Take, AddReference, Release and the
// rest are [audio-thread], allocation-free and noexcept. The counts are atomic because many
// lists share a grain, not because of threads.

#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

struct RGrain {
  float* Data = nullptr;   // channel c starts at Data + c * Capacity
  int32_t Capacity = 0;    // frames per channel that the pages hold
  int32_t Channels = 0;
  int32_t Length = 0;      // frames of audio; while cut, the frames it is to have
  int32_t FadeLength = 0;  // cross-fade at either end, at most half of Length
  uint64_t Serial = 0;     // order of cutting across both inputs: later grains are larger
  std::atomic<int32_t> References{0};

  const float* Channel(int32_t channel) const noexcept { return Data + int64_t(channel) * Capacity; }
  float* Channel(int32_t channel) noexcept { return Data + int64_t(channel) * Capacity; }

  // The pool's bookkeeping.
  int32_t FirstPage = 0;
  int32_t PageCount = 0;
  RGrain* NextFree = nullptr;
};

class RGrainPool {
public:
  static constexpr int32_t kPageFrames = 256;

  // Room for grains records and arenaFrames frames of channels channels. Drops every grain.
  void Setup(int32_t channels, int32_t arenaFrames, int32_t grains);

  // A grain with room for frames frames per channel (at least one page), one reference held
  // by the caller; null when the pool has no record or no run of pages free.
  RGrain* Take(int32_t frames) noexcept;
  void AddReference(RGrain* grain) noexcept {
    if (grain) grain->References.fetch_add(1, std::memory_order_relaxed);
  }
  // Drops one reference; the last one gives the grain back.
  void Release(RGrain* grain) noexcept;

  int32_t GetChannels() const noexcept { return channels_; }
  // The longest grain the arena can ever give, in frames per channel.
  int32_t GetMaxFrames() const noexcept { return pageCount_ * kPageFrames; }
  int32_t GetRecordCount() const noexcept { return recordCount_; }
  // Grains taken and not yet returned: what the tests check for leaks.
  int32_t GetLiveCount() const noexcept { return live_; }
  int32_t GetFreePages() const noexcept { return freePages_; }

private:
  bool PageUsed(int32_t page) const noexcept { return (used_[size_t(page >> 6)] >> (page & 63)) & 1u; }
  void MarkPages(int32_t first, int32_t count, bool used) noexcept;
  // The first of count free pages in a row, searching from the hint and wrapping; -1 if none.
  int32_t FindRun(int32_t count) const noexcept;

  std::unique_ptr<RGrain[]> records_;
  std::unique_ptr<float[]> arena_;
  std::vector<uint64_t> used_;
  RGrain* free_ = nullptr;
  int32_t channels_ = 0;
  int32_t recordCount_ = 0;
  int32_t pageCount_ = 0;
  int32_t freePages_ = 0;
  int32_t hint_ = 0;
  int32_t live_ = 0;
};
