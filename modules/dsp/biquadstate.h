#pragma once
// The plain data of one filter stage as the run kernels see it: five coefficients and the
// four values of state that one stage keeps per channel. Coefficients and state are 64-bit
// while audio is 32-bit, so that low corners and high Q don't lose the signal to rounding.

struct RBiquadCoefficients {
  // f1 and f2 are the feedback coefficients with the sign folded in (f1 = -a1 / a0,
  // f2 = -a2 / a0), so the run adds five products: y = b0 x + b1 x1 + b2 x2 + f1 y1 + f2 y2.
  double b0 = 1.0;
  double f1 = 0.0;
  double b1 = 0.0;
  double f2 = 0.0;
  double b2 = 0.0;
};

// One stage in one channel: previous outputs y1, y2 and inputs x1, x2. Zero is the cleared state.
struct RBiquadState {
  double y1 = 0.0;
  double x1 = 0.0;
  double y2 = 0.0;
  double x2 = 0.0;

  void Clear() noexcept { *this = RBiquadState(); }
};
