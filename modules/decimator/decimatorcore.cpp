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
  const double q = 1.0 / rate;
  const double d = std::exp2(width);
  const double channelQ = IsOdd(channel) ? q * d : q / d;
  return std::max(1.0f, float(fs * channelQ));
}

void RunWordStage(float* x, int32_t count, int32_t channel, const RStageValue& bits,
                  const RStageValue& width) noexcept {
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
      // Take the input at the exact fractional place of T between the last sample and this.
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

} // namespace

void RunRateStage(float* x, int32_t count, int32_t channel, double fs, const RStageValue& rate,
                  const RStageValue& width, RDecimatorChannelState& state) noexcept {
  if (count <= 0) return;
  RRateLoop loop{state.Last, state.Next, state.PreviousInput, state.Position, state.NextTake};
  if (!rate.Ramps() && !width.Ramps()) {
    const float P = ChannelPeriod(fs, rate.start, width.start, channel);
    for (int32_t i = 0; i < count; ++i) x[i] = loop.Step(x[i], P);
  } else {
    for (int32_t i = 0; i < count; ++i) x[i] = loop.Step(x[i], ChannelPeriod(fs, rate.At(i), width.At(i), channel));
  }
  state = {loop.B, loop.A, loop.p, loop.t, loop.T};
  if (!Finite(state)) state = RDecimatorChannelState();
}

void RunDecimatorCore(float* const* channels, int32_t channelCount, int32_t count, double fs,
                      const RDecimatorSettings& settings, RDecimatorChannelState* states) noexcept {
  if (count <= 0) return;
  for (int32_t c = 0; c < channelCount; ++c) {
    float* x = channels[c];
    if (!x) continue;
    if (settings.wordStage) RunWordStage(x, count, c, settings.bits, settings.bitsWidth);
    if (settings.rateStage) RunRateStage(x, count, c, fs, settings.sampleRate, settings.sampleRateWidth, states[c]);
  }
}
