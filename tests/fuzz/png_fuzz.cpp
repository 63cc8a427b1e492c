// PNG files from disk: any bytes decode or fail with an RException; what decodes also saves.

#include <cstddef>
#include <cstdint>

#include "base/exception.h"
#include "base/memorystream.h"
#include "editor/pngcodec.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  try {
    RMemoryStream memory(data, int64_t(size));
    const RBitmap bitmap = LoadPNG(memory);
    if (!bitmap.IsEmpty() && bitmap.GetWidth() <= 64 && bitmap.GetHeight() <= 64) {
      RMemoryStream out;
      SavePNG(bitmap, out);
    }
  } catch (const RException&) {
  }
  return 0;
}
