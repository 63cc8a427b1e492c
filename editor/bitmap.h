#pragma once
// RBitmap: a decoded image in memory, what every painter draws into and from. 32-bit pixels,
// rows top-down without padding; in memory a pixel is the bytes blue, green, red, alpha, so as
// a 32-bit word it reads 0xAARRGGBB. A new bitmap is opaque white (every byte 255). A clip
// rectangle (the whole image unless set) bounds what painters write.
//
// A bitmap may instead be held as 8-bit indices into a table of 256 colours (what some image
// decoders produce); ExpandIndices turns it into 32-bit pixels, and any step that needs an
// alpha plane calls it first.
//
// A bitmap of zero width or height is legal: it holds no pixels, and drawing it or into it
// does nothing.
//
// [editor-thread]; a bitmap is not shared between threads while it changes.

#include <cstddef>
#include <cstdint>
#include <vector>

// A rectangle of pixels: left and top inside, right and bottom just outside.
struct RRect {
  int32_t left = 0;
  int32_t top = 0;
  int32_t right = 0;
  int32_t bottom = 0;

  int32_t Width() const noexcept { return right - left; }
  int32_t Height() const noexcept { return bottom - top; }
  bool IsEmpty() const noexcept { return right <= left || bottom <= top; }
  bool Contains(int32_t x, int32_t y) const noexcept { return x >= left && x < right && y >= top && y < bottom; }
  // The common part of two rectangles (empty when they don't meet).
  RRect Intersect(const RRect& other) const noexcept;
  bool operator==(const RRect&) const = default;
};

// The parts of a 0xAARRGGBB pixel, and the one blend rule every 8-bit weighting of the
// painters and the samplers shares.
namespace RPixel {

constexpr uint32_t Make(uint32_t red, uint32_t green, uint32_t blue, uint32_t alpha = 255) noexcept {
  return (alpha << 24) | (red << 16) | (green << 8) | blue;
}
constexpr uint32_t Alpha(uint32_t pixel) noexcept { return pixel >> 24; }
constexpr uint32_t Red(uint32_t pixel) noexcept { return (pixel >> 16) & 0xFF; }
constexpr uint32_t Green(uint32_t pixel) noexcept { return (pixel >> 8) & 0xFF; }
constexpr uint32_t Blue(uint32_t pixel) noexcept { return pixel & 0xFF; }

// a weighted by w (0..255) against b by 255 - w, each channel (a * w + b * (255 - w)) >> 8.
// A weight of 255 gives a and of 0 gives b, untouched; in between, a blend of two equal
// pixels comes out a little darker, by the shift.
uint32_t Blend(uint32_t a, uint32_t b, uint32_t w) noexcept;

} // namespace RPixel

class RBitmap {
public:
  RBitmap() = default;
  // Opaque white of this size (a size below 0 counts as 0).
  RBitmap(int32_t width, int32_t height);

  // Reallocates as opaque white 32-bit pixels; the clip becomes the whole image.
  void Create(int32_t width, int32_t height);
  // Reallocates as indices (all 0) with a table of 256 colours (all opaque white).
  void CreateIndexed(int32_t width, int32_t height);

  int32_t GetWidth() const noexcept { return width_; }
  int32_t GetHeight() const noexcept { return height_; }
  bool IsEmpty() const noexcept { return width_ <= 0 || height_ <= 0; }
  RRect GetBounds() const noexcept { return RRect{0, 0, width_, height_}; }

  // --- 32-bit pixels (null when indexed or empty)
  uint32_t* GetPixels() noexcept;
  const uint32_t* GetPixels() const noexcept;
  uint32_t* GetRow(int32_t y) noexcept { return GetPixels() + size_t(y) * size_t(width_); }
  const uint32_t* GetRow(int32_t y) const noexcept { return GetPixels() + size_t(y) * size_t(width_); }
  // One pixel; outside the image 0 (GetPixel) or nothing (SetPixel). The clip is not applied.
  uint32_t GetPixel(int32_t x, int32_t y) const noexcept;
  void SetPixel(int32_t x, int32_t y, uint32_t pixel) noexcept;
  // Every pixel of the clip rectangle set to one value.
  void Fill(uint32_t pixel) noexcept;

  // --- indexed form
  bool IsIndexed() const noexcept { return indexed_; }
  uint8_t* GetIndices() noexcept { return indexed_ ? indices_.data() : nullptr; }
  uint32_t* GetPalette() noexcept { return indexed_ ? palette_.data() : nullptr; }
  const uint8_t* GetIndices() const noexcept { return indexed_ ? indices_.data() : nullptr; }
  const uint32_t* GetPalette() const noexcept { return indexed_ ? palette_.data() : nullptr; }
  // Turns indices into 32-bit pixels through the table; nothing when already 32-bit.
  void ExpandIndices();

  // --- clip rectangle, always within the image
  const RRect& GetClip() const noexcept { return clip_; }
  void SetClip(const RRect& clip) noexcept;
  void ResetClip() noexcept { clip_ = GetBounds(); }

  // --- sampling at a float position (pixel centres at whole numbers)
  // Bilinear with 8-bit weights: the position is clamped so that the next pixel exists, and
  // each of the two steps blends by RPixel::Blend with the fraction times 255, rounded.
  uint32_t SampleBilinear(float x, float y) const noexcept;
  // Bicubic per channel over four neighbours in each direction, the fraction clamped to 0..1
  // and each channel to 0..255.
  uint32_t SampleBicubic(float x, float y) const noexcept;

private:
  int32_t width_ = 0;
  int32_t height_ = 0;
  bool indexed_ = false;
  RRect clip_;
  std::vector<uint32_t> pixels_;
  std::vector<uint8_t> indices_;
  std::vector<uint32_t> palette_;
};
