#pragma once
// Shared helpers of the DSP tests: seeded signals and a sine-fit level meter.

#include <cmath>
#include <cstdint>
#include <numbers>
#include <random>
#include <vector>

namespace dsptest {

inline std::vector<float> Sine(double frequency, double sampleRate, int32_t count, double amplitude = 1.0) {
  std::vector<float> x(static_cast<size_t>(count));
  for (int32_t i = 0; i < count; ++i) {
    x[size_t(i)] = float(amplitude * std::sin(2.0 * std::numbers::pi * frequency * i / sampleRate));
  }
  return x;
}

inline std::vector<float> Noise(int32_t count, uint32_t seed, double amplitude = 1.0) {
  std::mt19937 random(seed);
  std::uniform_real_distribution<double> uniform(-amplitude, amplitude);
  std::vector<float> x(static_cast<size_t>(count));
  for (float& v : x) v = float(uniform(random));
  return x;
}

// The amplitude of the component at frequency in y[first, first + count), by correlation
// with a sine and a cosine over a whole number of periods.
inline double MeasureLevel(const std::vector<float>& y, double frequency, double sampleRate, int32_t first) {
  const double period = sampleRate / frequency;
  const auto periods = std::floor(double(int32_t(y.size()) - first) / period);
  const auto count = int32_t(std::lround(periods * period));
  double s = 0.0, c = 0.0;
  for (int32_t i = first; i < first + count; ++i) {
    const double phase = 2.0 * std::numbers::pi * frequency * i / sampleRate;
    s += y[size_t(i)] * std::sin(phase);
    c += y[size_t(i)] * std::cos(phase);
  }
  return 2.0 * std::hypot(s, c) / count;
}

inline double Decibels(double linear) { return 20.0 * std::log10(linear); }

} // namespace dsptest
