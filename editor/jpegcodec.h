#pragma once
// JPEG through libjpeg-turbo, over our streams. Decoding reads the stream in blocks of 4096
// bytes and gives opaque 32-bit pixels; encoding is what the RPIC writer uses for colour.
// Failures are RExceptions "Error loading JPEG file - {0}" (or "Error saving JPEG file - {0}")
// with the library's text; a stream that fails to read gives "read error".
//
// libjpeg reports errors by a jump out of its own frames, so no C++ exception may pass
// through them: stream failures are caught in the callbacks, turned into a library error,
// and thrown again once the library has returned.
//
// [editor-thread]; each call has its own decoder state.

#include <cstdint>
#include <functional>

#include "base/stream.h"
#include "editor/bitmap.h"

// Called with a picture's size before any pixel memory is taken; throws to refuse it.
using RImageSizeCheck = std::function<void(int32_t width, int32_t height)>;

// Without a check, sizes beyond the side limit, or more pixels than the rest of the stream
// can plausibly hold, are refused.
RBitmap LoadJPEG(RStream& stream, const RImageSizeCheck& check = {});

// Quality 1..100. Alpha is dropped; an indexed bitmap is written as its colours.
void SaveJPEG(const RBitmap& bitmap, int quality, RStream& stream);
