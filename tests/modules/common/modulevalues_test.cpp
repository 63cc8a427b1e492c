#include <gtest/gtest.h>

#include <cmath>

#include "base/tagitem.h"
#include "kernel/audiopluginbase.h"
#include "kernel/storecontext.h"
#include "modules/common/modulevalues.h"

namespace {

double Parsed(RRangedValue& value, const char* text) {
  double normalised = -1.0;
  EXPECT_TRUE(value.ParseToNormalised(RString::FromUTF8(text), normalised)) << text;
  return value.GetRange()->NormalisedToReal(normalised);
}

} // namespace

TEST(ModuleValues, GainTravelsInDecibelsAndHoldsTheFactor) {
  RGainValue gain(nullptr, RString("Input gain"), -24.0, 24.0, 0.0, RString("{+0.2} dB"));
  EXPECT_DOUBLE_EQ(gain.GetValue(), 1.0);
  EXPECT_DOUBLE_EQ(gain.GetDefaultNormalised(), 0.5);
  EXPECT_EQ(gain.GetText(), RString("0.00 dB"));
  gain.SetNormalised(0.75);
  EXPECT_NEAR(gain.GetValue(), std::pow(10.0, 12.0 / 20.0), 1e-12);
  EXPECT_EQ(gain.GetText(), RString("+12.00 dB"));
  EXPECT_NEAR(Parsed(gain, "-6 dB"), std::pow(10.0, -6.0 / 20.0), 1e-12);
  // Beyond the limits the factor is clamped by the value, not by the mapping.
  gain.SetNormalised(1.7);
  EXPECT_NEAR(gain.GetValue(), std::pow(10.0, 24.0 / 20.0), 1e-12);

  RGainValue plain(nullptr, RString("Gain"), -24.0, 24.0, -6.0);
  EXPECT_EQ(plain.GetText(), RString("-6.00 dB"));
}

TEST(ModuleValues, VolumePanAndPercentShowTheirUnits) {
  RVolumeValue volume(nullptr, RString("Volume"));
  EXPECT_EQ(volume.GetText(), RString("0.00 dB"));
  volume.SetNormalised(0.0);
  EXPECT_EQ(volume.GetText(), RString("silence"));
  EXPECT_DOUBLE_EQ(Parsed(volume, "silence"), 0.0);
  EXPECT_NEAR(Parsed(volume, "-6.02 dB"), 0.5, 1e-3);

  RPanValue pan(nullptr, RString("Panorama"));
  EXPECT_EQ(pan.GetText(), RString("center"));
  EXPECT_DOUBLE_EQ(Parsed(pan, "25% left"), -0.25);
  EXPECT_DOUBLE_EQ(Parsed(pan, "30% right"), 0.3);
  EXPECT_DOUBLE_EQ(Parsed(pan, "-0.5"), -0.5);
  EXPECT_DOUBLE_EQ(Parsed(pan, "center"), 0.0);

  RPercentValue ratio(nullptr, RString("Ratio"), 0.0, 1.0, 0.5);
  EXPECT_EQ(ratio.GetText(), RString("50.0%"));
  EXPECT_DOUBLE_EQ(Parsed(ratio, "75%"), 0.75);
  RPercentValue width(nullptr, RString("Widening"), -1.0, 2.0, 0.0);
  width.SetNormalised(1.0);
  EXPECT_EQ(width.GetText(), RString("+200.0%"));
}

TEST(ModuleValues, IntegersMoveInWholeSteps) {
  RIntegerValue bits(nullptr, RString("Bits"), 1, 16, 8);
  EXPECT_EQ(bits.GetText(), RString("8"));
  bits.SetNormalised(0.52);
  EXPECT_EQ(std::fmod(bits.GetValue(), 1.0), 0.0);
  bits.SetProcessing(1.0);
  EXPECT_EQ(bits.GetProcessingInt(), 16);
  RIntegerValue shift(nullptr, RString("Shift"), -16, 16, 2);
  EXPECT_EQ(shift.GetText(), RString("2"));
  shift.SetProcessing(0.0);
  EXPECT_EQ(shift.GetProcessingInt(), -16);
}

TEST(ModuleValues, Log10FrequencyStoresTheLogarithmAndNamesItsTop) {
  RLog10FrequencyValue lp(nullptr, RString("Low-pass"), 20.0, 20000.0, 8000.0, RString("Off"), RString("LP"));
  EXPECT_NE(lp.GetText(), RString("Off"));
  lp.SetNormalised(1.0);
  EXPECT_EQ(lp.GetText(), RString("Off"));
  EXPECT_NEAR(Parsed(lp, "Off"), 20000.0, 1e-9);
  EXPECT_NEAR(Parsed(lp, "1 kHz"), 1000.0, 1e-9);

  RTagItem element(RString("PluginSettings"));
  {
    RStoreContext save(element, RStoreContext::kWriting | RStoreContext::kNewKeys);
    lp.Store(save);
  }
  EXPECT_NEAR(element.FindAttribute(RHashedString("#LP"))->ToDouble(), 4.301029995663981, 1e-12);

  element.SetAttribute(RHashedString("#LP"), RVariant::FromDouble(3.0));
  RStoreContext load(element, RStoreContext::kNewKeys);
  lp.Store(load);
  EXPECT_NEAR(lp.GetValue(), 1000.0, 1e-9);
}

TEST(ModuleValues, ChoicesStoreTheirItemText) {
  RArray<RString> items;
  items.Add(RString("Squared"));
  items.Add(RString("Linear"));
  RModuleChoiceValue mode(nullptr, RString("Mode"), items, 0, RString("Mode"));
  mode.SetNormalised(1.0);
  RTagItem element(RString("PluginSettings"));
  {
    RStoreContext save(element, RStoreContext::kWriting | RStoreContext::kNewKeys);
    mode.Store(save);
  }
  EXPECT_EQ(element.FindAttribute(RHashedString("#Mode"))->ToText(), RString("Linear"));
  // An older state's index still reads.
  element.SetAttribute(RHashedString("#Mode"), 0);
  RStoreContext load(element, RStoreContext::kNewKeys);
  mode.Store(load);
  EXPECT_EQ(mode.GetIndex(), 0);
}
