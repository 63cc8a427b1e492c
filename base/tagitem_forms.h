#pragma once
// Internals shared by the stored forms of RTagItem (binary, XML, loading); not for callers.

#include <cstdint>
#include <memory>

class RStream;

namespace tagitem_forms {

// The rest of a stream, taken in 64 KiB blocks.
struct RImage {
  std::unique_ptr<uint8_t[]> data;
  int64_t size = 0;
};
RImage ReadWholeStream(RStream& stream);

} // namespace tagitem_forms
