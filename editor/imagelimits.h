#pragma once
// The size limits every image reader applies before it takes pixel memory. A few header bytes
// can claim any size; a reader compares the claim with the data that can still follow, so
// that a corrupt or hostile file fails cleanly instead of asking for gigabytes.
//
// [editor-thread] like the readers, though nothing here keeps state.

#include <cstdint>

#include "base/stream.h"

namespace RImageLimits {

// Widths and heights above this are refused by every header test.
constexpr int32_t kMaxSide = 0x40000;
// Pixels any image may claim whatever the data behind it: 4096 x 4096, 64 MB as pixels.
constexpr int64_t kFreePixels = 4096ll * 4096ll;
// zlib's densest output is about 1032 bytes per input byte.
constexpr int64_t kDeflateRatio = 1032;

// Bytes from the position to the end, or -1 when the stream can't tell.
int64_t RemainingBytes(RStream& stream) noexcept;

// Whether width x height pixels may come from `dataBytes` bytes (-1: unknown, no bound) when
// a byte of data holds at most `pixelsPerByte` pixels. Sizes are tested for sign and side
// limit first.
bool Plausible(int64_t width, int64_t height, int64_t dataBytes, int64_t pixelsPerByte) noexcept;

} // namespace RImageLimits
