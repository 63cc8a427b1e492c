#pragma once
// The math stage of the channel tool: an offset and two blends that bend the signal's curve.
//
//   y = x + Add
//   y = (1 - Exp) y + Exp E(y),   E(y) = sign(y) (b^|y| - 1) / (b - 1)
//   y = (1 - Log) y + Log L(y),   L(y) = sign(y) log_b(1 + (b - 1) |y|)
//
// E and L are inverse to each other, odd (so a signal keeps its sign and its symmetry) and fix
// 0 and +-1: a full-scale signal keeps its peaks while E pushes small values down (expansion)
// and L pulls them up (compression). The base b of the Base list sets how hard they bend: 2
// gently, e (the default) more, 10 and 100 strongly. With both blends at 0 the stage is the
// offset alone, with everything at 0 the identity.
//
// Non-finite input reads as 0, and E's exponent is held below 50 (about 5e21 in base e) so that
// the stage never makes an infinity out of a large but finite input.
//
// Configure and the item texts [any-thread]; Process [audio-thread], noexcept.

#include <cstdint>

#include "base/array.h"
#include "base/string.h"

class RChannelMath {
public:
  static constexpr int32_t kBaseCount = 4;
  // "e", "2", "10", "100": the texts of the Base list, in index order.
  static RArray<RString> BaseItems();
  static double BaseOf(int32_t index) noexcept;

  void Configure(double add, double expBlend, double logBlend, int32_t baseIndex) noexcept;
  // True when Process changes nothing.
  bool IsIdentity() const noexcept { return add_ == 0.0 && exp_ == 0.0 && log_ == 0.0; }

  double Apply(double x) const noexcept;
  void Process(float* samples, int32_t count) const noexcept;

private:
  double add_ = 0.0;
  double exp_ = 0.0;
  double log_ = 0.0;
  double logBase_ = 1.0;       // ln b
  double inverseSpan_ = 1.0;   // 1 / (b - 1)
  double span_ = 1.0;          // b - 1
};
