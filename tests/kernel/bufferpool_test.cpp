// Scratch buffers of the audio path: the pools hand out aligned buffers of the asked size
// without allocating on the audio side, run dry rather than grow, and survive several threads
// taking and giving at once. Arenas bump aligned blocks and remember an overflow until Setup.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <set>
#include <thread>
#include <vector>

#include "kernel/bufferpool.h"
#include "kernel/denormals.h"
#include "kernel/sharedblockdata.h"

namespace {

bool IsAligned(const void* p) { return reinterpret_cast<uintptr_t>(p) % 32 == 0; }

TEST(RBufferPools, ReservedBuffersAreDistinctAlignedAndWholeUntilThePoolRunsDry) {
  RBufferPools pools;
  pools.Reserve(3, 500);
  EXPECT_EQ(pools.CountBuffers(500), 3);
  std::set<float*> taken;
  for (int32_t i = 0; i < 3; ++i) {
    float* buffer = pools.TryTake(500);
    ASSERT_NE(buffer, nullptr);
    EXPECT_TRUE(IsAligned(buffer));
    // Every float asked for is there (the address sanitizer build checks the far end).
    for (int32_t k = 0; k < 500; ++k) buffer[k] = float(i);
    taken.insert(buffer);
  }
  EXPECT_EQ(taken.size(), 3u);
  EXPECT_EQ(pools.TryTake(500), nullptr) << "a dry pool must refuse, not allocate";
  EXPECT_EQ(pools.CountBuffers(500), 3);
  float* back = *taken.begin();
  pools.Give(back);
  EXPECT_EQ(pools.TryTake(500), back);
  for (float* buffer : taken) pools.Give(buffer);
  EXPECT_EQ(pools.CountFree(500), 3);
}

TEST(RBufferPools, SizesShareTheirPowerOfTwoClassOnly) {
  RBufferPools pools;
  pools.Reserve(1, 100);  // the class of 128 floats
  float* buffer = pools.TryTake(128);
  ASSERT_NE(buffer, nullptr);
  buffer[127] = 1.0f;
  pools.Give(buffer);
  float* again = pools.TryTake(65);
  EXPECT_EQ(again, buffer);
  EXPECT_EQ(pools.TryTake(64), nullptr) << "64 floats are a class of their own";
  EXPECT_EQ(pools.TryTake(129), nullptr);
  pools.Give(again);
  EXPECT_EQ(pools.CountBuffers(1), 0);
}

TEST(RBufferPools, ReserveCountsTheBuffersAlreadyThereAndIgnoresImpossibleSizes) {
  RBufferPools pools;
  pools.Reserve(2, 4096);
  pools.Reserve(2, 4000);
  EXPECT_EQ(pools.CountBuffers(4096), 2);
  pools.Reserve(3, 4096);
  EXPECT_EQ(pools.CountBuffers(4096), 3);
  pools.Reserve(4, 0);
  pools.Reserve(4, (1 << 24) + 1);
  EXPECT_EQ(pools.TryTake(0), nullptr);
  EXPECT_EQ(pools.TryTake(-5), nullptr);
  EXPECT_EQ(pools.TryTake((1 << 24) + 1), nullptr);
  pools.Give(nullptr);
  EXPECT_EQ(pools.CountFree(4096), 3);
}

TEST(RBufferPools, ThreadsTakingAndGivingNeverShareABuffer) {
  RBufferPools pools;
  pools.Reserve(3, 256);
  constexpr int32_t kThreads = 4;
  constexpr int32_t kRounds = 20000;
  std::atomic<int32_t> clashes{0};
  std::atomic<int32_t> served{0};
  std::vector<std::thread> threads;
  for (int32_t t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      const auto mark = float(t + 1);
      for (int32_t round = 0; round < kRounds; ++round) {
        float* buffer = pools.TryTake(256);
        if (!buffer) continue;
        served.fetch_add(1, std::memory_order_relaxed);
        for (int32_t k = 0; k < 256; k += 17) buffer[k] = mark;
        std::this_thread::yield();
        for (int32_t k = 0; k < 256; k += 17)
          if (buffer[k] != mark) clashes.fetch_add(1, std::memory_order_relaxed);
        pools.Give(buffer);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(clashes.load(), 0);
  // How often a take finds a free buffer depends on the scheduler (three buffers, four threads,
  // try-locks); that the threads were served at all is what can be relied on.
  EXPECT_GT(served.load(), 0);
  EXPECT_EQ(pools.CountFree(256), 3);
  EXPECT_EQ(pools.CountBuffers(256), 3);
}

TEST(RScratchArena, TakesAreAlignedAndSeparateUntilTheArenaIsFull) {
  RScratchArena arena;
  EXPECT_EQ(arena.Take(16), nullptr) << "an arena without memory has nothing to give";
  arena.Prepare(256);
  auto* a = static_cast<uint8_t*>(arena.Take(10));
  auto* b = static_cast<uint8_t*>(arena.Take(100));
  auto* c = static_cast<uint8_t*>(arena.Take(64));
  ASSERT_TRUE(a && b && c);
  EXPECT_TRUE(IsAligned(a) && IsAligned(b) && IsAligned(c));
  EXPECT_GE(b, a + 10);
  EXPECT_GE(c, b + 100);
  EXPECT_FALSE(arena.overflowed);
  EXPECT_EQ(arena.Take(100), nullptr);
  EXPECT_TRUE(arena.overflowed);
  EXPECT_EQ(arena.Take(-1), nullptr);
}

TEST(RScratchArena, AnOverflowOutlivesTheBlockAndGrowsTheArenaAtSetup) {
  RScratchArena arena;
  arena.Prepare(128);
  const int64_t size = arena.size;
  ASSERT_NE(arena.Take(128), nullptr);
  EXPECT_EQ(arena.Take(64), nullptr);
  arena.Reset();
  EXPECT_TRUE(arena.overflowed);
  EXPECT_NE(arena.Take(100), nullptr) << "the position starts over at each block";
  arena.Prepare(128);
  EXPECT_FALSE(arena.overflowed);
  EXPECT_GE(arena.size, 2 * size);
  EXPECT_NE(arena.Take(200), nullptr);
  // Without an overflow a smaller Prepare keeps the memory.
  const uint8_t* memory = arena.memory.get();
  arena.Prepare(16);
  EXPECT_EQ(arena.memory.get(), memory);
  EXPECT_EQ(arena.position, 0);
}

TEST(RDenormalGuard, FlushesDenormalsWhileItLivesAndRestoresTheThreadAfter) {
#if !(defined(__x86_64__) || defined(_M_X64))
  GTEST_SKIP() << "no denormal modes on this processor";
#endif
  volatile float tiny = 1e-39f;  // below the smallest normal float
  volatile float one = 1.0f;
  ASSERT_FALSE(RDenormalGuard::IsFlushing());
  ASSERT_NE(tiny * one, 0.0f);
  {
    RDenormalGuard guard;
    EXPECT_TRUE(RDenormalGuard::IsFlushing());
    EXPECT_EQ(tiny * one, 0.0f);
    {
      RDenormalGuard inner;
      EXPECT_EQ(tiny * one, 0.0f);
    }
    EXPECT_TRUE(RDenormalGuard::IsFlushing()) << "an inner guard must leave the outer one's mode";
  }
  EXPECT_FALSE(RDenormalGuard::IsFlushing());
  EXPECT_EQ(tiny * one, 1e-39f);
}

} // namespace
