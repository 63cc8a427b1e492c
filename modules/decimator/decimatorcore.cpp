#include "modules/decimator/decimatorcore.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace {

bool IsOdd(int32_t channel) noexcept { return (channel & 1) != 0; }

// The scale 2^b as e^(b ln 2), and the step r = 1 / 2^b of the grid.
struct RWordScale {
  double m;
  double r;
};

RWordScale WordScale(double b) noexcept {
  const double m = std::exp(b * std::numbers::ln2);
  return {m, 1.0 / m};
}

float Quantise(float x, const RWordScale& scale) noexcept {
  return float(RoundToEven(double(x) * scale.m) * scale.r);
}

// q = 1 / rate is the period in seconds and d = 2^width the spread.
float PeriodOf(double fs, double q, double d, bool odd) noexcept {
  const double channelQ = odd ? q * d : q / d;
  return std::max(1.0f, float(fs * channelQ));
}

bool Finite(const RDecimatorChannelState& s) noexcept {
  return std::isfinite(s.Next) && std::isfinite(s.Last) && std::isfinite(s.PreviousInput) &&
         std::isfinite(s.Position) && std::isfinite(s.NextTake);
}

} // namespace

double ChannelBits(double bits, double width, int32_t channel) noexcept {
  const double b = IsOdd(channel) ? bits - width : bits + width;
  return std::max(b, 1.0);
}

float ChannelPeriod(double fs, double rate, double width, int32_t channel) noexcept {
  return PeriodOf(fs, 1.0 / rate, std::exp2(width), IsOdd(channel));
}

void RunWordStage(float* x, int32_t count, int32_t channel, const RBlockRamp& bits,
                  const RBlockRamp& width) noexcept {
  if (count <= 0) return;
  if (!bits.Ramps() && !width.Ramps()) {
    // Held: the exponential once per block, and a loop the compiler vectorises.
    const RWordScale scale = WordScale(ChannelBits(bits.start, width.start, channel));
    for (int32_t i = 0; i < count; ++i) x[i] = Quantise(x[i], scale);
    return;
  }
  for (int32_t i = 0; i < count; ++i) {
    x[i] = Quantise(x[i], WordScale(ChannelBits(bits.At(i), width.At(i), channel)));
  }
}

namespace {

// One sample of the rate stage. A, B, p, t and T stay in single precision, as the state
// record holds them, so that a block cut anywhere gives the same output.
struct RRateLoop {
  float A, B, p, t, T;

  float Step(float x, float P) noexcept {
    if (t >= T) {
      // Take the input at the fractional place of T between the last sample and this one; at
      // a whole T the fraction is 0 and the take is the last sample.
      const float f = T - std::trunc(T);
      const float v = p + (x - p) * f;
      const float g = std::ceil(T);
      t = t - g;
      T = T - g + P;
      A = B;
      B = v;
    }
    const float y = A + (B - A) * (t - T) / P;
    t = t + 1.0f;
    p = x;
    return y;
  }
};

RRateLoop LoopOf(const RDecimatorChannelState& state) noexcept {
  return {state.Last, state.Next, state.PreviousInput, state.Position, state.NextTake};
}

// Writes the loop back; a state that took in something not finite starts again from zero.
void StoreLoop(const RRateLoop& loop, RDecimatorChannelState& state) noexcept {
  state = {loop.B, loop.A, loop.p, loop.t, loop.T};
  if (!Finite(state)) state = RDecimatorChannelState();
}

// An even channel and the odd one after it in one loop: each sample's take depends on the
// last, and two such chains side by side keep the processor busy while each waits.
void RunRatePair(float* x0, float* x1, int32_t count, int32_t channel, double fs, const RBlockRamp& rate,
                 const RBlockRamp& width, RDecimatorChannelState& state0, RDecimatorChannelState& state1) noexcept {
  RRateLoop loop0 = LoopOf(state0), loop1 = LoopOf(state1);
  if (!rate.Ramps() && !width.Ramps()) {
    const float P0 = ChannelPeriod(fs, rate.start, width.start, channel);
    const float P1 = ChannelPeriod(fs, rate.start, width.start, channel + 1);
    for (int32_t i = 0; i < count; ++i) {
      x0[i] = loop0.Step(x0[i], P0);
      x1[i] = loop1.Step(x1[i], P1);
    }
  } else {
    // The pair shares the period and the spread; the even one is first, the odd one second.
    for (int32_t i = 0; i < count; ++i) {
      const double q = 1.0 / rate.At(i), d = std::exp2(width.At(i));
      x0[i] = loop0.Step(x0[i], PeriodOf(fs, q, d, false));
      x1[i] = loop1.Step(x1[i], PeriodOf(fs, q, d, true));
    }
  }
  StoreLoop(loop0, state0);
  StoreLoop(loop1, state1);
}

} // namespace

void RunRateStage(float* x, int32_t count, int32_t channel, double fs, const RBlockRamp& rate,
                  const RBlockRamp& width, RDecimatorChannelState& state) noexcept {
  if (count <= 0) return;
  RRateLoop loop = LoopOf(state);
  if (!rate.Ramps() && !width.Ramps()) {
    const float P = ChannelPeriod(fs, rate.start, width.start, channel);
    for (int32_t i = 0; i < count; ++i) x[i] = loop.Step(x[i], P);
  } else {
    for (int32_t i = 0; i < count; ++i) x[i] = loop.Step(x[i], ChannelPeriod(fs, rate.At(i), width.At(i), channel));
  }
  StoreLoop(loop, state);
}

void RunDecimatorCore(float* const* channels, int32_t channelCount, int32_t count, double fs,
                      const RDecimatorSettings& settings, RDecimatorChannelState* states) noexcept {
  if (count <= 0) return;
  if (settings.wordStage) {
    for (int32_t c = 0; c < channelCount; ++c) {
      if (channels[c]) RunWordStage(channels[c], count, c, settings.bits, settings.bitsWidth);
    }
  }
  if (!settings.rateStage) return;
  int32_t c = 0;
  for (; c + 1 < channelCount; c += 2) {
    if (channels[c] && channels[c + 1]) {
      RunRatePair(channels[c], channels[c + 1], count, c, fs, settings.sampleRate, settings.sampleRateWidth, states[c],
                  states[c + 1]);
      continue;
    }
    for (int32_t k = c; k < c + 2; ++k) {
      if (channels[k]) RunRateStage(channels[k], count, k, fs, settings.sampleRate, settings.sampleRateWidth, states[k]);
    }
  }
  if (c < channelCount && channels[c]) {
    RunRateStage(channels[c], count, c, fs, settings.sampleRate, settings.sampleRateWidth, states[c]);
  }
}
