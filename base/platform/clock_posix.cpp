#include "base/platform/clock.h"

#include <atomic>
#include <ctime>

namespace RPlatform {
namespace {
std::atomic<RClockSource> gSource{nullptr};
}

uint32_t GetMilliseconds() noexcept {
  if (RClockSource source = gSource.load(std::memory_order_acquire)) return source();
  timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return uint32_t(uint64_t(now.tv_sec) * 1000u + uint64_t(now.tv_nsec) / 1000000u);
}

void SetClockSourceForTests(RClockSource source) noexcept { gSource.store(source, std::memory_order_release); }

} // namespace RPlatform
