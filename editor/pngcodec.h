#pragma once
// PNG through libpng, over our streams. Reading gives 32-bit pixels from any colour type
// (palette, grey, 16-bit, with or without alpha, interlaced); writing chooses a colour type.
// libpng reports errors by a jump out of its own frames, so stream failures are caught in the
// callbacks and thrown again as RExceptions once the library has returned.
//
// [editor-thread]; each call has its own library state.

#include <cstdint>

#include "base/stream.h"
#include "editor/bitmap.h"

enum class RPngColour {
  kRGBA,       // 8 bits a channel with alpha
  kRGB,        // alpha dropped
  kGray,       // the green channel as grey; alpha dropped
  kGrayAlpha,  // the green channel as grey, and alpha
  kPalette,    // an indexed bitmap's table and indices (alpha through the transparency chunk)
};

struct RPngWriteOptions {
  // kPalette needs an indexed bitmap; for any other bitmap it is kRGBA.
  RPngColour colour = RPngColour::kRGBA;
  bool sixteenBits = false;  // each 8-bit channel v as v * 257 (not for kPalette)
  bool interlaced = false;   // Adam7
};

// Throws "Could not initialize libpng.", "Could not initialize libpng info structure.",
// "Error loading PNG palette." or "Error loading a PNG file.".
RBitmap LoadPNG(RStream& stream);

// Throws "Empty image cannot be saved to PNG." for an image without pixels.
void SavePNG(const RBitmap& bitmap, RStream& stream, const RPngWriteOptions& options = {});
