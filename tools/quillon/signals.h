#pragma once
// Test signals for `quillon render --generate`: silence, sine:HZ, noise, sweep, impulse, drums and chord,
// each with an optional :SECONDS, in stereo at the chosen rate.
//
//   silence[:S]      zeros
//   sine[:HZ[:S]]    a sine at -6 dBFS (440 Hz when no frequency is given)
//   noise[:S]        white noise at -6 dBFS peak, seeded, a different sequence per channel
//   sweep[:S]        a logarithmic sine sweep from 20 Hz to 20 kHz (or 0.45 of the rate) at -6 dBFS
//   impulse[:S]      one sample of 1.0 at the start of every channel, then zeros
//   drums[:S]        a drum pattern at 120 bpm, peak at -6 dBFS (tools/quillon/musicsignals.h)
//   chord[:S]        an A minor seventh chord of saw tones struck every 2 s, peak at -6 dBFS
//
// Without :SECONDS a signal lasts kDefaultSeconds.

#include <cstdint>
#include <string>

#include "tools/quillon/audiofile.h"

namespace quillon_cli {

struct RSignalSpec {
  enum Kind { kSilence, kSine, kNoise, kSweep, kImpulse, kDrums, kChord };
  static constexpr double kDefaultSeconds = 2.0;
  static constexpr double kDefaultSineHz = 440.0;

  Kind kind = kSilence;
  double hz = kDefaultSineHz;
  double seconds = kDefaultSeconds;
};

// Throws CommandError naming what is wrong with the text.
RSignalSpec ParseSignal(const std::string& text);

// The signal at the rate, in 32-bit float; throws CommandError for a rate below 1 Hz, or a
// sine at or above half of it.
RAudioData GenerateSignal(const RSignalSpec& spec, double rate, int32_t channels = 2);

} // namespace quillon_cli
