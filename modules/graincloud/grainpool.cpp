#include "modules/graincloud/grainpool.h"

#include <algorithm>

void RGrainPool::Setup(int32_t channels, int32_t arenaFrames, int32_t grains) {
  channels_ = std::max(channels, 1);
  recordCount_ = std::max(grains, 1);
  pageCount_ = std::max((arenaFrames + kPageFrames - 1) / kPageFrames, 1);
  records_ = std::make_unique<RGrain[]>(size_t(recordCount_));
  arena_ = std::make_unique<float[]>(size_t(pageCount_) * kPageFrames * size_t(channels_));
  used_.assign(size_t((pageCount_ + 63) / 64), 0);
  free_ = nullptr;
  for (int32_t i = recordCount_ - 1; i >= 0; --i) {
    records_[size_t(i)].NextFree = free_;
    free_ = &records_[size_t(i)];
  }
  freePages_ = pageCount_;
  hint_ = 0;
  live_ = 0;
}

void RGrainPool::MarkPages(int32_t first, int32_t count, bool used) noexcept {
  for (int32_t p = first; p < first + count; ++p) {
    const uint64_t bit = uint64_t(1) << (p & 63);
    if (used) used_[size_t(p >> 6)] |= bit;
    else used_[size_t(p >> 6)] &= ~bit;
  }
}

int32_t RGrainPool::FindRun(int32_t count) const noexcept {
  if (count > freePages_) return -1;
  // Two passes: from the hint to the end, then from the start up to the hint plus the run.
  for (int32_t pass = 0; pass < 2; ++pass) {
    int32_t page = pass == 0 ? hint_ : 0;
    const int32_t end = pass == 0 ? pageCount_ : std::min(hint_ + count, pageCount_);
    int32_t runStart = page, run = 0;
    while (page < end) {
      // A full word of used pages is skipped at once.
      if ((page & 63) == 0 && used_[size_t(page >> 6)] == ~uint64_t(0)) {
        page += 64;
        run = 0;
        runStart = page;
        continue;
      }
      if (PageUsed(page)) {
        run = 0;
        runStart = page + 1;
      } else if (++run == count) {
        return runStart;
      }
      ++page;
    }
  }
  return -1;
}

RGrain* RGrainPool::Take(int32_t frames) noexcept {
  if (!free_ || frames <= 0) return nullptr;
  const int32_t pages = (frames + kPageFrames - 1) / kPageFrames;
  const int32_t first = FindRun(pages);
  if (first < 0) return nullptr;
  MarkPages(first, pages, true);
  freePages_ -= pages;
  hint_ = first + pages < pageCount_ ? first + pages : 0;

  RGrain* grain = free_;
  free_ = grain->NextFree;
  grain->NextFree = nullptr;
  grain->FirstPage = first;
  grain->PageCount = pages;
  grain->Capacity = pages * kPageFrames;
  grain->Channels = channels_;
  grain->Data = arena_.get() + size_t(first) * kPageFrames * size_t(channels_);
  grain->Length = 0;
  grain->FadeLength = 0;
  grain->Serial = 0;
  grain->References.store(1, std::memory_order_relaxed);
  ++live_;
  return grain;
}

void RGrainPool::Release(RGrain* grain) noexcept {
  if (!grain) return;
  if (grain->References.fetch_sub(1, std::memory_order_acq_rel) != 1) return;
  MarkPages(grain->FirstPage, grain->PageCount, false);
  freePages_ += grain->PageCount;
  grain->Data = nullptr;
  grain->NextFree = free_;
  free_ = grain;
  --live_;
}
