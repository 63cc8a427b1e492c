#pragma once
// A module tested on its own with more than two host channels: set up the way a graph carrying
// a surround or ambisonic stream hands them on, so that it processes every channel (a top-level
// plug-in in the plain mode processes the first pair and passes the rest dry).
#include <cstdint>

#include "kernel/audioplugin.h"
#include "kernel/channelmodes.h"

inline void ProcessEveryChannel(RAudioPlugin& plugin, int32_t channels) {
  if (channels <= 2) return;
  RAudioPlugin::SurroundSettings stream;
  stream.ambisonicsOrder = RChannelModes::kAmbisonicOrders;
  stream.ambisonicsCustomChannels = channels;
  plugin.SetSurroundSettings(stream);
  plugin.SetChannelMode(RChannelModes::kAmbisonics);
}
