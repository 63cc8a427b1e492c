// Banks: a row of banks picked or morphed by the position, cyclic rows, the XY pad's distance
// weighting over the two axes, and the bank texts.
#include <gtest/gtest.h>

#include <cmath>
#include <numeric>

#include "tests/modulation/multitestplugin.h"

namespace {

constexpr double kTolerance = 1e-12;

class MultiParameterBanks : public ::testing::Test {
protected:
  void SetUp() override {
    plugin.Prepare();
    multi = &plugin.Multi(0);
    multi->Mode = RMultiParameter::kBanks;
    target = &plugin.Target(0, "Gain");
    const double banks[4] = {0.0, 0.3, 0.6, 0.9};
    std::copy(banks, banks + 4, target->BankValues);
  }
  double At(double x) {
    plugin.Move(0, x == 0.0 ? 1.0 : 0.0);
    plugin.Move(0, x);
    return plugin.gain.GetNormalised();
  }
  RMultiTestPlugin plugin;
  RMultiParameter* multi = nullptr;
  RMultiParameterTarget* target = nullptr;
};

TEST_F(MultiParameterBanks, ARowMorphsBetweenNeighboursOrJumpsToTheNearest) {
  EXPECT_NEAR(At(0.0), 0.0, kTolerance);
  EXPECT_NEAR(At(0.5), 0.45, kTolerance);  // halfway between banks 2 and 3
  EXPECT_NEAR(At(1.0), 0.9, kTolerance);
  EXPECT_NEAR(At(1.0 / 3.0), 0.3, 1e-9);
  target->Interpolate = false;
  EXPECT_NEAR(At(0.5), 0.6, kTolerance);   // 1.5 rounds to bank 3
  EXPECT_NEAR(At(0.45), 0.3, kTolerance);  // 1.35 to bank 2
  // Cyclic: four steps, the last leading back to the first.
  target->Interpolate = true;
  multi->CyclicMode = true;
  EXPECT_NEAR(At(0.875), 0.45, kTolerance);  // 3.5: from 0.9 halfway back to 0.0
  EXPECT_NEAR(At(1.0), 0.0, kTolerance);
  // A curve after the morph.
  multi->CyclicMode = false;
  RShapePoint a, b;
  a.Y = 1.0;
  b.X = 1.0;
  a.Type = b.Type = kCurveQuadratic;
  target->Shape.SetPoints({a, b});
  target->ShapeEnabled = true;
  EXPECT_NEAR(At(1.0), 0.1, 1e-9);
}

TEST_F(MultiParameterBanks, PadWeightsSumToOneAndAreExactOnABank) {
  for (int32_t count : {3, 4, 7, 129}) {
    double w[RMultiParameterTarget::kMaxBanks];
    RMultiParameter::ComputePadWeights(0.31, 0.77, count, 3.0, w);
    EXPECT_NEAR(std::accumulate(w, w + count, 0.0), 1.0, 1e-12) << count;
    for (int32_t i = 0; i < count; ++i) EXPECT_GT(w[i], 0.0);
    // On a bank's own point that bank alone counts.
    double x = 0, y = 0;
    RMultiParameter::GetPadPosition(count - 1, count, x, y);
    RMultiParameter::ComputePadWeights(x, y, count, 3.0, w);
    EXPECT_EQ(w[count - 1], 1.0);
    EXPECT_EQ(std::accumulate(w, w + count - 1, 0.0), 0.0);
    // The centre is the even mix.
    RMultiParameter::ComputePadWeights(0.5, 0.5, count, 3.0, w);
    for (int32_t i = 0; i < count; ++i) EXPECT_NEAR(w[i], 1.0 / count, 1e-9);
  }
  // Nearer banks weigh more, and more so at a higher power.
  double low[4], high[4];
  RMultiParameter::ComputePadWeights(0.5, 0.8, 4, 1.0, low);
  RMultiParameter::ComputePadWeights(0.5, 0.8, 4, 6.0, high);
  EXPECT_GT(low[0], low[1]);
  EXPECT_GT(low[1], low[2]);
  EXPECT_GT(high[0], low[0]);
  // Bank 0 sits at the top of the pad.
  double x = 0, y = 0;
  RMultiParameter::GetPadPosition(0, 4, x, y);
  EXPECT_NEAR(x, 0.5, 1e-12);
  EXPECT_NEAR(y, 1.0, 1e-12);
}

TEST_F(MultiParameterBanks, ThePadTakesItsSecondAxisFromTheNextMultiParameter) {
  multi->XYPad4Banks = true;
  // The second axis drives nothing by itself: its own target stays.
  plugin.Target(1, "Mix");
  double x = 0, y = 0;
  RMultiParameter::GetPadPosition(2, 4, x, y);
  plugin.Move(1, y);
  EXPECT_NEAR(plugin.mix.GetNormalised(), 0.0, kTolerance);
  plugin.Move(0, x);
  EXPECT_NEAR(plugin.gain.GetNormalised(), 0.6, 1e-12);
  // Moving the second axis alone morphs the first one's targets: bank 0 is straight above
  // bank 2.
  RMultiParameter::GetPadPosition(0, 4, x, y);
  plugin.Move(1, y);
  EXPECT_NEAR(plugin.gain.GetNormalised(), 0.0, 1e-12);
  // Between the banks: the weighted sum, then BankValuePower.
  plugin.Move(0, 0.5);
  plugin.Move(1, 0.5);
  EXPECT_NEAR(plugin.gain.GetNormalised(), 0.45, 1e-9);
  multi->BankValuePower = 2.0;
  plugin.Move(1, 0.49);
  plugin.Move(1, 0.5);
  EXPECT_NEAR(plugin.gain.GetNormalised(), 0.45 * 0.45, 1e-9);
}

TEST_F(MultiParameterBanks, BankTextsNameNumberAndShareTheBanks) {
  multi->BankName = RString("Clean|Warm| |Broken");
  RMultiParameterValue& value = multi->GetValue();
  multi->ValueMode = RMultiParameter::kByBankName;
  EXPECT_EQ(value.GetTextOfNormalised(0.0).ToUTF8(), "Clean");
  EXPECT_EQ(value.GetTextOfNormalised(0.6).ToUTF8(), "Bank 3");  // a blank name
  multi->ValueMode = RMultiParameter::kByBankNumberAndName;
  EXPECT_EQ(value.GetTextOfNormalised(1.0).ToUTF8(), "4: Broken");
  multi->ValueMode = RMultiParameter::kByBankNumber;
  EXPECT_EQ(value.GetTextOfNormalised(0.34).ToUTF8(), "2");
  multi->ValueMode = RMultiParameter::kByBankNamesWithPercents;
  EXPECT_EQ(value.GetTextOfNormalised(0.1).ToUTF8(), "Clean 70% / Warm 30%");
  EXPECT_EQ(value.GetTextOfNormalised(1.0 / 3.0).ToUTF8(), "Warm");
  multi->ValueMode = RMultiParameter::kByBankNameInterpolated;
  EXPECT_EQ(value.GetTextOfNormalised(0.1).ToUTF8(), "Clean > Warm 30%");
  multi->ValueMode = RMultiParameter::kByBankNameInterpolatedLog;
  EXPECT_EQ(value.GetTextOfNormalised(0.1).ToUTF8(), "Clean > Warm 57%");
  // Typed back: a name or a number selects its bank.
  double n = -1.0;
  multi->ValueMode = RMultiParameter::kByBankName;
  EXPECT_TRUE(value.ParseToNormalised(RString("warm"), n));
  EXPECT_NEAR(n, 1.0 / 3.0, kTolerance);
  multi->ValueMode = RMultiParameter::kByBankNumber;
  EXPECT_TRUE(value.ParseToNormalised(RString("4"), n));
  EXPECT_NEAR(n, 1.0, kTolerance);
}

} // namespace
