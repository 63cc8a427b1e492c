// Ranges filled from the attributes of a definition item, as the editor builder and the
// product definition give them (numbers, or text in the XML form).
#include <gtest/gtest.h>

#include <cmath>

#include "base/tagitem.h"
#include "kernel/choicerange.h"
#include "kernel/frequencyrange.h"
#include "kernel/valuerange.h"

namespace {

TEST(RValueRangeReadAttributes, ADefinitionItemSetsLimitsValueAndFormat) {
  RTagItem item("Knob");
  item.SetAttribute("min", 0.0);
  item.SetAttribute("max", 400.0);
  item.SetAttribute("value", 100.0);
  item.SetAttribute("format", RString("{0.1} Hz"));
  RValueRange range(0.0, 1.0, 0.5);
  range.ReadAttributes(item);
  EXPECT_DOUBLE_EQ(range.GetMax(), 400.0);
  EXPECT_DOUBLE_EQ(range.GetValue(), 100.0);
  EXPECT_DOUBLE_EQ(range.GetDefault(), 100.0);
  EXPECT_DOUBLE_EQ(range.GetInc(), 0.1);
  EXPECT_DOUBLE_EQ(range.GetMaxInc(), 1.0);
  EXPECT_EQ(range.GetText().ToUTF8(), "100.0 Hz");
}

TEST(RValueRangeReadAttributes, NumbersWrittenAsTextAreRead) {
  RTagItem item("Knob");
  item.SetAttribute("max", RString("20"));
  item.SetAttribute("default", RString("2,5"));
  item.SetAttribute("inc", RString("0.5"));
  item.SetAttribute("maxinc", RString("5"));
  RValueRange range(0.0, 10.0, 1.0);
  range.ReadAttributes(item);
  EXPECT_DOUBLE_EQ(range.GetMax(), 20.0);
  EXPECT_DOUBLE_EQ(range.GetDefault(), 2.5);
  EXPECT_DOUBLE_EQ(range.GetValue(), 1.0);  // a default alone doesn't move the value
  EXPECT_DOUBLE_EQ(range.GetInc(), 0.5);
  EXPECT_DOUBLE_EQ(range.GetMaxInc(), 5.0);
}

TEST(RValueRangeReadAttributes, AnItemWithoutAttributesChangesNothing) {
  RTagItem item("Knob");
  RValueRange range(-1.0, 1.0, 0.25, 0.01, 0.1, 0, "{0.2}");
  range.ReadAttributes(item);
  EXPECT_DOUBLE_EQ(range.GetMin(), -1.0);
  EXPECT_DOUBLE_EQ(range.GetMax(), 1.0);
  EXPECT_DOUBLE_EQ(range.GetValue(), 0.25);
  EXPECT_DOUBLE_EQ(range.GetInc(), 0.01);
  EXPECT_DOUBLE_EQ(range.GetMaxInc(), 0.1);
  EXPECT_EQ(range.GetFormat().ToUTF8(), "{0.2}");
}

TEST(RValueRangeReadAttributes, EachKindAppliesItsOwnRules) {
  RTagItem item("Knob");
  item.SetAttribute("min", 100.0);
  item.SetAttribute("max", 400.0);
  item.SetAttribute("value", 1.0);
  RFrequencyRange frequency(20.0, 20000.0, 1000.0);
  frequency.ReadAttributes(item);
  EXPECT_NEAR(frequency.NormalisedToReal(0.5), 200.0, 1e-9);
  EXPECT_DOUBLE_EQ(frequency.GetValue(), 100.0);

  RArray<RString> items;
  items.Add(RString("A"));
  items.Add(RString("B"));
  items.Add(RString("C"));
  RChoiceRange choice(items);
  choice.ReadAttributes(item);
  EXPECT_EQ(choice.GetIndex(), 1);
  EXPECT_DOUBLE_EQ(choice.GetMax(), 2.0);
}

} // namespace
