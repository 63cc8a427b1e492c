// Load takes bytes of unknown form (files, host chunks, embedded blobs) and must answer any
// of them with a tree, an empty tree or an RException: never a crash.

#include <cstddef>
#include <cstdint>

#include "base/exception.h"
#include "base/memorystream.h"
#include "base/tagitem.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  RMemoryStream memory;
  memory.Write(data, int64_t(size));
  memory.Seek(0);
  RTagItem item;
  try {
    item.Load(memory);
    // What loaded must also store again.
    RMemoryStream out;
    item.WriteBinary(out);
  } catch (const RException&) {
  }
  return 0;
}
