#pragma once
// A channel tool as a host sees it, for the tests: set up at a rate and block size, behind an
// adapter that records every latency report, awake on silence (so that tails and silent
// stretches are processed, not slept through), with its values set by key and whole signals
// run through the processing cycle block by block.
#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <numbers>
#include <utility>
#include <vector>

#include "kernel/audioplugininterface.h"
#include "modules/channeltool/channeltool.h"
#include "tests/support/everychannel.h"

namespace channeltooltest {

// The value of a plug-in with that stored key.
inline RRangedValue& ValueOf(RAudioPluginBase& plugin, const char* key) {
  for (RValue* value : plugin.GetOwnValues()) {
    if (value->GetKey().ToUTF8() == key) return static_cast<RRangedValue&>(*value);
  }
  ADD_FAILURE() << "no value with the key " << key;
  return static_cast<RRangedValue&>(*plugin.GetOwnValues().front());
}

class RAwakeChannelTool : public RChannelTool {
public:
  RAwakeChannelTool() { sleepOnSilence_ = false; }
};

class RReportingAdapter : public RAudioPluginInterface {
public:
  using RAudioPluginInterface::RAudioPluginInterface;
  void LatencyChanged(int32_t samples) override { Reports.push_back(samples); }
  std::vector<int32_t> Reports;
};

using RStereo = std::pair<std::vector<float>, std::vector<float>>;

class RChannelToolRig {
public:
  explicit RChannelToolRig(double rate = 48000.0, int32_t block = 512, int32_t channels = 2)
      : adapter(std::make_unique<RAwakeChannelTool>()), block_(block), channels_(channels) {
    Tool().InitParameters();
    ProcessEveryChannel(Tool(), channels);
    Tool().SetHostFormat(rate, block, channels);
  }

  RChannelTool& Tool() { return static_cast<RChannelTool&>(adapter.GetPlugin()); }

  RRangedValue& Value(const char* key) { return ValueOf(Tool(), key); }
  // The value at once, with no glide from its previous one.
  void Set(const char* key, double real) {
    RRangedValue& value = Value(key);
    value.SetValueNow(real);
    value.ResetRamp();
  }
  // The value as a host or a control moves it: the next block glides to it.
  void Glide(const char* key, double real) { Value(key).SetValueNow(real); }

  // Runs the signals through in blocks of the rig's size (or of block); the outputs.
  RStereo Run(const std::vector<float>& left, const std::vector<float>& right, const RHostTimeInfo* host = nullptr,
              int32_t block = 0) {
    const int32_t step = block > 0 ? block : block_;
    const size_t n = left.size();
    RStereo out{std::vector<float>(n), std::vector<float>(n)};
    std::vector<float> inLeft(left), inRight(right);
    for (size_t at = 0; at < n; at += size_t(step)) {
      const int32_t frames = int32_t(std::min(n - at, size_t(step)));
      float* inputs[2] = {inLeft.data() + at, inRight.data() + at};
      float* outputs[2] = {out.first.data() + at, out.second.data() + at};
      Tool().ProcessCycle(inputs, outputs, frames, host);
    }
    return out;
  }
  RStereo Run(const RStereo& in, const RHostTimeInfo* host = nullptr) { return Run(in.first, in.second, host); }

  RReportingAdapter adapter;

private:
  int32_t block_;
  int32_t channels_;
};

inline std::vector<float> Sine(double hertz, double rate, size_t n, double amplitude = 0.5, double offset = 0.0) {
  std::vector<float> s(n);
  const double w = 2.0 * std::numbers::pi * hertz / rate;
  for (size_t i = 0; i < n; ++i) s[i] = float(offset + amplitude * std::sin(w * double(i)));
  return s;
}

inline std::vector<float> Constant(size_t n, float value) { return std::vector<float>(n, value); }

// A ramp of distinct values, so that any reordering or delay shows.
inline std::vector<float> Ramp(size_t n, float start, float step) {
  std::vector<float> s(n);
  for (size_t i = 0; i < n; ++i) s[i] = start + step * float(i);
  return s;
}

inline double Rms(const std::vector<float>& s, size_t from, size_t to) {
  double sum = 0.0;
  for (size_t i = from; i < to; ++i) sum += double(s[i]) * double(s[i]);
  return std::sqrt(sum / double(to - from));
}

inline double Mean(const std::vector<float>& s, size_t from, size_t to) {
  double sum = 0.0;
  for (size_t i = from; i < to; ++i) sum += double(s[i]);
  return sum / double(to - from);
}

} // namespace channeltooltest
