#pragma once
// What the skin's tests share: the table of images the editor expects, written out here on its
// own so that a generator that drifts from it fails, and decoding from the embedded data (never
// through the registry, whose records must stay undecoded).

#include <cstdint>
#include <cstring>

#include "base/memorystream.h"
#include "editor/rpic.h"
#include "resources/skin/productimages.h"

struct RExpectedImage {
  const char* name;
  int32_t width;
  int32_t height;
  int32_t type;
  int32_t frameRows;
};

inline constexpr RExpectedImage kExpectedImages[] = {
    {"Bit01X", 80, 160, 0, 0},          {"Bit02X", 80, 160, 0, 0},         {"Bit03X", 80, 160, 0, 0},
    {"Bit04X", 80, 160, 0, 0},          {"Bit05X", 80, 160, 0, 0},         {"Bit06X", 80, 160, 0, 0},
    {"Bit07X", 80, 160, 0, 0},          {"Bit08X", 80, 160, 0, 0},         {"Bit09X", 80, 160, 0, 0},
    {"Bit10X", 80, 160, 0, 0},          {"Bit11X", 80, 160, 0, 0},         {"Bit12X", 80, 160, 0, 0},
    {"Bit13X", 80, 160, 0, 0},          {"Bit14X", 80, 160, 0, 0},         {"Bit15X", 80, 160, 0, 0},
    {"Bit16X", 80, 160, 0, 0},          {"ButtonBig", 100, 76, 0, 0},      {"ButtonSingle", 42, 38, 0, 0},
    {"ButtonSmall", 42, 76, 0, 0},      {"FaderA", 32, 130, 0, 0},         {"FaderB", 32, 130, 0, 0},
    {"GlassA", 210, 64, 0, 0},          {"GlassB", 212, 64, 0, 0},         {"GlassPattern", 314, 64, 2, 314},
    {"GlassPreset", 314, 62, 2, 314},   {"KnobA", 102, 10302, 2, 102},     {"KnobB", 102, 10302, 2, 102},
    {"KnobFeed", 54, 5454, 2, 54},      {"KnobMaster", 72, 7272, 2, 72},   {"KnobMorph", 342, 34542, 2, 342},
    {"LEDA", 28, 612, 2, 0},            {"LEDB", 28, 612, 2, 0},           {"LEDMorph", 22, 510, 2, 0},
    {"PanelGrid", 733, 660, 2, 733},    {"PanelMorph", 733, 660, 2, 733},  {"plugin", 1962, 1280, 1, 0},
    {"SwitchSource", 180, 448, 2, 0},   {"SwitchSwap", 40, 128, 0, 0},
};
inline constexpr int kExpectedCount = int(sizeof kExpectedImages / sizeof kExpectedImages[0]);

// The index of an image by name, -1 when the skin lacks it.
inline int FindSkinImage(const char* name) {
  for (int i = 0; i < GetProductImageCount(); ++i) {
    if (std::strcmp(GetProductImage(i, 1).name, name) == 0) return i;
  }
  return -1;
}

inline RBitmap DecodeSkinImage(int index, int scale) {
  const RProductImage image = GetProductImage(index, scale);
  RMemoryStream stream(image.data, image.size);
  return LoadImage(stream);
}

inline int32_t HeaderField(const RProductImage& image, int offset) {
  int32_t value = 0;
  std::memcpy(&value, image.data + offset, 4);  // little-endian, as the machines we build on
  return value;
}
