#include "modules/graincloud/grainkernels.h"

#include <algorithm>

namespace RGrainKernels {

namespace {

// Frame index and fraction of a read position, the upper neighbour held at the last frame.
struct Tap {
  int32_t index;
  int32_t next;
  float fraction;
};

inline Tap TapAt(double position, int32_t length) noexcept {
  const auto index = std::clamp(int32_t(position), 0, length - 1);
  return {index, std::min(index + 1, length - 1), float(position - double(index))};
}

inline float Read(const float* x, const Tap& tap) noexcept {
  return x[tap.index] + tap.fraction * (x[tap.next] - x[tap.index]);
}

bool IsPlainRead(double position, double rate) noexcept { return rate == 1.0 && position == double(int64_t(position)); }

} // namespace

void AddMono(const float* source, int32_t length, double position, double rate, const float* envelope, float gain,
             float* out, int32_t frames) noexcept {
  if (frames <= 0 || length <= 0) return;
  if (IsPlainRead(position, rate)) {
    const float* x = source + int64_t(position);
    for (int32_t i = 0; i < frames; ++i) out[i] += x[i] * envelope[i] * gain;
    return;
  }
  for (int32_t i = 0; i < frames; ++i) {
    const Tap tap = TapAt(position + double(i) * rate, length);
    out[i] += Read(source, tap) * envelope[i] * gain;
  }
}

void AddStereo(const float* left, const float* right, int32_t length, double position, double rate,
               const float* envelope, float gainLeft, float gainRight, float* outLeft, float* outRight,
               int32_t frames) noexcept {
  if (frames <= 0 || length <= 0) return;
  if (IsPlainRead(position, rate)) {
    const float* l = left + int64_t(position);
    const float* r = right + int64_t(position);
    for (int32_t i = 0; i < frames; ++i) {
      outLeft[i] += l[i] * envelope[i] * gainLeft;
      outRight[i] += r[i] * envelope[i] * gainRight;
    }
    return;
  }
  for (int32_t i = 0; i < frames; ++i) {
    const Tap tap = TapAt(position + double(i) * rate, length);
    outLeft[i] += Read(left, tap) * envelope[i] * gainLeft;
    outRight[i] += Read(right, tap) * envelope[i] * gainRight;
  }
}

} // namespace RGrainKernels
