#include "base/valuedisplay.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using namespace RValueDisplay;

std::string U(const RString& s) { return s.ToUTF8(); }

TEST(RValueDisplayGain, SilenceStartsBelowTheThreshold) {
  EXPECT_EQ(U(Gain(0.0)), "silence");
  EXPECT_EQ(U(Gain(-1.0)), "silence");
  EXPECT_EQ(U(Gain(9.9e-11)), "silence");
  EXPECT_EQ(U(Gain(1e-10)), "-200.0 dB");
}

TEST(RValueDisplayGain, DecimalsDropToOneFromTenDecibels) {
  EXPECT_EQ(U(Gain(1.0)), "0.00 dB");
  EXPECT_EQ(U(Gain(0.5)), "-6.02 dB");
  EXPECT_EQ(U(Gain(2.0)), "6.02 dB");
  EXPECT_EQ(U(Gain(3.5)), "10.9 dB");
  EXPECT_EQ(U(Gain(0.1)), "-20.0 dB");
}

TEST(RValueDisplayGain, TheBareFormHasNoUnitAndShowsMinusInfinity) {
  EXPECT_EQ(U(GainBare(0.0)), "-inf");
  EXPECT_EQ(U(GainBare(0.5)), "-6.02");
  EXPECT_EQ(U(GainBare(1e-10)), "-200.0");
}

TEST(RValueDisplayTime, DecimalsShrinkAsTheTimeGrows) {
  EXPECT_EQ(U(Time(0.0)), "0 ms");
  EXPECT_EQ(U(Time(-5e-11)), "0 ms");
  EXPECT_EQ(U(Time(0.00005)), "0.050 ms");
  EXPECT_EQ(U(Time(0.0001)), "0.10 ms");
  EXPECT_EQ(U(Time(0.0005)), "0.50 ms");
  EXPECT_EQ(U(Time(0.005)), "5.0 ms");
  EXPECT_EQ(U(Time(0.25)), "250 ms");
  EXPECT_EQ(U(Time(-0.02)), "-20 ms");
}

TEST(RValueDisplayFrequency, DecimalsAndUnitFollowTheMagnitude) {
  EXPECT_EQ(U(Frequency(0.0)), "0 Hz");
  EXPECT_EQ(U(Frequency(5e-6)), "0 Hz");
  EXPECT_EQ(U(Frequency(0.5)), "0.5000 Hz");
  EXPECT_EQ(U(Frequency(5.0)), "5.000 Hz");
  EXPECT_EQ(U(Frequency(50.0)), "50.00 Hz");
  EXPECT_EQ(U(Frequency(440.0)), "440.0 Hz");
  EXPECT_EQ(U(Frequency(1000.0)), "1000 Hz");
  EXPECT_EQ(U(Frequency(9999.99)), "10000 Hz");
  EXPECT_EQ(U(Frequency(15000.0)), "15.0 kHz");
  EXPECT_EQ(U(Frequency(-50.0)), "-50.00 Hz");
}

TEST(RValueDisplayFrequency, ThresholdsSitJustBelowTheRoundNumbers) {
  // Within 1e-10 of 1 Hz already counts as 1 Hz and takes 3 decimals, not 4.
  EXPECT_EQ(U(Frequency(0.99999999995)), "1.000 Hz");
  EXPECT_EQ(U(Frequency(0.9999)), "0.9999 Hz");
}

TEST(RValueDisplayPanorama, CenterThenRoundedSides) {
  EXPECT_EQ(U(Panorama(0.0)), "center");
  EXPECT_EQ(U(Panorama(-1e-11)), "center");
  EXPECT_EQ(U(Panorama(0.5)), "50% right");
  EXPECT_EQ(U(Panorama(-0.25)), "25% left");
  EXPECT_EQ(U(Panorama(1.0)), "100% right");
  const std::string half = U(Panorama(0.005));
  EXPECT_TRUE(half == "0% right" || half == "1% right") << half;
}

TEST(RValueDisplayPercent, TwoDecimalsBelowOnePercent) {
  EXPECT_EQ(U(Percent(0.5)), "50.0%");
  EXPECT_EQ(U(Percent(0.01)), "1.0%");
  EXPECT_EQ(U(Percent(0.005)), "0.50%");
  EXPECT_EQ(U(Percent(-0.5)), "-50.0%");
}

TEST(RValueDisplayPercent, TheSignedFormMarksPositiveValuesOnly) {
  EXPECT_EQ(U(SignedPercent(0.5)), "+50.0%");
  EXPECT_EQ(U(SignedPercent(0.005)), "+0.50%");
  EXPECT_EQ(U(SignedPercent(-0.005)), "-0.50%");
  EXPECT_EQ(U(SignedPercent(0.0)), "0.00%");
}

TEST(RValueDisplayPhase, DegreesAndPercentOfATurn) {
  EXPECT_EQ(U(Phase(0.25)), "90\u00B0 (25.0%)");
  EXPECT_EQ(U(Phase(-0.5)), "-180\u00B0 (-50.0%)");
  EXPECT_EQ(U(Phase(0.0)), "0\u00B0 (0%)");
  EXPECT_EQ(U(Phase(1e-11)), "0\u00B0 (0%)");
}

TEST(RValueDisplayNotes, ConcertPitchIsA4WithNoSignOnZeroCents) {
  EXPECT_EQ(U(NoteOfFrequency(440.0)), "A4 (0 cents)");
  EXPECT_EQ(U(NoteOfFrequency(261.6255653)), "C4 (0 cents)");
  EXPECT_EQ(U(NoteOfFrequency(8.175798915643707)), "C-1 (0 cents)");
  EXPECT_EQ(U(CentsOfFrequency(440.0)), "0 cents");
}

TEST(RValueDisplayNotes, DeviationIsRoundedToWholeCentsWithASign) {
  EXPECT_EQ(U(NoteOfFrequency(450.0)), "A4 (+39 cents)");
  EXPECT_EQ(U(NoteOfFrequency(430.0)), "A4 (-40 cents)");
  EXPECT_EQ(U(CentsOfFrequency(450.0)), "+39 cents");
  EXPECT_EQ(U(CentsOfFrequency(430.0)), "-40 cents");
}

TEST(RValueDisplayNotes, FrequenciesBelowTheAddedOctavesHaveNoName) {
  // The hundred added octaves reach far below hearing; beneath them the text is empty.
  EXPECT_EQ(U(NoteOfFrequency(1e-28)), "B-98 (+46 cents)");
  EXPECT_EQ(U(NoteOfFrequency(1e-30)), "");
  EXPECT_EQ(U(CentsOfFrequency(1e-30)), "");
  EXPECT_EQ(U(NoteOfFrequency(0.0)), "");
  EXPECT_EQ(U(NoteOfFrequency(-440.0)), "");
}

TEST(RValueDisplayNotes, MidiNumbersNameTheirOctaveFromMinusOne) {
  EXPECT_EQ(U(NoteName(60)), "C4");
  EXPECT_EQ(U(NoteName(69)), "A4");
  EXPECT_EQ(U(NoteName(61)), "C#4");
  EXPECT_EQ(U(NoteName(0)), "C-1");
  EXPECT_EQ(U(NoteName(127)), "G9");
  EXPECT_EQ(U(NoteName(-1)), "B-2");
}

} // namespace
