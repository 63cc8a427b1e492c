// After setup and the compile the audio walk must not touch the heap: this binary replaces
// the global allocation functions with counting ones and runs a graph with every kind of
// compiled path (host inputs, lane buffers, the direct path, the mix list, aligners, mute,
// a feedback send) at odd block sizes.
#include <gtest/gtest.h>

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <new>
#include <vector>

#include "tests/graph/testmodules.h"

namespace {
// Only the thread that opened a counting scope counts.
thread_local bool tCounting = false;
long gAllocations = 0;

void Count() noexcept {
  if (tCounting) ++gAllocations;
}
}  // namespace

#if defined(__GLIBC__) && !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
extern "C" {
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* p, size_t size);
void* __libc_memalign(size_t alignment, size_t size);
void __libc_free(void* p);

void* malloc(size_t size) {
  Count();
  return __libc_malloc(size);
}
void* calloc(size_t count, size_t size) {
  Count();
  return __libc_calloc(count, size);
}
void* realloc(void* p, size_t size) {
  Count();
  return __libc_realloc(p, size);
}
void* aligned_alloc(size_t alignment, size_t size) {
  Count();
  return __libc_memalign(alignment, size);
}
void* memalign(size_t alignment, size_t size) {
  Count();
  return __libc_memalign(alignment, size);
}
int posix_memalign(void** out, size_t alignment, size_t size) {
  Count();
  *out = __libc_memalign(alignment, size);
  return *out ? 0 : ENOMEM;
}
void free(void* p) { __libc_free(p); }
}
#endif

void* operator new(size_t size) {
  Count();
  if (void* p = std::malloc(size ? size : 1)) return p;
  throw std::bad_alloc();
}
void* operator new[](size_t size) { return operator new(size); }
void* operator new(size_t size, const std::nothrow_t&) noexcept {
  Count();
  return std::malloc(size ? size : 1);
}
void* operator new[](size_t size, const std::nothrow_t& tag) noexcept { return operator new(size, tag); }
void* operator new(size_t size, std::align_val_t alignment) {
  Count();
  const size_t a = size_t(alignment);
  if (void* p = std::aligned_alloc(a, (size + a - 1) / a * a)) return p;
  throw std::bad_alloc();
}
void* operator new[](size_t size, std::align_val_t alignment) { return operator new(size, alignment); }
void operator delete(void* p) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete(void* p, size_t) noexcept { std::free(p); }
void operator delete[](void* p, size_t) noexcept { std::free(p); }
void operator delete(void* p, std::align_val_t) noexcept { std::free(p); }
void operator delete[](void* p, std::align_val_t) noexcept { std::free(p); }
void operator delete(void* p, size_t, std::align_val_t) noexcept { std::free(p); }
void operator delete[](void* p, size_t, std::align_val_t) noexcept { std::free(p); }

namespace {
class RCountingScope {
public:
  RCountingScope() : start_(gAllocations) { tCounting = true; }
  ~RCountingScope() { tCounting = false; }
  long Allocations() const { return gAllocations - start_; }

private:
  long start_;
};

}  // namespace

TEST(GraphRealtime, TheAudioWalkAllocatesNothingAfterTheCompile) {
  RGraphFixture f(6, true, 2, 1);
  for (int32_t lane = 0; lane < 6; ++lane) f.graph.SetOutputEnabled(lane, lane == 0 || lane == 1 || lane == 3);
  f.Add(0, 0, 0.5f);
  f.Add(1, 0, 1.0f, 64);                   // a row with latency: an aligner
  f.Add(3, 0, 0.25f);                      // hears the side-chain
  f.Add(0, 1, 1.0f, 0, "Side");            // two inputs, lane 0 and lane 3
  f.Slot(0, 1).InputIndex[1] = 3;
  f.Add(1, 2, 2.0f);
  f.Slot(1, 2).FeedbackChannel = 5;
  f.Add(3, 3, 1.0f);
  f.Slot(3, 3).Mute = true;
  f.Compile();
  ASSERT_GE(f.graph.GetProcessors().size(), 5u);
  ASSERT_GT(f.graph.GetTotalLatency(), 0);
  ASSERT_FALSE(f.graph.GetMixList().empty());

  const int32_t sizes[] = {256, 1, 7, 255, 64, 3, 256, 100};
  std::vector<std::vector<float>> in(4, std::vector<float>(256)), out(2, std::vector<float>(256));
  int64_t phase = 0;
  auto block = [&](int32_t frames) {
    for (int32_t i = 0; i < frames; ++i, ++phase) {
      for (auto& channel : in) channel[size_t(i)] = 0.5f * std::sin(float(phase) * 0.03f);
    }
    f.RunBuffers(in, out, frames);
  };
  // The first blocks may settle whatever grows on first use.
  for (int32_t i = 0; i < 4; ++i) block(256);

  long allocations = 0;
  {
    RCountingScope scope;
    for (int32_t round = 0; round < 20; ++round) {
      for (int32_t frames : sizes) block(frames);
    }
    allocations = scope.Allocations();
  }
  EXPECT_EQ(allocations, 0);
  for (float v : out[0]) EXPECT_TRUE(std::isfinite(v));
}
