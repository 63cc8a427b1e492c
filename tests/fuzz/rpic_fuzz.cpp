// RPIC files come from disk and from the program's own data: any bytes must decode to a
// bitmap or fail with an RException, never crash, leak or ask for memory the data can't fill.

#include <cstddef>
#include <cstdint>

#include "base/exception.h"
#include "base/memorystream.h"
#include "editor/rpic.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  try {
    RMemoryStream header(data, int64_t(size));
    const RImageSize claimed = ReadImageSize(header);
    RMemoryStream memory(data, int64_t(size));
    const RBitmap bitmap = LoadImage(memory);
    // The header's size is the picture's size.
    if (bitmap.GetWidth() != claimed.width || bitmap.GetHeight() != claimed.height) __builtin_trap();
  } catch (const RException&) {
  }
  return 0;
}
