#include "base/pool.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <set>
#include <thread>
#include <vector>

#include "base/exception.h"

namespace {

// Pools keep their chunks for the life of the process, so the pools of these tests live as
// long too (a local pool would leave its chunks to the leak checker).

uintptr_t Address(const void* p) { return reinterpret_cast<uintptr_t>(p); }

TEST(RPool, RecordsAreRoundedUpToSixteenBytesAndAlignedThere) {
  static RPool pool(20);
  EXPECT_EQ(pool.RecordSize(), 32u);
  std::vector<void*> records;
  for (int i = 0; i < 50; ++i) records.push_back(pool.Allocate());
  std::sort(records.begin(), records.end());
  for (size_t i = 0; i < records.size(); ++i) {
    EXPECT_EQ(Address(records[i]) % 16, 0u);
    if (i > 0) {
      EXPECT_GE(Address(records[i]) - Address(records[i - 1]), 32u) << "records overlap";
    }
  }
  for (void* r : records) pool.Free(r);
}

TEST(RPool, ATinyRecordStillHoldsTheFreeListLink) {
  static RPool pool(1);
  EXPECT_GE(pool.RecordSize(), sizeof(void*));
}

TEST(RPool, TheLastFreedRecordIsTheNextHandedOut) {
  static RPool pool(48);
  void* a = pool.Allocate();
  void* b = pool.Allocate();
  pool.Free(a);
  pool.Free(b);
  EXPECT_EQ(pool.Allocate(), b);
  EXPECT_EQ(pool.Allocate(), a);
  void* fresh = pool.Allocate();
  EXPECT_NE(fresh, a);
  EXPECT_NE(fresh, b);
}

TEST(RPool, RecordsKeepTheirContentsWhileOthersAreFreed) {
  static RPool pool(64);
  std::vector<unsigned char*> records;
  for (int i = 0; i < 200; ++i) {
    auto* r = static_cast<unsigned char*>(pool.Allocate());
    std::memset(r, i, 64);
    records.push_back(r);
  }
  // Free every other record, then take them again with new contents.
  for (size_t i = 0; i < records.size(); i += 2) pool.Free(records[i]);
  for (size_t i = 0; i < records.size(); i += 2) {
    records[i] = static_cast<unsigned char*>(pool.Allocate());
    std::memset(records[i], int(i), 64);
  }
  for (size_t i = 0; i < records.size(); ++i) {
    for (int k = 0; k < 64; ++k) ASSERT_EQ(records[i][k], static_cast<unsigned char>(i)) << "record " << i;
  }
  for (unsigned char* r : records) pool.Free(r);
}

TEST(RPool, AChunkFillsUpToItsEndBeforeTheNextIsTaken) {
  static RPool pool(1000);  // rounded to 1008
  const size_t size = pool.RecordSize();
  std::vector<void*> first;
  first.push_back(pool.Allocate());
  ASSERT_EQ(pool.ChunkCount(), 1);
  // The first record sits behind eight record sizes kept at the chunk's start for its link.
  const uintptr_t chunk = Address(first[0]) - 8 * size;
  for (;;) {
    void* r = pool.Allocate();
    if (pool.ChunkCount() > 1) {
      EXPECT_TRUE(Address(r) < chunk || Address(r) >= chunk + RPool::kChunkBytes) << "a new chunk's record";
      break;
    }
    first.push_back(r);
  }
  for (void* r : first) {
    EXPECT_GE(Address(r), chunk + 8 * size);
    EXPECT_LE(Address(r) + size, chunk + RPool::kChunkBytes) << "a record runs past its chunk";
  }
  // No more than one record's room is left unused at the chunk's end.
  const size_t room = (RPool::kChunkBytes - 8 * size) / size;
  EXPECT_GE(first.size() + 1, room);
}

TEST(RPool, FreedRecordsAreReusedBeforeANewChunkIsTaken) {
  static RPool pool(4096);
  std::vector<void*> records;
  while (pool.ChunkCount() < 2 || records.size() < 300) records.push_back(pool.Allocate());
  const int chunks = pool.ChunkCount();
  std::set<void*> before(records.begin(), records.end());
  for (void* r : records) pool.Free(r);
  std::set<void*> again;
  for (size_t i = 0; i < records.size(); ++i) again.insert(pool.Allocate());
  EXPECT_EQ(pool.ChunkCount(), chunks);
  EXPECT_EQ(again, before);
  for (void* r : again) pool.Free(r);
}

TEST(RPool, ThreadsNeverGetTheSameRecord) {
  static RPool pool(32);
  constexpr int kThreads = 4;
  constexpr int kRounds = 2000;
  std::vector<std::vector<void*>> kept(kThreads);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([t, &kept] {
      std::vector<uint32_t*> mine;
      for (int i = 0; i < kRounds; ++i) {
        auto* r = static_cast<uint32_t*>(pool.Allocate());
        r[1] = uint32_t(t);
        mine.push_back(r);
        if (i % 3 == 2) {  // give some back so that the free list is exercised under contention
          pool.Free(mine.front());
          mine.erase(mine.begin());
        }
      }
      for (uint32_t* r : mine) {
        if (r[1] != uint32_t(t)) ADD_FAILURE() << "another thread wrote into this thread's record";
        kept[size_t(t)].push_back(r);
      }
    });
  }
  for (std::thread& th : threads) th.join();
  std::set<void*> all;
  size_t total = 0;
  for (auto& list : kept) {
    total += list.size();
    all.insert(list.begin(), list.end());
  }
  EXPECT_EQ(all.size(), total);
  for (void* r : all) pool.Free(r);
}

struct Throwing {
  explicit Throwing(bool fail) {
    if (fail) throw RException("constructor failed");
  }
  double value = 1.0;
};

TEST(RPool, ATypedRecordWhoseConstructorThrowsGoesBackToThePool) {
  static RPool pool(sizeof(Throwing));
  Throwing* ok = pool.New<Throwing>(false);
  EXPECT_EQ(ok->value, 1.0);
  pool.Delete(ok);
  EXPECT_THROW(pool.New<Throwing>(true), RException);
  // The failed record was returned, and so was the deleted one: both come out again.
  void* a = pool.Allocate();
  void* b = pool.Allocate();
  EXPECT_TRUE(a == ok || b == ok);
  pool.Free(a);
  pool.Free(b);
}

TEST(RPool, ARecordTooLargeForAChunkIsRefused) {
  EXPECT_THROW(RPool(RPool::kChunkBytes / 4), RException);
}

}  // namespace
