#pragma once
// Shared by the compressor tests: a module awake at a rate, fed long signals on its main and
// side-chain buses in blocks, with levels in dB.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "modules/squeezestage/squeezestage.h"
#include "tests/modules/blend/modulehost.h"

namespace squeezetest {

constexpr double kPi = 3.14159265358979323846;

inline double FromDecibels(double decibels) { return std::pow(10.0, decibels / 20.0); }
inline double Decibels(double ratio) { return 20.0 * std::log10(ratio); }

inline std::vector<float> Sine(double hertz, double rate, int32_t length, double decibels) {
  std::vector<float> x(static_cast<size_t>(length));
  const double amplitude = FromDecibels(decibels);
  for (int32_t i = 0; i < length; ++i) x[size_t(i)] = float(amplitude * std::sin(2.0 * kPi * hertz * i / rate));
  return x;
}

inline double Rms(const std::vector<float>& x, size_t first, size_t count) {
  double sum = 0.0;
  for (size_t i = first; i < first + count; ++i) sum += double(x[i]) * x[i];
  return std::sqrt(sum / double(count));
}

// A stereo compressor at a rate, two input buses, with its automatic makeup off unless a test
// turns it on, so that levels read as the static curve itself.
struct Rig {
  RAwake<RSqueezeStage> stage;
  double rate;

  explicit Rig(double sampleRate = 48000.0, int32_t block = 256) : rate(sampleRate) {
    stage.InitParameters();
    stage.SetHostFormat(sampleRate, block, 2, 2);
    Settle(stage.GetAutoMakeup(), 0.0);
  }

  static void Settle(RRangedValue& value, double real) {
    value.SetValueNow(real);
    value.MarkRampDone();
  }

  // Runs left/right (and a side chain, both channels alike; empty: the main input again) in
  // blocks; after is called with the block's start before each block. Returns both outputs.
  template <class Before>
  std::vector<std::vector<float>> Run(const std::vector<float>& left, const std::vector<float>& right,
                                      const std::vector<float>& side, int32_t block, Before before) {
    std::vector<float> l(left), r(right), s(side.empty() ? left : side), s2(side.empty() ? right : side);
    std::vector<std::vector<float>> out(2, std::vector<float>(left.size()));
    for (size_t start = 0; start < left.size(); start += size_t(block)) {
      before(start);
      const auto frames = int32_t(std::min(left.size() - start, size_t(block)));
      float* inputs[4] = {l.data() + start, r.data() + start, s.data() + start, s2.data() + start};
      float* outputs[2] = {out[0].data() + start, out[1].data() + start};
      stage.ProcessCycle(inputs, outputs, frames, nullptr);
    }
    return out;
  }
  std::vector<std::vector<float>> Run(const std::vector<float>& left, const std::vector<float>& right,
                                      const std::vector<float>& side = {}, int32_t block = 256) {
    return Run(left, right, side, block, [](size_t) {});
  }

  // The level change of a settled mono signal in dB, over its second half (long enough for
  // the release to forget the signal before).
  double ChangeDb(const std::vector<float>& x, const std::vector<float>& side = {}) {
    const auto y = Run(x, x, side)[0];
    const size_t half = x.size() / 2;
    return Decibels(Rms(y, half, half) / Rms(x, half, half));
  }
};

} // namespace squeezetest
