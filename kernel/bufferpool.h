#pragma once
// RBufferPools: process-wide pools of float buffers for per-block scratch copies (the
// temporary input copy of the cycle, when the host hands the same buffer in and out).
//
// Buffers come in power-of-two size classes from 64 floats up to 2^24 floats (64 MiB); a
// request is served from the smallest class that holds it. Every buffer is aligned to 32
// bytes. Each class has its own lock, so instances that take different sizes never meet.
//
// Threads: Reserve is the setup side's [any-thread] call and may allocate and wait.
// TryTake and Give are [audio-thread]: TryTake tries the class lock once and never allocates,
// giving null when no buffer is free or the lock is busy; Give never locks (a buffer goes
// back onto a lock-free list), so a buffer is never lost and never waits. Callers must cope
// with a null from TryTake: reserve at Setup what the block will take.

#include <atomic>
#include <cstdint>

#include "base/lock.h"

class RBufferPools {
public:
  static constexpr int32_t kSmallestClassBits = 6;  // 64 floats
  static constexpr int32_t kLargestClassBits = 24;  // 16 M floats
  static constexpr int32_t kClassCount = kLargestClassBits - kSmallestClassBits + 1;
  static constexpr int32_t kAlignment = 32;

  // The process-wide pools. Tests may make pools of their own.
  static RBufferPools& Get();

  RBufferPools() = default;
  ~RBufferPools();
  RBufferPools(const RBufferPools&) = delete;
  RBufferPools& operator=(const RBufferPools&) = delete;

  // Makes sure that the class serving `floats` holds at least `count` buffers in all (free or
  // taken). Buffers are never given back to the system while the pools live. Throws
  // std::bad_alloc when memory runs out; ignores sizes no class serves. [setup side]
  void Reserve(int32_t count, int32_t floats);
  // A free buffer of at least `floats` floats, or null: none free, class lock busy, a size of
  // 0 or less, or above the largest class. [audio-thread] never allocates, never waits.
  float* TryTake(int32_t floats) noexcept;
  // Hands back a buffer from TryTake of these pools; null is ignored. [audio-thread]
  void Give(float* buffer) noexcept;

  // Buffers of the class serving `floats`, in all and free now (a snapshot). [any-thread]
  int32_t CountBuffers(int32_t floats) const noexcept;
  int32_t CountFree(int32_t floats) const noexcept;

  // The class index serving `floats`, -1 when none does.
  static int32_t ClassOf(int32_t floats) noexcept;

private:
  struct Header;
  struct SizeClass {
    // Serialises the takers, which makes the pop of the list safe against reuse of a node
    // (only one thread pops; pushes need no lock).
    mutable RLock lock;
    std::atomic<Header*> free{nullptr};
    std::atomic<int32_t> buffers{0};
    std::atomic<int32_t> freeCount{0};
  };

  static void Push(SizeClass& sizeClass, Header* header) noexcept;

  SizeClass classes_[kClassCount];
};
