// Masks, plain and behind zlib: any bytes load or fail with an RException, and a header's
// claim never costs memory that its data can't fill.

#include <cstddef>
#include <cstdint>

#include "base/exception.h"
#include "base/memorystream.h"
#include "editor/alphamask.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  for (bool compressed : {false, true}) {
    try {
      RMemoryStream memory(data, int64_t(size));
      RAlphaMask mask;
      if (compressed) mask.LoadCompressed(memory);
      else mask.Load(memory);
    } catch (const RException&) {
    }
  }
  return 0;
}
