#pragma once
// The coder stage of the channel tool: stereo pairs to and from mid and side, or one signal of
// the pair on both channels. Mid and side take the scale of the stereo width stage, M = (L + R)
// / 2 and S = (L - R) / 2, so that decoding is the plain L = M + S, R = M - S and a round trip
// through both directions gives the input back exactly for signals that halve without rounding.
//
// [any-thread], noexcept, in place.

#include <cstdint>

#include "base/array.h"
#include "base/string.h"

enum class RCoderMode : int32_t {
  kToMidSide = 0,    // "Left+Right -> Mono+Stereo"
  kToLeftRight = 1,  // "Mono+Stereo -> Left+Right"
  kMono = 2,         // "Left+Right -> Mono": M on both channels
  kSide = 3,         // "Left+Right -> Stereo": S on both channels
  kLeft = 4,         // "Left+Right -> Left": L on both channels
  kRight = 5,        // "Left+Right -> Right": R on both channels
};

constexpr int32_t kCoderModeCount = 6;

RArray<RString> CoderModeItems();

void ApplyCoder(RCoderMode mode, float* left, float* right, int32_t count) noexcept;
