#pragma once
// RDenormalGuard: flush-to-zero and denormals-are-zero for the calling thread while it lives.
// Decaying filter states and feedback paths otherwise end in denormal floats, which cost a
// hundred cycles or more per operation on x86; with both modes on they become zeros.
//
// The constructor saves the thread's floating-point control word and turns both modes on; the
// destructor puts the saved word back, so that a host's own setting survives our block. On
// processors without the modes (anything but x86-64 for now) the guard does nothing.
//
// [any-thread], allocation-free: made on the stack at the top of every audio block.

#include <cstdint>

class RDenormalGuard {
public:
  RDenormalGuard() noexcept;
  ~RDenormalGuard();
  RDenormalGuard(const RDenormalGuard&) = delete;
  RDenormalGuard& operator=(const RDenormalGuard&) = delete;

  // Whether the calling thread flushes denormals now (always false where the guard is a no-op).
  static bool IsFlushing() noexcept;

private:
  uint32_t saved_ = 0;
};
