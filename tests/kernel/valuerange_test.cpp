// Real, time and frequency ranges: mappings both ways, text both ways, stepping, quantising and
// the rules by which a definition's attributes fill a range.
#include <gtest/gtest.h>

#include <cmath>

#include "kernel/frequencyrange.h"
#include "kernel/timerange.h"
#include "kernel/valuerange.h"

namespace {

std::string Text(const RString& s) { return s.ToUTF8(); }

// --- real (linear) ranges

TEST(RValueRangeMapping, MapsLinearlyAndClampsWhatLiesOutside) {
  RValueRange range(-24.0, 24.0, 0.0);
  EXPECT_DOUBLE_EQ(range.NormalisedToReal(0.25), -12.0);
  EXPECT_DOUBLE_EQ(range.NormalisedToReal(1.0), 24.0);
  EXPECT_DOUBLE_EQ(range.RealToNormalised(12.0), 0.75);
  EXPECT_DOUBLE_EQ(range.RealToNormalised(100.0), 1.0);
  EXPECT_DOUBLE_EQ(range.RealToNormalised(-100.0), 0.0);
  EXPECT_DOUBLE_EQ(range.GetNormalised(), 0.5);
  EXPECT_DOUBLE_EQ(range.GetDefaultNormalised(), 0.5);
  EXPECT_TRUE(range.SetNormalised(2.0));
  EXPECT_DOUBLE_EQ(range.GetValue(), 24.0);
  EXPECT_FALSE(range.SetNormalised(1.0));
}

TEST(RValueRangeMapping, MinEqualToMaxReadsZeroAndAStepLeavesItAlone) {
  RValueRange range(5.0, 5.0, 5.0);
  EXPECT_EQ(range.GetNormalised(), 0.0);
  EXPECT_EQ(range.RealToNormalised(5.0), 0.0);
  EXPECT_EQ(range.GetDefaultNormalised(), 0.0);
  EXPECT_FALSE(range.Step(3, 0));
  EXPECT_FALSE(range.Step(-1, 4));
  EXPECT_FALSE(range.StepFine(7));
  EXPECT_FALSE(range.SetNormalised(1.0));
  EXPECT_DOUBLE_EQ(range.GetValue(), 5.0);
  // An empty span still gets a usable increment.
  EXPECT_DOUBLE_EQ(range.GetInc(), 1.0);
  EXPECT_DOUBLE_EQ(range.GetMaxInc(), 10.0);
}

TEST(RValueRangeMapping, LinearKindsHaveNoCurve) {
  RValueRange range(0.0, 8.0, 1.0);
  for (double x : {0.0, 0.125, 0.6, 1.0}) {
    EXPECT_DOUBLE_EQ(range.LinearToCurve(x), x);
    EXPECT_DOUBLE_EQ(range.CurveToLinear(x), x);
  }
}

TEST(RValueRangeStepping, AStepIsIncTimesTwoToTheShiftButNeverMoreThanMaxinc) {
  RValueRange range(0.0, 100.0, 50.0, 0.5, 4.0);
  EXPECT_TRUE(range.Step(1, 0));
  EXPECT_DOUBLE_EQ(range.GetValue(), 50.5);
  EXPECT_TRUE(range.Step(1, 2));
  EXPECT_DOUBLE_EQ(range.GetValue(), 52.5);
  EXPECT_TRUE(range.Step(1, 5));  // 16 capped to 4
  EXPECT_DOUBLE_EQ(range.GetValue(), 56.5);
  EXPECT_TRUE(range.Step(-2, 1));
  EXPECT_DOUBLE_EQ(range.GetValue(), 54.5);
  EXPECT_TRUE(range.Step(1000, 0));
  EXPECT_DOUBLE_EQ(range.GetValue(), 100.0);
  EXPECT_FALSE(range.Step(1, 0));
  EXPECT_TRUE(range.StepFine(-3));
  EXPECT_DOUBLE_EQ(range.GetValue(), 98.5);
}

TEST(RValueRangeStepping, WholeStepsQuantiseTheNormalisedValue) {
  // An integer parameter: 1..24 bits in 24 positions.
  RValueRange bits(1.0, 24.0, 8.0, 1.0, 4.0, 24);
  EXPECT_TRUE(bits.SetNormalised(0.5));  // 11.5 of 23 rounds to 12
  EXPECT_DOUBLE_EQ(bits.GetValue(), 13.0);
  EXPECT_DOUBLE_EQ(bits.GetSteppedNormalised(), 12.0 / 23.0);
  bits.SetValue(1.3);
  EXPECT_NEAR(bits.GetNormalised(), 0.3 / 23.0, 1e-15);
  EXPECT_EQ(bits.GetSteppedNormalised(), 0.0);
  bits.SetValue(23.6);
  EXPECT_DOUBLE_EQ(bits.GetSteppedNormalised(), 1.0);
  // Continuous ranges report the normalised value as it is.
  RValueRange gain(0.0, 1.0, 0.3);
  EXPECT_DOUBLE_EQ(gain.GetSteppedNormalised(), gain.GetNormalised());
}

TEST(RValueRangeDefault, ResetSaysWhetherItMovedAndTinyDifferencesStillCountAsDefault) {
  RValueRange range(0.0, 10.0, 2.0);
  EXPECT_TRUE(range.IsDefault());
  EXPECT_FALSE(range.ResetToDefault());
  range.SetValue(2.0 + 5e-11);
  EXPECT_TRUE(range.IsDefault());
  range.SetValue(2.0 + 1e-9);
  EXPECT_FALSE(range.IsDefault());
  EXPECT_TRUE(range.ResetToDefault());
  EXPECT_DOUBLE_EQ(range.GetValue(), 2.0);
}

TEST(RValueRangeText, TheFormatTemplateShowsAndReadsTheValue) {
  RValueRange gain(-48.0, 12.0, -6.0, 0.1, 1.0, 0, "{0.1} dB");
  EXPECT_EQ(Text(gain.GetText()), "-6.0 dB");
  EXPECT_EQ(Text(gain.TextOfNormalised(1.0)), "12.0 dB");
  EXPECT_EQ(Text(gain.ShortTextOfNormalised(0.0)), "-48.0 dB");
  EXPECT_TRUE(gain.SetTextValue("-3.5 dB"));
  EXPECT_DOUBLE_EQ(gain.GetValue(), -3.5);
  EXPECT_TRUE(gain.SetTextValue("100"));  // a bare number, clamped
  EXPECT_DOUBLE_EQ(gain.GetValue(), 12.0);
  double n = 0.5;
  EXPECT_TRUE(gain.ParseToNormalised("-18 dB", n));
  EXPECT_DOUBLE_EQ(n, 0.5);
  EXPECT_DOUBLE_EQ(gain.GetValue(), 12.0);  // parsing to normalised leaves the value alone
}

TEST(RValueRangeText, TextThatDoesNotMatchTheTemplateChangesNothing) {
  RValueRange mix(0.0, 100.0, 50.0, 0.0, 0.0, 0, "Mix {0.0}%");
  EXPECT_EQ(Text(mix.GetText()), "Mix 50%");
  EXPECT_FALSE(mix.SetTextValue("loud"));
  EXPECT_FALSE(mix.SetTextValue("Mix high"));
  EXPECT_DOUBLE_EQ(mix.GetValue(), 50.0);
  double n = 0.25;
  EXPECT_FALSE(mix.ParseToNormalised("Max 30%", n));
  EXPECT_EQ(n, 0.25);
  EXPECT_TRUE(mix.ParseToNormalised("Mix 30%", n));
  EXPECT_DOUBLE_EQ(n, 0.3);
}

TEST(RValueRangeText, WithoutATemplateThePlainNumberIsShown) {
  RValueRange range(0.0, 1.0, 0.1 + 0.2);
  EXPECT_EQ(Text(range.GetText()), "0.3");
  EXPECT_TRUE(range.SetTextValue("0,75"));
  EXPECT_DOUBLE_EQ(range.GetValue(), 0.75);
  EXPECT_FALSE(range.SetTextValue("half"));
  EXPECT_DOUBLE_EQ(range.GetValue(), 0.75);
}

// --- attributes of a definition

RValueRange::Attributes MinMax(double min, double max) {
  RValueRange::Attributes a;
  a.min = min;
  a.max = max;
  return a;
}

TEST(RValueRangeAttributes, AValueWithoutADefaultBecomesTheDefault) {
  RValueRange range(0.0, 10.0, 1.0);
  RValueRange::Attributes a;
  a.value = 4.0;
  range.ApplyAttributes(a);
  EXPECT_DOUBLE_EQ(range.GetValue(), 4.0);
  EXPECT_DOUBLE_EQ(range.GetDefault(), 4.0);

  RValueRange both(0.0, 10.0, 1.0);
  a.defaultValue = 3.0;
  both.ApplyAttributes(a);
  EXPECT_DOUBLE_EQ(both.GetValue(), 4.0);
  EXPECT_DOUBLE_EQ(both.GetDefault(), 3.0);
}

TEST(RValueRangeAttributes, TheValueIsClampedOnlyAfterAllLimitsAreRead) {
  RValueRange range(0.0, 10.0, 1.0);
  RValueRange::Attributes a;
  a.value = 15.0;
  a.max = 20.0;
  range.ApplyAttributes(a);
  EXPECT_DOUBLE_EQ(range.GetValue(), 15.0);

  a.max = 12.0;
  range.ApplyAttributes(a);
  EXPECT_DOUBLE_EQ(range.GetValue(), 12.0);
}

TEST(RValueRangeAttributes, WithoutAnIncrementItFollowsTheLimits) {
  RValueRange range(0.0, 1.0, 0.0);
  EXPECT_DOUBLE_EQ(range.GetInc(), 0.00025);
  EXPECT_DOUBLE_EQ(range.GetMaxInc(), 0.0025);
  range.ApplyAttributes(MinMax(0.0, 400.0));
  EXPECT_DOUBLE_EQ(range.GetInc(), 0.1);
  EXPECT_DOUBLE_EQ(range.GetMaxInc(), 1.0);
  range.ApplyAttributes(MinMax(3.0, 3.0));
  EXPECT_DOUBLE_EQ(range.GetInc(), 1.0);
  EXPECT_DOUBLE_EQ(range.GetMaxInc(), 10.0);
}

TEST(RValueRangeAttributes, AnIncWithoutMaxincRaisesMaxincToIt) {
  RValueRange range(0.0, 1000.0, 0.0, 0.25, 2.5);
  RValueRange::Attributes a;
  a.inc = 3.0;
  range.ApplyAttributes(a);
  EXPECT_DOUBLE_EQ(range.GetInc(), 3.0);
  EXPECT_DOUBLE_EQ(range.GetMaxInc(), 3.0);

  RValueRange kept(0.0, 1000.0, 0.0, 0.25, 2.5);
  a.inc = 0.1;
  kept.ApplyAttributes(a);
  EXPECT_DOUBLE_EQ(kept.GetMaxInc(), 2.5);

  // A given increment survives later changes of the limits.
  kept.ApplyAttributes(MinMax(0.0, 10.0));
  EXPECT_DOUBLE_EQ(kept.GetInc(), 0.1);
  a.maxinc = 0.05;
  kept.ApplyAttributes(a);
  EXPECT_DOUBLE_EQ(kept.GetMaxInc(), 0.05);
}

TEST(RValueRangeAttributes, AFormatReplacesTheTemplate) {
  RValueRange range(0.0, 1.0, 0.5);
  RValueRange::Attributes a;
  a.format = RString("{0.2} x");
  range.ApplyAttributes(a);
  EXPECT_EQ(Text(range.GetText()), "0.50 x");
}

// --- time

TEST(RTimeRangeMapping, AFourthPowerCurveRoundTrips) {
  RTimeRange range(0.0, 10.0, 1.0);
  EXPECT_DOUBLE_EQ(range.NormalisedToReal(0.5), 0.625);
  EXPECT_DOUBLE_EQ(range.RealToNormalised(0.625), 0.5);
  RTimeRange delay(0.001, 5.0, 0.25);
  for (double n = 0.0; n <= 1.0; n += 1.0 / 64.0) {
    EXPECT_NEAR(delay.RealToNormalised(delay.NormalisedToReal(n)), n, 1e-12) << n;
    EXPECT_NEAR(delay.CurveToLinear(delay.LinearToCurve(n)), n, 1e-12) << n;
  }
  EXPECT_DOUBLE_EQ(delay.NormalisedToReal(0.0), 0.001);
  EXPECT_DOUBLE_EQ(delay.NormalisedToReal(1.0), 5.0);
  EXPECT_EQ(RTimeRange(2.0, 2.0, 2.0).GetNormalised(), 0.0);
}

TEST(RTimeRangeText, ShownInMillisecondsWithTheMinimumTextAtTheBottom) {
  RTimeRange range(0.0, 2.0, 0.25);
  EXPECT_EQ(Text(range.GetText()), "250 ms");
  EXPECT_EQ(Text(range.TextOfNormalised(0.0)), "0 ms");
  range.SetMinimumText("Off");
  EXPECT_EQ(Text(range.TextOfNormalised(0.0)), "Off");
  range.SetValue(5e-11);
  EXPECT_EQ(Text(range.GetText()), "Off");
  range.SetValue(2e-10);
  EXPECT_NE(Text(range.GetText()), "Off");
  EXPECT_EQ(Text(range.FormatValue(0.0035)), "3.5 ms");
}

TEST(RTimeRangeText, TypedNumbersAreMilliseconds) {
  RTimeRange range(0.0, 2.0, 0.5);
  EXPECT_TRUE(range.SetTextValue("250"));
  EXPECT_DOUBLE_EQ(range.GetValue(), 0.25);
  EXPECT_TRUE(range.SetTextValue("12.5 ms"));
  EXPECT_DOUBLE_EQ(range.GetValue(), 0.0125);
  EXPECT_FALSE(range.SetTextValue("slow"));
  EXPECT_DOUBLE_EQ(range.GetValue(), 0.0125);
}

TEST(RTimeRangeStepping, AFineStepMovesAFourThousandthOfTheTravel) {
  RTimeRange range(0.0, 10.0, 0.625);  // normalised 0.5
  EXPECT_TRUE(range.StepFine(4));
  EXPECT_NEAR(range.GetNormalised(), 0.501, 1e-12);
  EXPECT_TRUE(range.StepFine(-8));
  EXPECT_NEAR(range.GetNormalised(), 0.499, 1e-12);
  range.SetValue(0.0);
  EXPECT_FALSE(range.StepFine(-1));
}

// --- frequency

TEST(RFrequencyRangeMapping, EqualShareOfTravelPerOctave) {
  RFrequencyRange range(20.0, 20000.0, 1000.0);
  EXPECT_NEAR(range.NormalisedToReal(0.0), 20.0, 1e-9);
  EXPECT_NEAR(range.NormalisedToReal(1.0), 20000.0, 1e-8);
  EXPECT_NEAR(range.NormalisedToReal(0.5), std::sqrt(20.0 * 20000.0), 1e-9);
  const double octave = range.RealToNormalised(880.0) - range.RealToNormalised(440.0);
  EXPECT_NEAR(range.RealToNormalised(3520.0) - range.RealToNormalised(1760.0), octave, 1e-12);
  for (double n = 0.0; n <= 1.0; n += 1.0 / 64.0) {
    EXPECT_NEAR(range.RealToNormalised(range.NormalisedToReal(n)), n, 1e-12) << n;
    EXPECT_NEAR(range.CurveToLinear(range.LinearToCurve(n)), n, 1e-12) << n;
  }
  EXPECT_EQ(range.RealToNormalised(0.0), 0.0);
  EXPECT_EQ(range.RealToNormalised(1e9), 1.0);
  EXPECT_EQ(RFrequencyRange(440.0, 440.0, 440.0).GetNormalised(), 0.0);
}

TEST(RFrequencyRangeMapping, NewLimitsMoveTheLogarithms) {
  RFrequencyRange range(20.0, 20000.0, 1000.0);
  range.SetLimits(100.0, 400.0);
  EXPECT_NEAR(range.NormalisedToReal(0.5), 200.0, 1e-9);
  RValueRange::Attributes a;
  a.min = 10.0;
  a.max = 1000.0;
  range.ApplyAttributes(a);
  EXPECT_NEAR(range.NormalisedToReal(0.5), 100.0, 1e-9);
}

TEST(RFrequencyRangeText, KilohertzAreReadAndShown) {
  RFrequencyRange range(20.0, 20000.0, 1000.0);
  EXPECT_EQ(Text(range.GetText()), "1000 Hz");
  EXPECT_TRUE(range.SetTextValue("1.5 kHz"));
  EXPECT_DOUBLE_EQ(range.GetValue(), 1500.0);
  EXPECT_TRUE(range.SetTextValue("2khz"));
  EXPECT_DOUBLE_EQ(range.GetValue(), 2000.0);
  EXPECT_TRUE(range.SetTextValue("440 Hz"));
  EXPECT_DOUBLE_EQ(range.GetValue(), 440.0);
  EXPECT_TRUE(range.SetTextValue("12000"));
  EXPECT_EQ(Text(range.GetText()), "12.0 kHz");
  EXPECT_FALSE(range.SetTextValue("kHz"));
  EXPECT_DOUBLE_EQ(range.GetValue(), 12000.0);
}

TEST(RFrequencyRangeText, TheMinimumTextReplacesTheLowestFrequency) {
  RFrequencyRange range(20.0, 20000.0, 20.0);
  EXPECT_EQ(Text(range.GetText()), "20.00 Hz");
  range.SetMinimumText("Off");
  EXPECT_EQ(Text(range.GetText()), "Off");
  EXPECT_EQ(Text(range.TextOfNormalised(0.0)), "Off");
  EXPECT_EQ(Text(range.TextOfNormalised(1.0)), "20.0 kHz");
}

TEST(RFrequencyRangePeriod, APeriodSetsItsReciprocalAndTinyOnesAreRefused) {
  RFrequencyRange range(1.0, 20000.0, 100.0);
  EXPECT_TRUE(range.SetPeriod(0.004));
  EXPECT_DOUBLE_EQ(range.GetValue(), 250.0);
  EXPECT_FALSE(range.SetPeriod(1e-10));
  EXPECT_FALSE(range.SetPeriod(0.0));
  EXPECT_FALSE(range.SetPeriod(-0.5));
  EXPECT_DOUBLE_EQ(range.GetValue(), 250.0);
  EXPECT_TRUE(range.SetPeriod(1e-9));  // clamped to max
  EXPECT_DOUBLE_EQ(range.GetValue(), 20000.0);
  // Only frequencies have periods.
  RValueRange linear(0.0, 10.0, 1.0);
  EXPECT_FALSE(linear.SetPeriod(0.5));
  EXPECT_DOUBLE_EQ(linear.GetValue(), 1.0);
  RTimeRange time(0.0, 10.0, 1.0);
  EXPECT_FALSE(time.SetPeriod(0.5));
}

TEST(RFrequencyRangeStepping, AFineStepMovesTheNormalisedValue) {
  RFrequencyRange range(20.0, 20000.0, 632.0);
  const double before = range.GetNormalised();
  EXPECT_TRUE(range.StepFine(2));
  EXPECT_NEAR(range.GetNormalised(), before + 0.0005, 1e-12);
}

} // namespace
