#pragma once
// The skin's encoded images as the build embeds them: one blob of RPIC files per scale and a
// table of where each image lies in it, in the order of registration. Written by
// quillon_skingen; read only by productimages.cpp and the tests.

#include <cstdint>

struct RSkinEntry {
  const char* name;
  int64_t offset;  // into the blob of its scale
  int64_t size;
};

// The table of the skin has 38 rows (sixteen bit keys and 22 others).
constexpr int kSkinImageCount = 38;
constexpr int kSkinScaleCount = 2;  // the plain set and the HiDPI set at twice each dimension

extern "C" const uint8_t quillon_skin_blob_1x[];
extern "C" const uint8_t quillon_skin_blob_2x[];
extern const RSkinEntry kSkinEntries[kSkinScaleCount][kSkinImageCount];
