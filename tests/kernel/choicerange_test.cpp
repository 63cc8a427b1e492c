// Choices and switches: index mapping, item texts, stepping by items, and the one-item case.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "kernel/choicerange.h"

namespace {

std::string Text(const RString& s) { return s.ToUTF8(); }

RArray<RString> Items(std::initializer_list<const char*> texts) {
  RArray<RString> items;
  for (const char* t : texts) items.Add(RString::FromUTF8(t));
  return items;
}

RArray<RString> Numbered(int count) {
  RArray<RString> items;
  for (int i = 0; i < count; ++i) items.Add(RString::FromUTF8(std::to_string(i + 1) + " / 8"));
  return items;
}

TEST(RChoiceRangeMapping, EachItemOwnsAnEqualShareOfTheTravel) {
  RChoiceRange mode(Items({"Feedback filter", "Linear", "Ugly", "Smooth"}));
  EXPECT_EQ(mode.NormalisedToReal(0.0), 0.0);
  EXPECT_EQ(mode.NormalisedToReal(0.2), 0.0);   // round(0.3)
  EXPECT_EQ(mode.NormalisedToReal(0.3), 1.0);   // round(0.7)
  EXPECT_EQ(mode.NormalisedToReal(0.74), 2.0);  // round(2.46)
  EXPECT_EQ(mode.NormalisedToReal(1.0), 3.0);   // round(3.5) clamped
  EXPECT_EQ(mode.NormalisedToReal(-1.0), 0.0);
  EXPECT_DOUBLE_EQ(mode.RealToNormalised(2.0), 2.0 / 3.0);
  for (int count = 2; count <= 9; ++count) {
    RChoiceRange range(Numbered(count));
    for (int i = 0; i < count; ++i) {
      EXPECT_EQ(range.NormalisedToReal(range.RealToNormalised(i)), double(i)) << count << " items, item " << i;
      EXPECT_TRUE(range.SetNormalised(range.RealToNormalised(i)) || i == 0);
      EXPECT_EQ(range.GetIndex(), i);
      EXPECT_DOUBLE_EQ(range.GetSteppedNormalised(), range.GetNormalised());
    }
  }
}

TEST(RChoiceRangeMapping, AChoiceOfOneItemReadsZeroRatherThanNotANumber) {
  RChoiceRange single(Items({"Only"}));
  EXPECT_EQ(single.GetItemCount(), 1);
  EXPECT_EQ(single.GetNormalised(), 0.0);
  EXPECT_EQ(single.GetDefaultNormalised(), 0.0);
  EXPECT_EQ(single.GetSteppedNormalised(), 0.0);
  EXPECT_FALSE(single.SetNormalised(1.0));
  EXPECT_EQ(single.GetIndex(), 0);
  EXPECT_EQ(Text(single.TextOfNormalised(0.7)), "Only");
  EXPECT_FALSE(single.Step(1, 0));

  RChoiceRange empty(RArray<RString>{});
  EXPECT_EQ(empty.GetNormalised(), 0.0);
  EXPECT_EQ(Text(empty.GetText()), "");
}

TEST(RChoiceRangeText, TextsAreFoundByExactComparisonAndUnknownTextMeansTheFirst) {
  RChoiceRange mode(Items({"Feedback filter", "Linear", "Ugly"}), 2);
  EXPECT_EQ(Text(mode.GetText()), "Ugly");
  EXPECT_EQ(Text(mode.TextOfNormalised(0.5)), "Linear");
  EXPECT_TRUE(mode.SetTextValue("Linear"));
  EXPECT_EQ(mode.GetIndex(), 1);
  EXPECT_TRUE(mode.SetTextValue("linear"));  // case counts
  EXPECT_EQ(mode.GetIndex(), 0);
  double n = -1.0;
  EXPECT_TRUE(mode.ParseToNormalised("Ugly", n));
  EXPECT_EQ(n, 1.0);
  EXPECT_TRUE(mode.ParseToNormalised("Pretty", n));
  EXPECT_EQ(n, 0.0);
  EXPECT_EQ(Text(mode.GetItemText(1)), "Linear");
  EXPECT_EQ(Text(mode.GetItemText(3)), "");
  EXPECT_EQ(Text(mode.GetItemText(-1)), "");
}

TEST(RChoiceRangeItems, AValueBetweenItemsIsRoundedToAWholeIndex) {
  RChoiceRange mode(Items({"A", "B", "C"}));
  mode.SetValue(1.4);
  EXPECT_EQ(mode.GetValue(), 1.0);
  EXPECT_EQ(Text(mode.GetText()), "B");
  mode.SetValue(1.6);
  EXPECT_EQ(mode.GetIndex(), 2);
  EXPECT_EQ(mode.GetNormalised(), 1.0);
}

TEST(RChoiceRangeItems, SetItemRefusesIndexesWithoutAnItem) {
  RChoiceRange mode(Items({"A", "B", "C"}));
  EXPECT_TRUE(mode.SetItem(2));
  EXPECT_FALSE(mode.SetItem(2));
  EXPECT_FALSE(mode.SetItem(3));
  EXPECT_FALSE(mode.SetItem(-1));
  EXPECT_EQ(mode.GetIndex(), 2);
  mode.SetItems(Items({"A", "B"}));
  EXPECT_EQ(mode.GetIndex(), 1);
  EXPECT_EQ(mode.GetSteps(), 2);
  EXPECT_EQ(mode.GetNormalised(), 1.0);
}

TEST(RChoiceRangeStepping, StepsMoveByItemsAndFineStepsByAQuarterOfThem) {
  RChoiceRange range(Numbered(20), 10);
  EXPECT_TRUE(range.Step(3, 5));  // the shift doesn't widen an item step
  EXPECT_EQ(range.GetIndex(), 13);
  EXPECT_TRUE(range.StepFine(1));  // at least one item
  EXPECT_EQ(range.GetIndex(), 14);
  EXPECT_TRUE(range.StepFine(3));
  EXPECT_EQ(range.GetIndex(), 15);
  EXPECT_TRUE(range.StepFine(8));
  EXPECT_EQ(range.GetIndex(), 17);
  EXPECT_TRUE(range.StepFine(-9));
  EXPECT_EQ(range.GetIndex(), 15);
  EXPECT_FALSE(range.StepFine(0));
  EXPECT_TRUE(range.Step(100, 0));
  EXPECT_EQ(range.GetIndex(), 19);
  EXPECT_FALSE(range.Step(1, 0));
  EXPECT_TRUE(range.Step(-100, 0));
  EXPECT_EQ(range.GetIndex(), 0);
}

TEST(RChoiceRangeAttributes, OnlyDefaultAndValueApply) {
  RChoiceRange range(Items({"A", "B", "C", "D"}));
  RValueRange::Attributes a;
  a.min = 5.0;
  a.max = 50.0;
  a.value = 2.0;
  range.ApplyAttributes(a);
  EXPECT_EQ(range.GetIndex(), 2);
  EXPECT_EQ(range.GetDefault(), 2.0);
  EXPECT_EQ(range.GetMin(), 0.0);
  EXPECT_EQ(range.GetMax(), 3.0);
  a.value = 9.0;
  range.ApplyAttributes(a);
  EXPECT_EQ(range.GetIndex(), 3);
}

TEST(RChoiceRangeBlocks, BlockFormsAgreeWithTheScalarForm) {
  RChoiceRange range(Numbered(5));
  RBoolRange bypass;
  std::vector<double> in;
  for (int i = 0; i <= 40; ++i) in.push_back(i / 40.0);
  std::vector<float> inFloat(in.begin(), in.end());
  for (const RValueRange* r : {static_cast<const RValueRange*>(&range), static_cast<const RValueRange*>(&bypass)}) {
    std::vector<double> out(in.size(), -1.0);
    std::vector<float> outFloat(in.size(), -1.0f);
    r->NormalisedToReal(in.data(), out.data(), int32_t(in.size()));
    r->NormalisedToReal(inFloat.data(), outFloat.data(), int32_t(in.size()));
    for (size_t i = 0; i < in.size(); ++i) {
      EXPECT_EQ(out[i], r->NormalisedToReal(in[i])) << in[i];
      EXPECT_EQ(outFloat[i], float(r->NormalisedToReal(in[i]))) << in[i];
    }
  }
}

TEST(RBoolRangeMapping, HalfWayAndAboveIsOn) {
  RBoolRange bypass;
  EXPECT_FALSE(bypass.IsOn());
  EXPECT_EQ(Text(bypass.GetText()), "Off");
  EXPECT_TRUE(bypass.SetNormalised(0.5));
  EXPECT_TRUE(bypass.IsOn());
  EXPECT_EQ(Text(bypass.GetText()), "On");
  EXPECT_EQ(bypass.GetNormalised(), 1.0);
  EXPECT_TRUE(bypass.SetNormalised(0.49999));
  EXPECT_FALSE(bypass.IsOn());
  EXPECT_EQ(bypass.NormalisedToReal(0.5), 1.0);
  EXPECT_EQ(bypass.NormalisedToReal(std::nextafter(0.5, 0.0)), 0.0);
  EXPECT_TRUE(RBoolRange(true).IsOn());
}

TEST(RBoolRangeText, ZeroAndOffAreOffAndAnyOtherTextIsOn) {
  RBoolRange sw;
  for (const char* on : {"On", "1", "yes", "off?", ""}) {
    sw.SetValue(0.0);
    EXPECT_TRUE(sw.SetTextValue(RString::FromUTF8(on)));
    EXPECT_TRUE(sw.IsOn()) << on;
  }
  for (const char* off : {"0", "Off"}) {
    sw.SetValue(1.0);
    EXPECT_TRUE(sw.SetTextValue(RString::FromUTF8(off)));
    EXPECT_FALSE(sw.IsOn()) << off;
  }
}

} // namespace
