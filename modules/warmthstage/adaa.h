#pragma once
// First-order antiderivative anti-aliasing of a static curve. Instead of f(x[n]) a stage
// gives the mean of f over the straight line from x[n-1] to x[n],
//   y[n] = (F(x[n]) - F(x[n-1])) / (x[n] - x[n-1]),   F' = f,
// which damps the harmonics the curve makes above half the sample rate before they fold back
// (about 6 dB less aliasing than the plain curve, and far more near the sample rate's
// multiples). Where the step is too small for the quotient to stay exact, f at the midpoint
// stands in. The mean delays the signal by half a sample. Used by the saturator and by the
// transfer-curve clipper.
//
// A Curve offers Value(x) and Integral(x) in double. [audio-thread], allocation-free; one
// state per channel.

#include <cmath>

// log(cosh(x)) without overflow: the antiderivative of tanh.
inline double LogCosh(double x) noexcept {
  const double a = std::fabs(x);
  return a + std::log1p(std::exp(-2.0 * a)) - 0.69314718055994531;
}

// What may enter a curve: NaN becomes 0, anything beyond +-limit (infinities too) the limit,
// so that neither the curve nor its antiderivative ever sees a value it can't hold exactly.
inline double SanitiseCurveInput(double x, double limit) noexcept {
  if (std::fabs(x) <= limit) return x;
  if (x > 0.0) return limit;
  if (x < 0.0) return -limit;
  return 0.0;
}

struct RAntiderivativeState {
  double x1 = 0.0;         // the previous input
  double integral1 = 0.0;  // F of the previous input under the curve in use

  void Clear() noexcept { *this = RAntiderivativeState(); }
  // The curve changed: F of the previous input is taken anew, so that the next quotient
  // doesn't mix two curves.
  template <class Curve>
  void Rebase(const Curve& curve) noexcept {
    integral1 = curve.Integral(x1);
  }
};

// One step with F(x) already known (a block of them may be computed at once).
template <class Curve>
inline double AntiderivativeStepWith(const Curve& curve, RAntiderivativeState& state, double x,
                                     double integral) noexcept {
  // Below this step the quotient loses more to rounding than the midpoint's error.
  constexpr double kSmallStep = 1e-5;
  const double dx = x - state.x1;
  const double y = std::fabs(dx) > kSmallStep ? (integral - state.integral1) / dx : curve.Value(0.5 * (x + state.x1));
  state.x1 = x;
  state.integral1 = integral;
  return y;
}

template <class Curve>
inline double AntiderivativeStep(const Curve& curve, RAntiderivativeState& state, double x) noexcept {
  return AntiderivativeStepWith(curve, state, x, curve.Integral(x));
}
