#include "kernel/denormals.h"

#if defined(__x86_64__) || defined(_M_X64)
#include <xmmintrin.h>

namespace {
// MXCSR bits: flush-to-zero (results) and denormals-are-zero (operands).
constexpr uint32_t kFlushToZero = 1u << 15;
constexpr uint32_t kDenormalsAreZero = 1u << 6;
constexpr uint32_t kBothModes = kFlushToZero | kDenormalsAreZero;
} // namespace

RDenormalGuard::RDenormalGuard() noexcept : saved_(_mm_getcsr()) { _mm_setcsr(saved_ | kBothModes); }

RDenormalGuard::~RDenormalGuard() { _mm_setcsr(saved_); }

bool RDenormalGuard::IsFlushing() noexcept { return (_mm_getcsr() & kBothModes) == kBothModes; }

#else

RDenormalGuard::RDenormalGuard() noexcept = default;
RDenormalGuard::~RDenormalGuard() = default;
bool RDenormalGuard::IsFlushing() noexcept { return false; }

#endif
