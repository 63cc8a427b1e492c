#pragma once
// Shared helpers of the frequency shifter's tests: a module set up at a rate, parameters set
// by their labels, blocks run through the cycle, and a Hann-windowed single-bin DFT.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <numbers>
#include <vector>

#include "modules/hertzslider/hertzslider.h"
#include "tests/support/everychannel.h"

namespace hztest {

// The level of the component at frequency in y[first, first + count), from a Hann-windowed
// DFT bin: a tone 200 Hz away leaks nothing measurable into it.
inline double Level(const std::vector<float>& y, double frequency, double sampleRate, int32_t first, int32_t count) {
  double re = 0.0, im = 0.0, weights = 0.0;
  for (int32_t i = 0; i < count; ++i) {
    const double window = 0.5 - 0.5 * std::cos(2.0 * std::numbers::pi * (i + 0.5) / count);
    const double phase = 2.0 * std::numbers::pi * frequency * (first + i) / sampleRate;
    re += window * y[size_t(first + i)] * std::cos(phase);
    im += window * y[size_t(first + i)] * std::sin(phase);
    weights += window;
  }
  return 2.0 * std::hypot(re, im) / weights;
}

inline double Decibels(double ratio) { return 20.0 * std::log10(std::max(ratio, 1e-30)); }

inline std::vector<float> Sine(double frequency, double sampleRate, int32_t count, double amplitude = 0.5) {
  std::vector<float> x(static_cast<size_t>(count));
  for (int32_t i = 0; i < count; ++i) {
    x[size_t(i)] = float(amplitude * std::sin(2.0 * std::numbers::pi * frequency * i / sampleRate));
  }
  return x;
}

// A shifter on its own, awake, with every channel fed the same signal.
class Shifter {
public:
  explicit Shifter(double sampleRate, int32_t maxBlock = 512, int32_t channels = 2) : rate(sampleRate) {
    module.InitParameters();
    ProcessEveryChannel(module, channels);
    module.SetHostFormat(sampleRate, maxBlock, channels);
    channels_ = channels;
  }

  RRangedValue& Value(const char* label) {
    const int32_t index = module.GetParameterIndex(RString::FromUTF8(label));
    EXPECT_GE(index, 0) << label;
    return *static_cast<RRangedValue*>(module.GetParameterValue(index));
  }
  // Sets a value at once, with no glide into it.
  void Set(const char* label, double real) {
    RRangedValue& value = Value(label);
    value.SetValueNow(real);
    value.ResetRamp();
  }
  void SetShiftHz(double hertz) { Set("Shift", RShiftRange::FromHertz(hertz)); }

  // Runs input through in blocks of block frames; returns each channel's output.
  std::vector<std::vector<float>> Run(const std::vector<float>& input, int32_t block = 512) {
    return Run(std::vector<std::vector<float>>(size_t(channels_), input), block);
  }
  std::vector<std::vector<float>> Run(const std::vector<std::vector<float>>& input, int32_t block = 512) {
    const auto total = int32_t(input[0].size());
    std::vector<std::vector<float>> output(static_cast<size_t>(channels_), std::vector<float>(static_cast<size_t>(total)));
    std::vector<const float*> in(static_cast<size_t>(channels_));
    std::vector<float*> out(static_cast<size_t>(channels_));
    for (int32_t done = 0; done < total; done += block) {
      const int32_t frames = std::min(block, total - done);
      for (int32_t c = 0; c < channels_; ++c) {
        in[size_t(c)] = input[size_t(c)].data() + done;
        out[size_t(c)] = output[size_t(c)].data() + done;
      }
      module.ProcessCycle(const_cast<float* const*>(in.data()), out.data(), frames, nullptr);
    }
    return output;
  }

  RHertzSlider module;
  double rate;

private:
  int32_t channels_ = 2;
};

} // namespace hztest
