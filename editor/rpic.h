#pragma once
// RPIC: the packed image of the skin. A 36-byte header (magic "RPIC", width, height, frame
// rows, type, two payload sizes, two -1 words; little-endian), then the payload:
//   type 0  a zlib stream of the pixels, 4 bytes each in memory order;
//   type 1  a JPEG file to the end of the data, alpha 255;
//   type 2  a JPEG stream, then a zlib stream of the alpha plane (one byte a pixel).
// Frame strips stack their frames vertically; in type 2 every frame after the first stores
// its alpha as a difference to the first frame's, plus 128 modulo 256, so a stored 128 means
// "same as the first frame" and a strip of similar frames compresses to almost nothing.
//
// [editor-thread]: decoding happens when a control first paints.

#include <cstdint>

#include "base/stream.h"
#include "editor/bitmap.h"

struct RImageSize {
  int32_t width = 0;
  int32_t height = 0;
};

// The header, tested as the decoder tests it: fewer than 36 bytes throws "Could not read the
// required data from stream."; a wrong magic or a size outside 0..0x40000 throws "RPIC file
// is corrupt.".
RImageSize ReadImageSize(RStream& stream);

// Decodes an RPIC from the stream's position. A type other than 0, 1 and 2 throws "Unknown
// RPIC file type. Please update the software.".
RBitmap LoadImage(RStream& stream);

// Writes an RPIC of type 0, 1 or 2. frameRows is the first frame's height of a strip (0 when
// the image is no strip); only type 2 frame-codes its alpha. jpegQuality 1..100 is for types
// 1 and 2.
void SaveImageRPIC(const RBitmap& bitmap, int32_t type, int32_t frameRows, int jpegQuality, RStream& stream);
