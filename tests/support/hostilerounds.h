#pragma once
// The real-time proof the module tests share: a hostile input (NaN, both infinities, a huge
// value, a denormal, a sine between them) and rounds of blocks of changing sizes through an
// RModuleHost, during which nothing may allocate and no output sample may be anything but
// finite. The binary must link quillon_test_allocations.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>

#include "tests/modules/blend/modulehost.h"
#include "tests/support/allocationcounter.h"

// Sample i of the hostile input: every kind of value a broken upstream can hand in, in turn.
inline float HostileSample(int32_t i) {
  switch (i % 6) {
    case 0: return std::numeric_limits<float>::quiet_NaN();
    case 1: return -std::numeric_limits<float>::infinity();
    case 2: return 1e30f;
    case 3: return 1e-42f;
    case 4: return std::numeric_limits<float>::infinity();
    default: return std::sin(0.01f * float(i));
  }
}

// Runs `rounds` blocks through `host` (set up for 512 frames and two output channels), sizes
// in turn full, one frame, odd, small and one short of full. `beforeBlock(round)` moves the
// module's values, `afterBlock(round)` may check more. Call through ASSERT_NO_FATAL_FAILURE:
// the first non-finite sample ends the rounds.
template <typename BeforeBlock, typename AfterBlock>
void RunHostileRounds(RModuleHost& host, int32_t rounds, BeforeBlock&& beforeBlock, AfterBlock&& afterBlock) {
  constexpr int32_t kSizes[] = {512, 1, 257, 96, 511};
  RCountingScope scope;
  for (int32_t round = 0; round < rounds; ++round) {
    beforeBlock(round);
    host.Run(kSizes[round % 5]);
    for (int32_t c = 0; c < 2; ++c) {
      for (float v : host.Out(c)) ASSERT_TRUE(std::isfinite(v)) << round;
    }
    afterBlock(round);
    if (::testing::Test::HasFatalFailure()) return;
  }
  EXPECT_EQ(scope.Allocations(), 0);
}

template <typename BeforeBlock>
void RunHostileRounds(RModuleHost& host, int32_t rounds, BeforeBlock&& beforeBlock) {
  RunHostileRounds(host, rounds, beforeBlock, [](int32_t) {});
}
