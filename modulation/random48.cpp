#include "modulation/random48.h"

#include <atomic>

namespace {

std::atomic<uint64_t> gState{RRandom48::kDefaultSeed};

} // namespace

namespace RRandom48 {

void SetSeed(uint64_t seed) noexcept { gState.store(seed & kMask, std::memory_order_relaxed); }

uint64_t GetSeed() noexcept { return gState.load(std::memory_order_relaxed); }

double Next() noexcept {
  uint64_t seed = gState.load(std::memory_order_relaxed);
  uint64_t next = Step(seed);
  // Two threads drawing at once each get a step of their own.
  while (!gState.compare_exchange_weak(seed, next, std::memory_order_relaxed)) next = Step(seed);
  return ToUnit(next);
}

} // namespace RRandom48
