#pragma once
// The prototype low-pass of the oversampler (kernel/oversampler.h): a Kaiser-windowed sinc at
// factor times the host rate with its cut-off at the host's Nyquist frequency, so that the
// passband and stopband edges sit symmetrically about it and scale with the host rate.
//
// Both qualities are figures of the host rate fs (the design never sees the rate itself); the
// delay is that of the round trip, up and down, in host samples:
//
//   quality    T (taps per phase)   Kaiser beta   passband, flat within     stopband, attenuation   delay
//   standard   20                   6.3           0 - 0.4 fs, 0.006 dB      0.6 fs up, >= 63 dB     20
//   HQ         40                   10.4          0 - 0.4167 fs, 0.0001 dB  0.5833 fs up, >= 100 dB  40
//
// (Measured: standard 63.6 to 64.3 dB, HQ 102.2 to 102.8 dB from 2x to 8x.) At 48 kHz HQ is
// flat to 20 kHz and stops from 28 kHz, so nothing that lands below 20 kHz after a round trip
// has been an image or an alias; standard passes to 19.2 kHz and stops from 28.8 kHz. The
// tests check these figures through the filters' own impulse responses. Beta is the best of
// each length: more would widen the transition past the edges, less would lift the sidelobes.
//
// [host-thread]: design allocates; nothing here runs on the audio thread.

#include <cstdint>
#include <vector>

namespace ROversamplingFilter {

struct Quality {
  int32_t tapsPerPhase;  // T: the filter has T * factor + 1 points, T host samples of round trip
  double kaiserBeta;
  double passbandEdge;   // fractions of the host rate, for the tests and the record
  double stopbandEdge;
};

const Quality& Standard() noexcept;
const Quality& HQ() noexcept;

// The prototype for this factor (>= 2): tapsPerPhase * factor + 1 points, symmetric, linear
// phase with its centre at tapsPerPhase * factor / 2. Every polyphase component (the points
// p, p + factor, p + 2 factor, ...) sums to exactly 1, so the whole filter has a gain of
// factor at DC and a constant input interpolates without any ripple. tapsPerPhase must be even
// so that the centre falls on a point and the length is odd for any factor.
std::vector<double> DesignPrototype(int32_t factor, int32_t tapsPerPhase, double kaiserBeta);

// The modified Bessel function of the first kind, order 0, by its power series.
double BesselI0(double x) noexcept;

} // namespace ROversamplingFilter
