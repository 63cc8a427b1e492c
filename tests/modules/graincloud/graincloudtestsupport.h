#pragma once
// Signals and runners shared by the GrainCloud tests: the engine driven directly block by
// block, and the module driven through its processing cycle.
#include <cmath>
#include <cstdint>
#include <vector>

#include "modules/graincloud/graincloud.h"
#include "modules/graincloud/grainengine.h"

namespace graintest {

constexpr double kPi = 3.14159265358979323846;

inline std::vector<float> Sine(double hertz, double rate, int32_t frames, float level = 0.5f) {
  std::vector<float> x(static_cast<size_t>(frames));
  for (int32_t i = 0; i < frames; ++i) x[size_t(i)] = level * float(std::sin(2.0 * kPi * hertz * i / rate));
  return x;
}

// Sign changes from negative to not negative, per second.
inline double RisingCrossingsPerSecond(const std::vector<float>& x, size_t from, double rate) {
  int64_t count = 0;
  for (size_t i = from + 1; i < x.size(); ++i) count += (x[i - 1] < 0.0f && x[i] >= 0.0f) ? 1 : 0;
  return double(count) * rate / double(x.size() - from);
}

// A stereo engine fed block by block: main and side (when given) are the same signal on both
// channels; returns the left output, and the right one in right when asked.
struct EngineRun {
  RGrainEngine engine;
  double rate = 48000.0;

  explicit EngineRun(double sampleRate = 48000.0, int32_t channels = 2) : rate(sampleRate) {
    engine.Setup(sampleRate, channels);
  }

  void Sizes(double seconds, double crossFade = 1.0, double random = 0.0) {
    engine.SetSizes(PlainGrainSizes(rate, seconds, random, crossFade));
  }

  std::vector<float> Run(const std::vector<float>& main, const std::vector<float>* side = nullptr,
                         int32_t block = 256, std::vector<float>* right = nullptr, int32_t outputBuses = 1,
                         std::vector<float>* secondBus = nullptr) {
    const size_t frames = main.size();
    std::vector<float> left(frames), other(frames), busLeft(frames), busRight(frames);
    for (size_t at = 0; at < frames; at += size_t(block)) {
      const int32_t n = int32_t(std::min(frames - at, size_t(block)));
      const float* in[2] = {main.data() + at, main.data() + at};
      const float* sc[2] = {side ? side->data() + at : nullptr, side ? side->data() + at : nullptr};
      float* out[4] = {left.data() + at, other.data() + at, busLeft.data() + at, busRight.data() + at};
      engine.Process(in, side ? sc : nullptr, out, outputBuses, 2, 2, n);
    }
    if (right) *right = other;
    if (secondBus) *secondBus = busLeft;
    return left;
  }
};

// The module prepared at a rate with stereo main, side-chain and output buses as asked.
inline void Prepare(RGrainCloud& module, double rate = 48000.0, int32_t block = 512, int32_t inputBuses = 1,
                    int32_t outputBuses = 1) {
  module.InitParameters();
  module.SetHostFormat(rate, block, 2, inputBuses, outputBuses);
}

// Runs the module's cycle over the whole signal in blocks; both input channels carry main
// (and side, when the module has a second input bus). Returns left and right of bus 0.
struct ModuleOutput {
  std::vector<float> left, right, secondLeft;
};
inline ModuleOutput RunModule(RGrainCloud& module, const std::vector<float>& main, int32_t block,
                              const std::vector<float>* side = nullptr) {
  ModuleOutput result;
  const size_t frames = main.size();
  result.left.resize(frames);
  result.right.resize(frames);
  result.secondLeft.resize(frames);
  std::vector<float> secondRight(frames);
  std::vector<float> in(main), sc(side ? *side : std::vector<float>(frames, 0.0f));
  for (size_t at = 0; at < frames; at += size_t(block)) {
    const int32_t n = int32_t(std::min(frames - at, size_t(block)));
    float* inputs[4] = {in.data() + at, in.data() + at, sc.data() + at, sc.data() + at};
    float* outputs[4] = {result.left.data() + at, result.right.data() + at, result.secondLeft.data() + at,
                         secondRight.data() + at};
    module.ProcessCycle(inputs, outputs, n, nullptr);
  }
  return result;
}

} // namespace graintest
