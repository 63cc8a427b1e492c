#include "base/format.h"

#include <gtest/gtest.h>

#include <string>

#include "base/exception.h"

namespace {

std::string Text(const RFormat& f) { return f.Text().ToUTF8(); }
std::string Utf8(const RString& s) { return s.ToUTF8(); }

// ---------------------------------------------------------------------------------------------
// Writing

TEST(RFormatTemplate, ADoubleWithoutPrecisionPrintsFourDecimals) {
  EXPECT_EQ(Text(RFormat("{0}") << 1.5), "1.5000");
  EXPECT_EQ(Text(RFormat("{0.2} dB") << -6.0206), "-6.02 dB");
}

TEST(RFormatTemplate, ArgumentNumbersNotTextOrderDecideThePlace) {
  EXPECT_EQ(Text(RFormat("{1} {0}") << "a" << "b"), "b a");
  EXPECT_EQ(Text(RFormat("<{2}|{0}|{1}>") << "x" << "yy" << "zzz"), "<zzz|x|yy>");
}

TEST(RFormatTemplate, AdjacentPlaceholdersKeepTheirTemplateOrder) {
  EXPECT_EQ(Text(RFormat("{0}{1}") << "a" << "b"), "ab");
  EXPECT_EQ(Text(RFormat("{1}{0}") << "a" << "b"), "ba");
  EXPECT_EQ(Text(RFormat("{2}{0}{1}") << "a" << "b" << "c"), "cab");
}

TEST(RFormatTemplate, PlusFlagOnADoubleNeedsAValueAboveTheSilenceThreshold) {
  EXPECT_EQ(Text(RFormat("{+0.2}") << 0.0), "0.00");
  EXPECT_EQ(Text(RFormat("{+0.2}") << 1e-11), "0.00");
  EXPECT_EQ(Text(RFormat("{+0.2}") << 0.5), "+0.50");
  EXPECT_EQ(Text(RFormat("{+0.2}") << -0.5), "-0.50");
  EXPECT_EQ(Text(RFormat("{0+.1}%") << 12.25), "+12.2%");
}

TEST(RFormatTemplate, WidthPadsButNeverTruncates) {
  EXPECT_EQ(Text(RFormat("{0:02}") << 7), "07");
  EXPECT_EQ(Text(RFormat("{0:02}") << 123), "123");
  EXPECT_EQ(Text(RFormat("[{0 04}]") << 5), "[   5]");
  EXPECT_EQ(Text(RFormat("{1;03}-{0}") << 1 << 2), "002-1");
}

TEST(RFormatTemplate, HexadecimalUsesUpperCaseDigits) {
  EXPECT_EQ(Text(RFormat("{0x;02}") << 10), "0A");
  EXPECT_EQ(Text(RFormat("{0x}") << uint64_t(0xDEADBEEF)), "DEADBEEF");
  EXPECT_EQ(Text(RFormat("{0x}") << int64_t(-255)), "-FF");
}

TEST(RFormatTemplate, MinusGoesInFrontOfThePadding) {
  EXPECT_EQ(Text(RFormat("{0:03}") << -7), "-007");
  EXPECT_EQ(Text(RFormat("{0}") << INT64_MIN), "-9223372036854775808");
}

TEST(RFormatTemplate, PlusFlagOnIntegersSkipsZero) {
  EXPECT_EQ(Text(RFormat("{0+}") << 0), "0");
  EXPECT_EQ(Text(RFormat("{0+}") << 3), "+3");
  EXPECT_EQ(Text(RFormat("{0+}") << -3), "-3");
  EXPECT_EQ(Text(RFormat("{0+}") << uint64_t(0)), "0");
  EXPECT_EQ(Text(RFormat("{0+}") << UINT64_MAX), "+18446744073709551615");
}

TEST(RFormatTemplate, DoubledBracesAreLiteralAndTakeNoArgument) {
  EXPECT_EQ(Text(RFormat("{{0}}")), "{0}");
  EXPECT_EQ(Text(RFormat("{{{0}}}") << "v"), "{v}");
  // A lone closing brace is dropped and the character behind it kept.
  EXPECT_EQ(Text(RFormat("a}}b}c")), "a}bc");
}

TEST(RFormatTemplate, StringsIgnoreWidthAndPrecision) {
  EXPECT_EQ(Text(RFormat("{0:05.2}") << "ab"), "ab");
  EXPECT_EQ(Utf8(RFormat("{0}!") << RString(u"\u00e9t\u00e9", 3)), "\u00e9t\u00e9!");
}

TEST(RFormatTemplate, ARepeatedIndexFillsOnlyItsLastPlace) {
  EXPECT_EQ(Text(RFormat("{0}-{0}") << "x"), "-x");
}

TEST(RFormatTemplate, AnUnfedArgumentLeavesNothing) {
  EXPECT_EQ(Text(RFormat("a{0}b{1}c") << "X"), "aXbc");
}

TEST(RFormatTemplate, ATemplateEndingInsideAPlaceholderThrows) {
  try {
    RFormat f("value {0.2");
    FAIL() << "no exception";
  } catch (const RException& e) {
    EXPECT_EQ(Utf8(e.GetMessage()), "Formatting string ends in an argument specification.");
    EXPECT_EQ(e.GetCode(), 0);
  }
  EXPECT_THROW(RFormat("{"), RException);
}

TEST(RFormatTemplate, LongTemplatesPassThroughTheStagingBuffer) {
  std::string head(300, 'h');
  std::string tail(600, 't');
  RString templ = RString::FromLatin1(head + "{0}" + tail);
  std::string out = Text(RFormat(templ) << "MID");
  EXPECT_EQ(out, head + "MID" + tail);
}

TEST(RFormatTemplate, ThirtyTwoArgumentsFitAndFurtherFeedsAreIgnored) {
  RFormat f("{31}|{0}");
  for (int i = 0; i < 34; ++i) f << i;
  EXPECT_EQ(Text(f), "31|0");
  // Indices past the last record name nothing.
  EXPECT_EQ(Text(RFormat("a{32}b") << "x"), "ab");
}

TEST(RFormatTemplate, TheIndexTakesAtMostThreeCharacters) {
  // "0012" reads as index 1, and the leftover '2' is skipped as a specification character.
  EXPECT_EQ(Text(RFormat("{0012}") << "a" << "b"), "b");
}

TEST(RFormatTemplate, PrecisionFieldReadsTwoDigits) {
  EXPECT_EQ(Text(RFormat("{0;.2}") << 2.0 / 3.0), "0.67");
  EXPECT_EQ(Text(RFormat("{0.12}") << 0.1), "0.1");
  EXPECT_EQ(Text(RFormat("{0.6},{1.6}") << 1.0 << 2.0), "1.000000,2.000000");
}

// ---------------------------------------------------------------------------------------------
// Double to text

TEST(RNumberTextDoubleToText, PrecisionZeroRoundsHalvesToEven) {
  EXPECT_EQ(Utf8(RNumberText::DoubleToText(0.5, 0)), "0");
  EXPECT_EQ(Utf8(RNumberText::DoubleToText(1.5, 0)), "2");
  EXPECT_EQ(Utf8(RNumberText::DoubleToText(2.5, 0)), "2");
  EXPECT_EQ(Utf8(RNumberText::DoubleToText(-0.4, 0)), "0");
  EXPECT_EQ(Utf8(RNumberText::DoubleToText(-2.6, 0)), "-3");
}

TEST(RNumberTextDoubleToText, FixedPrecisionZeroesTinyValues) {
  EXPECT_EQ(Utf8(RNumberText::DoubleToText(-1e-7, 2)), "0.00");
  EXPECT_EQ(Utf8(RNumberText::DoubleToText(-0.004, 2)), "-0.00");
  EXPECT_EQ(Utf8(RNumberText::DoubleToText(3.14159, 3)), "3.142");
}

TEST(RNumberTextDoubleToText, HighPrecisionUsesGeneralNotation) {
  EXPECT_EQ(Utf8(RNumberText::DoubleToText(1e-7, 10)), "1e-07");
  EXPECT_EQ(Utf8(RNumberText::DoubleToText(0.1, 17)), "0.10000000000000001");
}

// ---------------------------------------------------------------------------------------------
// Reading

TEST(RNumberTextReading, ACommaReadsAsADecimalPoint) {
  EXPECT_DOUBLE_EQ(RNumberText::TextToDouble("1,5"), 1.5);
  EXPECT_DOUBLE_EQ(RNumberText::TextToDouble(" -2.25e1"), -22.5);
  EXPECT_DOUBLE_EQ(RNumberText::TextToDouble("+4"), 4.0);
  EXPECT_DOUBLE_EQ(RNumberText::TextToDouble("7.5 dB"), 7.5);
}

TEST(RNumberTextReading, UnreadableTextIsZero) {
  EXPECT_EQ(RNumberText::TextToDouble("abc"), 0.0);
  EXPECT_EQ(RNumberText::TextToDouble(""), 0.0);
  EXPECT_EQ(RNumberText::TextToDouble("+-1"), 0.0);
}

TEST(RNumberTextReading, IntegersStopSilentlyAtTheFirstOtherCharacter) {
  EXPECT_EQ(RNumberText::TextToInteger("-42abc"), -42);
  EXPECT_EQ(RNumberText::TextToInteger("x1"), 0);
  EXPECT_EQ(RNumberText::TextToInteger("1F", false), 1);
  EXPECT_EQ(RNumberText::TextToInteger("1Fz", true), 31);
  EXPECT_EQ(RNumberText::TextToInteger("-ff", true), -255);
}

TEST(RFormatScanTemplate, APairByCommaFindsTwoFields) {
  int32_t a = -1, b = -1;
  RFormatScan scan("{0},{1}", "12,34");
  scan >> a >> b;
  EXPECT_EQ(scan.FieldCount(), 2);
  EXPECT_EQ(a, 12);
  EXPECT_EQ(b, 34);
}

TEST(RFormatScanTemplate, ReadingBeyondTheFieldsFoundLeavesTheTarget) {
  int32_t a = -1, b = -1;
  RString s("untouched");
  RFormatScan scan("{0},{1}", "12");
  scan >> a >> b >> s;
  EXPECT_EQ(scan.FieldCount(), 1);
  EXPECT_EQ(a, 12);
  EXPECT_EQ(b, -1);
  EXPECT_EQ(Utf8(s), "untouched");
}

TEST(RFormatScanTemplate, ALiteralMismatchStopsTheScan) {
  RFormatScan scan("{0}:{1}", "12;34");
  EXPECT_EQ(scan.FieldCount(), 1);
  RString first;
  scan >> first;
  EXPECT_EQ(Utf8(first), "12;34");
  EXPECT_EQ(RFormatScan("a{0}", "b7").FieldCount(), 0);
}

TEST(RFormatScanTemplate, BlanksMatchAnyRunOfWhiteSpace) {
  int32_t h = 0, w = 0;
  RFormatScan scan("{0} x {1}", "640 \t x   480");
  scan >> h >> w;
  EXPECT_EQ(scan.FieldCount(), 2);
  EXPECT_EQ(h, 640);
  EXPECT_EQ(w, 480);
  // A blank in the template needs one in the input.
  EXPECT_EQ(RFormatScan("{0} {1}", "1,2").FieldCount(), 1);
}

TEST(RFormatScanTemplate, HexFieldsAndNarrowTargets) {
  int8_t small = 0;
  int16_t mid = 0;
  int64_t big = 0;
  RFormatScan scan("{0x}/{1}/{2}", "7f/-300/123456789012");
  scan >> small >> mid >> big;
  EXPECT_EQ(small, 127);
  EXPECT_EQ(mid, -300);
  EXPECT_EQ(big, 123456789012);
}

TEST(RFormatScanTemplate, BracesInTheTemplateMatchTheInput) {
  double v = 0;
  RFormatScan scan("{{{0}}}", "{2,5}");
  scan >> v;
  EXPECT_EQ(scan.FieldCount(), 1);
  EXPECT_DOUBLE_EQ(v, 2.5);
  EXPECT_EQ(RFormatScan("{{{0}", "(1").FieldCount(), 0);
}

TEST(RFormatScanTemplate, ATemplateEndingInsideAPlaceholderThrows) {
  EXPECT_THROW(RFormatScan("{0", "12"), RException);
}

TEST(RNumberTextPairs, TheSemicolonFormIsTheSecondAttempt) {
  double x = 0, y = 0;
  EXPECT_EQ(RNumberText::ReadPair("12;34", x, y), 2);
  EXPECT_DOUBLE_EQ(x, 12);
  EXPECT_DOUBLE_EQ(y, 34);
  int32_t i = 5, j = 6;
  EXPECT_EQ(RNumberText::ReadPair("-3,4", i, j), 2);
  EXPECT_EQ(i, -3);
  EXPECT_EQ(j, 4);
}

TEST(RNumberTextPairs, AShortPairKeepsTheSecondDefault) {
  int32_t i = 5, j = 6;
  EXPECT_EQ(RNumberText::ReadPair("12", i, j), 1);
  EXPECT_EQ(i, 12);
  EXPECT_EQ(j, 6);
  EXPECT_EQ(RNumberText::ReadPair("", i, j), 0);
  EXPECT_EQ(i, 12);
}

} // namespace
