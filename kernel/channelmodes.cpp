#include "kernel/channelmodes.h"

#include <algorithm>

namespace {

const char* const kTexts[RChannelModes::kCount] = {
    "Left + Right",       "Left",         "Right", "Mono",       "Stereo",
    "Mono + Stereo",      "Left + Right (neg)",    "Left & zero Right", "Right & zero Left",
    "Mono & zero Stereo", "Stereo & zero Mono",    "Surround",   "Ambisonics"};

// Per mode: channels the plug-in processes, and whether it works on mid and side.
struct ModeTraits {
  int32_t processed;
  bool midSide;
};
constexpr ModeTraits kTraits[RChannelModes::kCount] = {
    {2, false}, {1, false}, {1, false}, {1, true},  {1, true},  {2, true},  {2, false},
    {1, false}, {1, false}, {1, true},  {1, true},  {8, false}, {64, false}};

bool Valid(int32_t mode) noexcept { return mode >= 0 && mode < RChannelModes::kCount; }

} // namespace

namespace RChannelModes {

RString GetText(int32_t mode) {
  if (!Valid(mode)) return RString();
  return RString::Literal(kTexts[mode], int(std::char_traits<char>::length(kTexts[mode])));
}

int32_t FindText(const RString& text) {
  for (int32_t mode = 0; mode < kCount; ++mode) {
    if (text.Compare(kTexts[mode]) == 0) return mode;
  }
  return kLeftRight;
}

int32_t GetProcessedChannels(int32_t mode) noexcept { return Valid(mode) ? kTraits[mode].processed : 2; }

int32_t GetChannelLimit(int32_t mode) noexcept {
  if (mode == kSurround) return 8;
  if (mode == kAmbisonics) return 64;
  return 2;
}

bool IsMidSide(int32_t mode) noexcept { return Valid(mode) && kTraits[mode].midSide; }

bool SwapsPair(int32_t mode) noexcept {
  return mode == kRight || mode == kStereo || mode == kRightZeroLeft || mode == kStereoZeroMono;
}

bool ZeroesUnprocessed(int32_t mode) noexcept {
  return mode == kLeftZeroRight || mode == kRightZeroLeft || mode == kMonoZeroStereo || mode == kStereoZeroMono;
}

int32_t GetAmbisonicChannels(int32_t orderIndex, int32_t customChannels) noexcept {
  if (orderIndex >= 0 && orderIndex < kAmbisonicOrders) return (orderIndex + 2) * (orderIndex + 2);
  return std::clamp(customChannels, 1, 64);
}

void EncodeMidSide(float* first, float* second, int32_t frames) noexcept {
  for (int32_t i = 0; i < frames; ++i) {
    const float left = first[i], right = second[i];
    first[i] = (left + right) * 0.5f;
    second[i] = (left - right) * 0.5f;
  }
}

void DecodeMidSide(float* first, float* second, int32_t frames) noexcept {
  for (int32_t i = 0; i < frames; ++i) {
    const float mid = first[i], side = second[i];
    first[i] = mid + side;
    second[i] = mid - side;
  }
}

} // namespace RChannelModes
