#pragma once
// The two level followers of the channel tool. Each turns one channel's audio into its level, a
// signal from 0 up that can modulate or be looked at, sample by sample.
//
//   RRMSFollower       the root mean square over the last Length seconds (a sliding window,
//                      so a steady sine reads its RMS exactly once the window is full), held
//                      at a peak for Hold seconds before it follows a fall.
//   REnvelopeFollower  the rectified signal through a one-pole smoother with its own rise and
//                      fall times: y += (1 - e) (|x| - y), e = exp(-1 / (time * rate)).
//
// Input is taken as finite and within +-100 (+40 dB over full scale): NaN reads as 0 and larger
// values as the limit. Beyond keeping squares finite, the limit bounds what a burst can leave
// in the running sum: its rounding stays near 1e-16 of the largest total the window held, and
// with squares of at most 1e4 that reads below -120 dB once the burst has left the window.
//
// Reserve allocates (setup); Configure allocates only beyond the reserve; Clear and Process are
// [audio-thread] and noexcept.

#include <cstdint>

#include "modules/dsp/movingsum.h"

// The coefficient of a one-pole smoother that closes 1 - 1/e of a step in seconds: exp(-1 /
// (seconds * rate)), 0 (no smoothing) when seconds * rate is below 1e-10.
double FollowerCoefficient(double seconds, double sampleRate) noexcept;

// NaN to 0, the rest held to +-100.
float FollowerInput(float x) noexcept;

class RRMSFollower {
public:
  // Makes room for windows up to maxSeconds, so that Configure below it allocates nothing.
  void Reserve(double maxSeconds, double sampleRate);
  // A new window length starts the window empty; the same length keeps it.
  void Configure(double lengthSeconds, double holdSeconds, double sampleRate);
  void Clear() noexcept;

  int32_t GetWindowLength() const noexcept { return sum_.GetLength(); }
  // In place.
  void Process(float* samples, int32_t count) noexcept;

private:
  RMovingSum sum_;
  int32_t holdSamples_ = 0;
  int32_t holdLeft_ = 0;
  double held_ = 0.0;
};

class REnvelopeFollower {
public:
  void Configure(double attackSeconds, double releaseSeconds, double sampleRate) noexcept;
  void Clear() noexcept { level_ = 0.0; }
  // In place.
  void Process(float* samples, int32_t count) noexcept;

private:
  double attack_ = 0.0;
  double release_ = 0.0;
  double level_ = 0.0;
};
