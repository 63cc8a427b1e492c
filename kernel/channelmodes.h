#pragma once
// The channel modes a plug-in can process its host's channels in, by index: which signals of
// the stereo pair it sees (left, right, mid, side) and how they return. Stored states name a
// mode by its text, so the texts never change; an unknown text is mode 0.

#include <cstdint>

#include "base/string.h"

namespace RChannelModes {

constexpr int32_t kCount = 13;
constexpr int32_t kLeftRight = 0;
constexpr int32_t kLeft = 1;
constexpr int32_t kRight = 2;
constexpr int32_t kMono = 3;
constexpr int32_t kStereo = 4;
constexpr int32_t kMonoStereo = 5;
constexpr int32_t kLeftRightNegated = 6;
constexpr int32_t kLeftZeroRight = 7;
constexpr int32_t kRightZeroLeft = 8;
constexpr int32_t kMonoZeroStereo = 9;
constexpr int32_t kStereoZeroMono = 10;
constexpr int32_t kSurround = 11;
constexpr int32_t kAmbisonics = 12;
// Modes above this one need at least three host channels (or a surround build).
constexpr int32_t kLastStereoMode = 10;
// Channel counts of the ambisonic orders 1 to 7; the index after them is the custom count.
constexpr int32_t kAmbisonicOrders = 7;
constexpr int32_t kDefaultAmbisonicCustomChannels = 10;

// "Left + Right", "Left", ... "Ambisonics"; empty out of range.
RString GetText(int32_t mode);
// The mode of a stored text (compared without case or accents); 0 when none matches.
int32_t FindText(const RString& text);

// How many channels the plug-in itself processes in a mode: 1 for the modes that take one
// signal of the pair, 2 for the pair, 8 and 64 for the surround modes (before the host's count
// and the enabled channels limit them).
int32_t GetProcessedChannels(int32_t mode) noexcept;
// The most channels that pass through a mode's transform: 2, or 8 and 64 for the surround modes.
int32_t GetChannelLimit(int32_t mode) noexcept;
// Whether the mode works on mid and side rather than left and right.
bool IsMidSide(int32_t mode) noexcept;
// Whether the mode puts the second signal of the pair (right or side) first: its pointers are
// swapped on the way in and back on the way out.
bool SwapsPair(int32_t mode) noexcept;
// Whether the mode changes the input's samples (mid and side, a negated right) rather than only
// choosing among the host's channels: the cycle then works on a copy.
inline bool ChangesInput(int32_t mode) noexcept { return IsMidSide(mode) || mode == kLeftRightNegated; }
// Whether the mode processes one signal of the pair and rebuilds the other afterwards.
inline bool ProcessesOneOfPair(int32_t mode) noexcept { return GetProcessedChannels(mode) == 1; }
// Whether the signal the mode leaves unprocessed comes back as silence rather than dry.
bool ZeroesUnprocessed(int32_t mode) noexcept;
// Channels of an ambisonic order index 0..6 (4, 9, ... 64); index 7 is the custom count.
int32_t GetAmbisonicChannels(int32_t orderIndex, int32_t customChannels) noexcept;

// Mid and side with one scale both ways, so that a round trip is exact up to rounding:
// mid = (left + right) / 2, side = (left - right) / 2; left = mid + side, right = mid - side.
// In place: first holds left (or mid), second right (or side). [any-thread] allocation-free.
void EncodeMidSide(float* first, float* second, int32_t frames) noexcept;
void DecodeMidSide(float* first, float* second, int32_t frames) noexcept;

} // namespace RChannelModes
