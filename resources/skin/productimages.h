#pragma once
// The product's skin: the 38 images of its editor, drawn by quillon_skingen at build time and
// embedded as RPIC, in two sets. The plain set is registered under the images' own names
// ("KnobA"), the HiDPI set, twice each dimension, in the same registry under the same names
// with the suffix "@2x" ("KnobA@2x"), so an editor at twice the scale asks for
// HiDPIName(name) and everything else (the registry, `quillon skin`) treats both alike.
//
// [any-thread] RegisterProductImages runs once, while the library loads, before any editor
// exists; the rest only reads constant data.

#include <cstdint>

#include "base/string.h"

// Registers both sets, in the order of GetProductImage, reading each header only: nothing is
// decoded until first drawn. Later calls do nothing.
void RegisterProductImages();

struct RProductImage {
  const char* name;     // the plain set's name
  const uint8_t* data;  // the embedded RPIC
  int64_t size;
};

int GetProductImageCount() noexcept;
// Image index (0 .. count - 1, in the order of registration) at scale 1 or 2.
RProductImage GetProductImage(int index, int scale) noexcept;
// The name of the HiDPI twin of an image.
RString HiDPIName(const RString& name);
