#pragma once
// The detector and gain computer of RSqueezeStage, apart from the parameter table.
//
// Per sample, from a detector level (a linear amplitude):
//   1. the static curve gives the reduction in dB for the level in dB: nothing below the knee,
//      (1 - 1/ratio) (level - threshold) above it, and across the knee of width W the quadratic
//      (1 - 1/ratio) (level - threshold + W/2)^2 / (2 W) that joins the two without a corner;
//   2. the automatic makeup is taken off, so the quantity smoothed is the net gain change in
//      dB; a threshold that moves under a signal at the makeup's reference level then moves
//      both terms alike and the level stays put;
//   3. release: a held peak that falls back towards the target with the release time and
//      jumps up to it at once; attack: a one-pole that rises towards the held peak with the
//      attack time and follows it down at once. Both work in dB, so a step of the level gives
//      the reduction an exponential course with exactly the set time constants, and a
//      steady sine, whose level dips to nothing twice a period, still reads as its peak.
//   4. the gain is 10^(-smoothed / 20).
// Levels below the knee never reach the logarithm.
//
// [audio-thread], allocation-free; Configure may run on any thread that owns the settings.

#include <cstdint>

struct RSqueezeCurve {
  double threshold = -18.0;  // dB
  double ratio = 4.0;        // 1..20
  double knee = 6.0;         // dB, full width

  // Reduction in dB (>= 0) for a level in dB.
  double Reduction(double levelDb) const noexcept;
  // The linear amplitude at which the knee begins; below it nothing is reduced.
  double KneeStart() const noexcept;
};

struct RSqueezeEnvelope {
  double held = 0.0;      // the release stage, in dB of net reduction
  double smoothed = 0.0;  // the attack stage: what the gain follows

  // Starts at rest: no reduction beyond the makeup.
  void Rest(double makeupDb) noexcept { held = smoothed = -makeupDb; }
};

class RSqueezeDetector {
public:
  // A signal peaking at -6 dBFS keeps its level under automatic makeup: loud material stays
  // as loud while everything below it is brought up.
  static constexpr double kMakeupReferenceDb = -6.0;
  // Detector input is held to +120 dB: infinities and huge values stay finite in the state.
  static constexpr float kMaxLevel = 1e6f;

  // Times in seconds; attack and release coefficients are exp(-1 / (time * rate)). Only what
  // changed is recomputed.
  void Configure(const RSqueezeCurve& curve, bool autoMakeup, double attack, double release,
                 double sampleRate) noexcept;

  const RSqueezeCurve& GetCurve() const noexcept { return curve_; }
  // The automatic makeup in dB, 0 when it is off.
  double GetMakeupDb() const noexcept { return makeupDb_; }

  // levels: count linear amplitudes (finite, >= 0, see Level); gains: count linear factors.
  // Returns the deepest reduction over the run in dB, makeup not counted (0 when none).
  double Run(const float* levels, float* gains, int32_t count, RSqueezeEnvelope& state) const noexcept;
  // The same from levels already in dB (finite).
  double RunDecibels(const float* levelsDb, float* gains, int32_t count, RSqueezeEnvelope& state) const noexcept;

  // A sample's amplitude as the detector takes it: NaN as silence, anything above kMaxLevel
  // (infinities too) as kMaxLevel.
  static float Level(float x) noexcept {
    const float a = x < 0.0f ? -x : x;
    return a <= kMaxLevel ? a : (a > kMaxLevel ? kMaxLevel : 0.0f);
  }

private:
  // The envelope over count levels, reduction(level) giving the curve's reduction in dB.
  template <class Reduction>
  double RunEnvelope(const float* levels, float* gains, int32_t count, RSqueezeEnvelope& state,
                     Reduction reduction) const noexcept;

  RSqueezeCurve curve_;
  float kneeStart_ = 0.0f;
  double makeupDb_ = 0.0;
  double attack_ = -1.0;
  double release_ = -1.0;
  double rate_ = 0.0;
  double attackCoefficient_ = 0.0;
  double releaseCoefficient_ = 0.0;
};
