#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "base/exception.h"
#include "base/tagitem.h"

namespace {

std::string Message(const RException& e) { return e.GetMessage().ToUTF8(); }

std::vector<std::string> Keys(const RTagItem& item) {
  std::vector<std::string> keys;
  for (const RTagAttribute* a = item.GetFirstAttribute(); a; a = a->next) keys.push_back(RString(a->key.Text()).ToUTF8());
  return keys;
}

RHashedString Key(const char16_t* text) { return RHashedString(RShortString(std::u16string_view(text))); }

// root
//   Slot (Index=0)
//     Param (Name=Gain)
//   Slot (Index=1)
//     Param (Name=Mix)
//     Bank
//       Param (Name=Bits)
void BuildGraph(RTagItem& root) {
  root.SetName(RString("Graph"));
  root.SetAttribute("Version", 3);
  RTagItem* slot0 = root.AddSubItem(RString("Slot"));
  slot0->SetAttribute("Index", 0);
  slot0->AddSubItem(RString("Param"))->SetAttribute("Name", "Gain");
  RTagItem* slot1 = root.AddSubItem(RString("Slot"));
  slot1->SetAttribute("Index", 1);
  slot1->AddSubItem(RString("Param"))->SetAttribute("Name", "Mix");
  RTagItem* bank = slot1->AddSubItem(RString("Bank"));
  bank->AddSubItem(RString("Param"))->SetAttribute("Name", "Bits");
  bank->Value().SetDouble(0.5);
}

TEST(TagItemCursors, AttributeCursorIsSetByASuccessfulSearchOnly) {
  RTagItem item(RString("Item"));
  item.SetAttribute("Gain", 2.0);
  try {
    item.GetAttribute();
    FAIL() << "no search was made";
  } catch (const RException& e) {
    EXPECT_EQ(Message(e), "There is no attribute in the cache. Previous call to HasAttribute probably did not succeed.");
  }
  ASSERT_TRUE(item.HasAttribute("gain"));
  EXPECT_DOUBLE_EQ(item.GetAttribute().ToDouble(), 2.0);
  EXPECT_FALSE(item.HasAttribute("Mix"));
  EXPECT_THROW(item.GetAttribute(), RException);
  ASSERT_TRUE(item.HasAttribute("Gain"));
  item.RemoveAttribute("GAIN");
  EXPECT_THROW(item.GetAttribute(), RException);
}

TEST(TagItemCursors, SubitemCursorIsSetBySearchAndDroppedWithItsItem) {
  RTagItem root;
  BuildGraph(root);
  try {
    root.GetSubItem();
    FAIL() << "no search was made";
  } catch (const RException& e) {
    EXPECT_EQ(Message(e), "There is no subitem in the cache. Previous call to HasSubItem probably did not succeed.");
  }
  EXPECT_FALSE(root.HasSubItem(RString("Param")));
  EXPECT_THROW(root.GetSubItem(), RException);
  ASSERT_TRUE(root.HasSubItem(RString("Param"), true));
  EXPECT_EQ(root.GetSubItem()->GetAttributeText("Name").ToUTF8(), "Gain");
  // Deleting an ancestor of the found item drops the cursor with it.
  root.DeleteSubItem(root.GetFirstSubItem());
  EXPECT_THROW(root.GetSubItem(), RException);
  EXPECT_EQ(root.GetSubItemCount(), 1);

  // The same when the found item goes through a deeper item's removal or Clear.
  RTagItem* slot = root.GetFirstSubItem();
  ASSERT_TRUE(root.HasSubItem(RString("Param"), true));
  slot->DeleteSubItem(root.GetSubItem());
  EXPECT_THROW(root.GetSubItem(), RException);
  ASSERT_TRUE(root.HasSubItem(RString("Bank"), true));
  ASSERT_TRUE(slot->HasSubItem(RString("Bank")));
  slot->Clear();
  EXPECT_THROW(root.GetSubItem(), RException);
  EXPECT_THROW(slot->GetSubItem(), RException);
  // A cursor on the cleared item itself stays.
  ASSERT_TRUE(root.HasSubItem(RString("Slot")));
  slot->Clear();
  EXPECT_EQ(root.GetSubItem(), slot);
}

TEST(TagItemCursors, RecursiveSearchGoesDepthFirst) {
  RTagItem root;
  RTagItem* outer = root.AddSubItem(RString("Outer"));
  outer->AddSubItem(RString("X"))->SetAttribute("Where", "deep");
  root.AddSubItem(RString("X"))->SetAttribute("Where", "direct");
  ASSERT_TRUE(root.HasSubItem(RString("x"), true));
  EXPECT_EQ(root.GetSubItem()->GetAttributeText("Where").ToUTF8(), "deep");
  ASSERT_TRUE(root.HasSubItem(RString("x")));
  EXPECT_EQ(root.GetSubItem()->GetAttributeText("Where").ToUTF8(), "direct");
  EXPECT_FALSE(root.HasSubItem(RString("Nothing"), true));
}

TEST(TagItemAttributes, KeysIgnoreCaseButAccentedKeysAreDistinct) {
  RTagItem item;
  item.SetAttribute("Size", 1);
  item.SetAttribute("SIZE", 2);
  item.SetAttribute("size", 3);
  EXPECT_EQ(item.GetAttributeCount(), 1);
  EXPECT_EQ(item.GetRequiredAttribute("sIzE").ToInt32(), 3);
  EXPECT_EQ(Keys(item), std::vector<std::string>{"Size"});

  // As strings they are equal; as keys their hashes differ.
  item.SetAttribute(Key(u"\u00C9"), 10);
  item.SetAttribute("e", 20);
  EXPECT_EQ(item.GetAttributeCount(), 3);
  EXPECT_EQ(item.GetRequiredAttribute(Key(u"\u00C9")).ToInt32(), 10);
  EXPECT_EQ(item.GetRequiredAttribute("E").ToInt32(), 20);
}

TEST(TagItemAttributes, SettersReplaceInPlaceAndKeepInsertionOrder) {
  RTagItem item;
  item.SetAttribute("c", 1);
  item.SetAttribute("a", "text");
  item.SetAttribute("b", 2.5);
  item.SetAttribute("A", int64_t(1) << 40);
  EXPECT_EQ(Keys(item), (std::vector<std::string>{"c", "a", "b"}));
  EXPECT_EQ(item.GetRequiredAttribute("a").GetType(), RVariant::kInt64);
  item.SetAttribute("b", true);
  EXPECT_EQ(item.GetRequiredAttribute("b").ToInt32(), 1);
  item.SetAttribute("c", RVariant::FromText(RShortString("v")));
  EXPECT_EQ(item.GetAttributeText("c").ToUTF8(), "v");
  item.RemoveAttribute("a");
  item.SetAttribute("a", 1.5f);
  EXPECT_EQ(Keys(item), (std::vector<std::string>{"c", "b", "a"}));
  // Readers append without looking.
  item.AppendAttribute("c", RVariant::FromInt32(9));
  EXPECT_EQ(item.GetAttributeCount(), 4);
  item.RemoveAttribute("nothing");
  EXPECT_EQ(item.GetAttributeCount(), 4);
}

TEST(TagItemAttributes, RequiredLookupsNameWhatIsMissing) {
  RTagItem root;
  BuildGraph(root);
  try {
    root.GetRequiredAttribute("Gain");
    FAIL();
  } catch (const RException& e) {
    EXPECT_EQ(Message(e), "Could not find required attribute (Gain).");
  }
  try {
    root.GetRequiredSubItem(RString("Bank"));  // it exists, but not directly below
    FAIL();
  } catch (const RException& e) {
    EXPECT_EQ(Message(e), "Could not find required subitem (Bank).");
  }
  EXPECT_EQ(root.GetRequiredSubItem(RString("SLOT")), root.GetFirstSubItem());
}

TEST(TagItemAttributes, TypedReadersConvertOrLeaveTheTarget) {
  RTagItem item;
  item.SetAttribute("Count", "12abc");
  item.SetAttribute("Flag", "256");
  item.SetAttribute("Ratio", "1,5");
  item.SetAttribute("Steps", 2.5);

  int32_t count = -1;
  EXPECT_TRUE(item.ReadAttribute("count", count));
  EXPECT_EQ(count, 12);
  bool flag = true;
  EXPECT_TRUE(item.ReadAttribute("Flag", flag));
  EXPECT_FALSE(flag);
  double ratio = 0;
  EXPECT_TRUE(item.ReadAttribute("Ratio", ratio));
  EXPECT_DOUBLE_EQ(ratio, 1.5);
  int8_t steps = 0;
  EXPECT_TRUE(item.ReadAttribute("Steps", steps));
  EXPECT_EQ(steps, 2);
  RString text;
  EXPECT_TRUE(item.ReadAttribute("Steps", text));
  EXPECT_EQ(text.ToUTF8(), "2.5");

  int16_t i16 = 7;
  int64_t i64 = 8;
  float f = 9.5f;
  RString kept("kept");
  bool b = true;
  EXPECT_FALSE(item.ReadAttribute("Missing", i16));
  EXPECT_FALSE(item.ReadAttribute("Missing", i64));
  EXPECT_FALSE(item.ReadAttribute("Missing", f));
  EXPECT_FALSE(item.ReadAttribute("Missing", kept));
  EXPECT_FALSE(item.ReadAttribute("Missing", b));
  EXPECT_EQ(i16, 7);
  EXPECT_EQ(i64, 8);
  EXPECT_EQ(f, 9.5f);
  EXPECT_EQ(kept.ToUTF8(), "kept");
  EXPECT_TRUE(b);
  EXPECT_EQ(item.GetAttributeText("Missing", RString("default")).ToUTF8(), "default");
  EXPECT_EQ(item.FindAttribute("Missing"), nullptr);
}

TEST(TagItemSubitems, FindersLookByNameAndByAttribute) {
  RTagItem root;
  BuildGraph(root);
  RTagItem* second = root.GetFirstSubItem()->GetNext();
  EXPECT_EQ(root.FindSubItem(RString("slot")), root.GetFirstSubItem());
  EXPECT_EQ(root.FindSubItem(RString("Slot"), "Index", RVariant::FromInt32(1)), second);
  // Integer widths compare by value: a narrowed value read from a file still matches.
  RVariant narrow;
  narrow.SetInt8(1);
  EXPECT_EQ(root.FindSubItem(RString("Slot"), "index", narrow), second);
  EXPECT_EQ(root.FindSubItem(RString("Slot"), "Index", RVariant::FromInt32(2)), nullptr);
  EXPECT_EQ(second->FindSubItemByText(RString("Param"), "Name", RString("MIX")), second->GetFirstSubItem());
  EXPECT_EQ(second->FindSubItemByText(RString("Param"), "Name", RString("Bits")), nullptr);
  // Names compare without accents, unlike attribute keys.
  root.AddSubItem(RString("e"));
  EXPECT_NE(root.FindSubItem(RString(u"\u00C9", 1)), nullptr);

  const int before = root.GetSubItemCount();
  RTagItem* found = root.FindOrCreateSubItem(RString("SLOT"));
  EXPECT_EQ(found, root.GetFirstSubItem());
  RTagItem* made = root.FindOrCreateSubItem(RString("Extra"));
  EXPECT_EQ(made, root.GetLastSubItem());
  EXPECT_EQ(made->GetParent(), &root);
  EXPECT_EQ(root.GetSubItemCount(), before + 1);
}

TEST(TagItemSubitems, CountingReachesAllLevelsAndRemovalOnlyDirectOnes) {
  RTagItem root;
  BuildGraph(root);
  EXPECT_EQ(root.CountSubItems(RString("param")), 3);
  EXPECT_EQ(root.CountSubItems(RString("Slot")), 2);
  EXPECT_EQ(root.GetFirstSubItem()->CountSubItems(RString("Param")), 1);
  root.RemoveSubItems(RString("Param"));
  EXPECT_EQ(root.CountSubItems(RString("Param")), 3);
  root.GetLastSubItem()->RemoveSubItems(RString("PARAM"));
  EXPECT_EQ(root.CountSubItems(RString("Param")), 2);
  root.RemoveSubItems(RString("Slot"));
  EXPECT_EQ(root.GetSubItemCount(), 0);
  EXPECT_EQ(root.GetFirstSubItem(), nullptr);
  EXPECT_EQ(root.GetLastSubItem(), nullptr);
  EXPECT_EQ(root.CountSubItems(RString("Param")), 0);
}

TEST(TagItemSubitems, DeletingKeepsTheSiblingListLinked) {
  RTagItem root;
  RTagItem* a = root.AddSubItem(RString("a"));
  RTagItem* b = root.AddSubItem(RString("b"));
  RTagItem* c = root.AddSubItem(RString("c"));
  root.DeleteSubItem(b);
  EXPECT_EQ(a->GetNext(), c);
  EXPECT_EQ(c->GetPrevious(), a);
  root.DeleteSubItem(c);
  EXPECT_EQ(root.GetLastSubItem(), a);
  EXPECT_EQ(a->GetNext(), nullptr);
  RTagItem other;
  RTagItem* foreign = other.AddSubItem(RString("f"));
  root.DeleteSubItem(foreign);  // not ours: left alone
  EXPECT_EQ(other.GetSubItemCount(), 1);
  root.DeleteSubItem(a);
  EXPECT_EQ(root.GetFirstSubItem(), nullptr);
  EXPECT_EQ(root.GetSubItemCount(), 0);
}

TEST(TagItemSubitems, ClearEmptiesEverythingButTheNameAndHighFlags) {
  RTagItem root;
  BuildGraph(root);
  root.Value().SetText(RString("value"));
  root.SetFlags(0xFF);
  ASSERT_TRUE(root.HasAttribute("Version"));
  ASSERT_TRUE(root.HasSubItem(RString("Slot")));
  root.Clear();
  EXPECT_EQ(root.GetName().ToUTF8(), "Graph");
  EXPECT_TRUE(root.Value().IsEmptyText());
  EXPECT_EQ(root.GetAttributeCount(), 0);
  EXPECT_EQ(root.GetFirstAttribute(), nullptr);
  EXPECT_EQ(root.GetSubItemCount(), 0);
  EXPECT_EQ(root.GetFlags(), 0xFC);
  EXPECT_THROW(root.GetAttribute(), RException);
  EXPECT_THROW(root.GetSubItem(), RException);
  BuildGraph(root);
  EXPECT_EQ(root.CountSubItems(RString("Param")), 3);
}

TEST(TagItemCopy, CopyIsDeepAndComparesEqual) {
  RTagItem source;
  BuildGraph(source);
  RTagItem copy(RString("Graph"));
  copy.Copy(source);
  EXPECT_EQ(copy.Compare(source), 0);
  EXPECT_EQ(copy.CountSubItems(RString("Param")), 3);
  RTagItem* bank = copy.GetLastSubItem()->GetLastSubItem();
  EXPECT_EQ(bank->GetName().ToUTF8(), "Bank");
  EXPECT_DOUBLE_EQ(bank->Value().ToDouble(), 0.5);
  EXPECT_EQ(bank->GetParent()->GetParent(), &copy);
  // The copy is independent of its source.
  bank->GetFirstSubItem()->SetAttribute("Name", "Shift");
  EXPECT_NE(copy.Compare(source), 0);
  EXPECT_EQ(source.CountSubItems(RString("Param")), 3);
  EXPECT_EQ(source.GetLastSubItem()->GetLastSubItem()->GetFirstSubItem()->GetAttributeText("Name").ToUTF8(), "Bits");
}

TEST(TagItemCopy, CopyMergesAttributesThroughTheSetter) {
  RTagItem source;
  source.SetAttribute("Gain", 6);
  source.SetAttribute("Mode", "Linear");
  RTagItem target;
  target.SetAttribute("mode", "Ugly");
  target.SetAttribute("Bits", 8);
  target.Copy(source);
  EXPECT_EQ(Keys(target), (std::vector<std::string>{"mode", "Bits", "Gain"}));
  EXPECT_EQ(target.GetAttributeText("Mode").ToUTF8(), "Linear");
}

TEST(TagItemCopy, CopyOfAnAncestorIntoItsDescendantEnds) {
  RTagItem root;
  BuildGraph(root);
  RTagItem* bank = root.GetLastSubItem()->GetLastSubItem();
  bank->Copy(root);
  EXPECT_EQ(bank->GetSubItemCount(), 3);  // its own Param, then the two copied slots
  EXPECT_EQ(root.CountSubItems(RString("Param")), 6);
  EXPECT_EQ(bank->GetRequiredAttribute("Version").ToInt32(), 3);
}

TEST(TagItemCompare, FirstDifferenceDecidesInTheDocumentedOrder) {
  RTagItem a(RString("Item"));
  RTagItem b(RString("ITEM"));
  EXPECT_EQ(a.Compare(b), 0);
  a.SetAttribute("x", 1);
  EXPECT_GT(a.Compare(b), 0);
  EXPECT_LT(b.Compare(a), 0);
  b.SetAttribute("x", 2);
  EXPECT_LT(a.Compare(b), 0);
  b.SetAttribute("x", 1);
  EXPECT_EQ(a.Compare(b), 0);
  // Counts come before names.
  b.SetName(RString("Other"));
  b.AddSubItem(RString("s"));
  EXPECT_LT(a.Compare(b), 0);
  a.AddSubItem(RString("s"));
  EXPECT_NE(a.Compare(b), 0);
  b.SetName(RString("item"));
  EXPECT_EQ(a.Compare(b), 0);
  // Values, then subitems.
  a.Value().SetInt32(2);
  b.Value().SetInt32(1);
  EXPECT_GT(a.Compare(b), 0);
  b.Value().SetInt32(2);
  a.GetFirstSubItem()->SetAttribute("deep", "1");
  EXPECT_NE(a.Compare(b), 0);
  b.GetFirstSubItem()->SetAttribute("DEEP", "1");
  EXPECT_EQ(a.Compare(b), 0);
  // Attribute order matters.
  a.SetAttribute("p", 1);
  a.SetAttribute("q", 1);
  b.SetAttribute("q", 1);
  b.SetAttribute("p", 1);
  EXPECT_NE(a.Compare(b), 0);
}

TEST(TagItemDepth, VeryDeepTreesAreWalkedCopiedAndFreedWithoutRecursion) {
  constexpr int kDepth = 100000;
  RTagItem copy;
  {
    RTagItem root(RString("Deep"));
    RTagItem* item = &root;
    for (int i = 0; i < kDepth; ++i) {
      item = item->AddSubItem(RString("Level"));
      item->SetAttribute("Depth", i);
    }
    EXPECT_EQ(root.CountSubItems(RString("Level")), kDepth);
    ASSERT_TRUE(root.HasSubItem(RString("Missing"), true) == false);
    copy.SetName(RString("Deep"));
    copy.Copy(root);
    EXPECT_EQ(copy.Compare(root), 0);
    EXPECT_EQ(copy.CountSubItems(RString("Level")), kDepth);
  }  // the source is destroyed here
  RTagItem* last = &copy;
  while (last->GetFirstSubItem()) last = last->GetFirstSubItem();
  EXPECT_EQ(last->GetRequiredAttribute("Depth").ToInt32(), kDepth - 1);
  copy.Clear();
  EXPECT_EQ(copy.GetSubItemCount(), 0);
}

} // namespace
