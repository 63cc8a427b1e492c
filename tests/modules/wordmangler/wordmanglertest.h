#pragma once
// Helpers of the word mangler tests: a module at a rate with a side-chain bus, awake on
// silence, with the word stage bare (no operation, no filter) unless a test switches more on;
// blocks of a mono signal on both channels; and a reference quantiser that rounds with the C
// library instead of the module's own rounding.
#include <cmath>
#include <cstdint>
#include <memory>
#include <numbers>
#include <vector>

#include "modules/wordmangler/wordmangler.h"

namespace wmtest {

using Signal = std::vector<float>;

inline std::unique_ptr<RWordMangler> MakeBare(int32_t bits) {
  RAudioPlugin::Options options;
  options.sleep = false;  // silence in must still reach the word stage
  auto m = std::make_unique<RWordMangler>(options);
  m->InitParameters();
  m->GetOperation(RWordOperationKind::kXor).Enable->SetValueNow(0.0);
  m->GetLowPass().SetValueNow(20000.0);
  m->GetDCBlocker().SetValueNow(0.0);
  m->GetBits().SetValueNow(bits);
  return m;
}

// Set-up after the values, so that nothing ramps into the first block.
inline void Start(RWordMangler& m, double rate = 48000.0, int32_t block = 512, int32_t buses = 2) {
  m.SetHostFormat(rate, block, 2, buses, 1);
}

inline void SetMask(RWordMangler& m, RWordOperationKind kind, std::initializer_list<int32_t> switches,
                    int32_t shift = 0, bool rotate = true) {
  RWordMangler::Operation& op = m.GetOperation(kind);
  op.Enable->SetValueNow(1.0);
  op.Shift->SetValueNow(shift);
  op.Rotate->SetValueNow(rotate ? 1.0 : 0.0);
  for (auto& s : op.Mask) s->SetValueNow(0.0);
  for (int32_t i : switches) op.Mask[i - 1]->SetValueNow(1.0);
}

struct Output {
  Signal left, right;
};

// Runs main (both channels) and side (both side-chain channels, when the host gives the bus)
// through the cycle in blocks of block samples.
inline Output Feed(RWordMangler& m, const Signal& main, const Signal& side = Signal(), int32_t block = 512,
                  const RHostTimeInfo* host = nullptr) {
  Output out{Signal(main.size()), Signal(main.size())};
  Signal l = main, r = main;
  Signal sl = side.empty() ? Signal(main.size()) : side, sr = sl;
  for (size_t at = 0; at < main.size(); at += size_t(block)) {
    const int32_t n = int32_t(std::min(main.size() - at, size_t(block)));
    float* inputs[4] = {l.data() + at, r.data() + at, sl.data() + at, sr.data() + at};
    float* outputs[2] = {out.left.data() + at, out.right.data() + at};
    m.ProcessCycle(inputs, outputs, n, host);
  }
  return out;
}

inline Signal Sine(size_t n, double hertz, double amplitude = 0.8, double rate = 48000.0, double phase = 0.0) {
  Signal s(n);
  const double step = 2.0 * std::numbers::pi * hertz / rate;
  for (size_t i = 0; i < n; ++i) s[i] = float(amplitude * std::sin(step * double(i) + phase));
  return s;
}

inline uint32_t Full(int32_t bits) { return (uint32_t(1) << bits) - 1u; }

// The quantiser by its definition, rounding through nearbyint (ties to even).
inline uint32_t ReferenceWord(float x, int32_t bits) {
  float y = x + 1.0f;
  if (!(y > 0.0f)) y = 0.0f;
  if (y > 2.0f) y = 2.0f;
  const float product = y * float(Full(bits));
  return uint32_t(std::nearbyint(product)) >> 1;
}

inline float ReferenceSample(uint32_t word, int32_t bits) {
  const float factor = float(2.0 / double(Full(bits)));
  return float(word & Full(bits)) * factor - 1.0f;
}

} // namespace wmtest
