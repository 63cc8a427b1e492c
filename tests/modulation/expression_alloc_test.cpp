// Counts every heap allocation made through operator new while a scope is open: evaluating a
// compiled expression runs on the audio thread and must not touch the heap.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <new>

#include "base/string.h"
#include "modulation/expression.h"

namespace {
std::atomic<long> gAllocations{0};
}

void* operator new(size_t size) {
  gAllocations.fetch_add(1, std::memory_order_relaxed);
  if (void* p = std::malloc(size ? size : 1)) return p;
  throw std::bad_alloc();
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete(void* p, size_t) noexcept { std::free(p); }

namespace {

long Allocations() { return gAllocations.load(std::memory_order_relaxed); }

TEST(ExpressionHeapUse, CompilingAllocatesAndEvaluatingDoesNot) {
  const long start = Allocations();
  RExpression expression(RString::FromUTF8("x > 0.5 ? clamp(p3 * x + t1, 0, 1) : min(x, p3, t1) ^ 2"));
  // The count proves that it sees this binary's allocations at all.
  ASSERT_GT(Allocations(), start);

  double block[64];
  float samples[64];
  for (int i = 0; i < 64; ++i) block[i] = samples[i] = float(i) / 63;
  const long before = Allocations();
  double sum = 0;
  for (int i = 0; i < 1000; ++i) {
    expression.SetVariable(0, i / 1000.0);
    expression.SetVariable(1, 0.25);
    sum += expression.Evaluate(i / 999.0);
  }
  expression.EvaluateBlock(block, block, 64);
  expression.EvaluateBlock(samples, samples, 64);
  EXPECT_EQ(Allocations() - before, 0);
  EXPECT_GT(sum, 0);
}

}  // namespace
