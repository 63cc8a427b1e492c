#pragma once
// What the painter tests share: small white targets, reading back how much of a black shape
// covers each pixel, and the bounds of what was drawn.

#include <cstdint>

#include "editor/bitmap.h"

namespace drawertesting {

constexpr uint32_t kWhite = 0xFFFFFFFFu;
constexpr uint32_t kBlack = 0xFF000000u;

// How much of the pixel an opaque black shape covered on white, 0..1, from its red channel
// (exact to about 1/255: the blend rounds down by its shift).
inline float CoverageAt(const RBitmap& bitmap, int32_t x, int32_t y) {
  return 1.0f - float(RPixel::Red(bitmap.GetPixel(x, y))) / 255.0f;
}

inline double SumOfCoverage(const RBitmap& bitmap) {
  double sum = 0.0;
  for (int32_t y = 0; y < bitmap.GetHeight(); ++y) {
    for (int32_t x = 0; x < bitmap.GetWidth(); ++x) sum += CoverageAt(bitmap, x, y);
  }
  return sum;
}

// The smallest rectangle holding every pixel that isn't white (empty when all are).
inline RRect InkBounds(const RBitmap& bitmap) {
  RRect ink{bitmap.GetWidth(), bitmap.GetHeight(), -1, -1};
  for (int32_t y = 0; y < bitmap.GetHeight(); ++y) {
    for (int32_t x = 0; x < bitmap.GetWidth(); ++x) {
      if (bitmap.GetPixel(x, y) == kWhite) continue;
      if (x < ink.left) ink.left = x;
      if (y < ink.top) ink.top = y;
      if (x + 1 > ink.right) ink.right = x + 1;
      if (y + 1 > ink.bottom) ink.bottom = y + 1;
    }
  }
  return ink.IsEmpty() ? RRect{} : ink;
}

inline int32_t CountInk(const RBitmap& bitmap) {
  int32_t count = 0;
  for (int32_t y = 0; y < bitmap.GetHeight(); ++y) {
    for (int32_t x = 0; x < bitmap.GetWidth(); ++x) count += bitmap.GetPixel(x, y) != kWhite;
  }
  return count;
}

// Whether every pixel outside rect is still white.
inline bool UntouchedOutside(const RBitmap& bitmap, const RRect& rect) {
  for (int32_t y = 0; y < bitmap.GetHeight(); ++y) {
    for (int32_t x = 0; x < bitmap.GetWidth(); ++x) {
      if (!rect.Contains(x, y) && bitmap.GetPixel(x, y) != kWhite) return false;
    }
  }
  return true;
}

} // namespace drawertesting
