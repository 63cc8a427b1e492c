#include <gtest/gtest.h>

#include "base/array.h"
#include "base/string.h"
#include "base/stringset.h"

namespace {

RString Units(int n, char16_t unit = u'x') {
  std::u16string s(size_t(n), unit);
  return RString(s);
}

TEST(StringStorage, LiteralsAreKeptByPointer) {
  static const char text[] = "hello";
  RString s(text);
  EXPECT_EQ(s.GetKind(), RString::kLiteral);
  EXPECT_EQ(s.Narrow(), text);
  EXPECT_EQ(s.Length(), 5);
  RString empty;
  EXPECT_EQ(empty.GetKind(), RString::kLiteral);
  EXPECT_EQ(empty.Length(), 0);
}

TEST(StringStorage, FiftyNineUnitsStayInlineAndSixtyGoToA256ByteBlock) {
  RString inlined = Units(59);
  EXPECT_EQ(inlined.GetKind(), RString::kInline);
  RString heap = Units(60);
  EXPECT_EQ(heap.GetKind(), RString::kHeap);
  EXPECT_EQ(heap.HeapBlockSize(), 256);
  EXPECT_EQ(Units(123).HeapBlockSize(), 256);  // 2*123+10 = 256 exactly
  EXPECT_EQ(Units(124).HeapBlockSize(), 512);
  RShortString shortInline(u"abcdefghijklmnopqrstuvw");
  EXPECT_EQ(shortInline.GetKind(), RShortString::kInline);
  RShortString shortHeap(u"abcdefghijklmnopqrstuvwx");
  EXPECT_EQ(shortHeap.GetKind(), RShortString::kHeap);
}

TEST(StringStorage, CopiesShareLongTextAndMidSharesOnlyWholeSpans) {
  RString a = Units(70);
  RString b = a;
  EXPECT_TRUE(b.SharesBlockWith(a));
  EXPECT_EQ(a.ShareCount(), 2);
  RString whole = a.Mid(0, 70);
  EXPECT_TRUE(whole.SharesBlockWith(a));
  RString tail = a.Mid(1, 69);
  EXPECT_EQ(tail.GetKind(), RString::kHeap);
  EXPECT_FALSE(tail.SharesBlockWith(a));
  RString head = a.Mid(0, 10);
  EXPECT_EQ(head.GetKind(), RString::kInline);
  EXPECT_EQ(head.Length(), 10);
  EXPECT_EQ(a.Mid(-5, 3).Length(), 3);
  EXPECT_EQ(a.Mid(65, 100).Length(), 5);
  EXPECT_TRUE(a.Mid(80, 2).IsEmpty());
}

TEST(StringStorage, WritingToASharedStringLeavesTheOtherCopyAlone) {
  RString a = Units(70);
  RString b = a;
  b += u'y';
  EXPECT_EQ(a.Length(), 70);
  EXPECT_EQ(b.Length(), 71);
  EXPECT_EQ(a.ShareCount(), 1);
  EXPECT_EQ(b[70], u'y');
  EXPECT_EQ(a[69], u'x');
}

TEST(StringStorage, ShrinkingBelowTheThresholdMovesTextInline) {
  RString a = Units(80);
  a.TrimRight();
  EXPECT_EQ(a.GetKind(), RString::kHeap);
  RString b = Units(80) + RString("   ");
  RString c = b.Mid(0, 50);
  EXPECT_EQ(c.GetKind(), RString::kInline);
  char16_t* p = a.Reserve(80);
  p[10] = u'z';
  a.SetLength(11);
  EXPECT_EQ(a.GetKind(), RString::kInline);
  EXPECT_EQ(a[10], u'z');
}

TEST(StringStorage, AppendGrowsAcrossTheThreshold) {
  RString s("ab");
  for (int i = 0; i < 100; ++i) s += "cd";
  EXPECT_EQ(s.Length(), 202);
  EXPECT_EQ(s.GetKind(), RString::kHeap);
  EXPECT_EQ(s[201], u'd');
  s.Append(s);
  EXPECT_EQ(s.Length(), 404);
}

TEST(StringStorage, TrimDropsControlAndBlankUnits) {
  RString s(u"\t \n  mid dle \r\x01", 16);
  s.Trim();
  EXPECT_EQ(s.ToUTF8(), "mid dle");
  RString blank("   ");
  blank.Trim();
  EXPECT_TRUE(blank.IsEmpty());
}

TEST(StringCompare, IgnoresCaseAndAccentsInEveryWidth) {
  RString wideE(u"\u00C9", 1);
  EXPECT_EQ(wideE.Compare(RString("e")), 0);
  EXPECT_EQ(RString("e").Compare(wideE), 0);
  EXPECT_EQ(RString("Size").Compare(RString("SIZE")), 0);
  EXPECT_EQ(RString(u"Gr\u00FC\u00DFe", 5).Compare(RString(u"GRU\u00DFE", 5)), 0);
  // The four width forms agree.
  RString n8a("Alpha"), n8b("alphb");
  RString w16a(u"Alpha"), w16b(u"alphb");
  int ref = n8a.Compare(n8b);
  EXPECT_LT(ref, 0);
  EXPECT_EQ(n8a.Compare(w16b), ref);
  EXPECT_EQ(w16a.Compare(n8b), ref);
  EXPECT_EQ(w16a.Compare(w16b), ref);
  EXPECT_LT(RString("abc").Compare(RString("abcd")), 0);
  EXPECT_EQ(RString("abcX").Compare(RString("abcY"), 3), 0);
}

TEST(StringCompare, EightBitTextFoldsOnlyAscii) {
  // A Latin-1 literal's bytes are sign-extended: É (0xC9) does not fold on the 8-bit side.
  RString latin1Literal("\xC9");
  EXPECT_NE(latin1Literal.Compare(RString("e")), 0);
  EXPECT_EQ(RString(u"\u00C9", 1).Compare(RString("e")), 0);
}

TEST(StringCompare, FoldTableCoversItsEnds) {
  EXPECT_EQ(rstring_detail::FoldAccent(0x00C0), u'A');
  EXPECT_EQ(rstring_detail::FoldAccent(0x00C1), u'A');
  EXPECT_EQ(rstring_detail::FoldAccent(0xFB4E), 0x05E4);
  EXPECT_EQ(rstring_detail::FoldAccent(0x01D5), u'U');  // Ǖ: two marks deep
  EXPECT_EQ(rstring_detail::FoldAccent(0x00D7), 0x00D7);  // × is no letter
  EXPECT_EQ(rstring_detail::FoldUnit(u'Q'), u'q');
}

TEST(StringHash, LowersAsciiButKeepsAccentsApart) {
  EXPECT_EQ(RHashedString::Hash(RString("")), 0u);
  EXPECT_EQ(RHashedString("Size").GetHash(), RHashedString(RShortString(u"sIZE")).GetHash());
  RHashedString accented{RShortString(u"\u00C9")};
  RHashedString plain("e");
  EXPECT_NE(accented.GetHash(), plain.GetHash());
  EXPECT_NE(accented, plain);
  EXPECT_EQ(accented.Text().Compare(plain.Text()), 0);
  // The hash of one unit, computed by hand: h = (0x61) * 1025, h ^= h >> 6, then the finish.
  uint32_t h = 0x61u * 1025u;
  h ^= h >> 6;
  h *= 9;
  h ^= h >> 11;
  h *= 32769;
  EXPECT_EQ(RHashedString("a").GetHash(), h);
  EXPECT_EQ(RHashedString("A").GetHash(), h);
}

TEST(StringSearch, FindsCaseInsensitiveMatchesInBothWidths) {
  RStringSearch search(RString("needle"));
  EXPECT_EQ(search.Find(RString("haystack with a NEEDLE in it")), 16);
  EXPECT_EQ(search.Find(RString(u"haystack with a Needle in it")), 16);
  EXPECT_EQ(search.Find(RString("needle needle"), 1), 7);
  EXPECT_EQ(search.Find(RString("no match here")), -1);
  EXPECT_EQ(RStringSearch(RString(""), false).Find(RString("abc"), 2), 2);
  RStringSearch exact(RString("Needle"), true);
  EXPECT_EQ(exact.Find(RString("needle Needle")), 7);
  // The pattern is accent-folded; the searched text is not.
  RStringSearch accented(RString(u"caf\u00E9", 4));
  EXPECT_EQ(accented.Find(RString("CAFE")), 0);
  EXPECT_EQ(accented.Find(RString(u"caf\u00E9", 4)), -1);
}

TEST(StringSearch, PlainFindAgreesWithTheSearcher) {
  RString text("The quick brown fox jumps over the lazy dog");
  for (const char* p : {"the", "fox", "dog", "cat", "quick brown", "g"}) {
    RString pattern = RString::FromLatin1(p);
    EXPECT_EQ(text.Find(pattern), RStringSearch(pattern).Find(text)) << p;
  }
  EXPECT_EQ(text.Find(u'Q'), 4);
}

TEST(StringConversion, ToLatin1FoldsThenTruncatesSilently) {
  RString s(u"a\u00E9\u0101\u4E2D", 4);
  RByteBuffer b = s.ToLatin1Buffer(true);
  ASSERT_EQ(b.Size(), 4u);
  EXPECT_EQ(uint8_t(b.Data()[0]), 'a');
  EXPECT_EQ(uint8_t(b.Data()[1]), 0xE9);
  EXPECT_EQ(uint8_t(b.Data()[2]), 'a');   // ā folds to a
  EXPECT_EQ(uint8_t(b.Data()[3]), 0x2D);  // 中 is nowhere in the table: its low byte stays
  EXPECT_EQ(b.Data()[4], 0);
}

TEST(StringConversion, UTF8RoundTripsAndDropsUnpairedSurrogates) {
  RString s(u"A\u00E9\u20AC\U0001F600", 5);
  std::string utf8 = s.ToUTF8();
  EXPECT_EQ(utf8, "A\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80");
  RString back = RString::FromUTF8(utf8);
  EXPECT_EQ(back.CompareExact(s), 0);
  const char16_t broken[] = {u'a', 0xD800, u'b', 0xDC00, u'c'};
  EXPECT_EQ(RString(broken, 5).ToUTF8(), "abc");
  RByteBuffer buffer = s.ToUTF8Buffer();
  EXPECT_EQ(buffer.Size(), utf8.size());
  // A stray byte reads as Latin-1 rather than failing.
  EXPECT_EQ(RString::FromUTF8(std::string_view("x\xE9y")).ToU16(), u"x\u00E9y");
}

TEST(StringSet, KeepsCopiesStableAndRefusesHugeStrings) {
  RStringSet set;
  RString literal("literal");
  EXPECT_EQ(set.Add(literal), literal.Narrow());
  EXPECT_EQ(set.BlockCount(), 0);
  const char* first = set.Add(RString(u"first"));
  std::vector<const char*> copies;
  for (int i = 0; i < 300; ++i) copies.push_back(set.Add(Units(100, u'a' + (i % 26))));
  EXPECT_STREQ(first, "first");
  EXPECT_GT(set.BlockCount(), 3);
  for (int i = 0; i < 300; ++i) {
    EXPECT_EQ(copies[size_t(i)][0], char('a' + (i % 26)));
    EXPECT_EQ(std::strlen(copies[size_t(i)]), 100u);
  }
  EXPECT_NO_THROW(set.Add(Units(8191)));
  try {
    set.Add(Units(8192));
    FAIL() << "a string of 8192 units must be refused";
  } catch (const RException& e) {
    EXPECT_EQ(e.GetMessage().ToUTF8(), "RStringSet failure");
  }
}

TEST(Array, GrowsByPowersOfTwoAndShrinksByThreshold) {
  RArray<int, 6> a;
  for (int i = 0; i < 5; ++i) a.Add(i);
  EXPECT_EQ(a.Capacity(), 8);
  a.Add(5);
  a.Add(6);
  a.Add(7);
  a.Add(8);
  EXPECT_EQ(a.Capacity(), 16);
  a.RemoveAt(0, true);  // 8 left: at or above the threshold, next power of two
  EXPECT_EQ(a.Capacity(), 8);
  EXPECT_EQ(a[0], 1);
  a.RemoveAt(0, true);
  a.RemoveAt(0, true);
  a.RemoveAt(0, true);  // 5 left: below the threshold, exactly the count
  EXPECT_EQ(a.Capacity(), 5);
  EXPECT_EQ(a[4], 8);
  while (a.Count()) a.RemoveAt(0, true);
  EXPECT_EQ(a.Capacity(), 0);
  EXPECT_EQ(a.Data(), nullptr);
}

TEST(Array, RejectsIndexesOutsideTheCount) {
  RArray<RString, 3> a;
  a.Add(RString("x"));
  EXPECT_THROW(a[1], RException);
  EXPECT_THROW(a[-1], RException);
  EXPECT_THROW(a.RemoveAt(1), RException);
  RString taken = a.Take(0);
  EXPECT_EQ(taken, "x");
  EXPECT_EQ(a.Count(), 0);
  try {
    a[0];
  } catch (const RException& e) {
    EXPECT_EQ(e.GetMessage(), "Index out of range.");
  }
}

TEST(Array, KeepsElementsThroughGrowthAndInsertion) {
  RArray<RString, 9> a;
  for (int i = 0; i < 40; ++i) a.Add(Units(i + 55, u'a' + char16_t(i % 26)));
  a.Insert(0, RString("front"));
  a.Add(a[1]);  // an element of the array itself, added while it grows
  EXPECT_EQ(a.Count(), 42);
  EXPECT_EQ(a[0], "front");
  EXPECT_EQ(a[1].Length(), 55);
  EXPECT_EQ(a[41].Length(), 55);
  RArray<RString, 9> b = a;
  EXPECT_TRUE(b[40].SharesBlockWith(a[40]));
}

} // namespace
