#pragma once
// Shared by the saturator and clipper tests: a module fed one long signal in blocks, sines,
// levels, a spectrum split into the signal's harmonics and everything else (aliases), and the
// module alone in a slot of a graph.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>
#include <vector>

#include "graph/audiopluginmodular.h"
#include "graph/moduleregistry.h"
#include "graph/nestedgraph.h"
#include "graph/pluginslot.h"
#include "kernel/audioplugin.h"

namespace shapertest {

constexpr double kPi = 3.14159265358979323846;

inline std::vector<float> Sine(double hertz, double rate, int32_t length, double amplitude) {
  std::vector<float> x(static_cast<size_t>(length));
  for (int32_t i = 0; i < length; ++i) x[size_t(i)] = float(amplitude * std::sin(2.0 * kPi * hertz * i / rate));
  return x;
}

// Runs x through both channels of the module (set up at rate) in blocks of block frames;
// returns channel 0 of the output.
inline std::vector<float> RunThrough(RAudioPlugin& module, const std::vector<float>& x, int32_t block = 256) {
  std::vector<float> left(x), right(x), outLeft(x.size()), outRight(x.size());
  for (size_t start = 0; start < x.size(); start += size_t(block)) {
    const auto frames = int32_t(std::min(x.size() - start, size_t(block)));
    float* inputs[2] = {left.data() + start, right.data() + start};
    float* outputs[2] = {outLeft.data() + start, outRight.data() + start};
    module.ProcessCycle(inputs, outputs, frames, nullptr);
  }
  return outLeft;
}

inline double Rms(const std::vector<float>& x, size_t first, size_t count) {
  double sum = 0.0;
  for (size_t i = first; i < first + count; ++i) sum += double(x[i]) * x[i];
  return std::sqrt(sum / double(count));
}

inline double Mean(const std::vector<float>& x, size_t first, size_t count) {
  double sum = 0.0;
  for (size_t i = first; i < first + count; ++i) sum += x[i];
  return sum / double(count);
}

inline double Decibels(double ratio) { return 20.0 * std::log10(ratio); }

inline double FromDecibels(double decibels) { return std::pow(10.0, decibels / 20.0); }

// Sets a value with its glide already over.
inline void Settle(RRangedValue& value, double real) {
  value.SetValueNow(real);
  value.MarkRampDone();
}

// Graph options that keep silence from putting slots to sleep.
inline RAudioPlugin::Options Awake() {
  RAudioPlugin::Options options;
  options.sleep = false;
  return options;
}

// Sets `graph` up at `rate` (stereo, 256-frame blocks) with the registered module `type` of
// `category` in its first slot under `slotName`, parameter tables refreshed, the way a host's
// graph holds it. Returns the module, or null after a failure when it cannot be placed.
template <class Module>
Module* PlaceAlone(RAudioPluginModular& graph, double rate, const char* type, const char* category,
                   const char* slotName) {
  graph.SetHostFormat(rate, 256, 2, 1, 1);
  const PluginDescriptor* row = graph.FindDescriptor(RString::FromUTF8(type));
  if (row == nullptr) {
    ADD_FAILURE() << type << " is not registered";
    return nullptr;
  }
  EXPECT_EQ(row->Category, RString::FromUTF8(category));
  std::unique_ptr<RAudioPlugin> module = row->Creator(graph);
  auto* typed = dynamic_cast<Module*>(module.get());
  if (typed == nullptr) {
    ADD_FAILURE() << type << " creates a module of another class";
    return nullptr;
  }
  module->InitParameters();
  graph.PlaceSlot(std::make_unique<RPluginSlot>(graph, *row, std::move(module), 0, 0, RString::FromUTF8(slotName)));
  graph.Setup();
  graph.RebuildProcessors(true);
  RefreshParameterTables(graph);
  return typed;
}

// Power in each bin of a window of n samples from first (n a whole number of the signal's
// periods, so that every harmonic sits on a bin).
inline std::vector<double> PowerSpectrum(const std::vector<float>& x, size_t first, int32_t n) {
  std::vector<double> cosines(static_cast<size_t>(n)), sines(static_cast<size_t>(n)), power(static_cast<size_t>(n / 2));
  for (int32_t i = 0; i < n; ++i) {
    cosines[size_t(i)] = std::cos(2.0 * kPi * i / n);
    sines[size_t(i)] = std::sin(2.0 * kPi * i / n);
  }
  for (int32_t k = 1; k < n / 2; ++k) {
    double re = 0.0, im = 0.0;
    int64_t phase = 0;
    for (int32_t i = 0; i < n; ++i) {
      re += x[first + size_t(i)] * cosines[size_t(phase)];
      im += x[first + size_t(i)] * sines[size_t(phase)];
      phase += k;
      if (phase >= n) phase -= n;
    }
    power[size_t(k)] = re * re + im * im;
  }
  return power;
}

// The power of the harmonic h of a fundamental on bin fundamentalBin, relative to the
// fundamental, in dB.
inline double HarmonicDb(const std::vector<double>& power, int32_t fundamentalBin, int32_t h) {
  return 10.0 * std::log10(power[size_t(h * fundamentalBin)] / power[size_t(fundamentalBin)]);
}

// The power of every bin that isn't a harmonic (nor DC's neighbourhood), relative to the
// fundamental, in dB: what folded back.
inline double AliasDb(const std::vector<double>& power, int32_t fundamentalBin) {
  double aliases = 0.0;
  for (size_t k = 3; k < power.size(); ++k) {
    if (k % size_t(fundamentalBin) != 0) aliases += power[k];
  }
  return 10.0 * std::log10(aliases / power[size_t(fundamentalBin)]);
}

} // namespace shapertest
