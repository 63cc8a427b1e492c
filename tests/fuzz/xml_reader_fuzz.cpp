// The XML reader parses hand-edited settings files; malformed text must end in an
// RException, never a crash.

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
    item.ReadXML(memory);
    RMemoryStream out;
    item.WriteXML(out);
  } catch (const RException&) {
  }
  return 0;
}
