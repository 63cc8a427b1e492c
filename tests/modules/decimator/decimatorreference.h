#pragma once
// A plain scalar decimator, written from the formulas the module must follow, sample by
// sample with nothing worked out ahead: the yardstick of the core and module tests. Also the
// seeded signals and small helpers the decimator tests share.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

namespace decimatortest {

// Word stage, one sample of channel c: b = bits + width on even channels, bits - width on odd
// ones, at least 1; m = e^(b ln 2), r = 1 / m; y = float(double(round(x m)) r), rounding to
// the nearest integer with ties to even.
inline float Word(float x, double bits, double width, int32_t c) {
  double b = bits;
  b = (c % 2 == 0) ? b + width : b - width;
  b = std::max(b, 1.0);
  const double m = std::exp(b * std::log(2.0));
  const double r = 1.0 / m;
  return float(double(std::nearbyint(double(x) * m)) * r);
}

// Rate stage period: q = 1 / rate, d = 2^width, q / d on even channels and q d on odd ones;
// P = max(1, float(fs q)).
inline float Period(double fs, double rate, double width, int32_t c) {
  const double q = 1.0 / rate;
  const double d = std::exp2(width);
  const double qc = (c % 2 == 0) ? q / d : q * d;
  return std::max(1.0f, float(fs * qc));
}

struct RateState {
  float A = 0.0f;  // Last
  float B = 0.0f;  // Next
  float p = 0.0f;  // PreviousInput
  float t = 0.0f;  // Position
  float T = 0.0f;  // NextTake
};

// Rate stage, one sample.
inline float Rate(float x, float P, RateState& s) {
  if (s.t >= s.T) {
    const float f = s.T - std::trunc(s.T);
    const float v = s.p + (x - s.p) * f;
    const float g = std::ceil(s.T);
    s.t = s.t - g;
    s.T = s.T - g + P;
    s.A = s.B;
    s.B = v;
  }
  const float y = s.A + (s.B - s.A) * (s.t - s.T) / P;
  s.t = s.t + 1.0f;
  s.p = x;
  return y;
}

// A setting over a block, start + i step at sample i.
struct Course {
  double start;
  double step = 0.0;
  double At(int32_t i) const { return start + double(i) * step; }
};

// Both stages over one channel, in place, in the module's order.
inline void Channel(std::vector<float>& x, int32_t c, double fs, bool word, Course bits, Course bitsWidth, bool rate,
                    Course sampleRate, Course rateWidth, RateState& state) {
  for (int32_t i = 0; i < int32_t(x.size()); ++i) {
    float v = x[size_t(i)];
    if (word) v = Word(v, bits.At(i), bitsWidth.At(i), c);
    if (rate) v = Rate(v, Period(fs, sampleRate.At(i), rateWidth.At(i), c), state);
    x[size_t(i)] = v;
  }
}

inline std::vector<float> Noise(int32_t count, uint32_t seed, double amplitude = 1.0) {
  std::mt19937 random(seed);
  std::uniform_real_distribution<double> uniform(-amplitude, amplitude);
  std::vector<float> x(static_cast<size_t>(count));
  for (float& v : x) v = float(uniform(random));
  return x;
}

inline std::vector<float> Sine(double frequency, double fs, int32_t count, double amplitude = 0.8) {
  std::vector<float> x(static_cast<size_t>(count));
  for (int32_t i = 0; i < count; ++i) x[size_t(i)] = float(amplitude * std::sin(6.283185307179586 * frequency * i / fs));
  return x;
}

} // namespace decimatortest
