#include "kernel/channelmodes.h"

namespace {

const char* const kTexts[RChannelModes::kCount] = {
    "Left + Right",       "Left",         "Right", "Mono",       "Stereo",
    "Mono + Stereo",      "Left + Right (neg)",    "Left & zero Right", "Right & zero Left",
    "Mono & zero Stereo", "Stereo & zero Mono",    "Surround",   "Ambisonics"};

} // namespace

namespace RChannelModes {

RString GetText(int32_t mode) {
  if (mode < 0 || mode >= kCount) return RString();
  return RString::Literal(kTexts[mode], int(std::char_traits<char>::length(kTexts[mode])));
}

int32_t FindText(const RString& text) {
  for (int32_t mode = 0; mode < kCount; ++mode) {
    if (text.Compare(kTexts[mode]) == 0) return mode;
  }
  return kLeftRight;
}

} // namespace RChannelModes
