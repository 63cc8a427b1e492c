#pragma once
// RGrainCutter: cuts the input of a GrainCloud into grains, the main bus and the side chain in
// step: both buses' grains begin and end at the same frames, so that the i-th grain of one
// block exists on either bus and a voice can take each grain from one or the other by a draw.
//
// Frames go into the grain under construction; a full grain joins the finished list of the
// present cut, and a new one begins with a size drawn between SizeMin and SizeMax. A size
// below kMinFrames never takes effect (the previous size stays), and a size that changes at
// the start of a block applies to the grain under construction only when it is not below what
// that grain already holds. A grain's fade is FadeLength, at most half the grain.
//
// The finished list holds one reference per grain until the next cut, so that voices take
// their own references in between. [audio-thread], allocation-free and noexcept after the
// pool's Setup.

#include <cstdint>

#include "modules/graincloud/grainpool.h"
#include "modules/graincloud/grainrandom.h"

struct RGrainSizes {
  int32_t SizeMin = 0;     // frames
  int32_t SizeMax = 0;     // frames
  int32_t FadeLength = 0;  // frames
};

class RGrainCutter {
public:
  static constexpr int32_t kMinFrames = 16;
  // Grains finished by one cut; callers cut at most kMaxFinished * kMinFrames frames at once.
  static constexpr int32_t kMaxFinished = 64;
  static constexpr int32_t kBuses = 2;

  // Drops the grains under construction and the finished ones.
  void Reset(RGrainPool& pool) noexcept;
  // New sizes at the start of a block; the present grain takes a new size as said above.
  void SetSizes(const RGrainSizes& sizes, RGrainRandom& random) noexcept;
  const RGrainSizes& GetSizes() const noexcept { return sizes_; }

  // Releases the previous cut's grains, then cuts frames of channels channels from main and,
  // when side is not null, from the side chain. A null channel reads as silence.
  void Cut(const float* const* main, const float* const* side, int32_t channels, int32_t frames, RGrainPool& pool,
           RGrainRandom& random) noexcept;

  // The grains finished by the last cut, oldest first; either bus's entry may be null (the
  // side chain was off, or the pool had no room).
  int32_t GetFinishedCount() const noexcept { return finishedCount_; }
  RGrain* GetFinished(int32_t bus, int32_t index) const noexcept { return finished_[bus][index]; }

  // The size of the grain under construction and the frames it holds.
  int32_t GetSize() const noexcept { return size_; }
  int32_t GetWritten() const noexcept { return written_; }

private:
  int32_t DrawSize(RGrainRandom& random, int32_t limit) const noexcept;
  void Begin(int32_t bus, RGrainPool& pool) noexcept;
  void Finish(RGrainPool& pool) noexcept;
  void ReleaseFinished(RGrainPool& pool) noexcept;

  RGrainSizes sizes_;
  RGrain* building_[kBuses] = {};
  RGrain* finished_[kBuses][kMaxFinished] = {};
  int32_t finishedCount_ = 0;
  int32_t size_ = 0;
  int32_t written_ = 0;
  bool started_ = false;
  uint64_t serial_ = 0;
};
