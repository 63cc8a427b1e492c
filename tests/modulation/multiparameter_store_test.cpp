// The stored forms: the full element of each multi-parameter with its targets, banks, curve
// and expression, the compact preset form of the values, names that can't be resolved kept
// through a round trip, and both through the plug-in's whole state.
#include <gtest/gtest.h>

#include <cstring>

#include "base/tagitem.h"
#include "kernel/storecontext.h"
#include "tests/modulation/multitestplugin.h"

namespace {

constexpr double kTolerance = 1e-12;

class MultiParameterStore : public ::testing::Test {
protected:
  void SetUp() override {
    from.Prepare();
    to.Prepare();
  }
  // The "MultiParameters" element of a saved state.
  static const RTagItem* Element(const RTagItem& root) { return root.FindSubItem(RString("MultiParameters")); }
  RMultiTestPlugin from, to;
};

TEST_F(MultiParameterStore, TheFullFormCarriesSettingsTargetsBanksAndCurves) {
  RMultiParameter& m = from.Multi(1);
  m.Name = RString("Crush");
  m.Mode = RMultiParameter::kBanks;
  m.ValueMode = RMultiParameter::kByBankName;
  m.BankCount = 3;
  m.Speed = 0.25;
  m.BankName = RString("A|B|C");
  RMultiParameterTarget& t = from.Target(1, "Mix");
  t.Value = 0.1;
  t.MaxValue = 0.9;
  t.Invert = true;
  t.SetExpression(RString("x ^ 2"));
  t.ParameterExpressionEnabled = true;
  t.BankValues[0] = 0.125;
  t.BankValues[2] = 0.875;
  RShapePoint a, b, c;
  b.X = 0.5;
  b.Y = 0.8;
  c.X = c.Y = 1.0;
  t.Shape.SetPoints({a, b, c});
  t.ShapeEnabled = true;
  from.Target(1, "Somewhere else - Gone");
  m.GetEnabled().SetValueNow(0.0);
  m.LoadValue(0.3);

  RTagItem root;
  from.SaveStateTree(root);
  const RTagItem* element = Element(root);
  ASSERT_NE(element, nullptr);
  const RTagItem* second = element->FindSubItem(RString("MultiParameter1"));
  ASSERT_NE(second, nullptr);
  // Defaults are left out: an untouched multi-parameter writes an empty element.
  const RTagItem* first = element->FindSubItem(RString("MultiParameter0"));
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(first->GetAttributeCount(), 0);
  EXPECT_EQ(first->GetSubItemCount(), 0);
  EXPECT_EQ(second->GetAttributeText(RHashedString("Mode")).ToUTF8(), "Banks");
  EXPECT_EQ(second->FindAttribute(RHashedString("XYRatioPower")), nullptr);
  EXPECT_EQ(second->CountSubItems(RString("Parameter")), 2);
  const RTagItem* stored = second->FindSubItem(RString("Parameter"));
  EXPECT_EQ(stored->FindAttribute(RHashedString("Range")), nullptr);
  EXPECT_EQ(stored->FindAttribute(RHashedString("ParameterEnabled")), nullptr);

  to.LoadStateTree(root);
  RMultiParameter& n = to.Multi(1);
  EXPECT_EQ(n.Name.ToUTF8(), "Crush");
  EXPECT_EQ(n.Mode, RMultiParameter::kBanks);
  EXPECT_EQ(n.ValueMode, RMultiParameter::kByBankName);
  EXPECT_EQ(n.BankCount, 3);
  EXPECT_DOUBLE_EQ(n.Speed, 0.25);
  EXPECT_FALSE(n.GetEnabled().IsOn());
  EXPECT_NEAR(n.GetValue().GetNormalised(), 0.3, kTolerance);
  ASSERT_EQ(n.GetTargetCount(), 2);
  RMultiParameterTarget& u = *n.GetTarget(0);
  EXPECT_EQ(u.GetIndex(), to.GetParameterIndexOf(&to.mix));
  EXPECT_DOUBLE_EQ(u.Value, 0.1);
  EXPECT_DOUBLE_EQ(u.MaxValue, 0.9);
  EXPECT_TRUE(u.Invert);
  EXPECT_TRUE(u.UsesExpression());
  EXPECT_EQ(u.GetExpressionText().ToUTF8(), "x ^ 2");
  EXPECT_DOUBLE_EQ(u.BankValues[0], 0.125);
  EXPECT_DOUBLE_EQ(u.BankValues[1], 0.5);
  EXPECT_DOUBLE_EQ(u.BankValues[2], 0.875);
  EXPECT_TRUE(u.ShapeEnabled);
  EXPECT_NEAR(u.Shape.Evaluate(0.5), 0.8, 1e-9);
  // The name that can't be resolved is skipped, but kept for the next store.
  EXPECT_EQ(n.GetTarget(1)->GetIndex(), -1);
  EXPECT_EQ(n.GetTarget(1)->ParameterName.ToUTF8(), "Somewhere else - Gone");

  RTagItem again;
  to.SaveStateTree(again);
  EXPECT_EQ(again.Compare(root), 0);
}

TEST_F(MultiParameterStore, BanksOfOlderStatesHold32BitValues) {
  RTagItem element(RString("Parameter"));
  const float banks[4] = {0.25f, 0.5f, 0.75f, 1.0f};
  element.Value().SetBuffer(banks, sizeof banks);
  element.SetAttribute(RHashedString("ParameterName"), RString("Gain"));
  RMultiParameterTarget target;
  RStoreContext context(element, RStoreContext::kNewKeys);
  target.Store(context, 4);
  EXPECT_DOUBLE_EQ(target.BankValues[0], 0.25);
  EXPECT_DOUBLE_EQ(target.BankValues[3], 1.0);
  EXPECT_DOUBLE_EQ(target.BankValues[4], 0.5);
}

TEST_F(MultiParameterStore, ThePresetFormHoldsSteppedValuesWithTenDecimals) {
  from.Multi(0).LoadValue(1.0 / 3.0);
  from.Multi(2).StepCount = 5;
  from.Multi(2).LoadValue(0.3);
  from.Multi(3).StorableInPresets = false;
  from.Multi(3).LoadValue(0.9);
  RTagItem root(RString("preset"));
  {
    RStoreContext context(root, RStoreContext::kWriting | RStoreContext::kNewKeys);
    context.SetPresetOnly(true);
    from.Store(context);
  }
  const RTagItem* element = Element(root);
  ASSERT_NE(element, nullptr);
  EXPECT_EQ(element->GetSubItemCount(), 0);
  EXPECT_EQ(element->GetAttributeText(RHashedString("1")).ToUTF8(), "0.3333333333");
  EXPECT_EQ(element->GetAttributeText(RHashedString("3")).ToUTF8(), "0.2500000000");
  // The default value and one kept out of presets are not written.
  EXPECT_EQ(element->FindAttribute(RHashedString("2")), nullptr);
  EXPECT_EQ(element->FindAttribute(RHashedString("4")), nullptr);

  to.Multi(1).LoadValue(0.9);  // absent in the preset: back to its default
  RStoreContext reading(root, RStoreContext::kNewKeys);
  to.Store(reading);
  EXPECT_NEAR(to.Multi(0).GetValue().GetNormalised(), 1.0 / 3.0, 1e-10);
  EXPECT_NEAR(to.Multi(1).GetValue().GetNormalised(), 0.5, kTolerance);
  EXPECT_NEAR(to.Multi(2).GetValue().GetNormalised(), 0.25, kTolerance);
}

TEST_F(MultiParameterStore, LoadingAValueDrivesItsTargetsWithoutAGlide) {
  RMultiParameterTarget& t = from.Target(0, "Gain");
  (void)t;
  from.Multi(0).Speed = 2.0;
  RTagItem root;
  from.Multi(0).LoadValue(0.8);
  EXPECT_NEAR(from.gain.GetNormalised(), 0.8, kTolerance);
  EXPECT_FALSE(from.Multi(0).IsActive());
  from.SaveStateTree(root);
  to.LoadStateTree(root);
  EXPECT_NEAR(to.gain.GetNormalised(), 0.8, kTolerance);
  EXPECT_FALSE(to.Multi(0).IsGliding());
}

} // namespace
