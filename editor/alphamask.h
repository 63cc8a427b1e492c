#pragma once
// RAlphaMask: a single-channel coverage plane (icons, glyph-like shapes), drawn by painters
// as a colour through the coverage. Stored as MASK: magic "MASK", width, height, two reserved
// words (read and dropped), then width x height coverage bytes row by row; all little-endian.
// Masks compiled into the program are zlib streams of that.
//
// [editor-thread]; a mask is not shared between threads while it changes.

#include <cstdint>
#include <vector>

#include "base/stream.h"
#include "editor/bitmap.h"

class RAlphaMask {
public:
  RAlphaMask() = default;
  // Fully uncovered (0) of this size (a size below 0 counts as 0); the clip is the whole mask.
  RAlphaMask(int32_t width, int32_t height);

  int32_t GetWidth() const noexcept { return width_; }
  int32_t GetHeight() const noexcept { return height_; }
  bool IsEmpty() const noexcept { return width_ <= 0 || height_ <= 0; }
  RRect GetBounds() const noexcept { return RRect{0, 0, width_, height_}; }

  uint8_t* GetCoverage() noexcept { return coverage_.empty() ? nullptr : coverage_.data(); }
  const uint8_t* GetCoverage() const noexcept { return coverage_.empty() ? nullptr : coverage_.data(); }
  // Outside the mask 0 (Get) or nothing (Set).
  uint8_t Get(int32_t x, int32_t y) const noexcept;
  void Set(int32_t x, int32_t y, uint8_t coverage) noexcept;

  const RRect& GetClip() const noexcept { return clip_; }
  void SetClip(const RRect& clip) noexcept { clip_ = clip.Intersect(GetBounds()); }

  // Reads MASK at the stream's position. A wrong magic or a size outside 0..0x40000 throws
  // "Alphamask stream content is invalid."; a short read throws the stream's failure. Memory
  // grows with the data read, never from the header's claim alone.
  void Load(RStream& stream);
  // The same from a zlib stream (a mask compiled into the program).
  void LoadCompressed(RStream& stream);
  void Save(RStream& stream) const;
  void SaveCompressed(RStream& stream) const;

private:
  int32_t width_ = 0;
  int32_t height_ = 0;
  RRect clip_;
  std::vector<uint8_t> coverage_;
};
