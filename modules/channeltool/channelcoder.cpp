#include "modules/channeltool/channelcoder.h"

#include <cstring>

RArray<RString> CoderModeItems() {
  RArray<RString> items;
  for (const char* text : {"Left+Right -> Mono+Stereo", "Mono+Stereo -> Left+Right", "Left+Right -> Mono",
                           "Left+Right -> Stereo", "Left+Right -> Left", "Left+Right -> Right"}) {
    items.Add(RString::FromUTF8(text));
  }
  return items;
}

void ApplyCoder(RCoderMode mode, float* left, float* right, int32_t count) noexcept {
  if (count <= 0) return;
  const size_t bytes = size_t(count) * sizeof(float);
  switch (mode) {
  case RCoderMode::kToMidSide:
    for (int32_t i = 0; i < count; ++i) {
      const float l = left[i], r = right[i];
      left[i] = 0.5f * (l + r);
      right[i] = 0.5f * (l - r);
    }
    break;
  case RCoderMode::kToLeftRight:
    for (int32_t i = 0; i < count; ++i) {
      const float m = left[i], s = right[i];
      left[i] = m + s;
      right[i] = m - s;
    }
    break;
  case RCoderMode::kMono:
    for (int32_t i = 0; i < count; ++i) {
      const float m = 0.5f * (left[i] + right[i]);
      left[i] = right[i] = m;
    }
    break;
  case RCoderMode::kSide:
    for (int32_t i = 0; i < count; ++i) {
      const float s = 0.5f * (left[i] - right[i]);
      left[i] = right[i] = s;
    }
    break;
  case RCoderMode::kLeft:
    std::memcpy(right, left, bytes);
    break;
  case RCoderMode::kRight:
    std::memcpy(left, right, bytes);
    break;
  }
}
