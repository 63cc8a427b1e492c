#pragma once
// Shared pieces of the span filter tests: a standalone module at a chosen rate with its
// parameters set by name as a user types them, run block by block through the cycle, and the
// analogue Butterworth prototype seen through the bilinear warping.

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <vector>

#include "base/array.h"
#include "modules/spanfilter/spanfilter.h"
#include "tests/support/everychannel.h"

namespace spanfiltertest {

// |H| of the order-N analogue prototype at f for a corner fc, both warped as the bilinear
// transform warps them, in dB.
inline double PrototypeDecibels(bool highPass, int32_t order, double f, double fc, double sampleRate) {
  const double ratio = std::tan(std::numbers::pi * f / sampleRate) / std::tan(std::numbers::pi * fc / sampleRate);
  const double x = highPass ? 1.0 / ratio : ratio;
  return -10.0 * std::log10(1.0 + std::pow(x, 2.0 * order));
}

inline double Decibels(double magnitude) { return 20.0 * std::log10(magnitude); }

// The slope items as the module lists them, with the order each one stands for.
struct Slope {
  const char* hp;
  const char* lp;
  int32_t order;
};
inline const std::vector<Slope>& Slopes() {
  static const std::vector<Slope> slopes = {
      {"HP 6", "LP 6", 1},     {"HP 12", "LP 12", 2},   {"HP 24", "LP 24", 4},   {"HP 36", "LP 36", 6},
      {"HP 48", "LP 48", 8},   {"HP 60", "LP 60", 10},  {"HP 72", "LP 72", 12},  {"HP 84", "LP 84", 14},
      {"HP 96", "LP 96", 16},  {"HP 108", "LP 108", 18}, {"HP 120", "LP 120", 20},
  };
  return slopes;
}

class Rig {
public:
  explicit Rig(double sampleRate = 48000.0, int32_t channels = 2, int32_t block = 512) : channels_(channels) {
    filter.InitParameters();
    ProcessEveryChannel(filter, channels);
    filter.SetHostFormat(sampleRate, block, channels);
  }

  int32_t Index(const char* name) {
    const int32_t index = filter.GetParameterIndex(RString::FromUTF8(name));
    EXPECT_GE(index, 0) << name;
    return index;
  }

  // As a user types it; the change applies before the next block.
  void Set(const char* name, const char* text) {
    const int32_t index = Index(name);
    RValue* value = filter.GetParameterValue(index);
    ASSERT_NE(value, nullptr);
    double normalised = 0.0;
    ASSERT_TRUE(value->ParseToNormalised(RString::FromUTF8(text), normalised)) << name << " " << text;
    value->SetNormalised(normalised);
    filter.SetParameterEdited(0, index, normalised);
  }

  // A host automation point at a sample offset of the next block.
  void Automate(const char* name, const char* text, int32_t offset) {
    const int32_t index = Index(name);
    double normalised = 0.0;
    ASSERT_TRUE(filter.GetParameterValue(index)->ParseToNormalised(RString::FromUTF8(text), normalised));
    filter.SetParameterEdited(offset, index, normalised);
  }

  // One block, so that gain and mix have glided to their new values.
  void Settle() { RunAll(std::vector<float>(512, 0.25f)); }

  RRangedValue& Value(const char* name) { return *static_cast<RRangedValue*>(filter.GetParameterValue(Index(name))); }

  // Every channel of in through the cycle in blocks of block frames; null input channels when
  // in is empty.
  std::vector<std::vector<float>> Run(const std::vector<std::vector<float>>& in, int32_t block = 512) {
    const size_t frames = in.empty() ? 0 : in[0].size();
    std::vector<std::vector<float>> out(size_t(channels_), std::vector<float>(frames, 0.0f));
    for (size_t done = 0; done < frames; done += size_t(block)) {
      const int32_t n = int32_t(std::min(frames - done, size_t(block)));
      std::vector<float*> inputs, outputs;
      for (int32_t c = 0; c < channels_; ++c) {
        inputs.push_back(const_cast<float*>(in[size_t(c)].data()) + done);
        outputs.push_back(out[size_t(c)].data() + done);
      }
      filter.ProcessCycle(inputs.data(), outputs.data(), n, nullptr);
    }
    return out;
  }

  // The same signal on every channel.
  std::vector<std::vector<float>> RunAll(const std::vector<float>& x, int32_t block = 512) {
    return Run(std::vector<std::vector<float>>(size_t(channels_), x), block);
  }

  RSpanFilter filter;

private:
  int32_t channels_;
};

} // namespace spanfiltertest
