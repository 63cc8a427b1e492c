#include "kernel/oversamplingfilter.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace ROversamplingFilter {

const Quality& Standard() noexcept {
  static constexpr Quality kStandard{20, 6.3, 0.4, 0.6};
  return kStandard;
}

const Quality& HQ() noexcept {
  static constexpr Quality kHQ{40, 10.4, 20.0 / 48.0, 28.0 / 48.0};
  return kHQ;
}

double BesselI0(double x) noexcept {
  // The terms (x/2)^2k / (k!)^2 grow to a peak near k = x/2 and then fall fast; beta stays
  // below 20 here, so a few dozen terms reach double precision.
  const double quarterSquare = x * x * 0.25;
  double term = 1.0;
  double sum = 1.0;
  for (int32_t k = 1; k < 500; ++k) {
    term *= quarterSquare / (double(k) * double(k));
    sum += term;
    if (term < sum * 1e-17) break;
  }
  return sum;
}

std::vector<double> DesignPrototype(int32_t factor, int32_t tapsPerPhase, double kaiserBeta) {
  const int64_t span = int64_t(tapsPerPhase) * factor;  // N - 1
  const int64_t centre = span / 2;
  std::vector<double> h(size_t(span + 1));
  const double windowScale = 1.0 / BesselI0(kaiserBeta);
  for (int64_t k = 0; k <= span; ++k) {
    const int64_t offset = k - centre;
    double sinc = 1.0;
    if (offset % factor == 0) {
      // The zeros of a cut-off at the host's Nyquist frequency fall on whole host samples:
      // written exactly, they make one phase a pure delay that costs a single tap.
      sinc = offset == 0 ? 1.0 : 0.0;
    } else {
      const double u = std::numbers::pi * double(offset) / double(factor);
      sinc = std::sin(u) / u;
    }
    const double r = double(offset) / double(centre);
    const double window = BesselI0(kaiserBeta * std::sqrt(std::max(0.0, 1.0 - r * r))) * windowScale;
    h[size_t(k)] = sinc * window;
  }
  // Each phase alone produces every factor-th output sample: unity per phase keeps a constant
  // input constant after interpolation, and the phase that holds the centre passes the input
  // samples through exactly.
  for (int32_t phase = 0; phase < factor; ++phase) {
    double sum = 0.0;
    for (int64_t k = phase; k <= span; k += factor) sum += h[size_t(k)];
    for (int64_t k = phase; k <= span; k += factor) h[size_t(k)] /= sum;
  }
  return h;
}

} // namespace ROversamplingFilter
