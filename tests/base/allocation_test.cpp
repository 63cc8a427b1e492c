// Counts every heap allocation made through operator new while a scope is open: short strings
// and short attribute values must not touch the heap.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <new>

#include "base/string.h"

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

TEST(HeapUse, StringsUnderSixtyUnitsStayOffTheHeap) {
  std::u16string text59(59, u'q');
  std::u16string text60(60, u'q');
  long before = Allocations();
  {
    RString a(text59.data(), 59);
    RString b = a;
    RString c = a.Mid(3, 40);
    c += u'!';
    c.Trim();
    RString d("a literal never allocates");
    RString e = d;
    e += " until it is written";
    EXPECT_EQ(b.Length(), 59);
  }
  EXPECT_EQ(Allocations() - before, 0);
  RString sixty(text60.data(), 60);
  EXPECT_EQ(Allocations() - before, 1);
}

TEST(HeapUse, ShortStringsUnderTwentyFourUnitsStayOffTheHeap) {
  long before = Allocations();
  {
    RShortString key(u"AttributeKeyOf23Units__");
    RShortString copy = key;
    RHashedString hashed(copy);
    EXPECT_EQ(hashed.Text().Length(), 23);
  }
  EXPECT_EQ(Allocations() - before, 0);
}

} // namespace
