// Counts every heap allocation made through operator new while a scope is open: short strings
// and short attribute values must not touch the heap.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <new>

#include "base/string.h"
#include "base/tagitem.h"

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

TEST(HeapUse, ShortAttributeKeysAndValuesStayOffTheHeap) {
  RTagItem item;
  item.SetAttribute("Mode", "Linear");
  // A freed record stays in the pool, so the new key below needs no chunk of its own.
  item.SetAttribute("Spare", 1);
  item.RemoveAttribute("Spare");
  const std::u16string units23(23, u'v');
  const std::u16string units24(24, u'v');
  const RString value23(units23.data(), 23);
  const RString value24(units24.data(), 24);
  const RHashedString key23(RShortString(units23.data(), 23));
  long before = Allocations();
  item.SetAttribute("Mode", value23);
  item.SetAttribute("mode", RVariant::FromText(RShortString(u"Ugly")));
  item.SetAttribute(key23, value23);
  item.SetAttribute(key23, 2.5);
  item.SetAttribute(key23, value23);
  EXPECT_EQ(Allocations() - before, 0);
  EXPECT_EQ(item.GetAttributeCount(), 2);
  EXPECT_EQ(item.GetAttributeText(key23), value23);
  // The counter sees this path: one unit more goes to the heap.
  item.SetAttribute("Mode", value24);
  EXPECT_EQ(Allocations() - before, 1);
}

} // namespace
