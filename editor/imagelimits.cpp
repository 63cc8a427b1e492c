#include "editor/imagelimits.h"

#include "base/exception.h"

namespace RImageLimits {

int64_t RemainingBytes(RStream& stream) noexcept {
  try {
    const int64_t rest = stream.GetSize() - stream.GetPosition();
    return rest > 0 ? rest : 0;
  } catch (const RException&) {
    return -1;
  }
}

bool Plausible(int64_t width, int64_t height, int64_t dataBytes, int64_t pixelsPerByte) noexcept {
  if (width < 0 || height < 0 || width > kMaxSide || height > kMaxSide) return false;
  const int64_t pixels = width * height;  // at most 2^36: no overflow in 64 bits
  if (pixels <= kFreePixels || dataBytes < 0) return true;
  // Divide rather than multiply: dataBytes may be near the 64-bit limit.
  return (pixels - 1) / pixelsPerByte < dataBytes;
}

} // namespace RImageLimits
