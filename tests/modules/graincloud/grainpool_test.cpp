// The grain pool: references, return of the last one, exhaustion and reuse of pages.
#include <gtest/gtest.h>

#include "modules/graincloud/grainpool.h"

TEST(GrainPool, AGrainReturnsWithItsLastReferenceAndItsPagesServeAgain) {
  RGrainPool pool;
  pool.Setup(2, 4 * RGrainPool::kPageFrames, 8);
  ASSERT_EQ(pool.GetFreePages(), 4);

  RGrain* a = pool.Take(300);  // two pages
  ASSERT_NE(a, nullptr);
  EXPECT_EQ(a->Capacity, 2 * RGrainPool::kPageFrames);
  EXPECT_EQ(a->Channels, 2);
  EXPECT_EQ(pool.GetFreePages(), 2);
  // The channels of a grain don't overlap.
  a->Channel(0)[a->Capacity - 1] = 1.0f;
  a->Channel(1)[0] = 2.0f;
  EXPECT_EQ(a->Channel(0)[a->Capacity - 1], 1.0f);

  pool.AddReference(a);
  pool.Release(a);
  EXPECT_EQ(pool.GetLiveCount(), 1);
  EXPECT_EQ(pool.GetFreePages(), 2);
  pool.Release(a);
  EXPECT_EQ(pool.GetLiveCount(), 0);
  EXPECT_EQ(pool.GetFreePages(), 4);

  // The whole arena in one grain, once the pages are back.
  RGrain* whole = pool.Take(4 * RGrainPool::kPageFrames);
  ASSERT_NE(whole, nullptr);
  EXPECT_EQ(pool.Take(1), nullptr);
  pool.Release(whole);
}

TEST(GrainPool, ATakeFailsWithoutARunOfFreePagesOrAFreeRecord) {
  RGrainPool pool;
  pool.Setup(1, 4 * RGrainPool::kPageFrames, 3);
  RGrain* grains[4] = {pool.Take(10), pool.Take(10), pool.Take(10), nullptr};
  for (int i = 0; i < 3; ++i) ASSERT_NE(grains[i], nullptr);
  EXPECT_EQ(pool.Take(10), nullptr) << "three records only";
  pool.Release(grains[1]);
  // Pages 0 and 2 are held: one page is free in the middle and one at the end, never two in a row.
  EXPECT_EQ(pool.Take(2 * RGrainPool::kPageFrames), nullptr);
  grains[3] = pool.Take(RGrainPool::kPageFrames);
  ASSERT_NE(grains[3], nullptr);
  for (RGrain* g : {grains[0], grains[2], grains[3]}) pool.Release(g);
  EXPECT_EQ(pool.GetLiveCount(), 0);
  EXPECT_EQ(pool.GetFreePages(), 4);
}
