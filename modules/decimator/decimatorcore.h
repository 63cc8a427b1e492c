#pragma once
// The DSP core of the decimator: a word stage that rounds each sample to a grid of 2^-b, and
// a rate stage that takes the input at a lower rate and leans from each taken value towards
// the one before it. Both spread their setting across channels: the word length goes up on
// even channels and down on odd ones, the rate period down on even channels and up on odd
// ones.
//
// The rate stage's output is deliberately neither a hold nor an interpolation: between two
// takes A (older) and B (newer) it reads A + (B - A) (t - T) / P with (t - T) / P running from
// -1 up towards 0, so it starts near 2A - B, reaches A only as the period ends, and jumps at
// every take. That overshoot is the hard, aliased edge the effect is known for.
//
// The state of a channel is a plain record, so that whoever owns the channels (the module, or
// a band engine with one record per band) places it; all of it is zero after a reset.
//
// [audio-thread], allocation-free and noexcept. A count of 0 or less does nothing.

#include <cmath>
#include <cstdint>

#include "modules/dsp/gainstages.h"

// A stage setting over one block: start + i * step at sample i. A step of 0 holds the value,
// and the stages then work out their constants once per block instead of once per sample.

// The rate stage's memory of one channel, in this order.
struct RDecimatorChannelState {
  float Next = 0.0f;           // the value taken last (B)
  float Last = 0.0f;           // the value taken before it (A)
  float PreviousInput = 0.0f;  // the input one sample back, for the fractional take
  float Position = 0.0f;       // samples since the last take (t)
  float NextTake = 0.0f;       // where the next take falls, on the same count (T)
};

// What one call of the core does, for every channel alike.
struct RDecimatorSettings {
  bool wordStage = true;
  RBlockRamp bits{16.0, 0.0};
  RBlockRamp bitsWidth{0.0, 0.0};
  bool rateStage = true;
  RBlockRamp sampleRate{48000.0, 0.0};   // hertz
  RBlockRamp sampleRateWidth{0.0, 0.0};  // octaves
};

// Rounds x * m to the nearest integer, ties to even, exactly as std::nearbyint does under the
// default rounding mode, but inline: the library call costs more than the rest of the stage.
// Below 2^52 the addition rounds away every fraction; from 2^52 up a double is whole already,
// and infinities and NaN come back as they are.
inline double RoundToEven(double v) noexcept {
  constexpr double kWhole = 4503599627370496.0;  // 2^52
  const double magnitude = std::fabs(v);
  if (!(magnitude < kWhole)) return v;
  return std::copysign((magnitude + kWhole) - kWhole, v);
}

// The word length of channel c: bits plus the width on even channels, minus it on odd ones,
// never below one bit.
double ChannelBits(double bits, double width, int32_t channel) noexcept;
// The rate stage's period in samples of rate fs for channel c: fs / rate with the spread of
// 2^width taken off even channels and put on odd ones, never below one sample.
float ChannelPeriod(double fs, double rate, double width, int32_t channel) noexcept;

// The word stage over one channel, in place.
void RunWordStage(float* x, int32_t count, int32_t channel, const RBlockRamp& bits,
                  const RBlockRamp& width) noexcept;
// The rate stage over one channel, in place, at processing rate fs. The state carries over
// blocks; a state that took in something not finite starts again from zero, so that one bad
// sample can't stay in it.
void RunRateStage(float* x, int32_t count, int32_t channel, double fs, const RBlockRamp& rate,
                  const RBlockRamp& width, RDecimatorChannelState& state) noexcept;

// Both stages over every channel, word stage first. states holds one record per channel.
void RunDecimatorCore(float* const* channels, int32_t channelCount, int32_t count, double fs,
                      const RDecimatorSettings& settings, RDecimatorChannelState* states) noexcept;
