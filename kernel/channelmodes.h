#pragma once
// The channel modes a plug-in can process its host's channels in, by index: which signals of
// the stereo pair it sees (left, right, mid, side) and how they return. Stored states name a
// mode by its text, so the texts never change; an unknown text is mode 0.

#include <cstdint>

#include "base/string.h"

namespace RChannelModes {

constexpr int32_t kCount = 13;
constexpr int32_t kLeftRight = 0;
constexpr int32_t kSurround = 11;
// Modes above this one need at least three host channels (or a surround build).
constexpr int32_t kLastStereoMode = 10;

// "Left + Right", "Left", ... "Ambisonics"; empty out of range.
RString GetText(int32_t mode);
// The mode of a stored text (compared without case or accents); 0 when none matches.
int32_t FindText(const RString& text);

} // namespace RChannelModes
