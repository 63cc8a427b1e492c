#pragma once
// How parameters show their values: gains in dB, times in ms, frequencies, panorama,
// percentages, phase and notes. Every threshold here is part of the look of the product, so
// the numbers below are exact and tested; all text goes through RFormat.

#include <cstdint>

#include "base/string.h"

namespace RValueDisplay {

// Linear gain: "silence" below 1e-10, else dB with 1 decimal from |dB| >= 10, 2 below: "-6.02 dB".
RString Gain(double linear);
// The same number without unit; "-inf" below 1e-10.
RString GainBare(double linear);
// Seconds shown in ms: "0 ms" below 1e-10 s; 3, 2, 1 or 0 decimals by magnitude.
RString Time(double seconds);
// Hertz: "0 Hz", decimals shrinking with magnitude, "kHz" from 10 kHz.
RString Frequency(double hertz);
// -1..1: "center", "N% left", "N% right".
RString Panorama(double position);
// Ratio 0..1 as percent, 1 decimal from 1% on, 2 below.
RString Percent(double ratio);
// As Percent, with '+' in front of positive values.
RString SignedPercent(double ratio);
// Fraction of a turn: "90° (25.0%)".
RString Phase(double turns);
// Nearest note and deviation: "A4 (0 cents)"; empty below the lowest representable note.
RString NoteOfFrequency(double hertz);
// Only the deviation from the nearest note: "+12 cents"; empty where NoteOfFrequency is.
RString CentsOfFrequency(double hertz);
// MIDI note number: 60 is "C4", 69 "A4".
RString NoteName(int32_t midiNote);

} // namespace RValueDisplay
