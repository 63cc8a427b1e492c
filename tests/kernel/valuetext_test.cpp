// Reading typed numbers and writing millisecond counts.
#include <gtest/gtest.h>

#include <cmath>

#include "kernel/valuetext.h"

namespace {

TEST(RValueTextNumbers, ANumberAtTheStartIsReadAndTheRestIgnored) {
  const struct {
    const char* text;
    double value;
  } cases[] = {{"12.5", 12.5}, {"  -3,25 dB", -3.25}, {"+7", 7.0},  {"1e3 Hz", 1000.0},
               {"5e", 5.0},    {"2.5E-2", 0.025},    {".5", 0.5},  {"-0", 0.0},
               {"42ms", 42.0}, {"1e999", HUGE_VAL}};
  for (const auto& c : cases) {
    double v = -99.0;
    EXPECT_TRUE(RValueText::ReadNumber(RString::FromUTF8(c.text), v)) << c.text;
    EXPECT_DOUBLE_EQ(v, c.value) << c.text;
  }
}

TEST(RValueTextNumbers, TextWithoutANumberLeavesTheTargetAlone) {
  for (const char* text : {"", "dB", "-", "+.", ". 5", "e5", "kHz 5"}) {
    double v = -99.0;
    EXPECT_FALSE(RValueText::ReadNumber(RString::FromUTF8(text), v)) << text;
    EXPECT_EQ(v, -99.0) << text;
  }
}

TEST(RValueTextMilliseconds, WholeSecondsMillisecondsAndDecimalCommas) {
  EXPECT_EQ(RValueText::MillisecondCount(0, false).ToUTF8(), "0 s");
  EXPECT_EQ(RValueText::MillisecondCount(0, true).ToUTF8(), "0 s");
  EXPECT_EQ(RValueText::MillisecondCount(3000, false).ToUTF8(), "3 s");
  EXPECT_EQ(RValueText::MillisecondCount(2000, true).ToUTF8(), "2 s");
  EXPECT_EQ(RValueText::MillisecondCount(250, true).ToUTF8(), "250ms");
  EXPECT_EQ(RValueText::MillisecondCount(1500, true).ToUTF8(), "1500ms");
  EXPECT_EQ(RValueText::MillisecondCount(1500, false).ToUTF8(), "1,5 s");
  EXPECT_EQ(RValueText::MillisecondCount(1250, false).ToUTF8(), "1,25 s");
  EXPECT_EQ(RValueText::MillisecondCount(2005, false).ToUTF8(), "2,005 s");
  EXPECT_EQ(RValueText::MillisecondCount(250, false).ToUTF8(), "0,25 s");
  EXPECT_EQ(RValueText::MillisecondCount(-1500, false).ToUTF8(), "-1,5 s");
  EXPECT_EQ(RValueText::MillisecondCount(90061000, false).ToUTF8(), "90061 s");
}

} // namespace
