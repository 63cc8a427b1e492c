#include "kernel/sharedblockdata.h"

#include <algorithm>

namespace {
constexpr int64_t kArenaAlignment = 32;
} // namespace

void* RScratchArena::Take(int64_t bytes) noexcept {
  if (bytes < 0 || !memory) {
    overflowed = overflowed || bytes > 0;
    return nullptr;
  }
  // Aligned by address: the array form of new only promises 16 bytes.
  const auto base = reinterpret_cast<uintptr_t>(memory.get());
  const int64_t start = int64_t((base + uintptr_t(position) + (kArenaAlignment - 1)) & ~uintptr_t(kArenaAlignment - 1)) -
                        int64_t(base);
  if (bytes > size - start) {
    overflowed = true;
    return nullptr;
  }
  position = start + bytes;
  return memory.get() + start;
}

void RScratchArena::Prepare(int64_t bytes) {
  // One alignment's slack, since the block itself may start anywhere within 32 bytes.
  int64_t wanted = std::max<int64_t>(bytes, 0) + kArenaAlignment;
  if (overflowed) wanted = std::max(wanted, size * 2);
  if (wanted > size) {
    memory = std::make_unique<uint8_t[]>(size_t(wanted));
    size = wanted;
  }
  position = 0;
  overflowed = false;
}
