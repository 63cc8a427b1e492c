// JPEG files from disk and inside RPIC: any bytes decode or fail with an RException, and no
// failure jumps past a C++ frame that still owns something.

#include <cstddef>
#include <cstdint>

#include "base/exception.h"
#include "base/memorystream.h"
#include "editor/jpegcodec.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  try {
    RMemoryStream memory(data, int64_t(size));
    const RBitmap bitmap = LoadJPEG(memory);
    if (bitmap.IsEmpty()) __builtin_trap();  // a JPEG has pixels or fails
  } catch (const RException&) {
  }
  return 0;
}
