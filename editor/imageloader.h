#pragma once
// Images from disk, by extension (LoadImageFile) or by their first bytes (LoadAnyImage, for
// tools that take whatever a user hands them).
//
// [editor-thread], or a tool's only thread.

#include <cstddef>
#include <cstdint>

#include "base/stream.h"
#include "base/string.h"
#include "editor/bitmap.h"

enum class RImageFormat { kUnknown, kRPIC, kPNG, kJPEG, kMask, kCompressedMask };

// The text after the last point of the file name (behind the last '\', or failing that the
// last '/'), lowered; empty when there is none.
RString ImageExtension(const RString& path);

// "png", "rpic", "jpg" and "jpeg" choose the reader; any other extension, or a file that
// can't be opened, throws "Could not load image "{0}"." with the path. A reader's own failure
// reaches the caller as it is.
RBitmap LoadImageFile(const RString& path);

// Tells the format from a file's first bytes (at least 4; a zlib header is taken for a
// compressed mask).
RImageFormat DetectImageFormat(const uint8_t* bytes, size_t count) noexcept;
