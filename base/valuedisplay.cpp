#include "base/valuedisplay.h"

#include <algorithm>
#include <cmath>

#include "base/format.h"

namespace RValueDisplay {
namespace {

// Used as products in exactly this form: log10, log2 or a division by 440 round differently
// in the last bit, which moves values sitting on a display threshold or a half cent.
constexpr double kDecibelsPerNeper = 8.685889638065037;   // 20 / ln 10
constexpr double kInverseA4 = 1.0 / 440.0;
constexpr double kSemitonesPerNeper = 17.31234049066756;  // 12 / ln 2
// A4 is note 69; 100 octaves are added so that every audible note number stays positive.
constexpr double kA4WithHundredOctaves = 1269.0;
constexpr int64_t kOctaveOffset = 101;  // 100 added octaves and MIDI's octave -1

constexpr double kSilence = 1e-10;

// Index 0 is C; literals, so that naming a note allocates nothing.
RString NoteNameOf(int64_t index) {
  static const RString kNames[12] = {"C", "C#", "D", "D#", "E", "F", "F#", "G", "G#", "A", "A#", "B"};
  return kNames[index];
}

// U+00B0 as a Latin-1 literal.
RString DegreeSign() { return RString("\xB0"); }

// Round half to even, kept inside the range of int64_t.
int64_t RoundToInteger(double value) {
  const double rounded = std::nearbyint(value);
  if (std::isnan(rounded)) return 0;
  return int64_t(std::clamp(rounded, -9.0e18, 9.0e18));
}

RString Decibels(double linear, bool withUnit) {
  const double db = std::log(linear) * kDecibelsPerNeper;
  if (std::fabs(db) >= 10.0) return RFormat(withUnit ? RString("{0.1} dB") : RString("{0.1}")) << db;
  return RFormat(withUnit ? RString("{0.2} dB") : RString("{0.2}")) << db;
}

// Note number with 100 octaves added, in fractions of a semitone; negative or not finite
// for frequencies too low (or invalid) to name.
double NoteNumber(double hertz) { return std::log(hertz * kInverseA4) * kSemitonesPerNeper + kA4WithHundredOctaves; }

bool IsNameable(double note) { return std::isfinite(note) && std::nearbyint(note) >= 0.0; }

} // namespace

RString Gain(double linear) {
  if (!(linear >= kSilence)) return "silence";
  return Decibels(linear, true);
}

RString GainBare(double linear) {
  if (!(linear >= kSilence)) return "-inf";
  return Decibels(linear, false);
}

RString Time(double seconds) {
  const double t = std::fabs(seconds);
  if (t < kSilence) return "0 ms";
  const double ms = seconds * 1000.0;
  if (t < 0.0001) return RFormat("{0.3} ms") << ms;
  if (t < 0.001) return RFormat("{0.2} ms") << ms;
  if (t < 0.01) return RFormat("{0.1} ms") << ms;
  return RFormat("{0.0} ms") << ms;
}

RString Frequency(double hertz) {
  const double f = std::fabs(hertz);
  if (f < 9.9999e-6) return "0 Hz";
  if (f >= 9999.9999999999) return RFormat("{0.1} kHz") << hertz * 0.001;
  if (f >= 999.9999999999) return RFormat("{0.0} Hz") << hertz;
  if (f < 0.9999999999) return RFormat("{0.4} Hz") << hertz;
  if (f < 9.9999999999) return RFormat("{0.3} Hz") << hertz;
  if (f < 99.9999999999) return RFormat("{0.2} Hz") << hertz;
  return RFormat("{0.1} Hz") << hertz;
}

RString Panorama(double position) {
  if (std::fabs(position) < kSilence) return "center";
  if (position > 0.0) return RFormat("{0}% right") << RoundToInteger(100.0 * position);
  return RFormat("{0}% left") << RoundToInteger(-100.0 * position);
}

RString Percent(double ratio) {
  if (std::fabs(ratio) >= 0.01) return RFormat("{0.1}%") << 100.0 * ratio;
  return RFormat("{0.2}%") << 100.0 * ratio;
}

RString SignedPercent(double ratio) {
  if (std::fabs(ratio) >= 0.01) return RFormat("{0+.1}%") << 100.0 * ratio;
  return RFormat("{0+.2}%") << 100.0 * ratio;
}

RString Phase(double turns) {
  if (std::fabs(turns) >= kSilence)
    return RFormat("{0}{1} ({2.1}%)") << RoundToInteger(360.0 * turns) << DegreeSign() << 100.0 * turns;
  return RFormat("0{0} (0%)") << DegreeSign();
}

RString NoteOfFrequency(double hertz) {
  const double n = NoteNumber(hertz);
  if (!IsNameable(n)) return RString();
  const int64_t m = RoundToInteger(n);
  return RFormat("{0}{1} ({2+} cents)") << NoteNameOf(m % 12) << m / 12 - kOctaveOffset
                                        << RoundToInteger((n - double(m)) * 100.0);
}

RString CentsOfFrequency(double hertz) {
  const double n = NoteNumber(hertz);
  if (!IsNameable(n)) return RString();
  const int64_t m = RoundToInteger(n);
  return RFormat("{0+} cents") << RoundToInteger((n - double(m)) * 100.0);
}

RString NoteName(int32_t midiNote) {
  // Floor division, so that notes below 0 still name a pitch ("B-2" for -1).
  const int64_t k = midiNote;
  const int64_t octave = (k >= 0 ? k / 12 : (k - 11) / 12);
  return RFormat("{0}{1}") << NoteNameOf(k - octave * 12) << octave - 1;
}

} // namespace RValueDisplay
